// CStatePlugin ("cstate"): the time each logical processor spends in each
// idle state, as a SampledResidency metric. Records carry, per processor and
// idle state, the time spent in the state since boot in microseconds; each
// interval between two records of a processor becomes one residency point
// in default-clock ticks: one element per idle state and "C0", the active
// time, so that a processor's residencies add up to the interval.
//
// Ownership and threads as for FeaturePlugin.
#pragma once

#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "plugins/features/FeaturePlugin.h"

namespace vantry::features {

class CStatePlugin : public FeaturePlugin {
  public:
    CStatePlugin();
    ~CStatePlugin() override;

  protected:
    void createMetrics_i(const pwr::SystemMetadata& sys) override;
    void handleReadings_i(uint64_t ts, const std::vector<Reading>& readings,
                          const pwr::SystemMetadata& sys) override;
    void forgetReadings_i() override;
    NameKind nameKind_i() const override { return NameKind::CpuState; }

  private:
    struct CpuState {
        uint64_t timestamp = 0;
        // Idle state name -> microseconds since boot, in the record's order.
        std::vector<std::pair<std::string, uint64_t>> idle;
    };
    void feedCpu_i(unsigned cpu, uint64_t ts, CpuState& now, const pwr::SystemMetadata& sys);

    pwr::Metric* m_residency;
    const pwr::DataDescriptor* m_active;
    std::map<std::string, const pwr::DataDescriptor*> m_states;
    std::map<unsigned, CpuState> m_previous;
    // The residencies of this record's processors, summed for the
    // system-wide row (their mean).
    struct Round {
        uint64_t duration = 0;
        bool mixed = false;
        unsigned cpus = 0;
        std::vector<std::pair<const pwr::DataDescriptor*, uint64_t>> idle;
    };
    Round m_round;
    // Processors already warned about idle time beyond their interval.
    std::set<unsigned> m_overWarned;
};

}  // namespace vantry::features
