#include <gtest/gtest.h>

#include <cctype>
#include <deque>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "common/plugins/DriverRequirement.h"
#include "common/plugins/PluginRequirement.h"
#include "common/plugins/PluginRequirementGroup.h"
#include "common/serialize/SystemMetadata.h"
#include "tests/support/EnvironmentCapture.h"
#include "tests/support/FakeRequirement.h"
#include "tests/support/LogCapture.h"

namespace pwr {
namespace {

using test::fixedRequirement;

const char* const c_met1 = "DEBUG: Requirement met: 1\n";
const char* const c_met0 = "DEBUG: Requirement met: 0\n";
const char* const c_negMet1 = "DEBUG: Negative Requirement met: 1\n";
const char* const c_negMet0 = "DEBUG: Negative Requirement met: 0\n";
const std::string c_igfxNotice =
    "An integrated graphics device is not detected. Integrated graphics related metrics are "
    "disabled.";

std::string vtioNote(const std::string& feature) {
    return "NOTE: " + feature +
           " has been disabled due to Enhanced Sign-in Security being enabled.";
}

struct FakeDriver : DriverInterface {
    uint64_t getInstalledVersion() const override { return version; }
    uint64_t version = 0;
};

uint64_t version(uint16_t major, uint16_t minor, uint16_t patch) {
    return DriverRequirement::makeVersion(major, minor, patch);
}

class RequirementTest : public ::testing::Test {
  protected:
    bool met(const PluginRequirement& requirement) {
        return requirement.isPluginRequirementSatisfied(sys, attrs);
    }
    SystemMetadata sys;
    AttributePairs attrs;
    test::LogCapture log;
};

TEST_F(RequirementTest, SystemKindsCompareWithTheSystem) {
    sys.fms = FMS{6, 0x8C, 1};
    sys.scuVersion = 0x00010203;
    sys.osName = "Windows 11";
    sys.platformName = "ADL-P ADP-LP";
    sys.igfxId = 0x46A6;
    // FMS: family, model and stepping all match.
    EXPECT_TRUE(met(FMSPluginRequirement(FMS{6, 0x8C, 1})));
    EXPECT_FALSE(met(FMSPluginRequirement(FMS{6, 0x8C, 2})));
    EXPECT_FALSE(met(FMSPluginRequirement(FMS{7, 0x8C, 1})));
    // SCU: equal; a newer firmware is not the one the capability was built for.
    EXPECT_TRUE(met(SCUPluginRequirement(0x00010203)));
    EXPECT_FALSE(met(SCUPluginRequirement(0x00010202)));
    // OS: the exact name.
    EXPECT_TRUE(met(OSNamePluginRequirement("Windows 11")));
    EXPECT_FALSE(met(OSNamePluginRequirement("Windows")));
    // PCH: the text anywhere in the platform name.
    EXPECT_TRUE(met(PCHPluginRequirement("ADP-LP")));
    EXPECT_TRUE(met(PCHPluginRequirement("P AD")));
    EXPECT_FALSE(met(PCHPluginRequirement("adp-lp")));
    // IGFX: any device id but 0.
    EXPECT_TRUE(met(IGFXPresentPluginRequirement()));
    // VTIO: passes while the feature is off, without a note.
    EXPECT_TRUE(met(VTIODisablePluginRequirement("RequirementTest Off Feature")));
    EXPECT_FALSE(VTIODisablePluginRequirement::wasNoteShownFor("RequirementTest Off Feature"));
}

TEST_F(RequirementTest, NegativeRequirementsLogTheInvertedAnswer) {
    sys.fms = FMS{6, 0x8C, 1};
    sys.scuVersion = 5;
    sys.igfxId = 0x46A6;
    EXPECT_FALSE(met(FMSPluginRequirement(FMS{6, 0x8C, 1}, true)));
    EXPECT_TRUE(met(SCUPluginRequirement(4, true)));
    EXPECT_FALSE(met(IGFXPresentPluginRequirement(true)));
    EXPECT_TRUE(met(SCUPluginRequirement(5)));
    EXPECT_TRUE(log.loggedExactly({c_negMet0, c_negMet1, c_negMet0, c_met1}));
}

struct GroupCase {
    bool allRequired;
    // One child per letter: T and F answer true and false; t and f are the
    // same answers from negative requirements.
    const char* children;
    bool expected;
    int asked;
};

TEST_F(RequirementTest, GroupsStopAtTheFirstDecidingChild) {
    const GroupCase cases[] = {
        {true, "", true, 0},    {false, "", false, 0},   {true, "TFT", false, 2},
        {true, "TT", true, 2},  {false, "FTF", true, 2}, {false, "FF", false, 2},
        {true, "ft", false, 2}, {false, "fT", true, 1},
    };
    for (const GroupCase& c : cases) {
        int asked = 0;
        PluginRequirementGroup group(c.allRequired);
        for (const char* child = c.children; *child != '\0'; ++child) {
            group.addPluginRequirement(
                fixedRequirement(std::toupper(*child) == 'T', &asked, std::islower(*child) != 0));
        }
        EXPECT_EQ(met(group), c.expected) << c.allRequired << " " << c.children;
        EXPECT_EQ(asked, c.asked) << c.allRequired << " " << c.children;
    }

    // Each asked child logs its answer, then the group its own.
    log.clear();
    int asked = 0;
    PluginRequirementGroup group(true);
    group.addPluginRequirement(fixedRequirement(false, &asked, true));
    group.addPluginRequirement(fixedRequirement(true, &asked, true));
    group.addPluginRequirement(fixedRequirement(true, &asked));
    EXPECT_FALSE(met(group));
    EXPECT_TRUE(log.loggedExactly({c_negMet1, c_negMet0, c_met0}));
}

TEST_F(RequirementTest, GroupsNestAndCopiesOwnTheirChildren) {
    sys.osName = "Windows 11";
    sys.scuVersion = 7;
    // OS Windows 11 and not SCU 9 and (SCU 6 or SCU 7).
    auto original = std::make_unique<PluginRequirementGroup>(true);
    original->addPluginRequirement(new OSNamePluginRequirement("Windows 11"));
    original->addPluginRequirement(new SCUPluginRequirement(9, true));
    auto* either = new PluginRequirementGroup(false);
    either->addPluginRequirement(new SCUPluginRequirement(6));
    either->addPluginRequirement(nullptr);
    either->addPluginRequirement(new SCUPluginRequirement(7));
    EXPECT_EQ(either->getRequirementCount(), 2u);
    original->addPluginRequirement(either);
    EXPECT_TRUE(met(*original));

    PluginRequirementGroup copy(*original);
    const std::unique_ptr<PluginRequirement> clone = original->clone();
    PluginRequirementGroup assigned(false);
    assigned = *original;
    original.reset();
    // Each works on its own after the original is gone.
    for (const PluginRequirement* group :
         std::vector<const PluginRequirement*>{&copy, clone.get(), &assigned}) {
        sys.scuVersion = 7;
        EXPECT_TRUE(met(*group));
        sys.scuVersion = 8;
        EXPECT_FALSE(met(*group));
    }
}

// Notices are written whatever the verbosity, once per process (once per
// feature name for VTIO), and wait in the environment's queue for the host.
TEST(RequirementNoticeTest, NoticesAreShownOnceAndQueued) {
    test::EnvironmentCapture cap;
    cap.env().setVerbosity(PW_FATAL);
    SystemMetadata sys;
    sys.vtioEnabled = true;
    sys.igfxId = 0;
    // Names no other test uses, so that this test is the first to fail them.
    const std::string camera = "RequirementTest Camera";
    const std::string sensor = "RequirementTest Sensor";
    ASSERT_FALSE(VTIODisablePluginRequirement::wasNoteShownFor(camera));
    ASSERT_FALSE(VTIODisablePluginRequirement::wasNoteShownFor(sensor));
    // An earlier test of the program may have failed an IGFX test already.
    const bool igfxShownBefore = IGFXPresentPluginRequirement::wasNoticeShown();
    const IGFXPresentPluginRequirement igfx;
    for (int i = 0; i < 2; ++i) {
        EXPECT_FALSE(VTIODisablePluginRequirement(camera).isPluginRequirementSatisfied(sys, {}));
        EXPECT_FALSE(igfx.isPluginRequirementSatisfied(sys, {}));
        EXPECT_FALSE(IGFXPresentPluginRequirement().isPluginRequirementSatisfied(sys, {}));
        EXPECT_FALSE(VTIODisablePluginRequirement(sensor).isPluginRequirementSatisfied(sys, {}));
    }
    std::deque<std::string> expected = {vtioNote(camera)};
    if (!igfxShownBefore) {
        expected.push_back(c_igfxNotice);
    }
    expected.push_back(vtioNote(sensor));
    EXPECT_EQ(cap.env().getQueuedMessages(), expected);
    std::vector<std::string> lines;
    for (const std::string& notice : expected) {
        lines.push_back(notice + "\n");
    }
    EXPECT_TRUE(cap.loggedExactly(lines));
}

TEST_F(RequirementTest, DriverVersionsCompareAsNumbers) {
    EXPECT_EQ(version(1, 2, 3), 0x0000000100020003ull);
    EXPECT_FALSE(met(DriverRequirement(version(1, 0, 0), nullptr)));
    FakeDriver driver;
    // Minor 0xFFFF of major 1 is still older than 2.0.0.
    driver.version = version(1, 0xFFFF, 0xFFFF);
    EXPECT_FALSE(met(DriverRequirement(version(2, 0, 0), &driver)));
    driver.version = version(2, 1, 0);
    EXPECT_TRUE(met(DriverRequirement(version(2, 0, 1), &driver)));
    EXPECT_TRUE(met(DriverRequirement(version(2, 1, 0), &driver)));
    EXPECT_FALSE(met(DriverRequirement(version(2, 1, 1), &driver)));
}

TEST_F(RequirementTest, DriverLinesShowTheVersionReadEachTime) {
    FakeDriver driver;
    driver.version = version(0x1234, 0x0102, 0x0305);
    const DriverRequirement req(version(0x1234, 0x0102, 0x0306), &driver);
    EXPECT_FALSE(met(req));
    // The found version's fields are cut to one byte, the minimum's are not.
    EXPECT_TRUE(log.loggedExactly(
        {"INFO: DriverRequirement requirement has driver version = 20014564508421\n",
         "WARNING: Driver version 52.2.5 found, minimum driver required is 4660.258.774\n",
         c_met0}));

    // Below INFO the version line needs the requirement's tag.
    log.clear();
    log.context().setVerbosity(PW_WARNING);
    driver.version = version(1, 0, 0);
    EXPECT_FALSE(met(req));
    log.context().addCondLogTagForDebugLogging("DRIVERREQ");
    EXPECT_FALSE(met(req));
    const char* const warning =
        "WARNING: Driver version 1.0.0 found, minimum driver required is 4660.258.774\n";
    EXPECT_TRUE(log.loggedExactly(
        {warning, "INFO: DriverRequirement requirement has driver version = 4294967296\n",
         warning}));
}

}  // namespace
}  // namespace pwr
