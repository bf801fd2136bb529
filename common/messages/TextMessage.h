// Text messages: free text and header text for the writers.
//
// A TextMessage is delivered to its sink (the writer stream) the moment its
// text is set; setting it twice delivers it twice. HeaderTextMessage differs
// only in its message type, which writers use to place the text as a header.
#pragma once

#include <string>

#include "common/messages/WriterMessage.h"
#include "common/runtime/Export.h"

namespace pwr {

class PWR_API TextMessage : public WriterMessage {
  public:
    // Delivers to the default sink of the process.
    TextMessage();
    explicit TextMessage(MessageSink* stream);

    MessageType getMessageType() const override { return MessageType::TEXT; }

    // Stores the text and pushes the message to the sink, returning the
    // sink's result. Without a sink it logs an error and returns 1.
    int setMessage(const std::string& text);
    const std::string& getMessage() const { return m_text; }
    MessageSink* getStream() const { return m_stream; }

  private:
    std::string m_text;
    MessageSink* m_stream;
};

class PWR_API HeaderTextMessage : public TextMessage {
  public:
    HeaderTextMessage() = default;
    explicit HeaderTextMessage(MessageSink* stream) : TextMessage(stream) {}
    MessageType getMessageType() const override;
};

}  // namespace pwr
