#include "plugins/collectors/CounterCollector.h"

#include <vector>

#include "common/runtime/Log.h"

namespace vantry {

namespace {

const char* const c_thermalPath = "\\Thermal Zone Information(*)\\Temperature";
const char* const c_energyPath = "\\Energy Meter(*)\\Energy";
const char* const c_diskReadPath = "\\PhysicalDisk(*)\\Disk Read Bytes/sec";
const char* const c_diskWritePath = "\\PhysicalDisk(*)\\Disk Write Bytes/sec";
const char* const c_netReceivedPath = "\\Network Interface(*)\\Bytes Received/sec";
const char* const c_netSentPath = "\\Network Interface(*)\\Bytes Sent/sec";

using RawCounters = std::vector<std::pair<std::string, int64_t>>;

bool isTotal(const std::string& instance) {
    return instance == "_Total";
}

}  // namespace

CounterBackend::~CounterBackend() = default;

CounterCollector::CounterCollector() : CounterCollector(nullptr) {}

CounterCollector::CounterCollector(std::unique_ptr<CounterBackend> backend)
    : ReadingCollector("CounterCollector", "COUNTER", {"SOURCE"}, systemSources()),
      m_backend(backend ? std::move(backend) : makeSystemCounterBackend()) {}

CounterCollector::~CounterCollector() = default;

pwr::ResetReturnCode CounterCollector::reset(pwr::ResetReason reason, uint64_t ts,
                                             const pwr::SystemMetadata& sys) {
    m_interrupts.clear();
    return ReadingCollector::reset(reason, ts, sys);
}

bool CounterCollector::canCollectSource_i(const std::string& source, const pwr::Operation& op) {
    if (source == "BATTERY") {
        BatteryState state;
        return m_backend->batteryState(state) && state.present;
    }
    // A source is here when the system answers it with at least one value.
    // Read through a scratch copy so that the interrupt history is untouched.
    const auto history = m_interrupts;
    ReadingPairs pairs;
    const bool available = readSource_i(source, op, pairs) && !pairs.empty();
    m_interrupts = history;
    return available;
}

bool CounterCollector::readPdhPair_i(const std::string& first, const std::string& second,
                                     ReadingPairs& out) {
    RawCounters a;
    RawCounters b;
    if (!m_backend->rawCounters(first, a) || !m_backend->rawCounters(second, b)) {
        return false;
    }
    for (const auto& instance : a) {
        if (isTotal(instance.first) || instance.second < 0) {
            continue;
        }
        for (const auto& other : b) {
            if (other.first == instance.first && other.second >= 0) {
                out.emplace_back(instance.first, std::to_string(instance.second) + " " +
                                                     std::to_string(other.second));
                break;
            }
        }
    }
    return true;
}

bool CounterCollector::readSource_i(const std::string& source, const pwr::Operation&,
                                    ReadingPairs& out) {
    if (source == "CPUIDLE" || source == "INTERRUPTS") {
        std::vector<ProcessorTimes> times;
        if (!m_backend->processorTimes(times)) {
            return false;
        }
        for (size_t cpu = 0; cpu < times.size(); ++cpu) {
            if (source == "CPUIDLE") {
                out.emplace_back(std::to_string(cpu) + "/Idle",
                                 std::to_string(times[cpu].idleTime100ns / 10));
                continue;
            }
            // The system's count is 32 bits and wraps within hours on a busy
            // processor; a smaller count than last time is one wrap.
            InterruptHistory& history = m_interrupts[cpu];
            if (times[cpu].interruptCount < history.last) {
                ++history.wraps;
            }
            history.last = times[cpu].interruptCount;
            out.emplace_back(std::to_string(cpu),
                             std::to_string((history.wraps << 32) + times[cpu].interruptCount));
        }
        return true;
    }
    if (source == "CPUFREQ") {
        std::vector<ProcessorPower> power;
        if (!m_backend->processorPower(power)) {
            return false;
        }
        for (const ProcessorPower& one : power) {
            out.emplace_back(std::to_string(one.number), std::to_string(one.currentMhz));
        }
        return true;
    }
    if (source == "THERMAL") {
        RawCounters zones;
        if (!m_backend->rawCounters(c_thermalPath, zones)) {
            return false;
        }
        for (const auto& zone : zones) {
            if (!isTotal(zone.first)) {
                // Kelvin to millidegrees Celsius.
                out.emplace_back(zone.first, std::to_string(zone.second * 1000 - 273150));
            }
        }
        return true;
    }
    if (source == "ENERGY") {
        RawCounters meters;
        if (!m_backend->rawCounters(c_energyPath, meters)) {
            return false;
        }
        for (const auto& meter : meters) {
            if (isTotal(meter.first) || meter.second < 0) {
                continue;
            }
            // Picowatt-hours to microjoules: 1 pWh = 3.6e-9 J = 0.0036 uJ.
            // The meters are 64-bit and do not wrap in practice: range 0.
            const auto microjoules =
                static_cast<unsigned long long>(static_cast<long double>(meter.second) * 0.0036L);
            out.emplace_back(meter.first, std::to_string(microjoules) + " 0");
        }
        return true;
    }
    if (source == "DISK") {
        return readPdhPair_i(c_diskReadPath, c_diskWritePath, out);
    }
    if (source == "NET") {
        return readPdhPair_i(c_netReceivedPath, c_netSentPath, out);
    }
    if (source == "BATTERY") {
        BatteryState state;
        if (!m_backend->batteryState(state)) {
            return false;
        }
        if (state.present) {
            const int64_t rate = state.rate < 0 ? -static_cast<int64_t>(state.rate) : state.rate;
            out.emplace_back("Battery", std::to_string(state.remainingCapacity) + " " +
                                            std::to_string(state.charging ? -rate : rate));
        }
        return true;
    }
    pwr::pwLog(PW_ERROR, "ERROR: Unknown SOURCE %s for the COUNTER collector!\n", source.c_str());
    return false;
}

}  // namespace vantry
