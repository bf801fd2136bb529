// SampleCountSummarizer: counts the samples of a metric per key and measures
// the intervals between consecutive samples; the engine behind the
// SAMPLE-COUNT summary of the accumulators.
//
// Options:
// - perEntityOnly: key by the entity alone, even when elements carry a
//   descriptor (several elements of one entity in one data point then count
//   as one sample);
// - firstIntervalFromStart: the first sample of a key is measured from the
//   collection start (the system record's start TSC); otherwise the first
//   sample only starts the interval measurement;
// - intervalColumns: the table shows the interval columns besides the count.
//
// The accumulator that owns the counter forwards initialize and every data
// point to it, and asks it for its table at finalize.
#pragma once

#include <cstdint>
#include <map>

#include "common/metrics/Accumulator.h"
#include "common/runtime/Export.h"

namespace pwr {

class PWR_API SampleCountSummarizer : public Accumulator {
  public:
    struct KeyStats {
        const EntityHandle* entity = nullptr;
        const DataHandle* descriptor = nullptr;
        uint64_t first = 0;  // timestamp the interval measurement starts at
        uint64_t prev = 0;
        uint64_t count = 0;
        uint64_t intervals = 0;  // number of intervals measured
        uint64_t minInterval = UINT64_MAX;
        uint64_t maxInterval = 0;
    };

    SampleCountSummarizer(bool perEntityOnly, bool firstIntervalFromStart, bool intervalColumns);
    SampleCountSummarizer(const SampleCountSummarizer& other);
    SampleCountSummarizer& operator=(const SampleCountSummarizer& other);
    ~SampleCountSummarizer() override;

    int initialize(const Metric& metric, const SystemMetadata& system) override;
    int generateSummaries(const Metric& metric) override;
    // 1 when the point's timestamp lies before a key's previous sample.
    int processDataPoint(const Metric& metric) override;

    const std::map<uint64_t, KeyStats>& getStats() const { return m_stats; }

  private:
    bool m_perEntityOnly;
    bool m_firstIntervalFromStart;
    bool m_intervalColumns;
    uint64_t m_startTimestamp;
    std::map<uint64_t, KeyStats> m_stats;
};

}  // namespace pwr
