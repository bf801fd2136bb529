// Serializer: the byte buffer through which every persistent or transferred
// record of the library is written and read (metadata records, the topology
// tree, topology-change records).
//
// It is a growable array of bytes with two independent cursors, one for
// writing and one for reading. Records write their fields in their own fixed
// order with the typed helpers and read them back in the same order; the
// buffer holds no tags or versions of its own.
//
// Encoding, identical on every host: scalars are little-endian with no
// alignment or padding (1 byte for bool and 8-bit integers, 2 for 16-bit, 4
// for 32-bit and float, 8 for 64-bit and double, floating point as its raw
// IEEE-754 bits); a bool is the byte 0 or 1. A string is an unsigned 16-bit
// length followed by that many bytes, no terminator. Records should use the
// fixed-width integer types: `long` is 4 bytes on Windows and 8 on Linux.
//
// Reads never go past the end of the vector: a read that does not fit returns
// 0 and leaves its target untouched. Writes grow the vector and never fail
// except by running out of memory (std::bad_alloc propagates).
//
// Ownership: the object owns its bytes and is a value type. Threads: no
// locking; one object must not be used from two threads at once.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <type_traits>
#include <vector>

#include "common/runtime/Export.h"

namespace pwr {

namespace detail {

// The scalar types that Serializer reads and writes.
template <typename T>
constexpr bool isSerializerScalar = std::is_arithmetic_v<T> && (sizeof(T) == 1 || sizeof(T) == 2 ||
                                                                sizeof(T) == 4 || sizeof(T) == 8);

// The value's bytes as an unsigned number whose low sizeof(T) bytes, least
// significant first, are the wire form.
template <typename T>
uint64_t toWireBits(T value) {
    if constexpr (std::is_same_v<T, bool>) {
        return value ? 1u : 0u;
    } else if constexpr (std::is_floating_point_v<T>) {
        std::conditional_t<sizeof(T) == 4, uint32_t, uint64_t> raw;
        static_assert(sizeof(raw) == sizeof(T), "float and double must be IEEE-754");
        std::memcpy(&raw, &value, sizeof(T));
        return raw;
    } else {
        return static_cast<uint64_t>(static_cast<std::make_unsigned_t<T>>(value));
    }
}

template <typename T>
T fromWireBits(uint64_t bits) {
    if constexpr (std::is_same_v<T, bool>) {
        // Damaged input may hold any byte here; anything but 0 is true, and
        // no invalid bool value is ever created.
        return bits != 0;
    } else if constexpr (std::is_floating_point_v<T>) {
        std::conditional_t<sizeof(T) == 4, uint32_t, uint64_t> raw =
            static_cast<std::conditional_t<sizeof(T) == 4, uint32_t, uint64_t>>(bits);
        T value;
        std::memcpy(&value, &raw, sizeof(T));
        return value;
    } else {
        return static_cast<T>(static_cast<std::make_unsigned_t<T>>(bits));
    }
}

}  // namespace detail

class PWR_API Serializer {
  public:
    // n zero bytes of storage, both cursors at 0.
    explicit Serializer(size_t n = 0);
    // Copies bytes as the storage, both cursors at 0: the whole vector is
    // readable, while size() stays 0 until something is written (and writes
    // then overwrite it from the start).
    explicit Serializer(const std::vector<char>& bytes);
    Serializer(const Serializer& other);
    // Takes the other's bytes and copies its cursors; the other's vector is
    // left empty but its cursors keep their values.
    Serializer(Serializer&& other) noexcept;
    Serializer& operator=(const Serializer& other);
    Serializer& operator=(Serializer&& other) noexcept;
    ~Serializer();

    // Appends n bytes at the write cursor; nothing happens when data is null
    // or n is 0.
    void write_to(const void* data, size_t n);
    // Copies n bytes from the read cursor into dest and advances it; returns
    // n. Returns 0 and changes nothing when fewer than n bytes remain before
    // the end of the vector (or dest is null).
    size_t read_from(void* dest, size_t n);
    // Moves the read cursor back by n bytes. Moving before the start is
    // refused with a warning and leaves the cursor where it is.
    void rewind_read(size_t n);

    // The number of bytes written so far (the write cursor).
    size_t size() const { return static_cast<size_t>(write_pos); }
    bool empty() const { return write_pos == 0; }

    // Trims the storage to exactly the written bytes, releasing the spare
    // room and capacity, and returns it: the finished record for a file or
    // another process.
    const std::vector<char>& get_buffer();

    // A copy of len bytes of src with a terminating zero byte, allocated with
    // malloc (the caller frees it with free); null when src is null or the
    // allocation fails.
    static char* read_string(const char* src, size_t len);

    // Scalars: bool, char, 8/16/32/64-bit signed and unsigned integers, float
    // and double.
    template <typename T, typename = std::enable_if_t<detail::isSerializerScalar<T>>>
    void write(T value) {
        writeBits_i(detail::toWireBits(value), sizeof(T));
    }
    // Returns the number of bytes read, or 0 (value untouched, cursor not
    // moved) when fewer than sizeof(T) bytes remain.
    template <typename T, typename = std::enable_if_t<detail::isSerializerScalar<T>>>
    size_t read(T& value) {
        uint64_t bits = 0;
        if (!readBits_i(bits, sizeof(T))) {
            return 0;
        }
        value = detail::fromWireBits<T>(bits);
        return sizeof(T);
    }

    // The 16-bit length (the string's length cut to its low 16 bits) and then
    // every byte of the string. Strings of 65,536 bytes or more therefore get
    // a prefix that does not match their body; records must keep strings
    // shorter than that.
    void write(const std::string& value);
    // Appends the string's bytes to value and returns their number. Returns 0
    // with value untouched when the length field is missing (cursor not
    // moved), when the length is 0 (an empty string reads like a missing one),
    // or when the body is cut short (cursor left just after the length field).
    size_t read(std::string& value);

  private:
    // Stores the low width bytes of bits, least significant first, growing
    // the vector as needed.
    void writeBits_i(uint64_t bits, size_t width);
    // Loads width bytes into bits; false (nothing changed) when they are not
    // all there.
    bool readBits_i(uint64_t& bits, size_t width);
    // Grows until n more bytes fit after the write cursor.
    void reserveForWrite_i(size_t n);

    // Doubles the vector's size (128 bytes when empty); new bytes are zero.
    void grow_i();
    // Vector size minus the write cursor.
    size_t space_avail_i() const;
    // Vector size minus the read cursor. Measured against the vector and not
    // the write cursor on purpose: a buffer built from received bytes has
    // written nothing, yet all of it must be readable, and a buffer being
    // written reports its zero-filled spare room as readable too.
    size_t data_avail_i() const;

    std::vector<char> buffer;
    uint64_t write_pos;
    uint64_t read_pos;
};

}  // namespace pwr
