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
    uint16_t count = 0;
    if (ser.read(name) == 0) {
        pwLog(PW_WARNING,
              "WARNING: ERROR reading name while deserializing collector metadata message!\n");
        return -1;
    }
    if (ser.read(count) == 0) {
        pwLog(PW_WARNING,
              "WARNING: ERROR reading map size while deserializing collector metadata message!\n");
        return -1;
    }
    // Grown pair by pair: the count comes from the file and is trusted only
    // as far as the pairs are really there.
    Values values;
    for (uint16_t i = 0; i < count; ++i) {
        std::string key;
        std::string value;
        if (ser.read(key) == 0) {
            pwLog(PW_WARNING,
                  "WARNING: ERROR reading key while deserializing collector metadata message!\n");
            return -1;
        }
        if (ser.read(value) == 0) {
            pwLog(PW_WARNING,
                  "WARNING: ERROR reading value while deserializing collector metadata "
                  "message!\n");
            return -1;
        }
        values.emplace_back(std::move(key), std::move(value));
    }
    m_name.swap(name);
    m_values.swap(values);
    return 0;
}

}  // namespace pwr
