// Attribute: a named, typed property that states, events, data descriptors
// and entities may carry as values, such as the source or the target of an
// interrupt. Attributes let one kind of event be split by such a property.
//
// An attribute has a name, a one-byte AttributeType and the Quantity its
// values measure. The type identifies the attribute within a process: the
// registry keeps one attribute per type, and Attribute::get finds it again.
// Attributes are registered field handles, made by Attribute::create, owned
// by the registry and never deleted by their users. Being fields, they can be
// table columns: such a column shows the attribute's value for each row.
//
// Threads: attributes are created during set-up on one thread; afterwards
// they are immutable and may be read from any thread.
#pragma once

#include <cstdint>
#include <string>

#include "common/data/Field.h"
#include "common/runtime/Export.h"

namespace pwr {

class Quantity;

// The kind of an attribute. The library names the common kinds; plug-ins
// that need one of their own use values from CUSTOM_FIRST to 255.
enum class AttributeType : uint8_t {
    NONE = 0,
    // What raised an event (a device, an interrupt line, a process).
    SOURCE = 1,
    // What an event was aimed at (the woken core, the destination device).
    TARGET = 2,
    // Why something happened (a wake or throttle reason code).
    REASON = 3,
    // The process or thread a value belongs to.
    PROCESS = 4,
    THREAD = 5,
    // The device a value belongs to.
    DEVICE = 6,
    // An interrupt or exception vector.
    VECTOR = 7,
    // A frequency or performance level attached to a state.
    LEVEL = 8,
    CUSTOM_FIRST = 128,
};

class PWR_API Attribute : public Field {
  public:
    ~Attribute() override;

    // Creates and registers the attribute of type t. A type names one
    // attribute per process: when t is already registered, that attribute is
    // returned unchanged and name and q are ignored.
    static const Attribute* create(const std::string& name, const Quantity* q, AttributeType t);
    // The attribute registered for t, or null with a warning.
    static const Attribute* get(AttributeType t);

    const Quantity* getQuantity() const { return m_quantity; }
    AttributeType getAttributeType() const { return m_type; }

  private:
    Attribute(const std::string& name, const Quantity* q, AttributeType t);

    AttributeType m_type;
    const Quantity* m_quantity;
};

}  // namespace pwr
