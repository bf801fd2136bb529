#include "common/serialize/MsgMetadata.h"

#include <cstdint>
#include <memory>
#include <utility>

#include "common/serialize/Serializer.h"

namespace pwr {

MsgMetadata::MsgMetadata(int pluginID, int metricID, int msgID)
    : Metadata(c_msgMetadataType), m_pluginID(pluginID), m_metricID(metricID), m_msgID(msgID) {}

MsgMetadata::MsgMetadata(const MsgMetadata& other)
    : Metadata(other),
      m_pluginID(other.m_pluginID),
      m_metricID(other.m_metricID),
      m_msgID(other.m_msgID),
      m_capName(other.m_capName),
      m_capGroups(other.m_capGroups),
      m_msgName(other.m_msgName),
      m_triggers(other.m_triggers),
      m_tracepointNames(other.m_tracepointNames) {
    m_metaValues.reserve(other.m_metaValues.size());
    for (const OperationMetadata* op : other.m_metaValues) {
        m_metaValues.push_back(new OperationMetadata(*op));
    }
}

MsgMetadata::MsgMetadata(MsgMetadata&& other) noexcept : MsgMetadata(-1, -1, -1) {
    swap(other);
}

MsgMetadata& MsgMetadata::operator=(const MsgMetadata& other) {
    if (this != &other) {
        MsgMetadata copy(other);
        swap(copy);
    }
    return *this;
}

MsgMetadata& MsgMetadata::operator=(MsgMetadata&& other) noexcept {
    if (this != &other) {
        MsgMetadata taken(std::move(other));
        swap(taken);
    }
    return *this;
}

MsgMetadata::~MsgMetadata() {
    clearMetaValues_i();
}

void MsgMetadata::swap(MsgMetadata& other) noexcept {
    std::swap(m_pluginID, other.m_pluginID);
    std::swap(m_metricID, other.m_metricID);
    std::swap(m_msgID, other.m_msgID);
    m_capName.swap(other.m_capName);
    m_capGroups.swap(other.m_capGroups);
    m_msgName.swap(other.m_msgName);
    m_metaValues.swap(other.m_metaValues);
    m_triggers.swap(other.m_triggers);
    m_tracepointNames.swap(other.m_tracepointNames);
}

int MsgMetadata::getPluginID() const {
    return m_pluginID;
}

void MsgMetadata::addMetaValue(const OperationMetadata* value) {
    if (value != nullptr) {
        m_metaValues.push_back(value);
    }
}

void MsgMetadata::clearMetaValues_i() {
    for (const OperationMetadata* op : m_metaValues) {
        delete op;
    }
    m_metaValues.clear();
}

void MsgMetadata::serialize_i(Serializer& ser) const {
    ser.write(static_cast<int32_t>(m_pluginID));
    ser.write(static_cast<int32_t>(m_metricID));
    ser.write(static_cast<int32_t>(m_msgID));
    ser.write(m_capName);
    writeStrings_i(ser, m_capGroups);
    ser.write(m_msgName);
    const uint16_t count = writableCount_i(m_metaValues.size());
    ser.write(count);
    for (uint16_t i = 0; i < count; ++i) {
        m_metaValues[i]->serialize(ser);
    }
    writeStrings_i(ser, m_triggers);
    writeStrings_i(ser, m_tracepointNames);
}

int MsgMetadata::deserialize_i(Serializer& ser, unsigned version) {
    // Read into a fresh record and take it over only when all of it is there.
    MsgMetadata read(-1, -1, -1);
    int32_t pluginID = 0;
    int32_t metricID = 0;
    int32_t msgID = 0;
    uint16_t count = 0;
    if (ser.read(pluginID) == 0 || ser.read(metricID) == 0 || ser.read(msgID) == 0 ||
        ser.read(read.m_capName) == 0 || readStrings_i(ser, read.m_capGroups) != 0 ||
        ser.read(read.m_msgName) == 0 || ser.read(count) == 0) {
        return -1;
    }
    read.m_pluginID = pluginID;
    read.m_metricID = metricID;
    read.m_msgID = msgID;
    for (uint16_t i = 0; i < count; ++i) {
        // Nested records go through the factory, which names an unknown
        // type code; only operation records are accepted. A nested message
        // record is refused before it is read, which keeps a hostile file
        // from nesting message records without end.
        uint32_t type = 0;
        if (ser.read(type) == 0 || type == c_msgMetadataType) {
            return -1;
        }
        ser.rewind_read(sizeof(type));
        std::unique_ptr<Metadata> nested(Metadata::deserialize(ser, version));
        auto* op = dynamic_cast<OperationMetadata*>(nested.get());
        if (op == nullptr) {
            return -1;
        }
        read.m_metaValues.push_back(op);
        static_cast<void>(nested.release());
    }
    if (readStrings_i(ser, read.m_triggers) != 0 ||
        readStrings_i(ser, read.m_tracepointNames) != 0) {
        return -1;
    }
    swap(read);
    return 0;
}

}  // namespace pwr
