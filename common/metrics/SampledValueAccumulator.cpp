#include "common/metrics/SampledValueAccumulator.h"

#include <algorithm>
#include <set>

#include "common/data/DataDescriptor.h"
#include "common/data/DataElement.h"
#include "common/data/EntityHandle.h"
#include "common/data/Formatter.h"
#include "common/messages/TableMessage.h"
#include "common/metrics/Metric.h"
#include "common/metrics/SampleCountSummarizer.h"
#include "common/runtime/Log.h"

namespace pwr {

namespace {

const char* const c_summaryKeywords[] = {
    "SAMPLE-COUNT",
    "MIN-MAX-AVG",
    "NUMBER-OF-OCCURENCES",
    "RELATIVE-FREQUENCY-PERCENTAGE",
    "MIN-MAX",
    "APPROXIMATED-RESIDENCY",
};
const EnumKeywords c_summaries(c_summaryKeywords,
                               sizeof(c_summaryKeywords) / sizeof(c_summaryKeywords[0]));

bool isScalarNumeric(DataType type) {
    return type == DataType::INT || type == DataType::UINT || type == DataType::REAL;
}

std::string valueText(const Data& value) {
    std::string text;
    value.toFormattedString(text);
    return text;
}

}  // namespace

const EnumKeywords& SampledValueAccumulator::SummaryKind::keywords() {
    return c_summaries;
}

SampledValueAccumulator::SampledValueAccumulator(const std::vector<Summary>& summaries)
    : m_summaries(summaries), m_wantDistribution(false) {
    for (Summary s : summaries) {
        switch (s) {
            case SummaryKind::SAMPLE_COUNT:
                enableSampleCount_i();
                break;
            case SummaryKind::NUMBER_OF_OCCURENCES:
            case SummaryKind::RELATIVE_FREQUENCY_PERCENTAGE:
            case SummaryKind::APPROXIMATED_RESIDENCY:
                m_wantDistribution = true;
                break;
            default:
                break;
        }
    }
    m_summaryEnabled = !summaries.empty();
}

SampledValueAccumulator::SampledValueAccumulator(const SampledValueAccumulator& other) = default;
SampledValueAccumulator& SampledValueAccumulator::operator=(const SampledValueAccumulator& other) =
    default;
SampledValueAccumulator::~SampledValueAccumulator() = default;

int SampledValueAccumulator::processDataPoint(const Metric& metric) {
    const int start = beginDataPoint_i(metric);
    if (start != 0) {
        return start > 0 ? 1 : 0;
    }
    for (const DataElement& element : metric.getData()) {
        if (!element.hasValue()) {
            continue;
        }
        const Data& value = *element.getValue();
        const DataType type = value.getType();
        const bool numeric = isScalarNumeric(type);
        m_inputType = static_cast<uint8_t>(type);
        const uint64_t key = makeKey(element);
        auto it = m_stats.find(key);
        if (it == m_stats.end()) {
            it = m_stats.emplace(key, KeyStats()).first;
            KeyStats& fresh = it->second;
            fresh.entity = element.getEntity();
            fresh.descriptor = element.getDescriptor();
            if (numeric) {
                fresh.min = Data(type);
                fresh.min.initMin();
                fresh.max = Data(type);
                fresh.max.initMax();
                fresh.sum = Data(type);
                fresh.sum.initZero();
            }
            EntityInfo& info = m_entities[makeEntityKey(element)];
            info.entity = fresh.entity;
            if (fresh.descriptor != nullptr) {
                if (std::find(info.descriptors.begin(), info.descriptors.end(), fresh.descriptor) ==
                    info.descriptors.end()) {
                    info.descriptors.push_back(fresh.descriptor);
                }
                auto& seen = m_descriptorEntities[fresh.descriptor];
                if (seen.empty()) {
                    m_descriptors.push_back(fresh.descriptor);
                }
                seen.push_back(fresh.entity);
            }
        }
        KeyStats& stats = it->second;
        ++stats.count;

        const double weight = m_timestampFreq > 0.0
                                  ? toDouble(element.getDuration()) / m_timestampFreq
                                  : toDouble(element.getDuration());
        if (weight == 0.0) {
            pwLog(PW_WARNING, "WARNING: SampledValueAccumulator has zero weight!\n");
        }
        if (numeric) {
            if (stats.min > value) {
                stats.min = value;
            }
            if (value > stats.max) {
                stats.max = value;
            }
            stats.sum.addValue(value);
            double v = 0.0;
            if (type == DataType::INT) {
                int64_t i = 0;
                value.toInt(i);
                v = static_cast<double>(i);
            } else if (type == DataType::UINT) {
                uint64_t u = 0;
                value.toUInt(u);
                v = toDouble(u);
            } else {
                value.toReal(v);
            }
            stats.weightedSum += v * weight;
            stats.totalWeight += weight;
        }
        if (m_wantDistribution) {
            const uint64_t entityKey = makeEntityKey(element);
            ++m_valueCounts[entityKey][value];
            ++m_entityTotals[entityKey];
        }
    }
    return 0;
}

int SampledValueAccumulator::generateSummaries(const Metric& metric) {
    int status = 0;
    for (Summary s : m_summaries) {
        switch (s) {
            case SummaryKind::SAMPLE_COUNT:
                status |= generateSampleCountSummary_i(metric);
                break;
            case SummaryKind::MIN_MAX_AVG:
                status |= minMaxTable_i(metric, true);
                break;
            case SummaryKind::MIN_MAX:
                status |= minMaxTable_i(metric, false);
                break;
            case SummaryKind::NUMBER_OF_OCCURENCES:
            case SummaryKind::RELATIVE_FREQUENCY_PERCENTAGE:
            case SummaryKind::APPROXIMATED_RESIDENCY:
                status |= distributionTable_i(metric, s);
                break;
        }
    }
    return status;
}

int SampledValueAccumulator::minMaxTable_i(const Metric& metric, bool withAverages) {
    const auto inputType = static_cast<DataType>(m_inputType);
    if (!isScalarNumeric(inputType)) {
        pwLog(PW_WARNING, "WARNING: Unable to provide min/max/avg summary for non-numeric data.\n");
        return 0;
    }
    const char* keyword = withAverages ? "MIN-MAX-AVG" : "MIN-MAX";
    const std::string defaultTitle =
        metric.getName() +
        (withAverages ? " Summary - Sampled: Min/Max/Avg" : " Summary - Sampled: Min/Max");
    std::string title;
    TextNotes notes;
    bool transpose = false;
    if (!applyOutputConfig_i(metric, keyword, defaultTitle, title, notes, transpose)) {
        return 0;
    }

    TableMessage table(title, metric.getQuantity());
    table.setTextNotes(&notes);
    table.setTableMessageType(withAverages ? TableMessageType::MIN_MAX_AVG
                                           : TableMessageType::MIN_MAX);
    // One group of columns for elements without descriptor, then one per
    // descriptor; a group's first column number by descriptor.
    const unsigned int groupSize = withAverages ? 4 : 2;
    std::map<const DataDescriptor*, unsigned int> firstColumn;
    std::vector<const DataDescriptor*> groups;
    for (const auto& entry : m_stats) {
        if (entry.second.descriptor == nullptr) {
            groups.push_back(nullptr);
            break;
        }
    }
    groups.insert(groups.end(), m_descriptors.begin(), m_descriptors.end());
    unsigned int column = 0;
    for (const DataDescriptor* descriptor : groups) {
        const std::string prefix = descriptor == nullptr ? "" : descriptor->getName() + " ";
        firstColumn[descriptor] = column;
        table.addField(prefix + "Min" + m_unitSuffix, inputType, false);
        table.addField(prefix + "Max" + m_unitSuffix, inputType, false);
        if (withAverages) {
            table.addField(prefix + "Avg" + m_unitSuffix, DataType::REAL, false);
            table.addField(prefix + "Time-weighted Avg" + m_unitSuffix, DataType::REAL, false);
        }
        column += groupSize;
    }
    for (const auto& entry : m_entities) {
        table.addEntity(entry.second.entity);
    }
    if (table.createTable() != 0) {
        return 1;
    }
    for (const auto& entry : m_stats) {
        const KeyStats& stats = entry.second;
        if (stats.count == 0 || !isScalarNumeric(stats.min.getType())) {
            continue;
        }
        const unsigned int first = firstColumn[stats.descriptor];
        setCell_i(table, stats.entity, first, stats.min);
        setCell_i(table, stats.entity, first + 1, stats.max);
        if (!withAverages) {
            continue;
        }
        double sum = 0.0;
        Data::convertToReal(&stats.sum).toReal(sum);
        setCell_i(table, stats.entity, first + 2, Data(sum / toDouble(stats.count)));
        if (stats.totalWeight > 0.0) {
            setCell_i(table, stats.entity, first + 3, Data(stats.weightedSum / stats.totalWeight));
        }
    }
    pushTable_i(table, transpose);
    return 0;
}

int SampledValueAccumulator::distributionTable_i(const Metric& metric, Summary kind) {
    const char* keyword = kind.toString();
    std::string defaultTitle = metric.getName();
    TableMessageType type = TableMessageType::NUMBER_OF_OCCURRENCES;
    bool percent = true;
    switch (kind) {
        case SummaryKind::NUMBER_OF_OCCURENCES:
            defaultTitle += " Summary - Sampled: Counts";
            percent = false;
            break;
        case SummaryKind::RELATIVE_FREQUENCY_PERCENTAGE:
            defaultTitle += " Summary - Sampled: Sample Distribution";
            type = TableMessageType::RELATIVE_FREQUENCY_PERCENTAGE;
            break;
        default:
            defaultTitle += " Summary - Sampled: Residency (Percentage)";
            type = TableMessageType::APPROXIMATED_RESIDENCY;
            break;
    }
    std::string title;
    TextNotes notes;
    bool transpose = false;
    if (!applyOutputConfig_i(metric, keyword, defaultTitle, title, notes, transpose)) {
        return 0;
    }

    // Every distinct value of any entity is a column, in ascending order.
    std::map<Data, unsigned int> columns;
    for (const auto& entity : m_valueCounts) {
        for (const auto& count : entity.second) {
            columns.emplace(count.first, 0);
        }
    }
    TableMessage table(title, metric.getQuantity());
    table.setTextNotes(&notes);
    table.setTableMessageType(type);
    unsigned int column = 0;
    for (auto& entry : columns) {
        entry.second = column++;
        if (percent) {
            table.addField(valueText(entry.first) + " (%)", DataType::REAL, percentFormatter_i(),
                           false);
        } else {
            table.addField(valueText(entry.first), DataType::UINT, false);
        }
    }
    for (const auto& entry : m_entities) {
        table.addEntity(entry.second.entity);
    }
    if (table.createTable() != 0) {
        return 1;
    }
    for (const auto& entry : m_entities) {
        const EntityHandle* entity = entry.second.entity;
        auto counts = m_valueCounts.find(entry.first);
        // The denominator: the entity's samples (0 for an entity never
        // counted, which leaves its cells out).
        const uint64_t total = m_entityTotals[entry.first];
        for (const auto& col : columns) {
            uint64_t count = 0;
            if (counts != m_valueCounts.end()) {
                auto found = counts->second.find(col.first);
                count = found == counts->second.end() ? 0 : found->second;
            }
            if (!percent) {
                setCell_i(table, entity, col.second, Data(count));
            } else if (total != 0) {
                setCell_i(table, entity, col.second,
                          Data(toDouble(count) / toDouble(total) * 100.0));
            }
        }
    }
    pushTable_i(table, transpose);
    return 0;
}

}  // namespace pwr
