#include "common/runtime/TimeFormat.h"

#include <ctime>
#include <limits>

namespace pwr {

bool formatUtcTime(uint64_t secondsSinceEpoch, const char* format, std::string& out) {
    if (format == nullptr ||
        secondsSinceEpoch > static_cast<uint64_t>(std::numeric_limits<__time64_t>::max())) {
        return false;
    }
    const __time64_t seconds = static_cast<__time64_t>(secondsSinceEpoch);
    struct tm calendar {};
    // Fails (EINVAL) past the year 3000, the limit of the C runtime.
    if (_gmtime64_s(&calendar, &seconds) != 0) {
        return false;
    }
    char text[256];
    const size_t length = std::strftime(text, sizeof(text), format, &calendar);
    if (length == 0 && format[0] != '\0') {
        return false;
    }
    out.assign(text, length);
    return true;
}

}  // namespace pwr
