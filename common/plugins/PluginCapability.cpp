#include "common/plugins/PluginCapability.h"

#include "common/runtime/Log.h"
#include "common/serialize/SystemMetadata.h"

namespace pwr {

constexpr unsigned PluginCapability::c_hiddenBit;
constexpr unsigned PluginCapability::c_continuousCollectionBit;
constexpr unsigned PluginCapability::c_firstKindBit;
constexpr unsigned PluginCapability::c_lastKindBit;

namespace {

constexpr unsigned c_attributeBits = 64;

}  // namespace

PluginCapability::PluginCapability(const std::string& name, const std::string& description,
                                   bool supportsContinuousCollection)
    : m_name(name), m_description(description), m_attributes(0), m_owner(nullptr) {
    setOrResetContinuousCollectionSupport(supportsContinuousCollection);
}

PluginCapability::~PluginCapability() = default;

void PluginCapability::setHidden(bool hidden) {
    if (hidden) {
        setAttributeUnchecked_i(c_hiddenBit);
    } else {
        unsetAttributeUnchecked_i(c_hiddenBit);
    }
}

void PluginCapability::setOrResetContinuousCollectionSupport(bool supported) {
    if (supported) {
        setAttributeUnchecked_i(c_continuousCollectionBit);
    } else {
        unsetAttributeUnchecked_i(c_continuousCollectionBit);
    }
}

bool PluginCapability::addPluginRequirement(PluginRequirement* requirement) {
    if (requirement == nullptr) {
        return false;
    }
    m_requirements.emplace_back(requirement);
    return true;
}

const PluginRequirement* PluginCapability::getRequirement(size_t index) const {
    return index < m_requirements.size() ? m_requirements[index].get() : nullptr;
}

bool PluginCapability::equals(const std::string& s) const {
    return s == m_name || m_groupNames.count(s) != 0;
}

PluginRequirementResult PluginCapability::isCapabilitySuitableFor(
    const SystemMetadata& sys, const AttributePairs& attrs) const {
    if (sys.continuousCollectionQuantum != 0 && !doesSupportContinuousCollection()) {
        return PluginRequirementResult::NOT_SUITABLE;
    }
    PluginRequirementResult result = PluginRequirementResult::SUITABLE;
    for (const auto& requirement : m_requirements) {
        // The requirement logs its own answer (after any negation).
        if (!requirement->isPluginRequirementSatisfied(sys, attrs)) {
            result = PluginRequirementResult::NOT_SUITABLE;
            break;
        }
        pwLog(PW_DEBUG, "DEBUG: set PASSED for  %s, %s\n", m_name.c_str(), m_description.c_str());
        result = PluginRequirementResult::SUITABLE_REQUIREMENTS_PASSED;
    }
    pwLog(PW_DEBUG, "DEBUG: %s has result = %d\n", m_description.c_str(), static_cast<int>(result));
    return result;
}

bool PluginCapability::setAttribute_i(unsigned n) {
    if (n < c_firstKindBit || n > c_lastKindBit) {
        return false;
    }
    setAttributeUnchecked_i(n);
    return true;
}

bool PluginCapability::isAttributeSet_i(unsigned n) const {
    return n < c_attributeBits && (m_attributes & (uint64_t{1} << n)) != 0;
}

void PluginCapability::setAttributeUnchecked_i(unsigned n) {
    if (n < c_attributeBits) {
        m_attributes |= uint64_t{1} << n;
    }
}

void PluginCapability::unsetAttributeUnchecked_i(unsigned n) {
    if (n < c_attributeBits) {
        m_attributes &= ~(uint64_t{1} << n);
    }
}

}  // namespace pwr
