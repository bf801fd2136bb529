// PluginCapability: one thing a plug-in can do (a feature), as the host
// offers it to the user: a name, a description, the groups it belongs to,
// attribute bits, and the requirements that the measured system must meet.
// The host asks each plug-in for the capabilities that match a request
// (Plugin::getCapabilitiesFor) and offers only those that suit the system.
//
// Attribute bits: 0 to 7 belong to this class (1 hidden, 2 supports
// continuous collection), 8 to 63 to the kinds (MetricPluginCapability,
// WriterPluginCapability, ResultFilePluginCapability, and plug-ins' own).
//
// Ownership: a capability owns its requirements. The plug-in that registered
// a capability owns it (see Plugin) and is its owner.
// Threads: built during start-up; const operations may then be called from
// any thread.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "common/plugins/PluginRequirement.h"
#include "common/plugins/PluginTypes.h"
#include "common/runtime/Export.h"

class Plugin;

namespace pwr {

class SystemMetadata;

// The outcome of the suitability test.
enum class PluginRequirementResult : int {
    NOT_SUITABLE = 0,
    // Suitable; the capability has no requirement to examine.
    SUITABLE = 1,
    // Suitable; every requirement was examined and passed.
    SUITABLE_REQUIREMENTS_PASSED = 2,
};

class PWR_API PluginCapability {
  public:
    static constexpr unsigned c_hiddenBit = 1;
    static constexpr unsigned c_continuousCollectionBit = 2;
    // The range of bits that the kinds may use.
    static constexpr unsigned c_firstKindBit = 8;
    static constexpr unsigned c_lastKindBit = 63;

    PluginCapability(const std::string& name, const std::string& description,
                     bool supportsContinuousCollection = false);
    PluginCapability(const PluginCapability&) = delete;
    PluginCapability& operator=(const PluginCapability&) = delete;
    virtual ~PluginCapability();

    const std::string& getName() const { return m_name; }
    const std::string& getDescription() const { return m_description; }

    const std::set<std::string>& getGroupNames() const { return m_groupNames; }
    void addGroupName(const std::string& group) { m_groupNames.insert(group); }

    // Hidden capabilities work but are left out of the feature lists shown
    // to the user.
    void setHidden(bool hidden = true);
    bool isHidden() const { return isAttributeSet_i(c_hiddenBit); }
    bool doesSupportContinuousCollection() const {
        return isAttributeSet_i(c_continuousCollectionBit);
    }
    void setOrResetContinuousCollectionSupport(bool supported);

    // Appends a requirement and takes ownership of it. Returns false (and
    // keeps nothing) for null.
    bool addPluginRequirement(PluginRequirement* requirement);
    size_t getRequirementCount() const { return m_requirements.size(); }
    const PluginRequirement* getRequirement(size_t index) const;

    ::Plugin* getOwner() const { return m_owner; }
    void setOwner(::Plugin* owner) { m_owner = owner; }

    // Compares the name only.
    bool operator==(const std::string& name) const { return m_name == name; }
    bool operator!=(const std::string& name) const { return m_name != name; }
    // True when s is the name or one of the group names.
    bool equals(const std::string& s) const;

    // Whether the capability can be offered on sys. In a continuous
    // collection (a non-zero quantum) a capability that does not support one
    // is not suitable, before any requirement is asked. Otherwise the
    // requirements are asked in order and the first that fails makes the
    // capability unsuitable. Logs a DEBUG line per requirement and the
    // result; see the implementation for the exact lines.
    virtual PluginRequirementResult isCapabilitySuitableFor(const SystemMetadata& sys,
                                                            const AttributePairs& attrs) const;

  protected:
    // Sets bit n for the kinds' range only (8 <= n <= 63); false otherwise,
    // with the mask unchanged.
    bool setAttribute_i(unsigned n);
    // False for n >= 64.
    bool isAttributeSet_i(unsigned n) const;
    // Any bit, including the base's; bits beyond 63 do not exist and are
    // ignored.
    void setAttributeUnchecked_i(unsigned n);
    void unsetAttributeUnchecked_i(unsigned n);
    uint64_t getAttributes_i() const { return m_attributes; }

  private:
    std::string m_name;
    std::string m_description;
    std::set<std::string> m_groupNames;
    uint64_t m_attributes;
    std::vector<std::unique_ptr<PluginRequirement>> m_requirements;
    ::Plugin* m_owner;
};

}  // namespace pwr
