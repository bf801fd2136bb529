// The shipped platform configuration, parsed with the real collectors.
#include <gtest/gtest.h>

#include <map>
#include <set>
#include <string>
#include <vector>

#include "common/config/VexaConfigFileParser.h"
#include "common/serialize/SystemMetadata.h"
#include "plugins/collectors/CounterCollector.h"
#include "plugins/collectors/EtwCollector.h"
#include "plugins/collectors/FileCollector.h"
#include "tests/etw/FakeEtwBackend.h"
#include "tests/support/LogCapture.h"

namespace vantry {
namespace {

const char* const c_platformConfig = VANTRY_TEST_DATA_DIR "/../../config/vantry_platform.cfg";
const std::string c_data = std::string(VANTRY_TEST_DATA_DIR) + "/collectors/";

// A system without any counter.
class NoCounters : public CounterBackend {
  public:
    bool processorTimes(std::vector<ProcessorTimes>&) override { return false; }
    bool processorPower(std::vector<ProcessorPower>&) override { return false; }
    bool batteryState(BatteryState&) override { return false; }
    bool rawCounters(const std::string&, std::vector<std::pair<std::string, int64_t>>&) override {
        return false;
    }
};

struct Feature {
    std::string command;
    std::set<std::string> groups;
};

class PlatformConfigFileTest : public ::testing::Test {
  protected:
    PlatformConfigFileTest()
        : file(c_data + "vm2"),
          counter(std::unique_ptr<CounterBackend>(new NoCounters())),
          collectors{&file, &counter, &etw} {}
    void SetUp() override {
        // A provider list without any provider.
        fakeEtw.providerInfo.assign(8, 0);
        log.context().setVerbosity(PW_WARNING);
        ASSERT_EQ(pwr::VexaConfigFileParser::instance()->parse({c_platformConfig}, collectors,
                                                               pwr::SystemMetadata()),
                  0);
        parser = pwr::VexaConfigFileParser::instance();
    }
    void TearDown() override { pwr::VexaConfigFileParser::destroy(); }

    pwr::test::LogCapture log;
    // No trace provider registered: the ETW kind is unavailable.
    FakeEtwBackend fakeEtw;
    FileCollector file;
    CounterCollector counter;
    EtwCollector etw;
    std::vector<CollectorPlugin*> collectors;
    pwr::VexaConfigFileParser* parser = nullptr;
};

const std::map<std::string, Feature> c_features = {
    {"CSTATE", {"cstate", {"cpu", "all"}}},
    {"FREQ", {"frequency", {"cpu", "all"}}},
    {"THERMAL", {"temperature", {"thermal", "all"}}},
    {"ENERGY", {"energy", {"power", "all"}}},
    {"IRQ", {"interrupts", {"cpu", "all"}}},
    {"DISKIO", {"disk-io", {"io", "all"}}},
    {"NETIO", {"net-io", {"io", "all"}}},
    {"BATTERY", {"battery", {"power", "all"}}},
    {"PPM", {"ppm-events", {"all"}}},
};

TEST_F(PlatformConfigFileTest, EveryFeatureHasItsCapabilityAndMessages) {
    std::vector<const pwr::ConfigCap*> caps;
    ASSERT_EQ(parser->getCapabilitiesFor(caps, "ALL"), 0);
    std::map<std::string, Feature> found;
    for (const pwr::ConfigCap* cap : caps) {
        const auto& groups = cap->getGroups();
        found[cap->getConfigfilePrefix()] = {cap->getName(), {groups.begin(), groups.end()}};
        EXPECT_FALSE(cap->getDescription().empty()) << cap->getName();
        EXPECT_FALSE(cap->isHidden()) << cap->getName();
    }
    ASSERT_EQ(found.size(), c_features.size());
    for (const auto& feature : c_features) {
        EXPECT_EQ(found[feature.first].command, feature.second.command) << feature.first;
        EXPECT_EQ(found[feature.first].groups, feature.second.groups) << feature.first;
    }

    for (const auto& feature : c_features) {
        const std::string& prefix = feature.first;
        std::vector<pwr::InputMsg*> msgs;
        ASSERT_EQ(parser->getMessagesFor(msgs, "ALL", prefix, {}), 0) << prefix;
        std::set<std::string> kinds;
        for (const pwr::InputMsg* msg : msgs) {
            ASSERT_EQ(msg->getOperationCount(), 1u) << msg->getFullName();
            const pwr::Operation* op = msg->getOperations()[0];
            kinds.insert(op->getOperation());
            std::string source;
            EXPECT_TRUE(op->getPacket() != nullptr && op->getPacket()->get("SOURCE", source))
                << msg->getFullName();
            EXPECT_EQ(msg->getCommand(), pwr::VexaOpCommand::READ);
            const std::set<std::string> expected =
                prefix == "PPM" ? std::set<std::string>{"BEGIN", "END"}
                                : std::set<std::string>{"BEGIN", "POLL", "END"};
            EXPECT_EQ(msg->getTriggers(), expected) << msg->getFullName();
            // Bound to the collector of its kind.
            ASSERT_NE(op->getCollector(), nullptr);
            EXPECT_EQ(static_cast<ReadingCollector*>(op->getCollector())->getKind(),
                      op->getOperation());
        }
        const std::set<std::string> expectedKinds = prefix == "PPM"
                                                        ? std::set<std::string>{"ETW"}
                                                        : std::set<std::string>{"FILE", "COUNTER"};
        EXPECT_EQ(kinds, expectedKinds) << prefix;
    }
}

TEST_F(PlatformConfigFileTest, RealPlatformsAreRecognisedAndInheritEveryFeature) {
    const std::map<std::string, std::string> fms = {
        {"6.0x9A.3", "ADL"}, {"6.0xAA.4", "MTL"},     {"6.0xBD.1", "LNL"},
        {"6.0x8F.8", "SPR"}, {"0x19.0x61.2", "ZEN4"}, {"0x1A.0x02.0", "TURIN"}};
    for (const auto& entry : fms) {
        std::string name;
        ASSERT_EQ(parser->getPlatformName(name, {"FMS", entry.first}), 0) << entry.first;
        EXPECT_EQ(name, entry.second);
        for (const auto& feature : c_features) {
            std::vector<pwr::InputMsg*> msgs;
            std::vector<pwr::InputMsg*> root;
            ASSERT_EQ(parser->getMessagesFor(msgs, name, feature.first, {}), 0);
            ASSERT_EQ(parser->getMessagesFor(root, "ALL", feature.first, {}), 0);
            EXPECT_EQ(msgs, root) << name << " " << feature.first;
        }
    }
    std::string name;
    EXPECT_NE(parser->getPlatformName(name, {"FMS", "6.0x01.0"}), 0);
}

TEST_F(PlatformConfigFileTest, OnARecordedLinuxTreeEveryFileFeatureIsAvailable) {
    for (const auto& feature : c_features) {
        std::vector<pwr::InputMsg*> msgs;
        ASSERT_EQ(parser->getMessagesFor(msgs, "ALL", feature.first, {}), 0);
        size_t available = 0;
        for (const pwr::InputMsg* msg : msgs) {
            CollectorPlugin* collector = msg->getOperations()[0]->getCollector();
            if (collector->canCollectMessage(msg)) {
                ++available;
                EXPECT_EQ(collector, &file) << msg->getFullName();
            }
        }
        // Exactly the FILE message; PPM has no session here.
        EXPECT_EQ(available, feature.first == "PPM" ? 0u : 1u) << feature.first;
    }
}

}  // namespace
}  // namespace vantry
