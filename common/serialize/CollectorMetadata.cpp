#include "common/serialize/CollectorMetadata.h"

#include <cstdint>
#include <utility>

#include "common/runtime/Log.h"
#include "common/serialize/Serializer.h"

namespace pwr {

CollectorMetadata::CollectorMetadata(std::string name)
    : Metadata(c_collectorMetadataType), m_name(std::move(name)) {}

CollectorMetadata::~CollectorMetadata() = default;

void CollectorMetadata::addValue(const std::string& key, const std::string& value) {
    m_values.emplace_back(key, value);
}

void CollectorMetadata::serialize_i(Serializer& ser) const {
    ser.write(m_name);
    writePairs_i(ser, m_values);
}

int CollectorMetadata::deserialize_i(Serializer& ser, unsigned /*version*/) {
    std::string name;
    if (ser.read(name) == 0) {
        pwLog(PW_WARNING,
              "WARNING: ERROR reading name while deserializing collector metadata message!\n");
        return -1;
    }
    Values values;
    if (readPairs_i(ser, values, "collector") != 0) {
        return -1;
    }
    m_name.swap(name);
    m_values.swap(values);
    return 0;
}

}  // namespace pwr
