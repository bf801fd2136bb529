// MetricPluginCapability: a capability of a metric plug-in: the prefix of
// its platform configuration files, the processors (an FMS range) it
// applies to, the metric id it produces and, for old plug-ins, the driver
// events that trigger its reads.
//
// Attribute bits of this kind: 8 no-collect (the metric is computed from
// what other features collect), 9 dependent (offered only together with
// another feature), 10 dynamic check disabled (the host shows the feature
// without testing it against the system first).
//
// Ownership and threads as for PluginCapability.
#pragma once

#include <cstdint>
#include <string>
#include <utility>

#include "common/plugins/PluginCapability.h"
#include "common/runtime/Export.h"
#include "common/serialize/SystemMetadata.h"

namespace pwr {

class PWR_API MetricPluginCapability : public PluginCapability {
  public:
    static constexpr unsigned c_noCollectBit = 8;
    static constexpr unsigned c_dependentBit = 9;
    static constexpr unsigned c_dynamicCheckDisabledBit = 10;

    // No prefix, metric id 0, the range (0.0.0, 0.0.0), no group.
    MetricPluginCapability(const std::string& name, const std::string& description,
                           bool supportsContinuousCollection = false);
    // With init_i's settings.
    MetricPluginCapability(const std::string& name, const std::string& description,
                           const std::string& configFilePrefix, uint8_t metricID, const FMS& fms,
                           const std::string& groupName, bool supportsContinuousCollection = false);
    ~MetricPluginCapability() override;

    const std::string& getConfigFilePrefix() const { return m_configFilePrefix; }

    const std::pair<FMS, FMS>& getFMSRange() const { return m_fmsRange; }
    void setFMSRange(const FMS& low, const FMS& high) { m_fmsRange = std::make_pair(low, high); }
    // A processor without family and model (0.0.x) stands for "this
    // stepping and every later processor": the range then ends at
    // (0xFF, 0xFF, 0xFF). Any other FMS is a range of that one processor.
    void setFMS(const FMS& fms);
    // True when f is one of the ends or, comparing family, model and
    // stepping as one 24-bit number, low < f <= high.
    bool doesRangeInclude(const FMS& f) const;

    uint8_t getMetricID() const { return m_metricID; }
    void setMetricID(uint8_t id) { m_metricID = id; }

    // Driver events (vexa_when_type values) that trigger reads, as a mask.
    // Deprecated: both calls warn, and still work for old plug-ins.
    void addReadTrigger(uint32_t trigger);
    uint32_t getReadTriggers() const;

    void setNoCollect(bool noCollect = true);
    bool isNoCollect() const { return isAttributeSet_i(c_noCollectBit); }
    void setDependent(bool dependent = true);
    bool isDependent() const { return isAttributeSet_i(c_dependentBit); }
    void disableDynamicCheck() { setAttribute_i(c_dynamicCheckDisabledBit); }
    bool shouldCheckBeforeDisplaying() const {
        return !isAttributeSet_i(c_dynamicCheckDisabledBit);
    }

  protected:
    // Stores the prefix and the metric id, sets the range with setFMS, and
    // adds the group unless it is empty.
    void init_i(const std::string& configFilePrefix, uint8_t metricID, const FMS& fms,
                const std::string& groupName);

  private:
    std::string m_configFilePrefix;
    std::pair<FMS, FMS> m_fmsRange;
    uint8_t m_metricID = 0;
    uint32_t m_readTriggers = 0;
};

}  // namespace pwr
