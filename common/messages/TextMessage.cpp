#include "common/messages/TextMessage.h"

#include "common/runtime/Log.h"

namespace pwr {

TextMessage::TextMessage() : m_stream(defaultMessageSink()) {}

TextMessage::TextMessage(MessageSink* stream) : m_stream(stream) {}

int TextMessage::setMessage(const std::string& text) {
    m_text = text;
    if (m_stream == nullptr) {
        pwLog(PW_ERROR, "ERROR: Writer stream is not initialized\n");
        return 1;
    }
    return m_stream->pushMessage(*this);
}

MessageType HeaderTextMessage::getMessageType() const {
    return MessageType::HEADER_TEXT;
}

}  // namespace pwr
