// Description: the plain value a registered handle is built from.
//
// It carries the display strings of a state, an event, a field or an entity:
// name, field name, short name, description and header, and the kind of
// description. Handles copy the strings; a Description is an ordinary value
// that the caller owns.
//
// The subclasses add what their handles need besides the strings: the
// attribute values of a state, an event or a data descriptor (copied into
// the handle), and the attributes that the values of a field are expected to
// carry. Event and data descriptor descriptions also compute the key under
// which the registry finds equal handles again.
#pragma once

#include <cstdint>
#include <string>

#include "common/data/AttributeValueManager.h"
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

// A field (a table column that is not a state), with the attributes its
// values are expected to carry.
class PWR_API FieldDescription : public Description {
  public:
    FieldDescription(const std::string& name, const std::string& shortName);

    // Appends an expected attribute: 0, or 1 with a warning for null.
    int addAttribute(const Attribute* attribute) { return m_expected.addAttribute(attribute); }
    const ExpectedAttributeManager& getExpectedAttributes() const { return m_expected; }

  private:
    ExpectedAttributeManager m_expected;
};

// A state, with the attribute values that State::create copies into it.
class PWR_API StateDescription : public Description {
  public:
    StateDescription(const std::string& name, const std::string& shortName);

    // Adds a value for attribute. With replace set, a value that the
    // attribute already has is overwritten in its place, so that the state
    // carries one value per attribute however often a producer refines it;
    // without, the value is appended as a further entry (lookups find the
    // newest). 0, or 1 with a warning for a null attribute.
    int addAttributeValue(const Attribute* attribute, const Data& value, bool replace);
    const AttributeValueManager& getAttributeValues() const { return m_values; }

  private:
    AttributeValueManager m_values;
};

// An event. Event::create returns one event for all descriptions with equal
// names and equal attribute values.
class PWR_API EventDescription : public Description {
  public:
    EventDescription(const std::string& name, const std::string& shortName);

    // Appends a value: 0, or 1 with a warning for a null attribute.
    int addAttributeValue(const Attribute* attribute, const Data& value);
    const AttributeValueManager& getAttributeValues() const { return m_values; }
    // "name-shortName", then "-id-value" per attribute value in insertion
    // order. Equal events have equal keys; unequal ones may share a key when
    // their values print alike.
    std::string getKey() const;

  private:
    AttributeValueManager m_values;
};

// What a sample is about: the description of a DataDescriptor, with the same
// key and attribute values as an event.
class PWR_API DataDescriptorBuilder : public Description {
  public:
    DataDescriptorBuilder(const std::string& name, const std::string& shortName);

    int addAttributeValue(const Attribute* attribute, const Data& value);
    const AttributeValueManager& getAttributeValues() const { return m_values; }
    std::string getKey() const;

  private:
    AttributeValueManager m_values;
};

}  // namespace pwr
