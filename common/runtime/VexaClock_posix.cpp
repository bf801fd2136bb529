#include "common/runtime/VexaClock.h"

#include <time.h>

namespace pwr {

namespace {

// clock_gettime cannot fail for these clocks on Linux; a zeroed reading is
// kept for the impossible case rather than a garbage one.
uint64_t readNanoseconds_i(clockid_t id) {
    struct timespec now {};
    if (clock_gettime(id, &now) != 0) {
        return 0;
    }
    return static_cast<uint64_t>(now.tv_sec) * 1000000000ull + static_cast<uint64_t>(now.tv_nsec);
}

}  // namespace

// Nanoseconds, like the NANO clock, but from a clock that time adjustments
// neither step nor slew.
float VexaQPCClock::getFrequency() const {
    return 1000.0f;
}

uint64_t VexaQPCClock::getTimestamp() const {
    return readNanoseconds_i(CLOCK_MONOTONIC_RAW);
}

uint64_t VexaNanoClock::getTimestamp() const {
    return readNanoseconds_i(CLOCK_REALTIME);
}

}  // namespace pwr
