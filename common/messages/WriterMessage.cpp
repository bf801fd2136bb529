#include "common/messages/WriterMessage.h"

#include <atomic>

namespace pwr {

namespace {
std::atomic<unsigned int> g_nextMessageId{0};
std::atomic<MessageSink*> g_defaultSink{nullptr};
}  // namespace

WriterMessage::WriterMessage()
    : m_messageId(g_nextMessageId.fetch_add(1, std::memory_order_relaxed)),
      m_metricContainerId(0) {}

WriterMessage::~WriterMessage() = default;

unsigned int WriterMessage::peekNextMessageId() {
    return g_nextMessageId.load(std::memory_order_relaxed);
}

int WriterMessage::setMetricContainerId(unsigned int id) {
    m_metricContainerId = id;
    return 0;
}

void WriterMessage::addParentMessage(unsigned int id) {
    m_parents.insert(id);
}

bool WriterMessage::isChildOf(unsigned int id) const {
    return m_parents.count(id) != 0;
}

MessageSink::~MessageSink() = default;

MessageSink* defaultMessageSink() {
    return g_defaultSink.load(std::memory_order_acquire);
}

void setDefaultMessageSink(MessageSink* sink) {
    g_defaultSink.store(sink, std::memory_order_release);
}

}  // namespace pwr
