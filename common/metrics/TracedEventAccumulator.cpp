#include "common/metrics/TracedEventAccumulator.h"

#include <algorithm>

#include "common/data/DataHandle.h"
#include "common/data/DataElement.h"
#include "common/data/EntityHandle.h"
#include "common/messages/TableMessage.h"
#include "common/metrics/Metric.h"
#include "common/metrics/SampleCountSummarizer.h"
#include "common/runtime/Log.h"

namespace pwr {

namespace {

const char* const c_summaryKeywords[] = {
    "SAMPLE-COUNT",
    "EVENT-NAME-COUNTS",
    "TOP-TEN-EVENT",
};
const EnumKeywords c_summaries(c_summaryKeywords,
                               sizeof(c_summaryKeywords) / sizeof(c_summaryKeywords[0]));

// How many names the TOP-TEN-EVENT table lists.
const int c_topCount = 10;

// The event name: the name of a handle value, empty for any other value.
std::string eventName(const DataElement& element) {
    if (!element.hasValue()) {
        return std::string();
    }
    const Data& value = *element.getValue();
    const DataHandle* handle = nullptr;
    if (value.getType() != DataType::HANDLE || value.toHandle(handle) != 0 || handle == nullptr) {
        return std::string();
    }
    return handle->getName();
}

}  // namespace

const EnumKeywords& TracedEventAccumulator::SummaryKind::keywords() {
    return c_summaries;
}

TracedEventAccumulator::TracedEventAccumulator(const std::vector<Summary>& summaries)
    : m_summaries(summaries) {
    requestSummaries_i(summaries, Summary(SummaryKind::SAMPLE_COUNT));
}

TracedEventAccumulator::TracedEventAccumulator(const TracedEventAccumulator& other) = default;
TracedEventAccumulator& TracedEventAccumulator::operator=(const TracedEventAccumulator& other) =
    default;
TracedEventAccumulator::~TracedEventAccumulator() = default;

int TracedEventAccumulator::processDataPoint(const Metric& metric) {
    const int start = beginDataPoint_i(metric);
    if (start != 0) {
        return start > 0 ? 1 : 0;
    }
    for (const DataElement& element : metric.getData()) {
        if (element.hasValue()) {
            m_inputType = static_cast<uint8_t>(element.getValue()->getType());
        }
        const std::string name = eventName(element);
        ++m_keyCounts[makeKey(element)];
        ++m_nameCounts[name];
        EntityEvents& entity = m_entities[makeEntityKey(element)];
        entity.entity = element.getEntity();
        ++entity.names[name];
    }
    return 0;
}

int TracedEventAccumulator::generateSummaries(const Metric& metric) {
    int status = 0;
    for (Summary s : m_summaries) {
        switch (s) {
            case SummaryKind::SAMPLE_COUNT:
                status |= generateSampleCountSummary_i(metric);
                break;
            case SummaryKind::EVENT_NAME_COUNTS:
                status |= nameCountTables_i(metric);
                break;
            case SummaryKind::TOP_TEN_EVENT:
                status |= topTenTable_i(metric);
                break;
        }
    }
    return status;
}

int TracedEventAccumulator::nameCountTables_i(const Metric& metric) {
    for (const auto& entry : m_entities) {
        const EntityEvents& events = entry.second;
        const std::string entityName =
            events.entity == nullptr ? std::string() : events.entity->getName();
        std::string title;
        TextNotes notes;
        bool transpose = false;
        if (!applyOutputConfig_i(metric, "EVENT-NAME-COUNTS",
                                 metric.getName() + " Summary: Type Count" + " for " + entityName,
                                 title, notes, transpose)) {
            return 0;
        }
        // One table per entity: its row and the number of events it had.
        // The counts per event name are the TOP-TEN-EVENT table's.
        TableMessage table(title, nullptr);
        table.setTextNotes(&notes);
        table.setTableMessageType(TableMessageType::EVENT_NAME_COUNTS);
        table.setRowEntity(events.entity);
        table.addField("Count", DataType::UINT, false);
        table.addEntity(events.entity);
        if (table.createTable() != 0) {
            return 1;
        }
        uint64_t count = 0;
        for (const auto& name : events.names) {
            count += name.second;
        }
        setCell_i(table, events.entity, 0, Data(count));
        pushTable_i(table, transpose);
    }
    return 0;
}

int TracedEventAccumulator::topTenTable_i(const Metric& metric) {
    std::string defaultTitle =
        metric.getName() + " Summary: Top " + std::to_string(c_topCount) + " Most-Frequent";
    bool firstEntity = true;
    for (const auto& entry : m_entities) {
        if (entry.second.entity != nullptr) {
            defaultTitle += (firstEntity ? " for " : " and ") + entry.second.entity->getName();
            firstEntity = false;
        }
    }
    std::string title;
    TextNotes notes;
    bool transpose = false;
    if (!applyOutputConfig_i(metric, "TOP-TEN-EVENT", defaultTitle, title, notes, transpose)) {
        return 0;
    }
    TableMessage table(title, nullptr);
    table.setTextNotes(&notes);
    table.setTableMessageType(TableMessageType::TOP_TEN_EVENT);
    table.addField("Event Name", DataType::STRING, true);
    table.addField("Count", DataType::UINT, true);
    if (table.createTable() != 0) {
        return 1;
    }
    // Ordered by count; equal counts keep their insertion (name) order, so
    // walking backwards gives the last inserted first.
    std::multimap<uint64_t, const std::string*> byCount;
    for (const auto& name : m_nameCounts) {
        byCount.emplace(name.second, &name.first);
    }
    int pushed = 0;
    for (auto it = byCount.rbegin(); it != byCount.rend() && pushed < c_topCount; ++it, ++pushed) {
        setSharedCell_i(table, 0, Data(*it->second));
        setSharedCell_i(table, 1, Data(it->first));
        // Every pair goes out on its own; the stream resets the cells after.
        pushTable_i(table, transpose);
    }
    return 0;
}

}  // namespace pwr
