// EnergyPlugin ("energy"): the energy each domain (package, cores, memory,
// ...) used, as a SampledDelta metric with the energy quantity in mJ, so
// that the average rate of a domain is its power in mW. Records carry, per
// domain, a counter of microjoules since an arbitrary origin and the
// counter's range; a counter that goes down has wrapped at its range, or,
// when the range is unknown (0), restarted, and its next reading starts
// afresh.
//
// Ownership and threads as for FeaturePlugin.
#pragma once

#include <map>
#include <string>
#include <utility>
#include <vector>

#include "plugins/features/FeaturePlugin.h"

namespace vantry::features {

class EnergyPlugin : public FeaturePlugin {
  public:
    EnergyPlugin();
    ~EnergyPlugin() override;

  protected:
    void createMetrics_i(const pwr::SystemMetadata& sys) override;
    void handleReadings_i(uint64_t ts, const std::vector<Reading>& readings,
                          const pwr::SystemMetadata& sys) override;
    void forgetReadings_i() override { m_previous.clear(); }

  private:
    pwr::Metric* m_energy;
    // Domain -> (timestamp, microjoules) of its previous reading.
    std::map<std::string, std::pair<uint64_t, uint64_t>> m_previous;
};

}  // namespace vantry::features
