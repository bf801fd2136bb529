#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "common/metrics/ThermalSampleHandler.h"
#include "tests/metrics/MetricTestSupport.h"

namespace pwr::test {
namespace {

// The handler only keeps plug-in pointers as registration tokens and never
// calls them, so addresses of plain objects stand in for plug-ins.
char g_plugins[2];
const MetricPlugin* plugin(int i) {
    return reinterpret_cast<const MetricPlugin*>(&g_plugins[i]);
}

class ThermalTest : public MetricFixture {
  protected:
    void SetUp() override {
        MetricFixture::SetUp();
        handler = ThermalSampleHandler::getInstance(system, plugin(0));
        a = entity("Core 0");
        b = entity("Core 1");
        c = entity("Core 2");
    }
    void TearDown() override {
        ThermalSampleHandler::freeInstance();
        MetricFixture::TearDown();
    }
    ThermalSampleHandler* handler = nullptr;
    const EntityHandle *a = nullptr, *b = nullptr, *c = nullptr;
};

TEST_F(ThermalTest, TypicalSampleGivesMinMaxAvgPerEntityInAscendingId) {
    ASSERT_EQ(ThermalSampleHandler::getInstance(system, plugin(1)), handler);
    for (const EntityHandle* e : {c, a, b}) {
        ASSERT_EQ(handler->addEntity(e), 0);
    }
    // Each round shares the timestamp of its first reading.
    EXPECT_EQ(handler->setTemperature(c, 1100, 50, false), 0);
    EXPECT_EQ(handler->setTemperature(a, 1105, 40, false), 0);
    EXPECT_EQ(handler->setTemperature(b, 1110, 45, false), 0);
    EXPECT_EQ(handler->setTemperature(a, 1200, 44, false), 0);
    EXPECT_EQ(handler->setTemperature(b, 1205, 47, false), 0);
    EXPECT_EQ(handler->setTemperature(c, 1210, 52, false), 0);
    ASSERT_EQ(writer.points.size(), 1u);
    EXPECT_EQ(writer.points[0].timestamp, 1100u);
    EXPECT_EQ(writer.points[0].elements.size(), 3u);

    // Nothing is summarised until the last plug-in leaves.
    EXPECT_EQ(ThermalSampleHandler::release(plugin(1)), 0);
    EXPECT_TRUE(writer.tables.empty());
    EXPECT_EQ(ThermalSampleHandler::release(plugin(0)), 0);
    const RecordedTable* t = table("Temperature Metrics Summary - Sampled: Min/Max/Avg");
    ASSERT_NE(t, nullptr);
    EXPECT_EQ(t->rows, (std::vector<std::string>{"Core 0", "Core 1", "Core 2"}));
    const double expected[3][3] = {{40, 44, 42}, {45, 47, 46}, {50, 52, 51}};
    const char* columns[3] = {"/Min (oC)", "/Max (oC)", "/Avg (oC)"};
    for (int row = 0; row < 3; ++row) {
        for (int col = 0; col < 3; ++col) {
            const auto cell = t->cells.find(t->rows[row] + columns[col]);
            ASSERT_NE(cell, t->cells.end()) << t->rows[row] << columns[col];
            EXPECT_DOUBLE_EQ(realOf(cell->second), expected[row][col]);
        }
    }
    EXPECT_EQ(writer.infos, std::vector<std::string>{"TEMP"});
    EXPECT_EQ(handler->getMetric().getFeatureTag(), "ALL-THERMAL-DATA");
}

TEST_F(ThermalTest, IncompleteCycleWarnsAndResetSamplesShareOneTimestamp) {
    handler->addEntity(a);
    handler->addEntity(b);
    cap.clear();
    EXPECT_EQ(handler->addEntity(a), 1);
    EXPECT_EQ(handler->setTemperature(a, 1100, 40, false), 0);
    EXPECT_EQ(handler->setTemperature(a, 1200, 41, false), 0);
    EXPECT_EQ(handler->setTemperature(nullptr, 1200, 41, false), 1);
    EXPECT_EQ(handler->setTemperature(c, 1200, 41, false), 1);
    EXPECT_TRUE(cap.loggedExactly(
        {"WARNING: ThermalSampleHandler: Entity Core 0 already added\n",
         "WARNING: Temperature values were not set for all the entities at 1100.\n",
         "WARNING: ThermalSampleHandler: Please provide a valid entity when setting "
         "temperature.\n",
         "WARNING: ThermalSampleHandler: cannot set temperature for an entity that has not been "
         "added yet.\n"}));

    std::vector<const EntityHandle*> both{a, b};
    EXPECT_EQ(handler->resetTemperatures(both, 1300, 30), 0);
    // A new round starts after the reset, without a warning.
    cap.clear();
    EXPECT_EQ(handler->setTemperature(b, 1400, 31, true), 0);
    // (The reset point's zero durations give the accumulator's zero-weight
    // warnings, nothing else.)
    for (const std::string& line : cap.lines()) {
        EXPECT_EQ(line, "WARNING: SampledValueAccumulator has zero weight!\n");
    }
    ASSERT_EQ(writer.points.size(), 3u);
    const RecordedPoint& reset = writer.points[2];
    EXPECT_EQ(reset.timestamp, 1300u);
    ASSERT_EQ(reset.elements.size(), 2u);
    EXPECT_EQ(reset.elements[0].duration, 0u);
    EXPECT_EQ(reset.elements[1].duration, 0u);
    EXPECT_EQ(reset.elements[1].value, Data(uint64_t{30}));
}

TEST_F(ThermalTest, ReleaseChecksRegistration) {
    cap.clear();
    EXPECT_EQ(ThermalSampleHandler::release(plugin(1)), 1);
    // The last plug-in leaves a handler that never got data: nothing to do.
    EXPECT_EQ(ThermalSampleHandler::release(plugin(0)), 0);
    ThermalSampleHandler::freeInstance();
    EXPECT_EQ(ThermalSampleHandler::release(plugin(0)), 1);
    EXPECT_TRUE(cap.loggedExactly(
        {"WARNING: ThermalSampleHandler: Attempt to unregister a plugin that has not been "
         "registered or it may have already been unregistered.\n",
         "WARNING: Attempt to unregister a plugin from a non-existant ThermalSampleHandler\n"}));
    EXPECT_TRUE(writer.tables.empty());
}

}  // namespace
}  // namespace pwr::test
