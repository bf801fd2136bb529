#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <deque>
#include <map>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "common/config/WriterInterfaceConfigFileParser.h"
#include "common/data/Data.h"
#include "common/data/DataDescriptor.h"
#include "common/data/DataElement.h"
#include "common/data/EntityHandle.h"
#include "common/data/Event.h"
#include "common/data/Quantity.h"
#include "common/messages/TableMessage.h"
#include "common/metrics/Metric.h"
#include "common/metrics/SampledDeltaAccumulator.h"
#include "common/metrics/SampledResidencyAccumulator.h"
#include "common/metrics/SampledValueAccumulator.h"
#include "common/metrics/TracedEventAccumulator.h"
#include "common/metrics/TracedTransitionAccumulator.h"
#include "common/plugins/WriterPlugin.h"
#include "common/plugins/WriterStream.h"
#include "common/serialize/SystemMetadata.h"
#include "tests/support/EnvironmentCapture.h"

namespace pwr {
namespace {

// One push of a table as a writer saw it. Cells are keyed "entity/column",
// shared cells "/column"; only valid cells are kept.
struct PushedTable {
    std::string title;
    TableClass tableClass;
    TableMessageType type;
    bool transposed;
    std::vector<std::string> pre;
    std::vector<std::string> post;
    std::vector<std::string> rows;
    std::vector<std::string> columns;
    std::map<std::string, Data> cells;

    double real(const std::string& cell) const {
        auto it = cells.find(cell);
        double out = NAN;
        if (it == cells.end()) {
            return out;
        }
        if (it->second.getType() == DataType::UINT) {
            uint64_t u = 0;
            it->second.toUInt(u);
            out = static_cast<double>(u);
        } else if (it->second.getType() == DataType::INT) {
            int64_t i = 0;
            it->second.toInt(i);
            out = static_cast<double>(i);
        } else {
            it->second.toReal(out);
        }
        return out;
    }
    // The cell as a writer prints it.
    std::string text(const std::string& cell) const {
        std::string out;
        auto it = cells.find(cell);
        if (it != cells.end()) {
            it->second.toFormattedString(out);
        }
        return out;
    }
};

class TableRecorder : public WriterPlugin {
  public:
    TableRecorder() : WriterPlugin("tables") {}
    ResetReturnCode reset(ResetReason, uint64_t, const SystemMetadata&) override {
        return ResetReturnCode::SUCCESS;
    }
    int writeMessage(const TableMessage& t) override {
        PushedTable rec{t.getTitle(),
                        t.getTableClass(),
                        t.getTableMessageType(),
                        t.isTransposed(),
                        {},
                        {},
                        {},
                        {},
                        {}};
        if (t.getTextNotes() != nullptr) {
            t.getTextNotes()->getPreTableNotes(rec.pre);
            t.getTextNotes()->getPostTableNotes(rec.post);
        }
        for (auto e = t.entityBegin(); e != t.entityEnd(); ++e) {
            rec.rows.push_back((*e)->getName());
        }
        for (auto f = t.sharedFieldBegin(); f != t.sharedFieldEnd(); ++f) {
            rec.columns.push_back((*f)->getName());
        }
        for (auto f = t.fieldBegin(); f != t.fieldEnd(); ++f) {
            rec.columns.push_back((*f)->getName());
        }
        for (auto v = t.validBegin(); v != t.validEnd(); ++v) {
            const Data* cell = nullptr;
            bool valid = false;
            t.getFieldValue(v->first, v->second, cell, valid);
            const std::string row = v->first == nullptr ? "" : v->first->getName();
            rec.cells.emplace(row + "/" + v->second->getName(), *cell);
        }
        tables.push_back(rec);
        return 0;
    }
    int flushContinuousResults(const SystemMetadata&) override { return 0; }
    int getColumnTitles(const TableMessage&, std::deque<std::string>&) const override { return 0; }
    int getRowValues(const TableMessage&, std::deque<std::string>&) const override { return 0; }

    std::vector<PushedTable> tables;
};

class AccumulatorTest : public ::testing::Test {
  protected:
    AccumulatorTest() : writers{&recorder}, stream(&writers) {}
    void SetUp() override {
        UniqueId::initialize();
        system.startTsc = 1000;
        system.clockFreqMHz = 1.0f;  // 1000 ticks per millisecond
        ASSERT_EQ(WriterInterfaceConfigFileParser::instance()->parse(
                      {VANTRY_TEST_DATA_DIR "/accumulator_output.cfg"}, system),
                  0);
        cap.env().setWriterStream(&stream);
        cap.env().setVerbosity(PW_WARNING);
        root = EntityHandle::create("SYSTEM", nullptr);
        cap.clear();
    }
    void TearDown() override {
        cap.env().setWriterStream(nullptr);
        WriterInterfaceConfigFileParser::destroy();
        UniqueId::destroy();
    }

    std::unique_ptr<Metric> metric(const std::string& container, MetricType type,
                                   const Quantity* quantity) {
        return std::make_unique<Metric>("M", type, "acc", container, system, quantity);
    }
    const EntityHandle* entity(const std::string& name) { return EntityHandle::create(name, root); }
    static const DataDescriptor* descriptor(const std::string& name) {
        return DataDescriptor::create(DataDescriptorBuilder(name, name));
    }
    static int put(Metric& m, uint64_t ts, const EntityHandle* e, const DataDescriptor* d,
                   const Data& value, uint64_t duration = 0) {
        DataElement element(e, d);
        element.setValue(value);
        return m.setData(ts, element, duration);
    }
    const PushedTable* table(const std::string& title) const {
        for (const PushedTable& t : recorder.tables) {
            if (t.title == title) {
                return &t;
            }
        }
        return nullptr;
    }
    bool logged(const std::string& line) const {
        const auto lines = cap.lines();
        return std::find(lines.begin(), lines.end(), line) != lines.end();
    }
    template <typename Acc>
    static const Acc* first(const Metric& m) {
        return dynamic_cast<const Acc*>(m.getAccumulators().front());
    }

    test::EnvironmentCapture cap;
    TableRecorder recorder;
    WriterStream::PluginSet writers;
    WriterStream stream;
    SystemMetadata system;
    const EntityHandle* root = nullptr;
};

TEST_F(AccumulatorTest, ConstructionNeedsTheWriterStream) {
    cap.env().setWriterStream(nullptr);
    try {
        SampledValueAccumulator acc({});
        FAIL() << "constructed without a writer stream";
    } catch (const std::runtime_error& e) {
        EXPECT_STREQ(e.what(), "ERROR: Writer stream is not initialized");
    }
}

TEST_F(AccumulatorTest, KeysCombineEntityAndDescriptorIds) {
    const EntityHandle* e = entity("Core 0");
    const DataDescriptor* d1 = descriptor("C1");
    const DataDescriptor* d2 = descriptor("C2");
    EXPECT_EQ(Accumulator::makeKey(DataElement(e, nullptr)), e->getId());
    EXPECT_EQ(Accumulator::makeKey(DataElement(e, d1)), (e->getId() << 32) + d1->getId());
    EXPECT_EQ(Accumulator::makeKey(DataElement(e, d2)), (e->getId() << 32) + d2->getId());
    EXPECT_EQ(Accumulator::makeEntityKey(DataElement(e, d2)), e->getId());
}

TEST_F(AccumulatorTest, UnsignedConversionsAtAndAbove2To63) {
    const double two63 = 9223372036854775808.0;
    EXPECT_EQ(Accumulator::toUnsigned64(two63), uint64_t{1} << 63);
    EXPECT_EQ(Accumulator::toUnsigned64(two63 * 1.5), (uint64_t{3} << 62));
    EXPECT_EQ(Accumulator::toUnsigned64(two63 * 4.0), UINT64_MAX);
    EXPECT_EQ(Accumulator::toUnsigned64(-1.0), 0u);
    EXPECT_EQ(Accumulator::toUnsigned64(12345.9), 12345u);
    EXPECT_EQ(Accumulator::toDouble((uint64_t{1} << 63) + 4096), two63 + 4096.0);
    EXPECT_EQ(Accumulator::toDouble(UINT64_MAX), two63 * 2.0);
}

TEST_F(AccumulatorTest, SummaryKeywordsRoundTrip) {
    SampledValueAccumulator::Summary s;
    ASSERT_TRUE(SampledValueAccumulator::Summary::fromString("APPROXIMATED-RESIDENCY", s));
    EXPECT_EQ(s, SampledValueAccumulator::SummaryKind::APPROXIMATED_RESIDENCY);
    EXPECT_STREQ(
        SampledValueAccumulator::Summary(SampledValueAccumulator::SummaryKind::MIN_MAX).toString(),
        "MIN-MAX");
    EXPECT_FALSE(SampledValueAccumulator::Summary::fromString("MIN-MAX-AVERAGE", s));
    TracedTransitionAccumulator::Summary t;
    EXPECT_FALSE(TracedTransitionAccumulator::Summary::fromString("SAMPLE-COUNT", t));
    EXPECT_EQ(TracedEventAccumulator::Summary::count(), 3u);
}

TEST_F(AccumulatorTest, MinMaxAvgPerEntityInAscendingIdWithUnits) {
    auto m = metric("VALUE", MetricType::SampledValue, Quantity::temperature());
    const EntityHandle* first = entity("Core 1");
    const EntityHandle* second = entity("Core 0");
    // The later entity reports first: rows still follow the ids.
    ASSERT_EQ(put(*m, 2000, second, nullptr, Data(uint64_t{30})), 0);
    ASSERT_EQ(put(*m, 2000, first, nullptr, Data(uint64_t{40})), 0);
    ASSERT_EQ(put(*m, 4000, second, nullptr, Data(uint64_t{60})), 0);
    ASSERT_EQ(put(*m, 4000, first, nullptr, Data(uint64_t{50})), 0);
    ASSERT_EQ(m->finalize(), 0);

    const PushedTable* t = table("M Summary - Sampled: Min/Max/Avg");
    ASSERT_NE(t, nullptr);
    EXPECT_EQ(t->tableClass, TableClass::SUMMARY);
    EXPECT_EQ(t->type, TableMessageType::MIN_MAX_AVG);
    EXPECT_EQ(t->rows, (std::vector<std::string>{"Core 1", "Core 0"}));
    EXPECT_EQ(t->columns, (std::vector<std::string>{"Min (oC)", "Max (oC)", "Avg (oC)",
                                                    "Time-weighted Avg (oC)"}));
    EXPECT_EQ(t->real("Core 1/Min (oC)"), 40.0);
    EXPECT_EQ(t->real("Core 1/Max (oC)"), 50.0);
    EXPECT_EQ(t->real("Core 1/Avg (oC)"), 45.0);
    // 40 for 1000 ticks, 50 for 2000.
    EXPECT_NEAR(t->real("Core 1/Time-weighted Avg (oC)"), 140.0 / 3.0, 1e-9);
    EXPECT_EQ(t->real("Core 0/Min (oC)"), 30.0);
    EXPECT_EQ(t->real("Core 0/Max (oC)"), 60.0);

    const PushedTable* counts = table("M Summary - Sampled: Total Samples Received");
    ASSERT_NE(counts, nullptr);
    EXPECT_EQ(counts->real("Core 0/Total # of samples"), 2.0);
    EXPECT_EQ(counts->real("Core 0/Avg sampling interval (msec)"), 2.0);
}

TEST_F(AccumulatorTest, ZeroWeightSampleCountsWithoutWeight) {
    auto m = metric("VALUE", MetricType::SampledValue, Quantity::temperature());
    const EntityHandle* e = entity("Core 0");
    ASSERT_EQ(put(*m, 2000, e, nullptr, Data(uint64_t{42}), Metric::kResetDuration), 0);
    ASSERT_EQ(m->finalize(), 0);
    EXPECT_TRUE(logged("WARNING: SampledValueAccumulator has zero weight!\n"));
    const auto& stats = first<SampledValueAccumulator>(*m)->getStats().at(e->getId());
    EXPECT_EQ(stats.count, 1u);
    EXPECT_EQ(stats.totalWeight, 0.0);
    const PushedTable* t = table("M Summary - Sampled: Min/Max/Avg");
    ASSERT_NE(t, nullptr);
    EXPECT_EQ(t->real("Core 0/Avg (oC)"), 42.0);
    EXPECT_EQ(t->cells.count("Core 0/Time-weighted Avg (oC)"), 0u);
}

TEST_F(AccumulatorTest, ApproximatedResidencyFromSampleCounts) {
    auto m = metric("VALUE", MetricType::SampledValue, nullptr);
    const EntityHandle* e = entity("GT");
    const uint64_t values[] = {1, 1, 2, 3};
    uint64_t ts = 2000;
    for (uint64_t v : values) {
        ASSERT_EQ(put(*m, ts, e, nullptr, Data(v)), 0);
        ts += 1000 * v;  // durations must not matter
    }
    ASSERT_EQ(m->finalize(), 0);
    const PushedTable* res = table("M Summary - Sampled: Residency (Percentage)");
    ASSERT_NE(res, nullptr);
    EXPECT_EQ(res->type, TableMessageType::APPROXIMATED_RESIDENCY);
    EXPECT_EQ(res->columns, (std::vector<std::string>{"1 (%)", "2 (%)", "3 (%)"}));
    EXPECT_EQ(res->real("GT/1 (%)"), 50.0);
    EXPECT_EQ(res->real("GT/2 (%)"), 25.0);
    EXPECT_EQ(res->real("GT/3 (%)"), 25.0);
    const PushedTable* counts = table("M Summary - Sampled: Counts");
    ASSERT_NE(counts, nullptr);
    EXPECT_EQ(counts->real("GT/1"), 2.0);
    EXPECT_EQ(counts->real("GT/3"), 1.0);
}

TEST_F(AccumulatorTest, TopTenOrdersByCountThenLastInsertedFirst) {
    auto m = metric("EVENT", MetricType::TracedEvent, nullptr);
    const EntityHandle* e = entity("Core 0");
    // e03 three times, e01 and e02 twice, the other nine once.
    std::vector<std::string> names;
    for (int i = 0; i < 12; ++i) {
        names.push_back(std::string("e") + (i < 10 ? "0" : "") + std::to_string(i));
    }
    std::vector<std::string> sequence = names;
    sequence.insert(sequence.end(), {"e03", "e03", "e01", "e02"});
    uint64_t ts = 2000;
    for (const std::string& name : sequence) {
        const Event* event = Event::create(EventDescription(name, name));
        ASSERT_EQ(put(*m, ts, e, nullptr, Data(*event), 10), 0);
        ts += 100;
    }
    ASSERT_EQ(m->finalize(), 0);

    std::vector<std::string> order;
    for (const PushedTable& t : recorder.tables) {
        if (t.title != "M Summary: Top 10 Most-Frequent for Core 0") {
            continue;
        }
        // Each push carries its own pair and nothing else.
        ASSERT_EQ(t.cells.size(), 2u);
        std::string name;
        t.cells.at("/Event Name").toString(name);
        order.push_back(name + "=" + std::to_string(static_cast<int>(t.real("/Count"))));
    }
    EXPECT_EQ(order, (std::vector<std::string>{"e03=3", "e02=2", "e01=2", "e11=1", "e10=1", "e09=1",
                                               "e08=1", "e07=1", "e06=1", "e05=1"}));
}

TEST_F(AccumulatorTest, EventNameCountsOneTablePerEntityWithItsCount) {
    auto m = metric("EVENT", MetricType::TracedEvent, nullptr);
    const EntityHandle* core0 = entity("Core 0");
    const EntityHandle* core1 = entity("Core 1");
    const Event* wake = Event::create(EventDescription("wake", "wake"));
    const Event* idle = Event::create(EventDescription("idle", "idle"));
    uint64_t ts = 2000;
    for (const auto& sample : std::vector<std::pair<const EntityHandle*, const Event*>>{
             {core0, wake}, {core1, idle}, {core0, idle}, {core0, wake}}) {
        ASSERT_EQ(put(*m, ts, sample.first, nullptr, Data(*sample.second), 10), 0);
        ts += 100;
    }
    ASSERT_EQ(m->finalize(), 0);
    const PushedTable* first = table("M Summary: Type Count for Core 0");
    const PushedTable* second = table("M Summary: Type Count for Core 1");
    ASSERT_NE(first, nullptr);
    ASSERT_NE(second, nullptr);
    EXPECT_EQ(first->type, TableMessageType::EVENT_NAME_COUNTS);
    EXPECT_EQ(first->columns, std::vector<std::string>{"Count"});
    EXPECT_EQ(first->rows, std::vector<std::string>{"Core 0"});
    EXPECT_EQ(first->real("Core 0/Count"), 3.0);
    EXPECT_EQ(second->rows, std::vector<std::string>{"Core 1"});
    EXPECT_EQ(second->real("Core 1/Count"), 1.0);
}

TEST_F(AccumulatorTest, MinMaxAndTotalsKeepEachKeysOwnType) {
    auto value = metric("VALUE", MetricType::SampledValue, nullptr);
    auto delta = metric("DELTA", MetricType::SampledDelta, Quantity::energy());
    const EntityHandle* signedOne = entity("Signed");
    const EntityHandle* unsignedOne = entity("Unsigned");
    for (uint64_t ts : {2000u, 4000u}) {
        const auto step = static_cast<int64_t>(ts / 1000);
        ASSERT_EQ(put(*value, ts, signedOne, nullptr, Data(int64_t{-5} * step)), 0);
        ASSERT_EQ(put(*value, ts, unsignedOne, nullptr, Data(uint64_t{7} * ts)), 0);
        ASSERT_EQ(put(*delta, ts, signedOne, nullptr, Data(int64_t{-3})), 0);
        ASSERT_EQ(put(*delta, ts, unsignedOne, nullptr, Data(uint64_t{4})), 0);
    }
    ASSERT_EQ(value->finalize(), 0);
    ASSERT_EQ(delta->finalize(), 0);
    EXPECT_TRUE(cap.loggedExactly({}));
    const PushedTable* minMax = table("M Summary - Sampled: Min/Max/Avg");
    ASSERT_NE(minMax, nullptr);
    EXPECT_EQ(minMax->cells.at("Signed/Min").getType(), DataType::INT);
    EXPECT_EQ(minMax->text("Signed/Min"), "-20");
    EXPECT_EQ(minMax->text("Signed/Max"), "-10");
    EXPECT_EQ(minMax->cells.at("Unsigned/Max").getType(), DataType::UINT);
    EXPECT_EQ(minMax->text("Unsigned/Max"), "28000");
    const PushedTable* totals = table("M Summary: Average Rate and Total");
    ASSERT_NE(totals, nullptr);
    EXPECT_EQ(totals->text("Signed/Total (mJ)"), "-6");
    EXPECT_EQ(totals->text("Unsigned/Total (mJ)"), "8");
}

TEST_F(AccumulatorTest, ResidencyDurationOncePerPointAndColumnsAddUp) {
    auto m = metric("RES", MetricType::SampledResidency, Quantity::time());
    const EntityHandle* e = entity("Core 0");
    const DataDescriptor* c0 = descriptor("C0");
    const DataDescriptor* c6 = descriptor("C6");
    ASSERT_EQ(put(*m, 2000, e, c0, Data(uint64_t{600})), 0);
    ASSERT_EQ(put(*m, 2000, e, c6, Data(uint64_t{400})), 0);
    ASSERT_EQ(put(*m, 4000, e, c0, Data(uint64_t{500})), 0);
    ASSERT_EQ(put(*m, 4000, e, c6, Data(uint64_t{1500})), 0);
    ASSERT_EQ(m->finalize(), 0);

    const auto* acc = first<SampledResidencyAccumulator>(*m);
    EXPECT_EQ(acc->getEntityStats().at(e->getId()).totalDuration, 3000.0);
    const PushedTable* t = table("M Summary: Residency (Percentage and Time)");
    ASSERT_NE(t, nullptr);
    EXPECT_EQ(t->columns, (std::vector<std::string>{"C0 (%)", "C0 (msec)", "C6 (%)", "C6 (msec)"}));
    EXPECT_NEAR(t->real("Core 0/C0 (%)"), 1100.0 / 30.0, 1e-9);
    EXPECT_NEAR(t->real("Core 0/C0 (%)") + t->real("Core 0/C6 (%)"), 100.0, 1e-9);
    EXPECT_NEAR(t->real("Core 0/C0 (msec)"), 1.1, 1e-9);
    EXPECT_NEAR(t->real("Core 0/C0 (msec)") + t->real("Core 0/C6 (msec)"), 3.0, 1e-9);
    // Cells print with their column's formatter: percentages with two
    // decimals, milliseconds with three.
    EXPECT_EQ(t->text("Core 0/C0 (%)"), "36.67");
    EXPECT_EQ(t->text("Core 0/C6 (msec)"), "1.900");
}

TEST_F(AccumulatorTest, ResidencyRefusesNonTickValuesAndStillEmitsItsTable) {
    auto m = metric("NONE", MetricType::SampledValue, nullptr);
    auto* acc = new SampledResidencyAccumulator(
        {SampledResidencyAccumulator::SummaryKind::RESIDENCY_PERCENTAGE});
    ASSERT_EQ(m->addAccumulator(acc), 0);
    const EntityHandle* e = entity("Core 0");
    ASSERT_EQ(put(*m, 2000, e, descriptor("C0"), Data(1.5)), 0);
    cap.clear();
    m->finalize();
    EXPECT_TRUE(
        logged("WARNING: M: MetricType::SampledResidency metric type is requiredto have "
               "values of type pw_u64_t\n"));
    EXPECT_TRUE(acc->getStats().empty());
    EXPECT_TRUE(acc->getEntityStats().empty());
    EXPECT_TRUE(logged(
        "WARNING: An empty residency summary table will be generated for Metric container M.\n"));
    const PushedTable* t = table("M Summary: Residency (Percentage)");
    ASSERT_NE(t, nullptr);
    EXPECT_EQ(t->columns, (std::vector<std::string>{"Residency (%)"}));
}

TEST_F(AccumulatorTest, DeltaRateInTheBaseQuantitysUnit) {
    auto m = metric("DELTA", MetricType::SampledDelta, Quantity::energy());
    const EntityHandle* e = entity("Package 0");
    const EntityHandle* idle = entity("Package 1");
    // 2000 mJ over 3 s of 1 MHz ticks; the idle package 1 mJ.
    ASSERT_EQ(put(*m, 1001000, e, nullptr, Data(uint64_t{500})), 0);
    ASSERT_EQ(put(*m, 1001000, idle, nullptr, Data(uint64_t{0})), 0);
    ASSERT_EQ(put(*m, 3001000, e, nullptr, Data(uint64_t{1500})), 0);
    ASSERT_EQ(put(*m, 3001000, idle, nullptr, Data(uint64_t{1})), 0);
    ASSERT_EQ(m->finalize(), 0);
    const PushedTable* t = table("M Summary: Average Rate and Total");
    ASSERT_NE(t, nullptr);
    EXPECT_EQ(t->columns, (std::vector<std::string>{"Average Rate (mW)", "Total (mJ)"}));
    EXPECT_NEAR(t->real("Package 0/Average Rate (mW)"), 2000.0 / 3.0, 1e-9);
    EXPECT_EQ(t->real("Package 0/Total (mJ)"), 2000.0);
    // Rates print with three significant digits, at least one decimal.
    EXPECT_EQ(t->text("Package 0/Average Rate (mW)"), "666.7");
    EXPECT_EQ(t->text("Package 1/Average Rate (mW)"), "0.333");
    EXPECT_EQ(t->text("Package 1/Total (mJ)"), "1");
}

TEST_F(AccumulatorTest, DeltaWithoutQuantityKeepsTotalsAndDropsRates) {
    auto m = metric("DELTA", MetricType::SampledDelta, nullptr);
    const EntityHandle* e = entity("Package 0");
    ASSERT_EQ(put(*m, 2000, e, nullptr, Data(uint64_t{7})), 0);
    ASSERT_EQ(put(*m, 3000, e, nullptr, Data(uint64_t{5})), 0);
    ASSERT_EQ(m->finalize(), 0);
    EXPECT_TRUE(
        logged("WARNING: Quantity and rate conversion are not specified. Disabling rate "
               "calculations.\n"));
    EXPECT_FALSE(first<SampledDeltaAccumulator>(*m)->isRateEnabled());
    const PushedTable* t = table("M Summary: Average Rate and Total");
    ASSERT_NE(t, nullptr);
    EXPECT_EQ(t->columns, (std::vector<std::string>{"Total"}));
    EXPECT_EQ(t->real("Package 0/Total"), 12.0);
}

TEST_F(AccumulatorTest, OutputConfigurationTitlesNotesAndHiddenTables) {
    auto m = metric("CFG", MetricType::SampledValue, nullptr);
    ASSERT_EQ(m->addAccumulator(new SampledValueAccumulator(
                  {SampledValueAccumulator::SummaryKind::RELATIVE_FREQUENCY_PERCENTAGE})),
              0);
    ASSERT_EQ(put(*m, 2000, entity("Core 0"), nullptr, Data(int64_t{-3})), 0);
    cap.env().setVerbosity(PW_INFO);
    cap.clear();
    ASSERT_EQ(m->finalize(), 0);

    const PushedTable* t = table("Custom Min Max");
    ASSERT_NE(t, nullptr);
    EXPECT_EQ(t->pre, (std::vector<std::string>{"Before the table"}));
    EXPECT_EQ(t->post, (std::vector<std::string>{"After the table"}));
    EXPECT_TRUE(t->transposed);
    EXPECT_EQ(t->real("Core 0/Min"), -3.0);
    EXPECT_EQ(table("M Summary - Sampled: Min/Max/Avg"), nullptr);
    EXPECT_TRUE(
        logged("INFO: Output config file entry not present for MetricContainer CFG and "
               "table type RELATIVE-FREQUENCY-PERCENTAGE.\n"));
    EXPECT_NE(table("M Summary - Sampled: Sample Distribution"), nullptr);
}

TEST_F(AccumulatorTest, TransitionEntriesAndResidency) {
    auto m = metric("TRANS", MetricType::TracedValueTransition, Quantity::time());
    const EntityHandle* e = entity("Core 0");
    const DataDescriptor* s0 = descriptor("S0");
    const DataDescriptor* s1 = descriptor("S1");
    ASSERT_EQ(put(*m, 2000, e, s0, Data(uint64_t{0}), 500), 0);
    ASSERT_EQ(put(*m, 3000, e, s1, Data(uint64_t{1}), 1000), 0);
    ASSERT_EQ(put(*m, 4000, e, s0, Data(uint64_t{0}), 500), 0);
    ASSERT_EQ(m->finalize(), 0);
    const PushedTable* counts = table("M Summary: Entry Counts");
    ASSERT_NE(counts, nullptr);
    EXPECT_EQ(counts->columns,
              (std::vector<std::string>{"S0 Entry Count", "S1 Entry Count", "Total"}));
    EXPECT_EQ(counts->real("Core 0/S0 Entry Count"), 2.0);
    EXPECT_EQ(counts->real("Core 0/Total"), 3.0);
    const PushedTable* res = table("M Summary: Residency (Percentage)");
    ASSERT_NE(res, nullptr);
    EXPECT_EQ(res->real("Core 0/S0 (%)"), 50.0);
    EXPECT_EQ(res->real("Core 0/S1 (%)"), 50.0);
}

}  // namespace
}  // namespace pwr
