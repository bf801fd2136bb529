#include "common/plugins/MetricPluginCapability.h"

#include "common/runtime/Log.h"

namespace pwr {

constexpr unsigned MetricPluginCapability::c_noCollectBit;
constexpr unsigned MetricPluginCapability::c_dependentBit;
constexpr unsigned MetricPluginCapability::c_dynamicCheckDisabledBit;

namespace {

uint32_t asNumber(const FMS& fms) {
    return (static_cast<uint32_t>(fms.family) << 16) | (static_cast<uint32_t>(fms.model) << 8) |
           fms.stepping;
}

}  // namespace

MetricPluginCapability::MetricPluginCapability(const std::string& name,
                                               const std::string& description,
                                               bool supportsContinuousCollection)
    : PluginCapability(name, description, supportsContinuousCollection) {}

MetricPluginCapability::MetricPluginCapability(const std::string& name,
                                               const std::string& description,
                                               const std::string& configFilePrefix,
                                               uint8_t metricID, const FMS& fms,
                                               const std::string& groupName,
                                               bool supportsContinuousCollection)
    : PluginCapability(name, description, supportsContinuousCollection) {
    init_i(configFilePrefix, metricID, fms, groupName);
}

MetricPluginCapability::~MetricPluginCapability() = default;

void MetricPluginCapability::init_i(const std::string& configFilePrefix, uint8_t metricID,
                                    const FMS& fms, const std::string& groupName) {
    m_configFilePrefix = configFilePrefix;
    m_metricID = metricID;
    setFMS(fms);
    if (!groupName.empty()) {
        addGroupName(groupName);
    }
}

void MetricPluginCapability::setFMS(const FMS& fms) {
    if (fms.family == 0 && fms.model == 0) {
        FMS last;
        last.family = 0xFF;
        last.model = 0xFF;
        last.stepping = 0xFF;
        setFMSRange(fms, last);
    } else {
        setFMSRange(fms, fms);
    }
}

bool MetricPluginCapability::doesRangeInclude(const FMS& f) const {
    if (f == m_fmsRange.first || f == m_fmsRange.second) {
        return true;
    }
    uint32_t value = asNumber(f);
    return asNumber(m_fmsRange.first) < value && value <= asNumber(m_fmsRange.second);
}

void MetricPluginCapability::addReadTrigger(uint32_t trigger) {
    pwLog(PW_WARNING, "WARNING: DEPRECATED API!\n");
    m_readTriggers |= trigger;
}

uint32_t MetricPluginCapability::getReadTriggers() const {
    pwLog(PW_WARNING, "WARNING: DEPRECATED API!\n");
    return m_readTriggers;
}

void MetricPluginCapability::setNoCollect(bool noCollect) {
    if (noCollect) {
        setAttribute_i(c_noCollectBit);
    } else {
        unsetAttributeUnchecked_i(c_noCollectBit);
    }
}

void MetricPluginCapability::setDependent(bool dependent) {
    if (dependent) {
        setAttribute_i(c_dependentBit);
    } else {
        unsetAttributeUnchecked_i(c_dependentBit);
    }
}

}  // namespace pwr
