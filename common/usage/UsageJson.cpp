// The JSON form of options and of the usage text: the one source of the
// library that builds JSON. The public headers see only the forward
// declarations of the JSON library.
#include <nlohmann/json.hpp>

#include "common/usage/Option.h"
#include "common/usage/UsageText.h"

namespace pwr::usage {

namespace {

// Callers hand in nlohmann::json, whose objects keep their keys sorted; the
// text forms use ordered_json, so that every option object lists its
// attributes in the one fixed order of Option::Attribute. Both are built by
// the same templates.
using OrderedJson = nlohmann::ordered_json;

template <class Json>
void appendArgs(Json& array, const std::vector<std::string>& args) {
    for (const std::string& arg : args) {
        array.push_back(arg);
    }
}

template <class Json>
Json optionJson(const Option& option) {
    Json object = Json::object();
    const auto last = static_cast<size_t>(Option::Attribute::ALIAS);
    for (size_t i = 0; i <= last; ++i) {
        const auto attribute = static_cast<Option::Attribute>(i);
        object[Option::getAttributeKey(attribute)] = option.getAttribute(attribute);
    }
    Json validArgs = Json::array();
    appendArgs(validArgs, option.getValidArgs());
    object["valid args"] = std::move(validArgs);
    return object;
}

template <class Json>
Json optionsJson(const std::vector<Option>& options) {
    Json array = Json::array();
    for (const Option& option : options) {
        array.push_back(optionJson<Json>(option));
    }
    return array;
}

template <class Json>
Json usageJson(const std::string& programName, const std::vector<OptionGroup>& optionGroups,
               const std::map<std::string, std::vector<Option>>& featureOptions) {
    Json groups = Json::array();
    for (const OptionGroup& group : optionGroups) {
        Json object = Json::object();
        object["name"] = group.title;
        object["options"] = optionsJson<Json>(group.options);
        groups.push_back(std::move(object));
    }
    Json features = Json::array();
    for (const auto& feature : featureOptions) {
        Json object = Json::object();
        object["name"] = feature.first;
        object["options"] = optionsJson<Json>(feature.second);
        features.push_back(std::move(object));
    }
    Json usage = Json::object();
    usage["program"] = programName;
    usage["groups"] = std::move(groups);
    usage["features"] = std::move(features);
    return usage;
}

// Appends to an array, merges into an object, replaces anything else.
void putInto(nlohmann::json& out, nlohmann::json&& value) {
    if (out.is_array()) {
        out.push_back(std::move(value));
    } else if (out.is_object()) {
        for (auto& item : value.items()) {
            out[item.key()] = std::move(item.value());
        }
    } else {
        out = std::move(value);
    }
}

std::string dump(const OrderedJson& json, int indent) {
    // Texts come from plug-ins too: a byte that is not UTF-8 is replaced
    // rather than turning a help request into an exception.
    return json.dump(indent, ' ', false, OrderedJson::error_handler_t::replace);
}

}  // namespace

void Option::formatJson(nlohmann::json& out) const {
    putInto(out, optionJson<nlohmann::json>(*this));
}

std::string Option::formatJson() const {
    return dump(optionJson<OrderedJson>(*this), -1);
}

void UsageText::formatJson(nlohmann::json& out) const {
    putInto(out, usageJson<nlohmann::json>(m_programName, m_groups, m_featureOptions));
}

std::string UsageText::formatJson(int indent) const {
    return dump(usageJson<OrderedJson>(m_programName, m_groups, m_featureOptions), indent);
}

bool UsageText::appendArgsJson(nlohmann::json& array, const std::vector<std::string>& args) {
    if (!array.is_array() && !array.is_null()) {
        return false;
    }
    if (array.is_null()) {
        array = nlohmann::json::array();
    }
    appendArgs(array, args);
    return true;
}

}  // namespace pwr::usage
