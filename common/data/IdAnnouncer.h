// IdAnnouncer: where the registry announces each newly registered object.
//
// The writer stream implements it (it turns the object into an id message for
// every writer). The registry, which sits below the writer stream, knows only
// this interface.
#pragma once

#include "common/runtime/Export.h"

namespace pwr {

class UniqueId;

class PWR_API IdAnnouncer {
  public:
    virtual ~IdAnnouncer();
    // Called once per object, right after the registry took ownership of it.
    virtual void announce(const UniqueId& object) = 0;
};

}  // namespace pwr
