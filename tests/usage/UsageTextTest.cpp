#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "common/usage/UsageText.h"

namespace pwr::usage {
namespace {

std::string readFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

TEST(UsageTextTest, PlainTextAtHundredColumnsMatchesGolden) {
    const std::string golden = readFile(std::string(VANTRY_TEST_DATA_DIR) + "/usage_100.txt");
    ASSERT_FALSE(golden.empty()) << "golden file not found";
    EXPECT_EQ(UsageText("vantry").formatText(100), golden);
}

// The TCSS row is process-wide: each test that changes it puts the default
// row back, whatever happens.
class TcssRowTest : public ::testing::Test {
  protected:
    void TearDown() override { UsageText::updateTcssIpInfo("DEFAULT"); }
};

TEST_F(TcssRowTest, ValidArgsFollowThePlatformRowOrDefault) {
    UsageText usage("vantry");
    const Option* tcss = usage.findFeatureOption("tcss-pm-dbg", "tcss-ip");
    const Option* pch = usage.findFeatureOption("pch-ip-lat-limit", "lat-limit-ip");
    ASSERT_NE(tcss, nullptr);
    ASSERT_NE(pch, nullptr);
    const std::vector<std::string> tcssDefault = {"PCIE0", "PCIE1", "TBT0"};
    const std::vector<std::string> pchDefault = {"SPA", "SPB", "SPC"};
    EXPECT_EQ(tcss->getValidArgs(), tcssDefault);
    EXPECT_EQ(pch->getValidArgs(), pchDefault);

    UsageText::updateTcssIpInfo("MTL-P");
    usage.updatePchDeviceInfo("adl");
    EXPECT_EQ(tcss->getValidArgs(), UsageText::getTcssIpNames("MTL"));
    EXPECT_EQ(pch->getValidArgs(), UsageText::getPchDeviceNames("ADL"));
    EXPECT_GT(tcss->getValidArgs().size(), tcssDefault.size());
    EXPECT_GT(pch->getValidArgs().size(), pchDefault.size());

    // Replaced, not appended to; an unknown platform (or a longer name that
    // merely starts like a known one) falls back to the default row.
    UsageText::updateTcssIpInfo("MTLX");
    usage.updatePchDeviceInfo("UNKNOWN");
    EXPECT_EQ(tcss->getValidArgs(), tcssDefault);
    EXPECT_EQ(pch->getValidArgs(), pchDefault);
}

TEST_F(TcssRowTest, TcssRowIsOneForTheProcess) {
    UsageText before("vantry");
    UsageText::updateTcssIpInfo("ADL");
    const UsageText copy(before);
    const UsageText after("vantry");
    const std::vector<std::string> adl = UsageText::getTcssIpNames("ADL");
    for (const UsageText* usage : std::vector<const UsageText*>{&before, &copy, &after}) {
        const auto& tcss = usage->getIndividualFeatureOptions().at("tcss-pm-dbg").at(0);
        EXPECT_EQ(tcss.getValidArgs(), adl);
    }
    // The PCH row stays each UsageText's own.
    before.updatePchDeviceInfo("ADL");
    EXPECT_EQ(after.getIndividualFeatureOptions().at("pch-ip-lat-limit").at(0).getValidArgs(),
              UsageText::getPchDeviceNames("DEFAULT"));
}

TEST(UsageTextTest, JsonParsesBackWithEveryOptionAndKey) {
    UsageText usage("vantry");
    usage.findOption("Post-processing Options", "-r")->appendValidArgs({"sum", "csv"});
    const nlohmann::json json = nlohmann::json::parse(usage.formatJson());
    EXPECT_EQ(json.at("program"), "vantry");

    const std::vector<std::string> keys = {"name",  "description", "abbreviation", "normal name",
                                           "arg",   "arg_default", "arg_units",    "arg_type",
                                           "notes", "alias",       "valid args"};
    const auto checkOptions = [&keys](const nlohmann::json& parsed,
                                      const std::vector<Option>& options) {
        ASSERT_EQ(parsed.size(), options.size());
        for (size_t i = 0; i < options.size(); ++i) {
            const nlohmann::json& object = parsed[i];
            EXPECT_EQ(object.size(), keys.size()) << options[i].getName();
            for (size_t k = 0; k + 1 < keys.size(); ++k) {
                const auto attribute = static_cast<Option::Attribute>(k);
                EXPECT_EQ(object.at(keys[k]), options[i].getAttribute(attribute)) << keys[k];
            }
            EXPECT_EQ(object.at("valid args").get<std::vector<std::string>>(),
                      options[i].getValidArgs());
        }
    };
    const auto& groups = json.at("groups");
    ASSERT_EQ(groups.size(), usage.getOptionGroups().size());
    size_t hostOptions = 0;
    for (size_t g = 0; g < groups.size(); ++g) {
        EXPECT_EQ(groups[g].at("name"), usage.getOptionGroups()[g].title);
        checkOptions(groups[g].at("options"), usage.getOptionGroups()[g].options);
        hostOptions += groups[g].at("options").size();
    }
    EXPECT_EQ(hostOptions, 18u);

    const auto& features = json.at("features");
    std::set<std::string> names;
    for (const auto& feature : features) {
        names.insert(feature.at("name").get<std::string>());
        checkOptions(feature.at("options"),
                     usage.getIndividualFeatureOptions().at(feature.at("name")));
    }
    EXPECT_EQ(names, (std::set<std::string>{"acpi-dstate", "pch-ip-active", "pch-ip-lat-limit",
                                            "pcie-lpm", "tcss-pm-dbg"}));
    EXPECT_EQ(groups[1].at("options")[3].at("valid args"), nlohmann::json::array({"sum", "csv"}));
    EXPECT_EQ(nlohmann::json::parse(usage.formatJson(-1)), json);
}

TEST(UsageTextTest, JsonValueReceivesTheUsage) {
    UsageText usage("vantry");
    const nlohmann::json text = nlohmann::json::parse(usage.formatJson());

    nlohmann::json doc;
    usage.formatJson(doc);
    EXPECT_EQ(doc, text);
    // An object keeps its other keys; an array gets the usage appended.
    nlohmann::json object = {{"tool", "x"}, {"program", "old"}};
    usage.formatJson(object);
    EXPECT_EQ(object.at("tool"), "x");
    EXPECT_EQ(object.at("program"), "vantry");
    EXPECT_EQ(object.at("groups"), text.at("groups"));
    nlohmann::json list = nlohmann::json::array({1});
    usage.formatJson(list);
    ASSERT_EQ(list.size(), 2u);
    EXPECT_EQ(list[1], text);

    nlohmann::json args;
    EXPECT_TRUE(UsageText::appendArgsJson(args, {"sum", "csv"}));
    EXPECT_TRUE(UsageText::appendArgsJson(args, {"json"}));
    EXPECT_EQ(args, nlohmann::json::array({"sum", "csv", "json"}));
    nlohmann::json notAnArray = {{"a", 1}};
    EXPECT_FALSE(UsageText::appendArgsJson(notAnArray, {"sum"}));
    EXPECT_EQ(notAnArray, (nlohmann::json{{"a", 1}}));
}

}  // namespace
}  // namespace pwr::usage
