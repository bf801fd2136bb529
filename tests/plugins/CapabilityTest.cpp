#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "common/plugins/ConfigCap.h"
#include "common/plugins/MetricPluginCapability.h"
#include "common/plugins/Plugin.h"
#include "common/plugins/PluginCapability.h"
#include "common/plugins/PluginRequirement.h"
#include "common/plugins/ResultFilePluginCapability.h"
#include "common/plugins/WriterPluginCapability.h"
#include "common/serialize/SystemMetadata.h"
#include "tests/support/LogCapture.h"

namespace pwr {
namespace {

FMS fms(uint8_t family, uint8_t model, uint8_t stepping) {
    FMS f;
    f.family = family;
    f.model = model;
    f.stepping = stepping;
    return f;
}

// A requirement with a fixed answer that counts how often it was asked.
class FixedRequirement : public PluginRequirement {
  public:
    FixedRequirement(bool answer, int* asked, bool negative = false)
        : PluginRequirement("FIXED", negative), m_answer(answer), m_asked(asked) {}
    std::unique_ptr<PluginRequirement> clone() const override {
        return std::make_unique<FixedRequirement>(*this);
    }

  protected:
    bool isPluginRequirementSatisfied_i(const SystemMetadata&,
                                        const AttributePairs&) const override {
        ++*m_asked;
        return m_answer;
    }

  private:
    bool m_answer;
    int* m_asked;
};

// Satisfied when the request carries the pair ("mode", "fast").
class AttributeRequirement : public PluginRequirement {
  public:
    AttributeRequirement() : PluginRequirement("ATTR", false) {}
    std::unique_ptr<PluginRequirement> clone() const override {
        return std::make_unique<AttributeRequirement>(*this);
    }

  protected:
    bool isPluginRequirementSatisfied_i(const SystemMetadata&,
                                        const AttributePairs& attrs) const override {
        for (const auto& pair : attrs) {
            if (pair.first == "mode" && pair.second == "fast") {
                return true;
            }
        }
        return false;
    }
};

// Opens the attribute helpers that kinds use.
class TestCapability : public PluginCapability {
  public:
    using PluginCapability::getAttributes_i;
    using PluginCapability::isAttributeSet_i;
    using PluginCapability::PluginCapability;
    using PluginCapability::setAttribute_i;
    using PluginCapability::setAttributeUnchecked_i;
    using PluginCapability::unsetAttributeUnchecked_i;
};

class TestMetricCapability : public MetricPluginCapability {
  public:
    using MetricPluginCapability::getAttributes_i;
    using MetricPluginCapability::init_i;
    using MetricPluginCapability::MetricPluginCapability;
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
    SystemMetadata sys;
    AttributePairs attrs;
    test::LogCapture log;
};

// --- suitability -------------------------------------------------------------

TEST_F(CapabilityTest, WithoutRequirementsSuitableUnexamined) {
    TestCapability cap("power", "Package power");
    EXPECT_EQ(cap.isCapabilitySuitableFor(sys, attrs), PluginRequirementResult::SUITABLE);
    EXPECT_EQ(static_cast<int>(PluginRequirementResult::SUITABLE), 1);
    EXPECT_TRUE(log.loggedExactly({"DEBUG: Package power has result = 1\n"}));
}

TEST_F(CapabilityTest, AllRequirementsPassingGivesTwo) {
    int asked = 0;
    TestCapability cap("power", "Package power");
    EXPECT_TRUE(cap.addPluginRequirement(new FixedRequirement(true, &asked)));
    EXPECT_TRUE(cap.addPluginRequirement(new FixedRequirement(true, &asked)));
    EXPECT_EQ(cap.getRequirementCount(), 2u);
    EXPECT_EQ(cap.isCapabilitySuitableFor(sys, attrs),
              PluginRequirementResult::SUITABLE_REQUIREMENTS_PASSED);
    EXPECT_EQ(static_cast<int>(PluginRequirementResult::SUITABLE_REQUIREMENTS_PASSED), 2);
    EXPECT_EQ(asked, 2);
    EXPECT_TRUE(log.loggedExactly({
        "DEBUG: Requirement met: 1\n",
        "DEBUG: set PASSED for  power, Package power\n",
        "DEBUG: Requirement met: 1\n",
        "DEBUG: set PASSED for  power, Package power\n",
        "DEBUG: Package power has result = 2\n",
    }));
}

TEST_F(CapabilityTest, FirstFailingRequirementStopsTheTest) {
    int asked = 0;
    TestCapability cap("power", "Package power");
    cap.addPluginRequirement(new FixedRequirement(true, &asked));
    cap.addPluginRequirement(new FixedRequirement(false, &asked));
    cap.addPluginRequirement(new FixedRequirement(true, &asked));
    EXPECT_EQ(cap.isCapabilitySuitableFor(sys, attrs), PluginRequirementResult::NOT_SUITABLE);
    EXPECT_EQ(asked, 2);
    EXPECT_TRUE(log.loggedExactly({
        "DEBUG: Requirement met: 1\n",
        "DEBUG: set PASSED for  power, Package power\n",
        "DEBUG: Requirement met: 0\n",
        "DEBUG: Package power has result = 0\n",
    }));
}

TEST_F(CapabilityTest, SatisfiedNegativeRequirementMakesUnsuitable) {
    sys.osName = "Windows 10";
    TestCapability cap("gfx", "Graphics residency");
    cap.addPluginRequirement(new OSNamePluginRequirement("Windows 10", true));
    EXPECT_EQ(cap.isCapabilitySuitableFor(sys, attrs), PluginRequirementResult::NOT_SUITABLE);
    EXPECT_TRUE(log.loggedExactly({
        "DEBUG: Negative Requirement met: 0\n",
        "DEBUG: Graphics residency has result = 0\n",
    }));

    log.clear();
    sys.osName = "Windows 11";
    EXPECT_EQ(cap.isCapabilitySuitableFor(sys, attrs),
              PluginRequirementResult::SUITABLE_REQUIREMENTS_PASSED);
    EXPECT_TRUE(log.loggedExactly({
        "DEBUG: Negative Requirement met: 1\n",
        "DEBUG: set PASSED for  gfx, Graphics residency\n",
        "DEBUG: Graphics residency has result = 2\n",
    }));
}

TEST_F(CapabilityTest, ContinuousCollectionRuleComesBeforeRequirements) {
    int asked = 0;
    sys.continuousCollectionQuantum = 1000;
    TestCapability once("power", "Package power");
    once.addPluginRequirement(new FixedRequirement(true, &asked));
    EXPECT_EQ(once.isCapabilitySuitableFor(sys, attrs), PluginRequirementResult::NOT_SUITABLE);
    EXPECT_EQ(asked, 0);
    EXPECT_TRUE(log.loggedExactly({}));

    TestCapability continuous("power", "Package power", true);
    continuous.addPluginRequirement(new FixedRequirement(true, &asked));
    EXPECT_EQ(continuous.isCapabilitySuitableFor(sys, attrs),
              PluginRequirementResult::SUITABLE_REQUIREMENTS_PASSED);
    EXPECT_EQ(asked, 1);

    // Without a continuous collection the bit does not matter.
    sys.continuousCollectionQuantum = 0;
    EXPECT_EQ(once.isCapabilitySuitableFor(sys, attrs),
              PluginRequirementResult::SUITABLE_REQUIREMENTS_PASSED);
    EXPECT_EQ(asked, 2);
}

TEST_F(CapabilityTest, DebugLinesNeedDebugVerbosity) {
    int asked = 0;
    TestCapability cap("power", "Package power");
    cap.addPluginRequirement(new FixedRequirement(true, &asked));
    log.context().setVerbosity(PW_WARNING);
    EXPECT_EQ(cap.isCapabilitySuitableFor(sys, attrs),
              PluginRequirementResult::SUITABLE_REQUIREMENTS_PASSED);
    EXPECT_TRUE(log.loggedExactly({}));
}

TEST_F(CapabilityTest, NullRequirementIsRefused) {
    TestCapability cap("power", "Package power");
    EXPECT_FALSE(cap.addPluginRequirement(nullptr));
    EXPECT_EQ(cap.getRequirementCount(), 0u);
    EXPECT_EQ(cap.getRequirement(0), nullptr);
}

// --- attribute bits ----------------------------------------------------------

TEST_F(CapabilityTest, KindsOwnBitsEightToSixtyThree) {
    TestCapability cap("power", "Package power");
    EXPECT_EQ(cap.getAttributes_i(), 0u);
    EXPECT_FALSE(cap.setAttribute_i(7));
    EXPECT_EQ(cap.getAttributes_i(), 0u);
    EXPECT_FALSE(cap.setAttribute_i(0));
    EXPECT_FALSE(cap.setAttribute_i(64));
    EXPECT_EQ(cap.getAttributes_i(), 0u);
    EXPECT_TRUE(cap.setAttribute_i(8));
    EXPECT_EQ(cap.getAttributes_i(), 0x100u);
    EXPECT_TRUE(cap.setAttribute_i(63));
    EXPECT_EQ(cap.getAttributes_i(), 0x8000000000000100ull);
    EXPECT_TRUE(cap.isAttributeSet_i(8));
    EXPECT_TRUE(cap.isAttributeSet_i(63));
    EXPECT_FALSE(cap.isAttributeSet_i(9));
    EXPECT_FALSE(cap.isAttributeSet_i(64));
    EXPECT_FALSE(cap.isAttributeSet_i(127));
}

TEST_F(CapabilityTest, UncheckedHelpersReachEveryBit) {
    TestCapability cap("power", "Package power");
    cap.setAttributeUnchecked_i(3);
    EXPECT_TRUE(cap.isAttributeSet_i(3));
    cap.setAttributeUnchecked_i(40);
    EXPECT_EQ(cap.getAttributes_i(), (uint64_t{1} << 40) | 0x8u);
    cap.unsetAttributeUnchecked_i(3);
    EXPECT_EQ(cap.getAttributes_i(), uint64_t{1} << 40);
    cap.setAttributeUnchecked_i(64);
    cap.unsetAttributeUnchecked_i(200);
    EXPECT_EQ(cap.getAttributes_i(), uint64_t{1} << 40);
}

TEST_F(CapabilityTest, HiddenAndContinuousBits) {
    TestCapability plain("power", "Package power");
    EXPECT_FALSE(plain.isHidden());
    EXPECT_FALSE(plain.doesSupportContinuousCollection());
    plain.setHidden();
    EXPECT_TRUE(plain.isHidden());
    EXPECT_EQ(plain.getAttributes_i(), 0x2u);
    plain.setOrResetContinuousCollectionSupport(true);
    EXPECT_TRUE(plain.doesSupportContinuousCollection());
    EXPECT_EQ(plain.getAttributes_i(), 0x6u);
    plain.setOrResetContinuousCollectionSupport(false);
    plain.setHidden(false);
    EXPECT_EQ(plain.getAttributes_i(), 0u);

    TestCapability continuous("power", "Package power", true);
    EXPECT_EQ(continuous.getAttributes_i(), 0x4u);
    EXPECT_TRUE(continuous.doesSupportContinuousCollection());
}

// --- names -------------------------------------------------------------------

TEST_F(CapabilityTest, NameComparisonAndGroups) {
    TestCapability cap("cstate", "Core C-state residency");
    cap.addGroupName("power");
    cap.addGroupName("cpu");
    cap.addGroupName("power");
    EXPECT_EQ(cap.getGroupNames(), (std::set<std::string>{"cpu", "power"}));
    EXPECT_TRUE(cap == std::string("cstate"));
    EXPECT_FALSE(cap == std::string("power"));
    EXPECT_TRUE(cap != std::string("cpu"));
    EXPECT_TRUE(cap.equals("cstate"));
    EXPECT_TRUE(cap.equals("power"));
    EXPECT_TRUE(cap.equals("cpu"));
    EXPECT_FALSE(cap.equals("gpu"));
    EXPECT_FALSE(cap.equals(""));
    EXPECT_FALSE(cap.equals("Core C-state residency"));
}

// --- metric capabilities -----------------------------------------------------

TEST_F(CapabilityTest, MetricInitStoresPrefixIdRangeAndGroup) {
    TestMetricCapability cap("pkg-power", "Package power", "pkgpwr", 12, fms(6, 0x8C, 1), "power");
    EXPECT_EQ(cap.getConfigFilePrefix(), "pkgpwr");
    EXPECT_EQ(cap.getMetricID(), 12);
    EXPECT_EQ(cap.getFMSRange().first, fms(6, 0x8C, 1));
    EXPECT_EQ(cap.getFMSRange().second, fms(6, 0x8C, 1));
    EXPECT_EQ(cap.getGroupNames(), (std::set<std::string>{"power"}));
    cap.setMetricID(13);
    EXPECT_EQ(cap.getMetricID(), 13);

    TestMetricCapability noGroup("pkg-power", "Package power");
    noGroup.init_i("p", 1, fms(6, 0x8C, 1), "");
    EXPECT_TRUE(noGroup.getGroupNames().empty());
    EXPECT_EQ(noGroup.getConfigFilePrefix(), "p");
}

TEST_F(CapabilityTest, ZeroFamilyAndModelCoverEveryLaterProcessor) {
    TestMetricCapability cap("any", "Any processor");
    cap.setFMS(fms(0, 0, 0));
    EXPECT_EQ(cap.getFMSRange().second, fms(0xFF, 0xFF, 0xFF));
    EXPECT_TRUE(cap.doesRangeInclude(fms(6, 0x8A, 0)));
    EXPECT_TRUE(cap.doesRangeInclude(fms(0, 0, 0)));
    EXPECT_TRUE(cap.doesRangeInclude(fms(0xFF, 0xFF, 0xFF)));

    cap.setFMS(fms(0, 0, 5));
    EXPECT_EQ(cap.getFMSRange().first, fms(0, 0, 5));
    EXPECT_FALSE(cap.doesRangeInclude(fms(0, 0, 4)));
    EXPECT_TRUE(cap.doesRangeInclude(fms(0, 0, 5)));
    EXPECT_TRUE(cap.doesRangeInclude(fms(0, 1, 0)));

    // Only family and model both zero open the range.
    cap.setFMS(fms(0, 1, 0));
    EXPECT_EQ(cap.getFMSRange().second, fms(0, 1, 0));
    EXPECT_FALSE(cap.doesRangeInclude(fms(6, 0x8A, 0)));
    cap.setFMS(fms(6, 0, 0));
    EXPECT_EQ(cap.getFMSRange().second, fms(6, 0, 0));
}

TEST_F(CapabilityTest, SingleProcessorRange) {
    TestMetricCapability cap("tgl", "One processor", "tgl", 1, fms(6, 0x8C, 1), "");
    EXPECT_TRUE(cap.doesRangeInclude(fms(6, 0x8C, 1)));
    EXPECT_FALSE(cap.doesRangeInclude(fms(6, 0x8C, 0)));
    EXPECT_FALSE(cap.doesRangeInclude(fms(6, 0x8C, 2)));
    EXPECT_FALSE(cap.doesRangeInclude(fms(6, 0x8D, 1)));
}

TEST_F(CapabilityTest, RangeComparesFamilyModelSteppingAsOneNumber) {
    TestMetricCapability cap("range", "A range");
    cap.setFMSRange(fms(6, 0x10, 5), fms(6, 0x20, 1));
    EXPECT_TRUE(cap.doesRangeInclude(fms(6, 0x10, 5)));
    // Stepping 0 is below the low end's stepping, but the model is higher.
    EXPECT_TRUE(cap.doesRangeInclude(fms(6, 0x15, 0)));
    EXPECT_TRUE(cap.doesRangeInclude(fms(6, 0x20, 1)));
    EXPECT_FALSE(cap.doesRangeInclude(fms(6, 0x20, 2)));
    EXPECT_FALSE(cap.doesRangeInclude(fms(6, 0x10, 4)));
    EXPECT_FALSE(cap.doesRangeInclude(fms(5, 0xFF, 0xFF)));
    EXPECT_FALSE(cap.doesRangeInclude(fms(7, 0x10, 5)));

    // A reversed range holds its ends only.
    cap.setFMSRange(fms(6, 0x20, 0), fms(6, 0x10, 0));
    EXPECT_TRUE(cap.doesRangeInclude(fms(6, 0x20, 0)));
    EXPECT_TRUE(cap.doesRangeInclude(fms(6, 0x10, 0)));
    EXPECT_FALSE(cap.doesRangeInclude(fms(6, 0x15, 0)));
}

TEST_F(CapabilityTest, MetricAttributeBits) {
    TestMetricCapability cap("m", "Metric");
    EXPECT_FALSE(cap.isNoCollect());
    EXPECT_FALSE(cap.isDependent());
    EXPECT_TRUE(cap.shouldCheckBeforeDisplaying());
    cap.setNoCollect();
    EXPECT_EQ(cap.getAttributes_i(), 0x100u);
    cap.setDependent();
    EXPECT_EQ(cap.getAttributes_i(), 0x300u);
    cap.disableDynamicCheck();
    EXPECT_EQ(cap.getAttributes_i(), 0x700u);
    EXPECT_TRUE(cap.isNoCollect());
    EXPECT_TRUE(cap.isDependent());
    EXPECT_FALSE(cap.shouldCheckBeforeDisplaying());
    cap.setNoCollect(false);
    cap.setDependent(false);
    EXPECT_EQ(cap.getAttributes_i(), 0x400u);
    // The base's bits are still apart from the kind's.
    EXPECT_FALSE(cap.isHidden());
    EXPECT_FALSE(cap.doesSupportContinuousCollection());
}

TEST_F(CapabilityTest, ReadTriggersWarnButWork) {
    TestMetricCapability cap("m", "Metric");
    cap.addReadTrigger(0x1);
    cap.addReadTrigger(0x4);
    EXPECT_EQ(cap.getReadTriggers(), 0x5u);
    EXPECT_TRUE(log.loggedExactly({"WARNING: DEPRECATED API!\n", "WARNING: DEPRECATED API!\n",
                                   "WARNING: DEPRECATED API!\n"}));
    log.clear();
    log.context().setVerbosity(PW_ERROR);
    cap.addReadTrigger(0x8);
    EXPECT_EQ(cap.getReadTriggers(), 0xDu);
    EXPECT_TRUE(log.loggedExactly({}));
}

// --- the other kinds ---------------------------------------------------------

TEST_F(CapabilityTest, WriterAndResultFileKinds) {
    WriterPluginCapability writer("csv", "CSV writer", "csv",
                                  {TableClass::SUMMARY, TableClass::INTERVAL});
    EXPECT_EQ(writer.getFileSuffix(), "csv");
    EXPECT_EQ(writer.getSupportedTables(),
              (std::set<TableClass>{TableClass::SUMMARY, TableClass::INTERVAL}));
    writer.addSupportedTable(TableClass::TIMELINE);
    EXPECT_EQ(writer.getSupportedTables().count(TableClass::TIMELINE), 1u);
    EXPECT_FALSE(writer.doesSupportContinuousCollection());

    ResultFilePluginCapability result("vxr", "Result file", 0x00020001, true);
    EXPECT_EQ(result.getVersion(), 0x00020001u);
    EXPECT_TRUE(result.doesSupportContinuousCollection());
    EXPECT_EQ(result.getName(), "vxr");
    EXPECT_EQ(result.getDescription(), "Result file");
}

TEST_F(CapabilityTest, ConfigCapFields) {
    ConfigCap cap("dram-bw", "DRAM bandwidth", "drambw");
    EXPECT_EQ(cap.getName(), "dram-bw");
    EXPECT_EQ(cap.getDescription(), "DRAM bandwidth");
    EXPECT_EQ(cap.getConfigfilePrefix(), "drambw");
    EXPECT_FALSE(cap.isHidden());
    cap.setDescription("Memory bandwidth");
    cap.setConfigfilePrefix("membw");
    cap.addGroup("memory");
    cap.addGroup("memory");
    EXPECT_EQ(cap.getDescription(), "Memory bandwidth");
    EXPECT_EQ(cap.getConfigfilePrefix(), "membw");
    EXPECT_EQ(cap.getGroups(), (std::set<std::string>{"memory"}));
    ConfigCap copy(cap);
    EXPECT_EQ(copy.getGroups(), cap.getGroups());
    EXPECT_TRUE(ConfigCap("x", "y", "", true).isHidden());
}

// --- capability queries of a plug-in -----------------------------------------

class CapabilityQueryTest : public CapabilityTest {
  protected:
    void SetUp() override {
        auto* power = new TestCapability("power", "Package power");
        power->addGroupName("cpu");
        auto* thermal = new TestCapability("thermal", "Core temperature");
        thermal->addGroupName("cpu");
        thermal->addGroupName("thermal-all");
        auto* gfx = new TestCapability("gfx", "Graphics residency");
        gfx->addGroupName("cpu");
        gfx->addPluginRequirement(new FixedRequirement(false, &gfxAsked));
        auto* fast = new TestCapability("fast", "Fast sampling");
        fast->addPluginRequirement(new AttributeRequirement());
        plugin.add(power);
        plugin.add(thermal);
        plugin.add(gfx);
        plugin.add(fast);
        plugin.add(nullptr);
    }

    std::vector<std::string> names(const std::vector<PluginCapability*>& caps) {
        std::vector<std::string> out;
        for (const PluginCapability* cap : caps) {
            out.push_back(cap->getName());
        }
        return out;
    }

    size_t countLines(const std::string& line) {
        size_t n = 0;
        for (const auto& l : log.lines()) {
            n += l == line ? 1 : 0;
        }
        return n;
    }

    int gfxAsked = 0;
    TestPlugin plugin;
};

TEST_F(CapabilityQueryTest, PluginOwnsWhatItRegistered) {
    ASSERT_EQ(plugin.getCapabilities().size(), 4u);
    for (const PluginCapability* cap : plugin.getCapabilities()) {
        EXPECT_EQ(cap->getOwner(), &plugin);
    }
}

TEST_F(CapabilityQueryTest, MatchesByGroupInRegistrationOrder) {
    std::vector<PluginCapability*> out;
    plugin.getCapabilitiesFor(out, "cpu", sys);
    EXPECT_EQ(names(out), (std::vector<std::string>{"power", "thermal"}));
    EXPECT_EQ(gfxAsked, 1);
    EXPECT_EQ(countLines("INFO: TestPlugin is reporting a suitable capability for cpu!\n"), 2u);
}

TEST_F(CapabilityQueryTest, MatchesByNameAndAppends) {
    std::vector<PluginCapability*> out;
    plugin.getCapabilitiesFor(out, "thermal", sys);
    plugin.getCapabilitiesFor(out, "thermal-all", sys);
    EXPECT_EQ(names(out), (std::vector<std::string>{"thermal", "thermal"}));
    // Only candidates are tested.
    EXPECT_EQ(gfxAsked, 0);
    EXPECT_TRUE(log.loggedExactly({
        "DEBUG: Core temperature has result = 1\n",
        "INFO: TestPlugin is reporting a suitable capability for thermal!\n",
        "DEBUG: Core temperature has result = 1\n",
        "INFO: TestPlugin is reporting a suitable capability for thermal-all!\n",
    }));
}

TEST_F(CapabilityQueryTest, UnknownNameFindsNothing) {
    std::vector<PluginCapability*> out;
    plugin.getCapabilitiesFor(out, "Package power", sys);
    plugin.getCapabilitiesFor(out, "gpu", sys);
    EXPECT_TRUE(out.empty());
    EXPECT_TRUE(log.loggedExactly({}));
}

TEST_F(CapabilityQueryTest, EmptyNameReturnsEverySuitableCapability) {
    std::vector<PluginCapability*> out;
    plugin.getCapabilitiesFor(out, "", sys);
    EXPECT_EQ(names(out), (std::vector<std::string>{"power", "thermal"}));
    EXPECT_EQ(countLines("INFO: TestPlugin is reporting a suitable capability for !\n"), 2u);

    std::vector<PluginCapability*> all;
    plugin.getAllCapabilities(all, sys);
    EXPECT_EQ(all, out);
}

TEST_F(CapabilityQueryTest, AttributePairsReachTheRequirements) {
    std::vector<PluginCapability*> out;
    plugin.getCapabilitiesFor(out, "fast", sys);
    EXPECT_TRUE(out.empty());
    plugin.getCapabilitiesFor(out, "fast", sys, {{"mode", "slow"}});
    EXPECT_TRUE(out.empty());
    plugin.getCapabilitiesFor(out, "fast", sys, {{"rate", "10"}, {"mode", "fast"}});
    EXPECT_EQ(names(out), (std::vector<std::string>{"fast"}));
    plugin.getAllCapabilities(out, sys);
    EXPECT_EQ(names(out), (std::vector<std::string>{"fast", "power", "thermal"}));
}

TEST_F(CapabilityQueryTest, ContinuousCollectionDropsCapabilitiesWithoutSupport) {
    auto* streaming = new TestCapability("stream", "Streaming power", true);
    streaming->addGroupName("cpu");
    plugin.add(streaming);
    sys.continuousCollectionQuantum = 10;
    std::vector<PluginCapability*> out;
    plugin.getCapabilitiesFor(out, "cpu", sys);
    EXPECT_EQ(names(out), (std::vector<std::string>{"stream"}));
    EXPECT_EQ(gfxAsked, 0);
}

TEST_F(CapabilityQueryTest, INFOLineNeedsInfoVerbosity) {
    log.context().setVerbosity(PW_DEBUG);
    std::vector<PluginCapability*> out;
    plugin.getCapabilitiesFor(out, "power", sys);
    EXPECT_EQ(out.size(), 1u);
    EXPECT_TRUE(log.loggedExactly({"DEBUG: Package power has result = 1\n"}));
}

// The notice is shown once per process: whether the first of these two tests
// shows it depends on whether an earlier test of the program failed an IGFX
// test already. The second capability must never show it again.
TEST_F(CapabilityQueryTest, TwoGraphicsCapabilitiesShowTheNoticeOnce) {
    auto* first = new TestCapability("gfx-freq", "Graphics frequency");
    first->addGroupName("graphics");
    first->addPluginRequirement(new IGFXPresentPluginRequirement());
    auto* second = new TestCapability("gfx-power", "Graphics power");
    second->addGroupName("graphics");
    second->addPluginRequirement(new IGFXPresentPluginRequirement());
    plugin.add(first);
    plugin.add(second);
    sys.igfxId = 0;

    const bool shownBefore = IGFXPresentPluginRequirement::wasNoticeShown();
    std::vector<PluginCapability*> out;
    plugin.getCapabilitiesFor(out, "graphics", sys);
    EXPECT_TRUE(out.empty());
    EXPECT_EQ(countLines("An integrated graphics device is not detected. Integrated graphics "
                         "related metrics are disabled.\n"),
              shownBefore ? 0u : 1u);
    EXPECT_TRUE(IGFXPresentPluginRequirement::wasNoticeShown());

    sys.igfxId = 0x9A49;
    plugin.getCapabilitiesFor(out, "graphics", sys);
    EXPECT_EQ(names(out), (std::vector<std::string>{"gfx-freq", "gfx-power"}));
}

}  // namespace
}  // namespace pwr
