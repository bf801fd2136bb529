#include "common/etw/EtwProvider.h"

#include <cstring>

#include "common/runtime/Log.h"

EtwEvent::EtwEvent(const EtwEventDescriptor& descriptor) : m_descriptor(descriptor) {}

void EtwEvent::add(const void* data, uint32_t size) {
    EtwDataDescriptor d;
    d.ptr = static_cast<uint64_t>(reinterpret_cast<uintptr_t>(data));
    d.size = size;
    m_data.push_back(d);
}

void EtwEvent::addString(const std::string& text) {
    add(text.c_str(), static_cast<uint32_t>(text.size() + 1));
}

uint32_t EtwEvent::Size() const {
    uint32_t total = 0;
    for (const EtwDataDescriptor& d : m_data) {
        total += d.size;
    }
    return total;
}

std::vector<uint8_t> EtwEvent::PackEvent() const {
    std::vector<uint8_t> bytes;
    bytes.reserve(Size());
    for (const EtwDataDescriptor& d : m_data) {
        const auto* p = reinterpret_cast<const uint8_t*>(static_cast<uintptr_t>(d.ptr));
        bytes.insert(bytes.end(), p, p + d.size);
    }
    return bytes;
}

EtwProvider::EtwProvider(const EtwGuid& provider) : m_guid(provider) {
    EtwBackend& backend = etwBackend();
    m_registered = backend.isSupported() && backend.registerProvider(m_guid, &m_handle) == 0;
}

EtwProvider::~EtwProvider() {
    if (m_registered) {
        etwBackend().unregisterProvider(m_handle);
    }
}

bool EtwProvider::WriteEvent(EtwEvent& event) {
    if (!etwCheckSupported() || !m_registered) {
        return false;
    }
    return etwBackend().writeEvent(m_handle, event.Type(), event.Count(), event.Descriptor()) == 0;
}

bool EtwProvider::WriteIntEvent(const EtwEventDescriptor& descriptor, uint64_t value) {
    EtwEvent event(descriptor);
    event.add(&value, sizeof(value));
    return WriteEvent(event);
}

bool EtwProvider::WriteIntStringPairEvent(const EtwEventDescriptor& descriptor, uint32_t value,
                                          const std::string& text) {
    EtwEvent event(descriptor);
    event.add(&value, sizeof(value));
    event.addString(text);
    return WriteEvent(event);
}

bool EtwProvider::WriteStructEvent(const EtwEventDescriptor& descriptor, const void* data,
                                   uint32_t size) {
    EtwEvent event(descriptor);
    event.add(data, size);
    return WriteEvent(event);
}

bool EtwProvider::WriteOrderedStructEvent(const EtwEventDescriptor& descriptor, const void* data,
                                          uint32_t size, uint32_t order) {
    EtwEvent event(descriptor);
    event.add(&order, sizeof(order));
    event.add(data, size);
    return WriteEvent(event);
}

const void* EtwProvider::ReadStructEvent(const EtwEventRecord* record) {
    return ReadStructEvent(record, nullptr);
}

const void* EtwProvider::ReadOrderedStructEvent(const EtwEventRecord* record) {
    return ReadOrderedStructEvent(record, nullptr, nullptr);
}

const void* EtwProvider::ReadStructEvent(const EtwEventRecord* record, uint32_t* size) {
    if (record == nullptr || record->userData == nullptr || record->userDataLength == 0) {
        return nullptr;
    }
    if (size != nullptr) {
        *size = record->userDataLength;
    }
    return record->userData;
}

const void* EtwProvider::ReadOrderedStructEvent(const EtwEventRecord* record, uint32_t* order,
                                                uint32_t* size) {
    if (record == nullptr || record->userData == nullptr ||
        record->userDataLength < sizeof(uint32_t)) {
        return nullptr;
    }
    const auto* bytes = static_cast<const uint8_t*>(record->userData);
    if (order != nullptr) {
        std::memcpy(order, bytes, sizeof(uint32_t));
    }
    if (size != nullptr) {
        *size = record->userDataLength - static_cast<uint32_t>(sizeof(uint32_t));
    }
    return bytes + sizeof(uint32_t);
}
