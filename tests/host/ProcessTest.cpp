// Starting the -p program and the interrupt flag that Ctrl-C sets.
#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <thread>

#include "host/Console.h"
#include "host/ProcessLauncher.h"

namespace vantry {
namespace {

bool waitForEnd(ProcessLauncher& launcher) {
    for (int i = 0; i < 1000 && launcher.isRunning(); ++i) {
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return !launcher.isRunning();
}

TEST(ProcessLauncherTest, RunsTheProgramWithItsArgumentsAndSeesItEnd) {
    ProcessLauncher launcher;
    EXPECT_FALSE(launcher.isRunning());
    std::string error;
#if defined(_WIN32)
    ASSERT_TRUE(launcher.start({"cmd", "/c", "exit 3"}, error)) << error;
#else
    ASSERT_TRUE(launcher.start({"sh", "-c", "exit \"$0\"", "3"}, error)) << error;
#endif
    ASSERT_TRUE(waitForEnd(launcher));
    EXPECT_EQ(launcher.exitCode(), 3);
}

#if !defined(_WIN32)
TEST(ProcessLauncherTest, StopAsksPolitelyThenForces) {
    ProcessLauncher polite;
    std::string error;
    bool forced = true;
    ASSERT_TRUE(polite.start({"sleep", "60"}, error)) << error;
    EXPECT_GT(polite.processId(), 0);
    EXPECT_TRUE(polite.stop(5000, forced));
    EXPECT_FALSE(forced);
    EXPECT_EQ(polite.exitCode(), 128 + SIGTERM);
    // A program that ignores the request, and a child it started in its
    // group: both end.
    ProcessLauncher stubborn;
    ASSERT_TRUE(stubborn.start({"sh", "-c", "trap '' TERM; sleep 60 & wait"}, error)) << error;
    std::this_thread::sleep_for(std::chrono::milliseconds(200));
    EXPECT_TRUE(stubborn.stop(300, forced));
    EXPECT_TRUE(forced);
    EXPECT_EQ(stubborn.exitCode(), 128 + SIGKILL);
    // Stopping a program that already ended changes nothing.
    EXPECT_TRUE(stubborn.stop(300, forced));
    EXPECT_FALSE(forced);
}
#endif

TEST(ProcessLauncherTest, RefusesWhatCannotBeStarted) {
    ProcessLauncher launcher;
    std::string error;
    EXPECT_FALSE(launcher.start({}, error));
    EXPECT_EQ(error, "no program given");
    error.clear();
    EXPECT_FALSE(launcher.start({"./vantry-no-such-program-here", "x"}, error));
    EXPECT_FALSE(error.empty());
    EXPECT_FALSE(launcher.isRunning());
    EXPECT_EQ(launcher.exitCode(), -1);
}

TEST(ConsoleTest, InterruptCutsSleepShort) {
    setInterruptRequested(false);
    EXPECT_TRUE(sleepInterruptible(1));
    EXPECT_TRUE(sleepInterruptible(0));
    setInterruptRequested(true);
    const auto start = std::chrono::steady_clock::now();
    EXPECT_FALSE(sleepInterruptible(60000));
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(30));
    setInterruptRequested(false);
}

#if !defined(_WIN32)
TEST(ConsoleTest, CtrlCSetsTheFlagInsteadOfEndingTheProcess) {
    setInterruptRequested(false);
    installInterruptHandler();
    installInterruptHandler();
    std::raise(SIGINT);
    EXPECT_TRUE(interruptRequested());
    setInterruptRequested(false);
    // A sleeping collection wakes up when the signal arrives from elsewhere.
    std::thread signaller([] {
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
        std::raise(SIGINT);
    });
    EXPECT_FALSE(sleepInterruptible(60000));
    signaller.join();
    setInterruptRequested(false);
}
#endif

}  // namespace
}  // namespace vantry
