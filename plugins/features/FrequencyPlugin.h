// FrequencyPlugin ("frequency"): the operating frequency of each logical
// processor, in MHz, as SampledValue metrics. Every reading is a sample of
// its own (a level, not a counter): "CPU Frequency" keeps it as read, for
// the minimum, maximum and averages; "CPU Frequency Distribution" keeps it
// rounded to the nearest 100 MHz, so that its distribution tables have a
// handful of columns rather than one per distinct reading.
//
// Ownership and threads as for FeaturePlugin.
#pragma once

#include <vector>

#include "plugins/features/FeaturePlugin.h"

namespace vantry::features {

class FrequencyPlugin : public FeaturePlugin {
  public:
    // The width of a distribution bin, MHz.
    enum : uint64_t { kBinMHz = 100 };

    FrequencyPlugin();
    ~FrequencyPlugin() override;

  protected:
    void createMetrics_i(const pwr::SystemMetadata& sys) override;
    void handleReadings_i(uint64_t ts, const std::vector<Reading>& readings,
                          const pwr::SystemMetadata& sys) override;
    void forgetReadings_i() override {}
    NameKind nameKind_i() const override { return NameKind::Cpu; }

  private:
    pwr::Metric* m_frequency;
    pwr::Metric* m_distribution;
};

}  // namespace vantry::features
