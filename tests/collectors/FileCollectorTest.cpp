#include "plugins/collectors/FileCollector.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <vector>

#include "common/plugins/DriverMessage.h"
#include "common/plugins/VexaBuffer.h"
#include "common/serialize/SystemMetadata.h"
#include "tests/collectors/CollectorTestSupport.h"
#include "tests/support/LogCapture.h"

namespace vantry {
namespace {

using test::FakeClock;
using test::makeMessage;
using test::makeOperation;
using Pairs = ReadingPairs;

const std::string c_data = std::string(VANTRY_TEST_DATA_DIR) + "/collectors/";

class FileCollectorTest : public ::testing::Test {
  protected:
    Pairs read(FileCollector& collector, const std::string& source,
               const std::string& path = std::string()) {
        Pairs out;
        EXPECT_TRUE(collector.readSource(source, path, out)) << source;
        return out;
    }

    pwr::test::LogCapture log;
    FakeClock clock;
};

TEST_F(FileCollectorTest, TwoCoreVmGivesThePairsOfEverySource) {
    FileCollector collector(c_data + "vm2");
    ASSERT_TRUE(collector.isSnapshotMode());
    EXPECT_EQ(
        read(collector, "CPUIDLE"),
        (Pairs{{"0/POLL", "100"}, {"0/C1", "1000000"}, {"1/POLL", "200"}, {"1/C1", "2000000"}}));
    EXPECT_EQ(read(collector, "CPUFREQ"), (Pairs{{"0", "2400"}, {"1", "2400"}}));
    // Zones by type, the second "acpitz" told apart; hwmon inputs by chip and
    // label, or by their number when they have no label.
    EXPECT_EQ(read(collector, "THERMAL"), (Pairs{{"acpitz", "45000"},
                                                 {"x86_pkg_temp", "52000"},
                                                 {"acpitz#2", "40000"},
                                                 {"coretemp/Package id 0", "51000"},
                                                 {"coretemp/temp2", "49000"}}));
    // The control-type directory has no counter; a sub-zone is named after
    // its package.
    EXPECT_EQ(read(collector, "ENERGY"), (Pairs{{"package-0", "262143000000 262143328850"},
                                                {"package-0/core", "5000000 262143328850"}}));
    // Per-CPU sums of every line but ERR and MIS.
    EXPECT_EQ(read(collector, "INTERRUPTS"), (Pairs{{"0", "1054"}, {"1", "2064"}}));
    // Whole disks only (no vda1), no loop devices; sectors of 512 bytes.
    EXPECT_EQ(read(collector, "DISK"), (Pairs{{"vda", "3686400 1843200"}, {"dm-0", "1024 2048"}}));
    EXPECT_EQ(read(collector, "NET"), (Pairs{{"lo", "7550 7550"}, {"eth0", "383286608 249896"}}));
    // The mains adapter and a mouse's battery are not the system's battery.
    EXPECT_EQ(read(collector, "BATTERY"), (Pairs{{"BAT0", "41250 8500"}}));
    EXPECT_TRUE(log.lines().empty()) << log.lines().front();
}

TEST_F(FileCollectorTest, SnapshotsStepFrequencyChangesAndSensorsVanish) {
    FileCollector collector(c_data + "vm2");
    EXPECT_EQ(read(collector, "THERMAL").size(), 5u);

    EXPECT_EQ(collector.continuousCollectionTick(), 0);
    EXPECT_EQ(collector.getSnapshotIndex(), 1u);
    // cpu1 changed frequency: the fraction of a MHz is kept.
    EXPECT_EQ(read(collector, "CPUFREQ"), (Pairs{{"0", "2400"}, {"1", "3100.5"}}));
    // x86_pkg_temp is gone: no pair and no warning.
    EXPECT_EQ(read(collector, "THERMAL"), (Pairs{{"acpitz", "46000"},
                                                 {"acpitz#2", "41000"},
                                                 {"coretemp/Package id 0", "51000"},
                                                 {"coretemp/temp2", "49000"}}));
    // The package counter wrapped; the range lets the reader see it.
    EXPECT_EQ(read(collector, "ENERGY")[0],
              (Pairs::value_type{"package-0", "1000000 262143328850"}));
    // Charging: the rate turns negative.
    EXPECT_EQ(read(collector, "BATTERY"), (Pairs{{"BAT0", "41200 -12000"}}));

    collector.continuousCollectionTick();
    // The first acpitz zone vanished too; the other keeps its name.
    EXPECT_EQ(read(collector, "THERMAL")[0], (Pairs::value_type{"acpitz#2", "42000"}));
    EXPECT_EQ(read(collector, "CPUFREQ")[0], (Pairs::value_type{"0", "800"}));

    // The last snapshot stays.
    collector.continuousCollectionTick();
    collector.continuousCollectionTick();
    EXPECT_EQ(collector.getSnapshotIndex(), 2u);
    EXPECT_EQ(read(collector, "INTERRUPTS"), (Pairs{{"0", "1099"}, {"1", "2124"}}));
    EXPECT_TRUE(log.lines().empty());

    // A reset starts the recording over, with fresh sensor names.
    collector.reset(pwr::ResetReason::NEW_COLLECTION, 0, pwr::SystemMetadata());
    EXPECT_EQ(collector.getSnapshotIndex(), 0u);
    collector.continuousCollectionTick();
    collector.continuousCollectionTick();
    EXPECT_EQ(read(collector, "THERMAL")[0], (Pairs::value_type{"acpitz", "42000"}));
}

TEST_F(FileCollectorTest, UnreadableFilesWarnOnceAndOnlyTheirPairIsSkipped) {
    const std::string root = c_data + "broken";
    FileCollector collector(root);
    EXPECT_FALSE(collector.isSnapshotMode());
    const Pairs thermal{{"x86_pkg_temp", "55000"}};
    const Pairs idle{{"0/POLL", "5"}, {"1/POLL", "6"}, {"1/C1", "700"}};
    EXPECT_EQ(read(collector, "THERMAL"), thermal);
    EXPECT_EQ(read(collector, "CPUIDLE"), idle);
    EXPECT_TRUE(log.loggedExactly(
        {"WARNING: Cannot read " + root + "/sys/class/thermal/thermal_zone0/temp\n",
         "WARNING: Unexpected content in " + root +
             "/sys/devices/system/cpu/cpu0/cpuidle/state1/time\n"}));

    // Polls go on, without repeating the warnings.
    log.clear();
    EXPECT_EQ(read(collector, "THERMAL"), thermal);
    EXPECT_EQ(read(collector, "CPUIDLE"), idle);
    // No cpufreq: proc/cpuinfo, with trailing zeros dropped.
    EXPECT_EQ(read(collector, "CPUFREQ"), (Pairs{{"0", "2596.096"}, {"1", "2596.1"}}));
    EXPECT_TRUE(log.lines().empty());

    // A new collection warns again.
    collector.reset(pwr::ResetReason::NEW_COLLECTION, 0, pwr::SystemMetadata());
    read(collector, "THERMAL");
    EXPECT_EQ(log.lines().size(), 1u);

    // A missing proc file cannot be read at all: no record, no warning.
    Pairs out;
    log.clear();
    EXPECT_FALSE(collector.readSource("NET", "", out));
    EXPECT_TRUE(out.empty());
    EXPECT_TRUE(log.lines().empty());
}

TEST_F(FileCollectorTest, MixedCpufreqAndDisksWithoutSysBlock) {
    FileCollector collector(c_data + "plain");
    EXPECT_EQ(read(collector, "CPUFREQ"), (Pairs{{"0", "2596.096"}, {"1", "1700"}}));
    EXPECT_EQ(read(collector, "DISK"),
              (Pairs{{"nvme0n1", "10240 20480"}, {"sda", "1536 2560"}, {"mmcblk0", "512 512"}}));
    // PATH moves the source: here the cpu directories of another tree.
    EXPECT_EQ(read(collector, "CPUIDLE", "../broken/sys/devices/system/cpu").size(), 3u);
}

TEST_F(FileCollectorTest, WhatCanBeCollectedFollowsTheRoot) {
    FileCollector collector(c_data + "plain");
    auto idle = makeMessage("FILE", "CSTATE", "RESIDENCY", "CPUIDLE");
    auto battery = makeMessage("FILE", "BATTERY", "STATE", "BATTERY");
    auto thermal = makeMessage("FILE", "THERMAL", "ZONES", "THERMAL");
    auto unknown = makeMessage("FILE", "X", "Y", "GPU");
    auto counter = makeMessage("COUNTER", "CSTATE", "RESIDENCYW", "CPUIDLE");
    EXPECT_TRUE(collector.canCollectMessage(idle.get()));
    EXPECT_FALSE(collector.canCollectMessage(battery.get()));
    EXPECT_FALSE(collector.canCollectMessage(thermal.get()));
    EXPECT_FALSE(collector.canCollectMessage(unknown.get()));
    EXPECT_FALSE(collector.canCollectMessage(counter.get()));
    EXPECT_FALSE(collector.canCollectMessage(nullptr));

    collector.handleBroadcastOption("unrelated=1");
    EXPECT_EQ(collector.getRoot(), c_data + "plain");
    collector.handleBroadcastOption("source-root=" + c_data + "vm2");
    EXPECT_EQ(collector.getRoot(), c_data + "vm2");
    EXPECT_TRUE(collector.isSnapshotMode());
    EXPECT_TRUE(collector.canCollectMessage(battery.get()));
    EXPECT_TRUE(collector.canCollectMessage(thermal.get()));

    // Without a root nothing can be collected, and a read says why.
    collector.setRoot("");
    EXPECT_FALSE(collector.canCollectMessage(idle.get()));
    log.clear();
    EXPECT_EQ(collector.doImmediateRead(idle->getOperations()[0], idle->getFullName()), -1);
    EXPECT_TRUE(log.loggedExactly(
        {"ERROR: FILE collector has no source root on this system; give source-root=<dir>\n"}));
    EXPECT_TRUE(collector.getPendingRecords().empty());
}

TEST_F(FileCollectorTest, ReadsBecomeWireRecordsStampedByTheClock) {
    FileCollector collector(c_data + "vm2");
    collector.setClockSource(&clock);
    auto freq = makeMessage("FILE", "FREQ", "CPU", "CPUFREQ");
    auto thermal = makeMessage("FILE", "THERMAL", "ZONES", "THERMAL");

    ASSERT_EQ(collector.doImmediateRead(freq->getOperations()[0], freq->getFullName()), 0);
    collector.continuousCollectionTick();
    clock.now = 2500;
    ASSERT_EQ(collector.doImmediateRead(freq->getOperations()[0], freq->getFullName()), 0);
    ASSERT_EQ(collector.doImmediateRead(thermal->getOperations()[0], thermal->getFullName()), 0);
    ASSERT_EQ(collector.getPendingRecords().size(), 3u);
    const std::vector<vexa_driver_msg> expected(collector.getPendingRecords().begin(),
                                                collector.getPendingRecords().end());

    pwr::VexaBuffer buffer;
    const uint8_t marker = 0xA5;
    buffer.append(&marker, 1);
    CollectionData data;
    ASSERT_EQ(collector.getContinuousResult(buffer, data), 0);
    EXPECT_EQ(data.getSamplesProduced(), 3u);
    EXPECT_EQ(data.getSamplesDropped(), 0u);
    EXPECT_EQ(data.getStartTimestamp(), 1000u);
    EXPECT_EQ(data.getStopTimestamp(), 2500u);
    EXPECT_EQ(data.getClockUUID(), clock.getUUID());
    EXPECT_TRUE(collector.getPendingRecords().empty());

    // Records are appended behind what the buffer held.
    size_t offset = 1;
    std::vector<vexa_driver_msg> decoded;
    vexa_driver_msg record;
    while (pwr::readDriverMessage(buffer.data(), buffer.size(), offset, record)) {
        decoded.push_back(record);
    }
    EXPECT_EQ(offset, buffer.size());
    ASSERT_EQ(decoded.size(), 3u);
    for (size_t i = 0; i < decoded.size(); ++i) {
        EXPECT_EQ(decoded[i].timestamp, expected[i].timestamp);
        EXPECT_EQ(decoded[i].msgName, expected[i].msgName);
        EXPECT_EQ(decoded[i].opName, expected[i].opName);
        EXPECT_EQ(decoded[i].values, expected[i].values);
    }
    EXPECT_EQ(decoded[0].timestamp, 1000u);
    EXPECT_EQ(decoded[0].msgName, "FREQ_CPU");
    EXPECT_EQ(decoded[0].opName, "FREQ_CPU_FILE");
    EXPECT_EQ(decoded[1].values, (Pairs{{"0", "2400"}, {"1", "3100.5"}}));
    EXPECT_EQ(decoded[2].msgName, "THERMAL_ZONES");
    EXPECT_EQ(pwr::driverMessagePrefix(decoded[2].msgName), "THERMAL");

    // Nothing pending: nothing appended, counts back to zero.
    const size_t size = buffer.size();
    ASSERT_EQ(collector.getContinuousResult(buffer, data), 0);
    EXPECT_EQ(buffer.size(), size);
    EXPECT_EQ(data.getSamplesProduced(), 0u);
}

TEST_F(FileCollectorTest, WithoutItsOwnClockTheDefaultClockStamps) {
    FileCollector collector(c_data + "vm2");
    pwr::setDefaultClockSource(&clock);
    clock.now = 77;
    auto net = makeMessage("FILE", "NETIO", "BYTES", "NET");
    EXPECT_EQ(collector.doImmediateRead(net->getOperations()[0], net->getFullName()), 0);
    pwr::setDefaultClockSource(nullptr);
    ASSERT_EQ(collector.getPendingRecords().size(), 1u);
    EXPECT_EQ(collector.getPendingRecords().front().timestamp, 77u);
}

TEST_F(FileCollectorTest, OperationsWithoutAKnownSourceAreRefused) {
    FileCollector collector(c_data + "vm2");
    auto none = makeOperation("FILE", "X_Y", "");
    auto gpu = makeOperation("FILE", "X_Y", "GPU");
    EXPECT_EQ(collector.doImmediateRead(none.get(), "X_Y"), -1);
    EXPECT_EQ(collector.doImmediateRead(gpu.get(), "X_Y"), -1);
    EXPECT_EQ(collector.doImmediateRead(nullptr, "X_Y"), -1);
    EXPECT_TRUE(
        log.loggedExactly({"ERROR: Operation X_Y_FILE has no SOURCE for the FILE collector!\n",
                           "ERROR: Unknown SOURCE GPU for the FILE collector!\n",
                           "ERROR: FILE collector asked to read without an operation!\n"}));
    EXPECT_TRUE(collector.getPendingRecords().empty());
    // The prototype announces the kind, its packet keys and the SOURCEs it
    // knows (the host refuses a configuration that names another).
    ASSERT_EQ(collector.getSupportedOperations().size(), 1u);
    const pwr::Operation& prototype = *collector.getSupportedOperations()[0];
    EXPECT_EQ(prototype.getOperation(), "FILE");
    EXPECT_TRUE(prototype.acceptsCategory("PATH"));
    EXPECT_FALSE(prototype.acceptsCategory("MASK"));
    std::string known;
    ASSERT_NE(prototype.getPacket(), nullptr);
    EXPECT_TRUE(prototype.getPacket()->get("SOURCE", known));
    EXPECT_EQ(known, "CPUIDLE,CPUFREQ,THERMAL,ENERGY,INTERRUPTS,DISK,NET,BATTERY");
    // Operations made from it start with a packet of their own.
    EXPECT_EQ(pwr::Operation("X_Y_FILE", prototype).getPacket(), nullptr);
}

// This machine: the idle-state counters of every CPU, read twice, only grow.
TEST_F(FileCollectorTest, ReadsThisMachinesIdleStates) {
    FileCollector collector;
    auto idle = makeMessage("FILE", "CSTATE", "RESIDENCY", "CPUIDLE");
#if defined(_WIN32)
    EXPECT_EQ(collector.getRoot(), "");
    EXPECT_FALSE(collector.canCollectMessage(idle.get()));
#else
    EXPECT_EQ(collector.getRoot(), "/");
    if (!collector.canCollectMessage(idle.get())) {
        GTEST_SKIP() << "no cpuidle states on this machine";
    }
    Pairs first = read(collector, "CPUIDLE");
    Pairs second = read(collector, "CPUIDLE");
    ASSERT_FALSE(first.empty());
    ASSERT_EQ(first.size(), second.size());
    for (size_t i = 0; i < first.size(); ++i) {
        EXPECT_EQ(first[i].first, second[i].first);
        EXPECT_NE(first[i].first.find('/'), std::string::npos) << first[i].first;
        EXPECT_LE(std::strtoull(first[i].second.c_str(), nullptr, 10),
                  std::strtoull(second[i].second.c_str(), nullptr, 10));
    }
#endif
}

}  // namespace
}  // namespace vantry
