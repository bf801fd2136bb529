// Which features -f selects: names and groups, case, hidden and unavailable
// features, and the lines for words that name nothing.
#include "host/Features.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

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

}  // namespace
}  // namespace vantry
