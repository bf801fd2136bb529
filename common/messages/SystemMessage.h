// SystemMessage: hands the collection's system record to the writers. The
// record is owned by the host, not by the message.
#pragma once

#include "common/messages/WriterMessage.h"
#include "common/runtime/Export.h"

namespace pwr {

class SystemMetadata;

class PWR_API SystemMessage : public WriterMessage {
  public:
    explicit SystemMessage(SystemMetadata& metadata) : m_metadata(&metadata) {}
    MessageType getMessageType() const override;
    SystemMetadata* getSystemMetadata() const { return m_metadata; }

  private:
    SystemMetadata* m_metadata;
};

}  // namespace pwr
