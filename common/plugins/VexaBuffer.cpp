#include "common/plugins/VexaBuffer.h"

namespace pwr {

VexaBuffer::VexaBuffer(size_t capacity) {
    m_bytes.reserve(capacity);
}

VexaBuffer::~VexaBuffer() = default;

bool VexaBuffer::append(const void* bytes, size_t size) {
    if (size == 0) {
        return true;
    }
    if (bytes == nullptr) {
        return false;
    }
    const auto* first = static_cast<const uint8_t*>(bytes);
    m_bytes.insert(m_bytes.end(), first, first + size);
    return true;
}

}  // namespace pwr
