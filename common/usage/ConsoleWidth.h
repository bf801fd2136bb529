// ConsoleWidth: how many columns the usage text may use on this console.
//
// Windows asks the console of standard output for its visible window; other
// systems ask the terminal (TIOCGWINSZ) and then the COLUMNS variable. When
// standard output is not a console (a pipe, a file), the answer is 80. The
// function holds no state and may be called from any thread.
#pragma once

#include <cstddef>

#include "common/runtime/Export.h"

namespace pwr::usage {

// The width used when the console cannot tell.
inline constexpr size_t c_defaultConsoleWidth = 80;

PWR_API size_t getConsoleWidth();

}  // namespace pwr::usage
