#include <gtest/gtest.h>

#include <chrono>
#include <cstdint>
#include <string>
#include <thread>
#include <vector>

#include "common/runtime/VexaClock.h"
#include "common/serialize/SystemMetadata.h"
#include "tests/support/LogCapture.h"

namespace pwr {
namespace {

constexpr const char* c_qpcUuid = "d3ad8390-29cc-11e6-bdf4-0800200c9a66";
constexpr const char* c_nanoUuid = "8ad42930-517d-11e5-b970-0800200c9a66";
constexpr const char* c_tscUuid = "5138ffc0-517d-11e5-b970-0800200c9a66";
constexpr uint64_t c_top = UINT64_MAX;
constexpr uint64_t c_2to63 = uint64_t{1} << 63;
const std::string c_looking = "DEBUG: Looking at sync clock ";

VexaClockSync makeSync(const std::string& uuid, float freq, uint64_t value,
                       float defaultFreq = 1000.0f, uint64_t defaultValue = 0) {
    return {uuid, "C", freq, value, c_nanoUuid, "NANO", defaultFreq, defaultValue};
}

class ClockTest : public ::testing::Test {
  protected:
    void TearDown() override { setDefaultClockSource(nullptr); }
    test::LogCapture log;
};

TEST_F(ClockTest, SystemClocksHaveFixedIdentitiesAndAreFreed) {
    std::vector<VexaClockSource*> clocks{nullptr};
    getVexaSystemClockSources(SystemMetadata(), clocks);
    ASSERT_EQ(clocks.size(), 4u);
    EXPECT_EQ(clocks[1]->getUUID() + " " + clocks[1]->getName(), c_qpcUuid + std::string(" QPC"));
    EXPECT_EQ(clocks[2]->getUUID() + " " + clocks[2]->getName(), c_nanoUuid + std::string(" NANO"));
    EXPECT_EQ(clocks[3]->getUUID() + " " + clocks[3]->getName(), c_tscUuid + std::string(" TSC"));
    EXPECT_EQ(clocks[2]->getFrequency(), 1000.0f);
    EXPECT_EQ(clocks[3]->getFrequency(), 0.0f);  // until the host measures it
#if !defined(_WIN32)
    EXPECT_EQ(clocks[1]->getFrequency(), 1000.0f);
#endif
    freeVexaSystemClockSources(clocks);
    EXPECT_EQ(clocks, std::vector<VexaClockSource*>(4, nullptr));
    freeVexaSystemClockSources(clocks);  // the slots are null: nothing is deleted twice
}

TEST_F(ClockTest, ClocksRunAtTheirFrequency) {
    namespace chrono = std::chrono;
    VexaQPCClock qpc;
    VexaNanoClock nano;
    VexaTSCClock tsc;
    const auto steadyStart = chrono::steady_clock::now();
    const double epochNs =
        chrono::duration<double, std::nano>(chrono::system_clock::now().time_since_epoch()).count();
    const uint64_t qpcStart = qpc.getTimestamp();
    const uint64_t nanoStart = nano.getTimestamp();
    const uint64_t tscStart = tsc.getTimestamp();
    std::this_thread::sleep_for(chrono::milliseconds(20));
    const double qpcMicros =
        static_cast<double>(qpc.getTimestamp() - qpcStart) / qpc.getFrequency();
    const double steadyMicros =
        chrono::duration<double, std::micro>(chrono::steady_clock::now() - steadyStart).count();
    EXPECT_GE(qpcMicros, 15000.0);
    EXPECT_LE(qpcMicros, steadyMicros + 2000.0);
    // NANO shows nanoseconds since the Unix epoch.
    EXPECT_NEAR(static_cast<double>(nanoStart), epochNs, 1e9);
    EXPECT_GT(nano.getTimestamp(), nanoStart);
    EXPECT_GT(tsc.getTimestamp(), tscStart);
}

TEST_F(ClockTest, DefaultClockIsReadThroughTheProcessWidePointer) {
    EXPECT_EQ(getVexaATimestamp(), 0u);
    EXPECT_EQ(getVexaAClockUUID(), "");
    EXPECT_TRUE(log.loggedExactly({"WARNING: No default clock is set; using timestamp 0\n",
                                   "WARNING: No default clock is set; it has no identity\n"}));
    VexaNanoClock nano;
    setDefaultClockSource(&nano);
    EXPECT_GT(getVexaATimestamp(), 1500000000000000000ull);
    EXPECT_EQ(&getVexaAClockUUID(), &nano.getUUID());
}

struct Conversion {
    const char* what;
    float freq;
    uint64_t value;
    float defaultFreq;
    uint64_t defaultValue, ts, expected;
};

TEST_F(ClockTest, ConvertTimestamp) {
    const uint64_t epoch = 1700000000000000000ull;
    const Conversion cases[] = {
        {"at the sync point", 2.9f, 123456789012345ull, 1000.0f, 98765, 123456789012345ull, 98765},
        {"equal frequencies", 3.5f, 1000000, 3.5f, 5000000, 1012345, 5012345},
        {"NANO to 10 MHz", 1000.0f, epoch, 10.0f, 400, epoch + 1000, 410},
        {"fraction truncated", 1000.0f, epoch, 10.0f, 400, epoch + 999, 409},
        {"counter wrapped", 1.0f, c_top - 99, 1.0f, 7, 50, 157},
        // (2^64 - 1) as a double is 2^64, halved 2^63: a huge delta, not a negative one.
        {"earlier timestamp", 2.0f, 1000, 1.0f, 5, 999, c_2to63 + 5},
        {"result 2^63", 1.0f, 0, 2.0f, 0, c_2to63 / 2, c_2to63},
        {"result above 2^63", 1.0f, 0, 2.0f, 0, 6917529027641081856ull, 13835058055282163712ull},
        {"final addition wraps", 1.0f, 0, 2.0f, c_2to63, 6917529027641081856ull, c_2to63 / 2},
        // An unset TSC frequency gives an infinite ratio, which saturates.
        {"unset frequency", 0.0f, 100, 10.0f, 1000, 101, 999},
        {"both frequencies unset", 0.0f, 100, 0.0f, 1000, 5000, 1000},
        {"negative frequency", -1.0f, 100, 10.0f, 1000, 5000, 1000},
    };
    for (const Conversion& c : cases) {
        const VexaClockSync sync =
            makeSync(c_tscUuid, c.freq, c.value, c.defaultFreq, c.defaultValue);
        EXPECT_EQ(convertTimestamp(sync, c.ts), c.expected) << c.what;
        EXPECT_EQ(log.lines().back(), "INFO: input TSC = " + std::to_string(c.ts) +
                                          ", output TSC = " + std::to_string(c.expected) + "\n");
    }
    // The line is written at the most detailed level only.
    log.clear();
    log.context().setVerbosity(PW_DEBUG);
    convertTimestamp(makeSync(c_tscUuid, 1.0f, 0), 1000);
    EXPECT_TRUE(log.loggedExactly({}));
}

TEST_F(ClockTest, FirstMatchingRecordWinsAndIsLogged) {
    const VexaClockSyncQueue syncs{makeSync(c_nanoUuid, 1000.0f, 1),
                                   makeSync(c_qpcUuid, 10.0f, c_top, 2.5f, 42),
                                   makeSync(c_qpcUuid, 20.0f, 3)};
    VexaClockSync out;
    EXPECT_TRUE(wasClockSynchronized(c_qpcUuid, syncs, out));
    EXPECT_EQ(out, syncs[1]);
    EXPECT_TRUE(log.loggedExactly({c_looking + c_nanoUuid + "\n", c_looking + c_qpcUuid + "\n",
                                   std::string("DEBUG: Found clock UUID ") + c_qpcUuid +
                                       " with freq 10.00 and val 18446744073709551615 (Default = " +
                                       c_nanoUuid + ", 2.50, 42)\n"}));
}

TEST_F(ClockTest, NoMatchLeavesTheLastRecordInTheOutput) {
    const VexaClockSync untouched = makeSync("kept", 1.0f, 1);
    VexaClockSync out = untouched;
    EXPECT_FALSE(wasClockSynchronized("kept", VexaClockSyncQueue{}, out));
    EXPECT_EQ(out, untouched);
    EXPECT_TRUE(log.loggedExactly({}));

    const VexaClockSyncQueue syncs{makeSync(c_qpcUuid, 10.0f, 1), makeSync(c_tscUuid, 2400.0f, 2)};
    // Identities compare exactly: neither another case nor a prefix matches.
    for (const char* uuid : {"D3AD8390-29CC-11E6-BDF4-0800200C9A66", "5138ffc0", c_nanoUuid}) {
        out = untouched;
        log.clear();
        EXPECT_FALSE(wasClockSynchronized(uuid, syncs, out));
        EXPECT_EQ(out, syncs[1]) << uuid;
    }
    EXPECT_TRUE(log.loggedExactly({c_looking + c_qpcUuid + "\n", c_looking + c_tscUuid + "\n"}));
}

}  // namespace
}  // namespace pwr
