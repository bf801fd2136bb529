// CounterBackend: the operating-system counters behind the "COUNTER"
// collector kind, in portable form. The Windows backend (_win32.cpp) asks
// NtQuerySystemInformation (processor times and interrupt counts),
// CallNtPowerInformation (processor frequencies, battery state) and PDH,
// loaded at run time (raw values of counter instances). Elsewhere the system
// backend has nothing and every call answers false. Tests install a fake.
//
// Units are those of the system: 100-nanosecond idle time, MHz, mWh and mW,
// and PDH's raw counter values.
//
// Threads: one collector calls its backend from the host's collection thread.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace vantry {

struct ProcessorTimes {
    // Time the processor spent idle since boot, 100 ns units.
    uint64_t idleTime100ns = 0;
    // Interrupts it took since boot; the system keeps 32 bits.
    uint32_t interruptCount = 0;
};

struct ProcessorPower {
    // The processor's number as the system numbers it.
    uint32_t number = 0;
    uint32_t currentMhz = 0;
    uint32_t maxMhz = 0;
};

struct BatteryState {
    bool present = false;
    bool charging = false;
    bool discharging = false;
    // Remaining energy, mWh.
    uint32_t remainingCapacity = 0;
    // Charge or discharge rate, mW; the system gives it as a signed value.
    int32_t rate = 0;
};

class CounterBackend {
  public:
    virtual ~CounterBackend();

    // Each processor's times, in the system's processor order.
    virtual bool processorTimes(std::vector<ProcessorTimes>& out) = 0;
    virtual bool processorPower(std::vector<ProcessorPower>& out) = 0;
    virtual bool batteryState(BatteryState& out) = 0;
    // The raw first value of every instance of a wildcard counter path such
    // as "\\Thermal Zone Information(*)\\Temperature", by instance name.
    virtual bool rawCounters(const std::string& path,
                             std::vector<std::pair<std::string, int64_t>>& out) = 0;
};

// The backend of this platform.
std::unique_ptr<CounterBackend> makeSystemCounterBackend();

}  // namespace vantry
