// SampledDeltaAccumulator: totals of counters that arrive as per-sample
// deltas (energy, bytes, ticks), and the average rate over the time the
// deltas cover.
//
// The rate goes through the metric quantity's rate conversion: the total
// times the conversion factor, over the covered time in seconds, in the units
// of the base quantity (energy in mJ gives power in mW). Without a quantity
// or a conversion only totals are reported.
#pragma once

#include <cstdint>
#include <map>
#include <vector>

#include "common/data/Data.h"
#include "common/metrics/Accumulator.h"
#include "common/metrics/Enum.h"
#include "common/runtime/Export.h"

namespace pwr {

class Quantity;

class PWR_API SampledDeltaAccumulator : public Accumulator {
  public:
    struct PWR_API SummaryKind {
        enum Value : uint8_t {
            SAMPLE_COUNT = 0,
            AVERAGE_RATE_TOTAL = 1,
            TOTAL_DELTA = 2,
        };
        static const EnumKeywords& keywords();
    };
    using Summary = Enum<SummaryKind>;

    struct KeyStats {
        const EntityHandle* entity = nullptr;
        uint64_t descriptorId = 0;
        uint64_t count = 0;
        Data total;
        double duration = 0.0;  // clock ticks
    };

    explicit SampledDeltaAccumulator(const std::vector<Summary>& summaries);
    SampledDeltaAccumulator(const SampledDeltaAccumulator& other);
    SampledDeltaAccumulator& operator=(const SampledDeltaAccumulator& other);
    ~SampledDeltaAccumulator() override;

    int initialize(const Metric& metric, const SystemMetadata& system) override;
    int generateSummaries(const Metric& metric) override;
    int processDataPoint(const Metric& metric) override;

    const std::map<uint64_t, KeyStats>& getStats() const { return m_stats; }
    bool isRateEnabled() const { return m_rateEnabled; }
    // The average rate of a key in the base quantity's units; false without
    // a rate or a duration.
    bool getAverageRate(uint64_t key, double& out) const;

  private:
    int table_i(const Metric& metric, bool averageRateTotal);

    std::map<uint64_t, KeyStats> m_stats;
    bool m_rateEnabled;
    const Quantity* m_rateBase;
    double m_rateFactor;
    std::vector<Summary> m_summaries;
};

}  // namespace pwr
