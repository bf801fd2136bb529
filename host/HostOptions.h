// HostOptions: the command line of `vantry`, parsed into plain settings.
//
// The options and their defaults are those of the usage text
// (pwr::usage::UsageText). Besides them the host takes --help-json (the usage
// as JSON, for tools), --keep-program, and two options that replay a
// recorded machine: --source-root <dir> (every plug-in and the system probe
// read a recorded tree below dir) and --simulate (a clock that advances by
// exactly one interval per poll, without sleeping). The host adds them to
// its --help.
//
// Values may follow their option as the next word, attached to a short name
// ("-t5") or, for long names, after "=" ("--time=5"). "-o run.vtr" is the
// same as "-o run"; a folder without a name is refused. Options that only
// apply to a collection are refused beside -i. -f and -r take comma lists
// and may be repeated. -p takes every later word as the program and its
// arguments.
//
// --polling is accepted and changes nothing: this host always collects at
// timed intervals. -z is accepted with a warning at collection time, as
// entering connected standby is not supported here.
//
// Plain values and free functions; no shared state.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace vantry {

struct HostOptions {
    bool help = false;
    bool helpJson = false;
    bool version = false;
    bool printFms = false;
    std::string logFile;

    bool noPostProcessing = false;
    std::string input;
    std::string output = "VantryOutput";
    bool outputGiven = false;
    std::vector<std::string> results{"sum"};

    std::vector<std::string> features;
    bool maxDetail = false;
    uint32_t intervalMs = 100;
    // Seconds; a negative duration means "until Ctrl-C (or the program's
    // end)".
    double durationSec = -1.0;
    double startDelaySec = 0.0;
    double programDelaySec = 0.0;
    bool autoConnectedStandby = false;
    bool polling = false;
    std::vector<std::string> program;
    // Leave the program running when the collection ends first.
    bool keepProgram = false;

    std::string sourceRoot;
    bool simulate = false;

    // The options given that only apply to a collection (-f, -t, -n, -s,
    // -p, ...), each once as the user spelled it: refused beside -i.
    std::vector<std::string> collectionOptions;

    // The words as given, for the collection's record.
    std::vector<std::string> words;
};

// Parses args (the words after the program name). False, with one line
// starting "ERROR: " in error, when a word is not an option, an option lacks
// its argument or a value is not a valid number.
bool parseHostOptions(const std::vector<std::string>& args, HostOptions& out, std::string& error);

// Reads a time in seconds: a non-negative decimal number ("5", "0.5").
bool parseSeconds(const std::string& text, double& seconds);
// Reads a whole number of milliseconds between 1 and 65535.
bool parseIntervalMs(const std::string& text, uint32_t& ms);

// The candidates close to word, closest first: those within a small edit
// distance and those that contain word or are contained in it (case is
// ignored). At most limit names.
std::vector<std::string> closeMatches(const std::string& word,
                                      const std::vector<std::string>& candidates, size_t limit = 3);

// "elapsed 00:03 of 00:05 | samples 30 | dropped 0" as the progress line
// shows it; a negative planned time shows "until Ctrl-C".
std::string formatProgress(uint64_t elapsedMs, int64_t plannedMs, uint64_t samples,
                           uint64_t dropped);

}  // namespace vantry
