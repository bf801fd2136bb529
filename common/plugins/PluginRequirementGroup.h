// PluginRequirementGroup: "SYSTEM", a requirement made of other requirements.
// With allRequired it is a conjunction that stops at the first child that
// fails; without, a disjunction that stops at the first child that passes.
// Children are asked in the order they were added, each with its own
// negation, and later children are not asked once the answer is known: a
// child that shows a notice when it fails stays silent behind a failing
// sibling of an all-required group. An empty group answers allRequired. A
// group is never negative itself.
//
// Ownership: the group owns its children; copies copy them.
// Threads: immutable once built; may be tested from any thread.
#pragma once

#include <cstddef>
#include <memory>
#include <vector>

#include "common/plugins/PluginRequirement.h"
#include "common/runtime/Export.h"

namespace pwr {

class PWR_API PluginRequirementGroup : public PluginRequirement {
  public:
    explicit PluginRequirementGroup(bool allRequired);
    PluginRequirementGroup(const PluginRequirementGroup& other);
    PluginRequirementGroup(PluginRequirementGroup&& other) noexcept;
    PluginRequirementGroup& operator=(const PluginRequirementGroup& other);
    PluginRequirementGroup& operator=(PluginRequirementGroup&& other) noexcept;
    ~PluginRequirementGroup() override;

    // Appends a child and takes ownership of it. A null child is ignored.
    // Returns true.
    bool addPluginRequirement(PluginRequirement* requirement);

    bool isAllRequired() const { return m_allRequired; }
    size_t getRequirementCount() const { return m_children.size(); }
    const PluginRequirement* getRequirement(size_t index) const;

    std::unique_ptr<PluginRequirement> clone() const override;

  protected:
    bool isPluginRequirementSatisfied_i(const SystemMetadata& sys,
                                        const AttributePairs& attrs) const override;

  private:
    bool m_allRequired;
    std::vector<std::unique_ptr<PluginRequirement>> m_children;
};

}  // namespace pwr
