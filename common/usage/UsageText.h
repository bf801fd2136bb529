// UsageText: the host's option groups and the features' sub-options, and
// their rendering as usage text for the console and as JSON for tools.
//
// A new UsageText holds the host's options and the sub-options of the
// features that the library knows; the host and plug-ins may add more
// (valid arguments of "--result", sub-options of their own features) before
// rendering. The PCH IP sub-option starts with the valid arguments of the
// "DEFAULT" platform row, and updatePchDeviceInfo switches one UsageText to
// the row of the platform found. The TCSS IP row is chosen once for the
// process: updateTcssIpInfo switches every UsageText, those that exist and
// those made later, to the row of the platform found ("DEFAULT" until then).
//
// A UsageText is a plain value without locks of its own: fill it on one
// thread, then render it from any. Call updateTcssIpInfo during set-up,
// before any thread renders.
#pragma once

#include <cstddef>
#include <map>
#include <string>
#include <vector>

#include <nlohmann/json_fwd.hpp>

#include "common/runtime/Export.h"
#include "common/usage/Option.h"

namespace pwr::usage {

// A titled group of host options ("General Options").
struct OptionGroup {
    std::string title;
    std::vector<Option> options;
};

class PWR_API UsageText {
  public:
    // programName is what the usage line calls the program ("vantry").
    explicit UsageText(const std::string& programName);
    UsageText(const UsageText& other);
    UsageText(UsageText&& other);
    UsageText& operator=(const UsageText&) = default;
    UsageText& operator=(UsageText&&) = default;
    ~UsageText();

    const std::string& getProgramName() const { return m_programName; }
    const std::vector<OptionGroup>& getOptionGroups() const { return m_groups; }
    std::vector<OptionGroup>& getOptionGroups() { return m_groups; }
    // The first host option of the group with this title whose name or
    // abbreviation is name ("--result" or "-r"); null when there is none.
    Option* findOption(const std::string& groupTitle, const std::string& name);

    // Sub-options by feature name, features in ascending name order.
    const std::map<std::string, std::vector<Option>>& getIndividualFeatureOptions() const {
        return m_featureOptions;
    }
    void addFeatureOption(const std::string& feature, const Option& option);
    // The sub-option of a feature by its normal name; null when there is none.
    Option* findFeatureOption(const std::string& feature, const std::string& name);

    // The valid arguments of "lat-limit-ip" (of this UsageText) and of
    // "tcss-ip" (of every UsageText of the process) become those of the
    // platform's row, or of the "DEFAULT" row for a platform without one. A
    // row also serves platforms whose name starts with its key and a
    // separator ("MTL-P" uses "MTL").
    void updatePchDeviceInfo(const std::string& platform);
    static void updateTcssIpInfo(const std::string& platform);
    static std::vector<std::string> getPchDeviceNames(const std::string& platform);
    static std::vector<std::string> getTcssIpNames(const std::string& platform);

    // The whole usage text, wrapped at width columns; 0 asks the console.
    // Descriptions of one section start in one column.
    std::string formatText(size_t width = 0) const;
    // Puts the whole usage as one JSON object into out: "program", then
    // "groups" (each with "name" and "options") and "features" (each with
    // "name" and "options"), every option as Option::formatJson makes it.
    // Appended when out is an array, its keys set when out is an object, and
    // out replaced by it otherwise (a null value becomes the object).
    void formatJson(nlohmann::json& out) const;
    // A temporary has nowhere to keep the result (and would otherwise be
    // taken for an indent).
    void formatJson(const nlohmann::json& out) const = delete;
    // The same object as text, keys in the order above; indent < 0 writes it
    // on one line.
    std::string formatJson(int indent = 4) const;
    // Appends each of args as a string to array, a JSON array or null (which
    // becomes an array). False, with array untouched, for any other value.
    static bool appendArgsJson(nlohmann::json& array, const std::vector<std::string>& args);

  private:
    void addHostOptions_i();
    void addFeatureOptions_i();
    // Joins the UsageTexts that updateTcssIpInfo switches, with the TCSS row
    // chosen so far.
    void register_i();

    std::string m_programName;
    std::vector<OptionGroup> m_groups;
    std::map<std::string, std::vector<Option>> m_featureOptions;
};

}  // namespace pwr::usage
