// UniqueId: the base of every registered object (quantities, handles,
// attributes) and the entry points of the process-wide registry.
//
// Each object gets a 64-bit id from one process-wide counter when it is
// constructed; copies keep the id of their source. Registered objects are
// made by the static create functions of their classes and are owned by the
// registry from then on: users never delete them. UniqueId::initialize sets
// the registry up (and builds the built-in quantities); UniqueId::destroy
// deletes every registered object, in registration order, and the registry.
//
// Threads: the registry takes no lock. Objects are created on the thread that
// sets up a collection or processes results; lookups are read-only afterwards.
#pragma once

#include <cstdint>

#include "common/runtime/Export.h"

namespace pwr {

enum class UniqueIdType : uint8_t {
    QUANTITY = 0,
    DATA_HANDLE = 1,
};

class PWR_API UniqueId {
  public:
    virtual ~UniqueId();
    virtual UniqueIdType getIdType() const = 0;
    uint64_t getId() const { return m_id; }

    // Sets up the registry and the built-in quantities. Does nothing when the
    // registry already exists.
    static void initialize();
    // Deletes every registered object in registration order, then the registry.
    static void destroy();
    static bool isInitialized();

    // The registered object with this id, or null.
    static const UniqueId* find(uint64_t id);
    // The id the next constructed object will get.
    static uint64_t peekNextId();

  protected:
    UniqueId();
    UniqueId(const UniqueId&) = default;
    UniqueId(UniqueId&&) = default;
    UniqueId& operator=(const UniqueId&) = default;
    UniqueId& operator=(UniqueId&&) = default;

    // Hands a newly created object to the registry, which owns it from now on,
    // and announces it to the writer stream when one is attached. Without a
    // registry the object is kept aside (and freed by the next destroy) after
    // an error and a warning line.
    static void register_i(UniqueId* object);

  private:
    uint64_t m_id;
};

}  // namespace pwr
