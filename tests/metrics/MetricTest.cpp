#include <gtest/gtest.h>

#include <algorithm>
#include <stdexcept>
#include <string>

#include "common/data/Quantity.h"
#include "common/messages/TableMessage.h"
#include "common/metrics/Metric.h"
#include "tests/metrics/MetricTestSupport.h"

namespace pwr::test {
namespace {

using MetricTest = MetricFixture;
const uint64_t kReset = Metric::kResetDuration;

std::string thrownBy(MetricType type, const Quantity* q, const SystemMetadata& sys) {
    try {
        Metric m("M", type, "test", "VALUE", sys, q);
    } catch (const std::runtime_error& e) {
        return e.what();
    }
    return "";
}

TEST_F(MetricTest, ConstructionNeedsWriterStreamAndTimeForResidency) {
    cap.env().setWriterStream(nullptr);
    EXPECT_EQ(thrownBy(MetricType::SampledValue, nullptr, system),
              "ERROR: Writer stream is not initialized");
    cap.env().setWriterStream(&stream);
    WriterInterfaceConfigFileParser::destroy();
    EXPECT_EQ(thrownBy(MetricType::SampledValue, nullptr, system),
              "Output config parser is not initialized");
    ASSERT_EQ(parseOutputConfig(), 0);
    EXPECT_EQ(thrownBy(MetricType::SampledResidency, Quantity::power(), system),
              "Quantity for MetricType::SampledResidency metric must be pwr::Quantity::time()");
    cap.clear();
    Metric m("X", MetricType::SampledValue, "test", "NONE", system, nullptr);
    EXPECT_TRUE(cap.loggedExactly(
        {"WARNING: Output config table entries not present for the feature-switch-tag and "
         "metric-container-tag combo: 'test_NONE'. Add table entries specific to Metric "
         "container type.\n"}));
}

// A refused sample logs exactly one line and leaves the metric as it was.
void expectRefused(EnvironmentCapture& cap, Metric& m, uint64_t ts, DataElement el,
                   uint64_t duration, const std::string& line) {
    const size_t buffered = m.getData().size();
    const size_t entities = m.getEntities().size();
    const bool empty = m.isEmpty();
    cap.clear();
    EXPECT_EQ(m.setData(ts, el, duration), 1) << line;
    EXPECT_TRUE(cap.loggedExactly({line}));
    EXPECT_EQ(m.getData().size(), buffered);
    EXPECT_EQ(m.getEntities().size(), entities);
    EXPECT_EQ(m.isEmpty(), empty);
}

TEST_F(MetricTest, EveryRefusalHasItsLineAndChangesNothing) {
    const EntityHandle* core = entity("Core 0");
    Metric v("V", MetricType::SampledValue, "test", "VALUE", system, nullptr);
    const Data five(uint64_t{5});
    expectRefused(cap, v, 0, element(core, nullptr, five), 0,
                  "WARNING: V: Please provide a valid non-zero timestamp.\n");
    expectRefused(cap, v, 1100, element(nullptr, nullptr, five), 0,
                  "WARNING: V: Please provide an entity in the DataElement object.\n");
    expectRefused(cap, v, 1100, DataElement(core, nullptr), 0,
                  "WARNING: V: Please set the value aka measurement in the DataElement object.\n");
    expectRefused(cap, v, 999, element(core, nullptr, five), 0,
                  "WARNING: V: Timestamps must be monotonically increasing. Previous=1000, "
                  "current=999 for Core 0/ . Data discarded.\n");
    expectRefused(cap, v, 1100, element(core, nullptr, five), 101,
                  "WARNING: V: Duration cannot be more than the elapsed time since last "
                  "sampling/transition point. duration=101, elapsed time=100 for Core 0+ . Data "
                  "discarded.\n");
    // The refusals moved nothing: the first accepted sample still counts
    // from the collection start.
    DataElement ok = element(core, nullptr, five);
    ASSERT_EQ(v.setData(1100, ok, 0), 0);
    EXPECT_EQ(v.getData()[0].getDuration(), 100u);
    expectRefused(cap, v, 1100, element(core, nullptr, five), 0,
                  "WARNING: V: Timestamps must be monotonically increasing. Previous=1100, "
                  "current=1100 for Core 0/ . Data discarded.\n");

    Metric r("R", MetricType::SampledResidency, "test", "RES", system, Quantity::time());
    expectRefused(cap, r, 1100, element(core, nullptr, five), 0,
                  "WARNING: R: Descriptor is required for MetricType::SampledResidency type. "
                  "Please provide one.\n");
    expectRefused(cap, r, 1100, element(core, state("C0"), Data(5.0)), 0,
                  "WARNING: R: MetricType::SampledResidency type requires values to be given in "
                  "clock ticks as pw_u64_t data type.\n");
    expectRefused(cap, r, 1100, element(core, state("C0"), Data(uint64_t{101})), 0,
                  "WARNING: R: Clock ticks spent by Core 0 in state C0=101 is greater than the "
                  "duration=100 since the last sampling point. Note this sample at "
                  "timestamp=1100 will be discarded.\n");
}

TEST_F(MetricTest, OnePointPerTimestampWithSettledDurations) {
    const EntityHandle* a = entity("Core 0");
    const EntityHandle* b = entity("Core 1");
    Metric v("V", MetricType::SampledValue, "test", "VALUE", system, nullptr);
    DataElement ea = element(a, nullptr, Data(uint64_t{1}));
    DataElement eb = element(b, nullptr, Data(uint64_t{2}));
    ASSERT_EQ(v.setData(1100, ea, 40), 0);  // given
    ASSERT_EQ(v.setData(1100, eb, 0), 0);   // zero: since the collection start
    EXPECT_TRUE(writer.points.empty());
    cap.env().setVerbosity(PW_INFO);
    ASSERT_EQ(v.setData(1300, ea, kReset), 0);  // reset
    const auto lines = cap.lines();
    EXPECT_NE(
        std::find(lines.begin(), lines.end(), "INFO: setting duration to zero due to reset!\n"),
        lines.end());
    cap.env().setVerbosity(PW_WARNING);
    ASSERT_EQ(v.setData(1400, eb, 0), 0);
    ASSERT_EQ(v.finalize(), 0);
    ASSERT_EQ(writer.points.size(), 3u);
    EXPECT_EQ(writer.points[0].timestamp, 1100u);
    ASSERT_EQ(writer.points[0].elements.size(), 2u);
    EXPECT_EQ(writer.points[0].elements[0].duration, 40u);
    EXPECT_EQ(writer.points[0].elements[1].duration, 100u);
    EXPECT_EQ(writer.points[1].timestamp, 1300u);
    EXPECT_EQ(writer.points[1].elements[0].duration, 0u);
    EXPECT_EQ(writer.points[2].elements[0].duration, 300u);
    // The summary tables come before the container information.
    ASSERT_NE(table("V Summary - Sampled: Min/Max/Avg"), nullptr);
    EXPECT_EQ(writer.infos, std::vector<std::string>{"VALUE"});
    EXPECT_EQ(v.getEntities(), (std::vector<const EntityHandle*>{a, b}));
}

TEST_F(MetricTest, TracedElementsArePointsOfTheirOwn) {
    const EntityHandle* a = entity("Core 0");
    Metric e("E", MetricType::TracedEvent, "test", "EVENT", system, nullptr);
    DataElement el = element(a, state("Wake"), Data(uint64_t{1}));
    ASSERT_EQ(e.setData(1100, el, 0), 0);
    ASSERT_EQ(e.setData(1150, el, kReset), 0);
    ASSERT_EQ(e.setData(1300, el, 20), 0);
    ASSERT_EQ(writer.points.size(), 3u);
    EXPECT_EQ(writer.points[0].elements[0].duration, 100u);
    EXPECT_EQ(writer.points[1].elements[0].duration, 0u);
    EXPECT_EQ(writer.points[2].timestamp, 1300u);
    EXPECT_EQ(writer.points[2].elements[0].duration, 20u);
}

TEST_F(MetricTest, ResidencyDurationsAddUpPerEntityAndMismatchDropsThePoint) {
    const EntityHandle* core = entity("Core 0");
    const DataDescriptor* c0 = state("C0");
    const DataDescriptor* c6 = state("C6");
    const DataDescriptor* c7 = state("C7");
    Metric r("R", MetricType::SampledResidency, "test", "RES", system, Quantity::time());
    auto set = [&](uint64_t ts, const DataDescriptor* d, uint64_t ticks, uint64_t duration) {
        DataElement el = element(core, d, Data(ticks));
        return r.setData(ts, el, duration);
    };
    ASSERT_EQ(set(1100, c0, 30, 0), 0);
    ASSERT_EQ(set(1100, c6, 70, 0), 0);
    ASSERT_EQ(set(1300, c0, 100, 0), 0);
    ASSERT_EQ(set(1300, c6, 50, 0), 0);
    // A state first seen now: more than the entity's 200 ticks is cut back.
    cap.clear();
    ASSERT_EQ(set(1300, c7, 50, 250), 0);
    EXPECT_TRUE(cap.loggedExactly(
        {"WARNING: R: Duration provided for MetricType::SampledResidency is greater than the time "
         "elapsed since last sampling point for entity=Core 0. Resetting duration to be the time "
         "since the last sampling point for Core 0.\n"}));
    // C6 claims 60 ticks where the entity's point spans 100: the point goes.
    ASSERT_EQ(set(1400, c0, 10, 0), 0);
    ASSERT_EQ(set(1400, c6, 10, 60), 0);
    cap.clear();
    ASSERT_EQ(r.finalize(), 0);
    const auto lines = cap.lines();
    ASSERT_FALSE(lines.empty());
    EXPECT_EQ(lines[0],
              "WARNING: R: valid duration since the last sampling point for Core 0 = 100, but that "
              "provided for Core 0 in state C6= 60. All data provided for the previous sampling "
              "point will be discarded.\n");
    ASSERT_EQ(writer.points.size(), 2u);
    EXPECT_EQ(writer.points[1].elements.size(), 3u);

    // 300 ticks in all, counted once per point: 30+100, 70+50 and 50.
    const RecordedTable* pct = table("R Summary: Residency (Percentage)");
    const RecordedTable* ms = table("R Summary: Residency (Time)");
    ASSERT_NE(pct, nullptr);
    ASSERT_NE(ms, nullptr);
    double percent = 0.0;
    double msec = 0.0;
    for (const auto& cell : pct->cells) {
        percent += realOf(cell.second);
    }
    for (const auto& cell : ms->cells) {
        msec += realOf(cell.second);
    }
    EXPECT_NEAR(percent, 100.0, 1e-9);
    EXPECT_NEAR(msec, 0.3, 1e-9);  // 300 ticks at 1 tick per microsecond
    EXPECT_EQ(pct->cells.size(), 3u);
}

TEST_F(MetricTest, FinalizeWithoutDataWarnsAndSettersCheckTheirInput) {
    const EntityHandle* core = entity("Core 0");
    Metric d("D", MetricType::SampledDelta, "test", "DELTA", system, nullptr);
    cap.clear();
    EXPECT_EQ(d.finalize(), 1);
    EXPECT_EQ(d.setFiniteSetValues({state("A")}), 1);
    EXPECT_EQ(d.setEntityDescriptorCombinations({{nullptr, state("A")}}), 1);
    EXPECT_EQ(d.setTimelineTableToDisplay(TimelineTableType::STATE), 1);
    EXPECT_EQ(d.addAccumulator(nullptr), 1);
    EXPECT_TRUE(cap.loggedExactly(
        {"WARNING: No data was provided for metric D\n",
         "WARNING: D: Finite set of possible values can be provided only for "
         "MetricType::SampledValue or MetricType::TracedValueTransition metric types.\n",
         "WARNING: D: Entity is required when setting entity-descriptor combinations.\n",
         "WARNING: Warning: Timeline output table selection is only valid for "
         "MetricType::SampledResidency type metrics.\nThis request will be ignored.",
         "WARNING: trying to add a NULL accumulator to Metric container D?!\n"}));
    EXPECT_TRUE(writer.tables.empty());
    EXPECT_EQ(d.getTimelineTableToDisplay(), TimelineTableType::NONE);
    EXPECT_EQ(d.setEntityDescriptorCombinations({{core, nullptr}}), 0);
    EXPECT_EQ(d.getEntityDescriptorCombinations().size(), 1u);
}

TEST_F(MetricTest, StaticRowInformationGoesIntoTheCallersTable) {
    const EntityHandle* core0 = entity("Core 0");
    const EntityHandle* core1 = entity("Core 1");
    TableMessage rows("Rows", nullptr);
    ASSERT_EQ(rows.addField("Name", DataType::STRING, false), 0);
    {
        Metric m("M", MetricType::SampledValue, "test", "VALUE", system, nullptr);
        ASSERT_EQ(m.setEntityDescriptorCombinations({{core1, nullptr}}), 0);
        DataElement element(core0, nullptr);
        element.setValue(Data(uint64_t{1}));
        ASSERT_EQ(m.setData(2000, element, 0), 0);
        cap.clear();
        EXPECT_EQ(m.addStaticTableRowInfo(&rows), 0);
        EXPECT_EQ(rows.getEntityCount(), 2u);
        // The metric keeps a copy of its own; the table stays the caller's.
        ASSERT_NE(m.getStaticTableRowInfo(), nullptr);
        EXPECT_NE(m.getStaticTableRowInfo(), &rows);
        EXPECT_EQ(m.getStaticTableRowInfo()->getEntityCount(), 2u);
        EXPECT_EQ(m.addStaticTableRowInfo(nullptr), 1);
        EXPECT_TRUE(cap.loggedExactly(
            {"WARNING: M: Please provide a table for the static row information.\n"}));
    }
    // The metric is gone and the table is whole (a metric that took it over
    // would have freed it here).
    ASSERT_EQ(rows.createTable(), 0);
    EXPECT_EQ(rows.getEntityCount(), 2u);
}

}  // namespace
}  // namespace pwr::test
