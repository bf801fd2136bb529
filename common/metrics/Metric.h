// Metric: the container through which a metric plug-in reports one metric.
//
// The plug-in creates a Metric per metric it produces and hands it samples
// with setData (a timestamp, a DataElement and an optional duration). The
// container checks every sample, settles its duration, and buffers the
// elements of one timestamp into one data point. A completed point goes to
// the writer stream (for interval output) and to the accumulators, which keep
// the statistics; finalize() makes the accumulators push their summary
// tables, followed by a MetricContainerInfoMessage.
//
// Sampled types (SampledDelta, SampledResidency, SampledValue) group all
// elements with one timestamp into one point. Traced types
// (TracedValueTransition, TracedEvent) make every element a point of its own.
// A duration of kResetDuration (all ones) marks a counter reset: the element
// is kept with duration 0.
//
// Construction needs the writer stream of the plug-in environment and the
// output configuration parser; without either it throws std::runtime_error.
//
// Ownership: the metric owns its accumulators, the copies of the buffered
// elements and its copy of the static row table (addStaticTableRowInfo). The
// quantity, the system record, the writer stream, entities and descriptors
// are borrowed and must outlive the metric.
//
// Threads: no locking; one thread feeds a metric.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include "common/data/DataElement.h"
#include "common/data/Description.h"
#include "common/messages/MetricContainerInfoMessage.h"
#include "common/runtime/Export.h"

class WriterStream;

namespace pwr {

class Accumulator;
class DataDescriptor;
class EntityHandle;
class Quantity;
class SystemMetadata;
class TableMessage;

// The layout older writers chose for a container's tables before summary
// kinds existed. Kept so that plug-ins written against those writers can
// still say what their metric is; the library itself does not use it.
enum class RealTableClass : uint8_t {
    UNDEFINED = 0,    // not set by the plug-in
    GENERIC = 1,      // plain values
    RESIDENCY = 2,    // time in states
    FREQUENCY = 3,    // operating frequencies
    POWER = 4,        // power and energy
    TEMPERATURE = 5,  // temperatures
    COUNTER = 6,      // counters and rates
    EVENT = 7,        // discrete events
};

class PWR_API Metric {
  public:
    enum class MetricType : uint8_t {
        SampledDelta = 0,
        SampledResidency = 1,
        SampledValue = 2,
        TracedValueTransition = 3,
        TracedEvent = 4,
    };

    // The duration that marks a counter reset. An enumerator rather than a
    // static data member, which an exported class could not share with
    // MinGW-built modules.
    enum : uint64_t { kResetDuration = ~uint64_t(0) };

    // The elements given with one timestamp. The elements are the metric's
    // own copies, each with its settled duration, in the order they were
    // given. Storage is kept between points, so a point of the same shape as
    // the previous one is buffered without allocating.
    class PWR_API DataPoint {
      public:
        using const_iterator = std::vector<DataElement>::const_iterator;

        DataPoint();

        uint64_t getTimestamp() const { return m_timestamp; }
        size_t size() const { return m_size; }
        bool empty() const { return m_size == 0; }
        const DataElement& operator[](size_t index) const { return m_elements[index]; }
        const_iterator begin() const { return m_elements.begin(); }
        const_iterator end() const {
            return m_elements.begin() + static_cast<std::ptrdiff_t>(m_size);
        }

      private:
        friend class Metric;

        // Appends a copy of element with the given duration, reusing the
        // storage of an earlier point where it can.
        void append_i(const DataElement& element, const DataDescriptor* viewer, uint64_t duration);
        // Forgets the elements; keeps their storage.
        void clear_i() { m_size = 0; }

        uint64_t m_timestamp;
        std::vector<DataElement> m_elements;
        size_t m_size;
    };

    // A combination of entity (required) and descriptor (may be null) that
    // the metric will report, so that writers can lay out their tables
    // before data arrives.
    struct EntityDescCombo {
        const EntityHandle* entity = nullptr;
        const DataDescriptor* descriptor = nullptr;
    };

    // Throws std::runtime_error when the environment has no writer stream
    // ("ERROR: Writer stream is not initialized"), when the output
    // configuration parser does not exist ("Output config parser is not
    // initialized"), and for a SampledResidency metric whose quantity is not
    // Quantity::time().
    Metric(const std::string& name, MetricType type, const std::string& featureTag,
           const std::string& containerTag, const SystemMetadata& system, const Quantity* quantity);
    Metric(const Metric&) = delete;
    Metric& operator=(const Metric&) = delete;
    ~Metric();

    // Adds a further accumulator, which the metric then owns. 1 (with a
    // warning) for null or once data has been set; the accumulator is then
    // not taken over.
    int addAccumulator(Accumulator* accumulator);

    // 0 when the sample was accepted, 1 (with a warning) when refused; a
    // refused sample leaves the metric as it was.
    int setData(uint64_t timestamp, DataElement& element, uint64_t duration);

    // Pushes the last buffered point, the container information and every
    // accumulator's summary tables. 1 when no sample was ever accepted or an
    // accumulator failed.
    int finalize();

    // The point being buffered (accumulators read it while processing).
    const DataPoint& getData() const { return m_bufferedData; }
    // Whether no sample has been accepted yet.
    bool isEmpty() const { return m_noDataYet; }
    MetricType getMetricType() const { return m_metricType; }
    const std::string& getName() const { return m_name; }
    const Quantity* getQuantity() const { return m_quantity; }
    const SystemMetadata& getSystemMetadata() const { return *m_system; }
    const std::string& getFeatureTag() const { return m_featureTag; }
    const std::string& getMetricContainerTag() const { return m_containerTag; }
    // "<feature tag>_<container tag>": the name under which the output
    // configuration knows this container.
    std::string getOutputConfigName() const { return m_featureTag + "_" + m_containerTag; }
    // The entities seen, in order of first appearance.
    const std::vector<const EntityHandle*>& getEntities() const { return m_entities; }
    const std::vector<Accumulator*>& getAccumulators() const { return m_accumulators; }

    // The finite set of values the metric may take (writers fix their
    // columns with it). Only SampledValue and TracedValueTransition.
    int setFiniteSetValues(const std::vector<const DataDescriptor*>& values);
    const std::vector<const DataDescriptor*>& getFiniteSetValues() const {
        return m_finiteSetValues;
    }
    int setEntityDescriptorCombinations(const std::vector<EntityDescCombo>& combos);
    const std::vector<EntityDescCombo>& getEntityDescriptorCombinations() const {
        return m_entityDescCombos;
    }

    int setValueGroupInfo(const FieldDescription& info);
    int setEntityGroupInfo(const FieldDescription& info);
    int setDescriptorGroupInfo(const FieldDescription& info);
    const FieldDescription& getValueGroupInfo() const { return m_valueGroupInfo; }
    const FieldDescription& getEntityGroupInfo() const { return m_entityGroupInfo; }
    const FieldDescription& getDescriptorGroupInfo() const { return m_descriptorGroupInfo; }
    int setLegacyMetricType(RealTableClass tableClass);
    RealTableClass getLegacyMetricType() const { return m_legacyTableClass; }
    int setSuppressEntityInfoInSummary(bool suppress);
    bool getSuppressEntityInfoInSummary() const { return m_suppressEntityInfoInSummary; }
    // Only SampledResidency metrics select a timeline table; other types
    // keep NONE after a warning.
    int setTimelineTableToDisplay(TimelineTableType type);
    TimelineTableType getTimelineTableToDisplay() const { return m_timelineTable; }

    // Adds the metric's fixed rows to table, which stays the caller's: every
    // entity the metric has seen or was told of (setEntityDescriptorCombinations)
    // becomes a row. The table must not be created yet; null, or a created
    // table, is refused with a warning and 1. The metric keeps a copy of the
    // last such table, which writers find in the container information
    // message.
    int addStaticTableRowInfo(TableMessage* table);
    const TableMessage* getStaticTableRowInfo() const { return m_staticRowInfo.get(); }

  private:
    // Per entity: the timestamp of its last sampling point and of the point
    // it was last given a sample for (which becomes the last sampling point
    // once a sample opens a newer point). An entity has an entry once it has
    // been seen.
    struct EntityTiming {
        uint64_t lastSamplingPoint = 0;
        uint64_t currentPoint = 0;
    };
    // Per entity while a residency point is checked.
    struct ResidencyCheck {
        const EntityHandle* entity;
        uint64_t duration;
        uint64_t sum;
    };

    // Takes the writer stream, reads the container's table types from the
    // output configuration and creates the accumulator of the metric type
    // with the summaries they name. Throws as the constructor says.
    void init();
    int pushToStream();
    // Settles the duration of an accepted sampled element. False when the
    // element is to be discarded.
    bool settleSampledDuration_i(const DataElement& element, const char* descriptorName,
                                 uint64_t timestamp, uint64_t elapsed, uint64_t sinceEntity,
                                 uint64_t duration, uint64_t& valid);
    uint64_t settleTracedDuration_i(const DataElement& element, const char* descriptorName,
                                    uint64_t elapsed, uint64_t duration);
    // Whether the buffered residency point is consistent (see pushToStream).
    bool checkResidencyPoint_i();
    // The descriptor outside viewers see for elements without one.
    const DataDescriptor* getDefaultViewerDescriptor_i();

    std::string m_name;
    const Quantity* m_quantity;
    std::vector<const EntityHandle*> m_entities;
    // Last accepted timestamp per (entity, descriptor), by statistics key.
    std::unordered_map<uint64_t, uint64_t> m_lastSampleTimestamps;
    // Sampling points per entity id.
    std::unordered_map<uint64_t, EntityTiming> m_entityTimings;
    const SystemMetadata* m_system;
    bool m_noDataYet;
    uint64_t m_lastTimestamp;
    uint64_t m_currentTimestamp;
    std::vector<Accumulator*> m_accumulators;
    std::vector<const DataDescriptor*> m_finiteSetValues;
    FieldDescription m_valueGroupInfo;
    FieldDescription m_entityGroupInfo;
    FieldDescription m_descriptorGroupInfo;
    RealTableClass m_legacyTableClass;
    MetricType m_metricType;
    bool m_accumulatorsNeedInit;
    DataPoint m_bufferedData;
    WriterStream* m_writerStream;
    std::string m_featureTag;
    std::string m_containerTag;
    std::vector<EntityDescCombo> m_entityDescCombos;
    TimelineTableType m_timelineTable;
    bool m_suppressEntityInfoInSummary;
    std::unique_ptr<TableMessage> m_staticRowInfo;
    const DataDescriptor* m_defaultViewerDescriptor;
    std::vector<ResidencyCheck> m_residencyScratch;
};

using MetricType = Metric::MetricType;

}  // namespace pwr
