#include "host/Console.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <thread>

namespace {

// The interrupt arrives on another thread (a signal handler, or Windows'
// console-control thread) while the collection sleeps between polls: the
// sleep ends early and the flag is seen by every thread.
TEST(ConsoleThreadedTest, InterruptFromAnotherThreadEndsTheSleep) {
    vantry::installInterruptHandler();
    vantry::setInterruptRequested(false);
    std::atomic<bool> sleeping{false};
    std::thread interrupter([&] {
        while (!sleeping.load()) {
            std::this_thread::yield();
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
        vantry::setInterruptRequested(true);
    });
    sleeping.store(true);
    const auto start = std::chrono::steady_clock::now();
    const bool slept = vantry::sleepInterruptible(60000);
    const auto waited = std::chrono::steady_clock::now() - start;
    interrupter.join();
    EXPECT_FALSE(slept);
    EXPECT_LT(waited, std::chrono::seconds(30));
    EXPECT_TRUE(vantry::interruptRequested());
    // A request stays until cleared: the next sleep does not start.
    EXPECT_FALSE(vantry::sleepInterruptible(1));
    vantry::setInterruptRequested(false);
    EXPECT_TRUE(vantry::sleepInterruptible(1));
}

}  // namespace
