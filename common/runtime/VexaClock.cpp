#include "common/runtime/VexaClock.h"

#include <x86intrin.h>

#include <atomic>
#include <cmath>
#include <utility>

#include "common/runtime/Log.h"

namespace pwr {

namespace {

std::atomic<VexaClockSource*> g_defaultClock{nullptr};

// 2^64 as a double (exact). Every double below it and not negative truncates
// to a representable uint64_t; anything else would be undefined behaviour.
constexpr double c_twoToThe64 = 18446744073709551616.0;

uint64_t toTicks_i(double value) {
    if (std::isnan(value) || value < 0.0) {
        return 0;
    }
    if (value >= c_twoToThe64) {
        return UINT64_MAX;
    }
    return static_cast<uint64_t>(value);
}

}  // namespace

VexaClockSource::VexaClockSource(std::string uuid, std::string name, std::string description)
    : m_uuid(std::move(uuid)), m_name(std::move(name)), m_description(std::move(description)) {}

VexaClockSource::~VexaClockSource() = default;

VexaQPCClock::VexaQPCClock()
    : VexaClockSource("d3ad8390-29cc-11e6-bdf4-0800200c9a66", "QPC", "A QPC based clock source") {}

VexaQPCClock::~VexaQPCClock() = default;

VexaNanoClock::VexaNanoClock()
    : VexaClockSource("8ad42930-517d-11e5-b970-0800200c9a66", "NANO",
                      "A clock_gettime based clock source returning time in nanoseconds since "
                      "the Epoch") {}

VexaNanoClock::~VexaNanoClock() = default;

float VexaNanoClock::getFrequency() const {
    return 1000.0f;
}

VexaTSCClock::VexaTSCClock()
    : VexaClockSource("5138ffc0-517d-11e5-b970-0800200c9a66", "TSC", "A TSC based clock source") {}

VexaTSCClock::~VexaTSCClock() = default;

float VexaTSCClock::getFrequency() const {
    return m_frequency;
}

uint64_t VexaTSCClock::getTimestamp() const {
    return __rdtsc();
}

void getVexaSystemClockSources(const SystemMetadata& /*system*/,
                               std::vector<VexaClockSource*>& clocks) {
    clocks.push_back(new VexaQPCClock());
    clocks.push_back(new VexaNanoClock());
    clocks.push_back(new VexaTSCClock());
}

void freeVexaSystemClockSources(std::vector<VexaClockSource*>& clocks) {
    for (VexaClockSource*& clock : clocks) {
        delete clock;
        clock = nullptr;
    }
}

void setDefaultClockSource(VexaClockSource* clock) {
    g_defaultClock.store(clock, std::memory_order_release);
}

VexaClockSource* defaultClockSource() {
    return g_defaultClock.load(std::memory_order_acquire);
}

uint64_t getVexaATimestamp() {
    const VexaClockSource* clock = defaultClockSource();
    if (clock == nullptr) {
        pwLog(PW_WARNING, "WARNING: No default clock is set; using timestamp 0\n");
        return 0;
    }
    return clock->getTimestamp();
}

const std::string& getVexaAClockUUID() {
    const VexaClockSource* clock = defaultClockSource();
    if (clock == nullptr) {
        static const std::string noIdentity;
        pwLog(PW_WARNING, "WARNING: No default clock is set; it has no identity\n");
        return noIdentity;
    }
    return clock->getUUID();
}

bool wasClockSynchronized(const std::string& uuid, const VexaClockSyncQueue& syncs,
                          VexaClockSync& out) {
    // Every visited record is copied out, matching or not; callers rely on
    // the result alone, and the copy after a miss is kept as it always was.
    for (const VexaClockSync& sync : syncs) {
        out = sync;
        pwLog(PW_DEBUG, "DEBUG: Looking at sync clock %s\n", out.clockUUID.c_str());
        if (out.clockUUID == uuid) {
            pwLog(PW_DEBUG,
                  "DEBUG: Found clock UUID %s with freq %.2f and val %llu (Default = %s, %.2f, "
                  "%llu)\n",
                  out.clockUUID.c_str(), static_cast<double>(out.clockFreqMHz),
                  static_cast<unsigned long long>(out.clockValue), out.defaultClockUUID.c_str(),
                  static_cast<double>(out.defaultClockFreqMHz),
                  static_cast<unsigned long long>(out.defaultClockValue));
            return true;
        }
    }
    return false;
}

uint64_t convertTimestamp(const VexaClockSync& sync, uint64_t ts) {
    const uint64_t delta = ts - sync.clockValue;
    const double ratio =
        static_cast<double>(sync.defaultClockFreqMHz) / static_cast<double>(sync.clockFreqMHz);
    const uint64_t result = toTicks_i(static_cast<double>(delta) * ratio) + sync.defaultClockValue;
    pwLog(PW_INFO, "INFO: input TSC = %llu, output TSC = %llu\n",
          static_cast<unsigned long long>(ts), static_cast<unsigned long long>(result));
    return result;
}

}  // namespace pwr
