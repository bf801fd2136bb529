#include "common/data/DataElement.h"

#include <utility>

#include "common/data/Data.h"
#include "common/runtime/Log.h"

namespace pwr {

DataElement::DataElement(const EntityHandle* entity, const DataDescriptor* descriptor)
    : m_entity(entity),
      m_descriptor(descriptor),
      m_value(),
      m_additionalInfo(nullptr),
      m_duration(0),
      m_viewerDescriptor(descriptor) {}

DataElement::~DataElement() = default;

DataElement::DataElement(const DataElement& other)
    : m_entity(other.m_entity),
      m_descriptor(other.m_descriptor),
      m_value(other.m_value ? std::make_shared<Data>(*other.m_value) : nullptr),
      m_additionalInfo(other.m_additionalInfo),
      m_duration(other.m_duration),
      m_viewerDescriptor(other.m_viewerDescriptor) {}

DataElement& DataElement::operator=(const DataElement& other) {
    m_entity = other.m_entity;
    m_descriptor = other.m_descriptor;
    m_value = other.m_value;
    m_additionalInfo = other.m_additionalInfo;
    m_duration = other.m_duration;
    m_viewerDescriptor = other.m_viewerDescriptor;
    return *this;
}

DataElement::DataElement(DataElement&& other) noexcept = default;

DataElement& DataElement::operator=(DataElement&& other) noexcept = default;

int DataElement::setEntity(const EntityHandle* entity) {
    if (entity == nullptr) {
        pwLog(PW_WARNING, "WARNING: Please provide a valid entity.\n");
        return 1;
    }
    m_entity = entity;
    return 0;
}

int DataElement::setDescriptor(const DataDescriptor* descriptor) {
    if (descriptor == nullptr) {
        pwLog(PW_WARNING, "WARNING: Please provide a valid descriptor.\n");
        return 1;
    }
    m_descriptor = descriptor;
    m_viewerDescriptor = descriptor;
    return 0;
}

int DataElement::setViewerDescriptor(const DataDescriptor* descriptor) {
    if (descriptor == nullptr) {
        pwLog(PW_WARNING, "WARNING: Please provide a valid descriptor.\n");
        return 1;
    }
    m_viewerDescriptor = descriptor;
    return 0;
}

int DataElement::setAdditionalInfo(const DynamicAttributeValueManager* info) {
    if (info == nullptr) {
        pwLog(PW_WARNING, "WARNING: Please provide a valid DynamicAttributeValueManager.\n");
        return 1;
    }
    m_additionalInfo = info;
    return 0;
}

int DataElement::setValue(const Data& value) {
    if (m_value != nullptr && m_value.use_count() == 1) {
        // Copy-construct and move in rather than assign: assignment would
        // share value's custom formatter, a copy gets a formatter of its own.
        *m_value = Data(value);
    } else {
        m_value = std::make_shared<Data>(value);
    }
    return 0;
}

const Data* DataElement::getValue() const {
    if (m_value == nullptr) {
        pwLog(PW_WARNING,
              "WARNING: Value is not set in the DataElement object. Returning an invalid Data "
              "object.\n");
        return nullptr;
    }
    return m_value.get();
}

}  // namespace pwr
