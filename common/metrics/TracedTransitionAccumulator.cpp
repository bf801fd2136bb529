#include "common/metrics/TracedTransitionAccumulator.h"

#include <algorithm>

#include "common/data/DataDescriptor.h"
#include "common/data/DataElement.h"
#include "common/data/EntityHandle.h"
#include "common/messages/TableMessage.h"
#include "common/metrics/Metric.h"
#include "common/runtime/Log.h"

namespace pwr {

namespace {

const char* const c_summaryKeywords[] = {
    "RESIDENCY-PERCENTAGE",
    "RESIDENCY-MILLISECOND",
    "TRANSITION-COUNTS",
    "RESIDENCY-COMBINED",
};
const EnumKeywords c_summaries(c_summaryKeywords,
                               sizeof(c_summaryKeywords) / sizeof(c_summaryKeywords[0]));

const char* const c_invalidDescriptor =
    "WARNING: MetricType::TracedValueTransition: Descriptor is not valid\n";

}  // namespace

const EnumKeywords& TracedTransitionAccumulator::SummaryKind::keywords() {
    return c_summaries;
}

TracedTransitionAccumulator::TracedTransitionAccumulator(const std::vector<Summary>& summaries)
    : m_summaries(summaries) {
    m_summaryEnabled = !summaries.empty();
}

TracedTransitionAccumulator::TracedTransitionAccumulator(const TracedTransitionAccumulator& other) =
    default;
TracedTransitionAccumulator& TracedTransitionAccumulator::operator=(
    const TracedTransitionAccumulator& other) = default;
TracedTransitionAccumulator::~TracedTransitionAccumulator() = default;

int TracedTransitionAccumulator::processDataPoint(const Metric& metric) {
    const int start = beginDataPoint_i(metric);
    if (start != 0) {
        return start > 0 ? 1 : 0;
    }
    for (const DataElement& element : metric.getData()) {
        if (element.hasValue()) {
            m_inputType = static_cast<uint8_t>(element.getValue()->getType());
        }
        const uint64_t key = makeKey(element);
        const DataDescriptor* descriptor = element.getDescriptor();
        const uint64_t descriptorId = descriptor == nullptr ? 0 : descriptor->getId();
        EntityStats& entity = m_entities[makeEntityKey(element)];
        entity.entity = element.getEntity();
        auto it = m_stats.find(key);
        if (it == m_stats.end()) {
            it = m_stats.emplace(key, KeyStats()).first;
            it->second.entity = element.getEntity();
            it->second.descriptorId = descriptorId;
            if (std::find(entity.descriptorIds.begin(), entity.descriptorIds.end(), descriptorId) ==
                entity.descriptorIds.end()) {
                entity.descriptorIds.push_back(descriptorId);
            }
        }
        ++it->second.count;
        it->second.residency += element.getDuration();
        entity.totalDuration += element.getDuration();
    }
    return 0;
}

int TracedTransitionAccumulator::generateSummaries(const Metric& metric) {
    std::vector<ResidencyRow> rows;
    for (const auto& entry : m_entities) {
        ResidencyRow row;
        row.entity = entry.second.entity;
        row.totalDuration = toDouble(entry.second.totalDuration);
        for (uint64_t descriptorId : entry.second.descriptorIds) {
            auto stats = m_stats.find(makeKey(entry.first, descriptorId));
            if (stats != m_stats.end()) {
                row.states.emplace_back(descriptorId, toDouble(stats->second.residency));
            }
        }
        rows.push_back(row);
    }
    int status = 0;
    for (Summary s : m_summaries) {
        switch (s) {
            case SummaryKind::RESIDENCY_PERCENTAGE:
                status |=
                    residencyTable_i(metric, s.toString(), true, false, rows, c_invalidDescriptor);
                break;
            case SummaryKind::RESIDENCY_MILLISECOND:
                status |=
                    residencyTable_i(metric, s.toString(), false, true, rows, c_invalidDescriptor);
                break;
            case SummaryKind::RESIDENCY_COMBINED:
                status |=
                    residencyTable_i(metric, s.toString(), true, true, rows, c_invalidDescriptor);
                break;
            case SummaryKind::TRANSITION_COUNTS:
                status |= countTable_i(metric);
                break;
        }
    }
    return status;
}

int TracedTransitionAccumulator::countTable_i(const Metric& metric) {
    std::string title;
    TextNotes notes;
    bool transpose = false;
    if (!applyOutputConfig_i(metric, "TRANSITION-COUNTS",
                             metric.getName() + " Summary: Entry Counts", title, notes,
                             transpose)) {
        return 0;
    }
    // States in order of first appearance over the entities.
    std::vector<uint64_t> order;
    for (const auto& entry : m_entities) {
        for (uint64_t id : entry.second.descriptorIds) {
            if (std::find(order.begin(), order.end(), id) == order.end()) {
                order.push_back(id);
            }
        }
    }
    TableMessage table(title, nullptr);
    table.setTextNotes(&notes);
    table.setTableMessageType(TableMessageType::TRANSITION_COUNTS);
    std::map<uint64_t, unsigned int> columns;
    unsigned int column = 0;
    for (uint64_t id : order) {
        std::string name = "Entry Count";
        if (id != 0) {
            const auto* descriptor = dynamic_cast<const DataHandle*>(UniqueId::find(id));
            if (descriptor == nullptr) {
                pwLog(PW_WARNING, "%s", c_invalidDescriptor);
                continue;
            }
            name = descriptor->getName() + " " + name;
        }
        table.addField(name, DataType::UINT, false);
        columns[id] = column++;
    }
    if (column == 0) {
        table.addField("Entry Count", DataType::UINT, false);
        ++column;
    }
    const unsigned int totalColumn = column;
    table.addField("Total", DataType::UINT, false);
    for (const auto& entry : m_entities) {
        table.addEntity(entry.second.entity);
    }
    if (table.createTable() != 0) {
        return 1;
    }
    for (const auto& entry : m_entities) {
        uint64_t total = 0;
        for (uint64_t id : entry.second.descriptorIds) {
            auto stats = m_stats.find(makeKey(entry.first, id));
            if (stats == m_stats.end()) {
                continue;
            }
            total += stats->second.count;
            auto col = columns.find(id);
            if (col != columns.end()) {
                setCell_i(table, entry.second.entity, col->second, Data(stats->second.count));
            }
        }
        setCell_i(table, entry.second.entity, totalColumn, Data(total));
    }
    pushTable_i(table, transpose);
    return 0;
}

}  // namespace pwr
