#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "common/plugins/MetricPluginCapability.h"
#include "common/plugins/Plugin.h"
#include "common/plugins/PluginRequirement.h"
#include "common/serialize/SystemMetadata.h"
#include "tests/support/FakeRequirement.h"
#include "tests/support/LogCapture.h"

namespace pwr {
namespace {

using test::FakeRequirement;
using test::fixedRequirement;

// A metric capability with the base's attribute helpers opened.
class TestCapability : public MetricPluginCapability {
  public:
    using MetricPluginCapability::MetricPluginCapability;
    using PluginCapability::getAttributes_i;
    using PluginCapability::isAttributeSet_i;
    using PluginCapability::setAttribute_i;
};

class TestPlugin : public Plugin {
  public:
    TestPlugin() : Plugin("TestPlugin", "5b0c1f4e-0000-4000-8000-000000000001") {}
    ResetReturnCode reset(ResetReason, uint64_t, const SystemMetadata&) override {
        return ResetReturnCode::SUCCESS;
    }
    void add(PluginCapability* cap) { addCapability(cap); }
};

class CapabilityTest : public ::testing::Test {
  protected:
    int suitability(const PluginCapability& cap) {
        return static_cast<int>(cap.isCapabilitySuitableFor(sys, attrs));
    }
    SystemMetadata sys;
    AttributePairs attrs;
    test::LogCapture log;
    int asked = 0;
};

TEST_F(CapabilityTest, SuitabilityIsZeroOneOrTwo) {
    TestCapability cap("power", "Package power");
    EXPECT_FALSE(cap.addPluginRequirement(nullptr));
    // Without requirements: suitable, nothing examined.
    EXPECT_EQ(suitability(cap), 1);
    EXPECT_TRUE(log.loggedExactly({"DEBUG: Package power has result = 1\n"}));

    log.clear();
    cap.addPluginRequirement(fixedRequirement(true, &asked));
    cap.addPluginRequirement(fixedRequirement(true, &asked));
    EXPECT_EQ(suitability(cap), 2);
    EXPECT_EQ(asked, 2);
    const char* const passed = "DEBUG: set PASSED for  power, Package power\n";
    EXPECT_TRUE(
        log.loggedExactly({"DEBUG: Requirement met: 1\n", passed, "DEBUG: Requirement met: 1\n",
                           passed, "DEBUG: Package power has result = 2\n"}));

    // The first failing requirement ends the test.
    log.clear();
    asked = 0;
    cap.addPluginRequirement(fixedRequirement(false, &asked));
    cap.addPluginRequirement(fixedRequirement(true, &asked));
    EXPECT_EQ(suitability(cap), 0);
    EXPECT_EQ(asked, 3);
    EXPECT_TRUE(log.loggedExactly(
        {"DEBUG: Requirement met: 1\n", passed, "DEBUG: Requirement met: 1\n", passed,
         "DEBUG: Requirement met: 0\n", "DEBUG: Package power has result = 0\n"}));
}

TEST_F(CapabilityTest, ContinuousCollectionRuleComesBeforeRequirements) {
    sys.continuousCollectionQuantum = 1000;
    TestCapability once("power", "Package power");
    once.addPluginRequirement(fixedRequirement(true, &asked));
    EXPECT_EQ(suitability(once), 0);
    EXPECT_EQ(asked, 0);
    EXPECT_TRUE(log.loggedExactly({}));

    TestCapability continuous("power", "Package power", true);
    continuous.addPluginRequirement(fixedRequirement(true, &asked));
    EXPECT_EQ(suitability(continuous), 2);
    EXPECT_EQ(asked, 1);

    // Without a continuous collection the bit does not matter.
    sys.continuousCollectionQuantum = 0;
    EXPECT_EQ(suitability(once), 2);
}

TEST_F(CapabilityTest, AttributeBitsStayApart) {
    TestCapability cap("m", "Metric");
    // Kinds own bits 8 to 63: the base's bits are out of their reach.
    EXPECT_FALSE(cap.setAttribute_i(7));
    EXPECT_FALSE(cap.setAttribute_i(64));
    EXPECT_TRUE(cap.setAttribute_i(63));
    EXPECT_EQ(cap.getAttributes_i(), uint64_t{1} << 63);
    EXPECT_FALSE(cap.isAttributeSet_i(64));
    cap.setHidden();
    cap.setOrResetContinuousCollectionSupport(true);
    cap.setNoCollect();
    cap.setDependent();
    cap.disableDynamicCheck();
    EXPECT_EQ(cap.getAttributes_i(), 0x8000000000000706ull);
    EXPECT_TRUE(cap.isHidden() && cap.doesSupportContinuousCollection());
    EXPECT_TRUE(cap.isNoCollect() && cap.isDependent());
    EXPECT_FALSE(cap.shouldCheckBeforeDisplaying());
    cap.setNoCollect(false);
    EXPECT_EQ(cap.getAttributes_i(), 0x8000000000000606ull);
    EXPECT_EQ(TestCapability("s", "Streaming", true).getAttributes_i(), 0x4u);
}

TEST_F(CapabilityTest, FMSRange) {
    TestCapability cap("tgl", "One processor", "tgl", 1, FMS{6, 0x8C, 1}, "power");
    EXPECT_EQ(cap.getGroupNames(), std::set<std::string>{"power"});
    auto in = [&cap](uint8_t f, uint8_t m, uint8_t s) {
        return cap.doesRangeInclude(FMS{f, m, s});
    };
    EXPECT_TRUE(in(6, 0x8C, 1));
    EXPECT_FALSE(in(6, 0x8C, 2));
    // Family and model zero: from that stepping on, every later processor.
    cap.setFMS(FMS{0, 0, 5});
    EXPECT_FALSE(in(0, 0, 4));
    EXPECT_TRUE(in(0, 0, 5));
    EXPECT_TRUE(in(0xFF, 0xFF, 0xFF));
    // Only both zero open the range.
    cap.setFMS(FMS{0, 1, 0});
    EXPECT_FALSE(in(0, 1, 1));
    cap.setFMS(FMS{6, 0, 0});
    EXPECT_FALSE(in(6, 0, 1));
    // Family, model and stepping compare as one number.
    cap.setFMSRange(FMS{6, 0x10, 5}, FMS{6, 0x20, 1});
    EXPECT_TRUE(in(6, 0x10, 5));
    EXPECT_TRUE(in(6, 0x15, 0));
    EXPECT_TRUE(in(6, 0x20, 1));
    EXPECT_FALSE(in(6, 0x20, 2));
    EXPECT_FALSE(in(6, 0x10, 4));
    // A reversed range holds its ends only.
    cap.setFMSRange(FMS{6, 0x20, 0}, FMS{6, 0x10, 0});
    EXPECT_TRUE(in(6, 0x10, 0));
    EXPECT_FALSE(in(6, 0x15, 0));
}

TEST_F(CapabilityTest, ReadTriggersWarnButWork) {
    TestCapability cap("m", "Metric");
    cap.addReadTrigger(0x1);
    cap.addReadTrigger(0x4);
    EXPECT_EQ(cap.getReadTriggers(), 0x5u);
    EXPECT_TRUE(log.loggedExactly(std::vector<std::string>(3, "WARNING: DEPRECATED API!\n")));
}

using Names = std::vector<std::string>;
const std::pair<std::string, std::string> fastMode("mode", "fast");

class CapabilityQueryTest : public CapabilityTest {
  protected:
    void SetUp() override {
        plugin.add(capability("power", "Package power", {"cpu"}));
        plugin.add(capability("thermal", "Core temperature", {"cpu", "thermal-all"}));
        plugin.add(
            capability("gfx", "Graphics residency", {"cpu"}, fixedRequirement(false, &asked)));
        // Satisfied when the request carries the pair ("mode", "fast").
        plugin.add(
            capability("fast", "Fast sampling", {},
                       new FakeRequirement([](const SystemMetadata&, const AttributePairs& a) {
                           return std::count(a.begin(), a.end(), fastMode) != 0;
                       })));
        plugin.add(nullptr);
    }

    static TestCapability* capability(const char* name, const char* description,
                                      const std::vector<const char*>& groups,
                                      PluginRequirement* requirement = nullptr) {
        auto* cap = new TestCapability(name, description);
        for (const char* group : groups) {
            cap->addGroupName(group);
        }
        cap->addPluginRequirement(requirement);
        return cap;
    }

    // The names of what the plug-in found so far: queries append.
    std::vector<std::string> query(const std::string& name, const AttributePairs& pairs = {}) {
        plugin.getCapabilitiesFor(found, name, sys, pairs);
        std::vector<std::string> names;
        for (const PluginCapability* cap : found) {
            names.push_back(cap->getName());
        }
        return names;
    }

    size_t count(const std::string& line) {
        const std::vector<std::string> lines = log.lines();
        return static_cast<size_t>(std::count(lines.begin(), lines.end(), line));
    }

    std::vector<PluginCapability*> found;
    TestPlugin plugin;
};

TEST_F(CapabilityQueryTest, MatchesByNameOrGroupInRegistrationOrder) {
    ASSERT_EQ(plugin.getCapabilities().size(), 4u);
    EXPECT_EQ(plugin.getCapabilities()[3]->getOwner(), &plugin);
    EXPECT_EQ(query("cpu"), (Names{"power", "thermal"}));
    EXPECT_EQ(asked, 1);
    EXPECT_EQ(count("INFO: TestPlugin is reporting a suitable capability for cpu!\n"), 2u);

    found.clear();
    log.clear();
    // Only candidates are tested.
    EXPECT_EQ(query("thermal-all"), Names{"thermal"});
    EXPECT_EQ(asked, 1);
    EXPECT_TRUE(log.loggedExactly({
        "DEBUG: Core temperature has result = 1\n",
        "INFO: TestPlugin is reporting a suitable capability for thermal-all!\n",
    }));

    // A description or an unknown name adds nothing.
    log.clear();
    EXPECT_EQ(query("Package power"), Names{"thermal"});
    EXPECT_EQ(query("gpu"), Names{"thermal"});
    EXPECT_TRUE(log.loggedExactly({}));
}

TEST_F(CapabilityQueryTest, EmptyNameReturnsEverySuitableCapability) {
    EXPECT_EQ(query(""), (Names{"power", "thermal"}));
    EXPECT_EQ(count("INFO: TestPlugin is reporting a suitable capability for !\n"), 2u);
    std::vector<PluginCapability*> all;
    plugin.getAllCapabilities(all, sys);
    EXPECT_EQ(all, found);
}

TEST_F(CapabilityQueryTest, AttributePairsReachTheRequirements) {
    EXPECT_TRUE(query("fast").empty());
    EXPECT_TRUE(query("fast", {{"mode", "slow"}}).empty());
    EXPECT_EQ(query("fast", {{"rate", "10"}, {"mode", "fast"}}), Names{"fast"});
}

}  // namespace
}  // namespace pwr
