// Description: the plain value a registered handle is built from.
//
// It carries the display strings of a state, an event, a field or an entity:
// name, field name, short name, description and header, and the kind of
// description. Handles copy the strings; a Description is an ordinary value
// that the caller owns.
#pragma once

#include <cstdint>
#include <string>

#include "common/runtime/Export.h"

namespace pwr {

// The kind of a description. A table column made from a description of type
// STATE becomes a State handle, any other kind a Field.
enum class DescriptionType : uint8_t {
    GENERIC = 0,
    STATE = 1,
    EVENT = 2,
    FIELD = 3,
    DATA_DESCRIPTOR = 4,
    PROCESS = 5,
    THREAD = 6,
};

class PWR_API Description {
  public:
    // The name also becomes the field name; an empty short name takes the name.
    Description(const std::string& name, const std::string& shortName);
    virtual ~Description();
    Description(const Description&) = default;
    Description(Description&&) = default;
    Description& operator=(const Description&) = default;
    Description& operator=(Description&&) = default;

    const std::string& getName() const { return m_name; }
    const std::string& getFieldName() const { return m_fieldName; }
    const std::string& getShortName() const { return m_shortName; }
    const std::string& getDescription() const { return m_description; }
    const std::string& getHeader() const { return m_header; }
    DescriptionType getType() const { return m_type; }

    void setFieldName(const std::string& fieldName) { m_fieldName = fieldName; }
    void setDescription(const std::string& description) { m_description = description; }
    void setHeader(const std::string& header) { m_header = header; }

  protected:
    Description(DescriptionType type, const std::string& name, const std::string& shortName);

  private:
    std::string m_name;
    std::string m_fieldName;
    std::string m_shortName;
    std::string m_description;
    std::string m_header;
    DescriptionType m_type;
};

}  // namespace pwr
