// CounterCollector: the "COUNTER" collector kind. It reads the SOURCEs of
// plugins/README.md from the operating system's counters through a
// CounterBackend and produces the same pairs as the FILE kind:
//
//   CPUIDLE     "<cpu>/Idle": the processor's idle time, microseconds (the
//               system keeps one idle time, not one per idle state)
//   CPUFREQ     "<cpu>": its current frequency, MHz
//   INTERRUPTS  "<cpu>": interrupts since boot, widened to 64 bits across
//               the wrap of the system's 32-bit count
//   THERMAL     "\Thermal Zone Information(*)\Temperature", Kelvin
//   ENERGY      "\Energy Meter(*)\Energy", picowatt-hours, range unknown (0)
//   DISK        "\PhysicalDisk(*)\Disk Read Bytes/sec" and "...Write..." raw
//               values: the byte totals since boot
//   NET         "\Network Interface(*)\Bytes Received/sec" and "...Sent..."
//   BATTERY     the system battery state
//
// Instances called "_Total" are left out. The system backend of non-Windows
// builds has nothing, so there the kind cannot collect.
//
// Threads: the host serialises every call.
#pragma once

#include <map>
#include <memory>
#include <string>

#include "plugins/collectors/CounterBackend.h"
#include "plugins/collectors/ReadingCollector.h"

namespace vantry {

class CounterCollector : public ReadingCollector {
  public:
    // The system backend.
    CounterCollector();
    // A given backend (tests); null means the system one.
    explicit CounterCollector(std::unique_ptr<CounterBackend> backend);
    ~CounterCollector() override;

    CounterBackend& getBackend() { return *m_backend; }

    // Also forgets the interrupt counts seen so far.
    pwr::ResetReturnCode reset(pwr::ResetReason reason, uint64_t ts,
                               const pwr::SystemMetadata& sys) override;

  protected:
    bool canCollectSource_i(const std::string& source, const pwr::Operation& op) override;
    bool readSource_i(const std::string& source, const pwr::Operation& op,
                      ReadingPairs& out) override;

  private:
    bool readPdhPair_i(const std::string& first, const std::string& second, ReadingPairs& out);

    std::unique_ptr<CounterBackend> m_backend;
    // Per processor: the last 32-bit interrupt count and the wraps seen.
    struct InterruptHistory {
        uint32_t last = 0;
        uint64_t wraps = 0;
    };
    std::map<size_t, InterruptHistory> m_interrupts;
};

}  // namespace vantry
