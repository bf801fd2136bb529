// VexaThread with a running worker: requests and responses, the payload
// limit, the ways a worker ends, processor binding, and many senders at once.
#include <gtest/gtest.h>

#if !defined(_WIN32)
#include <sched.h>
#endif

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "common/runtime/VexaThread.h"
#include "tests/support/LogCapture.h"

namespace pwr {
namespace {

constexpr int c_stop = 100;   // the handler asks the thread to stop
constexpr int c_where = 101;  // the handler answers with its processor
constexpr uint32_t c_limit = 1048576;

int currentProcessor() {
#if defined(_WIN32)
    PROCESSOR_NUMBER p{};
    GetCurrentProcessorNumberEx(&p);
    return p.Group * 64 + p.Number;
#else
    return sched_getcpu();
#endif
}

// Answers each command with command + the sum of its payload bytes, and keeps
// what it saw. Read its records only after a response or a join.
class Recorder : public VexaThreadActor {
  public:
    int handleRequest(int command, uint32_t size, const void* payload, int* result) override {
        const auto* bytes = static_cast<const unsigned char*>(payload);
        int sum = 0;
        for (uint32_t i = 0; i < size; ++i) {
            sum += bytes[i];
        }
        commands.push_back(command);
        *result = command == c_where ? currentProcessor() : command + sum;
        return command == c_stop ? 1 : 0;
    }
    int onDie() override { return 77; }
    std::vector<int> commands;
};

std::atomic<int> g_exits{0};
void countExit() {
    ++g_exits;
}

class VexaThreadThreadedTest : public ::testing::Test {
  protected:
    test::LogCapture log;
    Recorder actor;
};

TEST_F(VexaThreadThreadedTest, RequestsWithAndWithoutResponses) {
    VexaThread thread(actor);
    ASSERT_EQ(thread.init(), 0);
    ASSERT_EQ(thread.start(), 0);
    EXPECT_TRUE(thread.isRunning());
    EXPECT_EQ(thread.signal(1, 3, "abc", false, false), 0);
    EXPECT_EQ(thread.signal(2, false, true), 0);
    EXPECT_EQ(thread.signal(3, 2, "\x01\x02", true, true), 6);
    const int id = thread.signal(4, 1, "\x05", true, false);
    EXPECT_GT(id, 0);
    EXPECT_EQ(thread.readResponse(id), 9);
    // With one waiter, a response for another id is dropped.
    const int dropped = thread.signal(5, true, false);
    const int wanted = thread.signal(6, true, false);
    EXPECT_EQ(thread.readResponse(wanted), 6);
    EXPECT_EQ(actor.commands, (std::vector<int>{1, 2, 3, 4, 5, 6}));
    EXPECT_EQ(thread.kill(), 77);
    EXPECT_EQ(thread.join(), 0);
    EXPECT_TRUE(thread.isDead());
    EXPECT_EQ(thread.kill(), -1);
    for (const std::string& line : std::vector<std::string>{
             "WARNING: cannot block if you don't require a response!\n",
             "INFO: waiting for response!\n", "INFO: OK, read payload size = 2\n",
             "INFO: received command = 3\n", "INFO: SYNC!\n", "INFO: OK, wrote response header\n",
             "INFO: OK, told to die\n", "WARNING: killing a thread that isn't running?!\n",
             "INFO: received msg id = " + std::to_string(dropped) + " (looking for id = " +
                 std::to_string(wanted) + ") in pwr::VexaThread::readResponse\n"}) {
        EXPECT_TRUE(log.logged(line));
    }
}

TEST_F(VexaThreadThreadedTest, PayloadOfOneMebibyteIsTheLimit) {
    VexaThread thread(actor);
    ASSERT_EQ(thread.init(), 0);
    ASSERT_EQ(thread.start(), 0);
    const std::vector<char> payload(c_limit + 1, 1);
    EXPECT_EQ(thread.signal(1, c_limit, payload.data(), true, true), 1 + static_cast<int>(c_limit));
    // The worker cannot trust the queue after this and ends.
    EXPECT_EQ(thread.signal(2, c_limit + 1, payload.data(), false, false), 0);
    EXPECT_EQ(thread.join(), 0);
    EXPECT_TRUE(thread.isDead());
    EXPECT_EQ(actor.commands, std::vector<int>{1});
    EXPECT_TRUE(log.logged("WARNING: invalid payload size 1048577 received!\n"));
    EXPECT_EQ(thread.kill(), -1);
}

TEST_F(VexaThreadThreadedTest, HandlerStopsTheThread) {
    g_exits = 0;
    VexaThread answered(actor, nullptr, &countExit);
    ASSERT_EQ(answered.init(), 0);
    ASSERT_EQ(answered.start(), 0);
    EXPECT_EQ(answered.signal(c_stop, 1, "\x02", true, true), c_stop + 2);
    EXPECT_EQ(answered.join(), 0);
    EXPECT_TRUE(answered.isDead());
    EXPECT_EQ(g_exits, 1);
    EXPECT_TRUE(log.logged("INFO: OK, thread exiting\n"));

    Recorder other;
    VexaThread unanswered(other);
    ASSERT_EQ(unanswered.init(), 0);
    ASSERT_EQ(unanswered.start(), 0);
    EXPECT_EQ(unanswered.signal(c_stop, false, false), 0);
    EXPECT_EQ(unanswered.join(), 0);
    EXPECT_TRUE(unanswered.isDead());
    EXPECT_EQ(unanswered.kill(), -1);
    EXPECT_EQ(g_exits, 1);
}

// Destruction must not pull the channels from under a running worker, nor
// wait for an answer from one that is stopping by itself.
TEST_F(VexaThreadThreadedTest, DestructionStopsARunningWorker) {
    {
        VexaThread thread(actor);
        ASSERT_EQ(thread.init(), 0);
        ASSERT_EQ(thread.start(), 0);
        EXPECT_EQ(thread.signal(1, false, false), 0);
    }
    EXPECT_EQ(actor.commands, std::vector<int>{1});
    EXPECT_TRUE(log.logged("INFO: OK, told to die\n"));
    {
        VexaThread thread(actor);
        ASSERT_EQ(thread.init(), 0);
        ASSERT_EQ(thread.start(), 0);
        EXPECT_EQ(thread.signal(c_stop, false, false), 0);
    }
    EXPECT_EQ(actor.commands, (std::vector<int>{1, c_stop}));
}

TEST_F(VexaThreadThreadedTest, TimedJoinWaitsUntilTheThreadEnds) {
    VexaThread thread(actor);
    ASSERT_EQ(thread.init(), 0);
    ASSERT_EQ(thread.start(), 0);
    int killed = 0;
    std::thread killer([&] {
        std::this_thread::sleep_for(std::chrono::milliseconds(300));
        killed = thread.kill();
    });
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ(thread.timedJoin(10), 0);
    const auto waited = std::chrono::steady_clock::now() - begin;
    killer.join();
    EXPECT_GE(waited, std::chrono::milliseconds(250));
    EXPECT_EQ(killed, 77);
    EXPECT_TRUE(thread.isDead());
}

TEST_F(VexaThreadThreadedTest, BindsToAnExistingProcessor) {
    const int here = currentProcessor();
    ASSERT_GE(here, 0);
    PROCESSOR_NUMBER processor{};
    processor.Group = static_cast<uint16_t>(here / 64);
    processor.Number = static_cast<uint8_t>(here % 64);
    VexaThread thread(actor, &processor);
    ASSERT_EQ(thread.init(), 0);
    ASSERT_EQ(thread.start(), 0);
    EXPECT_EQ(thread.signal(c_where, true, true), here);
    EXPECT_EQ(thread.kill(), 77);
    for (const std::string& line : log.lines()) {
        EXPECT_NE(line.rfind("WARNING", 0), 0u) << line;
    }
}

TEST_F(VexaThreadThreadedTest, BindingToAMissingProcessorFails) {
#if defined(_WIN32)
    const std::string refused = "WARNING: Thread affinity attempt failed. Error: 87!\n";
#else
    const std::string refused = "WARNING: Thread affinity attempt failed. Error: 22!\n";
#endif
    std::vector<PROCESSOR_NUMBER> missing(1);
    missing[0].Group = 1000;
    if (std::thread::hardware_concurrency() < 64) {
        missing.emplace_back();
        missing[1].Number = 63;
    }
    log.context().setVerbosity(PW_WARNING);
    for (const PROCESSOR_NUMBER& processor : missing) {
        log.clear();
        VexaThread thread(actor, &processor);
        ASSERT_EQ(thread.init(), 0);
        EXPECT_EQ(thread.start(), -1);
        EXPECT_TRUE(log.loggedExactly({refused}));
        // The worker runs unbound until it is told to die.
        EXPECT_EQ(thread.signal(7, true, true), 7);
        EXPECT_EQ(thread.kill(), 77);
    }
}

// Checks that every payload arrives intact; answers with command ^ size.
class Checker : public VexaThreadActor {
  public:
    int handleRequest(int command, uint32_t size, const void* payload, int* result) override {
        const auto* bytes = static_cast<const unsigned char*>(payload);
        for (uint32_t i = 0; i < size; ++i) {
            corrupt += bytes[i] != static_cast<unsigned char>(command + i) ? 1 : 0;
        }
        ++handled;
        *result = command ^ static_cast<int>(size);
        return 0;
    }
    int handled = 0;
    int corrupt = 0;
};

TEST_F(VexaThreadThreadedTest, ManySendersGetTheirOwnResponses) {
    constexpr int c_senders = 4;
    const int c_requests = 10000;
    log.context().setVerbosity(PW_WARNING);
    Checker checker;
    VexaThread thread(checker);
    ASSERT_EQ(thread.init(), 0);
    ASSERT_EQ(thread.start(), 0);
    std::vector<int> wrong(c_senders, 0);
    std::vector<std::thread> senders;
    for (int s = 0; s < c_senders; ++s) {
        senders.emplace_back([&thread, &wrong, s, c_requests] {
            std::mt19937 random(static_cast<unsigned>(s));
            std::vector<unsigned char> payload;
            for (int k = 0; k < c_requests; ++k) {
                const int command = (s << 16) | k;
                payload.resize(random() % 8 == 0 ? random() % 8192 : random() % 64);
                for (size_t i = 0; i < payload.size(); ++i) {
                    payload[i] = static_cast<unsigned char>(command + static_cast<int>(i));
                }
                const bool answer = k % 4 != 0;
                const int result =
                    thread.signal(command, payload.size(), payload.data(), answer, answer);
                const int expected = answer ? command ^ static_cast<int>(payload.size()) : 0;
                wrong[s] += result != expected ? 1 : 0;
            }
        });
    }
    for (std::thread& sender : senders) {
        sender.join();
    }
    EXPECT_EQ(thread.kill(), 0);
    EXPECT_EQ(thread.join(), 0);
    EXPECT_EQ(checker.handled, c_senders * c_requests);
    EXPECT_EQ(checker.corrupt, 0);
    EXPECT_EQ(wrong, std::vector<int>(c_senders, 0));
    EXPECT_TRUE(log.loggedExactly({}));
}

}  // namespace
}  // namespace pwr
