// VexaBuffer: the bytes a collector plug-in hands back from a continuous
// collection (getContinuousResult), as the driver produced them. The host
// writes them to the result file unchanged; writer plug-ins decode them.
//
// A value type that owns its bytes. Not thread-safe: one thread fills a
// buffer, others may read it afterwards.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "common/runtime/Export.h"

namespace pwr {

class PWR_API VexaBuffer {
  public:
    VexaBuffer() = default;
    explicit VexaBuffer(size_t capacity);
    VexaBuffer(const VexaBuffer&) = default;
    VexaBuffer(VexaBuffer&&) = default;
    VexaBuffer& operator=(const VexaBuffer&) = default;
    VexaBuffer& operator=(VexaBuffer&&) = default;
    ~VexaBuffer();

    // Copies size bytes to the end. A null source with a non-zero size
    // appends nothing and returns false.
    bool append(const void* bytes, size_t size);
    // Grows or shrinks to size bytes; new bytes are zero. For callers that
    // let the driver write into data() directly.
    void resize(size_t size) { m_bytes.resize(size); }
    void reserve(size_t capacity) { m_bytes.reserve(capacity); }
    void clear() { m_bytes.clear(); }

    const uint8_t* data() const { return m_bytes.data(); }
    uint8_t* data() { return m_bytes.data(); }
    size_t size() const { return m_bytes.size(); }
    bool empty() const { return m_bytes.empty(); }

    friend bool operator==(const VexaBuffer& a, const VexaBuffer& b) {
        return a.m_bytes == b.m_bytes;
    }
    friend bool operator!=(const VexaBuffer& a, const VexaBuffer& b) { return !(a == b); }

  private:
    std::vector<uint8_t> m_bytes;
};

}  // namespace pwr
