// The processor power events plug-in, fed with ETW collector records.
#include "plugins/features/PpmEventsPlugin.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "common/data/UniqueId.h"
#include "tests/metrics/MetricTestSupport.h"

namespace pwr::test {
namespace {

const char* const c_shippedOutput = VANTRY_TEST_DATA_DIR "/../../config/vantry_output.cfg";

vexa_driver_msg event(const std::string& msgName, uint64_t ts, const std::string& id) {
    vexa_driver_msg msg;
    msg.timestamp = ts;
    msg.msgName = msgName;
    msg.opName = msgName + "_ETW";
    msg.values = {{"id", id}, {"task", "0"}, {"opcode", "0"}, {"version", "0"}, {"data", "01"}};
    return msg;
}

class PpmEventsPluginTest : public MetricFixture {
  protected:
    void SetUp() override {
        MetricFixture::SetUp();
        WriterInterfaceConfigFileParser::destroy();
        ASSERT_EQ(WriterInterfaceConfigFileParser::instance()->parse({c_shippedOutput}, system), 0);
        ASSERT_EQ(system.buildTopology("Package 0/Core 0/Thread 0\n", 1), 0);
        ASSERT_EQ(DataHandleProvider::initTopology(system), 0);
        cap.clear();
    }
};

TEST_F(PpmEventsPluginTest, EventsAreCountedAndTheTimeAfterEachIsAttributedToIt) {
    vantry::features::PpmEventsPlugin plugin;
    EXPECT_EQ(plugin.getCommandName(), "ppm-events");
    EXPECT_EQ(plugin.getPrefix(), "PPM");
    // Outside a collection records are ignored.
    EXPECT_EQ(plugin.processDriverMessage(event("PPM_EVENTS", 1500, "3"), system), 0);

    ASSERT_EQ(plugin.initializeCollection({}, {}, "ppm-events", {}, system), 0);
    ASSERT_EQ(plugin.getMetrics().size(), 2u);
    std::vector<int> statuses;
    for (const vexa_driver_msg& msg :
         {event("PPM_EVENTS", 2000, "3"), event("PPM_EVENTS", 2500, "5"),
          event("CSTATE_RESIDENCY", 2600, "9"), event("PPM_EVENTS", 4000, "3"),
          event("PPM_EVENTS", 4100, "x"), event("PPM_EVENTS", 5000, "3")}) {
        statuses.push_back(plugin.processDriverMessage(msg, system));
    }
    EXPECT_EQ(statuses, (std::vector<int>{0, 0, 0, 0, 1, 0}));
    ASSERT_EQ(plugin.finalizeCollection("ppm-events", {}, system), 0);
    EXPECT_TRUE(cap.loggedExactly(
        {"WARNING: PpmEventsPlugin: event record PPM_EVENTS at 4100 has no event id; the record "
         "is skipped.\n"}));

    // Every event is a point of its own: the events as handle values named
    // after their id, the intervals by the earlier event's kind.
    std::vector<std::string> events;
    std::vector<std::pair<std::string, uint64_t>> intervals;
    for (const RecordedPoint& point : writer.points) {
        for (const RecordedElement& e : point.elements) {
            EXPECT_EQ(e.entity, "Processor Power Events");
            if (e.value.getType() == DataType::HANDLE) {
                const DataHandle* handle = nullptr;
                ASSERT_EQ(e.value.toHandle(handle), 0);
                events.push_back(handle->getName() + "@" + std::to_string(point.timestamp));
            } else {
                intervals.emplace_back(e.descriptor, e.duration);
            }
        }
    }
    EXPECT_EQ(events, (std::vector<std::string>{"Event 3@2000", "Event 5@2500", "Event 3@4000",
                                                "Event 3@5000"}));
    // The damaged record does not split the interval from 4000 to 5000.
    EXPECT_EQ(intervals, (std::vector<std::pair<std::string, uint64_t>>{
                             {"Event 3", 500}, {"Event 5", 1500}, {"Event 3", 1000}}));
    EXPECT_TRUE(plugin.getMetrics().empty());
}

}  // namespace
}  // namespace pwr::test
