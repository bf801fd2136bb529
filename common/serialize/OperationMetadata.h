// OperationMetadata: the record of one operation that decodes a driver
// message: its name, its operation string (the kind of collector that serves
// it), the size of the data it reads and the tag of the message it came from.
//
// Body: name, operation (strings), size (unsigned 32-bit), orgMsgTag (string).
// The first three are mandatory; the tag was added later, so a record that
// ends before it, or holds it empty, is accepted with a warning and an empty
// tag. Every mandatory string must be non-empty: an empty string reads like a
// missing one.
//
// Ownership: a value type. Threads: no locking.
#pragma once

#include <cstdint>
#include <string>

#include "common/runtime/Export.h"
#include "common/serialize/Metadata.h"

namespace pwr {

class PWR_API OperationMetadata : public Metadata {
  public:
    OperationMetadata(const std::string& name, const std::string& operation, unsigned size);
    OperationMetadata(const OperationMetadata&) = default;
    OperationMetadata& operator=(const OperationMetadata&) = default;
    ~OperationMetadata() override;

    const std::string& getName() const { return m_name; }
    const std::string& getOperation() const { return m_operation; }
    unsigned getSize() const { return m_size; }
    const std::string& getOrgMsgTag() const { return m_orgMsgTag; }
    void setOrgMsgTag(const std::string& tag) { m_orgMsgTag = tag; }

  protected:
    void serialize_i(Serializer& ser) const override;
    int deserialize_i(Serializer& ser, unsigned version) override;

  private:
    std::string m_name;
    std::string m_operation;
    uint32_t m_size;
    std::string m_orgMsgTag;
};

}  // namespace pwr
