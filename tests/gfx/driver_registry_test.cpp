// The three driver registries (streams, image files, effects) share one
// contract: newest first, two-way wildcard lookups, a duplicate name warned
// about and left out, a hash collision an error before the driver is linked
// in, and a listing that says when it is empty.  Registrations cannot be
// undone, so every case runs in a child process of its own; the built-in
// stream and image drivers are held to a golden listing, which shows a typo in
// any record at once.
#include "core/hash.h"
#include "file/streamio/drivers.h"
#include "gfx/2d/bitmap/bitmapio.h"
#include "gfx/2d/bitmap/effects/bitmapfx.h"
#include "gfx/2d/bitmap/effects/fxkit.h"
#include "support/capture.h"
#include "support/child.h"
#include "support/scratch.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <type_traits>

namespace {

template <class Driver> struct kind;

template <> struct kind<streamio_driver> {
    // "nullio" declines every file it is offered, so a stand-in never serves one.
    static streamio_driver stand_in(const char *name) {
        streamio_driver driver = nullio_driver;
        driver.next = nullptr;
        driver.name = name;
        return driver;
    }
    static void add(streamio_driver *driver) { streamio_register_driver(driver); }
    static streamio_driver *find(const char *name) { return streamio_find_driver(name); }
    static void list() { streamio_list_drivers(); }
    static void add_builtins() { streamio_register_builtin_drivers(); }
    static constexpr const char *empty = "\nno streamio drivers available\n";
    static constexpr const char *golden = "listing/streamio.txt";
};

template <> struct kind<bitmapio_driver> {
    static bitmapio_driver stand_in(const char *name) {
        static const char *const no_modes[] = {nullptr};
        return {.next = nullptr,
                .hash = 0,
                .name = name,
                .comments = nullptr,
                .extension = ".stand-in",
                .source = "./tests/stand-in.c",
                .modes = no_modes,
                .load = nullptr,
                .save = nullptr,
                .dump = nullptr};
    }
    static void add(bitmapio_driver *driver) { bitmapio_register_driver(driver); }
    static bitmapio_driver *find(const char *name) { return bitmapio_find_driver(name, nullptr); }
    static void list() { bitmapio_list_drivers(); }
    static void add_builtins() { bitmapio_register_builtin_drivers(); }
    static constexpr const char *empty = "\nno bitmapio drivers available\n";
    static constexpr const char *golden = "listing/bitmapio.txt";
};

template <> struct kind<bitmapfx_driver> {
    static bitmapfx_driver stand_in(const char *name) {
        // Each stand-in its own preset, so that only the names can clash.
        static std::string presets[8];
        static int used = 0;
        presets[used % 8] = std::string("$path.presets$/") + name + std::to_string(used);
        return fxkit::driver(name, "./tests/stand-in.c", presets[used++ % 8].c_str(), "stand-in",
                             fxkit::depths_any, nullptr, nullptr);
    }
    static void add(bitmapfx_driver *driver) { bitmapfx_register_driver(driver); }
    static bitmapfx_driver *find(const char *name) { return bitmapfx_find_driver(name); }
    static void list() { bitmapfx_list_drivers(0); }
    // The effect list grows with every effect: its records are held to the
    // effect contract suite instead of a golden listing.
    static constexpr const char *empty = "\nno 2d bitmapfx drivers available\n";
};

template <class Driver> class DriverRegistry : public testing::Test {
  protected:
    using k = kind<Driver>;

    // Runs `check` in a child; it returns what went wrong, "" when all held.
    template <class Check> void in_child(Check check) {
        expect_in_child(
            [&] {
                message_capture messages;
                const std::string wrong = check(messages);
                std::fprintf(stderr, "%s", wrong.empty() ? "[all held]" : wrong.c_str());
            },
            "\\[all held\\]");
    }
};

using kinds = testing::Types<streamio_driver, bitmapio_driver, bitmapfx_driver>;
class kind_names {
  public:
    template <class Driver> static std::string GetName(int) {
        if (std::is_same_v<Driver, streamio_driver>)
            return "streams";
        return std::is_same_v<Driver, bitmapio_driver> ? "images" : "effects";
    }
};
TYPED_TEST_SUITE(DriverRegistry, kinds, kind_names);

std::string listing_of(void (*list)()) {
    testing::internal::CaptureStdout();
    list();
    return testing::internal::GetCapturedStdout();
}

} // namespace

TYPED_TEST(DriverRegistry, FindsNewestFirstWithWildcardsBothWays) {
    using k = typename TestFixture::k;
    this->in_child([](message_capture &) -> std::string {
        static TypeParam older = k::stand_in("older-one"), newer = k::stand_in("newer*");
        if (listing_of(k::list) != k::empty)
            return "empty listing: " + listing_of(k::list);
        k::add(&older);
        k::add(&newer);
        if (older.hash != hash_string("older-one"))
            return "no fingerprint";
        if (k::find("*") != &newer || k::find("older-?ne") != &older ||
            k::find("newer-by-pattern") != &newer || k::find("*-one") != &older)
            return "wrong driver found";
        if (k::find("none-such") || k::find(nullptr))
            return "found what is not there";
        return "";
    });
}

TYPED_TEST(DriverRegistry, DuplicateNameIsWarnedAboutAndLeftOut) {
    using k = typename TestFixture::k;
    this->in_child([](message_capture &messages) -> std::string {
        static TypeParam first = k::stand_in("twice"), second = k::stand_in("twice");
        k::add(&first);
        k::add(&second);
        if (!messages.warned("trying to register duplicate driver 'twice'"))
            return "no warning";
        if (k::find("twice") != &first || second.next || k::find("*") != &first)
            return "the second record was linked in";
        return "";
    });
}

TYPED_TEST(DriverRegistry, HashCollisionIsAnErrorBeforeTheDriverIsLinkedIn) {
    using k = typename TestFixture::k;
    this->in_child([](message_capture &) -> std::string {
        // Two names with one CRC-32.
        static TypeParam first = k::stand_in("plumless"), second = k::stand_in("buckeroo");
        k::add(&first);
        const std::string error = error_of([] { k::add(&second); });
        if (error != "driver hash collision between 'plumless' and 'buckeroo'")
            return "error: " + error;
        if (k::find("buckeroo") || k::find("*") != &first)
            return "the colliding driver was linked in";
        return "";
    });
}

template <class Driver> void expect_golden_listing() {
    using k = kind<Driver>;
    const std::string path = std::string(LUMIVANE_TEST_DATA) + "/golden/" + k::golden;
    expect_in_child(
        [&] {
            k::add_builtins();
            const std::string listing = listing_of(k::list);
            if (std::getenv("LUMIVANE_WRITE_GOLDEN"))
                write_file(path, listing);
            std::fprintf(stderr, "%s",
                         listing == read_file(path) ? "[as golden]" : listing.c_str());
        },
        "\\[as golden\\]");
}

TEST(DriverListing, BuiltinStreamDriversAsTheGoldenListingHasThem) {
    expect_golden_listing<streamio_driver>();
}

TEST(DriverListing, BuiltinImageDriversAsTheGoldenListingHasThem) {
    expect_golden_listing<bitmapio_driver>();
}
