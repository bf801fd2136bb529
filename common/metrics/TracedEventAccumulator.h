// TracedEventAccumulator: counts of discrete events, per key, per event name
// (the text of a handle value) and per entity and name.
//
// EVENT-NAME-COUNTS gives one table per entity; TOP-TEN-EVENT gives one
// table of the ten most frequent names over all entities. Both have a shared
// name cell and a shared count cell and are pushed once per name, so every
// push carries one name/count pair.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "common/metrics/Accumulator.h"
#include "common/metrics/Enum.h"
#include "common/runtime/Export.h"

namespace pwr {

class PWR_API TracedEventAccumulator : public Accumulator {
  public:
    struct PWR_API SummaryKind {
        enum Value : uint8_t {
            SAMPLE_COUNT = 0,
            EVENT_NAME_COUNTS = 1,
            TOP_TEN_EVENT = 2,
        };
        static const EnumKeywords& keywords();
    };
    using Summary = Enum<SummaryKind>;

    struct EntityEvents {
        const EntityHandle* entity = nullptr;
        std::map<std::string, uint64_t> names;  // count per event name
    };

    explicit TracedEventAccumulator(const std::vector<Summary>& summaries);
    TracedEventAccumulator(const TracedEventAccumulator& other);
    TracedEventAccumulator& operator=(const TracedEventAccumulator& other);
    ~TracedEventAccumulator() override;

    int generateSummaries(const Metric& metric) override;
    int processDataPoint(const Metric& metric) override;

    const std::map<uint64_t, uint64_t>& getKeyCounts() const { return m_keyCounts; }
    const std::map<std::string, uint64_t>& getNameCounts() const { return m_nameCounts; }
    const std::map<uint64_t, EntityEvents>& getEntityEvents() const { return m_entities; }

  private:
    int nameCountTables_i(const Metric& metric);
    int topTenTable_i(const Metric& metric);

    std::map<uint64_t, uint64_t> m_keyCounts;
    std::map<std::string, uint64_t> m_nameCounts;
    std::map<uint64_t, EntityEvents> m_entities;
    std::vector<Summary> m_summaries;
};

}  // namespace pwr
