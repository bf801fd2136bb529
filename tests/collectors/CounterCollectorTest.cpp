#include "plugins/collectors/CounterCollector.h"

#include <gtest/gtest.h>

#include <map>
#include <string>
#include <vector>

#include "common/serialize/SystemMetadata.h"
#include "tests/collectors/CollectorTestSupport.h"
#include "tests/support/LogCapture.h"

namespace vantry {
namespace {

using test::makeMessage;
using Pairs = ReadingPairs;
using RawCounters = std::vector<std::pair<std::string, int64_t>>;

// Answers what the test put in; a source left empty fails like a system
// without it.
class FakeCounterBackend : public CounterBackend {
  public:
    bool processorTimes(std::vector<ProcessorTimes>& out) override {
        out = times;
        return !times.empty();
    }
    bool processorPower(std::vector<ProcessorPower>& out) override {
        out = power;
        return !power.empty();
    }
    bool batteryState(BatteryState& out) override {
        out = battery;
        return batteryAnswers;
    }
    bool rawCounters(const std::string& path, RawCounters& out) override {
        auto found = counters.find(path);
        if (found == counters.end()) {
            return false;
        }
        out = found->second;
        return true;
    }

    std::vector<ProcessorTimes> times;
    std::vector<ProcessorPower> power;
    BatteryState battery;
    bool batteryAnswers = false;
    std::map<std::string, RawCounters> counters;
};

class CounterCollectorTest : public ::testing::Test {
  protected:
    CounterCollectorTest() {
        std::unique_ptr<FakeCounterBackend> owned(new FakeCounterBackend());
        backend = owned.get();
        collector.reset(new CounterCollector(std::move(owned)));
        collector->setClockSource(&clock);
    }

    Pairs read(const std::string& source) {
        auto msg = makeMessage("COUNTER", "P", "T", source);
        EXPECT_EQ(collector->doImmediateRead(msg->getOperations()[0], msg->getFullName()), 0)
            << source;
        if (collector->getPendingRecords().empty()) {
            return Pairs();
        }
        return collector->getPendingRecords().back().values;
    }

    bool can(const std::string& source) {
        auto msg = makeMessage("COUNTER", "P", "T", source);
        return collector->canCollectMessage(msg.get());
    }

    pwr::test::LogCapture log;
    test::FakeClock clock;
    FakeCounterBackend* backend = nullptr;
    std::unique_ptr<CounterCollector> collector;
};

TEST_F(CounterCollectorTest, SystemCountersBecomeTheCommonPairs) {
    backend->times = {{123456789, 10}, {50, 20}};
    backend->power = {{0, 2400, 3000}, {1, 1800, 3000}};
    backend->counters["\\Thermal Zone Information(*)\\Temperature"] = {
        {"\\_TZ.THM0", 318}, {"\\_TZ.THM1", 273}, {"_Total", 591}};
    backend->counters["\\Energy Meter(*)\\Energy"] = {{"RAPL_Package0_PKG", 1000000000},
                                                      {"_Total", 5}};
    backend->counters["\\PhysicalDisk(*)\\Disk Read Bytes/sec"] = {{"0 C:", 4096}, {"_Total", 1}};
    backend->counters["\\PhysicalDisk(*)\\Disk Write Bytes/sec"] = {{"_Total", 1}, {"0 C:", 8192}};
    backend->counters["\\Network Interface(*)\\Bytes Received/sec"] = {{"Ethernet", 700},
                                                                       {"Wi-Fi", 5}};
    backend->counters["\\Network Interface(*)\\Bytes Sent/sec"] = {{"Ethernet", 300}};
    backend->battery = {true, false, true, 41250, -8500};
    backend->batteryAnswers = true;

    // 100 ns units to microseconds, truncated.
    EXPECT_EQ(read("CPUIDLE"), (Pairs{{"0/Idle", "12345678"}, {"1/Idle", "5"}}));
    EXPECT_EQ(read("CPUFREQ"), (Pairs{{"0", "2400"}, {"1", "1800"}}));
    EXPECT_EQ(read("INTERRUPTS"), (Pairs{{"0", "10"}, {"1", "20"}}));
    // Kelvin to millidegrees Celsius; no "_Total".
    EXPECT_EQ(read("THERMAL"), (Pairs{{"\\_TZ.THM0", "44850"}, {"\\_TZ.THM1", "-150"}}));
    // 1e9 pWh = 3.6 J.
    EXPECT_EQ(read("ENERGY"), (Pairs{{"RAPL_Package0_PKG", "3600000 0"}}));
    // Read and write matched by instance; an instance without both is left out.
    EXPECT_EQ(read("DISK"), (Pairs{{"0 C:", "4096 8192"}}));
    EXPECT_EQ(read("NET"), (Pairs{{"Ethernet", "700 300"}}));
    EXPECT_EQ(read("BATTERY"), (Pairs{{"Battery", "41250 8500"}}));
    backend->battery = {true, true, false, 41300, 12000};
    EXPECT_EQ(read("BATTERY"), (Pairs{{"Battery", "41300 -12000"}}));
    EXPECT_EQ(collector->getPendingRecords().back().timestamp, clock.now);
    EXPECT_TRUE(log.lines().empty()) << log.lines().front();
}

TEST_F(CounterCollectorTest, InterruptCountsAreWidenedAcrossTheWrap) {
    backend->times = {{0, 0xFFFFFFF0u}, {0, 5}};
    EXPECT_EQ(read("INTERRUPTS"), (Pairs{{"0", "4294967280"}, {"1", "5"}}));
    // Asking whether the source exists reads it too, and must not count a
    // wrap or lose one.
    backend->times = {{0, 0x10}, {0, 6}};
    EXPECT_TRUE(can("INTERRUPTS"));
    EXPECT_EQ(read("INTERRUPTS"), (Pairs{{"0", "4294967312"}, {"1", "6"}}));
    backend->times = {{0, 0x20}, {0, 7}};
    EXPECT_EQ(read("INTERRUPTS"), (Pairs{{"0", "4294967328"}, {"1", "7"}}));
    // A new collection starts from the system's count again.
    collector->reset(pwr::ResetReason::NEW_COLLECTION, 0, pwr::SystemMetadata());
    EXPECT_EQ(read("INTERRUPTS"), (Pairs{{"0", "32"}, {"1", "7"}}));
}

TEST_F(CounterCollectorTest, MissingCountersMakeSourcesUnavailable) {
    for (const std::string& source : ReadingCollector::systemSources()) {
        EXPECT_FALSE(can(source)) << source;
    }
    // Present but without a battery.
    backend->batteryAnswers = true;
    EXPECT_FALSE(can("BATTERY"));
    backend->battery.present = true;
    EXPECT_TRUE(can("BATTERY"));
    // A counter set with only its total has nothing to report.
    backend->counters["\\Thermal Zone Information(*)\\Temperature"] = {{"_Total", 300}};
    EXPECT_FALSE(can("THERMAL"));

    // A read of a source the system does not answer records nothing.
    auto msg = makeMessage("COUNTER", "FREQ", "CPU", "CPUFREQ");
    EXPECT_EQ(collector->doImmediateRead(msg->getOperations()[0], msg->getFullName()), -1);
    EXPECT_TRUE(collector->getPendingRecords().empty());
    EXPECT_TRUE(log.lines().empty());
    // FILE messages are not this kind's.
    auto file = makeMessage("FILE", "FREQ", "CPU", "CPUFREQ");
    backend->power = {{0, 1, 1}};
    EXPECT_FALSE(collector->canCollectMessage(file.get()));
}

TEST_F(CounterCollectorTest, TheSystemBackendOfThisPlatform) {
    CounterCollector system;
    auto idle = makeMessage("COUNTER", "CSTATE", "RESIDENCY", "CPUIDLE");
#if defined(_WIN32)
    // Every Windows (Wine too) keeps processor times and frequencies; the
    // idle time of a processor only grows.
    auto freq = makeMessage("COUNTER", "FREQ", "CURRENT", "CPUFREQ");
    ASSERT_TRUE(system.canCollectMessage(idle.get()));
    ASSERT_TRUE(system.canCollectMessage(freq.get()));
    ASSERT_EQ(system.doImmediateRead(idle->getOperations()[0], idle->getFullName()), 0);
    ASSERT_EQ(system.doImmediateRead(idle->getOperations()[0], idle->getFullName()), 0);
    const Pairs first = system.getPendingRecords().front().values;
    const Pairs second = system.getPendingRecords().back().values;
    ASSERT_FALSE(first.empty());
    ASSERT_EQ(first.size(), second.size());
    for (size_t i = 0; i < first.size(); ++i) {
        EXPECT_EQ(first[i].first, std::to_string(i) + "/Idle");
        EXPECT_LE(std::stoull(first[i].second), std::stoull(second[i].second));
    }
#else
    // No Windows counters here.
    for (const std::string& source : ReadingCollector::systemSources()) {
        auto msg = makeMessage("COUNTER", "P", "T", source);
        EXPECT_FALSE(system.canCollectMessage(msg.get())) << source;
    }
    EXPECT_EQ(system.doImmediateRead(idle->getOperations()[0], idle->getFullName()), -1);
#endif
}

}  // namespace
}  // namespace vantry
