#include "common/plugins/DriverMessage.h"

#include <limits>

#include "common/plugins/VexaBuffer.h"

namespace pwr {

namespace {

void putBits_i(std::vector<uint8_t>& out, uint64_t bits, size_t width) {
    for (size_t i = 0; i < width; ++i) {
        out.push_back(static_cast<uint8_t>(bits >> (8 * i)));
    }
}

bool putString_i(std::vector<uint8_t>& out, const std::string& text) {
    if (text.size() > std::numeric_limits<uint16_t>::max()) {
        return false;
    }
    putBits_i(out, text.size(), 2);
    out.insert(out.end(), text.begin(), text.end());
    return true;
}

// Reads from a bounded window; every getter fails once the window is spent.
class Reader_i {
  public:
    Reader_i(const uint8_t* data, size_t size) : m_data(data), m_size(size) {}

    bool bits(uint64_t& value, size_t width) {
        if (m_size - m_pos < width) {
            return false;
        }
        value = 0;
        for (size_t i = 0; i < width; ++i) {
            value |= static_cast<uint64_t>(m_data[m_pos + i]) << (8 * i);
        }
        m_pos += width;
        return true;
    }

    bool text(std::string& value) {
        uint64_t length = 0;
        if (!bits(length, 2) || m_size - m_pos < length) {
            return false;
        }
        value.assign(reinterpret_cast<const char*>(m_data + m_pos), static_cast<size_t>(length));
        m_pos += static_cast<size_t>(length);
        return true;
    }

    bool atEnd() const { return m_pos == m_size; }

  private:
    const uint8_t* m_data;
    size_t m_size;
    size_t m_pos = 0;
};

}  // namespace

std::string driverMessagePrefix(const std::string& msgName) {
    return msgName.substr(0, msgName.find('_'));
}

bool appendDriverMessage(VexaBuffer& buffer, const vexa_driver_msg& msg) {
    std::vector<uint8_t> body;
    body.reserve(64);
    putBits_i(body, msg.timestamp, 8);
    bool ok = putString_i(body, msg.msgName) && putString_i(body, msg.opName);
    if (msg.values.size() > std::numeric_limits<uint32_t>::max()) {
        return false;
    }
    putBits_i(body, msg.values.size(), 4);
    for (const auto& value : msg.values) {
        ok = ok && putString_i(body, value.first) && putString_i(body, value.second);
    }
    if (!ok || body.size() > std::numeric_limits<uint32_t>::max()) {
        return false;
    }
    std::vector<uint8_t> length;
    putBits_i(length, body.size(), 4);
    buffer.append(length.data(), length.size());
    buffer.append(body.data(), body.size());
    return true;
}

bool readDriverMessage(const uint8_t* data, size_t size, size_t& offset, vexa_driver_msg& out) {
    if (data == nullptr || offset > size) {
        return false;
    }
    Reader_i head(data + offset, size - offset);
    uint64_t length = 0;
    if (!head.bits(length, 4) || size - offset - 4 < length) {
        return false;
    }
    Reader_i body(data + offset + 4, static_cast<size_t>(length));
    vexa_driver_msg msg;
    uint64_t count = 0;
    if (!body.bits(msg.timestamp, 8) || !body.text(msg.msgName) || !body.text(msg.opName) ||
        !body.bits(count, 4)) {
        return false;
    }
    // Each pair takes at least four bytes, so a count beyond what the body
    // can hold is damage, not a reason to reserve gigabytes.
    if (count > length / 4) {
        return false;
    }
    msg.values.reserve(static_cast<size_t>(count));
    for (uint64_t i = 0; i < count; ++i) {
        std::pair<std::string, std::string> value;
        if (!body.text(value.first) || !body.text(value.second)) {
            return false;
        }
        msg.values.push_back(std::move(value));
    }
    if (!body.atEnd()) {
        return false;
    }
    out = std::move(msg);
    offset += 4 + static_cast<size_t>(length);
    return true;
}

}  // namespace pwr
