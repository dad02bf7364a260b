// The program's command line, run in child processes without an X server.
#include "app/app_support.h"
#include "support/fixture.h"
#include "support/scratch.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

const std::string runtime_line = "Lumivane was active for ";
const std::string aborted = "*** Lumivane was aborted ***";

class Program : public testing::Test {
  protected:
    scratch_directory scratch;
    std::string config = make_config(scratch.path());

    run_result run(const std::vector<std::string> &arguments, const environment &more = {}) {
        return run_program(arguments, scratch.path(), config, "", more);
    }
    std::string file(const std::string &name) const {
        std::string path = scratch.path() + "/" + name;
        return file_exists(path) ? read_file(path) : "";
    }
};

TEST_F(Program, ListingsEndTheProgramAtOnce) {
    const std::pair<const char *, const char *> rows[] = {
        {"-0", "streamio driver(0)"},
        {"-1", "bitmap IO driver("},
        {"-2", "bitmap fx driver(0)"},
        {"-3", "\t\tprocedure 0"},
        {"-8", "no 3d particle system drivers available"}};
    for (const auto &[option, listed] : rows) {
        // The help after the listing is never read.
        run_result result = run({option, "-h"});
        EXPECT_EQ(result.status, 0) << option;
        EXPECT_TRUE(has(result.out, listed)) << option << "\n" << result.out;
        EXPECT_FALSE(has(result.out, "command line options for")) << option;
        EXPECT_TRUE(has(result.out, runtime_line)) << option << " ends through xexit";
    }
}

TEST_F(Program, HelpReadsEveryOptionAndNeverOpensTheDisplay) {
    // Display is on and the server unreachable: opening it would be an error.
    run_result help =
        run_child(program_path(), {"-h", "-m", "2"},
                  {{"Lumivane_ini", config}, {"DISPLAY", ":65000"}}, scratch.path(), "\n\n\n");
    EXPECT_EQ(help.status, 0);
    EXPECT_TRUE(has(help.out, "\ncommand line options for Lumivane\n"));
    EXPECT_TRUE(has(help.out, "-list_video_modes       list all available video modes"))
        << help.out;
    EXPECT_TRUE(has(help.out, " -X                  -cookie_xpos            cookie's x position"));
    EXPECT_TRUE(has(help.out, runtime_line));
    EXPECT_FALSE(has(help.err, aborted)) << help.err;
    EXPECT_FALSE(has(file("warning.logfile"), "video prob"));

    run_result advanced = run({"-H"});
    EXPECT_TRUE(has(advanced.out, "extended help on command line options for Lumivane"));

    // An option after the help is still read and checked.
    run_result checked = run({"-h", "-x", "12a"});
    EXPECT_TRUE(has(checked.err, "expecting integer, got '12a' in option '-x' ('-xres')"))
        << checked.err;
}

TEST_F(Program, OptionErrorsEndTheProgram) {
    for (const auto &row : fixture_rows("app/option-errors.txt")) {
        std::vector<std::string> arguments = fixture_words(row[0]);
        arguments.insert(arguments.end(), {"-d", "-m", "1"});
        run_result result = run(arguments);
        EXPECT_TRUE(has(result.err, "Lumivane/handler.error/Lumivane [./lumivane.c("))
            << row[1] << "\n"
            << result.err;
        EXPECT_TRUE(has(result.err, row[1])) << result.err;
        EXPECT_TRUE(has(result.err, aborted));
        EXPECT_FALSE(has(result.out, runtime_line)) << "no orderly shutdown after an error";
    }
}

TEST_F(Program, MissingConfigurationIsOnlyAWarning) {
    run_result result =
        run_program({"-q"}, scratch.path(), scratch.path() + "/nowhere/Lumivane.ini");
    EXPECT_EQ(result.status, 0);
    EXPECT_TRUE(has(result.out, runtime_line));
    EXPECT_TRUE(has(file("warning.logfile"), "Lumivane/handler.warning/Lumivane "
                                             "[./lumivane.c(172)]: failed to load "
                                             "configuration file\n"))
        << file("warning.logfile");
}

TEST_F(Program, ExitHandlersRunInRegistrationOrder) {
    ASSERT_EQ(run({"-q"}).status, 0);
    std::string log = file("verbose.logfile");
    std::size_t timer = log.find("running exit handler 'timer de-initialization'");
    std::size_t keyboard = log.find("running exit handler 'keyboard de-initialization'");
    ASSERT_NE(timer, std::string::npos) << log;
    ASSERT_NE(keyboard, std::string::npos);
    EXPECT_LT(timer, keyboard);
}

TEST_F(Program, UnreachableDisplay) {
    // The probe only warns; setting the mode is an error.
    run_result probe = run({"-e", "-q"});
    EXPECT_TRUE(has(file("warning.logfile"),
                    "video probing failed for video device, can't get properties"));
    EXPECT_EQ(probe.status, 0);

    run_result shown = run({"-m", "0"});
    EXPECT_TRUE(has(file("warning.logfile"), "]: video probing failed for video device\n"));
    EXPECT_TRUE(has(shown.err, "failed to set 320x200 (24 bpp) video mode (failed to connect to "
                               "X server)"))
        << shown.err;
}

TEST_F(Program, SavesNumberedPictures) {
    REQUIRE_TRACER();
    run_result result = run({"-d", "-s", "out%02d.tga", "-m", "3"});
    EXPECT_EQ(result.status, 0);
    for (const char *name : {"out00.tga", "out01.tga", "out02.tga"}) {
        rgb_picture picture = read_with_imagemagick(scratch.path() + "/" + name);
        EXPECT_EQ(picture.width, 320) << name;
        EXPECT_EQ(picture.height, 200) << name;
    }
    EXPECT_FALSE(file_exists(scratch.path() + "/out03.tga"));
    EXPECT_FALSE(file_exists(scratch.path() + "/lumivane-desktop.bmp")) << "no display";
}

TEST_F(Program, RunsTheCommandOnEachSavedPicture) {
    REQUIRE_TRACER();
    write_file(scratch.path() + "/record.sh", "echo \"$@\" >>record.txt\n");
    run_result result = run({"-d", "-E", "sh record.sh", "-m", "1"});
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(file("record.txt"), "shot0000.tga\n");
    EXPECT_EQ(read_with_imagemagick(scratch.path() + "/shot0000.tga").width, 320);
}

} // namespace
