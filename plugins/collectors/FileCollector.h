// FileCollector: the "FILE" collector kind. It reads the Linux procfs and
// sysfs files of each SOURCE under a root directory and produces the pairs
// that plugins/README.md fixes for that SOURCE:
//
//   CPUIDLE     sys/devices/system/cpu/cpu*/cpuidle/state*/{name,time}
//   CPUFREQ     sys/devices/system/cpu/cpu*/cpufreq/scaling_cur_freq, else
//               the "cpu MHz" of proc/cpuinfo
//   THERMAL     sys/class/thermal/thermal_zone*/{type,temp} and
//               sys/class/hwmon/hwmon*/temp*_input (named by name, temp*_label)
//   ENERGY      sys/class/powercap/*/{name,energy_uj,max_energy_range_uj}
//   INTERRUPTS  proc/interrupts, each CPU column summed
//   DISK        proc/diskstats, whole disks, sectors x 512
//   NET         proc/net/dev
//   BATTERY     sys/class/power_supply/<battery>/...
//
// An operation's packet may give PATH=<dir or file>, relative to the root,
// in place of the SOURCE's first location above (the directory of the cpu*,
// thermal_zone*, powercap or power_supply entries, or the proc file).
//
// The root is "/" on POSIX. On Windows there is none unless one is given
// (setRoot, or the broadcast option "source-root=<dir>"), and the kind then
// collects nothing. A root that holds numbered directories 0, 1, 2, ... is a
// recorded collection: reads use the current snapshot, and every
// continuousCollectionTick moves to the next one, staying on the last.
//
// A file that exists but cannot be read or parsed yields one WARNING naming
// it (once per file until reset) and its pair is left out; a sensor whose
// files are gone simply has no pair.
//
// Threads: the host serialises every call.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "plugins/collectors/ReadingCollector.h"

namespace vantry {

class FileCollector : public ReadingCollector {
  public:
    // The root of the platform ("/" on POSIX, none on Windows).
    FileCollector();
    explicit FileCollector(const std::string& root);
    ~FileCollector() override;

    // Empty: no root, nothing can be collected. Starts at snapshot 0.
    void setRoot(const std::string& root);
    const std::string& getRoot() const { return m_root; }
    // Whether the root is a recorded collection of numbered snapshots, and
    // the one in use.
    bool isSnapshotMode() const { return m_snapshotMode; }
    size_t getSnapshotIndex() const { return m_snapshot; }

    // "source-root=<dir>" sets the root; other options are not ours.
    void handleBroadcastOption(const std::string& option) override;
    // Moves to the next snapshot of a recorded collection. 0.
    int continuousCollectionTick() override;
    // Also goes back to the first snapshot and forgets sensor names.
    pwr::ResetReturnCode reset(pwr::ResetReason reason, uint64_t ts,
                               const pwr::SystemMetadata& sys) override;

    // The pairs of source now, as doImmediateRead records them (for tools and
    // tests). False when the source cannot be read.
    bool readSource(const std::string& source, const std::string& path, ReadingPairs& out);

  protected:
    bool canCollectSource_i(const std::string& source, const pwr::Operation& op) override;
    bool readSource_i(const std::string& source, const pwr::Operation& op,
                      ReadingPairs& out) override;

  private:
    // The directory reads start from: the root, or its current snapshot.
    std::string base_i() const;
    // base_i() joined with relative.
    std::string at_i(const std::string& relative) const;
    // The SOURCE's first location: PATH when given, else the default.
    std::string location_i(const std::string& source, const std::string& path) const;

    // Whole-file read; a warning (once) when the file exists but fails.
    bool readText_i(const std::string& file, std::string& text);
    // First line of a file as text / as an integer; warns on bad content.
    bool readLine_i(const std::string& file, std::string& line);
    bool readInteger_i(const std::string& file, long long& value);
    // A stable, unique pair name for a sensor (key: its path).
    std::string sensorName_i(const std::string& key, const std::string& proposed);

    bool readCpuIdle_i(const std::string& dir, ReadingPairs& out);
    bool readCpuFreq_i(const std::string& dir, ReadingPairs& out);
    bool readThermal_i(const std::string& dir, ReadingPairs& out);
    bool readEnergy_i(const std::string& dir, ReadingPairs& out);
    bool readInterrupts_i(const std::string& file, ReadingPairs& out);
    bool readDisk_i(const std::string& file, ReadingPairs& out);
    bool readNet_i(const std::string& file, ReadingPairs& out);
    bool readBattery_i(const std::string& dir, ReadingPairs& out);
    // proc/cpuinfo: MHz text by processor number.
    std::map<unsigned, std::string> cpuinfoMHz_i();

    std::string m_root;
    bool m_snapshotMode = false;
    size_t m_snapshot = 0;
    std::map<std::string, std::string> m_sensorNames;
    std::map<std::string, std::string> m_sensorKeys;
};

}  // namespace vantry
