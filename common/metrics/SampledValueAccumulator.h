// SampledValueAccumulator: statistics of sampled levels (a temperature, a
// frequency): count, minimum, maximum, plain and time-weighted average per
// key, and the distribution of the values per entity.
//
// Each sample is weighted by its duration (clock ticks over the timestamp
// frequency, so microseconds); a sample with no duration still counts, with
// no weight. Minimum, maximum and averages need numeric values (INT, UINT,
// REAL); other values are only counted and distributed.
//
// Tables: MIN-MAX-AVG and MIN-MAX have one row per entity and, when the
// elements carry descriptors, one group of columns per descriptor (in order
// of first appearance). The distribution tables (NUMBER-OF-OCCURENCES,
// RELATIVE-FREQUENCY-PERCENTAGE, APPROXIMATED-RESIDENCY) have one row per
// entity and one column per distinct value, in ascending value order.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "common/data/Data.h"
#include "common/metrics/Accumulator.h"
#include "common/metrics/Enum.h"
#include "common/runtime/Export.h"

namespace pwr {

class DataDescriptor;

class PWR_API SampledValueAccumulator : public Accumulator {
  public:
    struct PWR_API SummaryKind {
        enum Value : uint8_t {
            SAMPLE_COUNT = 0,
            MIN_MAX_AVG = 1,
            NUMBER_OF_OCCURENCES = 2,
            RELATIVE_FREQUENCY_PERCENTAGE = 3,
            MIN_MAX = 4,
            APPROXIMATED_RESIDENCY = 5,
        };
        static const EnumKeywords& keywords();
    };
    using Summary = Enum<SummaryKind>;

    struct KeyStats {
        const EntityHandle* entity = nullptr;
        const DataDescriptor* descriptor = nullptr;
        uint64_t count = 0;
        Data min;
        Data max;
        Data sum;
        double weightedSum = 0.0;
        double totalWeight = 0.0;
    };

    explicit SampledValueAccumulator(const std::vector<Summary>& summaries);
    SampledValueAccumulator(const SampledValueAccumulator& other);
    SampledValueAccumulator& operator=(const SampledValueAccumulator& other);
    ~SampledValueAccumulator() override;

    int generateSummaries(const Metric& metric) override;
    int processDataPoint(const Metric& metric) override;

    const std::map<uint64_t, KeyStats>& getStats() const { return m_stats; }
    // Samples per distinct value, per entity id.
    const std::map<uint64_t, std::map<Data, uint64_t>>& getValueCounts() const {
        return m_valueCounts;
    }

  private:
    struct EntityInfo {
        const EntityHandle* entity = nullptr;
        std::vector<const DataDescriptor*> descriptors;  // first appearance
    };

    int minMaxTable_i(const Metric& metric, bool withAverages);
    int distributionTable_i(const Metric& metric, Summary kind);

    std::map<uint64_t, KeyStats> m_stats;
    // Entity id -> entity and its descriptors.
    std::map<uint64_t, EntityInfo> m_entities;
    // Descriptors in order of first appearance, with the entities seen.
    std::vector<const DataDescriptor*> m_descriptors;
    std::map<const DataDescriptor*, std::vector<const EntityHandle*>> m_descriptorEntities;
    std::map<uint64_t, std::map<Data, uint64_t>> m_valueCounts;
    // Samples per entity id, the denominator of APPROXIMATED-RESIDENCY.
    std::map<uint64_t, uint64_t> m_entityTotals;
    std::vector<Summary> m_summaries;
    bool m_wantDistribution;
};

}  // namespace pwr
