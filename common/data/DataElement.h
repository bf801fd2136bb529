// DataElement: one sample as a metric plug-in hands it to a Metric: the
// entity it was measured on, the descriptor it is about, the measured value,
// optional additional information and, once the metric has accepted it, its
// duration in clock ticks.
//
// Ownership: the element owns its value. A producer puts a value in with
// setValue, which stores a copy; the element releases it when it is
// destroyed. The entity, the descriptors and the additional information are
// only pointed to (registered handles, or an information holder the producer
// keeps alive).
//
// Copying follows two different rules on purpose:
// - the copy constructor gives the copy a value of its own (the metric keeps
//   copies of the elements it buffers, independent of the producer's);
// - copy assignment shares the value: afterwards both elements refer to the
//   same Data, getValue() returns the same pointer for both. The value is
//   held in shared ownership, so it is released once, by the last element
//   that refers to it.
// setValue writes into the value in place when this element alone holds it,
// and otherwise gives this element a new value, so an element reused for
// every sample does not allocate per sample and never changes the value of
// an element it shares with.
//
// Threads: no locking; an element belongs to one thread at a time.
#pragma once

#include <cstdint>
#include <memory>

#include "common/runtime/Export.h"

namespace pwr {

class Data;
class DataDescriptor;
class DynamicAttributeValueManager;
class EntityHandle;

class PWR_API DataElement {
  public:
    // The descriptor is also the viewer descriptor; no value, no additional
    // information, duration 0.
    DataElement(const EntityHandle* entity, const DataDescriptor* descriptor);
    ~DataElement();
    // Copies every member and gives the copy its own copy of the value. A
    // source without a value yields a copy without one.
    DataElement(const DataElement& other);
    // Copies every member as it is: the value is shared afterwards.
    DataElement& operator=(const DataElement& other);
    DataElement(DataElement&& other) noexcept;
    DataElement& operator=(DataElement&& other) noexcept;

    // 0, or 1 with a warning when entity is null.
    int setEntity(const EntityHandle* entity);
    // Sets both the descriptor and the viewer descriptor: 0, or 1 with a
    // warning when descriptor is null.
    int setDescriptor(const DataDescriptor* descriptor);
    // Sets only the descriptor that outside trace viewers see, leaving the
    // descriptor that keys the sample alone: 0, or 1 with a warning when
    // descriptor is null.
    int setViewerDescriptor(const DataDescriptor* descriptor);
    // Attaches information the producer keeps alive (not owned): 0, or 1
    // with a warning when info is null.
    int setAdditionalInfo(const DynamicAttributeValueManager* info);
    // Stores a copy of value as the element's value. Returns 0.
    int setValue(const Data& value);
    // The duration in clock ticks; set by the metric that accepts the sample.
    void setDuration(uint64_t duration) { m_duration = duration; }

    const EntityHandle* getEntity() const { return m_entity; }
    const DataDescriptor* getDescriptor() const { return m_descriptor; }
    const DataDescriptor* getViewerDescriptor() const { return m_viewerDescriptor; }
    const DynamicAttributeValueManager* getAdditionalInfo() const { return m_additionalInfo; }
    uint64_t getDuration() const { return m_duration; }
    // The value, or null with a warning when none is set.
    const Data* getValue() const;
    // Whether a value is set (no warning).
    bool hasValue() const { return m_value != nullptr; }

  private:
    const EntityHandle* m_entity;
    const DataDescriptor* m_descriptor;
    std::shared_ptr<Data> m_value;
    const DynamicAttributeValueManager* m_additionalInfo;
    uint64_t m_duration;
    const DataDescriptor* m_viewerDescriptor;
};

}  // namespace pwr
