// ThermalPlugin ("temperature"): the temperature of every sensor the
// operating system exposes, through the shared ThermalSampleHandler, so that
// they land in the one "Temperature Metrics" summary with the temperatures
// other plug-ins report. Each sensor is an entity of its own, added to the
// handler when it first reports; a sensor that disappears just stops
// reporting (the handler notes the incomplete rounds).
//
// Ownership and threads as for FeaturePlugin.
#pragma once

#include <set>
#include <string>
#include <vector>

#include "plugins/features/FeaturePlugin.h"

namespace pwr {
class ThermalSampleHandler;
}

namespace vantry::features {

class ThermalPlugin : public FeaturePlugin {
  public:
    ThermalPlugin();
    ~ThermalPlugin() override;

  protected:
    void createMetrics_i(const pwr::SystemMetadata& sys) override;
    void handleReadings_i(uint64_t ts, const std::vector<Reading>& readings,
                          const pwr::SystemMetadata& sys) override;
    void forgetReadings_i() override {}
    // Leaves the handler; the last plug-in to leave finalises its metric.
    int endCollection_i() override;

  private:
    pwr::ThermalSampleHandler* m_handler;
    std::set<std::string> m_added;
};

}  // namespace vantry::features
