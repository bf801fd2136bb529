// IdMessage: announces newly registered objects (handles, quantities,
// attributes) to the writers, so that they know every handle before any
// table uses it. The objects are owned by the registry, not by the message.
#pragma once

#include <cstddef>
#include <vector>

#include "common/data/UniqueId.h"
#include "common/messages/WriterMessage.h"
#include "common/runtime/Export.h"

namespace pwr {

class PWR_API IdMessage : public WriterMessage {
  public:
    using const_iterator = std::vector<const UniqueId*>::const_iterator;

    MessageType getMessageType() const override;
    void addUniqueId(const UniqueId* object) { m_ids.push_back(object); }
    const_iterator begin() const { return m_ids.begin(); }
    const_iterator end() const { return m_ids.end(); }
    size_t size() const { return m_ids.size(); }

  private:
    std::vector<const UniqueId*> m_ids;
};

}  // namespace pwr
