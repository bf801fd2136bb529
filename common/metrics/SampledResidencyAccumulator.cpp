#include "common/metrics/SampledResidencyAccumulator.h"

#include <algorithm>

#include "common/data/DataDescriptor.h"
#include "common/data/DataElement.h"
#include "common/data/EntityHandle.h"
#include "common/metrics/Metric.h"
#include "common/metrics/SampleCountSummarizer.h"
#include "common/runtime/Log.h"

namespace pwr {

namespace {

const char* const c_summaryKeywords[] = {
    "SAMPLE-COUNT",
    "RESIDENCY-PERCENTAGE",
    "RESIDENCY-MILLISECOND",
    "RESIDENCY-COMBINED",
};
const EnumKeywords c_summaries(c_summaryKeywords,
                               sizeof(c_summaryKeywords) / sizeof(c_summaryKeywords[0]));

}  // namespace

const EnumKeywords& SampledResidencyAccumulator::SummaryKind::keywords() {
    return c_summaries;
}

SampledResidencyAccumulator::SampledResidencyAccumulator(const std::vector<Summary>& summaries)
    : m_summaries(summaries) {
    requestSummaries_i(summaries, Summary(SummaryKind::SAMPLE_COUNT));
}

SampledResidencyAccumulator::SampledResidencyAccumulator(const SampledResidencyAccumulator& other) =
    default;
SampledResidencyAccumulator& SampledResidencyAccumulator::operator=(
    const SampledResidencyAccumulator& other) = default;
SampledResidencyAccumulator::~SampledResidencyAccumulator() = default;

int SampledResidencyAccumulator::processDataPoint(const Metric& metric) {
    const Metric::DataPoint& point = metric.getData();
    // A point is taken whole or not at all, so check every value first.
    for (const DataElement& element : point) {
        if (!element.hasValue() || element.getValue()->getType() != DataType::UINT) {
            pwLog(PW_WARNING,
                  "WARNING: %s: MetricType::SampledResidency metric type is requiredto have "
                  "values of type pw_u64_t\n",
                  metric.getName().c_str());
            return 1;
        }
    }
    const int start = beginDataPoint_i(metric);
    if (start != 0) {
        return start > 0 ? 1 : 0;
    }
    m_inputType = static_cast<uint8_t>(DataType::UINT);
    for (const DataElement& element : point) {
        EntityStats& entity = m_entities[makeEntityKey(element)];
        entity.entity = element.getEntity();
        entity.pendingDuration = true;
    }
    for (const DataElement& element : point) {
        uint64_t ticks = 0;
        element.getValue()->toUInt(ticks);
        const uint64_t key = makeKey(element);
        const DataDescriptor* descriptor = element.getDescriptor();
        const uint64_t descriptorId = descriptor == nullptr ? 0 : descriptor->getId();
        EntityStats& entity = m_entities[makeEntityKey(element)];
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
        it->second.residency += toDouble(ticks);
        ++it->second.count;
        if (entity.pendingDuration) {
            entity.totalDuration += toDouble(element.getDuration());
            entity.pendingDuration = false;
        }
    }
    return 0;
}

int SampledResidencyAccumulator::generateSummaries(const Metric& metric) {
    std::vector<ResidencyRow> rows;
    for (const auto& entry : m_entities) {
        ResidencyRow row;
        row.entity = entry.second.entity;
        row.totalDuration = entry.second.totalDuration;
        const uint64_t entityId = entry.first;
        for (uint64_t descriptorId : entry.second.descriptorIds) {
            const uint64_t key = descriptorId == 0 ? entityId : (entityId << 32) + descriptorId;
            auto stats = m_stats.find(key);
            if (stats != m_stats.end()) {
                row.states.emplace_back(descriptorId, stats->second.residency);
            }
        }
        rows.push_back(row);
    }
    const char* invalid = "WARNING: MetricType::SampledResidency: Descriptor is not valid\n";
    int status = 0;
    for (Summary s : m_summaries) {
        switch (s) {
            case SummaryKind::SAMPLE_COUNT:
                status |= generateSampleCountSummary_i(metric);
                break;
            case SummaryKind::RESIDENCY_PERCENTAGE:
                status |= residencyTable_i(metric, s.toString(), true, false, rows, invalid);
                break;
            case SummaryKind::RESIDENCY_MILLISECOND:
                status |= residencyTable_i(metric, s.toString(), false, true, rows, invalid);
                break;
            case SummaryKind::RESIDENCY_COMBINED:
                status |= residencyTable_i(metric, s.toString(), true, true, rows, invalid);
                break;
        }
    }
    return status;
}

}  // namespace pwr
