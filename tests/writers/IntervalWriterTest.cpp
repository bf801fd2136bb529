#include <gtest/gtest.h>

#include <fstream>
#include <string>

#include "common/config/WriterInterfaceConfigFileParser.h"
#include "common/data/DataDescriptor.h"
#include "common/data/DataElement.h"
#include "common/data/Quantity.h"
#include "common/metrics/Metric.h"
#include "common/serialize/SystemMetadata.h"
#include "plugins/writers/CsvWriter.h"
#include "plugins/writers/IntervalWriter.h"
#include "plugins/writers/SummaryWriter.h"
#include "tests/writers/WriterTestSupport.h"

namespace pwr::test {
namespace {

using namespace vantry::writers;

// Real metric containers feed the writers: data points to "int", summary
// tables (built by the accumulators) to the table writers.
class IntervalWriterTest : public WriterTest {
  protected:
    void SetUp() override {
        WriterTest::SetUp();
        system.startTsc = 1000;
        system.clockFreqMHz = 1.0f;  // one tick per microsecond
        const std::string config = dir + "/output.cfg";
        {
            std::ofstream out(config, std::ios::binary);
            out << "ALL_therm_TEMP_MIN-MAX-AVG_TABLE=YES\n"
                   "ALL_therm_TEMP_MIN-MAX-AVG_PRE-TABLE-TEXT=Package sensors\n"
                   "ALL_freq_CORE,FREQ_MIN-MAX_TABLE=NO\n";
        }
        ASSERT_EQ(WriterInterfaceConfigFileParser::instance()->parse({config}, system), 0);
        cap.env().setVerbosity(PW_WARNING);
        cap.clear();
    }
    void TearDown() override {
        cap.env().setWriterStream(nullptr);
        WriterInterfaceConfigFileParser::destroy();
        WriterTest::TearDown();
    }
    static int sample(Metric& m, uint64_t ts, const EntityHandle* e, const DataDescriptor* d,
                      const Data& value) {
        DataElement element(e, d);
        element.setValue(value);
        return m.setData(ts, element, 0);
    }

    SystemMetadata system;
};

TEST_F(IntervalWriterTest, DataPointsAsTheyCompleteAndTheSummaryOfTheSameRun) {
    IntervalWriter interval;
    SummaryWriter sum;
    WriterStream::PluginSet writers{&interval, &sum};
    {
        WriterStream stream(&writers);
        cap.env().setWriterStream(&stream);
        Metric temperature("Temperature", MetricType::SampledValue, "therm", "TEMP", system,
                           Quantity::temperature());
        Metric frequency("Frequency", MetricType::SampledValue, "freq", "CORE,FREQ", system,
                         Quantity::frequency());
        const DataDescriptor* pstate =
            DataDescriptor::create(DataDescriptorBuilder("P-state", "P-state"));
        EXPECT_EQ(sample(temperature, 251000, core0, nullptr, Data(uint64_t{45})), 0);
        EXPECT_EQ(sample(temperature, 251000, core1, nullptr, Data(uint64_t{47})), 0);
        EXPECT_EQ(sample(frequency, 101000, core0, pstate, Data(2400.5)), 0);
        // A new timestamp completes the first temperature point.
        EXPECT_EQ(sample(temperature, 501000, core0, nullptr, Data(uint64_t{46})), 0);
        EXPECT_EQ(frequency.finalize(), 0);
        EXPECT_EQ(temperature.finalize(), 0);
        cap.env().setWriterStream(nullptr);
        EXPECT_FALSE(exists(prefix + "_int.csv"));
    }
    // Points arrive as they complete, not in time order; every time is
    // measured from the collection start.
    EXPECT_EQ(readFile(prefix + "_int.csv"),
              "Time (s),Feature,Container,Entity,Descriptor,Value\r\n"
              "0.250000,therm,TEMP,CPU/Package 0/Core 0,,45\r\n"
              "0.250000,therm,TEMP,CPU/Package 0/Core 1,,47\r\n"
              "0.100000,freq,\"CORE,FREQ\",CPU/Package 0/Core 0,P-state,2400.5\r\n"
              "0.500000,therm,TEMP,CPU/Package 0/Core 0,,46\r\n");
    EXPECT_EQ(readFile(prefix + ".txt"),
              "Temperature Summary - Sampled: Min/Max/Avg\n"
              "Package sensors\n"
              "Entity                Min (oC)  Max (oC)  Avg (oC)  Time-weighted Avg (oC)\n"
              "CPU/Package 0/Core 0        45        46      45.5                    45.5\n"
              "CPU/Package 0/Core 1        47        47      47.0                    47.0\n");
    EXPECT_TRUE(cap.loggedExactly({}));
}

TEST_F(IntervalWriterTest, WithoutStartOrClockInTheRecordTheFirstPointAndDefaultClockServe) {
    system.startTsc = 0;
    system.clockFreqMHz = 0.0f;
    cap.env().setDefaultClockToTSCRatio(2.0f, 1.0f);  // two ticks per microsecond
    IntervalWriter interval;
    WriterStream::PluginSet writers{&interval};
    {
        WriterStream stream(&writers);
        cap.env().setWriterStream(&stream);
        Metric temperature("Temperature", MetricType::SampledValue, "therm", "TEMP", system,
                           Quantity::temperature());
        EXPECT_EQ(sample(temperature, 4000000, core1, nullptr, Data(int64_t{-3})), 0);
        EXPECT_EQ(sample(temperature, 5000000, core1, nullptr, Data(int64_t{4})), 0);
        EXPECT_EQ(temperature.finalize(), 0);
        cap.env().setWriterStream(nullptr);
    }
    EXPECT_EQ(readFile(prefix + "_int.csv"),
              "Time (s),Feature,Container,Entity,Descriptor,Value\r\n"
              "0.000000,therm,TEMP,CPU/Package 0/Core 1,,-3\r\n"
              "0.500000,therm,TEMP,CPU/Package 0/Core 1,,4\r\n");

    // No frequency anywhere: the time is left empty rather than guessed.
    cap.env().setDefaultClockToTSCRatio(0.0f, 1.0f);
    const std::string second = dir + "/second";
    cap.env().setResultFilePrefix(second);
    IntervalWriter other;
    WriterStream::PluginSet otherWriters{&other};
    {
        WriterStream stream(&otherWriters);
        cap.env().setWriterStream(&stream);
        Metric temperature("Temperature", MetricType::SampledValue, "therm", "TEMP", system,
                           Quantity::temperature());
        EXPECT_EQ(sample(temperature, 7, core0, nullptr, Data(uint64_t{1})), 0);
        EXPECT_EQ(temperature.finalize(), 0);
        cap.env().setWriterStream(nullptr);
    }
    EXPECT_EQ(readFile(second + "_int.csv"),
              "Time (s),Feature,Container,Entity,Descriptor,Value\r\n"
              ",therm,TEMP,CPU/Package 0/Core 0,,1\r\n");
}

TEST_F(IntervalWriterTest, UnwritableFileIsReportedOnceAndPointsStillFlow) {
    const std::string bad = dir + "/missing/run";
    cap.env().setResultFilePrefix(bad);
    IntervalWriter interval;
    WriterStream::PluginSet writers{&interval};
    {
        WriterStream stream(&writers);
        cap.env().setWriterStream(&stream);
        Metric temperature("Temperature", MetricType::SampledValue, "therm", "TEMP", system,
                           Quantity::temperature());
        for (uint64_t ts = 2000; ts < 7000; ts += 1000) {
            EXPECT_EQ(sample(temperature, ts, core0, nullptr, Data(ts)), 0);
        }
        EXPECT_EQ(temperature.finalize(), 0);
        cap.env().setWriterStream(nullptr);
    }
    // No warning per point from the stream: the writer does not refuse them.
    EXPECT_TRUE(cap.loggedExactly({"ERROR: Cannot write result file " + bad +
                                   "_int.csv: " + missingFolderReason(bad) + "\n"}));
    EXPECT_FALSE(exists(dir + "/missing"));
}

}  // namespace
}  // namespace pwr::test
