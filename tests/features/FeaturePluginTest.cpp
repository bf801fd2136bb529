// The metric plug-ins of the features module, fed with collector records
// built here (fake timestamps in default-clock ticks) and summarised with the
// shipped output configuration.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <deque>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "common/data/EntityHandle.h"
#include "common/metrics/ThermalSampleHandler.h"
#include "common/plugins/MetricPluginCapability.h"
#include "plugins/features/BatteryPlugin.h"
#include "plugins/features/CStatePlugin.h"
#include "plugins/features/EnergyPlugin.h"
#include "plugins/features/FrequencyPlugin.h"
#include "plugins/features/InterruptsPlugin.h"
#include "plugins/features/IoPlugins.h"
#include "plugins/features/ThermalPlugin.h"
#if __has_include("plugins/features/PpmEventsPlugin.h")
#include "plugins/features/PpmEventsPlugin.h"
#define HAVE_PPM_EVENTS_PLUGIN 1
#endif
#include "tests/metrics/MetricTestSupport.h"

namespace pwr::test {
namespace {

using vantry::features::FeaturePlugin;

const char* const c_outputConfig = VANTRY_TEST_DATA_DIR "/../../config/vantry_output.cfg";

using Pairs = std::vector<std::pair<std::string, std::string>>;

vexa_driver_msg record(const std::string& name, uint64_t ts, const Pairs& values) {
    vexa_driver_msg msg;
    msg.timestamp = ts;
    msg.msgName = name;
    msg.opName = "READ";
    msg.values = values;
    return msg;
}

// A machine whose Thread nodes carry the operating-system numbers, as the
// probe stores them: the second thread of core 0 is processor 2.
class FeatureFixture : public ::testing::Test {
  protected:
    FeatureFixture() : writers{&writer}, stream(&writers) {}
    void SetUp() override {
        UniqueId::initialize();
        system.startTsc = 1000;
        system.clockFreqMHz = 2.0f;
        ASSERT_EQ(system.buildTopology("Package 0/Core 0/Thread 0\n"
                                       "Package 0/Core 0/Thread 2\n"
                                       "Package 0/Core 1/Thread 1\n"
                                       "Package 0/Core 1/Thread 3\n",
                                       4),
                  0);
        ASSERT_EQ(DataHandleProvider::initTopology(system), 0);
        ASSERT_EQ(WriterInterfaceConfigFileParser::instance()->parse({c_outputConfig}, system), 0);
        cap.env().setWriterStream(&stream);
        cap.env().setVerbosity(PW_WARNING);
        cap.clear();
    }
    void TearDown() override {
        ThermalSampleHandler::freeInstance();
        cap.env().setWriterStream(nullptr);
        WriterInterfaceConfigFileParser::destroy();
        UniqueId::destroy();
    }

    // Runs a whole collection of plugin over the records; returns the
    // statuses processDriverMessage gave.
    std::vector<int> collect(FeaturePlugin& plugin, const std::vector<vexa_driver_msg>& records) {
        std::vector<int> statuses;
        EXPECT_EQ(plugin.initializeCollection({}, {}, plugin.getCommandName(), {}, system), 0);
        for (const vexa_driver_msg& msg : records) {
            statuses.push_back(plugin.processDriverMessage(msg, system));
        }
        EXPECT_EQ(plugin.finalizeCollection(plugin.getCommandName(), {}, system), 0);
        return statuses;
    }

    const RecordedTable& table(const std::string& title) const {
        for (const RecordedTable& t : writer.tables) {
            if (t.title == title) {
                return t;
            }
        }
        ADD_FAILURE() << "no table \"" << title << "\"";
        static const RecordedTable none{};
        return none;
    }
    static double cell(const RecordedTable& t, const std::string& key) {
        const auto found = t.cells.find(key);
        if (found == t.cells.end()) {
            ADD_FAILURE() << "no cell " << key << " in \"" << t.title << "\"";
            return -1.0;
        }
        return realOf(found->second);
    }
    // The (descriptor -> value) of each entity's elements in one point.
    static std::map<std::string, std::map<std::string, uint64_t>> residencies(
        const RecordedPoint& point) {
        std::map<std::string, std::map<std::string, uint64_t>> out;
        for (const RecordedElement& e : point.elements) {
            uint64_t v = 0;
            e.value.toUInt(v);
            out[e.entity][e.descriptor] = v;
        }
        return out;
    }

    EnvironmentCapture cap;
    RecordingWriter writer;
    WriterStream::PluginSet writers;
    WriterStream stream;
    SystemMetadata system;
};

TEST_F(FeatureFixture, ShippedOutputConfigurationCoversEveryContainer) {
    // The file parses without a warning, in the order the reports want.
    std::vector<std::string> order;
    ASSERT_TRUE(WriterInterfaceConfigFileParser::instance()->getFeatureOrder(order));
    EXPECT_EQ(order, (std::vector<std::string>{"CSTATE", "FREQ", "ALL-THERMAL-DATA", "ENERGY",
                                               "BATTERY", "IRQ", "DISKIO", "NETIO", "PPM"}));
    cap.clear();
    ASSERT_EQ(WriterInterfaceConfigFileParser::instance()->parse({c_outputConfig}, system), 0);
    EXPECT_TRUE(cap.loggedExactly({}));

    // Every container of every plug-in finds its tables: no "entries not
    // present" warning, and each container asks for at least one summary.
    vantry::features::CStatePlugin cstate;
    vantry::features::FrequencyPlugin frequency;
    vantry::features::ThermalPlugin thermal;
    vantry::features::EnergyPlugin energy;
    vantry::features::InterruptsPlugin interrupts;
    vantry::features::DiskIoPlugin disk;
    vantry::features::NetIoPlugin net;
    vantry::features::BatteryPlugin battery;
    std::vector<std::pair<FeaturePlugin*, std::string>> plugins = {
        {&cstate, "cstate/CSTATE"},
        {&frequency, "frequency/FREQ"},
        {&thermal, "temperature/THERMAL"},
        {&energy, "energy/ENERGY"},
        {&interrupts, "interrupts/IRQ"},
        {&disk, "disk-io/DISKIO"},
        {&net, "net-io/NETIO"},
        {&battery, "battery/BATTERY"}};
#ifdef HAVE_PPM_EVENTS_PLUGIN
    vantry::features::PpmEventsPlugin ppm;
    plugins.emplace_back(&ppm, "ppm-events/PPM");
#endif
    for (const auto& p : plugins) {
        FeaturePlugin& plugin = *p.first;
        EXPECT_EQ(plugin.getCommandName() + "/" + plugin.getPrefix(), p.second);
        ASSERT_EQ(plugin.getCapabilities().size(), 1u);
        const auto* capability =
            dynamic_cast<const MetricPluginCapability*>(plugin.getCapabilities()[0]);
        ASSERT_NE(capability, nullptr);
        EXPECT_EQ(capability->getName(), plugin.getCommandName());
        EXPECT_EQ(capability->getConfigFilePrefix(), plugin.getPrefix());
        EXPECT_TRUE(capability->equals("all"));
        ASSERT_EQ(plugin.initializeCollection({}, {}, plugin.getCommandName(), {}, system), 0);
        for (const Metric* metric : plugin.getMetrics()) {
            std::deque<std::string> types;
            EXPECT_TRUE(WriterInterfaceConfigFileParser::instance()->getTableOrderForMetric(
                types, metric->getOutputConfigName()))
                << metric->getOutputConfigName();
            std::vector<std::string> containers;
            ASSERT_TRUE(WriterInterfaceConfigFileParser::instance()->getMetricOrderForFeature(
                containers, metric->getFeatureTag()));
            EXPECT_NE(
                std::find(containers.begin(), containers.end(), metric->getMetricContainerTag()),
                containers.end());
        }
    }
    EXPECT_TRUE(cap.loggedExactly({}));
    EXPECT_EQ(thermal.getMetrics().size(), 0u);
    EXPECT_EQ(cstate.getMetrics().size(), 1u);
    EXPECT_EQ(battery.getMetrics().size(), 2u);
}

TEST_F(FeatureFixture, CStateResidenciesFillTheIntervalOfEachProcessor) {
    vantry::features::CStatePlugin plugin;
    // 2 ticks per microsecond: 500 us between records is 1000 ticks.
    const std::vector<int> statuses = collect(
        plugin, {record("CSTATE_RESIDENCY", 2000,
                        {{"0/C1", "1000"}, {"0/C6", "5000"}, {"2/C1", "0"}, {"2/C6", "0"}}),
                 record("CSTATE_RESIDENCY", 3000,
                        {{"0/C1", "1100"}, {"0/C6", "5200"}, {"2/C1", "300"}, {"2/C6", "300"}}),
                 // Processor 0 idles 400 of 500 us in C6 alone; processor 2's
                 // counters went back (a restart): no point for it this time.
                 record("CSTATE_RESIDENCY", 4000,
                        {{"0/C1", "1100"}, {"0/C6", "5600"}, {"2/C1", "100"}, {"2/C6", "100"}})});
    EXPECT_EQ(statuses, (std::vector<int>{0, 0, 0}));

    ASSERT_EQ(writer.points.size(), 2u);
    // Processor 0: C1 100 us and C6 200 us of 500 us leave 200 us active.
    // Processor 2 reports 600 us of idle in 500 us: scaled to fill it.
    const auto first = residencies(writer.points[0]);
    EXPECT_EQ(writer.points[0].timestamp, 3000u);
    EXPECT_EQ(first.at("Thread 0"),
              (std::map<std::string, uint64_t>{{"C0", 400}, {"C1", 200}, {"C6", 400}}));
    EXPECT_EQ(first.at("Thread 2"),
              (std::map<std::string, uint64_t>{{"C0", 0}, {"C1", 500}, {"C6", 500}}));
    for (const RecordedElement& e : writer.points[0].elements) {
        EXPECT_EQ(e.duration, 1000u);
    }
    // The system-wide row is the mean of the processors over the interval.
    EXPECT_EQ(first.at("All"),
              (std::map<std::string, uint64_t>{{"C0", 200}, {"C1", 350}, {"C6", 450}}));
    const auto second = residencies(writer.points[1]);
    EXPECT_EQ(second.size(), 2u);
    EXPECT_EQ(second.at("All"), second.at("Thread 0")) << "processor 2 restarted";
    EXPECT_EQ(second.at("Thread 0"),
              (std::map<std::string, uint64_t>{{"C0", 200}, {"C1", 0}, {"C6", 800}}));

    // Thread 0 (processor 0) comes before Thread 2 (processor 2, the second
    // thread of core 0) in topology order.
    const RecordedTable& percent = table("CPU C-State Residency (%)");
    EXPECT_EQ(percent.rows, (std::vector<std::string>{"Thread 0", "Thread 2", "All"}));
    EXPECT_DOUBLE_EQ(cell(percent, "Thread 0/C0 (%)"), 30.0);
    EXPECT_DOUBLE_EQ(cell(percent, "Thread 0/C1 (%)"), 10.0);
    EXPECT_DOUBLE_EQ(cell(percent, "Thread 0/C6 (%)"), 60.0);
    EXPECT_DOUBLE_EQ(cell(percent, "Thread 2/C0 (%)"), 0.0);
    EXPECT_DOUBLE_EQ(cell(percent, "Thread 2/C6 (%)"), 50.0);
    // 2 ticks per microsecond: 1200 ticks of C6 are 0.6 ms.
    const RecordedTable& msec = table("CPU C-State Residency (msec)");
    EXPECT_DOUBLE_EQ(cell(msec, "Thread 0/C6 (msec)"), 0.6);
    EXPECT_DOUBLE_EQ(cell(msec, "Thread 2/C1 (msec)"), 0.25);
    // 600 us of idle in 500 us is no reading jitter: said, once.
    EXPECT_TRUE(cap.loggedExactly(
        {"WARNING: CStatePlugin: logical processor 2 reported 1.2 times the interval as idle "
         "time at 3000; its idle states are capped to fill the interval (said once per "
         "processor).\n"}));
}

TEST_F(FeatureFixture, IdleBeyondTheIntervalIsCappedAndSaidOncePerProcessor) {
    vantry::features::CStatePlugin plugin;
    system.clockFreqMHz = 1.0f;
    // 1000 ticks between records: 1020 us of idle is jitter, 4000 us is not
    // (twice, said once), and processor 1 is named on its own.
    collect(plugin, {record("CSTATE_RESIDENCY", 1000, {{"0/C1", "0"}, {"1/C1", "0"}}),
                     record("CSTATE_RESIDENCY", 2000, {{"0/C1", "1020"}, {"1/C1", "100"}}),
                     record("CSTATE_RESIDENCY", 3000, {{"0/C1", "5020"}, {"1/C1", "3100"}}),
                     record("CSTATE_RESIDENCY", 4000, {{"0/C1", "9020"}, {"1/C1", "3200"}})});
    EXPECT_TRUE(cap.loggedExactly(
        {"WARNING: CStatePlugin: logical processor 0 reported 4.0 times the interval as idle "
         "time at 3000; its idle states are capped to fill the interval (said once per "
         "processor).\n",
         "WARNING: CStatePlugin: logical processor 1 reported 3.0 times the interval as idle "
         "time at 3000; its idle states are capped to fill the interval (said once per "
         "processor).\n"}));
    ASSERT_EQ(writer.points.size(), 3u);
    EXPECT_EQ(residencies(writer.points[1]).at("Thread 0"),
              (std::map<std::string, uint64_t>{{"C0", 0}, {"C1", 1000}}));
}

TEST_F(FeatureFixture, FrequencyChangeShowsInMinMaxAvgAndDistribution) {
    vantry::features::FrequencyPlugin plugin;
    // Processor 1 runs at about 1 GHz, then at 2.95 GHz for the last 500
    // ticks. The first sample stands for the time since the start (1000).
    collect(plugin, {record("FREQ_CURRENT", 2000, {{"1", "1049.9"}}),
                     record("FREQ_CURRENT", 4000, {{"1", "1000.2"}}),
                     record("FREQ_CURRENT", 4500, {{"1", "2950"}})});
    const RecordedTable& summary = table("CPU Frequency (MHz)");
    EXPECT_EQ(summary.rows, (std::vector<std::string>{"Thread 1", "All"}));
    EXPECT_DOUBLE_EQ(cell(summary, "Thread 1/Min (MHz)"), 1000.2);
    EXPECT_DOUBLE_EQ(cell(summary, "Thread 1/Max (MHz)"), 2950.0);
    EXPECT_DOUBLE_EQ(cell(summary, "Thread 1/Avg (MHz)"), (1049.9 + 1000.2 + 2950.0) / 3.0);
    EXPECT_DOUBLE_EQ(cell(summary, "Thread 1/Time-weighted Avg (MHz)"),
                     (1049.9 * 1000 + 1000.2 * 2000 + 2950.0 * 500) / 3500.0);

    // Two of three samples fall in the 1000 MHz bin, one in 3000 MHz.
    const RecordedTable& distribution = table("CPU Frequency Distribution (% of samples)");
    ASSERT_EQ(distribution.cells.size(), 2u);
    EXPECT_NEAR(cell(distribution, "Thread 1/1000 (%)"), 200.0 / 3.0, 1e-9);
    EXPECT_NEAR(cell(distribution, "Thread 1/3000 (%)"), 100.0 / 3.0, 1e-9);
}

TEST_F(FeatureFixture, EnergyCounterThatWrapsGivesThePowerOfTheDomain) {
    vantry::features::EnergyPlugin plugin;
    system.clockFreqMHz = 1.0f;  // one second is 1,000,000 ticks
    collect(
        plugin,
        {record("ENERGY_DOMAINS", 2000, {{"package-0", "990000 1000000"}, {"dram", "500 0"}}),
         // package-0 wraps at its range: 20,000 uJ in one second.
         record("ENERGY_DOMAINS", 1002000, {{"package-0", "10000 1000000"}, {"dram", "4500 0"}}),
         // dram's counter has no known range: going down is a restart,
         // and that second is not counted.
         record("ENERGY_DOMAINS", 2002000, {{"package-0", "30000 1000000"}, {"dram", "100 0"}}),
         record("ENERGY_DOMAINS", 3002000, {{"package-0", "50000 1000000"}, {"dram", "6100 0"}})});
    const RecordedTable& power = table("Energy and Average Power");
    EXPECT_EQ(power.rows, (std::vector<std::string>{"package-0", "dram"}));
    EXPECT_DOUBLE_EQ(cell(power, "package-0/Total (mJ)"), 60.0);
    EXPECT_DOUBLE_EQ(cell(power, "package-0/Average Rate (mW)"), 20.0);
    EXPECT_DOUBLE_EQ(cell(power, "dram/Total (mJ)"), 10.0);
    EXPECT_DOUBLE_EQ(cell(power, "dram/Average Rate (mW)"), 5.0);
    // The containers are freed when the collection ends.
    for (const Metric* m : plugin.getMetrics()) {
        ADD_FAILURE() << "containers outlive the collection: " << m->getName();
    }
    EXPECT_TRUE(cap.loggedExactly({}));
}

TEST_F(FeatureFixture, IntervalStartingBeforeTheCollectionIsCutAtItsStart) {
    vantry::features::InterruptsPlugin plugin;
    system.clockFreqMHz = 1.0f;
    // The baseline was read at 500, before the start (1000): of the 1000
    // interrupts up to 1500 half are counted, over 500 ticks.
    collect(
        plugin,
        {record("IRQ_COUNTS", 500, {{"3", "0"}}), record("IRQ_COUNTS", 1500, {{"3", "1000"}}),
         record("IRQ_COUNTS", 2500, {{"3", "3000"}}),
         // The count restarted: that interval is unknown.
         record("IRQ_COUNTS", 3500, {{"3", "10"}}), record("IRQ_COUNTS", 4500, {{"3", "1010"}})});
    ASSERT_EQ(writer.points.size(), 3u);
    EXPECT_EQ(writer.points[0].elements[0].duration, 500u);
    EXPECT_EQ(writer.points[0].elements[0].value, Data(uint64_t{500}));
    const RecordedTable& t = table("Interrupts per Logical Processor");
    EXPECT_EQ(t.rows, (std::vector<std::string>{"Thread 3", "All"}));
    EXPECT_DOUBLE_EQ(cell(t, "All/Total (OpsCount)"), 3500.0);
    EXPECT_DOUBLE_EQ(cell(t, "Thread 3/Total (OpsCount)"), 3500.0);
    // 3500 interrupts in 2500 us.
    EXPECT_DOUBLE_EQ(cell(t, "Thread 3/Average Rate (Ops/sec)"), 3500.0 / 0.0025);
}

TEST_F(FeatureFixture, DiskBytesPerDirectionAndARestartedCounter) {
    vantry::features::DiskIoPlugin plugin;
    system.clockFreqMHz = 1.0f;
    collect(plugin,
            {record("DISKIO_BYTES", 1000000, {{"sda", "1000 5000"}, {"sdb", "0 0"}}),
             record("DISKIO_BYTES", 2000000, {{"sda", "3001000 5000"}, {"sdb", "500 1000"}}),
             // Writes restarted: only reads count for this second.
             record("DISKIO_BYTES", 3000000, {{"sda", "4001000 100"}, {"sdb", "500 3000"}})});
    const RecordedTable& t = table("Disk I/O");
    EXPECT_DOUBLE_EQ(cell(t, "sda/Read Total (bytes)"), 4000000.0);
    EXPECT_DOUBLE_EQ(cell(t, "sda/Read Average Rate (MB/s)"), 2.0);
    EXPECT_DOUBLE_EQ(cell(t, "sda/Write Total (bytes)"), 0.0);
    EXPECT_DOUBLE_EQ(cell(t, "sda/Write Average Rate (MB/s)"), 0.0);
    // The machine: every disk's bytes, per direction, after the disks.
    EXPECT_EQ(t.rows, (std::vector<std::string>{"sda", "sdb", "All"}));
    EXPECT_DOUBLE_EQ(cell(t, "All/Read Total (bytes)"), 4000500.0);
    EXPECT_DOUBLE_EQ(cell(t, "All/Write Total (bytes)"), 3000.0);
}

TEST_F(FeatureFixture, ThermalSensorThatDisappearsStopsReporting) {
    vantry::features::ThermalPlugin plugin;
    const std::vector<int> statuses =
        collect(plugin, {record("THERMAL_ZONES", 2000, {{"acpitz", "45500"}, {"x86_pkg", "60000"}}),
                         record("THERMAL_ZONES", 3000, {{"acpitz", "47400"}, {"x86_pkg", "64000"}}),
                         record("THERMAL_ZONES", 4000, {{"acpitz", "-2000"}}),
                         record("THERMAL_ZONES", 5000, {{"acpitz", "49000"}})});
    EXPECT_EQ(statuses, (std::vector<int>{0, 0, 0, 0}));
    // The rounds after the sensor left are incomplete: noted, not fatal.
    EXPECT_TRUE(cap.loggedExactly(
        {"WARNING: Temperature values were not set for all the entities at 4000.\n"}));
    const RecordedTable& t = table("Temperatures (C)");
    EXPECT_EQ(t.rows, (std::vector<std::string>{"acpitz", "x86_pkg", "All"}));
    // The machine's row is the mean of the sensors that reported, per round:
    // 53, 55.5 rounded to 56, then acpitz alone.
    EXPECT_DOUBLE_EQ(cell(t, "All/Max (oC)"), 56.0);
    EXPECT_DOUBLE_EQ(cell(t, "All/Avg (oC)"), (53.0 + 56.0 + 0.0 + 49.0) / 4.0);
    // 45.5 C rounds to 46, and a reading below 0 C counts as 0.
    EXPECT_DOUBLE_EQ(cell(t, "acpitz/Min (oC)"), 0.0);
    EXPECT_DOUBLE_EQ(cell(t, "acpitz/Max (oC)"), 49.0);
    EXPECT_DOUBLE_EQ(cell(t, "acpitz/Avg (oC)"), (46.0 + 47.0 + 0.0 + 49.0) / 4.0);
    EXPECT_DOUBLE_EQ(cell(t, "x86_pkg/Avg (oC)"), 62.0);
    EXPECT_EQ(ThermalSampleHandler::release(&plugin), 1);  // already left
}

TEST_F(FeatureFixture, DamagedRecordIsSkippedAndTheCollectionGoesOn) {
    vantry::features::CStatePlugin plugin;
    system.clockFreqMHz = 1.0f;
    const std::vector<int> statuses =
        collect(plugin, {record("CSTATE_RESIDENCY", 2000, {{"0/C1", "100"}}),
                         // Not a number: the whole record is skipped, its good readings too.
                         record("CSTATE_RESIDENCY", 2500, {{"0/C1", "400"}, {"1/C1", "12x"}}),
                         record("CSTATE_RESIDENCY", 2600, {{"0", "400"}}),
                         record("CSTATE_RESIDENCY", 2700, {{"0/C1", "1 2"}}),
                         // Records of other features are not this plug-in's business.
                         record("FREQ_CURRENT", 2800, {{"0", "junk"}}),
                         // Processor 9 is not in the topology: named once, then ignored.
                         record("CSTATE_RESIDENCY", 3000, {{"0/C1", "600"}, {"9/C1", "5"}}),
                         record("CSTATE_RESIDENCY", 4000, {{"0/C1", "600"}, {"9/C1", "6"}})});
    EXPECT_EQ(statuses, (std::vector<int>{0, 1, 1, 1, 0, 0, 0}));
    EXPECT_TRUE(cap.loggedExactly(
        {"WARNING: CStatePlugin: damaged reading \"1/C1=12x\" in record CSTATE_RESIDENCY at "
         "2500; the record is skipped.\n",
         "WARNING: CStatePlugin: damaged reading \"0=400\" in record CSTATE_RESIDENCY at 2600; "
         "the record is skipped.\n",
         "WARNING: CStatePlugin: damaged reading \"0/C1=1 2\" in record CSTATE_RESIDENCY at "
         "2700; the record is skipped.\n",
         "WARNING: CStatePlugin: logical processor 9 is not in the system's topology; its "
         "readings are ignored.\n"}));
    // The interval runs from the last good record: 500 of 1000 ticks in C1.
    ASSERT_EQ(writer.points.size(), 2u);
    EXPECT_EQ(residencies(writer.points[0]).at("Thread 0"),
              (std::map<std::string, uint64_t>{{"C0", 500}, {"C1", 500}}));
    const RecordedTable& percent = table("CPU C-State Residency (%)");
    EXPECT_EQ(percent.rows, (std::vector<std::string>{"Thread 0", "All"}));
    EXPECT_DOUBLE_EQ(cell(percent, "Thread 0/C1 (%)"), 25.0);
}

TEST_F(FeatureFixture, BatteryLevelsAndMissingSetUp) {
    vantry::features::BatteryPlugin plugin;
    collect(plugin, {record("BATTERY_STATUS", 2000, {{"BAT0", "41000 9000"}}),
                     record("BATTERY_STATUS", 3000, {{"BAT0", "40000.5 -1500"}})});
    const RecordedTable& charge = table("Battery Remaining Energy (mWh)");
    EXPECT_DOUBLE_EQ(cell(charge, "BAT0/Min (mWh)"), 40000.5);
    const RecordedTable& rate = table("Battery Discharge Rate (mW)");
    EXPECT_DOUBLE_EQ(cell(rate, "BAT0/Min (mW)"), -1500.0);
    EXPECT_DOUBLE_EQ(cell(rate, "BAT0/Avg (mW)"), 3750.0);

    // Without a writer stream no container can be made: the collection
    // fails cleanly and records are ignored.
    cap.env().setWriterStream(nullptr);
    cap.clear();
    EXPECT_EQ(plugin.initializeCollection({}, {}, "battery", {}, system), 1);
    EXPECT_TRUE(
        cap.loggedExactly({"ERROR: BatteryPlugin: cannot create the metrics of feature "
                           "battery: ERROR: Writer stream is not initialized\n"}));
    EXPECT_EQ(
        plugin.processDriverMessage(record("BATTERY_STATUS", 4000, {{"BAT0", "1 1"}}), system), 0);
    EXPECT_EQ(plugin.finalizeCollection("battery", {}, system), 0);
}

TEST_F(FeatureFixture, RawRecordsAreLabelledForTheReports) {
    vantry::features::NetIoPlugin plugin;
    const vexa_driver_msg mine = record("NETIO_BYTES", 10, {{"eth0", "1 2"}, {"lo", "3 4"}});
    std::string tag, payload;
    ASSERT_TRUE(plugin.getOrgMsgTag(&mine, tag));
    ASSERT_TRUE(plugin.getOrgMsgPayload(&mine, payload));
    EXPECT_EQ(tag, "NETIO_BYTES");
    EXPECT_EQ(payload, "eth0=1 2; lo=3 4");
    const vexa_driver_msg other = record("NETIOX_BYTES", 10, {});
    EXPECT_FALSE(plugin.getOrgMsgTag(&other, tag));
    EXPECT_FALSE(plugin.getOrgMsgPayload(nullptr, payload));
    EXPECT_EQ(tag, "NETIO_BYTES");
}

}  // namespace
}  // namespace pwr::test
