// DataHandle: a registered, named thing that tables and samples refer to by
// id: a field, state or event descriptor, a process, an entity.
//
// A handle copies the strings of the Description it is built from. Handles
// are registered objects (see UniqueId): made by the static create functions
// of the concrete classes, owned by the registry, never deleted by users.
#pragma once

#include <cstdint>
#include <string>

#include "common/data/Description.h"
#include "common/data/UniqueId.h"
#include "common/runtime/Export.h"

namespace pwr {

// The class of a handle. 0 and 8 are not produced by any class.
enum class DataHandleType : uint8_t {
    FIELD = 1,
    STATE = 2,
    PROCESS = 3,
    THREAD = 4,
    NAME_VALUE_PAIR = 5,
    EVENT = 6,
    ENTITY = 7,
    DATA_DESCRIPTOR = 9,
};

class PWR_API DataHandle : public UniqueId {
  public:
    ~DataHandle() override;

    UniqueIdType getIdType() const override { return UniqueIdType::DATA_HANDLE; }
    // The name that identifies the handle in output; the plain name here.
    virtual std::string getQualifiedName() const;

    const std::string& getName() const { return m_name; }
    const std::string& getShortName() const { return m_shortName; }
    const std::string& getFieldName() const { return m_fieldName; }
    const std::string& getDescription() const { return m_description; }
    const std::string& getHeader() const { return m_header; }
    DataHandleType getHandleType() const { return m_handleType; }

    // Looks a handle up by id: 0 and the handle, or 1 with a warning when the
    // id is unknown or names something that is not a handle (out = null then).
    static int get(uint64_t id, const DataHandle*& out);

  protected:
    DataHandle(const Description& description, DataHandleType type);

  private:
    std::string m_name;
    std::string m_fieldName;
    std::string m_shortName;
    std::string m_description;
    std::string m_header;
    DataHandleType m_handleType;
};

}  // namespace pwr
