#include "common/data/DataHandle.h"

#include "common/runtime/Log.h"

namespace pwr {

DataHandle::DataHandle(const Description& description, DataHandleType type)
    : m_name(description.getName()),
      m_fieldName(description.getFieldName()),
      m_shortName(description.getShortName()),
      m_description(description.getDescription()),
      m_header(description.getHeader()),
      m_handleType(type) {}

DataHandle::~DataHandle() = default;

std::string DataHandle::getQualifiedName() const {
    return m_name;
}

int DataHandle::get(uint64_t id, const DataHandle*& out) {
    const UniqueId* object = UniqueId::find(id);
    if (object == nullptr) {
        pwLog(PW_WARNING, "WARNING: Handle id %llu not found in UniqueId map\n",
              static_cast<unsigned long long>(id));
        return 1;
    }
    if (object->getIdType() != UniqueIdType::DATA_HANDLE) {
        out = nullptr;
        pwLog(PW_WARNING, "WARNING: UniqueId isn't a DataHandle type\n");
        return 1;
    }
    out = static_cast<const DataHandle*>(object);
    return 0;
}

}  // namespace pwr
