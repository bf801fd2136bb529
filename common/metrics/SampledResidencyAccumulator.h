// SampledResidencyAccumulator: time spent in each state, from samples that
// give the clock ticks an entity spent in each of its states since the last
// sampling point.
//
// Per key (entity + state) it sums the ticks; per entity it sums the sample
// durations, once per data point however many states of the entity the point
// carries. Residency (%) is a state's ticks over its entity's total duration;
// Residency (msec) is the ticks over the timestamp frequency. Tables have one
// row per entity and one column per state (in order of first appearance).
#pragma once

#include <cstdint>
#include <map>
#include <vector>

#include "common/metrics/Accumulator.h"
#include "common/metrics/Enum.h"
#include "common/runtime/Export.h"

namespace pwr {

class PWR_API SampledResidencyAccumulator : public Accumulator {
  public:
    struct PWR_API SummaryKind {
        enum Value : uint8_t {
            SAMPLE_COUNT = 0,
            RESIDENCY_PERCENTAGE = 1,
            RESIDENCY_MILLISECOND = 2,
            RESIDENCY_COMBINED = 3,
        };
        static const EnumKeywords& keywords();
    };
    using Summary = Enum<SummaryKind>;

    struct KeyStats {
        const EntityHandle* entity = nullptr;
        uint64_t descriptorId = 0;
        double residency = 0.0;  // clock ticks
        uint64_t count = 0;
    };
    struct EntityStats {
        const EntityHandle* entity = nullptr;
        double totalDuration = 0.0;           // clock ticks
        std::vector<uint64_t> descriptorIds;  // first appearance
        bool pendingDuration = false;
    };

    explicit SampledResidencyAccumulator(const std::vector<Summary>& summaries);
    SampledResidencyAccumulator(const SampledResidencyAccumulator& other);
    SampledResidencyAccumulator& operator=(const SampledResidencyAccumulator& other);
    ~SampledResidencyAccumulator() override;

    int generateSummaries(const Metric& metric) override;
    // 1 for a value that is not UINT (the point is refused whole).
    int processDataPoint(const Metric& metric) override;

    const std::map<uint64_t, KeyStats>& getStats() const { return m_stats; }
    const std::map<uint64_t, EntityStats>& getEntityStats() const { return m_entities; }

  private:
    std::map<uint64_t, KeyStats> m_stats;
    std::map<uint64_t, EntityStats> m_entities;
    std::vector<Summary> m_summaries;
};

}  // namespace pwr
