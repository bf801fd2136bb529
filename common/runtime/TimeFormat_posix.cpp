#include "common/runtime/TimeFormat.h"

#include <ctime>
#include <limits>

namespace pwr {

bool formatUtcTime(uint64_t secondsSinceEpoch, const char* format, std::string& out) {
    if (format == nullptr ||
        secondsSinceEpoch > static_cast<uint64_t>(std::numeric_limits<time_t>::max())) {
        return false;
    }
    const time_t seconds = static_cast<time_t>(secondsSinceEpoch);
    struct tm calendar {};
    if (gmtime_r(&seconds, &calendar) == nullptr) {
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
