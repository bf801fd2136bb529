#include "common/runtime/VexaClock.h"

#include <windows.h>

namespace pwr {

namespace {

// FILETIME counts 100-nanosecond intervals since 1601-01-01; this is its
// count at the Unix epoch.
constexpr uint64_t c_fileTimeAtUnixEpoch = 116444736000000000ull;

}  // namespace

// The counter frequency is fixed at boot and cheap to read, so it is not
// cached.
float VexaQPCClock::getFrequency() const {
    LARGE_INTEGER frequency;
    QueryPerformanceFrequency(&frequency);
    return static_cast<float>(static_cast<double>(frequency.QuadPart) / 1000000.0);
}

uint64_t VexaQPCClock::getTimestamp() const {
    LARGE_INTEGER counter;
    QueryPerformanceCounter(&counter);
    return static_cast<uint64_t>(counter.QuadPart);
}

uint64_t VexaNanoClock::getTimestamp() const {
    FILETIME now;
    GetSystemTimePreciseAsFileTime(&now);
    const uint64_t intervals = (static_cast<uint64_t>(now.dwHighDateTime) << 32) |
                               static_cast<uint64_t>(now.dwLowDateTime);
    return (intervals - c_fileTimeAtUnixEpoch) * 100;
}

}  // namespace pwr
