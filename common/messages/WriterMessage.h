// WriterMessage: the base of everything producers hand to writer plug-ins.
//
// Every message gets an id from one process-wide counter when it is
// constructed (copies keep their source's id), may name parent messages, and
// may belong to a metric container. Writers dispatch on getMessageType().
//
// MessageSink is where messages are delivered: the writer stream implements
// it. Text messages deliver themselves to a sink as soon as their text is
// set; by default to the process's default sink, which the plug-in
// environment sets when it receives the writer stream.
//
// Threads: messages take no locks; the id counter is atomic.
#pragma once

#include <cstdint>
#include <set>

#include "common/runtime/Export.h"

namespace pwr {

enum class MessageType : uint8_t {
    TABLE = 0,
    ID = 1,
    TEXT = 2,
    SYSTEM = 3,
    METRIC_CONTAINER_INFO = 4,
    HEADER_TEXT = 5,
};

class PWR_API WriterMessage {
  public:
    WriterMessage();
    WriterMessage(const WriterMessage&) = default;
    WriterMessage(WriterMessage&&) = default;
    WriterMessage& operator=(const WriterMessage&) = default;
    WriterMessage& operator=(WriterMessage&&) = default;
    virtual ~WriterMessage();

    virtual MessageType getMessageType() const = 0;

    unsigned int getMessageId() const { return m_messageId; }
    unsigned int getMetricContainerId() const { return m_metricContainerId; }
    int setMetricContainerId(unsigned int id);
    void addParentMessage(unsigned int id);
    bool isChildOf(unsigned int id) const;

    // The id the next constructed message will get.
    static unsigned int peekNextMessageId();

  private:
    unsigned int m_messageId;
    std::set<unsigned int> m_parents;
    unsigned int m_metricContainerId;
};

// Receives messages for the writers (implemented by the writer stream).
class PWR_API MessageSink {
  public:
    virtual ~MessageSink();
    virtual int pushMessage(WriterMessage& message) = 0;
};

// The sink new text messages deliver to (null until one is set).
PWR_API MessageSink* defaultMessageSink();
PWR_API void setDefaultMessageSink(MessageSink* sink);

}  // namespace pwr
