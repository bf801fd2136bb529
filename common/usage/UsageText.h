// UsageText: the host's option groups and the features' sub-options, and
// their rendering as usage text for the console and as JSON for tools.
//
// A new UsageText holds the host's options and the sub-options of the
// features that the library knows; the host and plug-ins may add more
// (valid arguments of "--result", sub-options of their own features) before
// rendering. The IP sub-options start with the valid arguments of the
// "DEFAULT" platform row; updatePchDeviceInfo and updateTcssIpInfo switch
// them to the row of the platform found. A UsageText is a plain value
// without locks: fill it on one thread, then render it from any.
#pragma once

#include <cstddef>
#include <map>
#include <string>
#include <vector>

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
    UsageText(const UsageText&) = default;
    UsageText(UsageText&&) = default;
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

    // The valid arguments of "lat-limit-ip" and "tcss-ip" become those of the
    // platform's row, or of the "DEFAULT" row for a platform without one. A
    // row also serves platforms whose name starts with its key and a
    // separator ("MTL-P" uses "MTL").
    void updatePchDeviceInfo(const std::string& platform);
    void updateTcssIpInfo(const std::string& platform);
    static std::vector<std::string> getPchDeviceNames(const std::string& platform);
    static std::vector<std::string> getTcssIpNames(const std::string& platform);

    // The whole usage text, wrapped at width columns; 0 asks the console.
    // Descriptions of one section start in one column.
    std::string formatText(size_t width = 0) const;
    // The whole usage as one JSON object: "program", then "groups" (each with
    // "name" and "options") and "features" (each with "name" and "options").
    // indent < 0 writes it on one line.
    std::string formatJson(int indent = 4) const;

  private:
    void addHostOptions_i();
    void addFeatureOptions_i();

    std::string m_programName;
    std::vector<OptionGroup> m_groups;
    std::map<std::string, std::vector<Option>> m_featureOptions;
};

}  // namespace pwr::usage
