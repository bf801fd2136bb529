// Helpers of the serialize tests: expected byte streams spelled out field by
// field, records written to bytes, and seeded damaged inputs for the readers.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "common/serialize/Metadata.h"
#include "common/serialize/Serializer.h"

namespace pwr::test {

// An expected byte stream, little-endian, built independently of Serializer.
struct Bytes {
    std::vector<char> data;
    Bytes& u8(uint8_t v) { return put(v, 1); }
    Bytes& u16(uint16_t v) { return put(v, 2); }
    Bytes& u32(uint32_t v) { return put(v, 4); }
    Bytes& i32(int32_t v) { return put(static_cast<uint32_t>(v), 4); }
    Bytes& u64(uint64_t v) { return put(v, 8); }
    Bytes& f32(float v) {
        uint32_t bits = 0;
        std::memcpy(&bits, &v, sizeof(bits));
        return put(bits, 4);
    }
    Bytes& str(const std::string& s) {
        u16(static_cast<uint16_t>(s.size()));
        data.insert(data.end(), s.begin(), s.end());
        return *this;
    }
    Bytes& put(uint64_t v, int width) {
        for (int i = 0; i < width; ++i) {
            data.push_back(static_cast<char>((v >> (8 * i)) & 0xFF));
        }
        return *this;
    }
};

inline std::vector<char> written(const Metadata& record) {
    Serializer out;
    record.serialize(out);
    return out.get_buffer();
}

// The first length bytes of bytes (all of them by default).
inline std::vector<char> cut(const std::vector<char>& bytes, size_t length = SIZE_MAX) {
    return std::vector<char>(bytes.begin(), bytes.begin() + std::min(length, bytes.size()));
}

// Hands read 4000 seeded inputs and returns how many it accepted. Half are
// valid records with a few bytes changed (the type code too) and maybe cut
// short; half are noise behind the type code of a valid record, often of
// small values, which make plausible codes, counts and lengths.
template <typename Read>
int readDamaged(uint32_t seed, const std::vector<std::vector<char>>& valid, Read read) {
    std::mt19937 random(seed);
    int accepted = 0;
    for (int round = 0; round < 4000; ++round) {
        std::vector<char> bytes = valid[random() % valid.size()];
        if (round % 2 == 0) {
            for (int flips = 1 + static_cast<int>(random() % 4); flips > 0; --flips) {
                bytes[random() % bytes.size()] = static_cast<char>(random());
            }
            if (random() % 2 == 0) {
                bytes.resize(random() % bytes.size());
            }
        } else {
            bytes.resize(4);
            const uint32_t range = round % 4 == 1 ? 8 : 256;
            for (size_t n = random() % 400; n > 0; --n) {
                bytes.push_back(static_cast<char>(random() % range));
            }
        }
        accepted += read(bytes) ? 1 : 0;
    }
    return accepted;
}

}  // namespace pwr::test
