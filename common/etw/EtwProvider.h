// EtwProvider writes events of this system's own providers; EtwEvent gathers
// the data descriptors of one event.
//
// An EtwEvent refers to the caller's field data (it copies nothing but the
// descriptors), so the data must outlive WriteEvent. A provider registers
// itself at construction and unregisters when destroyed. The readers take an
// event record delivered by a session's callback and hand back the payload
// that the matching writer put in.
//
// Writing goes through etwBackend(); outside Windows every write answers false
// with an "ERROR: " line. Threads: a provider may write from several threads.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "common/etw/EtwBackend.h"
#include "common/runtime/Export.h"

#if defined(_WIN32)
// The system's event record, for callers that run their own ProcessTrace
// callback; declared here so that this header needs no <windows.h>.
struct _EVENT_RECORD;
#endif

class PWR_API EtwEvent {
  public:
    explicit EtwEvent(const EtwEventDescriptor& descriptor);

    // Adds a field; data must stay valid until the event is written.
    void add(const void* data, uint32_t size);
    // Adds a string with its terminating NUL.
    void addString(const std::string& text);

    const EtwDataDescriptor* Descriptor() const { return m_data.data(); }
    const EtwEventDescriptor& Type() const { return m_descriptor; }
    uint32_t Count() const { return static_cast<uint32_t>(m_data.size()); }
    // Total payload bytes.
    uint32_t Size() const;
    // The payload as the record will carry it: all fields back to back.
    std::vector<uint8_t> PackEvent() const;

  private:
    EtwEventDescriptor m_descriptor;
    std::vector<EtwDataDescriptor> m_data;
};

class PWR_API EtwProvider {
  public:
    explicit EtwProvider(const EtwGuid& provider);
    EtwProvider(const EtwProvider&) = delete;
    EtwProvider& operator=(const EtwProvider&) = delete;
    virtual ~EtwProvider();

    bool isRegistered() const { return m_registered; }

    virtual bool WriteEvent(EtwEvent& event);
    virtual bool WriteIntEvent(const EtwEventDescriptor& descriptor, uint64_t value);
    // The integer, then the string with its NUL.
    virtual bool WriteIntStringPairEvent(const EtwEventDescriptor& descriptor, uint32_t value,
                                         const std::string& text);
    virtual bool WriteStructEvent(const EtwEventDescriptor& descriptor, const void* data,
                                  uint32_t size);
    // A 32-bit order number, then the structure.
    virtual bool WriteOrderedStructEvent(const EtwEventDescriptor& descriptor, const void* data,
                                         uint32_t size, uint32_t order);

    // The structure of a struct event (as WriteStructEvent wrote it); null
    // when there is none.
    static const void* ReadStructEvent(const EtwEventRecord* record);
    // The same, and its size when size is not null.
    static const void* ReadStructEvent(const EtwEventRecord* record, uint32_t* size);
    // The structure of an ordered struct event (as WriteOrderedStructEvent
    // wrote it), behind its order number; null when the record is too short.
    static const void* ReadOrderedStructEvent(const EtwEventRecord* record);
    // The same, and its order number and size when those are not null.
    static const void* ReadOrderedStructEvent(const EtwEventRecord* record, uint32_t* order,
                                              uint32_t* size);
#if defined(_WIN32)
    // The same readers on the system's record.
    static const void* ReadStructEvent(const _EVENT_RECORD* record);
    static const void* ReadOrderedStructEvent(const _EVENT_RECORD* record);
#endif

  private:
    EtwGuid m_guid;
    uint64_t m_handle = 0;
    bool m_registered = false;
};
