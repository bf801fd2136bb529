// State: the handle of a state that an entity can be in (a sleep state, a
// frequency level), used as a table column and as a sample descriptor.
//
// A state carries the attribute values of its StateDescription. States are
// registered handles owned by the registry; every create makes a new one.
#pragma once

#include "common/data/AttributeValueManager.h"
#include "common/data/DataHandle.h"
#include "common/data/Description.h"
#include "common/runtime/Export.h"

namespace pwr {

class PWR_API State : public DataHandle, public AttributeValueManager {
  public:
    // Creates and registers a new state with the strings and the attribute
    // values of description.
    static const State* create(const StateDescription& description);

  private:
    explicit State(const StateDescription& description);
};

}  // namespace pwr
