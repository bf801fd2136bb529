// Holders of attribute values.
//
// AttributeValueManager keeps the values of the attributes of one state,
// event, data descriptor or entity, in the order they were added, with a
// lookup by attribute. Its insertion order matters: it is the order of the
// de-duplication key of events and data descriptors.
// DynamicAttributeValueManager keeps per-sample additional information: one
// value per attribute, overwritten on every set, iterated by attribute id.
// ExpectedAttributeManager lists the attributes that the values of a field
// are expected to carry.
//
// All three are plain values that own copies of their Data; the attributes
// are registered objects that the holders only point to. No locking: fill
// them on one thread, read them anywhere afterwards.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "common/data/Data.h"
#include "common/runtime/Export.h"

namespace pwr {

class Attribute;

class PWR_API AttributeValueManager {
  public:
    using Entry = std::pair<const Attribute*, Data>;
    using const_iterator = std::vector<Entry>::const_iterator;

    AttributeValueManager();
    virtual ~AttributeValueManager();
    AttributeValueManager(const AttributeValueManager&) = default;
    AttributeValueManager(AttributeValueManager&&) = default;
    AttributeValueManager& operator=(const AttributeValueManager&) = default;
    AttributeValueManager& operator=(AttributeValueManager&&) = default;

    // Appends a copy of value and makes it the value that lookups of the
    // attribute find. Adding a second value for one attribute keeps both in
    // the list (the count then reports the mismatch). 1 with a warning for a
    // null attribute.
    int addAttributeValue(const Attribute* attribute, const Data& value);
    // Replaces the value of an attribute that already has one, in its place
    // in the list; otherwise appends like addAttributeValue.
    int setAttributeValue(const Attribute* attribute, const Data& value);
    // The value stored for attribute, or null.
    const Data* getAttributeValue(const Attribute* attribute) const;
    // The number of values in the list; warns when an attribute was added
    // twice, so that the list and the lookup disagree.
    size_t getAttributeCount() const;

    // The (attribute, value) pairs in insertion order.
    const_iterator begin() const { return m_values.begin(); }
    const_iterator end() const { return m_values.end(); }

    // The attribute part of a de-duplication key: for each value in insertion
    // order "-", the attribute's id in decimal, "-" and the value rendered
    // with its formatter.
    std::string getKeySuffix() const;
    // Whether other holds as many values as this one and, for every
    // attribute of this one, a value that compares equal. A null attribute
    // among this one's values gives a warning and false.
    bool hasSameValues(const AttributeValueManager& other) const;

  private:
    std::vector<Entry> m_values;
    // Index into m_values of the value each attribute looks up to.
    std::map<const Attribute*, size_t> m_index;
};

class PWR_API DynamicAttributeValueManager {
  public:
    using const_iterator = std::map<uint64_t, Data>::const_iterator;

    // Stores value for attribute, overwriting an earlier one by assignment:
    // 0, or 1 with a warning for a null attribute.
    int setAttributeValue(const Attribute* attribute, const Data& value);
    // The value stored for attribute, or null.
    const Data* getAttributeValue(const Attribute* attribute) const;
    size_t getAttributeCount() const { return m_values.size(); }

    // (attribute id, value) pairs in ascending attribute id.
    const_iterator begin() const { return m_values.begin(); }
    const_iterator end() const { return m_values.end(); }

  private:
    std::map<uint64_t, Data> m_values;
};

class PWR_API ExpectedAttributeManager {
  public:
    using const_iterator = std::vector<const Attribute*>::const_iterator;

    // Appends attribute: 0, or 1 with a warning for a null attribute.
    int addAttribute(const Attribute* attribute);
    size_t getAttributeCount() const { return m_attributes.size(); }

    const_iterator begin() const { return m_attributes.begin(); }
    const_iterator end() const { return m_attributes.end(); }

  private:
    std::vector<const Attribute*> m_attributes;
};

}  // namespace pwr
