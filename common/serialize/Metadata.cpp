#include "common/serialize/Metadata.h"

#include <cstdio>
#include <memory>

#include "common/runtime/Log.h"
#include "common/serialize/CollectorMetadata.h"
#include "common/serialize/MetricMetadata.h"
#include "common/serialize/MsgMetadata.h"
#include "common/serialize/OperationMetadata.h"
#include "common/serialize/Serializer.h"
#include "common/serialize/SystemMetadata.h"

namespace pwr {

Metadata::~Metadata() = default;

int Metadata::getPluginID() const {
    return -1;
}

// Out-of-line definitions, so that the constants can be bound to references
// (the Windows DLL must export them).
constexpr uint32_t Metadata::c_msgMetadataType;
constexpr uint32_t Metadata::c_metricMetadataType;
constexpr uint32_t Metadata::c_systemMetadataType;
constexpr uint32_t Metadata::c_operationMetadataType;
constexpr uint32_t Metadata::c_collectorMetadataType;
constexpr size_t Metadata::c_maxCount;

void Metadata::serialize(Serializer& ser) const {
    ser.write(m_metadataDataType);
    serialize_i(ser);
}

Metadata* Metadata::deserialize(Serializer& ser, unsigned version) {
    uint32_t type = 0;
    if (ser.read(type) == 0) {
        return nullptr;
    }
    std::unique_ptr<Metadata> record(create_i(type));
    if (!record) {
        // Straight to the standard error stream: a reader of a damaged file
        // sees this even before any logger is set up.
        std::fprintf(stderr, "ERROR: unsupported Metadata Data Type %u\n",
                     static_cast<unsigned>(type));
        std::fflush(stderr);
        return nullptr;
    }
    if (record->deserialize_i(ser, version) != 0) {
        return nullptr;
    }
    return record.release();
}

Metadata* Metadata::create_i(uint32_t type) {
    switch (type) {
        case c_msgMetadataType:
            return new MsgMetadata(-1, -1, -1);
        case c_metricMetadataType:
            return new MetricMetadata(-1, -1);
        case c_operationMetadataType:
            return new OperationMetadata(std::string(), std::string(), 0);
        case c_collectorMetadataType:
            return new CollectorMetadata(std::string());
        case c_systemMetadataType:
            return new SystemMetadata();
        default:
            return nullptr;
    }
}

uint16_t Metadata::writableCount_i(size_t count) {
    if (count > c_maxCount) {
        pwLog(PW_WARNING,
              "WARNING: only the first %zu of %zu entries are written; the count field holds 16 "
              "bits!\n",
              c_maxCount, count);
        return static_cast<uint16_t>(c_maxCount);
    }
    return static_cast<uint16_t>(count);
}

void Metadata::writeStrings_i(Serializer& ser, const std::set<std::string>& strings) {
    const uint16_t count = writableCount_i(strings.size());
    ser.write(count);
    auto it = strings.begin();
    for (uint16_t i = 0; i < count; ++i, ++it) {
        ser.write(*it);
    }
}

void Metadata::writePairs_i(Serializer& ser,
                            const std::vector<std::pair<std::string, std::string>>& pairs) {
    const uint16_t count = writableCount_i(pairs.size());
    ser.write(count);
    for (uint16_t i = 0; i < count; ++i) {
        ser.write(pairs[i].first);
        ser.write(pairs[i].second);
    }
}

int Metadata::readStrings_i(Serializer& ser, std::set<std::string>& out) {
    uint16_t count = 0;
    if (ser.read(count) == 0) {
        return -1;
    }
    // No reservation up front: the count comes from the file, and each entry
    // must be present (at least three bytes) before it is stored.
    std::set<std::string> strings;
    for (uint16_t i = 0; i < count; ++i) {
        std::string s;
        if (ser.read(s) == 0) {
            return -1;
        }
        strings.insert(std::move(s));
    }
    out.swap(strings);
    return 0;
}

int Metadata::readPairs_i(Serializer& ser, std::vector<std::pair<std::string, std::string>>& out,
                          const char* kind) {
    uint16_t count = 0;
    if (ser.read(count) == 0) {
        pwLog(PW_WARNING,
              "WARNING: ERROR reading map size while deserializing %s metadata message!\n", kind);
        return -1;
    }
    // Grown pair by pair: the count comes from the file and is trusted only
    // as far as the pairs are really there.
    std::vector<std::pair<std::string, std::string>> pairs;
    for (uint16_t i = 0; i < count; ++i) {
        std::string key;
        std::string value;
        if (ser.read(key) == 0) {
            pwLog(PW_WARNING,
                  "WARNING: ERROR reading key while deserializing %s metadata message!\n", kind);
            return -1;
        }
        if (ser.read(value) == 0) {
            pwLog(PW_WARNING,
                  "WARNING: ERROR reading value while deserializing %s metadata message!\n", kind);
            return -1;
        }
        pairs.emplace_back(std::move(key), std::move(value));
    }
    out.swap(pairs);
    return 0;
}

}  // namespace pwr
