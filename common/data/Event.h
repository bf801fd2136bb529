// Event: the handle of a kind of event (an interrupt, a wake-up), split by
// its attribute values: one event per name and set of attribute values.
//
// Event::create looks for an equal event first, among those registered under
// the description's key (EventDescription::getKey), and returns it; only
// when none is equal does it create and register a new one. Events are
// registered handles owned by the registry.
#pragma once

#include "common/data/AttributeValueManager.h"
#include "common/data/DataHandle.h"
#include "common/data/Description.h"
#include "common/runtime/Export.h"

namespace pwr {

class PWR_API Event : public DataHandle, public AttributeValueManager {
  public:
    // The registered event equal to description, or a new registered one.
    static const Event* create(const EventDescription& description);

    // Whether description names this event: equal names, as many attribute
    // values, and an equal value in description for each of this event's
    // attributes.
    bool equal(const EventDescription& description) const;

  private:
    explicit Event(const EventDescription& description);
};

}  // namespace pwr
