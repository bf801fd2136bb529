// Which features -f selects: names and groups, case, hidden and unavailable
// features, and the lines for words that name nothing; and which platform
// configurations the host refuses before it offers any feature.
#include "host/Features.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

#include "common/config/VexaConfigFileParser.h"
#include "common/serialize/SystemMetadata.h"
#include "tests/config/FakeCollector.h"
#include "tests/support/LogCapture.h"

namespace vantry {
namespace {

class StubMetric : public MetricPlugin {
  public:
    StubMetric() : MetricPlugin("stub") {}
    pwr::ResetReturnCode reset(pwr::ResetReason, uint64_t, const pwr::SystemMetadata&) override {
        return pwr::ResetReturnCode::NOT_NEEDED;
    }
    int processMetadata(const pwr::Metadata*) override { return 0; }
    int initializeCollection(const std::vector<const pwr::InputMsg*>&,
                             const std::vector<const pwr::Metadata*>&, const std::string&,
                             const pwr::AttributePairs&, const pwr::SystemMetadata&) override {
        return 0;
    }
    int getDynamicHelpDisplayType(const std::string&, const pwr::AttributePairs&,
                                  const pwr::SystemMetadata&) override {
        return 0;
    }
    int finalizeCollection(const std::string&, const pwr::AttributePairs&,
                           const pwr::SystemMetadata&) override {
        return 0;
    }
    bool getOrgMsgTag(const vexa_driver_msg*, std::string&) const override { return false; }
    bool getOrgMsgPayload(const vexa_driver_msg*, std::string&) const override { return false; }
};

class FeaturesTest : public ::testing::Test {
  protected:
    void SetUp() override {
        add("cstate", {"power", "cpu"});
        add("frequency", {"cpu"});
        add("battery", {"power"}, /*available=*/false);
        add("secret", {"power"}, true, /*hidden=*/true);
        add("disk-io", {"devices"}, /*available=*/false);
    }

    void add(const std::string& name, std::set<std::string> groups, bool available = true,
             bool hidden = false) {
        Feature feature;
        feature.name = name;
        feature.prefix = name + "_PREFIX";
        feature.groups = std::move(groups);
        feature.hidden = hidden;
        feature.plugin = &plugin;
        if (available) {
            messages.emplace_back(new pwr::InputMsg("TAG", feature.prefix));
            feature.messages.push_back(messages.back().get());
        }
        features.push_back(feature);
    }

    std::vector<std::string> select(const std::vector<std::string>& words) {
        std::vector<const Feature*> out;
        std::string error;
        EXPECT_TRUE(selectFeatures(features, words, out, error)) << error;
        std::vector<std::string> names;
        for (const Feature* feature : out) {
            names.push_back(feature->name);
        }
        return names;
    }

    std::string refusal(const std::vector<std::string>& words) {
        std::vector<const Feature*> out;
        std::string error;
        EXPECT_FALSE(selectFeatures(features, words, out, error));
        return error;
    }

    StubMetric plugin;
    std::vector<std::unique_ptr<pwr::InputMsg>> messages;
    std::vector<Feature> features;
};

TEST_F(FeaturesTest, GroupsHoldOnlyAvailableVisibleFeatures) {
    const auto groups = featureGroups(features);
    ASSERT_EQ(groups.size(), 3u);
    EXPECT_EQ(groups.at("all"), (std::vector<std::string>{"cstate", "frequency"}));
    EXPECT_EQ(groups.at("power"), (std::vector<std::string>{"cstate"}));
    EXPECT_EQ(groups.at("cpu"), (std::vector<std::string>{"cstate", "frequency"}));
    EXPECT_EQ(groups.count("devices"), 0u);
    Feature noPlugin = features[0];
    noPlugin.plugin = nullptr;
    EXPECT_FALSE(noPlugin.available());
}

TEST_F(FeaturesTest, WordsSelectEachFeatureOnceInListOrder) {
    EXPECT_EQ(select({"frequency", "cstate"}), (std::vector<std::string>{"cstate", "frequency"}));
    EXPECT_EQ(select({"all"}), (std::vector<std::string>{"cstate", "frequency"}));
    EXPECT_EQ(select({"CPU", "Cstate", "power"}),
              (std::vector<std::string>{"cstate", "frequency"}));
    EXPECT_EQ(select({"secret"}), (std::vector<std::string>{"secret"}))
        << "hidden features answer to their name";
    EXPECT_EQ(select({"power", "secret"}), (std::vector<std::string>{"cstate", "secret"}));
}

TEST_F(FeaturesTest, WordsThatNameNothingGetOneLine) {
    EXPECT_EQ(refusal({"cstate", "cstat"}),
              "ERROR: unknown feature \"cstat\"; did you mean cstate? Run vantry --help for the "
              "features of this machine");
    EXPECT_EQ(refusal({"freqency"}),
              "ERROR: unknown feature \"freqency\"; did you mean frequency? Run vantry --help for "
              "the features of this machine");
    EXPECT_EQ(refusal({"qqqqqqqq"}),
              "ERROR: unknown feature \"qqqqqqqq\"; run vantry --help for the features of this "
              "machine");
    EXPECT_EQ(refusal({"battery"}),
              "ERROR: feature \"battery\" is not available on this machine; run vantry --help "
              "for the features that are");
    EXPECT_EQ(refusal({"devices"}),
              "ERROR: no feature of group \"devices\" is available on this machine; run vantry "
              "--help for the features that are");
    // A hidden feature is never offered as a close match.
    EXPECT_EQ(refusal({"secrit"}),
              "ERROR: unknown feature \"secrit\"; run vantry --help for the features of this "
              "machine");
}

struct ConfigCase {
    const char* name;
    std::string text;   // the platform configuration
    std::string error;  // empty: accepted
};

void PrintTo(const ConfigCase& config, std::ostream* os) {
    *os << config.name;
}

// The configuration is parsed as the host parses it, with a collector whose
// FILE kind knows two SOURCEs and whose FAKE kind declares no values, and
// the features are built from its capabilities as the host builds them.
class FeatureConfigTest : public ::testing::TestWithParam<ConfigCase> {
  protected:
    FeatureConfigTest() {
        collector.serve("FILE", {"SOURCE", "PATH"})
            .createPacket()
            .set("SOURCE", "CPUIDLE, CPUFREQ");
        collector.serve("FAKE", {"STEP"});
    }
    void TearDown() override {
        pwr::VexaConfigFileParser::destroy();
        std::remove(c_file);
    }

    bool check(const std::string& text, std::string& error) {
        std::FILE* file = std::fopen(c_file, "wb");
        EXPECT_NE(file, nullptr);
        if (file == nullptr) {
            return false;
        }
        std::fwrite(text.data(), 1, text.size(), file);
        std::fclose(file);
        pwr::VexaConfigFileParser& parser = *pwr::VexaConfigFileParser::instance();
        EXPECT_EQ(parser.parse({c_file}, {&collector}, sys), 0);
        std::vector<const pwr::ConfigCap*> caps;
        parser.getCapabilitiesFor(caps, "ALL");
        std::vector<Feature> features;
        for (const pwr::ConfigCap* cap : caps) {
            Feature feature;
            feature.name = cap->getName();
            feature.prefix = cap->getConfigfilePrefix();
            features.push_back(feature);
        }
        return checkFeatureConfig(features, parser, "ALL", "cfg", error);
    }

    static constexpr const char* c_file = "features_test_platform.cfg";
    pwr::test::FakeCollector collector{"collector"};
    pwr::SystemMetadata sys;
    pwr::test::LogCapture log;
};

TEST_P(FeatureConfigTest, RefusesConfigurationsThatLoseFeatures) {
    std::string error;
    EXPECT_EQ(check(GetParam().text, error), GetParam().error.empty());
    EXPECT_EQ(error, GetParam().error);
}

const std::string c_cstate =
    "ALL_CSTATE_CAPABILITY_COMMAND-LINE_VALUE=cstate\n"
    "ALL_CSTATE_RESIDENCY_MSG_READ-WHEN=BEGIN,POLL,END\n"
    "ALL_CSTATE_RESIDENCY_FILE_SOURCE=CPUIDLE\n";

INSTANTIATE_TEST_SUITE_P(
    Configurations, FeatureConfigTest,
    ::testing::Values(
        // Known SOURCEs (blanks in the list do not matter), and values of a
        // kind that lists none.
        ConfigCase{"Valid",
                   c_cstate + "ALL_FREQ_CAPABILITY_COMMAND-LINE_VALUE=frequency\n"
                              "ALL_FREQ_CURRENT_MSG_READ-WHEN=POLL\n"
                              "ALL_FREQ_CURRENT_FILE_SOURCE=CPUFREQ\n"
                              "ALL_TICKS_CAPABILITY_COMMAND-LINE_VALUE=ticks\n"
                              "ALL_TICKS_COUNT_MSG_READ-WHEN=POLL\n"
                              "ALL_TICKS_COUNT_FAKE_STEP=anything\n",
                   ""},
        ConfigCase{"Empty", "",
                   "ERROR: the platform configuration in \"cfg\" declares no feature; a "
                   "configuration file there may be empty or cut short"},
        // Cut short before the first message: the capability yields nothing.
        ConfigCase{"CutShort", "ALL_CSTATE_CAPABILITY_COMMAND-LINE_VALUE=cstate\n",
                   "ERROR: the platform configuration in \"cfg\" declares no feature; a "
                   "configuration file there may be empty or cut short"},
        ConfigCase{"SameNameAnotherCase",
                   c_cstate + "ALL_IDLE_CAPABILITY_COMMAND-LINE_VALUE=CState\n"
                              "ALL_IDLE_TIME_MSG_READ-WHEN=POLL\n"
                              "ALL_IDLE_TIME_FILE_SOURCE=CPUIDLE\n",
                   "ERROR: the platform configuration in \"cfg\" names two features \"cstate\" "
                   "and \"CState\" (prefixes CSTATE and IDLE); -f ignores case, so each feature "
                   "needs a name of its own"},
        ConfigCase{"SameName",
                   c_cstate + "ALL_IDLE_CAPABILITY_COMMAND-LINE_VALUE=cstate\n"
                              "ALL_IDLE_TIME_MSG_READ-WHEN=POLL\n"
                              "ALL_IDLE_TIME_FILE_SOURCE=CPUIDLE\n",
                   "ERROR: the platform configuration in \"cfg\" names two features \"cstate\" "
                   "(prefixes CSTATE and IDLE); -f ignores case, so each feature needs a name of "
                   "its own"},
        ConfigCase{"MisspeltSource",
                   c_cstate + "ALL_FREQ_CAPABILITY_COMMAND-LINE_VALUE=frequency\n"
                              "ALL_FREQ_CURRENT_MSG_READ-WHEN=POLL\n"
                              "ALL_FREQ_CURRENT_FILE_SOURCE=CPUFRQ\n",
                   "ERROR: the platform configuration in \"cfg\" gives message FREQ_CURRENT "
                   "(feature \"frequency\") the SOURCE CPUFRQ, which the FILE collector does "
                   "not know; it knows CPUIDLE, CPUFREQ"}),
    [](const ::testing::TestParamInfo<ConfigCase>& info) { return info.param.name; });

}  // namespace
}  // namespace vantry
