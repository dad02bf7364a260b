// The pictures of a fixed seed against checksums kept in
// tests/data/golden/run.txt.  A dozen pictures cover the background kinds,
// the textured backgrounds with their effects, and flares; three tracer
// threads split the rows unevenly.  The suite runs in every build of CI
// (optimised, debug with sanitizers) and on every machine, so a seed giving
// other bytes anywhere fails here.  With LUMIVANE_WRITE_GOLDEN in the
// environment the file is written instead.
#include "app/app_support.h"
#include "core/hash.h"
#include "support/scratch.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <string>

namespace {

TEST(GoldenRun, AFixedSeedGivesTheSameBytesInEveryBuild) {
    REQUIRE_TRACER();
    scratch_directory scratch;
    const std::string config = make_config(scratch.path());
    set_config_value(config, "seed.rand", "4242");
    set_config_value(config, "threads", "3");
    const run_result result = run_program(
        {"-d", "-m", "12", "-x", "96", "-y", "64", "-s", "g%02d.tga"}, scratch.path(), config);
    ASSERT_EQ(result.status, 0) << result.err;

    std::string sums;
    for (int i = 0; i < 12; ++i) {
        char name[16], line[64];
        std::snprintf(name, sizeof name, "g%02d.tga", i);
        const std::string bytes = read_file(scratch.path() + "/" + name);
        std::snprintf(line, sizeof line, "%s %08x\n", name,
                      static_cast<unsigned>(hash_compute(bytes.data(), bytes.size())));
        sums += line;
    }
    const std::string golden = std::string(LUMIVANE_TEST_DATA) + "/golden/run.txt";
    if (std::getenv("LUMIVANE_WRITE_GOLDEN")) {
        write_file(golden, sums);
        return;
    }
    ASSERT_TRUE(file_exists(golden)) << golden << " is missing";
    EXPECT_EQ(sums, read_file(golden));
}

} // namespace
