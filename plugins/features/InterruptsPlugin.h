// InterruptsPlugin ("interrupts"): the interrupts each logical processor
// took, as a SampledDelta metric with the operations quantity, so that the
// average rate is in Ops/sec. Records carry the count since boot per
// processor; a count that goes down restarted and starts afresh.
//
// Ownership and threads as for FeaturePlugin.
#pragma once

#include <map>
#include <utility>
#include <vector>

#include "plugins/features/FeaturePlugin.h"

namespace vantry::features {

class InterruptsPlugin : public FeaturePlugin {
  public:
    InterruptsPlugin();
    ~InterruptsPlugin() override;

  protected:
    void createMetrics_i(const pwr::SystemMetadata& sys) override;
    void handleReadings_i(uint64_t ts, const std::vector<Reading>& readings,
                          const pwr::SystemMetadata& sys) override;
    void forgetReadings_i() override { m_previous.clear(); }
    NameKind nameKind_i() const override { return NameKind::Cpu; }

  private:
    pwr::Metric* m_interrupts;
    // Processor -> (timestamp, count) of its previous reading.
    std::map<unsigned, std::pair<uint64_t, uint64_t>> m_previous;
};

}  // namespace vantry::features
