// Console: what the host needs from the terminal it runs in. It learns when
// the user asks the collection to stop (Ctrl-C, or closing the console window
// on Windows), whether standard output is a terminal (the progress line is
// only drawn there), and it sleeps in slices that such a request cuts short.
//
// The interrupt flag is process-wide state kept in the platform source; the
// handler only sets it, so it is safe from a signal or a console-control
// thread, and every other function may be called from any thread.
#pragma once

#include <cstdint>

namespace vantry {

// Routes Ctrl-C (and, on Windows, the console's close and log-off events) to
// the interrupt flag instead of ending the process, and (POSIX) turns the
// file-size-limit signal into a write error that the host reports.
// Idempotent.
void installInterruptHandler();
// Whether the user asked to stop since the handler was installed.
bool interruptRequested();
// Sets or clears the flag by hand (tests, and a program that ended).
void setInterruptRequested(bool requested);

// Whether standard output is a terminal (a console window on Windows).
bool isStdoutTerminal();

// Sleeps for ms milliseconds, or less when an interrupt arrives. Returns
// false when it was cut short.
bool sleepInterruptible(uint64_t ms);

}  // namespace vantry
