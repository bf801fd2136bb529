#include <gtest/gtest.h>

#include <chrono>
#include <cstdint>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "common/runtime/VexaClock.h"
#include "common/serialize/SystemMetadata.h"
#include "tests/support/LogCapture.h"

namespace pwr {
namespace {

using test::LogCapture;

constexpr const char* c_qpcUuid = "d3ad8390-29cc-11e6-bdf4-0800200c9a66";
constexpr const char* c_nanoUuid = "8ad42930-517d-11e5-b970-0800200c9a66";
constexpr const char* c_tscUuid = "5138ffc0-517d-11e5-b970-0800200c9a66";

// A clock that always shows the same count and reports its destruction.
class FixedClock : public VexaClockSource {
  public:
    FixedClock(std::string uuid, uint64_t count, int* destroyed = nullptr)
        : VexaClockSource(std::move(uuid), "FIXED", "A fixed clock"),
          m_count(count),
          m_destroyed(destroyed) {}
    ~FixedClock() override {
        if (m_destroyed != nullptr) {
            ++*m_destroyed;
        }
    }
    float getFrequency() const override { return 1.0f; }
    uint64_t getTimestamp() const override { return m_count; }

  private:
    uint64_t m_count;
    int* m_destroyed;
};

VexaClockSync makeSync(const std::string& uuid, float freq, uint64_t value,
                       float defaultFreq = 1000.0f, uint64_t defaultValue = 0) {
    VexaClockSync sync;
    sync.clockUUID = uuid;
    sync.clockName = "C";
    sync.clockFreqMHz = freq;
    sync.clockValue = value;
    sync.defaultClockUUID = c_nanoUuid;
    sync.defaultClockName = "NANO";
    sync.defaultClockFreqMHz = defaultFreq;
    sync.defaultClockValue = defaultValue;
    return sync;
}

class ClockTest : public ::testing::Test {
  protected:
    void TearDown() override { setDefaultClockSource(nullptr); }
    LogCapture log;
};

TEST_F(ClockTest, BuiltInClocksKeepTheirIdentities) {
    VexaQPCClock qpc;
    VexaNanoClock nano;
    VexaTSCClock tsc;
    EXPECT_EQ(qpc.getUUID(), c_qpcUuid);
    EXPECT_EQ(qpc.getName(), "QPC");
    EXPECT_EQ(qpc.getDescription(), "A QPC based clock source");
    EXPECT_EQ(nano.getUUID(), c_nanoUuid);
    EXPECT_EQ(nano.getName(), "NANO");
    EXPECT_EQ(nano.getDescription(),
              "A clock_gettime based clock source returning time in nanoseconds since the Epoch");
    EXPECT_EQ(tsc.getUUID(), c_tscUuid);
    EXPECT_EQ(tsc.getName(), "TSC");
    EXPECT_EQ(tsc.getDescription(), "A TSC based clock source");

    EXPECT_EQ(nano.getFrequency(), 1000.0f);
    EXPECT_EQ(tsc.getFrequency(), 0.0f);
    tsc.setFrequency(2400.0f);
    EXPECT_EQ(tsc.getFrequency(), 2400.0f);
#if !defined(_WIN32)
    EXPECT_EQ(qpc.getFrequency(), 1000.0f);
#endif
}

TEST_F(ClockTest, SystemClocksAreAppendedInOrderAndFreed) {
    SystemMetadata system;
    int destroyed = 0;
    std::vector<VexaClockSource*> clocks{new FixedClock("x", 1, &destroyed)};
    getVexaSystemClockSources(system, clocks);
    ASSERT_EQ(clocks.size(), 4u);
    EXPECT_EQ(clocks[1]->getName(), "QPC");
    EXPECT_EQ(clocks[2]->getName(), "NANO");
    EXPECT_EQ(clocks[3]->getName(), "TSC");
    EXPECT_EQ(clocks[3]->getFrequency(), 0.0f);

    clocks.push_back(nullptr);
    clocks.push_back(new FixedClock("y", 2, &destroyed));
    freeVexaSystemClockSources(clocks);
    EXPECT_EQ(destroyed, 2);
    ASSERT_EQ(clocks.size(), 6u);
    for (VexaClockSource* clock : clocks) {
        EXPECT_EQ(clock, nullptr);
    }
    // The slots are null now, so a second call deletes nothing twice.
    freeVexaSystemClockSources(clocks);
    EXPECT_EQ(destroyed, 2);
}

TEST_F(ClockTest, QpcTicksMatchElapsedTimeAtItsFrequency) {
    VexaQPCClock qpc;
    const float frequency = qpc.getFrequency();
    ASSERT_GT(frequency, 0.0f);
    const auto steadyStart = std::chrono::steady_clock::now();
    const uint64_t start = qpc.getTimestamp();
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    const uint64_t stop = qpc.getTimestamp();
    const auto steadyMicros = std::chrono::duration_cast<std::chrono::microseconds>(
                                  std::chrono::steady_clock::now() - steadyStart)
                                  .count();
    ASSERT_GT(stop, start);
    const double qpcMicros = static_cast<double>(stop - start) / frequency;
    EXPECT_GE(qpcMicros, 15000.0);
    EXPECT_LE(qpcMicros, static_cast<double>(steadyMicros) + 2000.0);
}

TEST_F(ClockTest, NanoClockShowsNanosecondsSinceTheUnixEpoch) {
    VexaNanoClock nano;
    const int64_t before = std::chrono::duration_cast<std::chrono::nanoseconds>(
                               std::chrono::system_clock::now().time_since_epoch())
                               .count();
    const uint64_t first = nano.getTimestamp();
    std::this_thread::sleep_for(std::chrono::milliseconds(2));
    const uint64_t second = nano.getTimestamp();
    EXPECT_GT(second, first);
    const double offsetSeconds =
        (static_cast<double>(first) - static_cast<double>(before)) / 1000000000.0;
    EXPECT_LT(offsetSeconds, 1.0);
    EXPECT_GT(offsetSeconds, -1.0);
}

TEST_F(ClockTest, TscAdvances) {
    VexaTSCClock tsc;
    const uint64_t first = tsc.getTimestamp();
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
    EXPECT_GT(tsc.getTimestamp(), first);
}

TEST_F(ClockTest, DefaultClockIsReadThroughTheProcessWidePointer) {
    FixedClock clock("0a1b2c3d-0000-1111-2222-333344445555", 18446744073709551615ull);
    setDefaultClockSource(&clock);
    EXPECT_EQ(defaultClockSource(), &clock);
    EXPECT_EQ(getVexaATimestamp(), 18446744073709551615ull);
    EXPECT_EQ(&getVexaAClockUUID(), &clock.getUUID());
    EXPECT_TRUE(log.loggedExactly({}));
}

TEST_F(ClockTest, MissingDefaultClockGivesZeroAndEmptyIdentityWithWarnings) {
    setDefaultClockSource(nullptr);
    EXPECT_EQ(getVexaATimestamp(), 0u);
    EXPECT_EQ(getVexaAClockUUID(), "");
    EXPECT_TRUE(log.loggedExactly({"WARNING: No default clock is set; using timestamp 0\n",
                                   "WARNING: No default clock is set; it has no identity\n"}));
}

TEST_F(ClockTest, TimestampAtTheSyncPointGivesTheDefaultValue) {
    const VexaClockSync sync = makeSync(c_qpcUuid, 2.9f, 123456789012345ull, 1000.0f, 98765ull);
    EXPECT_EQ(convertTimestamp(sync, 123456789012345ull), 98765ull);
}

TEST_F(ClockTest, EqualFrequenciesShiftByTheDifferenceOfTheSyncValues) {
    VexaClockSync sync = makeSync(c_qpcUuid, 3.5f, 1000000ull, 3.5f, 250ull);
    EXPECT_EQ(convertTimestamp(sync, 1000000ull + 12345), 250ull + 12345);
    sync.defaultClockValue = 5000000ull;
    EXPECT_EQ(convertTimestamp(sync, 1000007ull), 5000007ull);
}

TEST_F(ClockTest, NanosecondsBecomeCountsOfATenMegahertzClock) {
    const VexaClockSync sync = makeSync(c_nanoUuid, 1000.0f, 1700000000000000000ull, 10.0f, 400ull);
    EXPECT_EQ(convertTimestamp(sync, 1700000000000001000ull), 410ull);
    // The fraction is truncated, not rounded.
    EXPECT_EQ(convertTimestamp(sync, 1700000000000000999ull), 409ull);
}

TEST_F(ClockTest, TimestampsBeforeTheSyncPointWrapRound) {
    // A counter that wrapped after the sync point still converts its delta.
    const VexaClockSync wrapped = makeSync(c_tscUuid, 1.0f, 18446744073709551516ull, 1.0f, 7ull);
    EXPECT_EQ(convertTimestamp(wrapped, 50ull), 157ull);
    // An earlier timestamp becomes a huge delta, not a negative one:
    // (2^64 - 1) as a double is 2^64, halved 2^63.
    const VexaClockSync halved = makeSync(c_tscUuid, 2.0f, 1000ull, 1.0f, 5ull);
    EXPECT_EQ(convertTimestamp(halved, 999ull), 9223372036854775808ull + 5);
}

TEST_F(ClockTest, ResultsAtOrAboveTwoToTheSixtyThreeStayUnsigned) {
    const VexaClockSync sync = makeSync(c_tscUuid, 1.0f, 0ull, 2.0f, 0ull);
    EXPECT_EQ(convertTimestamp(sync, 4611686018427387904ull), 9223372036854775808ull);
    EXPECT_EQ(convertTimestamp(sync, 6917529027641081856ull), 13835058055282163712ull);
    // The final addition wraps as unsigned.
    const VexaClockSync shifted = makeSync(c_tscUuid, 1.0f, 0ull, 2.0f, 9223372036854775808ull);
    EXPECT_EQ(convertTimestamp(shifted, 6917529027641081856ull), 4611686018427387904ull);
}

TEST_F(ClockTest, UnsetOrBrokenFrequenciesGiveDefinedResults) {
    // A TSC clock whose frequency was never set: an infinite ratio saturates.
    const VexaClockSync unset = makeSync(c_tscUuid, 0.0f, 100ull, 10.0f, 1000ull);
    EXPECT_EQ(convertTimestamp(unset, 101ull), 999ull);
    EXPECT_EQ(convertTimestamp(unset, 100ull), 1000ull);
    const VexaClockSync bothZero = makeSync(c_tscUuid, 0.0f, 100ull, 0.0f, 1000ull);
    EXPECT_EQ(convertTimestamp(bothZero, 5000ull), 1000ull);
    const VexaClockSync negative = makeSync(c_tscUuid, -1.0f, 100ull, 10.0f, 1000ull);
    EXPECT_EQ(convertTimestamp(negative, 5000ull), 1000ull);
}

TEST_F(ClockTest, ConversionIsLoggedAtTheMostDetailedLevelOnly) {
    const VexaClockSync sync = makeSync(c_nanoUuid, 1000.0f, 0ull, 10.0f, 18446744073709551610ull);
    // 10 counts past a default value 6 short of 2^64 wrap round to 4.
    EXPECT_EQ(convertTimestamp(sync, 1000ull), 4ull);
    EXPECT_TRUE(log.loggedExactly({"INFO: input TSC = 1000, output TSC = 4\n"}));
    log.clear();
    log.context().setVerbosity(PW_DEBUG);
    convertTimestamp(sync, 1000ull);
    EXPECT_TRUE(log.loggedExactly({}));
}

TEST_F(ClockTest, EmptyQueueLeavesTheOutputUntouched) {
    const VexaClockSync before = makeSync("kept", 1.0f, 1ull);
    VexaClockSync out = before;
    EXPECT_FALSE(wasClockSynchronized("kept", VexaClockSyncQueue{}, out));
    EXPECT_EQ(out, before);
    EXPECT_TRUE(log.loggedExactly({}));
}

TEST_F(ClockTest, FirstMatchingRecordWinsAndIsLogged) {
    const VexaClockSyncQueue syncs{
        makeSync(c_nanoUuid, 1000.0f, 1ull),
        makeSync(c_qpcUuid, 10.0f, 18446744073709551615ull, 2.5f, 42ull),
        makeSync(c_qpcUuid, 20.0f, 3ull),
    };
    VexaClockSync out;
    EXPECT_TRUE(wasClockSynchronized(c_qpcUuid, syncs, out));
    EXPECT_EQ(out, syncs[1]);
    EXPECT_TRUE(log.loggedExactly({std::string("DEBUG: Looking at sync clock ") + c_nanoUuid + "\n",
                                   std::string("DEBUG: Looking at sync clock ") + c_qpcUuid + "\n",
                                   std::string("DEBUG: Found clock UUID ") + c_qpcUuid +
                                       " with freq 10.00 and val 18446744073709551615 (Default = " +
                                       c_nanoUuid + ", 2.50, 42)\n"}));

    log.clear();
    log.context().setVerbosity(PW_WARNING);
    EXPECT_TRUE(wasClockSynchronized(c_nanoUuid, syncs, out));
    EXPECT_EQ(out, syncs[0]);
    EXPECT_TRUE(log.loggedExactly({}));
}

TEST_F(ClockTest, NoMatchLeavesTheLastRecordInTheOutput) {
    const std::string upper = "D3AD8390-29CC-11E6-BDF4-0800200C9A66";
    const VexaClockSyncQueue syncs{
        makeSync(c_qpcUuid, 10.0f, 1ull),
        makeSync(c_tscUuid, 2400.0f, 2ull),
    };
    VexaClockSync out;
    // Identities compare exactly: neither another case nor a prefix matches.
    EXPECT_FALSE(wasClockSynchronized(upper, syncs, out));
    EXPECT_EQ(out, syncs[1]);
    EXPECT_FALSE(wasClockSynchronized("5138ffc0", syncs, out));
    EXPECT_EQ(out, syncs[1]);
    log.clear();
    EXPECT_FALSE(wasClockSynchronized(c_nanoUuid, syncs, out));
    EXPECT_TRUE(
        log.loggedExactly({std::string("DEBUG: Looking at sync clock ") + c_qpcUuid + "\n",
                           std::string("DEBUG: Looking at sync clock ") + c_tscUuid + "\n"}));
}

}  // namespace
}  // namespace pwr
