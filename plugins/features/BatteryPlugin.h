// BatteryPlugin ("battery"): the energy left in each battery, in mWh, and
// its discharge rate, in mW (negative while charging), as two SampledValue
// metrics. Both are levels: every reading is a sample of its own.
//
// Ownership and threads as for FeaturePlugin.
#pragma once

#include <vector>

#include "plugins/features/FeaturePlugin.h"

namespace vantry::features {

class BatteryPlugin : public FeaturePlugin {
  public:
    BatteryPlugin();
    ~BatteryPlugin() override;

  protected:
    void createMetrics_i(const pwr::SystemMetadata& sys) override;
    void handleReadings_i(uint64_t ts, const std::vector<Reading>& readings,
                          const pwr::SystemMetadata& sys) override;
    void forgetReadings_i() override {}

  private:
    pwr::Metric* m_remaining;
    pwr::Metric* m_rate;
};

}  // namespace vantry::features
