// VexaClockSync: one synchronisation point between a clock and the host's
// default clock: both clocks' identities and frequencies, and the value each
// showed at the same instant. The system record carries a collection's
// synchronisation points in the order they were taken; timestamp conversion
// between clocks works from them.
//
// A plain value type without behaviour of its own, so it sits below the clock
// sources and the system record, which both use it. Threads: no locking.
#pragma once

#include <cstdint>
#include <deque>
#include <string>

namespace pwr {

struct VexaClockSync {
    // The clock's identity (its UUID text) and its short name.
    std::string clockUUID;
    std::string clockName;
    // Ticks per microsecond.
    float clockFreqMHz = 0.0f;
    // The clock's value at the synchronisation point.
    uint64_t clockValue = 0;
    // The same for the default clock, at the same instant.
    std::string defaultClockUUID;
    std::string defaultClockName;
    float defaultClockFreqMHz = 0.0f;
    uint64_t defaultClockValue = 0;

    friend bool operator==(const VexaClockSync& a, const VexaClockSync& b) {
        return a.clockUUID == b.clockUUID && a.clockName == b.clockName &&
               a.clockFreqMHz == b.clockFreqMHz && a.clockValue == b.clockValue &&
               a.defaultClockUUID == b.defaultClockUUID &&
               a.defaultClockName == b.defaultClockName &&
               a.defaultClockFreqMHz == b.defaultClockFreqMHz &&
               a.defaultClockValue == b.defaultClockValue;
    }
    friend bool operator!=(const VexaClockSync& a, const VexaClockSync& b) { return !(a == b); }
};

// A collection's synchronisation points, oldest first. Lookups walk it from
// the front (wasClockSynchronized in VexaClock.h).
using VexaClockSyncQueue = std::deque<VexaClockSync>;

}  // namespace pwr
