#include "common/config/VexaConfigFileParser.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <random>
#include <set>
#include <string>
#include <type_traits>
#include <vector>

#include "common/serialize/SystemMetadata.h"
#include "tests/config/FakeCollector.h"
#include "tests/support/FakeRequirement.h"
#include "tests/support/LogCapture.h"

namespace pwr {
namespace {

const char* const c_file = "platform_config_test.cfg";
const char* const c_sanity =
    "config file parser sanity checks did NOT pass -- config files are invalid!\n";

class PlatformConfigTest : public ::testing::Test {
  protected:
    PlatformConfigTest() {
        hw.serve("MSR", {"ADDRESS", "MASK", "DATA-FORMAT"});
        hw.serve("MMIO", {"BAR", "OFFSET"});
        hw.serve("CONSTANT");
        // Telemetry is not available on the test system.
        telemetry.serve("PMT", {"GUID"})
            .addPluginRequirement(test::fixedRequirement(false, &asked));
    }
    void TearDown() override {
        VexaConfigFileParser::destroy();
        std::remove(c_file);
    }
    VexaConfigFileParser& parser() { return *VexaConfigFileParser::instance(); }
    int parseText(const std::string& text) {
        std::FILE* f = std::fopen(c_file, "wb");
        std::fwrite(text.data(), 1, text.size(), f);
        std::fclose(f);
        return parseFiles({c_file});
    }
    int parseFiles(const std::vector<std::string>& paths) {
        testing::internal::CaptureStderr();
        const int rc = parser().parse(paths, {&hw, &telemetry}, sys);
        err = testing::internal::GetCapturedStderr();
        return rc;
    }
    // The full names of a prefix's messages, or "<error>".
    std::vector<std::string> messages(const std::string& platform, const std::string& prefix) {
        std::vector<InputMsg*> out;
        if (parser().getMessagesFor(out, platform, prefix, {}) != 0) {
            return {"<error>"};
        }
        std::vector<std::string> names;
        for (const InputMsg* msg : out) {
            names.push_back(msg->getPlatformName() + ":" + msg->getFullName());
        }
        return names;
    }
    std::string platformFor(const std::string& type, const std::string& value) {
        std::string name = "<none>";
        parser().getPlatformName(name, {type, value});
        return name;
    }

    test::FakeCollector hw{"hw"};
    test::FakeCollector telemetry{"telemetry"};
    int asked = 0;
    SystemMetadata sys;
    test::LogCapture log;
    std::string err;
};

TEST_F(PlatformConfigTest, ExampleFile) {
    ASSERT_EQ(parseFiles({VANTRY_TEST_DATA_DIR "/platform_example.cfg"}), 0) << err;
    EXPECT_EQ(err, "");

    EXPECT_EQ(platformFor("FMS", "6.0x97.2"), "ADL");
    EXPECT_EQ(platformFor("FMS", "6.0x9A.3"), "ADLP");
    EXPECT_EQ(platformFor("FMS", "6.170.4"), "MTL");
    EXPECT_EQ(platformFor("FMS", "6.0x8C.1"), "<none>");
    EXPECT_EQ(platformFor("PCI", "VENDOR=0x8086,DEVICE=0x4680"), "ADL");
    EXPECT_EQ(platformFor("PMT", "GUID=0x1A2B3C4D"), "MTL");
    EXPECT_EQ(platformFor("PCH-ID", "0x55"), "ADLP");
    EXPECT_EQ(platformFor("BOARD-ID", "66"), "ALL");

    // ADLP extends ADL, which extends ALL: ADL's C6 replaces the root's, and
    // the telemetry message was dropped, its operation being unavailable.
    EXPECT_EQ(messages("ADLP", "CORE"),
              (std::vector<std::string>{"ALL:CORE_TSC", "ALL:CORE_C1", "ALL:CORE_SNAPSHOT",
                                        "ALL:CORE_C6START", "ADL:CORE_C6", "ADLP:CORE_C7"}));
    EXPECT_TRUE(log.logged(
        "WARNING: Parent message (ALL_CORE_C6) clashes with child message (ADL_CORE_C6)\n"));
    EXPECT_TRUE(
        log.logged("INFO: not adding message CORE_TELEMETRY because it doesn't have any "
                   "operations!\n"));
    log.clear();
    EXPECT_EQ(messages("MTL", "CORE"), std::vector<std::string>{"MTL:CORE_C6"});
    EXPECT_TRUE(log.loggedExactly({"INFO: OVERRIDE found for prefix CORE\n"}));
    EXPECT_TRUE(parser().isPlatformPrefixSupported("FMS=MTL,PCI=ADL", "CTRL"));
    EXPECT_FALSE(parser().isPlatformPrefixSupported("MTL", "GPU"));

    std::vector<InputMsg*> all;
    ASSERT_EQ(parser().getMessagesFor(all, "ALL", "CORE", {"C6", "CORE_SNAPSHOT"}), 0);
    ASSERT_EQ(all.size(), 2u);
    const InputMsg& c6 = *all[0];
    EXPECT_EQ(c6.getMsgID(), 0x10);
    EXPECT_EQ(c6.getFeatureName(), "core-residency");
    EXPECT_EQ(c6.getTriggers(), (InputMsg::StringSet{"BEGIN", "END", "POLL"}));
    EXPECT_EQ(c6.getTriggers(true), (InputMsg::StringSet{"NOTIFIER", "POLL", "TRACEPOINT"}));
    EXPECT_EQ(c6.getNotifierNames(true), InputMsg::StringSet{"core_sleep"});
    EXPECT_EQ(c6.getTracepointNames(true), InputMsg::StringSet{"power:cpu_idle"});
    ASSERT_EQ(c6.getOperationCount(), 1u);
    const OperationPacket& packet = *c6.getOperations()[0]->getPacket();
    EXPECT_EQ(
        OperationPacket::Pairs(packet.begin(), packet.end()),
        (OperationPacket::Pairs{{"ADDRESS", "0x3FD"}, {"MASK", "63:0"}, {"DATA-FORMAT", "U64.0"}}));
    EXPECT_EQ(all[1]->getOperationCount(), 2u);  // TSC and C1 joined

    all.clear();
    ASSERT_EQ(parser().getMessagesFor(all, "FMS=ADL,PMT=MTL", "INFO", {}), 0);
    ASSERT_EQ(all.size(), 1u);  // the root's, shared
    const Operation& constants = *all[0]->getOperations().at(0);
    EXPECT_EQ(OperationPacket::Pairs(constants.getPacket()->begin(), constants.getPacket()->end()),
              (OperationPacket::Pairs{{"VENDOR", "Vantry_Labs"}, {"SKU", "A=1_B=2"}}));
    all.clear();
    ASSERT_EQ(parser().getMessagesFor(all, "ADL", "CTRL", {"LIMIT"}), 0);
    EXPECT_EQ(all.at(0)->getCommand(), VexaOpCommand::WRITE);
    EXPECT_EQ(all.at(0)->getCPUString(), "0");

    std::vector<const ConfigCap*> caps;
    ASSERT_EQ(parser().getCapabilitiesFor(caps, "MTL"), 0);
    ASSERT_EQ(caps.size(), 3u);
    EXPECT_EQ(caps[0]->getDescription(), "Core residency of the MTL cores");
    EXPECT_EQ(caps[1]->getName(), "power-limit");
    EXPECT_TRUE(caps[2]->isHidden());
    caps.clear();
    ASSERT_EQ(parser().getCapabilitiesFor(caps, "ADLP"), 0);
    EXPECT_EQ(caps.at(0)->getDescription(), "Core residency, read from MSR_CORE_C6 (unit=ticks)");
    EXPECT_EQ(caps.at(0)->getGroups(), (std::set<std::string>{"cstates", "power"}));
}

TEST_F(PlatformConfigTest, OrphansAreLinkedWhenTheirParentAppears) {
    log.context().setVerbosity(PW_DEBUG);
    ASSERT_EQ(parseText("ADLP-ADL_CORE_C7_MSR_ADDRESS=1\n"
                        "ADLS-ADL_CORE_C8_MSR_ADDRESS=2\n"
                        "ADL_CORE_C6_MSR_ADDRESS=3\n"),
              0);
    EXPECT_TRUE(log.loggedExactly(
        {"DEBUG: found orphaned platform \"ADLP\" with parent \"ADL\"\n",
         "DEBUG: found orphaned platform \"ADLS\" with parent \"ADL\"\n",
         "DEBUG: platform \"ADL\" has orphaned children!\n",
         "DEBUG: assigning previously orphaned child \"ADLP\" as a child of \"ADL\"\n",
         "DEBUG: assigning previously orphaned child \"ADLS\" as a child of \"ADL\"\n"}));
    EXPECT_EQ(messages("ADLS", "CORE"), (std::vector<std::string>{"ADL:CORE_C6", "ADLS:CORE_C8"}));
}

TEST_F(PlatformConfigTest, UndefinedParentsFailTheChecks) {
    EXPECT_EQ(parseText("ADLP-ADL_CORE_C7_MSR_ADDRESS=1\nMTLP-MTL_CORE_C7_MSR_ADDRESS=1\n"), -1);
    EXPECT_TRUE(
        log.logged("ERROR: the following \"parent\" platforms have not been defined: "
                   "\"ADL\", \"MTL\"\n"));
    EXPECT_EQ(err, c_sanity);
    EXPECT_EQ(messages("ADLP", "CORE"), std::vector<std::string>{"<error>"});
}

TEST_F(PlatformConfigTest, GroupsNeedTheSameTriggers) {
    EXPECT_EQ(parseText("ALL_CORE_A_MSG_READ-WHEN=POLL\nALL_CORE_A_MSR_ADDRESS=1\n"
                        "ALL_CORE_B_MSG_READ-WHEN=POLL\nALL_CORE_B_MSG_READ-WHEN-MAX-DETAIL=END\n"
                        "ALL_CORE_B_MSR_ADDRESS=2\n"
                        "ALL_CORE_G_MSG_READ-WHEN=POLL\nALL_CORE_G_MSG_GROUP=A,B\n"),
              -1);
    EXPECT_TRUE(log.logged(
        "ERROR: Msg CORE_G and CORE_B have incompatible max-detail read capabilities!\n"));
    EXPECT_TRUE(log.logged("WARNING: couldn't append message CORE_B to message CORE_G!\n"));
    EXPECT_EQ(err, c_sanity);
}

TEST_F(PlatformConfigTest, QueriesNameWhatIsMissing) {
    ASSERT_EQ(parseText("ADL_CORE_C6_MSR_ADDRESS=1\nMTL_CORE_C6_MSR_ADDRESS=1\n"), 0);
    log.clear();
    std::vector<InputMsg*> out;
    EXPECT_EQ(parser().getMessagesFor(out, "TGL", "CORE", {}), -1);
    EXPECT_EQ(parser().getMessagesFor(out, "FMS=ADL,MTL", "CORE", {}), -1);
    EXPECT_EQ(parser().getMessagesFor(out, "ADL", "GPU", {}), -1);
    EXPECT_EQ(parser().getMessagesFor(out, "FMS=ADL,PMT=MTL", "CORE", {}), -1);
    EXPECT_TRUE(out.empty());
    EXPECT_TRUE(log.loggedExactly(
        {"ERROR: no platform \"TGL\" defined in config file!\n",
         "ERROR: couldn't retrieve valid list of platforms from platform name string = TGL\n",
         "WARNING: invalid platform name entry MTL: MUST be of form <TYPE>=<NAME>!\n",
         "ERROR: couldn't retrieve valid list of platforms from platform name string = "
         "FMS=ADL,MTL\n",
         "ERROR: combination of name ADL prefix GPU was NOT specified in config file!\n",
         "ERROR: Duplicate messages found\n"}));
}

// Only a tag must begin with a letter; names, prefixes and mask fields need
// nothing more than the line's shape.
TEST_F(PlatformConfigTest, NamesNeedOnlyTheirShapeAndMasksTwoNumbers) {
    ASSERT_EQ(parseText("6ADL_MODEL_3SOC-ID_CONSTANT_VALUE=7\n"
                        "6ADL.P-6ADL_CORE+1_C6+X_MSR_ADDRESS=1\n"
                        "6ADL.P_CORE+1_C6+X_MSR_MASK=300:0\n"
                        "6ADL.P_CORE+1_G/1_MSG_GROUP=C6+X\n"
                        "6ADL.P_CORE+1_K=1_MSR_ADDRESS=2\n"
                        "6ADL.P_CORE+1_H_MSG_SOURCE=CORE+1_K=1\n"),
              0)
        << err;
    EXPECT_EQ(platformFor("3SOC-ID", "7"), "6ADL");
    EXPECT_EQ(messages("6ADL.P", "CORE+1"),
              (std::vector<std::string>{"6ADL.P:CORE+1_C6+X", "6ADL.P:CORE+1_G/1",
                                        "6ADL.P:CORE+1_K=1", "6ADL.P:CORE+1_H"}));
    std::vector<InputMsg*> c6;
    ASSERT_EQ(parser().getMessagesFor(c6, "6ADL.P", "CORE+1", {"C6+X"}), 0);
    ASSERT_EQ(c6.size(), 1u);
    std::string mask;
    EXPECT_TRUE(c6[0]->getOperations().at(0)->getPacket()->get("MASK", mask));
    EXPECT_EQ(mask, "300:0");
}

// Copy assignment exists; the only parser there is can be assigned to
// itself, which must keep what it read and what it handed out.
TEST_F(PlatformConfigTest, SelfAssignmentKeepsWhatWasRead) {
    static_assert(std::is_copy_assignable<VexaConfigFileParser>::value,
                  "the parser has a copy assignment");
    ASSERT_EQ(parseText("ADL_MODEL_FMS_CONSTANT_VALUE=6.0x97.2\nADL_CORE_C6_MSR_ADDRESS=1\n"), 0);
    std::vector<InputMsg*> before;
    ASSERT_EQ(parser().getMessagesFor(before, "ADL", "CORE", {}), 0);
    VexaConfigFileParser& same = parser();
    parser() = same;
    std::vector<InputMsg*> after;
    ASSERT_EQ(parser().getMessagesFor(after, "ADL", "CORE", {}), 0);
    EXPECT_EQ(after, before);
    EXPECT_EQ(after.at(0)->getOperationCount(), 1u);
    EXPECT_EQ(platformFor("FMS", "6.0x97.2"), "ADL");
}

TEST_F(PlatformConfigTest, FilesAndSecondParseAreChecked) {
    EXPECT_EQ(parseFiles({"no_such_platform.cfg"}), -1);
    EXPECT_EQ(err, std::string("Error opening config file no_such_platform.cfg\n") + c_sanity);
    EXPECT_EQ(parseText("# nothing but a comment\n\n"), 0);
    EXPECT_EQ(parseText("ADL_CORE_C6_MSR_ADDRESS=1\n"), -1);
    EXPECT_EQ(err, "ERROR initializing parser\n");
}

// Lines that are accepted but tell the writer something.
struct NoticeCase {
    const char* text;
    const char* line;
};

class ConfigNoticeTest : public PlatformConfigTest,
                         public ::testing::WithParamInterface<NoticeCase> {};

TEST_P(ConfigNoticeTest, IsLoggedAndAccepted) {
    EXPECT_EQ(parseText(GetParam().text), 0) << err;
    EXPECT_TRUE(log.logged(GetParam().line));
}

INSTANTIATE_TEST_SUITE_P(
    Lines, ConfigNoticeTest,
    ::testing::Values(
        NoticeCase{"ADL_CORE_CAPABILITY_HIDDEN_VALUE=YES\n",
                   "WARNING: invalid value YES passed to \"HIDDEN\" attribute; must be one of "
                   "\"TRUE\" or \"FALSE\"\n"},
        NoticeCase{"ADL_CORE_C6_MSR_ADDRESS=1\nADL_CORE_C6_MSG_GROUP=C6\n",
                   "DEBUG: told to add a group C6 to itself?!\n"},
        NoticeCase{"ADL_CORE_C6_MSR_ADDRESS=1\nADL_CORE_INHERIT_MODE_VALUE=OVERRIDE\n",
                   "INFO: prefix = CORE, inherit value = OVERRIDE\n"},
        NoticeCase{"ADL_CORE_C6_MSR_ADDRESS=1\nADL_CORE_C6_MSG_READ-WHEN=NOTIFIER:wake\n",
                   "INFO: OK, adding notifier name = wake to msg CORE_C6\n"},
        NoticeCase{"ADL_CORE_C6_PMT_GUID=1\n",
                   "INFO: Didn't add operation CORE_C6_PMT to msg CORE_C6 because op is not "
                   "available on current platform!\n"}));

// A bad last line: the whole file is refused, the line is named on standard
// error, and the rules that failed log their names, the innermost first.
struct BadLineCase {
    const char* text;     // lines before the bad one, and the bad one last
    const char* rule;     // the innermost rule that fails
    const char* line;     // the line that says why, or null
    const char* stderrs;  // what else goes to standard error, or null
};

class BadLineTest : public PlatformConfigTest, public ::testing::WithParamInterface<BadLineCase> {};

TEST_P(BadLineTest, RefusesTheFile) {
    const BadLineCase& c = GetParam();
    const std::string text = c.text;
    const size_t start = text.rfind('\n', text.size() - 2);
    const std::string bad = text.substr(start == std::string::npos ? 0 : start + 1,
                                        text.size() - (start == std::string::npos ? 1 : start + 2));
    const size_t number = static_cast<size_t>(std::count(text.begin(), text.end(), '\n'));
    EXPECT_EQ(parseText(text), -1);
    const std::string named = "ERROR parsing line " + bad + " (line " + std::to_string(number) +
                              " of " + c_file + ")\nERROR parsing config file " + c_file + "\n";
    EXPECT_NE(err.find(named + c_sanity), std::string::npos) << err;
    if (c.stderrs != nullptr) {
        EXPECT_NE(err.find(c.stderrs), std::string::npos) << err;
    }
    if (c.line != nullptr) {
        EXPECT_TRUE(log.logged(c.line));
    }
    const std::vector<std::string> lines = log.lines();
    if (c.rule != nullptr) {
        const std::string failed = std::string("WARNING: ERROR calling function \"");
        size_t first = 0;
        while (first < lines.size() && lines[first].compare(0, failed.size(), failed) != 0) {
            ++first;
        }
        ASSERT_LT(first, lines.size());
        EXPECT_EQ(lines[first], failed + c.rule + "\"\n");
        EXPECT_EQ(lines.back(), failed + "platformRule\"\n");
    }
    // Nothing of the refused file stays.
    EXPECT_FALSE(parser().isPlatformPrefixSupported("ADL", "CORE"));
}

INSTANTIATE_TEST_SUITE_P(
    Lines, BadLineTest,
    ::testing::Values(
        BadLineCase{"ADL_CORE_C6_MSG\n", nullptr, nullptr, nullptr},
        BadLineCase{"ADL_CORE_C6=1\n", nullptr, nullptr, nullptr},
        BadLineCase{"-ADL_CORE_C6_MSG_ID=1\n", "platformHead", nullptr, nullptr},
        BadLineCase{"ADL-_CORE_C6_MSG_ID=1\n", "platformTail", nullptr, nullptr},
        BadLineCase{"ALL-ADL_CORE_C6_MSG_ID=1\n", "platformTail",
                    "ERROR: platform \"ALL\" cannot have the parent \"ADL\"!\n", nullptr},
        BadLineCase{"ADL-MTL_CORE_C6_MSG_ID=1\nADL-TGL_CORE_C6_MSG_ID=1\n", "platformSub",
                    "ERROR: platform \"ADL\" already has the parent \"MTL\"!\n", nullptr},
        BadLineCase{"ADL-MTL_CORE_C6_MSG_ID=1\nMTL-ADL_CORE_C6_MSG_ID=1\n", "platformSub",
                    "ERROR: platform \"MTL\" cannot have the parent \"ADL\"!\n", nullptr},
        BadLineCase{"ALL_MODEL_FMS_CONSTANT_VALUE=6.1.1\n", "modelFMSRule",
                    "ERROR: \"ALL\" is NOT allowed to have \"FMS\" as a model specifier!\n",
                    nullptr},
        BadLineCase{"ADL_MODEL_FMS_CONSTANT_VALUE=6.300.1\n", "fmsValue",
                    "ERROR: 6.300.1 is NOT a valid FMS specifier!\n", nullptr},
        BadLineCase{"ADL_MODEL_FMS_CONSTANT_VALUE=6\n", "fmsValues", nullptr, nullptr},
        BadLineCase{"ADL_MODEL_PCI_CONSTANT_VALUE=0x8086:0x1\n", "pciValue",
                    "ERROR: Invalid syntax for \"PCI\" model specifier\n", nullptr},
        BadLineCase{"ADL_MODEL_PCI_CONSTANT_VALUE=VENDOR=0x18086,DEVICE=1\n", "pciValue", nullptr,
                    "EXCEPTION CAUGHT: Invalid version and/or device passed to PCI specifier\n"},
        BadLineCase{"ADL_MODEL_PMT_CONSTANT_VALUE=0x1\n", "PMTValue",
                    "ERROR: Invalid syntax for \"PMT\" GUID specifier\n", nullptr},
        BadLineCase{"ADL_MODEL_PMT_CONSTANT_VALUE=GUID=xyz\n", "PMTValue", nullptr,
                    "EXCEPTION CAUGHT: Invalid version and/or device passed to PMT specifier\n"},
        BadLineCase{"ADL_MODEL_SOC_CONSTANT_RANGE=a-b\n", "modelRangeSub",
                    "ERROR: range specifier MUST be a number!", nullptr},
        BadLineCase{"ADL_MODEL_SOC_CONSTANT_RANGE=9-1\n", "modelRangeSub", nullptr, nullptr},
        BadLineCase{"ADL_MODEL_FMS_CONSTANT_RANGE=1-2\n", "modelRange", nullptr, nullptr},
        BadLineCase{"ADL_MODEL_SOC_VARIABLE_VALUE=1\n", "modelSpec", nullptr, nullptr},
        BadLineCase{"ADL_MODEL_SOC_CONSTANT_VALUE=\n", "modelValue", nullptr, nullptr},
        BadLineCase{"ADL_MODEL__CONSTANT_VALUE=1\n", "modelOtherRule", nullptr, nullptr},
        BadLineCase{"ADL__C6_MSG_ID=1\n", "prefixRule", nullptr, nullptr},
        BadLineCase{"ADL_CORE_CAPABILITY_COMMAND-LINE_NAME=x\n", "capValue",
                    "WARNING: invalid token NAME; expected \"VALUE\"\n", nullptr},
        BadLineCase{"ADL_CORE_CAPABILITY_COLOR_VALUE=x\n", "capSub", nullptr, nullptr},
        BadLineCase{"ADL_CORE_CAPABILITY_HELP-STRING_VALUE=\n", "capValue", nullptr, nullptr},
        BadLineCase{"ADL_CORE_CAPABILITY_COMMAND-LINE_VALUE=two words\n", "capSubCmdline", nullptr,
                    nullptr},
        BadLineCase{"ADL_CORE_CAPABILITY_GROUP_VALUE=a,,b\n", "capSubGroup", nullptr, nullptr},
        BadLineCase{"ADL_CORE_INHERIT_KIND_VALUE=EXTEND\n", "inheritSub", nullptr, nullptr},
        BadLineCase{"ADL_CORE_INHERIT_MODE_SET=EXTEND\n", "inheritMode", nullptr, nullptr},
        BadLineCase{"ADL_CORE_INHERIT_MODE_VALUE=REPLACE\n", "inheritValue",
                    "ERROR: Invalid \"inherit\" value REPLACE -- MUST be one of \"OVERRIDE\" or "
                    "\"EXTEND\"\n",
                    nullptr},
        BadLineCase{"ADL_CORE_6C_MSG_ID=1\n", "tag", nullptr, nullptr},
        BadLineCase{"ADL_CORE_C6_MSG_ID=-1\n", "msgIDValue", nullptr, nullptr},
        BadLineCase{"ADL_CORE_C6_MSG_READ-WHEN=SOMETIMES\n", "trigger", nullptr, nullptr},
        BadLineCase{"ADL_CORE_C6_MSG_READ-WHEN=POLL,,END\n", "trigger", nullptr, nullptr},
        BadLineCase{"ADL_CORE_C6_MSG_READ-WHEN=INIT,POLL\n", "trigger",
                    "ERROR: Trying to add Trigger POLL to message CORE_C6 which already has an "
                    "\"INIT\" or \"REQUIREMENTS\" Trigger; \"INIT\" and \"REQUIREMENTS\" messages "
                    "cannot be mixed with other messages!\n",
                    nullptr},
        BadLineCase{"ADL_CORE_C6_MSG_READ-WHEN=POLL\nADL_CORE_C6_MSG_WRITE-WHEN-MAX-DETAIL=END\n",
                    "trigger", nullptr, "Commands are not compatible!\n"},
        BadLineCase{"ADL_CORE_C6_MSG_READ-WHEN=NOTIFIER:\n", "notifierTrigger", nullptr, nullptr},
        BadLineCase{"ADL_CORE_C6_MSG_READ-WHEN=TRACEPOINT:a b\n", "traceTrigger", nullptr, nullptr},
        BadLineCase{"ADL_CORE_C6_MSG_READ-WHICH-CPU=any cpu\n", "msgReadWhere", nullptr, nullptr},
        BadLineCase{"ADL_CORE_C6_MSG_WRITE-WHICH-CPU=\n", "msgWriteWhere", nullptr, nullptr},
        BadLineCase{"ADL_CORE_C6_MSG_GROUP=C7\n", "msgGroupList",
                    "WARNING: couldn't append message C7 to message CORE_C6!\n", nullptr},
        BadLineCase{"ADL_CORE_C6_MSG_GROUP=A_B_C\n", "name", nullptr, nullptr},
        BadLineCase{"ADL_CORE_C6_MSG_GROUP=CORE_7X\n", "name", nullptr, nullptr},
        BadLineCase{"ADL_CORE_C6_MSG_COLOR=1\n", "msgSource", nullptr, nullptr},
        BadLineCase{"ADL_CORE_C6_CONSTANT_KEY=\n", "constantAnyValue",
                    "ERROR creating packet with key = KEY\n", nullptr},
        BadLineCase{"ADL_CORE_C6_CONSTANT_K=1\nADL_CORE_C6_CONSTANT_K=2\n", "constantAnyValue",
                    "ERROR: key K already set!\n", "Couldn't add key K, value 2\n"},
        BadLineCase{"ADL_CORE_C6_MSG_WRITE-WHEN=BEGIN\nADL_CORE_C6_CONSTANT_K=1\n", "constantAny",
                    nullptr, "Commands are not compatible!\n"},
        BadLineCase{"ADL_CORE_C6_FOO_ADDRESS=1\n", "hwMechRule",
                    "ERROR: unknown collector type FOO\n", nullptr},
        BadLineCase{"ADL_CORE_C6_MSR_ADDRESS=1\nADL_CORE_C6_PMT_GUID=1\n", "hwMechRule",
                    "ERROR: Cannot add operation CORE_C6_PMT to message CORE_C6 because the "
                    "collectors are different!\n",
                    nullptr},
        BadLineCase{"ADL_CORE_C6_MSR_PORT=1\n", "hwCatRule",
                    "ERROR: unknown hardware category PORT for operation MSR\n", nullptr},
        BadLineCase{"ADL_CORE_C6_MSR_ADDRESS=\n", "directValue", nullptr, nullptr},
        BadLineCase{"ADL_CORE_C6_MSR_MASK=4\n", "directValue",
                    "ERROR: Invalid MASK entry. 4 is invalid. Format expected as MSB:LSB\n",
                    nullptr},
        BadLineCase{"ADL_CORE_C6_MSR_DATA-FORMAT=Q8.8\n", "directValue",
                    "ERROR: Invalid DATA-FORMAT entry. Q8.8 is invalid. Format expected as UX.Y "
                    "or SX.Y",
                    nullptr},
        BadLineCase{"ADL_CORE_C6_MSR_ADDRESS=1\nADL_CORE_C6_MSR_ADDRESS=2\n", "value",
                    "WARNING: Couldn't add key ADDRESS, value 2 to operation CORE_C6_MSR\n",
                    nullptr},
        // SOURCE refusals.
        BadLineCase{"ADL_CORE_B_MSG_SOURCE=B\n", "msgSourceRule",
                    "WARNING: CANNOT self-source for message CORE_B!\n", nullptr},
        BadLineCase{"ADL_CORE_B_MSG_SOURCE=Z\n", "msgSourceRule",
                    "WARNING: CANNOT source from non-existant msg Z!\n", nullptr},
        BadLineCase{"ADL_CORE_A_MSR_ADDRESS=1\nADL_CORE_B_MSR_ADDRESS=2\nADL_CORE_B_MSG_SOURCE=A\n",
                    "msgSourceRule", "WARNING: CANNOT source to non-empty message CORE_B!\n",
                    nullptr},
        BadLineCase{"ADL_CORE_A_MSR_ADDRESS=1\nADL_CORE_G_MSG_GROUP=A\nADL_CORE_B_MSG_SOURCE=A\n",
                    "msgSourceRule",
                    "WARNING: message CORE_A cannot be sourced since it is part of a group!\n",
                    nullptr},
        BadLineCase{"ADL_CORE_A_MSG_ID=1\nADL_CORE_B_MSG_SOURCE=CORE_A\n", "msgSourceRule",
                    "WARNING: message CORE_A cannot be sourced since it doesn't contain any "
                    "supported operations!\n",
                    nullptr}));

// Random and mutated lines must never crash or hang the parser; run under
// AddressSanitizer this also finds reads past the end of a token.
TEST_F(PlatformConfigTest, SurvivesRandomAndMutatedLines) {
    const std::vector<std::string> base = {
        "ADLP-ADL_MODEL_FMS_CONSTANT_VALUE=6.0x9A/-",
        "ADL_MODEL_PCI_CONSTANT_VALUE=VENDOR=0x8086,DEVICE=0x4680",
        "MTL_MODEL_PMT_CONSTANT_VALUE=GUID=0x1A2B3C4D",
        "ADLP_MODEL_PCH-ID_CONSTANT_RANGE=0x51-0x5F",
        "ALL_CORE_CAPABILITY_GROUP_VALUE=power, cstates",
        "ALL_CORE_INHERIT_MODE_VALUE=OVERRIDE",
        "ALL_CORE_C6_MSG_READ-WHEN-MAX-DETAIL=POLL,NOTIFIER:core_sleep,TRACEPOINT:a:b",
        "ALL_CORE_C6_MSR_MASK=63:0",
        "ALL_CORE_C6_MSR_DATA-FORMAT=U8.8",
        "ALL_CORE_C1_MSG_READ-WHEN=BEGIN,POLL,END",
        "ALL_CORE_C1_MSR_ADDRESS=0x660",
        "ALL_CORE_SNAPSHOT_MSG_READ-WHEN=BEGIN,POLL,END",
        "ALL_CORE_SNAPSHOT_MSG_GROUP=C1",
        "ALL_CORE_C6START_MSG_SOURCE=C6",
        "ALL_INFO_NAMES_CONSTANT_SKU=A=1_B=2",
        "ALL_CTRL_LIMIT_MSG_WRITE-WHEN=FINI",
        "ALL_CTRL_LIMIT_MMIO_OFFSET=0x59A0",
        "ADLP_CORE_C7_PMT_GUID=0x1",
    };
    const std::string alphabet = "_=-,.:/#0xAZaz9 \t\r\"";
    std::mt19937 random(20240611);
    auto pick = [&random](size_t n) { return static_cast<size_t>(random() % n); };
    log.context().setVerbosity(PW_FATAL);
    int parsed = 0;
    for (int file = 0; file < 200; ++file) {
        std::string text;
        for (const std::string& seed : base) {
            std::string line = seed;
            // The first file is left whole: it must parse.
            for (size_t edits = file == 0 || pick(6) != 0 ? 0 : 1 + pick(3);
                 edits > 0 && !line.empty(); --edits) {
                const size_t at = pick(line.size());
                switch (pick(4)) {
                    case 0:
                        line.erase(at, 1 + pick(3));
                        break;
                    case 1:
                        line.insert(at, 1, alphabet[pick(alphabet.size())]);
                        break;
                    case 2: {
                        const std::string& other = base[pick(base.size())];
                        line.insert(at, other.substr(pick(other.size())));
                        break;
                    }
                    default:
                        line[at] = static_cast<char>(pick(256));
                        break;
                }
            }
            text += line + "\n";
        }
        const int rc = parseText(text);
        EXPECT_TRUE(rc == 0 || rc == -1);
        EXPECT_TRUE(file != 0 || rc == 0) << err;
        parsed += rc == 0;
        std::vector<InputMsg*> out;
        parser().getMessagesFor(out, "ADLP", "CORE", {});
        VexaConfigFileParser::destroy();
    }
    // Mutations that keep a line valid must not be refused either.
    EXPECT_GT(parsed, 1);
}

}  // namespace
}  // namespace pwr
