#include "common/plugins/PluginRequirementGroup.h"

#include <utility>

namespace pwr {

PluginRequirementGroup::PluginRequirementGroup(bool allRequired)
    : PluginRequirement("SYSTEM", false), m_allRequired(allRequired) {}

PluginRequirementGroup::PluginRequirementGroup(const PluginRequirementGroup& other)
    : PluginRequirement(other), m_allRequired(other.m_allRequired) {
    m_children.reserve(other.m_children.size());
    for (const auto& child : other.m_children) {
        m_children.push_back(child->clone());
    }
}

PluginRequirementGroup::PluginRequirementGroup(PluginRequirementGroup&& other) noexcept
    : PluginRequirement(std::move(other)),
      m_allRequired(other.m_allRequired),
      m_children(std::move(other.m_children)) {}

PluginRequirementGroup& PluginRequirementGroup::operator=(const PluginRequirementGroup& other) {
    if (this != &other) {
        PluginRequirementGroup copy(other);
        *this = std::move(copy);
    }
    return *this;
}

PluginRequirementGroup& PluginRequirementGroup::operator=(PluginRequirementGroup&& other) noexcept {
    PluginRequirement::operator=(std::move(other));
    m_allRequired = other.m_allRequired;
    m_children = std::move(other.m_children);
    return *this;
}

PluginRequirementGroup::~PluginRequirementGroup() = default;

bool PluginRequirementGroup::addPluginRequirement(PluginRequirement* requirement) {
    if (requirement != nullptr) {
        m_children.emplace_back(requirement);
    }
    return true;
}

const PluginRequirement* PluginRequirementGroup::getRequirement(size_t index) const {
    return index < m_children.size() ? m_children[index].get() : nullptr;
}

std::unique_ptr<PluginRequirement> PluginRequirementGroup::clone() const {
    return std::make_unique<PluginRequirementGroup>(*this);
}

bool PluginRequirementGroup::isPluginRequirementSatisfied_i(const SystemMetadata& sys,
                                                            const AttributePairs& attrs) const {
    for (const auto& child : m_children) {
        bool answer = child->isPluginRequirementSatisfied(sys, attrs);
        if (answer != m_allRequired) {
            return answer;
        }
    }
    return m_allRequired;
}

}  // namespace pwr
