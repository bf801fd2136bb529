#include "host/HostOptions.h"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <utility>

namespace vantry {

namespace {

std::vector<std::string> splitList(const std::string& text) {
    std::vector<std::string> out;
    size_t start = 0;
    while (start <= text.size()) {
        size_t comma = text.find(',', start);
        if (comma == std::string::npos) {
            comma = text.size();
        }
        std::string item = text.substr(start, comma - start);
        const size_t first = item.find_first_not_of(" \t");
        const size_t last = item.find_last_not_of(" \t");
        if (first != std::string::npos) {
            out.push_back(item.substr(first, last - first + 1));
        }
        start = comma + 1;
    }
    return out;
}

std::string lower(std::string text) {
    for (char& c : text) {
        c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    }
    return text;
}

size_t editDistance(const std::string& a, const std::string& b) {
    std::vector<size_t> row(b.size() + 1);
    for (size_t j = 0; j <= b.size(); ++j) {
        row[j] = j;
    }
    for (size_t i = 1; i <= a.size(); ++i) {
        size_t diagonal = row[0];
        row[0] = i;
        for (size_t j = 1; j <= b.size(); ++j) {
            const size_t above = row[j];
            row[j] = std::min({row[j] + 1, row[j - 1] + 1, diagonal + (a[i - 1] != b[j - 1])});
            diagonal = above;
        }
    }
    return row[b.size()];
}

// Options that take a value, by every name they answer to.
enum class Takes { NOTHING, VALUE, REST };

struct OptionName {
    const char* shortName;
    const char* longName;
    Takes takes;
    // Only makes sense while collecting: refused beside -i.
    bool collecting;
};

const OptionName c_options[] = {
    {"-h", "--help", Takes::NOTHING, false},
    {nullptr, "--help-json", Takes::NOTHING, false},
    {"-v", "--version", Takes::NOTHING, false},
    {"-l", "--log", Takes::VALUE, false},
    {nullptr, "--print-fms", Takes::NOTHING, false},
    {nullptr, "--no-post-processing", Takes::NOTHING, true},
    {"-i", "--input", Takes::VALUE, false},
    {"-o", "--output", Takes::VALUE, false},
    {"-r", "--result", Takes::VALUE, false},
    {"-f", "--feature", Takes::VALUE, true},
    {"-m", "--max-detail", Takes::NOTHING, true},
    {"-n", "--interval", Takes::VALUE, true},
    {"-p", "--program", Takes::REST, true},
    {"-s", "--startdelay", Takes::VALUE, true},
    {"-t", "--time", Takes::VALUE, true},
    {"-z", "--auto-connected-standby", Takes::NOTHING, true},
    {nullptr, "--program-delay", Takes::VALUE, true},
    {nullptr, "--keep-program", Takes::NOTHING, true},
    {nullptr, "--polling", Takes::NOTHING, false},
    {nullptr, "--source-root", Takes::VALUE, false},
    {nullptr, "--simulate", Takes::NOTHING, false},
};

const OptionName* findOption(const std::string& word) {
    for (const OptionName& option : c_options) {
        if ((option.shortName != nullptr && word == option.shortName) || word == option.longName) {
            return &option;
        }
    }
    return nullptr;
}

bool applyValue(const OptionName& option, const std::string& used, const std::string& value,
                HostOptions& out, bool& resultsGiven, std::string& error) {
    const std::string name = option.longName;
    if (value.empty()) {
        error = "ERROR: option " + used + " needs a non-empty argument";
        return false;
    }
    if (name == "--log") {
        out.logFile = value;
    } else if (name == "--input") {
        out.input = value;
    } else if (name == "--output") {
        out.output = value;
        out.outputGiven = true;
    } else if (name == "--result") {
        if (!resultsGiven) {
            out.results.clear();
            resultsGiven = true;
        }
        for (const std::string& item : splitList(value)) {
            if (std::find(out.results.begin(), out.results.end(), item) == out.results.end()) {
                out.results.push_back(item);
            }
        }
    } else if (name == "--feature") {
        for (const std::string& item : splitList(value)) {
            out.features.push_back(item);
        }
    } else if (name == "--interval") {
        if (!parseIntervalMs(value, out.intervalMs)) {
            error = "ERROR: option " + used + " takes a whole number of milliseconds from 1 to " +
                    "65535, not \"" + value + "\"";
            return false;
        }
    } else if (name == "--source-root") {
        out.sourceRoot = value;
    } else {
        double* target = name == "--time"         ? &out.durationSec
                         : name == "--startdelay" ? &out.startDelaySec
                                                  : &out.programDelaySec;
        if (!parseSeconds(value, *target)) {
            error = "ERROR: option " + used + " takes a time in seconds, not \"" + value + "\"";
            return false;
        }
    }
    return true;
}

void applyFlag(const OptionName& option, HostOptions& out) {
    const std::string name = option.longName;
    if (name == "--help") {
        out.help = true;
    } else if (name == "--help-json") {
        out.helpJson = true;
    } else if (name == "--version") {
        out.version = true;
    } else if (name == "--print-fms") {
        out.printFms = true;
    } else if (name == "--no-post-processing") {
        out.noPostProcessing = true;
    } else if (name == "--max-detail") {
        out.maxDetail = true;
    } else if (name == "--auto-connected-standby") {
        out.autoConnectedStandby = true;
    } else if (name == "--polling") {
        out.polling = true;
    } else if (name == "--simulate") {
        out.simulate = true;
    } else if (name == "--keep-program") {
        out.keepProgram = true;
    }
}

}  // namespace

bool parseSeconds(const std::string& text, double& seconds) {
    if (text.empty() || text.find_first_not_of("0123456789.") != std::string::npos ||
        std::count(text.begin(), text.end(), '.') > 1 || text == ".") {
        return false;
    }
    const double value = std::strtod(text.c_str(), nullptr);
    // A year is more than any collection needs; larger values are typos.
    if (!std::isfinite(value) || value > 366.0 * 24 * 3600) {
        return false;
    }
    seconds = value;
    return true;
}

bool parseIntervalMs(const std::string& text, uint32_t& ms) {
    if (text.empty() || text.size() > 5 ||
        text.find_first_not_of("0123456789") != std::string::npos) {
        return false;
    }
    const unsigned long value = std::strtoul(text.c_str(), nullptr, 10);
    if (value < 1 || value > 65535) {
        return false;
    }
    ms = static_cast<uint32_t>(value);
    return true;
}

bool parseHostOptions(const std::vector<std::string>& args, HostOptions& out, std::string& error) {
    HostOptions result;
    result.words = args;
    bool resultsGiven = false;
    for (size_t i = 0; i < args.size(); ++i) {
        std::string word = args[i];
        std::string inlineValue;
        bool hasInline = false;
        const size_t equals = word.find('=');
        if (word.compare(0, 2, "--") == 0 && equals != std::string::npos) {
            inlineValue = word.substr(equals + 1);
            word = word.substr(0, equals);
            hasInline = true;
        }
        // Short options take their value attached too ("-t5",
        // "-finterrupts"), as getopt tools allow.
        if (!hasInline && word.size() > 2 && word[0] == '-' && word[1] != '-') {
            const OptionName* attached = findOption(word.substr(0, 2));
            if (attached != nullptr && attached->takes != Takes::NOTHING) {
                inlineValue = word.substr(2);
                word = word.substr(0, 2);
                hasInline = true;
            }
        }
        const OptionName* option = findOption(word);
        if (option == nullptr) {
            error = word.empty() || word[0] != '-' ? "ERROR: unexpected argument \"" + word +
                                                         "\"; run vantry --help for the options"
                                                   : "ERROR: unknown option \"" + word +
                                                         "\"; run vantry --help for the options";
            return false;
        }
        if (option->collecting &&
            std::find(result.collectionOptions.begin(), result.collectionOptions.end(), word) ==
                result.collectionOptions.end()) {
            result.collectionOptions.push_back(word);
        }
        if (option->takes == Takes::NOTHING) {
            if (hasInline) {
                error = "ERROR: option " + word + " takes no argument";
                return false;
            }
            applyFlag(*option, result);
            continue;
        }
        if (option->takes == Takes::REST) {
            if (hasInline) {
                result.program.push_back(inlineValue);
            }
            result.program.insert(result.program.end(), args.begin() + static_cast<long>(i) + 1,
                                  args.end());
            if (result.program.empty() || result.program[0].empty()) {
                error = "ERROR: option " + word + " needs an argument: the program to start";
                return false;
            }
            break;
        }
        if (!hasInline) {
            if (i + 1 >= args.size()) {
                error = "ERROR: option " + word + " needs an argument";
                return false;
            }
            inlineValue = args[++i];
        }
        if (!applyValue(*option, word, inlineValue, result, resultsGiven, error)) {
            return false;
        }
    }
    if (result.results.empty()) {
        error = "ERROR: option -r needs at least one output format";
        return false;
    }
    if (!result.input.empty() && !result.collectionOptions.empty()) {
        error = "ERROR: option " + result.collectionOptions.front() +
                " does not apply to -i, which reads a collection already made; leave it out";
        return false;
    }
    // The output is a stem: "run" and "run.vtr" name the same collection.
    const std::string extension = ".vtr";
    if (result.output.size() > extension.size() &&
        result.output.compare(result.output.size() - extension.size(), extension.size(),
                              extension) == 0) {
        result.output.resize(result.output.size() - extension.size());
    }
    const char last = result.output.empty() ? '/' : result.output.back();
    if (last == '/' || last == '\\') {
        error = "ERROR: option -o takes a name for the files, not the folder \"" + result.output +
                "\"; give one in it, such as " + result.output + "VantryOutput";
        return false;
    }
    if (result.output == extension) {
        error = "ERROR: option -o takes a name for the files, not \"" + extension + "\"";
        return false;
    }
    out = std::move(result);
    return true;
}

std::vector<std::string> closeMatches(const std::string& word,
                                      const std::vector<std::string>& candidates, size_t limit) {
    const std::string key = lower(word);
    // Allow one typo in short names and about a third of the letters in
    // longer ones.
    const size_t allowed = std::max<size_t>(2, key.size() / 3);
    std::vector<std::pair<size_t, std::string>> scored;
    for (const std::string& candidate : candidates) {
        const std::string name = lower(candidate);
        size_t score = editDistance(key, name);
        const bool contains =
            !key.empty() && (name.find(key) != std::string::npos ||
                             (key.find(name) != std::string::npos && !name.empty()));
        if (score > allowed && !contains) {
            continue;
        }
        if (contains) {
            score = std::min<size_t>(score, 1);
        }
        scored.emplace_back(score, candidate);
    }
    std::sort(scored.begin(), scored.end());
    std::vector<std::string> out;
    for (const auto& entry : scored) {
        if (out.size() >= limit) {
            break;
        }
        if (std::find(out.begin(), out.end(), entry.second) == out.end()) {
            out.push_back(entry.second);
        }
    }
    return out;
}

std::string formatProgress(uint64_t elapsedMs, int64_t plannedMs, uint64_t samples,
                           uint64_t dropped) {
    auto clock = [](uint64_t ms) {
        const uint64_t seconds = ms / 1000;
        char text[32];
        if (seconds >= 3600) {
            std::snprintf(text, sizeof text, "%llu:%02llu:%02llu",
                          static_cast<unsigned long long>(seconds / 3600),
                          static_cast<unsigned long long>(seconds / 60 % 60),
                          static_cast<unsigned long long>(seconds % 60));
        } else {
            std::snprintf(text, sizeof text, "%02llu:%02llu",
                          static_cast<unsigned long long>(seconds / 60),
                          static_cast<unsigned long long>(seconds % 60));
        }
        return std::string(text);
    };
    std::string text = "elapsed " + clock(elapsedMs) + " of ";
    text += plannedMs < 0 ? std::string("until Ctrl-C") : clock(static_cast<uint64_t>(plannedMs));
    text += " | samples " + std::to_string(samples) + " | dropped " + std::to_string(dropped);
    return text;
}

}  // namespace vantry
