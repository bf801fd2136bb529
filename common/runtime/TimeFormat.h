// TimeFormat: calendar formatting of wall-clock instants in UTC, for report
// headers and text dumps.
//
// The conversion from seconds to a calendar date is the platform's own
// (_gmtime64_s on Windows, gmtime_r elsewhere); both are reentrant, so the
// function may be called from any thread. It holds no state.
#pragma once

#include <cstdint>
#include <string>

#include "common/runtime/Export.h"

namespace pwr {

// Formats the UTC calendar time of secondsSinceEpoch (seconds since
// 1970-01-01 00:00:00 UTC) with the strftime format, into out. Returns false,
// leaving out untouched, when the platform cannot represent the instant or the
// result is longer than 255 characters.
PWR_API bool formatUtcTime(uint64_t secondsSinceEpoch, const char* format, std::string& out);

}  // namespace pwr
