// ConfigCap: a capability declared in a platform configuration file rather
// than in a plug-in's code: its name, description, the prefix of the
// configuration files that define its messages, the groups it belongs to,
// and whether it is hidden from the feature lists.
//
// A value type, filled by the configuration parser. Not thread-safe.
#pragma once

#include <set>
#include <string>

#include "common/runtime/Export.h"

namespace pwr {

class PWR_API ConfigCap {
  public:
    ConfigCap(const std::string& name, const std::string& description,
              const std::string& configfilePrefix = std::string(), bool hidden = false);
    ConfigCap(const ConfigCap&) = default;
    ConfigCap(ConfigCap&&) = default;
    ConfigCap& operator=(const ConfigCap&) = default;
    ConfigCap& operator=(ConfigCap&&) = default;
    ~ConfigCap();

    const std::string& getName() const { return m_name; }
    const std::string& getDescription() const { return m_description; }
    void setDescription(const std::string& description) { m_description = description; }
    const std::string& getConfigfilePrefix() const { return m_configfilePrefix; }
    void setConfigfilePrefix(const std::string& prefix) { m_configfilePrefix = prefix; }
    const std::set<std::string>& getGroups() const { return m_groups; }
    void addGroup(const std::string& group) { m_groups.insert(group); }
    bool isHidden() const { return m_hidden; }
    void setHidden(bool hidden) { m_hidden = hidden; }

  private:
    std::string m_name;
    std::string m_description;
    std::string m_configfilePrefix;
    std::set<std::string> m_groups;
    bool m_hidden;
};

}  // namespace pwr
