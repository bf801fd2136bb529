#include "common/serialize/OperationMetadata.h"

#include "common/runtime/Log.h"
#include "common/serialize/Serializer.h"

namespace pwr {

OperationMetadata::OperationMetadata(const std::string& name, const std::string& operation,
                                     unsigned size)
    : Metadata(c_operationMetadataType),
      m_name(name),
      m_operation(operation),
      m_size(static_cast<uint32_t>(size)) {}

OperationMetadata::~OperationMetadata() = default;

void OperationMetadata::serialize_i(Serializer& ser) const {
    ser.write(m_name);
    ser.write(m_operation);
    ser.write(m_size);
    ser.write(m_orgMsgTag);
}

int OperationMetadata::deserialize_i(Serializer& ser, unsigned /*version*/) {
    std::string name;
    std::string operation;
    uint32_t size = 0;
    if (ser.read(name) == 0 || ser.read(operation) == 0 || ser.read(size) == 0) {
        return -1;
    }
    std::string tag;
    if (ser.read(tag) == 0) {
        pwLog(PW_WARNING, "WARNING: couldn't extract org msg tag!\n");
    } else {
        pwLog(PW_DEBUG, "DEBUG: OK, read org msg tag = %s\n", tag.c_str());
    }
    m_name.swap(name);
    m_operation.swap(operation);
    m_size = size;
    m_orgMsgTag.swap(tag);
    return 0;
}

}  // namespace pwr
