// The JSON form of options and of the usage text. This is the one source of
// the library that builds JSON: the JSON library stays out of the public
// headers, whose users need not have it.
#include <nlohmann/json.hpp>

#include "common/usage/Option.h"
#include "common/usage/UsageText.h"

namespace pwr::usage {

namespace {

// Keys keep the order in which they were added, so that every option object
// lists its attributes in one fixed order.
using Json = nlohmann::ordered_json;

void appendArgsJson(Json& array, const std::vector<std::string>& args) {
    for (const std::string& arg : args) {
        array.push_back(arg);
    }
}

Json optionJson(const Option& option) {
    Json object = Json::object();
    const auto last = static_cast<size_t>(Option::Attribute::ALIAS);
    for (size_t i = 0; i <= last; ++i) {
        const auto attribute = static_cast<Option::Attribute>(i);
        object[Option::getAttributeKey(attribute)] = option.getAttribute(attribute);
    }
    Json validArgs = Json::array();
    appendArgsJson(validArgs, option.getValidArgs());
    object["valid args"] = std::move(validArgs);
    return object;
}

Json optionsJson(const std::vector<Option>& options) {
    Json array = Json::array();
    for (const Option& option : options) {
        array.push_back(optionJson(option));
    }
    return array;
}

std::string dump(const Json& json, int indent) {
    // Texts come from plug-ins too: a byte that is not UTF-8 is replaced
    // rather than turning a help request into an exception.
    return json.dump(indent, ' ', false, Json::error_handler_t::replace);
}

}  // namespace

std::string Option::formatJson() const {
    return dump(optionJson(*this), -1);
}

std::string UsageText::formatJson(int indent) const {
    Json groups = Json::array();
    for (const OptionGroup& group : m_groups) {
        Json object = Json::object();
        object["name"] = group.title;
        object["options"] = optionsJson(group.options);
        groups.push_back(std::move(object));
    }
    Json features = Json::array();
    for (const auto& feature : m_featureOptions) {
        Json object = Json::object();
        object["name"] = feature.first;
        object["options"] = optionsJson(feature.second);
        features.push_back(std::move(object));
    }
    Json usage = Json::object();
    usage["program"] = m_programName;
    usage["groups"] = std::move(groups);
    usage["features"] = std::move(features);
    return dump(usage, indent);
}

}  // namespace pwr::usage
