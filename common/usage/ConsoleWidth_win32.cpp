#include "common/usage/ConsoleWidth.h"

#include <windows.h>

namespace pwr::usage {

size_t getConsoleWidth() {
    const HANDLE output = GetStdHandle(STD_OUTPUT_HANDLE);
    if (output == nullptr || output == INVALID_HANDLE_VALUE) {
        return c_defaultConsoleWidth;
    }
    CONSOLE_SCREEN_BUFFER_INFO info;
    // Fails when standard output is redirected to a file or a pipe.
    if (!GetConsoleScreenBufferInfo(output, &info)) {
        return c_defaultConsoleWidth;
    }
    // The visible window, not the buffer: the buffer is often far wider than
    // what the user sees.
    const int width = info.srWindow.Right - info.srWindow.Left + 1;
    return width > 0 ? static_cast<size_t>(width) : c_defaultConsoleWidth;
}

}  // namespace pwr::usage
