#include <gtest/gtest.h>

#include <deque>
#include <memory>
#include <string>
#include <utility>

#include "common/plugins/DriverRequirement.h"
#include "common/plugins/PluginRequirement.h"
#include "common/plugins/PluginRequirementGroup.h"
#include "common/serialize/SystemMetadata.h"
#include "tests/support/EnvironmentCapture.h"
#include "tests/support/LogCapture.h"

namespace pwr {
namespace {

const char* const c_met1 = "DEBUG: Requirement met: 1\n";
const char* const c_met0 = "DEBUG: Requirement met: 0\n";
const char* const c_negMet1 = "DEBUG: Negative Requirement met: 1\n";
const char* const c_negMet0 = "DEBUG: Negative Requirement met: 0\n";
const char* const c_igfxNotice =
    "An integrated graphics device is not detected. Integrated graphics related metrics are "
    "disabled.\n";

FMS fms(uint8_t family, uint8_t model, uint8_t stepping) {
    FMS f;
    f.family = family;
    f.model = model;
    f.stepping = stepping;
    return f;
}

// A requirement with a fixed answer that counts how often it was asked.
// Copies share the counter.
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

class FakeDriver : public DriverInterface {
  public:
    explicit FakeDriver(uint64_t version) : version(version) {}
    uint64_t getInstalledVersion() const override {
        ++reads;
        return version;
    }
    uint64_t version;
    mutable int reads = 0;
};

class RequirementTest : public ::testing::Test {
  protected:
    SystemMetadata sys;
    AttributePairs attrs;
    test::LogCapture log;
};

// --- simple kinds ------------------------------------------------------------

TEST_F(RequirementTest, KindsNameThemselves) {
    EXPECT_EQ(FMSPluginRequirement(fms(6, 0x8C, 1)).getName(), "FMS");
    EXPECT_EQ(SCUPluginRequirement(1).getName(), "SCU");
    EXPECT_EQ(OSNamePluginRequirement("Windows").getName(), "OS");
    EXPECT_EQ(IGFXPresentPluginRequirement().getName(), "IGFX");
    EXPECT_EQ(PCHPluginRequirement("PCH").getName(), "PCH");
    EXPECT_EQ(VTIODisablePluginRequirement("Camera Power").getName(), "Camera Power");
    EXPECT_EQ(DriverRequirement(0, nullptr).getName(), "DRIVERREQ");
    EXPECT_EQ(PluginRequirementGroup(true).getName(), "SYSTEM");
    EXPECT_FALSE(VTIODisablePluginRequirement("Camera Power").isNegative());
    EXPECT_FALSE(PluginRequirementGroup(false).isNegative());
    EXPECT_TRUE(SCUPluginRequirement(1, true).isNegative());
}

TEST_F(RequirementTest, FMSNeedsFamilyModelAndSteppingToMatch) {
    sys.fms = fms(6, 0x8C, 1);
    EXPECT_TRUE(FMSPluginRequirement(fms(6, 0x8C, 1)).isPluginRequirementSatisfied(sys, attrs));
    EXPECT_FALSE(FMSPluginRequirement(fms(6, 0x8C, 2)).isPluginRequirementSatisfied(sys, attrs));
    EXPECT_FALSE(FMSPluginRequirement(fms(6, 0x8D, 1)).isPluginRequirementSatisfied(sys, attrs));
    EXPECT_FALSE(FMSPluginRequirement(fms(7, 0x8C, 1)).isPluginRequirementSatisfied(sys, attrs));
    EXPECT_TRUE(log.loggedExactly({c_met1, c_met0, c_met0, c_met0}));
}

TEST_F(RequirementTest, NegativeFMSOnMatchingSystemFails) {
    sys.fms = fms(6, 0x8C, 1);
    FMSPluginRequirement notThisOne(fms(6, 0x8C, 1), true);
    EXPECT_FALSE(notThisOne.isPluginRequirementSatisfied(sys, attrs));
    FMSPluginRequirement notThatOne(fms(6, 0x9A, 0), true);
    EXPECT_TRUE(notThatOne.isPluginRequirementSatisfied(sys, attrs));
    // The line carries the answer after inversion.
    EXPECT_TRUE(log.loggedExactly({c_negMet0, c_negMet1}));
}

TEST_F(RequirementTest, SCUVersionMustBeEqual) {
    sys.scuVersion = 0x00010203;
    EXPECT_TRUE(SCUPluginRequirement(0x00010203).isPluginRequirementSatisfied(sys, attrs));
    // A newer firmware is not the one the capability was built for.
    EXPECT_FALSE(SCUPluginRequirement(0x00010202).isPluginRequirementSatisfied(sys, attrs));
    EXPECT_TRUE(SCUPluginRequirement(0x00010202, true).isPluginRequirementSatisfied(sys, attrs));
}

TEST_F(RequirementTest, OSNameMustMatchExactly) {
    sys.osName = "Windows 11";
    EXPECT_TRUE(OSNamePluginRequirement("Windows 11").isPluginRequirementSatisfied(sys, attrs));
    EXPECT_FALSE(OSNamePluginRequirement("Windows").isPluginRequirementSatisfied(sys, attrs));
    EXPECT_FALSE(OSNamePluginRequirement("windows 11").isPluginRequirementSatisfied(sys, attrs));
    EXPECT_FALSE(
        OSNamePluginRequirement("Windows 11 Pro").isPluginRequirementSatisfied(sys, attrs));
}

TEST_F(RequirementTest, PCHTextMayOccurAnywhereInThePlatformName) {
    sys.platformName = "ADL-P ADP-LP";
    EXPECT_TRUE(PCHPluginRequirement("ADP-LP").isPluginRequirementSatisfied(sys, attrs));
    EXPECT_TRUE(PCHPluginRequirement("ADL").isPluginRequirementSatisfied(sys, attrs));
    EXPECT_TRUE(PCHPluginRequirement("P AD").isPluginRequirementSatisfied(sys, attrs));
    EXPECT_FALSE(PCHPluginRequirement("ADP-S").isPluginRequirementSatisfied(sys, attrs));
    EXPECT_FALSE(PCHPluginRequirement("adp-lp").isPluginRequirementSatisfied(sys, attrs));
    EXPECT_TRUE(PCHPluginRequirement("ADP-S", true).isPluginRequirementSatisfied(sys, attrs));
}

TEST_F(RequirementTest, DebugLinesNeedDebugVerbosity) {
    sys.scuVersion = 5;
    log.context().setVerbosity(PW_WARNING);
    EXPECT_TRUE(SCUPluginRequirement(5).isPluginRequirementSatisfied(sys, attrs));
    EXPECT_TRUE(SCUPluginRequirement(4, true).isPluginRequirementSatisfied(sys, attrs));
    EXPECT_TRUE(log.loggedExactly({}));
    log.context().setVerbosity(PW_DEBUG);
    EXPECT_TRUE(SCUPluginRequirement(5).isPluginRequirementSatisfied(sys, attrs));
    EXPECT_TRUE(log.loggedExactly({c_met1}));
}

TEST_F(RequirementTest, CopiesAndClonesKeepKindAndFields) {
    sys.osName = "Linux";
    OSNamePluginRequirement original("Linux", true);
    OSNamePluginRequirement copy(original);
    EXPECT_EQ(copy.getOSName(), "Linux");
    EXPECT_TRUE(copy.isNegative());
    OSNamePluginRequirement assigned("Windows");
    assigned = std::move(copy);
    EXPECT_EQ(assigned.getOSName(), "Linux");
    EXPECT_TRUE(assigned.isNegative());

    std::unique_ptr<PluginRequirement> clone = original.clone();
    ASSERT_NE(dynamic_cast<OSNamePluginRequirement*>(clone.get()), nullptr);
    EXPECT_EQ(clone->getName(), "OS");
    EXPECT_FALSE(clone->isPluginRequirementSatisfied(sys, attrs));

    FMSPluginRequirement f(fms(6, 0xAA, 4));
    FMSPluginRequirement g(fms(1, 2, 3), true);
    g = f;
    EXPECT_EQ(g.getFMS(), fms(6, 0xAA, 4));
    EXPECT_FALSE(g.isNegative());
}

// --- groups ------------------------------------------------------------------

TEST_F(RequirementTest, EmptyGroupAnswersAllRequired) {
    EXPECT_TRUE(PluginRequirementGroup(true).isPluginRequirementSatisfied(sys, attrs));
    EXPECT_FALSE(PluginRequirementGroup(false).isPluginRequirementSatisfied(sys, attrs));
    EXPECT_TRUE(log.loggedExactly({c_met1, c_met0}));
}

TEST_F(RequirementTest, AllRequiredGroupStopsAtFirstFailure) {
    int asked = 0;
    PluginRequirementGroup group(true);
    EXPECT_TRUE(group.addPluginRequirement(new FixedRequirement(true, &asked)));
    EXPECT_TRUE(group.addPluginRequirement(new FixedRequirement(false, &asked)));
    EXPECT_TRUE(group.addPluginRequirement(new FixedRequirement(true, &asked)));
    EXPECT_EQ(group.getRequirementCount(), 3u);
    EXPECT_FALSE(group.isPluginRequirementSatisfied(sys, attrs));
    EXPECT_EQ(asked, 2);
    EXPECT_TRUE(log.loggedExactly({c_met1, c_met0, c_met0}));
}

TEST_F(RequirementTest, AllRequiredGroupPassesWhenEveryChildPasses) {
    int asked = 0;
    PluginRequirementGroup group(true);
    group.addPluginRequirement(new FixedRequirement(true, &asked));
    group.addPluginRequirement(new FixedRequirement(true, &asked));
    EXPECT_TRUE(group.isPluginRequirementSatisfied(sys, attrs));
    EXPECT_EQ(asked, 2);
}

TEST_F(RequirementTest, AnyGroupStopsAtFirstSuccess) {
    int asked = 0;
    PluginRequirementGroup group(false);
    group.addPluginRequirement(new FixedRequirement(false, &asked));
    group.addPluginRequirement(new FixedRequirement(true, &asked));
    group.addPluginRequirement(new FixedRequirement(false, &asked));
    EXPECT_TRUE(group.isPluginRequirementSatisfied(sys, attrs));
    EXPECT_EQ(asked, 2);

    asked = 0;
    PluginRequirementGroup none(false);
    none.addPluginRequirement(new FixedRequirement(false, &asked));
    none.addPluginRequirement(new FixedRequirement(false, &asked));
    EXPECT_FALSE(none.isPluginRequirementSatisfied(sys, attrs));
    EXPECT_EQ(asked, 2);
}

TEST_F(RequirementTest, GroupInvertsNegativeChildren) {
    int asked = 0;
    // Not (false) passes, so the second child decides.
    PluginRequirementGroup group(true);
    group.addPluginRequirement(new FixedRequirement(false, &asked, true));
    group.addPluginRequirement(new FixedRequirement(true, &asked, true));
    EXPECT_FALSE(group.isPluginRequirementSatisfied(sys, attrs));
    EXPECT_EQ(asked, 2);
    EXPECT_TRUE(log.loggedExactly({c_negMet1, c_negMet0, c_met0}));

    // A satisfied negative child ends an any-group.
    asked = 0;
    log.clear();
    PluginRequirementGroup any(false);
    any.addPluginRequirement(new FixedRequirement(false, &asked, true));
    any.addPluginRequirement(new FixedRequirement(true, &asked));
    EXPECT_TRUE(any.isPluginRequirementSatisfied(sys, attrs));
    EXPECT_EQ(asked, 1);
    EXPECT_TRUE(log.loggedExactly({c_negMet1, c_met1}));
}

TEST_F(RequirementTest, GroupsNest) {
    sys.osName = "Windows 11";
    sys.scuVersion = 7;
    // OS is Windows 11 and (SCU 6 or SCU 7).
    PluginRequirementGroup group(true);
    group.addPluginRequirement(new OSNamePluginRequirement("Windows 11"));
    auto* either = new PluginRequirementGroup(false);
    either->addPluginRequirement(new SCUPluginRequirement(6));
    either->addPluginRequirement(new SCUPluginRequirement(7));
    group.addPluginRequirement(either);
    EXPECT_TRUE(group.isPluginRequirementSatisfied(sys, attrs));
    sys.scuVersion = 8;
    EXPECT_FALSE(group.isPluginRequirementSatisfied(sys, attrs));
}

TEST_F(RequirementTest, NullChildIsIgnored) {
    PluginRequirementGroup group(false);
    EXPECT_TRUE(group.addPluginRequirement(nullptr));
    EXPECT_EQ(group.getRequirementCount(), 0u);
    EXPECT_EQ(group.getRequirement(0), nullptr);
    EXPECT_FALSE(group.isPluginRequirementSatisfied(sys, attrs));
}

TEST_F(RequirementTest, GroupCopiesOwnTheirChildren) {
    int asked = 0;
    auto original = std::make_unique<PluginRequirementGroup>(true);
    original->addPluginRequirement(new FixedRequirement(true, &asked));
    original->addPluginRequirement(new FixedRequirement(false, &asked));

    PluginRequirementGroup copy(*original);
    ASSERT_EQ(copy.getRequirementCount(), 2u);
    EXPECT_NE(copy.getRequirement(0), original->getRequirement(0));
    std::unique_ptr<PluginRequirement> clone = original->clone();
    PluginRequirementGroup assigned(false);
    assigned = *original;
    EXPECT_TRUE(assigned.isAllRequired());
    // The copies still work after the original is gone.
    original.reset();
    EXPECT_FALSE(copy.isPluginRequirementSatisfied(sys, attrs));
    EXPECT_FALSE(clone->isPluginRequirementSatisfied(sys, attrs));
    EXPECT_FALSE(assigned.isPluginRequirementSatisfied(sys, attrs));
    EXPECT_EQ(asked, 6);

    PluginRequirementGroup moved(std::move(copy));
    EXPECT_EQ(moved.getRequirementCount(), 2u);
    PluginRequirementGroup moveAssigned(false);
    moveAssigned = std::move(moved);
    EXPECT_TRUE(moveAssigned.isAllRequired());
    EXPECT_EQ(moveAssigned.getRequirementCount(), 2u);
}

// --- integrated graphics -----------------------------------------------------

TEST_F(RequirementTest, IGFXPresentWhenDeviceIdIsNotZero) {
    sys.igfxId = 0x46A6;
    EXPECT_TRUE(IGFXPresentPluginRequirement().isPluginRequirementSatisfied(sys, attrs));
    EXPECT_FALSE(IGFXPresentPluginRequirement(true).isPluginRequirementSatisfied(sys, attrs));
    EXPECT_TRUE(log.loggedExactly({c_met1, c_negMet0}));
}

// The notice is shown once per process, so whether this test sees it depends
// on whether an earlier test of the program already failed an IGFX test; the
// second failure must be silent either way.
TEST_F(RequirementTest, IGFXNoticeIsShownOnceAtLevelZero) {
    sys.igfxId = 0;
    log.context().setVerbosity(PW_FATAL);
    const bool shownBefore = IGFXPresentPluginRequirement::wasNoticeShown();
    IGFXPresentPluginRequirement first;
    EXPECT_FALSE(first.isPluginRequirementSatisfied(sys, attrs));
    if (shownBefore) {
        EXPECT_TRUE(log.loggedExactly({}));
    } else {
        EXPECT_TRUE(log.loggedExactly({c_igfxNotice}));
    }
    EXPECT_TRUE(IGFXPresentPluginRequirement::wasNoticeShown());

    log.clear();
    log.context().setVerbosity(PW_INFO);
    IGFXPresentPluginRequirement second;
    EXPECT_FALSE(second.isPluginRequirementSatisfied(sys, attrs));
    EXPECT_FALSE(first.isPluginRequirementSatisfied(sys, attrs));
    EXPECT_TRUE(log.loggedExactly({c_met0, c_met0}));
}

// --- VTIO --------------------------------------------------------------------

TEST_F(RequirementTest, VTIOOffPassesSilently) {
    sys.vtioEnabled = false;
    VTIODisablePluginRequirement req("RequirementTest Off Feature");
    EXPECT_TRUE(req.isPluginRequirementSatisfied(sys, attrs));
    EXPECT_TRUE(log.loggedExactly({c_met1}));
    EXPECT_FALSE(VTIODisablePluginRequirement::wasNoteShownFor("RequirementTest Off Feature"));
}

TEST_F(RequirementTest, VTIONoteIsShownOncePerFeatureName) {
    // Names no other test uses, so that this test is the first to fail them.
    const std::string camera = "RequirementTest Camera";
    const std::string sensor = "RequirementTest Sensor";
    ASSERT_FALSE(VTIODisablePluginRequirement::wasNoteShownFor(camera));
    ASSERT_FALSE(VTIODisablePluginRequirement::wasNoteShownFor(sensor));
    sys.vtioEnabled = true;
    log.context().setVerbosity(PW_FATAL);

    EXPECT_FALSE(VTIODisablePluginRequirement(camera).isPluginRequirementSatisfied(sys, attrs));
    EXPECT_TRUE(
        log.loggedExactly({"NOTE: RequirementTest Camera has been disabled due to Enhanced "
                           "Sign-in Security being enabled.\n"}));
    EXPECT_TRUE(VTIODisablePluginRequirement::wasNoteShownFor(camera));

    log.clear();
    // Another object with the same name stays silent; another name is noted.
    EXPECT_FALSE(VTIODisablePluginRequirement(camera).isPluginRequirementSatisfied(sys, attrs));
    EXPECT_FALSE(VTIODisablePluginRequirement(sensor).isPluginRequirementSatisfied(sys, attrs));
    EXPECT_FALSE(VTIODisablePluginRequirement(sensor).isPluginRequirementSatisfied(sys, attrs));
    EXPECT_TRUE(
        log.loggedExactly({"NOTE: RequirementTest Sensor has been disabled due to Enhanced "
                           "Sign-in Security being enabled.\n"}));
}

// With an environment, the notices also wait in its queue for the host.
TEST(RequirementNoticeQueueTest, NoticesAreQueuedInTheEnvironment) {
    test::EnvironmentCapture capture;
    SystemMetadata sys;
    sys.vtioEnabled = true;
    sys.igfxId = 0;
    const bool igfxShownBefore = IGFXPresentPluginRequirement::wasNoticeShown();
    const std::string note =
        "NOTE: RequirementTest Queue has been disabled due to Enhanced Sign-in Security being "
        "enabled.";
    VTIODisablePluginRequirement vtio("RequirementTest Queue");
    IGFXPresentPluginRequirement igfx;
    EXPECT_FALSE(vtio.isPluginRequirementSatisfied(sys, AttributePairs()));
    EXPECT_FALSE(igfx.isPluginRequirementSatisfied(sys, AttributePairs()));
    EXPECT_FALSE(vtio.isPluginRequirementSatisfied(sys, AttributePairs()));
    EXPECT_FALSE(igfx.isPluginRequirementSatisfied(sys, AttributePairs()));

    std::deque<std::string> expected = {note};
    if (!igfxShownBefore) {
        expected.push_back(
            "An integrated graphics device is not detected. Integrated graphics related metrics "
            "are disabled.");
    }
    EXPECT_EQ(capture.env().getQueuedMessages(), expected);
}

// --- driver version ----------------------------------------------------------

TEST_F(RequirementTest, DriverVersionPacking) {
    EXPECT_EQ(DriverRequirement::makeVersion(1, 2, 3), 0x0000000100020003ull);
    EXPECT_EQ(DriverRequirement::makeVersion(0xFFFF, 0xFFFF, 0xFFFF), 0x0000FFFFFFFFFFFFull);
}

TEST_F(RequirementTest, DriverWithoutInterfaceFails) {
    DriverRequirement req(DriverRequirement::makeVersion(1, 0, 0), nullptr);
    EXPECT_FALSE(req.isPluginRequirementSatisfied(sys, attrs));
    EXPECT_TRUE(log.loggedExactly({c_met0}));
}

TEST_F(RequirementTest, DriverEqualToMinimumIsSatisfied) {
    FakeDriver driver(DriverRequirement::makeVersion(3, 14, 15));
    DriverRequirement req(DriverRequirement::makeVersion(3, 14, 15), &driver);
    EXPECT_TRUE(req.isPluginRequirementSatisfied(sys, attrs));
    EXPECT_TRUE(log.loggedExactly(
        {"INFO: DriverRequirement requirement has driver version = 12885819407\n", c_met1}));
}

TEST_F(RequirementTest, DriverVersionsCompareAsNumbers) {
    // Minor 0xFFFF of major 1 is still older than 2.0.0.
    FakeDriver driver(DriverRequirement::makeVersion(1, 0xFFFF, 0xFFFF));
    EXPECT_FALSE(DriverRequirement(DriverRequirement::makeVersion(2, 0, 0), &driver)
                     .isPluginRequirementSatisfied(sys, attrs));
    // A newer patch of the same minor is enough.
    driver.version = DriverRequirement::makeVersion(2, 0, 1);
    EXPECT_TRUE(DriverRequirement(DriverRequirement::makeVersion(2, 0, 0), &driver)
                    .isPluginRequirementSatisfied(sys, attrs));
    driver.version = DriverRequirement::makeVersion(2, 1, 0);
    EXPECT_FALSE(DriverRequirement(DriverRequirement::makeVersion(2, 1, 1), &driver)
                     .isPluginRequirementSatisfied(sys, attrs));
    // The version is read every time the requirement is asked.
    EXPECT_EQ(driver.reads, 3);
}

TEST_F(RequirementTest, OldDriverWarnsWithFoundFieldsCutToOneByte) {
    FakeDriver driver(DriverRequirement::makeVersion(0x1234, 0x0102, 0x0305));
    DriverRequirement req(DriverRequirement::makeVersion(0x1234, 0x0102, 0x0306), &driver);
    EXPECT_FALSE(req.isPluginRequirementSatisfied(sys, attrs));
    EXPECT_TRUE(log.loggedExactly(
        {"INFO: DriverRequirement requirement has driver version = 20014564508421\n",
         "WARNING: Driver version 52.2.5 found, minimum driver required is 4660.258.774\n",
         c_met0}));
}

TEST_F(RequirementTest, DriverInfoLineFollowsItsTag) {
    FakeDriver driver(DriverRequirement::makeVersion(1, 0, 0));
    DriverRequirement req(DriverRequirement::makeVersion(2, 0, 0), &driver);
    log.context().setVerbosity(PW_WARNING);
    EXPECT_FALSE(req.isPluginRequirementSatisfied(sys, attrs));
    EXPECT_TRUE(log.loggedExactly(
        {"WARNING: Driver version 1.0.0 found, minimum driver required is 2.0.0\n"}));

    log.clear();
    log.context().addCondLogTagForDebugLogging("DRIVERREQ");
    EXPECT_FALSE(req.isPluginRequirementSatisfied(sys, attrs));
    EXPECT_TRUE(log.loggedExactly(
        {"INFO: DriverRequirement requirement has driver version = 4294967296\n",
         "WARNING: Driver version 1.0.0 found, minimum driver required is 2.0.0\n"}));
}

TEST_F(RequirementTest, DriverRequirementCopiesShareTheInterface) {
    FakeDriver driver(DriverRequirement::makeVersion(5, 0, 0));
    DriverRequirement req(DriverRequirement::makeVersion(4, 0, 0), &driver);
    DriverRequirement copy(req);
    EXPECT_EQ(copy.getDriverInterface(), &driver);
    EXPECT_EQ(copy.getMinimumVersion(), DriverRequirement::makeVersion(4, 0, 0));
    std::unique_ptr<PluginRequirement> clone = req.clone();
    EXPECT_TRUE(clone->isPluginRequirementSatisfied(sys, attrs));
    EXPECT_EQ(driver.reads, 1);
}

}  // namespace
}  // namespace pwr
