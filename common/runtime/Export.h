// Export macro of vantrycommon.
//
// Every class or function that plug-ins and programs call carries PWR_API.
// The library is built with hidden visibility, so anything without it stays
// private to the library. On Windows (MinGW included) the macro switches
// between dllexport while building the library and dllimport for its users.
#pragma once

#if defined(_WIN32)
#if defined(VANTRYCOMMON_BUILD)
#define PWR_API __declspec(dllexport)
#else
#define PWR_API __declspec(dllimport)
#endif
#else
#define PWR_API __attribute__((visibility("default")))
#endif

// printf-style format checking for the logging functions. MinGW's C99 stdio
// (enabled by __USE_MINGW_ANSI_STDIO) follows the GNU format rules.
#if defined(__MINGW32__)
#define PWR_PRINTF(fmt, args) __attribute__((format(gnu_printf, fmt, args)))
#elif defined(__GNUC__)
#define PWR_PRINTF(fmt, args) __attribute__((format(printf, fmt, args)))
#else
#define PWR_PRINTF(fmt, args)
#endif
