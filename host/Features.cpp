#include "host/Features.h"

#include <algorithm>
#include <cctype>

#include "host/HostOptions.h"

namespace vantry {

namespace {

bool sameName(const std::string& a, const std::string& b) {
    return a.size() == b.size() && std::equal(a.begin(), a.end(), b.begin(), [](char x, char y) {
               return std::tolower(static_cast<unsigned char>(x)) ==
                      std::tolower(static_cast<unsigned char>(y));
           });
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
