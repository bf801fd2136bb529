// TracedTransitionAccumulator: traced state entries with their durations:
// per key (entity + state) the number of entries and the time spent, per
// entity the total time.
//
// Residency (%) is a state's time over its entity's total; Residency (msec)
// is the time over the timestamp frequency. Tables have one row per entity
// and one column per state (in order of first appearance); TRANSITION-COUNTS
// shows the entries per state and the entity's total.
#pragma once

#include <cstdint>
#include <map>
#include <vector>

#include "common/metrics/Accumulator.h"
#include "common/metrics/Enum.h"
#include "common/runtime/Export.h"

namespace pwr {

class PWR_API TracedTransitionAccumulator : public Accumulator {
  public:
    struct PWR_API SummaryKind {
        enum Value : uint8_t {
            RESIDENCY_PERCENTAGE = 0,
            RESIDENCY_MILLISECOND = 1,
            TRANSITION_COUNTS = 2,
            RESIDENCY_COMBINED = 3,
        };
        static const EnumKeywords& keywords();
    };
    using Summary = Enum<SummaryKind>;

    struct KeyStats {
        const EntityHandle* entity = nullptr;
        uint64_t descriptorId = 0;
        uint64_t count = 0;
        uint64_t residency = 0;  // clock ticks
    };
    struct EntityStats {
        const EntityHandle* entity = nullptr;
        uint64_t totalDuration = 0;           // clock ticks
        std::vector<uint64_t> descriptorIds;  // first appearance
    };

    explicit TracedTransitionAccumulator(const std::vector<Summary>& summaries);
    TracedTransitionAccumulator(const TracedTransitionAccumulator& other);
    TracedTransitionAccumulator& operator=(const TracedTransitionAccumulator& other);
    ~TracedTransitionAccumulator() override;

    int generateSummaries(const Metric& metric) override;
    int processDataPoint(const Metric& metric) override;

    const std::map<uint64_t, KeyStats>& getStats() const { return m_stats; }
    const std::map<uint64_t, EntityStats>& getEntityStats() const { return m_entities; }

  private:
    int countTable_i(const Metric& metric);

    std::map<uint64_t, KeyStats> m_stats;
    std::map<uint64_t, EntityStats> m_entities;
    std::vector<Summary> m_summaries;
};

}  // namespace pwr
