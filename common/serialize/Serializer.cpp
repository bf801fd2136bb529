#include "common/serialize/Serializer.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <utility>

#include "common/runtime/Log.h"

namespace pwr {

namespace {

// The size a buffer starts with on its first write.
constexpr size_t c_initialSize = 128;

}  // namespace

Serializer::Serializer(size_t n) : buffer(n, 0), write_pos(0), read_pos(0) {}

Serializer::Serializer(const std::vector<char>& bytes) : buffer(bytes), write_pos(0), read_pos(0) {}

Serializer::Serializer(const Serializer& other) = default;

Serializer::Serializer(Serializer&& other) noexcept
    : buffer(std::move(other.buffer)), write_pos(other.write_pos), read_pos(other.read_pos) {
    other.buffer.clear();
}

Serializer& Serializer::operator=(const Serializer& other) = default;

Serializer& Serializer::operator=(Serializer&& other) noexcept {
    if (this != &other) {
        buffer = std::move(other.buffer);
        other.buffer.clear();
        write_pos = other.write_pos;
        read_pos = other.read_pos;
    }
    return *this;
}

Serializer::~Serializer() = default;

void Serializer::write_to(const void* data, size_t n) {
    if (data == nullptr || n == 0) {
        return;
    }
    reserveForWrite_i(n);
    std::memcpy(buffer.data() + write_pos, data, n);
    write_pos += n;
}

size_t Serializer::read_from(void* dest, size_t n) {
    if (n == 0 || dest == nullptr || data_avail_i() < n) {
        return 0;
    }
    std::memcpy(dest, buffer.data() + read_pos, n);
    read_pos += n;
    return n;
}

void Serializer::rewind_read(size_t n) {
    if (n > read_pos) {
        pwLog(PW_WARNING,
              "WARNING: trying to rewind %zu bytes, but only %zu bytes actually read!\n", n,
              static_cast<size_t>(read_pos));
        return;
    }
    read_pos -= n;
}

const std::vector<char>& Serializer::get_buffer() {
    // A fresh vector rather than resize + shrink_to_fit, whose release of the
    // capacity is only a request. A moved-from object may have a write cursor
    // beyond its (empty) vector: the missing bytes come back as zeros, so the
    // result always holds size() bytes.
    std::vector<char> trimmed(static_cast<size_t>(write_pos), 0);
    const size_t kept = std::min(trimmed.size(), buffer.size());
    if (kept > 0) {
        std::memcpy(trimmed.data(), buffer.data(), kept);
    }
    buffer.swap(trimmed);
    return buffer;
}

char* Serializer::read_string(const char* src, size_t len) {
    if (src == nullptr || len == SIZE_MAX) {
        return nullptr;
    }
    char* copy = static_cast<char*>(std::malloc(len + 1));
    if (copy == nullptr) {
        return nullptr;
    }
    if (len > 0) {
        std::memcpy(copy, src, len);
    }
    copy[len] = '\0';
    return copy;
}

void Serializer::write(const std::string& value) {
    write(static_cast<uint16_t>(value.size() & 0xFFFFu));
    write_to(value.data(), value.size());
}

size_t Serializer::read(std::string& value) {
    uint16_t length = 0;
    if (read(length) == 0 || length == 0) {
        return 0;
    }
    if (data_avail_i() < length) {
        return 0;
    }
    value.append(buffer.data() + read_pos, length);
    read_pos += length;
    return length;
}

void Serializer::writeBits_i(uint64_t bits, size_t width) {
    reserveForWrite_i(width);
    char* out = buffer.data() + write_pos;
    for (size_t i = 0; i < width; ++i) {
        out[i] = static_cast<char>(static_cast<unsigned char>(bits >> (8 * i)));
    }
    write_pos += width;
}

bool Serializer::readBits_i(uint64_t& bits, size_t width) {
    if (data_avail_i() < width) {
        return false;
    }
    const char* in = buffer.data() + read_pos;
    uint64_t value = 0;
    for (size_t i = 0; i < width; ++i) {
        value |= static_cast<uint64_t>(static_cast<unsigned char>(in[i])) << (8 * i);
    }
    bits = value;
    read_pos += width;
    return true;
}

void Serializer::reserveForWrite_i(size_t n) {
    while (space_avail_i() < n) {
        grow_i();
    }
}

void Serializer::grow_i() {
    buffer.resize(buffer.empty() ? c_initialSize : buffer.size() * 2, 0);
}

size_t Serializer::space_avail_i() const {
    return write_pos < buffer.size() ? buffer.size() - static_cast<size_t>(write_pos) : 0;
}

size_t Serializer::data_avail_i() const {
    return read_pos < buffer.size() ? buffer.size() - static_cast<size_t>(read_pos) : 0;
}

}  // namespace pwr
