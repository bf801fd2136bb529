#include "host/Console.h"

#include <atomic>

#include <windows.h>

namespace vantry {

namespace {

std::atomic<bool> g_interrupted{false};
std::atomic<bool> g_installed{false};

BOOL WINAPI onConsoleControl(DWORD event) {
    switch (event) {
        case CTRL_C_EVENT:
        case CTRL_BREAK_EVENT:
            g_interrupted.store(true);
            return TRUE;
        case CTRL_CLOSE_EVENT:
        case CTRL_LOGOFF_EVENT:
        case CTRL_SHUTDOWN_EVENT:
            // The system ends the process once this handler returns, so give
            // the collection loop time to write the result file first.
            g_interrupted.store(true);
            Sleep(4000);
            return TRUE;
        default:
            return FALSE;
    }
}

}  // namespace

void installInterruptHandler() {
    if (g_installed.exchange(true)) {
        return;
    }
    SetConsoleCtrlHandler(onConsoleControl, TRUE);
}

bool interruptRequested() {
    return g_interrupted.load();
}

void setInterruptRequested(bool requested) {
    g_interrupted.store(requested);
}

bool isStdoutTerminal() {
    HANDLE out = GetStdHandle(STD_OUTPUT_HANDLE);
    DWORD mode = 0;
    // A console handle answers GetConsoleMode; a pipe or file does not.
    return out != nullptr && out != INVALID_HANDLE_VALUE && GetConsoleMode(out, &mode) != 0;
}

bool sleepInterruptible(uint64_t ms) {
    while (ms > 0) {
        if (interruptRequested()) {
            return false;
        }
        const uint64_t slice = ms < 50 ? ms : 50;
        Sleep(static_cast<DWORD>(slice));
        ms -= slice;
    }
    return !interruptRequested();
}

}  // namespace vantry
