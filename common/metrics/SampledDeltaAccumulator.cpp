#include "common/metrics/SampledDeltaAccumulator.h"

#include <algorithm>
#include <string>

#include "common/data/DataDescriptor.h"
#include "common/data/DataElement.h"
#include "common/data/EntityHandle.h"
#include "common/data/Quantity.h"
#include "common/messages/TableMessage.h"
#include "common/metrics/Metric.h"
#include "common/metrics/SampleCountSummarizer.h"
#include "common/runtime/Log.h"

namespace pwr {

namespace {

const char* const c_summaryKeywords[] = {
    "SAMPLE-COUNT",
    "AVERAGE-RATE-TOTAL",
    "TOTAL-DELTA",
};
const EnumKeywords c_summaries(c_summaryKeywords,
                               sizeof(c_summaryKeywords) / sizeof(c_summaryKeywords[0]));

// Clock ticks per second for a frequency in ticks per microsecond.
const double c_microsecondsPerSecond = 1000000.0;

}  // namespace

const EnumKeywords& SampledDeltaAccumulator::SummaryKind::keywords() {
    return c_summaries;
}

SampledDeltaAccumulator::SampledDeltaAccumulator(const std::vector<Summary>& summaries)
    : m_rateEnabled(true), m_rateBase(nullptr), m_rateFactor(1.0), m_summaries(summaries) {
    requestSummaries_i(summaries, Summary(SummaryKind::SAMPLE_COUNT));
}

SampledDeltaAccumulator::SampledDeltaAccumulator(const SampledDeltaAccumulator& other) = default;
SampledDeltaAccumulator& SampledDeltaAccumulator::operator=(const SampledDeltaAccumulator& other) =
    default;
SampledDeltaAccumulator::~SampledDeltaAccumulator() = default;

int SampledDeltaAccumulator::initialize(const Metric& metric, const SystemMetadata& system) {
    Accumulator::initialize(metric, system);
    const Quantity* quantity = metric.getQuantity();
    m_rateBase = nullptr;
    m_rateFactor = 1.0;
    m_rateEnabled = false;
    if (quantity == nullptr) {
        pwLog(PW_WARNING,
              "WARNING: Quantity and rate conversion are not specified. Disabling rate "
              "calculations.\n");
    } else if (quantity->getRateConversion(m_rateBase, m_rateFactor) != 0 ||
               m_rateBase == nullptr) {
        pwLog(PW_WARNING,
              "WARNING: Rate conversion is not specified. Disabling rate calculations.\n");
    } else {
        m_rateEnabled = true;
    }
    return 0;
}

int SampledDeltaAccumulator::processDataPoint(const Metric& metric) {
    const int start = beginDataPoint_i(metric);
    if (start != 0) {
        return start > 0 ? 1 : 0;
    }
    for (const DataElement& element : metric.getData()) {
        if (!element.hasValue()) {
            continue;
        }
        const Data& value = *element.getValue();
        m_inputType = static_cast<uint8_t>(value.getType());
        const uint64_t key = makeKey(element);
        auto it = m_stats.find(key);
        if (it == m_stats.end()) {
            it = m_stats.emplace(key, KeyStats()).first;
            KeyStats& fresh = it->second;
            fresh.entity = element.getEntity();
            const DataDescriptor* descriptor = element.getDescriptor();
            fresh.descriptorId = descriptor == nullptr ? 0 : descriptor->getId();
            fresh.total = Data(value.getType());
            fresh.total.initZero();
        }
        KeyStats& stats = it->second;
        ++stats.count;
        stats.total.addValue(value);
        stats.duration += toDouble(element.getDuration());
    }
    return 0;
}

bool SampledDeltaAccumulator::getAverageRate(uint64_t key, double& out) const {
    auto it = m_stats.find(key);
    if (!m_rateEnabled || it == m_stats.end() || it->second.duration <= 0.0 ||
        m_timestampFreq <= 0.0) {
        return false;
    }
    double total = 0.0;
    if (Data::convertToReal(&it->second.total).toReal(total) != 0) {
        std::string text;
        it->second.total.toFormattedString(text);
        pwLog(PW_WARNING, "WARNING: couldn't convert %s to real!\n", text.c_str());
        return false;
    }
    const double seconds = it->second.duration / (m_timestampFreq * c_microsecondsPerSecond);
    out = total * m_rateFactor / seconds;
    return true;
}

int SampledDeltaAccumulator::generateSummaries(const Metric& metric) {
    int status = 0;
    for (Summary s : m_summaries) {
        switch (s) {
            case SummaryKind::SAMPLE_COUNT:
                status |= generateSampleCountSummary_i(metric);
                break;
            case SummaryKind::AVERAGE_RATE_TOTAL:
                status |= table_i(metric, true);
                break;
            case SummaryKind::TOTAL_DELTA:
                status |= table_i(metric, false);
                break;
        }
    }
    return status;
}

int SampledDeltaAccumulator::table_i(const Metric& metric, bool averageRateTotal) {
    const char* keyword = averageRateTotal ? "AVERAGE-RATE-TOTAL" : "TOTAL-DELTA";
    const std::string defaultTitle =
        metric.getName() +
        (averageRateTotal ? " Summary: Average Rate and Total" : " Summary: Total");
    std::string title;
    TextNotes notes;
    bool transpose = false;
    if (!applyOutputConfig_i(metric, keyword, defaultTitle, title, notes, transpose)) {
        return 0;
    }
    const bool withRate = averageRateTotal && m_rateEnabled && m_rateBase != nullptr;
    std::string rateSuffix;
    if (withRate) {
        TableMessage::quantityToUnits(m_rateBase, rateSuffix, " (", ")");
    }

    // One group of columns for elements without descriptor, then one per
    // descriptor in ascending id; a group's first column by descriptor id.
    std::map<uint64_t, unsigned int> firstColumn;
    std::map<uint64_t, const EntityHandle*> entities;
    for (const auto& entry : m_stats) {
        firstColumn.emplace(entry.second.descriptorId, 0);
        const EntityHandle* entity = entry.second.entity;
        entities.emplace(entity == nullptr ? 0 : entity->getId(), entity);
    }
    TableMessage table(title, metric.getQuantity());
    table.setTextNotes(&notes);
    table.setTableMessageType(averageRateTotal ? TableMessageType::AVERAGE_RATE_TOTAL
                                               : TableMessageType::TOTAL_DELTA);
    const auto totalType = static_cast<DataType>(m_inputType);
    unsigned int column = 0;
    for (auto it = firstColumn.begin(); it != firstColumn.end();) {
        std::string prefix;
        if (it->first != 0) {
            const auto* descriptor = dynamic_cast<const DataHandle*>(UniqueId::find(it->first));
            if (descriptor == nullptr) {
                pwLog(PW_WARNING, "WARNING: MetricType::SampledDelta: Descriptor is not valid\n");
                it = firstColumn.erase(it);
                continue;
            }
            prefix = descriptor->getName() + " ";
        }
        it->second = column;
        if (withRate) {
            table.addField(prefix + "Average Rate" + rateSuffix, DataType::REAL, rateFormatter_i(),
                           false);
            ++column;
        }
        table.addField(prefix + "Total" + m_unitSuffix, totalType, false);
        ++column;
        ++it;
    }
    for (const auto& entry : entities) {
        table.addEntity(entry.second);
    }
    if (table.createTable() != 0) {
        return 1;
    }
    for (const auto& entry : m_stats) {
        const KeyStats& stats = entry.second;
        auto first = firstColumn.find(stats.descriptorId);
        if (first == firstColumn.end()) {
            continue;
        }
        unsigned int col = first->second;
        if (withRate) {
            double rate = 0.0;
            if (getAverageRate(entry.first, rate)) {
                setCell_i(table, stats.entity, col, Data(rate));
            }
            ++col;
        }
        setCell_i(table, stats.entity, col, stats.total);
    }
    pushTable_i(table, transpose);
    return 0;
}

}  // namespace pwr
