#include "host/Features.h"

#include <algorithm>
#include <cctype>

#include "common/config/Operation.h"
#include "common/config/VexaConfigFileParser.h"
#include "common/plugins/CollectorPlugin.h"
#include "host/HostOptions.h"

namespace vantry {

bool sameName(const std::string& a, const std::string& b) {
    return a.size() == b.size() && std::equal(a.begin(), a.end(), b.begin(), [](char x, char y) {
               return std::tolower(static_cast<unsigned char>(x)) ==
                      std::tolower(static_cast<unsigned char>(y));
           });
}

namespace {

// The values of a comma list, blanks around them trimmed.
std::vector<std::string> listValues(const std::string& list) {
    std::vector<std::string> values;
    size_t start = 0;
    for (;;) {
        const size_t comma = list.find(',', start);
        std::string value =
            list.substr(start, comma == std::string::npos ? std::string::npos : comma - start);
        value.erase(0, value.find_first_not_of(" \t"));
        value.erase(value.find_last_not_of(" \t") + 1);
        if (!value.empty()) {
            values.push_back(value);
        }
        if (comma == std::string::npos) {
            return values;
        }
        start = comma + 1;
    }
}

// The prototype through which op's collector announced op's kind; null when
// the collector announced none (it then declares nothing about values).
const pwr::Operation* prototypeOf(const pwr::Operation& op) {
    const CollectorPlugin* collector = op.getCollector();
    if (collector == nullptr) {
        return nullptr;
    }
    for (const pwr::Operation* prototype : collector->getSupportedOperations()) {
        if (prototype != nullptr && prototype->getOperation() == op.getOperation()) {
            return prototype;
        }
    }
    return nullptr;
}

// False, with the error line, when op gives a packet key a value that its
// kind's prototype does not list.
bool checkOperationValues(const pwr::Operation& op, const pwr::InputMsg& msg,
                          const Feature& feature, const std::string& where, std::string& error) {
    const pwr::Operation* prototype = prototypeOf(op);
    if (prototype == nullptr || prototype->getPacket() == nullptr || op.getPacket() == nullptr) {
        return true;
    }
    for (const auto& known : *prototype->getPacket()) {
        std::string value;
        if (!op.getPacket()->get(known.first, value)) {
            continue;
        }
        const std::vector<std::string> values = listValues(known.second);
        if (std::find(values.begin(), values.end(), value) != values.end()) {
            continue;
        }
        std::string list;
        for (const std::string& v : values) {
            list += (list.empty() ? "" : ", ") + v;
        }
        error = "ERROR: the platform configuration in " + where + " gives message " +
                msg.getFullName() + " (feature \"" + feature.name + "\") the " + known.first + " " +
                value + ", which the " + op.getOperation() + " collector does not know; " +
                "it knows " + list;
        return false;
    }
    return true;
}

}  // namespace

const char* allFeaturesGroup() {
    return "all";
}

std::map<std::string, std::vector<std::string>> featureGroups(
    const std::vector<Feature>& features) {
    std::map<std::string, std::vector<std::string>> groups;
    for (const Feature& feature : features) {
        if (!feature.available() || feature.hidden) {
            continue;
        }
        std::set<std::string> names(feature.groups);
        names.insert(allFeaturesGroup());
        for (const std::string& group : names) {
            groups[group].push_back(feature.name);
        }
    }
    return groups;
}

bool checkFeatureConfig(const std::vector<Feature>& features,
                        const pwr::VexaConfigFileParser& parser, const std::string& platform,
                        const std::string& configFolder, std::string& error) {
    const std::string where = "\"" + configFolder + "\"";
    if (features.empty()) {
        error = "ERROR: the platform configuration in " + where +
                " declares no feature; a configuration file there may be empty or cut short";
        return false;
    }
    for (size_t i = 0; i < features.size(); ++i) {
        for (size_t j = i + 1; j < features.size(); ++j) {
            if (!sameName(features[i].name, features[j].name)) {
                continue;
            }
            const std::string names =
                features[i].name == features[j].name
                    ? "\"" + features[i].name + "\""
                    : "\"" + features[i].name + "\" and \"" + features[j].name + "\"";
            error = "ERROR: the platform configuration in " + where + " names two features " +
                    names + " (prefixes " + features[i].prefix + " and " + features[j].prefix +
                    "); -f ignores case, so each feature needs a name of its own";
            return false;
        }
    }
    for (const Feature& feature : features) {
        // Every message of the prefix, also those no collector can serve
        // here: a misspelt value is what makes a message drop out.
        std::vector<pwr::InputMsg*> messages;
        parser.getMessagesFor(messages, platform, feature.prefix, {});
        for (const pwr::InputMsg* msg : messages) {
            for (const pwr::Operation* op : msg->getOperations()) {
                if (op != nullptr && !checkOperationValues(*op, *msg, feature, where, error)) {
                    return false;
                }
            }
        }
    }
    return true;
}

bool selectFeatures(const std::vector<Feature>& features, const std::vector<std::string>& words,
                    std::vector<const Feature*>& out, std::string& error) {
    std::set<const Feature*> chosen;
    const auto groups = featureGroups(features);
    for (const std::string& word : words) {
        const Feature* named = nullptr;
        for (const Feature& feature : features) {
            if (sameName(feature.name, word)) {
                named = &feature;
                break;
            }
        }
        if (named != nullptr) {
            if (!named->available()) {
                error = "ERROR: feature \"" + named->name +
                        "\" is not available on this machine; run vantry --help for the "
                        "features that are";
                return false;
            }
            chosen.insert(named);
            continue;
        }
        bool isGroup = false;
        for (const auto& group : groups) {
            if (!sameName(group.first, word)) {
                continue;
            }
            isGroup = true;
            for (const Feature& feature : features) {
                if (std::find(group.second.begin(), group.second.end(), feature.name) !=
                    group.second.end()) {
                    chosen.insert(&feature);
                }
            }
        }
        if (isGroup) {
            continue;
        }
        // A group whose features are all unavailable here.
        for (const Feature& feature : features) {
            for (const std::string& group : feature.groups) {
                if (sameName(group, word)) {
                    error = "ERROR: no feature of group \"" + group +
                            "\" is available on this machine; run vantry --help for the "
                            "features that are";
                    return false;
                }
            }
        }
        std::vector<std::string> candidates;
        for (const Feature& feature : features) {
            if (!feature.hidden) {
                candidates.push_back(feature.name);
            }
        }
        for (const auto& group : groups) {
            candidates.push_back(group.first);
        }
        const std::vector<std::string> close = closeMatches(word, candidates);
        error = "ERROR: unknown feature \"" + word + "\"";
        if (!close.empty()) {
            error += "; did you mean ";
            for (size_t i = 0; i < close.size(); ++i) {
                error += (i == 0 ? "" : i + 1 == close.size() ? " or " : ", ") + close[i];
            }
            error += "?";
        }
        error += close.empty() ? "; run" : " Run";
        error += " vantry --help for the features of this machine";
        return false;
    }
    out.clear();
    for (const Feature& feature : features) {
        if (chosen.count(&feature) != 0) {
            out.push_back(&feature);
        }
    }
    return true;
}

}  // namespace vantry
