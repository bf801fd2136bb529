#include "common/metrics/Metric.h"

#include <deque>
#include <stdexcept>

#include "common/config/WriterInterfaceConfigFileParser.h"
#include "common/data/Data.h"
#include "common/data/DataDescriptor.h"
#include "common/data/EntityHandle.h"
#include "common/data/Quantity.h"
#include "common/messages/TableMessage.h"
#include "common/metrics/Accumulator.h"
#include "common/metrics/SampledDeltaAccumulator.h"
#include "common/metrics/SampledResidencyAccumulator.h"
#include "common/metrics/SampledValueAccumulator.h"
#include "common/metrics/TracedEventAccumulator.h"
#include "common/metrics/TracedTransitionAccumulator.h"
#include "common/plugins/PluginEnvironment.h"
#include "common/plugins/WriterStream.h"
#include "common/runtime/Log.h"
#include "common/serialize/SystemMetadata.h"

namespace pwr {

namespace {

// The key of the per-(entity, descriptor) timestamps; the same key the
// accumulators keep their statistics under.
uint64_t sampleKey(const EntityHandle* entity, const DataDescriptor* descriptor) {
    const uint64_t entityId = entity->getId();
    if (descriptor != nullptr && descriptor->getId() != 0) {
        return (entityId << 32) + descriptor->getId();
    }
    return entityId;
}

bool isSampledType(Metric::MetricType type) {
    return type == Metric::MetricType::SampledDelta ||
           type == Metric::MetricType::SampledResidency || type == Metric::MetricType::SampledValue;
}

// The accumulator of kind Acc with the summaries that the configured table
// types name, in configuration order. Table types of other kinds are not
// this accumulator's business and are skipped.
template <typename Acc>
Accumulator* makeAccumulator(const std::deque<std::string>& tableTypes) {
    std::vector<typename Acc::Summary> summaries;
    for (const std::string& tableType : tableTypes) {
        typename Acc::Summary summary;
        if (Acc::Summary::fromString(tableType, summary)) {
            summaries.push_back(summary);
        }
    }
    return new Acc(summaries);
}

}  // namespace

// --- DataPoint

Metric::DataPoint::DataPoint() : m_timestamp(0), m_elements(), m_size(0) {}

void Metric::DataPoint::append_i(const DataElement& element, const DataDescriptor* viewer,
                                 uint64_t duration) {
    if (m_size < m_elements.size()) {
        DataElement& slot = m_elements[m_size];
        // The setters refuse null, so a slot can take an element only when
        // every pointer the element leaves null is null in the slot too.
        const bool reusable =
            slot.hasValue() &&
            (element.getDescriptor() != nullptr || slot.getDescriptor() == nullptr) &&
            (element.getAdditionalInfo() != nullptr || slot.getAdditionalInfo() == nullptr) &&
            (viewer != nullptr || slot.getViewerDescriptor() == nullptr);
        if (reusable) {
            slot.setEntity(element.getEntity());
            if (element.getDescriptor() != nullptr) {
                slot.setDescriptor(element.getDescriptor());
            }
            if (element.getAdditionalInfo() != nullptr) {
                slot.setAdditionalInfo(element.getAdditionalInfo());
            }
            // Writes into the slot's own value when nobody shares it.
            slot.setValue(*element.getValue());
        } else {
            slot = DataElement(element);
        }
    } else {
        m_elements.push_back(element);
    }
    DataElement& stored = m_elements[m_size];
    if (viewer != nullptr) {
        stored.setViewerDescriptor(viewer);
    }
    stored.setDuration(duration);
    ++m_size;
}

// --- Metric

Metric::Metric(const std::string& name, MetricType type, const std::string& featureTag,
               const std::string& containerTag, const SystemMetadata& system,
               const Quantity* quantity)
    : m_name(name),
      m_quantity(quantity),
      m_entities(),
      m_lastSampleTimestamps(),
      m_entityTimings(),
      m_system(&system),
      m_noDataYet(true),
      m_lastTimestamp(0),
      m_currentTimestamp(0),
      m_accumulators(),
      m_finiteSetValues(),
      m_valueGroupInfo("", ""),
      m_entityGroupInfo("", ""),
      m_descriptorGroupInfo("", ""),
      m_legacyTableClass(RealTableClass::UNDEFINED),
      m_metricType(type),
      m_accumulatorsNeedInit(true),
      m_bufferedData(),
      m_writerStream(nullptr),
      m_featureTag(featureTag),
      m_containerTag(containerTag),
      m_entityDescCombos(),
      m_timelineTable(TimelineTableType::NONE),
      m_suppressEntityInfoInSummary(false),
      m_staticRowInfo(),
      m_defaultViewerDescriptor(nullptr),
      m_residencyScratch() {
    init();
}

Metric::~Metric() {
    for (Accumulator* accumulator : m_accumulators) {
        delete accumulator;
    }
}

void Metric::init() {
    PluginEnvironment* env = PluginEnvironment::current();
    m_writerStream = env == nullptr ? nullptr : static_cast<WriterStream*>(env->getWriterStream());
    if (m_writerStream == nullptr) {
        throw std::runtime_error("ERROR: Writer stream is not initialized");
    }
    if (!WriterInterfaceConfigFileParser::exists()) {
        throw std::runtime_error("Output config parser is not initialized");
    }
    const WriterInterfaceConfigFileParser* parser = WriterInterfaceConfigFileParser::instance();

    std::deque<std::string> tableTypes;
    if (!parser->getTableOrderForMetric(tableTypes, getOutputConfigName())) {
        pwLog(PW_WARNING,
              "WARNING: Output config table entries not present for the feature-switch-tag and "
              "metric-container-tag combo: '%s_%s'. Add table entries specific to Metric "
              "container type.\n",
              m_featureTag.c_str(), m_containerTag.c_str());
    }

    Accumulator* accumulator = nullptr;
    switch (m_metricType) {
        case MetricType::SampledDelta:
            accumulator = makeAccumulator<SampledDeltaAccumulator>(tableTypes);
            break;
        case MetricType::SampledResidency:
            if (m_quantity != Quantity::time()) {
                throw std::runtime_error(
                    "Quantity for MetricType::SampledResidency metric must be "
                    "pwr::Quantity::time()");
            }
            accumulator = makeAccumulator<SampledResidencyAccumulator>(tableTypes);
            break;
        case MetricType::SampledValue:
            accumulator = makeAccumulator<SampledValueAccumulator>(tableTypes);
            break;
        case MetricType::TracedValueTransition:
            accumulator = makeAccumulator<TracedTransitionAccumulator>(tableTypes);
            break;
        case MetricType::TracedEvent:
            accumulator = makeAccumulator<TracedEventAccumulator>(tableTypes);
            break;
        default:
            pwLog(PW_WARNING, "WARNING: %s: Unrecognized metric type\n", m_name.c_str());
            break;
    }
    if (accumulator != nullptr) {
        m_accumulators.push_back(accumulator);
    }
}

int Metric::addAccumulator(Accumulator* accumulator) {
    if (accumulator == nullptr) {
        pwLog(PW_WARNING, "WARNING: trying to add a NULL accumulator to Metric container %s?!\n",
              m_name.c_str());
        return 1;
    }
    if (!m_noDataYet) {
        pwLog(PW_WARNING,
              "WARNING: trying to add an accumulator to Metric container %s after setting "
              "data?!\n",
              m_name.c_str());
        return 1;
    }
    m_accumulators.push_back(accumulator);
    return 0;
}

bool Metric::settleSampledDuration_i(const DataElement& element, const char* descriptorName,
                                     uint64_t timestamp, uint64_t elapsed, uint64_t sinceEntity,
                                     uint64_t duration, uint64_t& valid) {
    const char* name = m_name.c_str();
    const char* entityName = element.getEntity()->getName().c_str();
    const bool residency = m_metricType == MetricType::SampledResidency;

    if (duration == 0) {
        valid = residency ? sinceEntity : elapsed;
    } else if (duration == kResetDuration) {
        pwLog(PW_INFO, "INFO: setting duration to zero due to reset!\n");
        valid = 0;
    } else if (residency && duration > sinceEntity) {
        pwLog(PW_WARNING,
              "WARNING: %s: Duration provided for MetricType::SampledResidency is greater than "
              "the time elapsed since last sampling point for entity=%s. Resetting duration to be "
              "the time since the last sampling point for %s.\n",
              name, entityName, entityName);
        valid = sinceEntity;
    } else if (!residency && duration > elapsed) {
        pwLog(PW_WARNING,
              "WARNING: %s: Duration is greater than the time elapsed since last sampling point "
              "for %s %s. Resetting duration to be the time since the last sampling point.\n",
              name, entityName, descriptorName);
        valid = elapsed;
    } else {
        valid = duration;
    }
    if (logContext().admits(PW_DEBUG)) {
        pwLog(PW_DEBUG,
              "DEBUG: %s: Valid duration since last sampling point for entity=%sdescriptor=%s is "
              "set as %llu \n",
              name, entityName, descriptorName, static_cast<unsigned long long>(valid));
    }

    if (residency) {
        uint64_t ticks = 0;
        element.getValue()->toUInt(ticks);
        if (ticks > valid) {
            pwLog(PW_WARNING,
                  "WARNING: %s: Clock ticks spent by %s in state %s=%llu is greater than the "
                  "duration=%llu since the last sampling point. Note this sample at "
                  "timestamp=%llu will be discarded.\n",
                  name, entityName, descriptorName, static_cast<unsigned long long>(ticks),
                  static_cast<unsigned long long>(valid),
                  static_cast<unsigned long long>(timestamp));
            return false;
        }
    }
    return true;
}

uint64_t Metric::settleTracedDuration_i(const DataElement& element, const char* descriptorName,
                                        uint64_t elapsed, uint64_t duration) {
    const char* name = m_name.c_str();
    const char* entityName = element.getEntity()->getName().c_str();
    uint64_t valid = duration;
    if (duration == 0) {
        valid = elapsed;
    } else if (duration == kResetDuration) {
        pwLog(PW_INFO, "INFO: setting duration to zero due to reset!\n");
        valid = 0;
    } else if (duration > elapsed) {
        pwLog(PW_WARNING,
              "WARNING: %s: Duration is greater than the time elapsed since last transition "
              "point for %s %s. Resetting duration to be the time since the last transition "
              "point.\n",
              name, entityName, descriptorName);
        valid = elapsed;
    }
    if (logContext().admits(PW_INFO)) {
        pwLog(PW_INFO,
              "INFO: %s: Valid duration since the last transition point for entity=%s "
              "descriptor=%s is set as %llu \n",
              name, entityName, descriptorName, static_cast<unsigned long long>(valid));
    }
    return valid;
}

const DataDescriptor* Metric::getDefaultViewerDescriptor_i() {
    if (m_defaultViewerDescriptor == nullptr) {
        m_defaultViewerDescriptor = DataDescriptor::create(DataDescriptorBuilder(m_name, m_name));
        pwLog(PW_DEBUG, "DEBUG: %s: Created the descriptor shown for data without one.\n",
              m_name.c_str());
    }
    return m_defaultViewerDescriptor;
}

int Metric::setData(uint64_t timestamp, DataElement& element, uint64_t duration) {
    const char* name = m_name.c_str();
    if (timestamp == 0) {
        pwLog(PW_WARNING, "WARNING: %s: Please provide a valid non-zero timestamp.\n", name);
        return 1;
    }
    const EntityHandle* entity = element.getEntity();
    if (entity == nullptr) {
        pwLog(PW_WARNING, "WARNING: %s: Please provide an entity in the DataElement object.\n",
              name);
        return 1;
    }
    if (!element.hasValue()) {
        pwLog(PW_WARNING,
              "WARNING: %s: Please set the value aka measurement in the DataElement object.\n",
              name);
        return 1;
    }
    const DataDescriptor* descriptor = element.getDescriptor();
    if (m_metricType == MetricType::SampledResidency) {
        if (descriptor == nullptr) {
            pwLog(PW_WARNING,
                  "WARNING: %s: Descriptor is required for MetricType::SampledResidency type. "
                  "Please provide one.\n",
                  name);
            return 1;
        }
        if (element.getValue()->getType() != DataType::UINT) {
            pwLog(PW_WARNING,
                  "WARNING: %s: MetricType::SampledResidency type requires values to be given in "
                  "clock ticks as pw_u64_t data type.\n",
                  name);
            return 1;
        }
    }
    const char* entityName = entity->getName().c_str();
    const char* descriptorName = descriptor != nullptr ? descriptor->getName().c_str() : " ";

    // A pair's first sample is measured from the start of the collection.
    const uint64_t key = sampleKey(entity, descriptor);
    const auto found = m_lastSampleTimestamps.find(key);
    const bool firstOfPair = found == m_lastSampleTimestamps.end();
    const uint64_t previous = firstOfPair ? m_system->startTsc : found->second;
    if (firstOfPair ? previous > timestamp : timestamp <= previous) {
        pwLog(PW_WARNING,
              "WARNING: %s: Timestamps must be monotonically increasing. Previous=%llu, "
              "current=%llu for %s/%s. Data discarded.\n",
              name, static_cast<unsigned long long>(previous),
              static_cast<unsigned long long>(timestamp), entityName, descriptorName);
        return 1;
    }
    const uint64_t elapsed = timestamp - previous;
    const uint64_t checked = duration == kResetDuration ? 0 : duration;
    if (checked != 0 && checked > elapsed) {
        pwLog(PW_WARNING,
              "WARNING: %s: Duration cannot be more than the elapsed time since last "
              "sampling/transition point. duration=%llu, elapsed time=%llu for %s+%s. Data "
              "discarded.\n",
              name, static_cast<unsigned long long>(duration),
              static_cast<unsigned long long>(elapsed), entityName, descriptorName);
        return 1;
    }

    const bool debug = logContext().admits(PW_DEBUG);
    if (logContext().admits(PW_INFO)) {
        pwLog(PW_INFO,
              "INFO: setData: Received valid data with timestamp=%llu, Entity=%s, "
              "Descriptor=%s, duration=%llu, previous timestamp=%llu \n",
              static_cast<unsigned long long>(timestamp), entityName, descriptorName,
              static_cast<unsigned long long>(duration), static_cast<unsigned long long>(previous));
    }

    // The entity's sampling point this sample is measured from: its previous
    // point once the sample opens a new one, the start of the collection for
    // a new entity.
    const auto timing = m_entityTimings.find(entity->getId());
    uint64_t entityPoint = m_system->startTsc;
    if (timing != m_entityTimings.end()) {
        const EntityTiming& known = timing->second;
        entityPoint = known.currentPoint != timestamp && known.currentPoint != 0 &&
                              known.currentPoint < timestamp
                          ? known.currentPoint
                          : known.lastSamplingPoint;
    }

    const bool sampled = isSampledType(m_metricType);
    uint64_t valid = 0;
    if (sampled) {
        if (!m_bufferedData.empty() && m_lastTimestamp != timestamp) {
            if (debug) {
                pwLog(PW_DEBUG,
                      "DEBUG: %s: New timestamp provided for sampled metric. Pushing buffered "
                      "data to the writer stream.\n",
                      name);
            }
            pushToStream();
        }
        if (debug) {
            pwLog(PW_DEBUG, "DEBUG: %s: Saving data to the buffered data vector.\n", name);
        }
        const uint64_t sinceEntity = timestamp >= entityPoint ? timestamp - entityPoint : 0;
        if (!settleSampledDuration_i(element, descriptorName, timestamp, elapsed, sinceEntity,
                                     duration, valid)) {
            return 1;
        }
    } else {
        valid = settleTracedDuration_i(element, descriptorName, elapsed, duration);
    }

    // Every stored element shows outside viewers a descriptor.
    const DataDescriptor* viewer = element.getViewerDescriptor();
    if (viewer == nullptr) {
        viewer = getDefaultViewerDescriptor_i();
    }
    m_bufferedData.append_i(element, viewer, valid);

    if (firstOfPair) {
        m_lastSampleTimestamps.emplace(key, timestamp);
    } else {
        found->second = timestamp;
    }
    if (timing == m_entityTimings.end()) {
        m_entityTimings.emplace(entity->getId(), EntityTiming{entityPoint, timestamp});
        m_entities.push_back(entity);
    } else {
        timing->second.lastSamplingPoint = entityPoint;
        timing->second.currentPoint = timestamp;
    }
    m_noDataYet = false;
    m_lastTimestamp = timestamp;
    m_currentTimestamp = timestamp;

    if (!sampled) {
        // Every traced element is a point of its own.
        pushToStream();
    }
    return 0;
}

bool Metric::checkResidencyPoint_i() {
    // Every state of an entity in one point must cover the same duration,
    // the entity's valid duration, or the residencies cannot be compared.
    m_residencyScratch.clear();
    ResidencyCheck* current = nullptr;
    for (const DataElement& element : m_bufferedData) {
        const EntityHandle* entity = element.getEntity();
        if (current == nullptr || current->entity != entity) {
            current = nullptr;
            for (ResidencyCheck& check : m_residencyScratch) {
                if (check.entity == entity) {
                    current = &check;
                    break;
                }
            }
            if (current == nullptr) {
                m_residencyScratch.push_back(ResidencyCheck{entity, element.getDuration(), 0});
                current = &m_residencyScratch.back();
            }
        }
        if (element.getDuration() != current->duration) {
            const char* entityName = entity->getName().c_str();
            pwLog(PW_WARNING,
                  "WARNING: %s: valid duration since the last sampling point for %s = %llu, but "
                  "that provided for %s in state %s= %llu. All data provided for the previous "
                  "sampling point will be discarded.\n",
                  m_name.c_str(), entityName, static_cast<unsigned long long>(current->duration),
                  entityName, element.getDescriptor()->getName().c_str(),
                  static_cast<unsigned long long>(element.getDuration()));
            return false;
        }
        uint64_t ticks = 0;
        element.getValue()->toUInt(ticks);
        current->sum += ticks;
    }
    if (logContext().admits(PW_DEBUG)) {
        for (const ResidencyCheck& check : m_residencyScratch) {
            if (check.sum > check.duration) {
                pwLog(PW_DEBUG,
                      "DEBUG: %s: For %s, sum of residencies in various states exceeds the "
                      "sample duration. \n",
                      m_name.c_str(), check.entity->getName().c_str());
            }
        }
    }
    return true;
}

int Metric::pushToStream() {
    if (m_metricType == MetricType::SampledResidency && !checkResidencyPoint_i()) {
        m_bufferedData.clear_i();
        return 1;
    }
    m_bufferedData.m_timestamp = isSampledType(m_metricType) ? m_lastTimestamp : m_currentTimestamp;
    if (logContext().admits(PW_DEBUG)) {
        pwLog(PW_DEBUG, "DEBUG: %s: Pushing buffered data to writer stream\n", m_name.c_str());
    }
    m_writerStream->pushMessage(this);

    int status = 0;
    if (m_accumulatorsNeedInit) {
        for (Accumulator* accumulator : m_accumulators) {
            if (accumulator->initialize(*this, *m_system) != 0) {
                pwLog(PW_WARNING,
                      "WARNING: Metric container %s couldn't initialize an accumulator!\n",
                      m_name.c_str());
                m_bufferedData.clear_i();
                return 1;
            }
        }
        m_accumulatorsNeedInit = false;
    }
    for (Accumulator* accumulator : m_accumulators) {
        if (accumulator->processDataPoint(*this) != 0) {
            pwLog(PW_WARNING,
                  "WARNING: Metric container %s reports an accumulator processMessage error!\n",
                  m_name.c_str());
            status = 1;
        }
    }
    m_bufferedData.clear_i();
    return status;
}

int Metric::finalize() {
    if (m_noDataYet) {
        pwLog(PW_WARNING, "WARNING: No data was provided for metric %s\n", m_name.c_str());
        return 1;
    }
    if (isSampledType(m_metricType)) {
        pwLog(PW_DEBUG, "DEBUG: Pushing data to writer stream\n");
        if (!m_bufferedData.empty()) {
            pushToStream();
        }
    }

    int status = 0;
    // Every point may have been dropped; the tables still need the
    // accumulators' unit and clock.
    if (m_accumulatorsNeedInit) {
        for (Accumulator* accumulator : m_accumulators) {
            accumulator->initialize(*this, *m_system);
        }
        m_accumulatorsNeedInit = false;
    }
    for (Accumulator* accumulator : m_accumulators) {
        if (accumulator->generateSummaries(*this) != 0) {
            pwLog(PW_WARNING, "WARNING: Metric container %s couldn't finalize an accumulator!\n",
                  m_name.c_str());
            status = 1;
        }
    }

    // Writers learn how to present the container after its tables.
    MetricContainerInfoMessage info;
    info.setContainerHeader(m_containerTag);
    info.setMetricContainerTag(m_featureTag);
    info.addStaticTableRowInfo(m_staticRowInfo.get());
    info.setTimelineTableToDisplay(m_timelineTable);
    m_writerStream->pushMessage(info);
    return status;
}

int Metric::setFiniteSetValues(const std::vector<const DataDescriptor*>& values) {
    if (m_metricType != MetricType::SampledValue &&
        m_metricType != MetricType::TracedValueTransition) {
        pwLog(PW_WARNING,
              "WARNING: %s: Finite set of possible values can be provided only for "
              "MetricType::SampledValue or MetricType::TracedValueTransition metric types.\n",
              m_name.c_str());
        return 1;
    }
    for (const DataDescriptor* value : values) {
        if (value == nullptr) {
            pwLog(PW_WARNING,
                  "WARNING: %s: Please provide a valid pointer to DataDescriptor object.\n",
                  m_name.c_str());
            return 1;
        }
    }
    m_finiteSetValues = values;
    return 0;
}

int Metric::setEntityDescriptorCombinations(const std::vector<EntityDescCombo>& combos) {
    for (const EntityDescCombo& combo : combos) {
        if (combo.entity == nullptr) {
            pwLog(PW_WARNING,
                  "WARNING: %s: Entity is required when setting entity-descriptor "
                  "combinations.\n",
                  m_name.c_str());
            return 1;
        }
    }
    m_entityDescCombos = combos;
    return 0;
}

int Metric::setValueGroupInfo(const FieldDescription& info) {
    m_valueGroupInfo = info;
    return 0;
}

int Metric::setEntityGroupInfo(const FieldDescription& info) {
    m_entityGroupInfo = info;
    return 0;
}

int Metric::setDescriptorGroupInfo(const FieldDescription& info) {
    m_descriptorGroupInfo = info;
    return 0;
}

int Metric::setLegacyMetricType(RealTableClass tableClass) {
    m_legacyTableClass = tableClass;
    return 0;
}

int Metric::setSuppressEntityInfoInSummary(bool suppress) {
    m_suppressEntityInfoInSummary = suppress;
    return 0;
}

int Metric::setTimelineTableToDisplay(TimelineTableType type) {
    if (m_metricType != MetricType::SampledResidency) {
        pwLog(PW_WARNING,
              "WARNING: Warning: Timeline output table selection is only valid for "
              "MetricType::SampledResidency type metrics.\nThis request will be ignored.");
        return 1;
    }
    m_timelineTable = type;
    return 0;
}

int Metric::addStaticTableRowInfo(TableMessage* table) {
    if (table == nullptr) {
        pwLog(PW_WARNING, "WARNING: %s: Please provide a table for the static row information.\n",
              m_name.c_str());
        return 1;
    }
    int status = 0;
    for (const EntityHandle* entity : m_entities) {
        status |= table->addEntity(entity);
    }
    for (const EntityDescCombo& combo : m_entityDescCombos) {
        status |= table->addEntity(combo.entity);
    }
    if (status == 0) {
        m_staticRowInfo.reset(new TableMessage(*table));
    }
    return status;
}

}  // namespace pwr
