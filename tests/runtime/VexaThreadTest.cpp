// VexaThread without a worker: states, refusals, the request channel filled
// before start, and the logging rule. Everything that runs a worker is in
// VexaThreadThreadedTest.cpp.
#include <gtest/gtest.h>

#include <string>

#include "common/runtime/VexaThread.h"
#include "tests/support/LogCapture.h"

namespace pwr {
namespace {

class EchoActor : public VexaThreadActor {
  public:
    explicit EchoActor(int initResult = 0) : m_initResult(initResult) {}
    int handleRequest(int command, uint32_t, const void*, int* result) override {
        *result = command;
        return 0;
    }
    int initialize() override { return m_initResult; }

  private:
    int m_initResult;
};

const std::string c_notRunning = "WARNING: killing a thread that isn't running?!\n";
const std::string c_write =
    "INFO: Inside pwr::VexaThread::Channel::writeRequest_i, new socket pair size is ";

TEST(VexaThreadTest, NewThreadCanNeitherStartNorBeKilled) {
    test::LogCapture log;
    EchoActor actor;
    VexaThread thread(actor);
    EXPECT_FALSE(thread.isRunning());
    EXPECT_FALSE(thread.isDead());
    EXPECT_EQ(thread.start(), -1);
    EXPECT_EQ(thread.kill(), -1);
    EXPECT_EQ(thread.join(), 0);
    EXPECT_EQ(thread.timedJoin(10), 0);
    EXPECT_TRUE(log.loggedExactly({"WARNING: invalid thread state 0!\n", c_notRunning}));
}

TEST(VexaThreadTest, FailedInitializeLeavesTheThreadCreated) {
    test::LogCapture log;
    EchoActor actor(5);
    VexaThread thread(actor);
    EXPECT_EQ(thread.init(), -1);
    EXPECT_EQ(thread.start(), -1);
    EXPECT_TRUE(log.loggedExactly({"WARNING: invalid thread state 0!\n"}));
}

TEST(VexaThreadTest, ChannelsDoNotExistBeforeInit) {
    test::LogCapture log;
    EchoActor actor;
    VexaThread thread(actor);
    EXPECT_EQ(thread.signal(1, false, false), -1);
    EXPECT_EQ(thread.readResponse(4), -1);
    EXPECT_TRUE(log.loggedExactly(
        {"WARNING: couldn't write request message header!\n", "WARNING: write error\n",
         "INFO: Inside pwr::VexaThread::Channel::readResponse_i, socket pair size is 0\n",
         "WARNING: couldn't read response message header!\n",
         "WARNING: couldn't read response!\n"}));
}

// Requests queue up before start; what is never read is freed with the object
// (the leak checker sees it otherwise).
TEST(VexaThreadTest, RequestsQueueBeforeStart) {
    test::LogCapture log;
    EchoActor actor;
    VexaThread thread(actor);
    ASSERT_EQ(thread.init(), 0);
    EXPECT_EQ(thread.kill(), -1);
    EXPECT_EQ(thread.signal(7, 3, "abc", false, true), 0);
    const int first = thread.signal(8, true, false);
    const int second = thread.signal(9, true, false);
    EXPECT_GT(first, 0);
    EXPECT_EQ(second, first + 1);
    EXPECT_EQ(thread.signal(10, 2, nullptr, false, false), -1);
    EXPECT_TRUE(log.loggedExactly(
        {c_notRunning, "WARNING: cannot block if you don't require a response!\n", c_write + "1\n",
         c_write + "2\n", c_write + "3\n", c_write + "4\n",
         "WARNING: couldn't write request message payload!\n", "WARNING: write error\n"}));
}

TEST(VexaThreadTest, InfoLinesNeedVerbosityOrTheTag) {
    test::LogCapture log;
    log.context().setVerbosity(PW_WARNING);
    EchoActor actor;
    VexaThread thread(actor);
    ASSERT_EQ(thread.init(), 0);
    EXPECT_EQ(thread.signal(1, false, false), 0);
    EXPECT_TRUE(log.loggedExactly({}));
    log.context().addCondLogTagForDebugLogging("vexathread");
    EXPECT_EQ(thread.signal(2, false, false), 0);
    EXPECT_TRUE(log.loggedExactly({c_write + "2\n"}));
}

}  // namespace
}  // namespace pwr
