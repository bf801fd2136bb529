#include "common/usage/ConsoleWidth.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <cstdlib>

namespace pwr::usage {

size_t getConsoleWidth() {
    struct winsize size {};
    if (ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0) {
        return size.ws_col;
    }
    // Not a terminal. A COLUMNS in the environment was put there on purpose
    // (shells do not export it), so it decides the width of piped output.
    const char* columns = std::getenv("COLUMNS");
    if (columns != nullptr && *columns != '\0') {
        char* end = nullptr;
        const long value = std::strtol(columns, &end, 10);
        if (*end == '\0' && value > 0 && value <= 10000) {
            return static_cast<size_t>(value);
        }
    }
    return c_defaultConsoleWidth;
}

}  // namespace pwr::usage
