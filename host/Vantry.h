// Vantry: the reference host program. One object runs one command line:
// start-up (environment, registry, plug-ins, configuration, system record,
// topology), then help, a collection into "<output>.vtr", and the reports
// made from that file (or from an earlier one, with -i).
//
// Reports are always made by reading the result file back, right after a
// collection too, so that -i on the same file gives the same reports byte
// for byte.
//
// Before the first reading, everything that could fail later is checked:
// both configurations parse, the output folder takes new files, the result
// and report names are free or plain files, -l names no input or output, and
// no other vantry writes the same output. The collection then streams into
// "<output>.vtr.<unique>.partial" (see ResultFile.h), renamed to
// "<output>.vtr" when it ends.
//
// Exit statuses: 0 when the collection and every requested report were
// written (also after Ctrl-C: what was collected is kept), 1 a failure at run
// time, in one line naming the file and the system's reason (missing
// plug-ins or configuration, an unreadable or damaged collection, a file that
// cannot be written, another vantry on the same output), 2 a command line
// that cannot be followed (unknown option or feature, missing or bad
// argument, -l naming an input or output).
//
// The object owns everything it sets up and tears it down in its destructor,
// in reverse order. One object per process at a time: the environment, the
// registry and the configuration parsers are process-wide.
#pragma once

#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "common/plugins/PluginEnvironment.h"
#include "common/runtime/FileOps.h"
#include "common/runtime/Log.h"
#include "common/runtime/VexaClock.h"
#include "common/serialize/SystemMetadata.h"
#include "host/Features.h"
#include "host/HostOptions.h"
#include "host/PluginLoader.h"

namespace vantry {

class ResultFileWriter;
struct ResultHead;

// A clock that only moves when told: the default clock of a simulated
// collection, so that its timestamps are the same on every run.
class SimulatedClock : public pwr::VexaClockSource {
  public:
    SimulatedClock();
    ~SimulatedClock() override;
    float getFrequency() const override;
    uint64_t getTimestamp() const override;
    void advanceMs(uint64_t ms);
    void advanceTicks(uint64_t ticks);

  private:
    uint64_t m_ticks;
};

// Writes each line to the console stream and, when one is open, to the log
// file of -l. Until that file is open, lines wait in a backlog (when one is
// set). While held, lines are kept back, to be written or dropped at
// release. It counts the writers' "ERROR: Cannot write result file" lines.
class TeeLogger : public pwr::Logger {
  public:
    TeeLogger(FILE* console, FILE** logFile);
    ~TeeLogger() override;
    void log(const char* line) override;

    void setBacklog(std::string* backlog) { m_backlog = backlog; }
    void hold() { m_holding = true; }
    void release(bool write);
    unsigned reportFailures() const { return m_reportFailures; }

  private:
    void write_i(const char* line);

    FILE* m_console;
    FILE** m_logFile;
    std::string* m_backlog = nullptr;
    bool m_holding = false;
    std::string m_held;
    unsigned m_reportFailures = 0;
};

class Vantry {
  public:
    Vantry();
    ~Vantry();
    Vantry(const Vantry&) = delete;
    Vantry& operator=(const Vantry&) = delete;

    // Runs the command line args (the words after the program name).
    int run(const std::vector<std::string>& args);

  private:
    int start_i();
    int showHelp_i(bool json);
    int collect_i(std::string& resultPath);
    int postProcess_i(const std::string& resultPath, const std::string& prefix);
    int prepareOutputs_i(const std::string& prefix, const std::string& resultPath,
                         const std::string& inputPath);
    bool openLog_i();

    void probeSystem_i();
    void findPlatform_i();
    void buildFeatures_i();
    bool checkWriters_i(const pwr::SystemMetadata& sys, std::vector<WriterPlugin*>* out,
                        std::vector<std::string>* suffixes = nullptr);
    std::vector<std::string> resultFormats_i() const;

    void out_i(const std::string& text);
    int fail_i(int status, const std::string& line);

    HostOptions m_options;
    FILE* m_logFile = nullptr;
    std::string m_logBacklog;
    std::vector<std::string> m_reportSuffixes;
    pwr::OutputLock m_lock;
    TeeLogger m_stdout;
    TeeLogger m_stderr;
    pwr::NullLogger m_null;
    std::unique_ptr<PluginEnvironment> m_env;
    std::unique_ptr<pwr::VexaClockSource> m_clock;
    SimulatedClock* m_simClock = nullptr;
    bool m_registryUp = false;
    PluginLoader m_plugins;
    std::string m_toolDir;
    std::vector<std::string> m_platformConfigs;
    std::vector<std::string> m_outputConfigs;
    pwr::SystemMetadata m_system;
    std::string m_platform;
    std::vector<Feature> m_features;
};

}  // namespace vantry
