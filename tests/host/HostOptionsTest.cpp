// The command line of vantry: values, lists, the rest-of-line program,
// every refusal with its exact line, number syntax, close matches and the
// progress line.
#include "host/HostOptions.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace vantry {
namespace {

HostOptions parsed(const std::vector<std::string>& args) {
    HostOptions options;
    std::string error;
    EXPECT_TRUE(parseHostOptions(args, options, error)) << error;
    return options;
}

std::string refusal(const std::vector<std::string>& args) {
    HostOptions options;
    options.output = "untouched";
    std::string error;
    EXPECT_FALSE(parseHostOptions(args, options, error));
    EXPECT_EQ(options.output, "untouched") << "a refused command line changes nothing";
    return error;
}

TEST(HostOptionsTest, DefaultsAreThoseOfTheUsageText) {
    const HostOptions options = parsed({});
    EXPECT_EQ(options.output, "VantryOutput");
    EXPECT_FALSE(options.outputGiven);
    EXPECT_EQ(options.results, (std::vector<std::string>{"sum"}));
    EXPECT_EQ(options.intervalMs, 100u);
    EXPECT_LT(options.durationSec, 0.0);
    EXPECT_EQ(options.startDelaySec, 0.0);
    EXPECT_TRUE(options.features.empty());
    EXPECT_TRUE(options.program.empty());
}

TEST(HostOptionsTest, EveryOptionReachesItsSetting) {
    const HostOptions options = parsed({"-f",
                                        "cstate,frequency",
                                        "--feature",
                                        " power ",
                                        "-t",
                                        "5",
                                        "-n",
                                        "250",
                                        "-s",
                                        "1.5",
                                        "--program-delay=0.25",
                                        "-o",
                                        "run1",
                                        "-r",
                                        "csv",
                                        "--result",
                                        "json,csv",
                                        "-m",
                                        "--polling",
                                        "-z",
                                        "-l",
                                        "log.txt",
                                        "--no-post-processing",
                                        "--source-root",
                                        "tree",
                                        "--simulate"});
    EXPECT_EQ(options.features, (std::vector<std::string>{"cstate", "frequency", "power"}));
    EXPECT_EQ(options.durationSec, 5.0);
    EXPECT_EQ(options.intervalMs, 250u);
    EXPECT_EQ(options.startDelaySec, 1.5);
    EXPECT_EQ(options.programDelaySec, 0.25);
    EXPECT_EQ(options.output, "run1");
    EXPECT_TRUE(options.outputGiven);
    // The first -r replaces the default; a format given twice is kept once.
    EXPECT_EQ(options.results, (std::vector<std::string>{"csv", "json"}));
    EXPECT_TRUE(options.maxDetail && options.polling && options.autoConnectedStandby);
    EXPECT_EQ(options.logFile, "log.txt");
    EXPECT_TRUE(options.noPostProcessing && options.simulate);
    EXPECT_EQ(options.sourceRoot, "tree");
    EXPECT_EQ(options.words.size(), 26u);
    // -i goes with the report options only (see CollectionOptionsAreRefused).
    EXPECT_EQ(parsed({"-i", "old", "-r", "csv"}).input, "old");

    const HostOptions flags = parsed({"-h", "-v", "--print-fms", "--help-json"});
    EXPECT_TRUE(flags.help && flags.version && flags.printFms && flags.helpJson);
}

TEST(HostOptionsTest, ProgramTakesEveryLaterWord) {
    const HostOptions options = parsed({"-t", "3", "-p", "bench", "-t", "9", "--fast", "x y"});
    EXPECT_EQ(options.program, (std::vector<std::string>{"bench", "-t", "9", "--fast", "x y"}));
    EXPECT_EQ(options.durationSec, 3.0) << "the program's own -t is not ours";
    EXPECT_EQ(parsed({"--program=run.exe", "a"}).program,
              (std::vector<std::string>{"run.exe", "a"}));
}

TEST(HostOptionsTest, RefusalsNameTheProblemInOneLine) {
    EXPECT_EQ(refusal({"-f", "cstate", "-t"}), "ERROR: option -t needs an argument");
    EXPECT_EQ(refusal({"--output"}), "ERROR: option --output needs an argument");
    EXPECT_EQ(refusal({"-o", ""}), "ERROR: option -o needs a non-empty argument");
    EXPECT_EQ(refusal({"-p"}), "ERROR: option -p needs an argument: the program to start");
    EXPECT_EQ(refusal({"-t", "5s"}), "ERROR: option -t takes a time in seconds, not \"5s\"");
    EXPECT_EQ(refusal({"--startdelay", "-1"}),
              "ERROR: option --startdelay takes a time in seconds, not \"-1\"");
    EXPECT_EQ(refusal({"-n", "0"}),
              "ERROR: option -n takes a whole number of milliseconds from 1 to 65535, not \"0\"");
    EXPECT_EQ(refusal({"--interval=70000"}),
              "ERROR: option --interval takes a whole number of milliseconds from 1 to 65535, "
              "not \"70000\"");
    EXPECT_EQ(refusal({"--tme", "5"}),
              "ERROR: unknown option \"--tme\"; run vantry --help for the options");
    EXPECT_EQ(refusal({"cstate"}),
              "ERROR: unexpected argument \"cstate\"; run vantry --help for the options");
    EXPECT_EQ(refusal({"--polling=yes"}), "ERROR: option --polling takes no argument");
    EXPECT_EQ(refusal({"-r", " , "}), "ERROR: option -r needs at least one output format");
}

TEST(HostOptionsTest, NumbersAcceptOnlyPlainDecimals) {
    struct Case {
        const char* text;
        bool ok;
        double value;
    };
    for (const Case& c : {Case{"5", true, 5.0}, Case{"0.5", true, 0.5}, Case{"0", true, 0.0},
                          Case{"10.", true, 10.0}, Case{".", false, 0}, Case{"", false, 0},
                          Case{"1.2.3", false, 0}, Case{"-1", false, 0}, Case{"1e3", false, 0},
                          Case{"inf", false, 0}, Case{"99999999999", false, 0}}) {
        double seconds = -7.0;
        EXPECT_EQ(parseSeconds(c.text, seconds), c.ok) << c.text;
        EXPECT_EQ(seconds, c.ok ? c.value : -7.0) << c.text;
    }
    uint32_t ms = 42;
    EXPECT_TRUE(parseIntervalMs("1", ms));
    EXPECT_EQ(ms, 1u);
    EXPECT_TRUE(parseIntervalMs("65535", ms));
    EXPECT_EQ(ms, 65535u);
    for (const char* bad : {"0", "65536", "100000", "12a", "", " 5", "-5"}) {
        EXPECT_FALSE(parseIntervalMs(bad, ms)) << bad;
    }
    EXPECT_EQ(ms, 65535u);
}

TEST(HostOptionsTest, CloseMatchesComeClosestFirst) {
    const std::vector<std::string> names{"cstate",  "frequency", "temperature", "energy",
                                         "disk-io", "net-io",    "all"};
    EXPECT_EQ(closeMatches("cstat", names), (std::vector<std::string>{"cstate"}));
    EXPECT_EQ(closeMatches("CSTATE", names), (std::vector<std::string>{"cstate"}));
    EXPECT_EQ(closeMatches("freq", names), (std::vector<std::string>{"frequency"}));
    EXPECT_EQ(closeMatches("io", names), (std::vector<std::string>{"disk-io", "net-io"}));
    EXPECT_EQ(closeMatches("net-oi", names), (std::vector<std::string>{"net-io"}));
    EXPECT_TRUE(closeMatches("zzzzzzzz", names).empty());
    EXPECT_EQ(closeMatches("io", names, 1).size(), 1u);
}

TEST(HostOptionsTest, ProgressLineShowsElapsedPlannedAndCounts) {
    EXPECT_EQ(formatProgress(3999, 5000, 30, 0), "elapsed 00:03 of 00:05 | samples 30 | dropped 0");
    EXPECT_EQ(formatProgress(61000, -1, 7, 2),
              "elapsed 01:01 of until Ctrl-C | samples 7 | dropped 2");
    EXPECT_EQ(formatProgress(3723000, 7200000, 0, 0),
              "elapsed 1:02:03 of 2:00:00 | samples 0 | dropped 0");
}

TEST(HostOptionsTest, ShortOptionsTakeTheirValueAttached) {
    const HostOptions options =
        parsed({"-t5", "-finterrupts,disk-io", "-n250", "-orun", "-rcsv", "-s0.5", "-ptrue"});
    EXPECT_EQ(options.durationSec, 5.0);
    EXPECT_EQ(options.features, (std::vector<std::string>{"interrupts", "disk-io"}));
    EXPECT_EQ(options.intervalMs, 250u);
    EXPECT_EQ(options.output, "run");
    EXPECT_EQ(options.results, (std::vector<std::string>{"csv"}));
    EXPECT_EQ(options.startDelaySec, 0.5);
    EXPECT_EQ(options.program, (std::vector<std::string>{"true"}));
    // A flag takes nothing attached, and an unknown short option stays one.
    EXPECT_EQ(refusal({"-mx"}), "ERROR: unknown option \"-mx\"; run vantry --help for the options");
    EXPECT_EQ(refusal({"-t5x"}), "ERROR: option -t takes a time in seconds, not \"5x\"");
}

TEST(HostOptionsTest, OutputIsAStemWithOrWithoutItsExtension) {
    EXPECT_EQ(parsed({"-o", "run.vtr"}).output, "run");
    EXPECT_EQ(parsed({"-o", "dir/run"}).output, "dir/run");
    EXPECT_EQ(parsed({"-o", "run.vtr.vtr"}).output, "run.vtr");
    EXPECT_EQ(refusal({"-o", "od/"}),
              "ERROR: option -o takes a name for the files, not the folder \"od/\"; give one in "
              "it, such as od/VantryOutput");
    EXPECT_EQ(refusal({"-o", ".vtr"}), "ERROR: option -o takes a name for the files, not \".vtr\"");
}

TEST(HostOptionsTest, CollectionOptionsAreRefusedBesideInput) {
    EXPECT_EQ(refusal({"-i", "run", "-t", "5"}),
              "ERROR: option -t does not apply to -i, which reads a collection already made; "
              "leave it out");
    EXPECT_EQ(refusal({"-f", "cstate", "-i", "run"}),
              "ERROR: option -f does not apply to -i, which reads a collection already made; "
              "leave it out");
    EXPECT_EQ(refusal({"-i", "run", "--no-post-processing"}),
              "ERROR: option --no-post-processing does not apply to -i, which reads a collection "
              "already made; leave it out");
    EXPECT_EQ(refusal({"-i", "run", "-p", "make"}),
              "ERROR: option -p does not apply to -i, which reads a collection already made; "
              "leave it out");
    // Report options are what -i is for.
    const HostOptions options = parsed({"-i", "run", "-o", "again", "-r", "csv,json", "-l", "x"});
    EXPECT_EQ(options.input, "run");
    EXPECT_TRUE(options.collectionOptions.empty());
}

}  // namespace
}  // namespace vantry
