// Features: what a user can ask `vantry -f` for on this machine, and how the
// words of -f select among them.
//
// A feature is a capability of the platform configuration (its command-line
// name, help string, groups and configuration prefix) that a metric plug-in
// serves with a suitable capability of the same prefix, together with the
// input messages of that prefix that a collector can collect here. Features
// that the configuration declares but this machine cannot serve are kept
// (available false) so that asking for one by name gets a precise answer.
//
// Plain values; the pointers are borrowed from the configuration parser and
// the plug-in loader, which outlive the features.
#pragma once

#include <map>
#include <set>
#include <string>
#include <vector>

#include "common/config/InputMsg.h"
#include "common/plugins/MetricPlugin.h"
#include "common/plugins/MetricPluginCapability.h"

namespace pwr {
class VexaConfigFileParser;
}  // namespace pwr

namespace vantry {

struct Feature {
    std::string name;
    std::string prefix;
    std::string description;
    std::set<std::string> groups;
    bool hidden = false;
    MetricPlugin* plugin = nullptr;
    const pwr::MetricPluginCapability* capability = nullptr;
    std::vector<pwr::InputMsg*> messages;

    bool available() const { return plugin != nullptr && !messages.empty(); }
};

// The name of the group of every feature.
const char* allFeaturesGroup();

// Whether two names are the same, case ignored: how the user names features,
// groups and report formats.
bool sameName(const std::string& a, const std::string& b);

// The groups of the available, visible features with their members, by group
// name; "all" holds every one of them.
std::map<std::string, std::vector<std::string>> featureGroups(const std::vector<Feature>& features);

// Checks the features that the platform configuration of configFolder
// declares for platform (features as built from parser), so that a mistake
// there is reported rather than making features vanish or be unreachable.
// False, with one "ERROR: " line in error, when:
// - no feature is declared at all (an empty or truncated file);
// - two features share a command-line name, case ignored (-f could select
//   only the first);
// - an operation of a feature's message gives a packet key a value that its
//   collector's kind does not know (a misspelt SOURCE): the kind's prototype
//   lists the values it knows (see common/config/Operation.h), and a value
//   outside them would make the message, and often the feature, unavailable
//   on every machine.
bool checkFeatureConfig(const std::vector<Feature>& features,
                        const pwr::VexaConfigFileParser& parser, const std::string& platform,
                        const std::string& configFolder, std::string& error);

// Resolves the words of -f (feature names or group names, case ignored) into
// features, each once, in the order of features. False, with one "ERROR: "
// line in error, for a word that names nothing (with close matches and a
// pointer to --help), a feature this machine cannot serve, or a group
// without one available feature.
bool selectFeatures(const std::vector<Feature>& features, const std::vector<std::string>& words,
                    std::vector<const Feature*>& out, std::string& error);

}  // namespace vantry
