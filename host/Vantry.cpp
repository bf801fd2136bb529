#include "host/Vantry.h"

#include <algorithm>
#include <chrono>
#include <cstring>
#include <filesystem>
#include <map>
#include <set>
#include <sstream>
#include <system_error>

#include <nlohmann/json.hpp>

#include "common/config/VexaConfigFileParser.h"
#include "common/config/WriterInterfaceConfigFileParser.h"
#include "common/data/EntityHandle.h"
#include "common/data/UniqueId.h"
#include "common/messages/SystemMessage.h"
#include "common/messages/TextMessage.h"
#include "common/plugins/DriverMessage.h"
#include "common/plugins/MetricPluginCapability.h"
#include "common/plugins/VexaBuffer.h"
#include "common/plugins/WriterPluginCapability.h"
#include "common/plugins/WriterStream.h"
#include "common/serialize/CollectorMetadata.h"
#include "common/serialize/MetricMetadata.h"
#include "common/serialize/MsgMetadata.h"
#include "common/sysinfo/SystemProbe.h"
#include "common/usage/ConsoleWidth.h"
#include "common/usage/UsageText.h"
#include "host/Console.h"
#include "host/ProcessLauncher.h"
#include "host/ResultFile.h"

#ifndef VANTRY_HOST_VERSION_MAJOR
#define VANTRY_HOST_VERSION_MAJOR 0
#define VANTRY_HOST_VERSION_MINOR 1
#define VANTRY_HOST_VERSION_PATCH 0
#endif

namespace vantry {

namespace {

namespace fs = std::filesystem;

// A simulated collection starts at 2026-01-01 00:00:00 GMT, so that its
// reports carry the same dates on every run.
const uint64_t c_simulatedEpochNs = 1767225600ull * 1000000000ull;
// The simulated clock counts nanoseconds (1000 ticks per microsecond) from
// one second, as metrics refuse a timestamp of 0.
const float c_simulatedTicksPerUs = 1000.0f;
const uint64_t c_simulatedFirstTick = 1000000000ull;
// A configuration file larger than this is not one (the shipped ones are a
// few kilobytes).
const uint64_t c_maxConfigBytes = 16u * 1024u * 1024u;
// How long a -p program may take to end after the polite request.
const unsigned c_programGraceMs = 3000;
// The progress line is redrawn at most this often.
const uint64_t c_progressEveryMs = 250;

uint32_t hostVersion() {
    return static_cast<uint32_t>(VANTRY_HOST_VERSION_MAJOR) << 16 |
           static_cast<uint32_t>(VANTRY_HOST_VERSION_MINOR) << 8 |
           static_cast<uint32_t>(VANTRY_HOST_VERSION_PATCH);
}

uint64_t steadyMs() {
    return static_cast<uint64_t>(std::chrono::duration_cast<std::chrono::milliseconds>(
                                     std::chrono::steady_clock::now().time_since_epoch())
                                     .count());
}

uint64_t secondsToMs(double seconds) {
    return static_cast<uint64_t>(seconds * 1000.0 + 0.5);
}

// Breaks text into lines of at most width columns, without splitting words.
std::vector<std::string> wrap(const std::string& text, size_t width) {
    std::vector<std::string> lines;
    std::istringstream words(text);
    std::string word;
    std::string line;
    while (words >> word) {
        if (!line.empty() && line.size() + 1 + word.size() > width) {
            lines.push_back(line);
            line.clear();
        }
        line += (line.empty() ? "" : " ") + word;
    }
    if (!line.empty() || lines.empty()) {
        lines.push_back(line);
    }
    return lines;
}

std::string formatTable(const std::vector<std::pair<std::string, std::string>>& rows,
                        size_t width) {
    size_t nameWidth = 0;
    for (const auto& row : rows) {
        nameWidth = std::max(nameWidth, row.first.size());
    }
    const size_t column = 4 + nameWidth + 2;
    const size_t room = width > column + 20 ? width - column : 40;
    std::string text;
    for (const auto& row : rows) {
        const std::vector<std::string> lines = wrap(row.second, room);
        for (size_t i = 0; i < lines.size(); ++i) {
            std::string head = i == 0 ? "    " + row.first : std::string();
            head.resize(column, ' ');
            text += head + lines[i] + "\n";
        }
    }
    return text;
}

// What the exit status says, for --help and --help-json.
std::vector<std::pair<std::string, std::string>> exitStatusRows() {
    return {
        {"0", "the collection and every requested report were written (also after Ctrl-C)"},
        {"1",
         "something failed while running, named in one line with the file and the system's "
         "reason: missing plug-ins or configuration, an unreadable collection, a file that "
         "cannot be written (the collection so far is kept), another vantry on the same output"},
        {"2",
         "the command line cannot be followed: an unknown option, feature or format, a "
         "missing or bad value, -l naming an input or an output, -o naming a folder, a "
         "collection option beside -i"},
    };
}

}  // namespace

// ---------------------------------------------------------------------------
// SimulatedClock, TeeLogger

SimulatedClock::SimulatedClock()
    : pwr::VexaClockSource("5e3a0c1e-7b2d-4f60-9a51-0c0ffee0d00d", "SIM",
                           "A simulated clock that advances one interval per poll"),
      m_ticks(c_simulatedFirstTick) {}

SimulatedClock::~SimulatedClock() = default;

float SimulatedClock::getFrequency() const {
    return c_simulatedTicksPerUs;
}

uint64_t SimulatedClock::getTimestamp() const {
    return m_ticks;
}

void SimulatedClock::advanceMs(uint64_t ms) {
    m_ticks += ms * 1000000u;
}

void SimulatedClock::advanceTicks(uint64_t ticks) {
    m_ticks += ticks;
}

TeeLogger::TeeLogger(FILE* console, FILE** logFile) : m_console(console), m_logFile(logFile) {}

TeeLogger::~TeeLogger() = default;

void TeeLogger::log(const char* line) {
    if (line == nullptr) {
        return;
    }
    // The writers' contract: a report they could not write is named in a
    // line that starts so.
    if (std::strncmp(line, "ERROR: Cannot write result file ", 32) == 0) {
        ++m_reportFailures;
    }
    if (m_holding) {
        m_held += line;
        return;
    }
    write_i(line);
}

void TeeLogger::release(bool write) {
    m_holding = false;
    if (write && !m_held.empty()) {
        write_i(m_held.c_str());
    }
    m_held.clear();
}

void TeeLogger::write_i(const char* line) {
    std::fputs(line, m_console);
    if (m_logFile != nullptr && *m_logFile != nullptr) {
        std::fputs(line, *m_logFile);
    } else if (m_backlog != nullptr) {
        *m_backlog += line;
    }
}

// ---------------------------------------------------------------------------
// Vantry

Vantry::Vantry() : m_stdout(stdout, &m_logFile), m_stderr(stderr, &m_logFile) {}

Vantry::~Vantry() {
    // Plug-ins first: their metrics and messages refer to what follows.
    m_features.clear();
    m_plugins.clear();
    pwr::WriterInterfaceConfigFileParser::destroy();
    pwr::VexaConfigFileParser::destroy();
    if (m_registryUp) {
        pwr::UniqueId::destroy();
    }
    if (m_env) {
        m_env->setDefaultClock(nullptr);
    }
    m_env.reset();
    m_clock.reset();
    if (m_logFile != nullptr) {
        std::fclose(m_logFile);
    }
}

void Vantry::out_i(const std::string& text) {
    m_stdout.log(text.c_str());
    std::fflush(stdout);
}

int Vantry::fail_i(int status, const std::string& line) {
    m_stderr.log((line + "\n").c_str());
    return status;
}

int Vantry::run(const std::vector<std::string>& args) {
    std::string error;
    if (!parseHostOptions(args, m_options, error)) {
        return fail_i(2, error);
    }
    if (pwr::fileKind(m_options.output) == pwr::FileKind::DIRECTORY) {
        return fail_i(2, "ERROR: option -o takes a name for the files, not the folder \"" +
                             m_options.output + "\"; give one in it, such as " + m_options.output +
                             "/VantryOutput");
    }
    // The log file of -l opens once it is known not to be an input or an
    // output; what is said before waits for it.
    if (!m_options.logFile.empty()) {
        m_stdout.setBacklog(&m_logBacklog);
        m_stderr.setBacklog(&m_logBacklog);
    }
    m_env.reset(new PluginEnvironment());
    m_env->setErrorLogger(&m_stderr);
    m_env->setDebugLogger(&m_stderr);
    m_env->setNullLogger(&m_null);
    m_env->setDataOutputHandle(&m_stdout);
    m_env->setFileOutputHandle(&m_stdout);
    m_env->setVerbosity(PW_WARNING);

    m_system.appVersion = hostVersion();
    // A simulated run leaves the build date out, so that its reports are
    // the same whenever the program was built.
    m_system.exeBuildDate = m_options.simulate ? std::string() : std::string(__DATE__);
    if (m_options.version || m_options.printFms) {
        if (!openLog_i()) {
            return 2;
        }
    }
    if (m_options.version) {
        out_i(m_system.getVersionHeader(false));
        return 0;
    }
    if (m_options.printFms) {
        pwr::ProbeSources sources = pwr::defaultProbeSources();
        pwr::probeCpuid(m_system, sources.cpuid);
        // The form of the hardware header's "CPU ID (family.model.stepping)".
        char fms[48];
        std::snprintf(fms, sizeof fms, "0x%x.0x%x.0x%x\n",
                      static_cast<unsigned>(m_system.fms.family),
                      static_cast<unsigned>(m_system.fms.model),
                      static_cast<unsigned>(m_system.fms.stepping));
        out_i(fms);
        return 0;
    }
    installInterruptHandler();

    const int started = start_i();
    if (started != 0) {
        return started;
    }
    if (m_options.help || m_options.helpJson) {
        if (!openLog_i()) {
            return 2;
        }
        probeSystem_i();
        if (pwr::VexaConfigFileParser::instance()->parse(m_platformConfigs, m_plugins.collectors(),
                                                         m_system) != 0) {
            return fail_i(
                1, "ERROR: the platform configuration in \"" + m_toolDir + "config\" is invalid");
        }
        findPlatform_i();
        buildFeatures_i();
        {
            std::string configError;
            if (!checkFeatureConfig(m_features, *pwr::VexaConfigFileParser::instance(), m_platform,
                                    m_toolDir + "config", configError)) {
                return fail_i(1, configError);
            }
        }
        return showHelp_i(m_options.helpJson);
    }

    std::string resultPath;
    std::string prefix = m_options.output;
    if (!m_options.input.empty()) {
        // The name as given when it is a file (an unfinished collection keeps
        // its own name), else with the extension.
        // "run" stands for "run.vtr" unless only "run" is there; other names
        // (an unfinished collection's) are taken as they are.
        resultPath = m_options.input;
        const std::string extension = resultFileExtension();
        if (resultStem(resultPath) == resultPath &&
            (pwr::fileKind(resultPath) == pwr::FileKind::MISSING ||
             pwr::fileKind(resultPath + extension) != pwr::FileKind::MISSING)) {
            resultPath += extension;
        }
        if (!m_options.outputGiven) {
            prefix = resultStem(resultPath);
        }
        // A collection that did not finish keeps its unfinished name: point
        // the user to it rather than only saying that nothing is there.
        if (pwr::fileKind(resultPath) == pwr::FileKind::MISSING) {
            const std::string stem = resultStem(resultPath);
            std::error_code ec;
            const std::string folder = pwr::folderOf(resultPath);
            for (fs::directory_iterator it(fs::u8path(folder), ec), end; !ec && it != end;
                 it.increment(ec)) {
                const std::string name = it->path().filename().u8string();
                const std::string candidate =
                    folder == "." && resultPath.find_first_of("/\\") == std::string::npos
                        ? name
                        : folder + "/" + name;
                if (candidate != resultPath && resultStem(candidate) == stem) {
                    return fail_i(1, "ERROR: cannot read the collection \"" + resultPath +
                                         "\": No such file or directory; " + candidate +
                                         " holds one that did not finish (vantry -i " + candidate +
                                         " reads it)");
                }
            }
        }
        if (!checkWriters_i(m_system, nullptr, &m_reportSuffixes)) {
            return 2;
        }
        const int prepared = prepareOutputs_i(prefix, std::string(), resultPath);
        if (prepared != 0) {
            return prepared;
        }
    } else {
        if (m_options.features.empty()) {
            return fail_i(2,
                          "ERROR: no feature selected; give -f <feature> (-f all for every "
                          "feature), and run vantry --help for the features of this machine");
        }
        const int collected = collect_i(resultPath);
        if (collected != 0 || resultPath.empty()) {
            return collected;
        }
        if (m_options.noPostProcessing) {
            out_i("Result file: " + resultPath + "\n");
            return 0;
        }
    }
    return postProcess_i(resultPath, prefix);
}

bool Vantry::openLog_i() {
    if (m_options.logFile.empty() || m_logFile != nullptr) {
        return true;
    }
    std::string why;
    m_logFile = pwr::openForWriteNoFollow(m_options.logFile, why);
    m_stdout.setBacklog(nullptr);
    m_stderr.setBacklog(nullptr);
    if (m_logFile == nullptr) {
        m_logBacklog.clear();
        fail_i(2, "ERROR: cannot create the log file \"" + m_options.logFile + "\": " + why);
        return false;
    }
    std::fputs(m_logBacklog.c_str(), m_logFile);
    m_logBacklog.clear();
    return true;
}

int Vantry::prepareOutputs_i(const std::string& prefix, const std::string& resultPath,
                             const std::string& inputPath) {
    std::vector<std::string> outputs;
    if (!resultPath.empty()) {
        outputs.push_back(resultPath);
    }
    for (const std::string& suffix : m_reportSuffixes) {
        if (std::find(outputs.begin(), outputs.end(), prefix + suffix) == outputs.end()) {
            outputs.push_back(prefix + suffix);
        }
    }
    // -l must not name what is read or written: opening it would truncate
    // the one, and the log would be interleaved with the other.
    if (!m_options.logFile.empty()) {
        if (!inputPath.empty() && pwr::sameFile(m_options.logFile, inputPath)) {
            return fail_i(2, "ERROR: -l names the collection that -i reads (\"" + inputPath +
                                 "\"); give the log another name");
        }
        for (const std::string& output : outputs) {
            if (pwr::sameFile(m_options.logFile, output)) {
                return fail_i(
                    2, "ERROR: -l names the output \"" + output + "\"; give the log another name");
            }
        }
    }
    std::string error;
    if (!pwr::checkFolderWritable(pwr::folderOf(prefix), error)) {
        return fail_i(1, "ERROR: cannot write the output \"" + prefix + "\": " + error);
    }
    for (const std::string& output : outputs) {
        if (!inputPath.empty() && pwr::sameFile(output, inputPath)) {
            return fail_i(2, "ERROR: the output \"" + output +
                                 "\" is the collection that -i reads; choose another -o");
        }
        if (!pwr::checkReplaceable(output, error)) {
            return fail_i(1, "ERROR: cannot write \"" + output + "\": it " + error);
        }
    }
    bool busy = false;
    if (!m_lock.acquire(prefix, error, busy)) {
        return fail_i(1, "ERROR: " + error +
                             (busy ? "; wait for it to end or choose another -o" : std::string()));
    }
    return openLog_i() ? 0 : 2;
}

int Vantry::start_i() {
    if (!m_env->setVantryDirectory()) {
        return fail_i(1, "ERROR: cannot find the folder of the vantry program");
    }
    m_toolDir = m_env->getVantryDirectory();
    pwr::UniqueId::initialize();
    m_registryUp = true;

    if (m_options.simulate) {
        m_simClock = new SimulatedClock();
        m_clock.reset(m_simClock);
    } else {
        m_clock.reset(new pwr::VexaQPCClock());
    }
    m_env->setDefaultClock(m_clock.get());

    std::string error;
    if (!m_plugins.loadFolder(m_toolDir + "plugins", error)) {
        return fail_i(1, "ERROR: " + error +
                             "; the plug-in modules belong in the folder \"plugins\" "
                             "beside the vantry program");
    }
    m_plugins.assignSIDs(m_system);
    if (!m_options.sourceRoot.empty()) {
        m_plugins.broadcast("source-root=" + m_options.sourceRoot);
    }

    // Configuration files: "*output*.cfg" are output configurations, every
    // other ".cfg" a platform configuration.
    const std::string configDir = m_toolDir + "config";
    std::error_code ec;
    std::vector<std::string> files;
    if (fs::is_directory(fs::path(configDir), ec)) {
        for (fs::directory_iterator it(fs::path(configDir), ec), end; !ec && it != end;
             it.increment(ec)) {
            if (it->path().extension().string() == ".cfg") {
                files.push_back(it->path().string());
            }
        }
    }
    std::sort(files.begin(), files.end());
    // A FIFO, a device or a folder among them would block or never end the
    // parse: each must be a regular file of a sane size.
    for (const std::string& file : files) {
        std::string why;
        std::FILE* probe = pwr::openRegularFile(file, why, nullptr, c_maxConfigBytes);
        if (probe == nullptr) {
            return fail_i(1, "ERROR: cannot read the configuration file \"" + file + "\": " + why);
        }
        std::fclose(probe);
    }
    for (const std::string& file : files) {
        const std::string name = fs::path(file).filename().string();
        (name.find("output") != std::string::npos ? m_outputConfigs : m_platformConfigs)
            .push_back(file);
    }
    if (m_platformConfigs.empty() || m_outputConfigs.empty()) {
        return fail_i(1, "ERROR: configuration missing: the folder \"" + configDir +
                             "\" needs a platform configuration and an output configuration "
                             "(*.cfg)");
    }
    return 0;
}

void Vantry::probeSystem_i() {
    pwr::ProbeSources sources = pwr::defaultProbeSources();
    if (!m_options.sourceRoot.empty()) {
        // A recorded tree: its first snapshot describes the machine.
        std::error_code ec;
        const std::string first = m_options.sourceRoot + "/0";
        sources.root = fs::is_directory(fs::path(first), ec) ? first : m_options.sourceRoot;
        sources.cpuid = nullptr;
        sources.useOsCalls = false;
    }
    // The probe names every source it could not read; that is for
    // diagnosing the probe, not for every run.
    const PWLogLevel verbosity = m_env->getVerbosity();
    std::vector<std::string> notes;
    sources.notes = &notes;
    m_env->setVerbosity(std::min(verbosity, PW_ERROR));
    pwr::probeSystem(m_system, sources);
    m_env->setVerbosity(verbosity);
    // What the probe had to assume changes the reports: that is said.
    for (const std::string& note : notes) {
        pwr::pwLog(PW_WARNING, "WARNING: %s\n", note.c_str());
    }
    m_system.clockFreqMHz = m_clock->getFrequency();
    m_system.pollingIntervalMsecs = static_cast<uint16_t>(m_options.intervalMs);
    m_system.maxDetail = m_options.maxDetail ? 1 : 0;
    m_system.commandLine.assign(1, "vantry");
    m_system.commandLine.insert(m_system.commandLine.end(), m_options.words.begin(),
                                m_options.words.end());
    if (m_options.simulate) {
        m_system.programStartTimeval = c_simulatedEpochNs;
    } else {
        pwr::markProgramStart(m_system);
    }
}

void Vantry::findPlatform_i() {
    // The configuration's platforms are recognised by the processor; one
    // that matches nothing is served by the root platform.
    const pwr::VexaConfigFileParser* parser = pwr::VexaConfigFileParser::instance();
    std::string name;
    const pwr::FMS& fms = m_system.fms;
    const std::string fmsText = std::to_string(fms.family) + "." + std::to_string(fms.model) + "." +
                                std::to_string(fms.stepping);
    const PWLogLevel verbosity = m_env->getVerbosity();
    m_env->setVerbosity(std::min(verbosity, PW_WARNING));
    if ((fms.family != 0 || fms.model != 0) &&
        parser->getPlatformName(name, {"FMS", fmsText}) == 0) {
        m_platform = name;
    } else {
        m_platform = "ALL";
    }
    m_env->setVerbosity(verbosity);
}

void Vantry::buildFeatures_i() {
    const pwr::VexaConfigFileParser* parser = pwr::VexaConfigFileParser::instance();
    std::vector<const pwr::ConfigCap*> caps;
    parser->getCapabilitiesFor(caps, m_platform);
    for (const pwr::ConfigCap* cap : caps) {
        if (cap == nullptr || cap->getName().empty()) {
            continue;
        }
        Feature feature;
        feature.name = cap->getName();
        feature.prefix = cap->getConfigfilePrefix();
        feature.description = cap->getDescription();
        feature.groups = cap->getGroups();
        feature.hidden = cap->isHidden();
        for (MetricPlugin* plugin : m_plugins.metrics()) {
            for (pwr::PluginCapability* pc : plugin->getCapabilities()) {
                auto* mc = dynamic_cast<pwr::MetricPluginCapability*>(pc);
                if (mc != nullptr && feature.plugin == nullptr &&
                    mc->getConfigFilePrefix() == feature.prefix &&
                    mc->isCapabilitySuitableFor(m_system, {}) !=
                        pwr::PluginRequirementResult::NOT_SUITABLE) {
                    feature.plugin = plugin;
                    feature.capability = mc;
                }
            }
        }
        if (feature.description.empty() && feature.capability != nullptr) {
            feature.description = feature.capability->getDescription();
        }
        std::vector<pwr::InputMsg*> messages;
        parser->getMessagesFor(messages, m_platform, feature.prefix, {});
        for (pwr::InputMsg* msg : messages) {
            bool collectable = msg->getOperationCount() != 0;
            for (pwr::Operation* op : msg->getOperations()) {
                CollectorPlugin* collector = op->getCollector();
                collectable =
                    collectable && collector != nullptr && collector->canCollectMessage(msg);
            }
            if (collectable) {
                feature.messages.push_back(msg);
            }
        }
        m_features.push_back(std::move(feature));
    }
}

std::vector<std::string> Vantry::resultFormats_i() const {
    std::vector<std::string> names;
    for (WriterPlugin* writer : m_plugins.writers()) {
        for (pwr::PluginCapability* cap : writer->getCapabilities()) {
            if (std::find(names.begin(), names.end(), cap->getName()) == names.end()) {
                names.push_back(cap->getName());
            }
        }
    }
    return names;
}

bool Vantry::checkWriters_i(const pwr::SystemMetadata& sys, std::vector<WriterPlugin*>* out,
                            std::vector<std::string>* suffixes) {
    // Formats are named without regard to case ("-r SUM"), as features are.
    for (std::string& name : m_options.results) {
        for (const std::string& format : resultFormats_i()) {
            if (sameName(format, name)) {
                name = format;
            }
        }
    }
    for (const std::string& name : m_options.results) {
        WriterPlugin* found = nullptr;
        for (WriterPlugin* writer : m_plugins.writers()) {
            std::vector<pwr::PluginCapability*> caps;
            writer->getCapabilitiesFor(caps, name, sys);
            if (!caps.empty()) {
                found = writer;
                // The file the writer will make: checked before anything is
                // collected.
                auto* wc = dynamic_cast<pwr::WriterPluginCapability*>(caps.front());
                if (suffixes != nullptr && wc != nullptr && !wc->getFileSuffix().empty()) {
                    suffixes->push_back(wc->getFileSuffix());
                }
                break;
            }
        }
        if (found == nullptr) {
            std::string known;
            for (const std::string& format : resultFormats_i()) {
                known += (known.empty() ? "" : ", ") + format;
            }
            fail_i(2, "ERROR: unknown output format \"" + name + "\" for -r; the formats are: " +
                          (known.empty() ? std::string("none (no writer plug-ins)") : known));
            return false;
        }
        if (out != nullptr && std::find(out->begin(), out->end(), found) == out->end()) {
            out->push_back(found);
        }
    }
    return true;
}

int Vantry::showHelp_i(bool json) {
    pwr::usage::UsageText usage("vantry");
    if (pwr::usage::Option* result = usage.findOption("Post-processing Options", "--result")) {
        result->setValidArgs(resultFormats_i());
    }
    // What -m changes here, exactly: the shipped configuration already reads
    // every feature at every poll.
    if (pwr::usage::Option* detail = usage.findOption("Collection Options", "--max-detail")) {
        detail->setNotes(
            "Messages are then read at the times the platform configuration gives for the "
            "most detail (READ-WHEN-MAX-DETAIL) where it gives any; the shipped configuration "
            "reads every feature at every poll either way, and the int report (-r int) always "
            "holds the data of every poll.");
    }
    auto& groups = usage.getOptionGroups();
    for (auto& group : groups) {
        if (group.title == "Collection Options" && !group.options.empty()) {
            group.options.emplace_back(
                "--source-root",
                "Measure a recorded machine instead of this one: a folder of snapshots 0, 1, 2, "
                "... of its /sys, /proc and /etc files, one per poll (the last one repeats)",
                group.options.front().getTabLevel());
            group.options.back().setArg("<folder>");
            group.options.emplace_back(
                "--simulate",
                "Use a clock that advances exactly one interval per poll without waiting, so "
                "that a recorded machine replays at once and gives the same report every time",
                group.options.front().getTabLevel());
            group.options.emplace_back(
                "--keep-program",
                "Leave the program of -p running when the collection ends before it (its process "
                "id is printed); by default it is stopped",
                group.options.front().getTabLevel());
        }
    }
    if (!groups.empty()) {
        groups[0].options.emplace_back("--help-json", "Display the usage text as JSON, for tools",
                                       groups[0].options.front().getTabLevel());
    }
    std::vector<std::pair<std::string, std::string>> featureRows;
    for (const Feature& feature : m_features) {
        if (feature.available() && !feature.hidden) {
            featureRows.emplace_back(feature.name, feature.description);
        }
    }
    const auto groupMembers = featureGroups(m_features);
    auto isListed = [&](const std::string& name) {
        for (const auto& row : featureRows) {
            if (row.first == name) {
                return true;
            }
        }
        return false;
    };
    if (json) {
        nlohmann::json doc = nlohmann::json::parse(usage.formatJson(-1));
        // "features": every feature offered here, with the sub-options the
        // library knows for it (none for most).
        std::map<std::string, nlohmann::json> subOptions;
        if (doc.contains("features") && doc["features"].is_array()) {
            for (const auto& feature : doc["features"]) {
                if (feature.contains("name") && feature["name"].is_string() &&
                    feature.contains("options")) {
                    subOptions[feature["name"].get<std::string>()] = feature["options"];
                }
            }
        }
        nlohmann::json offered = nlohmann::json::array();
        for (const auto& row : featureRows) {
            auto found = subOptions.find(row.first);
            offered.push_back(
                {{"name", row.first},
                 {"options", found != subOptions.end() ? found->second : nlohmann::json::array()}});
        }
        doc["features"] = offered;
        nlohmann::json features = nlohmann::json::array();
        for (const Feature& feature : m_features) {
            if (feature.available() && !feature.hidden) {
                features.push_back({{"name", feature.name},
                                    {"description", feature.description},
                                    {"groups", feature.groups}});
            }
        }
        nlohmann::json groupList = nlohmann::json::array();
        for (const auto& group : groupMembers) {
            groupList.push_back({{"name", group.first}, {"features", group.second}});
        }
        doc["available features"] = features;
        doc["feature groups"] = groupList;
        nlohmann::json statuses = nlohmann::json::array();
        for (const auto& row : exitStatusRows()) {
            statuses.push_back({{"status", std::stoi(row.first)}, {"meaning", row.second}});
        }
        doc["exit statuses"] = statuses;
        out_i(doc.dump(4) + "\n");
        return 0;
    }
    const size_t width = pwr::usage::getConsoleWidth();
    // The library knows sub-options of features that this machine may not
    // offer; only those of the features listed below are shown.
    std::string text = usage.formatText(width);
    const std::string subOptionsTitle = "\nIndividual Feature Options:\n";
    const size_t cut = text.find(subOptionsTitle);
    if (cut != std::string::npos) {
        text.erase(cut);
        std::string subOptions;
        size_t column = 0;
        for (const auto& entry : usage.getIndividualFeatureOptions()) {
            for (const pwr::usage::Option& option : entry.second) {
                column = std::max(column, option.getNameColumnEnd() + 2);
            }
        }
        for (const auto& entry : usage.getIndividualFeatureOptions()) {
            if (!isListed(entry.first)) {
                continue;
            }
            subOptions += "\t" + entry.first + "\n";
            for (const pwr::usage::Option& option : entry.second) {
                subOptions += option.format(width, column);
            }
        }
        if (!subOptions.empty()) {
            text += subOptionsTitle + subOptions;
        }
    }
    text += "\nIndividual Features (on this machine):\n";
    if (featureRows.empty()) {
        text += "    none: no feature is available on this machine\n";
    }
    text += formatTable(featureRows, width);
    std::vector<std::pair<std::string, std::string>> groupRows;
    for (const auto& group : groupMembers) {
        std::string members;
        for (const std::string& name : group.second) {
            members += (members.empty() ? "" : ", ") + name;
        }
        groupRows.emplace_back(group.first, members);
    }
    if (!groupRows.empty()) {
        text += "\nFeature Groups:\n" + formatTable(groupRows, width);
    }
    text += "\nExit Status:\n" + formatTable(exitStatusRows(), width);
    out_i(text);
    return 0;
}

int Vantry::collect_i(std::string& resultPath) {
    if (m_options.autoConnectedStandby) {
        pwr::pwLog(PW_WARNING,
                   "WARNING: -z (--auto-connected-standby) is not supported by this host; "
                   "collecting without it\n");
    }
    probeSystem_i();
    if (pwr::VexaConfigFileParser::instance()->parse(m_platformConfigs, m_plugins.collectors(),
                                                     m_system) != 0) {
        return fail_i(
            1, "ERROR: the platform configuration in \"" + m_toolDir + "config\" is invalid");
    }
    pwr::DataHandleProvider::initTopology(m_system);
    findPlatform_i();
    buildFeatures_i();
    {
        std::string configError;
        if (!checkFeatureConfig(m_features, *pwr::VexaConfigFileParser::instance(), m_platform,
                                m_toolDir + "config", configError)) {
            return fail_i(1, configError);
        }
    }
    std::vector<const Feature*> selected;
    std::string error;
    if (!selectFeatures(m_features, m_options.features, selected, error)) {
        return fail_i(2, error);
    }
    if (!checkWriters_i(m_system, nullptr, &m_reportSuffixes)) {
        return 2;
    }
    if (m_options.noPostProcessing) {
        m_reportSuffixes.clear();  // no report is written, so none is checked
    }
    // The output configuration is needed only for the reports, but a broken
    // one must not cost a whole collection: it is read now, and again with
    // the collection's own system record when the reports are made.
    if (pwr::WriterInterfaceConfigFileParser::instance()->parse(m_outputConfigs, m_system) != 0) {
        return fail_i(1,
                      "ERROR: the output configuration in \"" + m_toolDir + "config\" is invalid");
    }
    pwr::WriterInterfaceConfigFileParser::destroy();

    resultPath = m_options.output + resultFileExtension();
    const int prepared = prepareOutputs_i(m_options.output, resultPath, std::string());
    if (prepared != 0) {
        return prepared;
    }
    ResultFileWriter file;
    if (!file.create(resultPath, error)) {
        return fail_i(1, "ERROR: " + error);
    }

    // The collectors serving the selected messages, in plug-in order.
    std::set<CollectorPlugin*> usedSet;
    for (const Feature* feature : selected) {
        for (pwr::InputMsg* msg : feature->messages) {
            msg->setPluginID(feature->plugin->getSID());
            msg->setMetricID(feature->capability->getMetricID());
            for (pwr::Operation* op : msg->getOperations()) {
                usedSet.insert(op->getCollector());
            }
        }
    }
    std::vector<CollectorPlugin*> collectors;
    for (CollectorPlugin* collector : m_plugins.collectors()) {
        if (usedSet.count(collector) != 0) {
            collectors.push_back(collector);
        }
    }

    std::set<const pwr::InputMsg*> warned;
    auto runTrigger = [&](const char* trigger) {
        for (const Feature* feature : selected) {
            for (pwr::InputMsg* msg : feature->messages) {
                const auto& detailed = msg->getTriggers(true);
                const auto& triggers =
                    m_options.maxDetail && !detailed.empty() ? detailed : msg->getTriggers(false);
                if (triggers.count(trigger) == 0) {
                    continue;
                }
                for (pwr::Operation* op : msg->getOperations()) {
                    CollectorPlugin* collector = op->getCollector();
                    const int status = msg->getCommand() == pwr::VexaOpCommand::WRITE
                                           ? collector->doImmediateWrite(op, msg->getFullName())
                                           : collector->doImmediateRead(op, msg->getFullName());
                    if (status != 0 && warned.insert(msg).second) {
                        pwr::pwLog(PW_WARNING, "WARNING: %s of %s failed (status %d)\n", trigger,
                                   msg->getFullName().c_str(), status);
                    }
                }
            }
        }
    };
    uint64_t produced = 0;
    uint64_t dropped = 0;
    bool writeFailed = false;
    std::string writeError;
    // Each poll's records, of every collector, go to the file as one frame.
    std::vector<uint8_t> pollBytes;
    auto drain = [&]() {
        pollBytes.clear();
        for (CollectorPlugin* collector : collectors) {
            pwr::VexaBuffer buffer;
            CollectionData data;
            if (collector->getContinuousResult(buffer, data) != 0) {
                continue;
            }
            produced += data.getSamplesProduced();
            dropped += data.getSamplesDropped();
            pollBytes.insert(pollBytes.end(), buffer.data(), buffer.data() + buffer.size());
        }
        if (!writeFailed && !file.appendSamples(pollBytes.data(), pollBytes.size(), writeError)) {
            writeFailed = true;
        }
    };

    // Program first (after its delay), then the start delay, then the
    // collection: the program is running before the first reading.
    ProcessLauncher program;
    std::string programStatus;
    auto wait = [&](double seconds) {
        if (m_simClock != nullptr) {
            m_simClock->advanceMs(secondsToMs(seconds));
            return true;
        }
        return sleepInterruptible(secondsToMs(seconds));
    };
    const bool haveProgram = !m_options.program.empty();
    const char* stoppedEarly = "Stopped by the user before the collection started\n";
    if (haveProgram) {
        if (!wait(m_options.programDelaySec)) {
            file.abandon();
            out_i(stoppedEarly);
            resultPath.clear();
            return 0;
        }
        if (!program.start(m_options.program, error)) {
            file.abandon();
            return fail_i(
                1, "ERROR: cannot start the program \"" + m_options.program[0] + "\": " + error);
        }
    }
    if (!wait(m_options.startDelaySec)) {
        file.abandon();
        out_i(stoppedEarly);
        resultPath.clear();
        return 0;
    }

    const bool showProgress = m_simClock == nullptr && isStdoutTerminal();
    const int64_t plannedMs =
        m_options.durationSec < 0 ? -1 : static_cast<int64_t>(secondsToMs(m_options.durationSec));
    if (plannedMs > 0 && static_cast<uint64_t>(plannedMs) < m_options.intervalMs) {
        char note[160];
        std::snprintf(note, sizeof note,
                      "Note: -t %g s is shorter than the interval of %u ms; the collection is one "
                      "interval of %g s\n",
                      m_options.durationSec, m_options.intervalMs, m_options.durationSec);
        out_i(note);
    }
    // The line says how the collection will end.
    std::string until;
    if (plannedMs >= 0) {
        char seconds[48];
        std::snprintf(seconds, sizeof seconds, " for %g s", m_options.durationSec);
        until = seconds;
    } else {
        until = haveProgram ? " until the program ends or Ctrl-C" : " until Ctrl-C";
    }
    out_i("Collecting " + std::to_string(selected.size()) + " feature" +
          (selected.size() == 1 ? "" : "s") + " every " + std::to_string(m_options.intervalMs) +
          " ms" + until + "\n");

    if (m_simClock != nullptr) {
        m_system.startTimeval =
            c_simulatedEpochNs + m_simClock->getTimestamp() - c_simulatedFirstTick;
        m_system.startTsc = m_simClock->getTimestamp();
        // As in a real collection, the first readings come just after the
        // start.
        m_simClock->advanceTicks(1);
    } else {
        pwr::markCollectionStart(m_system);
        // The metrics measure a first sample from the start of the
        // collection, so both ends are kept in the clock that stamps the
        // samples (the default clock), not in the processor's TSC.
        m_system.startTsc = m_clock->getTimestamp();
    }
    // The records that describe the collection.
    std::vector<std::unique_ptr<pwr::Metadata>> owned;
    std::vector<const pwr::Metadata*> metadata{&m_system};
    std::vector<FeatureRecord> features;
    for (const Feature* feature : selected) {
        FeatureRecord record{feature->name, feature->prefix, {}};
        for (pwr::InputMsg* msg : feature->messages) {
            owned.emplace_back(new pwr::MsgMetadata(msg->getMetadata()));
            record.messages.push_back(msg->getFullName());
        }
        auto* metric =
            new pwr::MetricMetadata(feature->plugin->getSID(), feature->capability->getMetricID());
        metric->addValue("feature", feature->name);
        metric->addValue("prefix", feature->prefix);
        metric->addValue("plug-in", feature->plugin->getName().empty()
                                        ? std::string("unnamed")
                                        : feature->plugin->getName());
        owned.emplace_back(metric);
        features.push_back(std::move(record));
    }
    for (CollectorPlugin* collector : collectors) {
        auto* record = new pwr::CollectorMetadata(
            collector->getName().empty() ? std::string("collector") : collector->getName());
        record->addValue("sid", std::to_string(collector->getSID()));
        owned.emplace_back(record);
    }
    for (const auto& record : owned) {
        metadata.push_back(record.get());
    }
    const std::vector<std::pair<std::string, std::string>> options{
        {"interval-ms", std::to_string(m_options.intervalMs)},
        {"max-detail", m_options.maxDetail ? "1" : "0"},
        {"platform", m_platform},
    };
    if (!file.writeHead(metadata, features, options, error)) {
        file.abandon();
        return fail_i(1, "ERROR: " + error);
    }
    runTrigger("BEGIN");
    drain();
    const uint64_t startMs = steadyMs();
    uint64_t lastProgress = 0;
    size_t progressWidth = 0;
    // Polls fall every interval strictly before the planned end; the END
    // readings are taken at the planned end itself, so that the last,
    // shorter interval has its true length and -t is kept whatever -n is.
    bool reachedPlan = false;
    uint64_t simulatedMs = 0;
    for (uint64_t poll = 1;; ++poll) {
        const uint64_t due = poll * m_options.intervalMs;
        if (plannedMs >= 0 && due >= static_cast<uint64_t>(plannedMs)) {
            reachedPlan = true;
            break;
        }
        if (m_simClock != nullptr) {
            m_simClock->advanceMs(m_options.intervalMs);
            simulatedMs = due;
        } else {
            const uint64_t now = steadyMs() - startMs;
            if (now < due && !sleepInterruptible(due - now)) {
                break;
            }
        }
        if (interruptRequested()) {
            break;
        }
        for (CollectorPlugin* collector : collectors) {
            collector->continuousCollectionTick();
        }
        runTrigger("POLL");
        drain();
        if (writeFailed) {
            break;
        }
        if (showProgress && (steadyMs() - lastProgress >= c_progressEveryMs)) {
            lastProgress = steadyMs();
            std::string line = formatProgress(lastProgress - startMs, plannedMs, produced, dropped);
            // Blanks rather than a terminal escape clear what a longer line
            // left: every console understands them.
            const size_t length = line.size();
            line.resize(std::max(length, progressWidth), ' ');
            progressWidth = length;
            std::fprintf(stdout, "\r%s", line.c_str());
            std::fflush(stdout);
        }
        // Without a duration, a collection around a program ends with it.
        if (haveProgram && plannedMs < 0 && !program.isRunning()) {
            break;
        }
    }
    if (reachedPlan && !writeFailed) {
        // The planned end is a reading time of its own.
        bool onTime = true;
        if (m_simClock != nullptr) {
            m_simClock->advanceMs(static_cast<uint64_t>(plannedMs) - simulatedMs);
        } else {
            const uint64_t now = steadyMs() - startMs;
            onTime = now >= static_cast<uint64_t>(plannedMs) ||
                     sleepInterruptible(static_cast<uint64_t>(plannedMs) - now);
        }
        if (onTime && !interruptRequested()) {
            for (CollectorPlugin* collector : collectors) {
                collector->continuousCollectionTick();
            }
        }
    } else if (m_simClock != nullptr) {
        // A real collection reads its END messages just after the last poll;
        // one tick keeps them apart in a simulated one too.
        m_simClock->advanceTicks(1);
    }
    // The END readings come first: stopping the program may take seconds
    // that are not part of the collection.
    runTrigger("END");
    drain();
    if (m_simClock != nullptr) {
        m_system.stopTimeval =
            c_simulatedEpochNs + m_simClock->getTimestamp() - c_simulatedFirstTick;
        m_system.stopTsc = m_simClock->getTimestamp();
        m_system.programStopTimeval = m_system.stopTimeval;
    } else {
        pwr::markCollectionStop(m_system);
        m_system.stopTsc = m_clock->getTimestamp();
        m_system.programStopTimeval = m_system.stopTimeval;
    }
    if (showProgress && progressWidth != 0) {
        std::fprintf(stdout, "\r%s\r", std::string(progressWidth, ' ').c_str());
        std::fflush(stdout);
    }
    if (interruptRequested()) {
        out_i("Collection stopped by the user; keeping what was collected\n");
    }
    if (haveProgram) {
        // The program belongs to the collection: it is stopped with it
        // unless the user asked to keep it, and its end is told.
        const std::string name = "\"" + m_options.program[0] + "\"";
        if (program.isRunning() && m_options.keepProgram) {
            out_i("The program " + name + " keeps running (process id " +
                  std::to_string(program.processId()) + ")\n");
            programStatus = "running";
        } else if (program.isRunning()) {
            bool forced = false;
            program.stop(c_programGraceMs, forced);
            programStatus = std::to_string(program.exitCode());
            out_i("The program " + name + " was " + (forced ? "killed" : "stopped") +
                  " at the end of the collection (exit status " + programStatus + ")\n");
        } else {
            programStatus = std::to_string(program.exitCode());
            out_i("The program " + name + " ended with exit status " + programStatus + "\n");
        }
    }
    m_system.producedSamples = produced;
    m_system.droppedSamples = dropped;
    if (writeFailed) {
        // What reached the file stays there, readable with -i.
        const std::string kept = file.partialPath();
        file.keep();
        const std::string when = formatSeconds1(collectionSeconds(m_system, m_system.stopTsc));
        if (pwr::fileKind(kept) != pwr::FileKind::REGULAR) {
            return fail_i(1,
                          "ERROR: " + writeError + "; the collection stopped after " + when + " s");
        }
        return fail_i(1, "ERROR: " + writeError + "; the collection stopped after " + when +
                             " s and what was written is kept (vantry -i " + kept + " reads it)");
    }

    std::vector<std::pair<std::string, std::string>> endOptions;
    if (!programStatus.empty()) {
        endOptions.emplace_back("program-exit-status", programStatus);
    }
    if (!file.finish(m_system, endOptions, error)) {
        file.keep();
        return fail_i(1, "ERROR: " + error + "; the collection is kept in " + file.partialPath() +
                             " (vantry -i " + file.partialPath() + " reads it)");
    }
    return 0;
}

int Vantry::postProcess_i(const std::string& resultPath, const std::string& prefix) {
    std::string error;
    // Opening reads the whole file's frames, so that a damaged head produces
    // no report at all. The library's own lines about the records it reads
    // are kept back meanwhile: when the file is refused, the one line below
    // says why, and they would only repeat it.
    ResultHead head;
    ResultFileReader reader;
    m_stderr.hold();
    const bool opened = reader.open(resultPath, head, error);
    m_stderr.release(opened);
    if (!opened) {
        return fail_i(1, "ERROR: cannot read the collection \"" + resultPath + "\": " + error);
    }
    if (!head.recoveryNote.empty()) {
        pwr::pwLog(PW_WARNING, "WARNING: %s: %s\n", resultPath.c_str(), head.recoveryNote.c_str());
    }
    const unsigned failuresBefore = m_stderr.reportFailures();
    pwr::SystemMetadata& sys = *head.system();
    pwr::DataHandleProvider::initTopology(sys);
    m_env->setDefaultClockToTSCRatio(sys.clockFreqMHz,
                                     sys.cpuFreqMHz > 0.0f ? sys.cpuFreqMHz : sys.clockFreqMHz);

    pwr::WriterInterfaceConfigFileParser* output = pwr::WriterInterfaceConfigFileParser::instance();
    if (output->parse(m_outputConfigs, sys) != 0) {
        return fail_i(1,
                      "ERROR: the output configuration in \"" + m_toolDir + "config\" is invalid");
    }
    std::vector<WriterPlugin*> writers;
    if (!checkWriters_i(sys, &writers)) {
        return 2;
    }

    // The features of the file and the metric plug-ins that make them.
    struct Job {
        const FeatureRecord* record;
        MetricPlugin* plugin;
        std::vector<std::unique_ptr<pwr::InputMsg>> messages;
    };
    std::vector<Job> jobs;
    std::map<std::string, MetricPlugin*> byPrefix;
    for (const FeatureRecord& record : head.features) {
        MetricPlugin* plugin = nullptr;
        for (MetricPlugin* candidate : m_plugins.metrics()) {
            for (pwr::PluginCapability* pc : candidate->getCapabilities()) {
                auto* mc = dynamic_cast<pwr::MetricPluginCapability*>(pc);
                if (plugin == nullptr && mc != nullptr &&
                    mc->getConfigFilePrefix() == record.prefix) {
                    plugin = candidate;
                }
            }
        }
        if (plugin == nullptr) {
            pwr::pwLog(PW_WARNING,
                       "WARNING: no metric plug-in for feature %s; its data are left out\n",
                       record.name.c_str());
            continue;
        }
        Job job{&record, plugin, {}};
        for (const auto& meta : head.metadata) {
            auto* msgMeta = dynamic_cast<const pwr::MsgMetadata*>(meta.get());
            if (msgMeta == nullptr || std::find(record.messages.begin(), record.messages.end(),
                                                msgMeta->getMsgName()) == record.messages.end()) {
                continue;
            }
            const std::string& full = msgMeta->getMsgName();
            const std::string tag =
                full.compare(0, record.prefix.size() + 1, record.prefix + "_") == 0
                    ? full.substr(record.prefix.size() + 1)
                    : full;
            std::unique_ptr<pwr::InputMsg> msg(new pwr::InputMsg(tag, record.prefix));
            msg->setFeatureName(msgMeta->getCapName());
            msg->setCapGroups(msgMeta->getCapGroups());
            msg->setMsgID(msgMeta->getMsgID());
            msg->setPluginID(msgMeta->getPluginID());
            msg->setMetricID(msgMeta->getMetricID());
            for (const std::string& trigger : msgMeta->getTriggers()) {
                msg->addReadTrigger(trigger);
            }
            job.messages.push_back(std::move(msg));
        }
        byPrefix[record.prefix] = plugin;
        jobs.push_back(std::move(job));
    }

    // Finalisation follows the output configuration's feature order; the
    // features it does not name follow in the order of the file.
    std::vector<Job*> order;
    std::vector<std::string> featureOrder;
    output->getFeatureOrder(featureOrder);
    for (const std::string& tag : featureOrder) {
        for (Job& job : jobs) {
            if ((job.record->prefix == tag || job.record->name == tag) &&
                std::find(order.begin(), order.end(), &job) == order.end()) {
                order.push_back(&job);
            }
        }
    }
    for (Job& job : jobs) {
        if (std::find(order.begin(), order.end(), &job) == order.end()) {
            order.push_back(&job);
        }
    }

    int status = 0;
    {
        WriterStream::PluginSet set(writers.begin(), writers.end());
        WriterStream stream(&set);
        m_env->setWriterStream(&stream);
        m_env->setResultFilePrefix(prefix);

        pwr::HeaderTextMessage version(&stream);
        version.setMessage(sys.getVersionHeader(true));
        pwr::HeaderTextMessage collection(&stream);
        collection.setMessage(sys.getCollectionHeader());
        pwr::HeaderTextMessage hardware(&stream);
        hardware.setMessage(sys.getSystemHWHeader());
        pwr::SystemMessage system(sys);
        stream.pushMessage(system);

        const std::vector<const pwr::Metadata*> metadata = head.metadataPointers();
        std::set<MetricPlugin*> told;
        for (Job& job : jobs) {
            if (told.insert(job.plugin).second) {
                for (const pwr::Metadata* record : metadata) {
                    job.plugin->processMetadata(record);
                }
            }
            std::vector<const pwr::InputMsg*> messages;
            for (const auto& msg : job.messages) {
                messages.push_back(msg.get());
            }
            if (job.plugin->initializeCollection(messages, metadata, job.record->name, {}, sys) !=
                0) {
                pwr::pwLog(PW_WARNING, "WARNING: %s could not start the reports of %s\n",
                           job.plugin->getName().c_str(), job.record->name.c_str());
            }
        }
        std::set<std::string> filePrefixes;
        for (const FeatureRecord& record : head.features) {
            filePrefixes.insert(record.prefix);
        }
        vexa_driver_msg msg;
        uint64_t damaged = 0;
        uint64_t orphans = 0;
        while (reader.next(msg, error)) {
            const std::string msgPrefix = pwr::driverMessagePrefix(msg.msgName);
            auto found = byPrefix.find(msgPrefix);
            if (found != byPrefix.end() && found->second->processDriverMessage(msg, sys) != 0) {
                ++damaged;
            }
            // Records of a feature without a plug-in here were announced
            // above; records of no feature at all mean a damaged feature list.
            orphans += found == byPrefix.end() && filePrefixes.count(msgPrefix) == 0 ? 1 : 0;
        }
        if (orphans != 0) {
            pwr::pwLog(PW_WARNING,
                       "WARNING: %llu sample records belong to no feature of the collection and "
                       "were left out\n",
                       static_cast<unsigned long long>(orphans));
        }
        if (!error.empty()) {
            status =
                fail_i(1, "ERROR: cannot read the collection \"" + resultPath + "\": " + error);
        }
        if (damaged != 0) {
            pwr::pwLog(PW_WARNING, "WARNING: %llu sample records were refused as damaged\n",
                       static_cast<unsigned long long>(damaged));
        }
        for (Job* job : order) {
            job->plugin->finalizeCollection(job->record->name, {}, sys);
        }
    }
    // The writers finish their files when the stream goes; a report they
    // could not write makes the run a failure.
    m_env->setWriterStream(nullptr);
    if (status == 0 && m_stderr.reportFailures() != failuresBefore) {
        status = 1;
    }
    return status;
}

}  // namespace vantry
