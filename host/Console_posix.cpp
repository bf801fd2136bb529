#include "host/Console.h"

#include <atomic>
#include <csignal>
#include <chrono>
#include <thread>

#include <unistd.h>

namespace vantry {

namespace {

// volatile sig_atomic_t would do for the handler; std::atomic<bool> is
// lock-free here and also serves the other threads that read it.
std::atomic<bool> g_interrupted{false};
std::atomic<bool> g_installed{false};

extern "C" void onInterruptSignal(int) {
    g_interrupted.store(true);
}

}  // namespace

void installInterruptHandler() {
    if (g_installed.exchange(true)) {
        return;
    }
    struct sigaction action {};
    action.sa_handler = onInterruptSignal;
    sigemptyset(&action.sa_mask);
    // No SA_RESTART: a sleeping collection wakes up at once.
    action.sa_flags = 0;
    sigaction(SIGINT, &action, nullptr);
    sigaction(SIGTERM, &action, nullptr);
    sigaction(SIGHUP, &action, nullptr);
    // A file-size limit (ulimit -f) would otherwise end the program at the
    // write that passes it, losing the collection without a word; ignored,
    // the write fails with EFBIG and the host reports it.
    signal(SIGXFSZ, SIG_IGN);
}

bool interruptRequested() {
    return g_interrupted.load();
}

void setInterruptRequested(bool requested) {
    g_interrupted.store(requested);
}

bool isStdoutTerminal() {
    return isatty(STDOUT_FILENO) == 1;
}

bool sleepInterruptible(uint64_t ms) {
    // Slices of at most 50 ms keep the reaction to Ctrl-C quick even when the
    // signal went to another thread and does not cut this sleep short.
    while (ms > 0) {
        if (interruptRequested()) {
            return false;
        }
        const uint64_t slice = ms < 50 ? ms : 50;
        std::this_thread::sleep_for(std::chrono::milliseconds(slice));
        ms -= slice;
    }
    return !interruptRequested();
}

}  // namespace vantry
