#include "common/metrics/SampleCountSummarizer.h"

#include <string>

#include "common/data/DataDescriptor.h"
#include "common/data/DataElement.h"
#include "common/data/EntityHandle.h"
#include "common/data/Formatter.h"
#include "common/messages/TableMessage.h"
#include "common/metrics/Metric.h"
#include "common/runtime/Log.h"
#include "common/serialize/SystemMetadata.h"

namespace pwr {

namespace {

unsigned long long ull(uint64_t v) {
    return static_cast<unsigned long long>(v);
}

const char* nameOrNA(const DataHandle* handle) {
    return handle == nullptr ? "<N/A>" : handle->getName().c_str();
}

// One row of the table: the keys of an entity taken together.
struct EntityRow {
    const EntityHandle* entity = nullptr;
    uint64_t count = 0;
    uint64_t intervals = 0;
    uint64_t span = 0;  // sum of the measured intervals
    uint64_t minInterval = UINT64_MAX;
    uint64_t maxInterval = 0;
};

}  // namespace

SampleCountSummarizer::SampleCountSummarizer(bool perEntityOnly, bool firstIntervalFromStart,
                                             bool intervalColumns)
    : m_perEntityOnly(perEntityOnly),
      m_firstIntervalFromStart(firstIntervalFromStart),
      m_intervalColumns(intervalColumns),
      m_startTimestamp(0) {
    m_summaryEnabled = true;
}

SampleCountSummarizer::SampleCountSummarizer(const SampleCountSummarizer& other) = default;
SampleCountSummarizer& SampleCountSummarizer::operator=(const SampleCountSummarizer& other) =
    default;
SampleCountSummarizer::~SampleCountSummarizer() = default;

int SampleCountSummarizer::initialize(const Metric& metric, const SystemMetadata& system) {
    m_startTimestamp = system.startTsc;
    return Accumulator::initialize(metric, system);
}

int SampleCountSummarizer::processDataPoint(const Metric& metric) {
    const Metric::DataPoint& point = metric.getData();
    const uint64_t timestamp = point.getTimestamp();
    const bool info = logContext().admits(PW_INFO);
    if (info) {
        pwLog(PW_INFO, "INFO: %s has timestamp = %llu\n", "SampleCountSummarizer::processMessage",
              ull(timestamp));
    }
    for (const DataElement& element : point) {
        const uint64_t key = m_perEntityOnly ? makeEntityKey(element) : makeKey(element);
        const EntityHandle* entity = element.getEntity();
        const DataHandle* descriptor = m_perEntityOnly ? nullptr : element.getDescriptor();
        auto it = m_stats.find(key);
        if (it == m_stats.end()) {
            it = m_stats.emplace(key, KeyStats()).first;
            KeyStats& fresh = it->second;
            fresh.entity = entity;
            fresh.descriptor = descriptor;
            if (info) {
                pwLog(PW_INFO, "INFO: set key = %llu for %s, %s\n", ull(key), nameOrNA(entity),
                      nameOrNA(descriptor));
            }
            if (!m_firstIntervalFromStart || m_startTimestamp == 0 ||
                m_startTimestamp > timestamp) {
                // Nothing to measure the first sample from.
                fresh.first = timestamp;
                fresh.prev = timestamp;
                fresh.count = 1;
                continue;
            }
            fresh.first = m_startTimestamp;
            fresh.prev = m_startTimestamp;
        } else if (m_perEntityOnly && it->second.prev == timestamp) {
            // A further element of the entity in the same data point.
            continue;
        }
        KeyStats& stats = it->second;
        if (timestamp < stats.prev) {
            return 1;
        }
        const uint64_t interval = timestamp - stats.prev;
        if (interval < stats.minInterval) {
            stats.minInterval = interval;
        }
        if (interval > stats.maxInterval) {
            stats.maxInterval = interval;
        }
        ++stats.intervals;
        ++stats.count;
        stats.prev = timestamp;
        if (info) {
            pwLog(PW_INFO, "INFO: %s, %s has prev = %llu, min = %llu, max = %llu\n",
                  nameOrNA(entity), nameOrNA(descriptor), ull(stats.prev), ull(stats.minInterval),
                  ull(stats.maxInterval));
        }
    }
    return 0;
}

int SampleCountSummarizer::generateSummaries(const Metric& metric) {
    const std::string defaultTitle =
        metric.getName() + " Summary" + " - Sampled" + ": Total Samples Received";
    std::string title;
    TextNotes notes;
    bool transpose = false;
    if (!applyOutputConfig_i(metric, "SAMPLE-COUNT", defaultTitle, title, notes, transpose)) {
        return 0;
    }

    std::map<uint64_t, EntityRow> rows;
    for (const auto& entry : m_stats) {
        const KeyStats& stats = entry.second;
        const uint64_t minInterval = stats.intervals == 0 ? 0 : stats.minInterval;
        pwLog(PW_INFO, "INFO: Key = %llu, Entity = %s, Min = %llu, Max = %llu\n", ull(entry.first),
              nameOrNA(stats.entity), ull(minInterval), ull(stats.maxInterval));
        EntityRow& row = rows[stats.entity == nullptr ? 0 : stats.entity->getId()];
        row.entity = stats.entity;
        row.count += stats.count;
        if (stats.intervals != 0) {
            row.intervals += stats.intervals;
            row.span += stats.prev - stats.first;
            row.minInterval =
                stats.minInterval < row.minInterval ? stats.minInterval : row.minInterval;
            row.maxInterval =
                stats.maxInterval > row.maxInterval ? stats.maxInterval : row.maxInterval;
        }
    }

    TableMessage table(title, nullptr);
    table.setTextNotes(&notes);
    table.setTableMessageType(TableMessageType::GENERIC);
    table.addField("Total # of samples", DataType::UINT, false);
    if (m_intervalColumns) {
        table.addField("Min sampling interval (msec)", DataType::REAL, millisecondFormatter_i(),
                       false);
        table.addField("Max sampling interval (msec)", DataType::REAL, millisecondFormatter_i(),
                       false);
        table.addField("Avg sampling interval (msec)", DataType::REAL, millisecondFormatter_i(),
                       false);
    }
    for (const auto& entry : rows) {
        table.addEntity(entry.second.entity);
    }
    if (table.createTable() != 0) {
        return 1;
    }
    const double ticksPerMsec = m_timestampFreq * 1000.0;
    for (const auto& entry : rows) {
        const EntityRow& row = entry.second;
        setCell_i(table, row.entity, 0, Data(row.count));
        if (!m_intervalColumns || row.intervals == 0 || ticksPerMsec <= 0.0) {
            continue;
        }
        setCell_i(table, row.entity, 1, Data(toDouble(row.minInterval) / ticksPerMsec));
        setCell_i(table, row.entity, 2, Data(toDouble(row.maxInterval) / ticksPerMsec));
        setCell_i(table, row.entity, 3,
                  Data(toDouble(row.span) / toDouble(row.intervals) / ticksPerMsec));
    }
    pushTable_i(table, transpose);
    return 0;
}

}  // namespace pwr
