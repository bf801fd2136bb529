// Field: the handle of a table column that holds plain values (a count, a
// frequency, a name), as opposed to a State.
//
// Fields are registered handles owned by the registry; every create makes a
// new one.
#pragma once

#include "common/data/DataHandle.h"
#include "common/data/Description.h"
#include "common/runtime/Export.h"

namespace pwr {

class PWR_API Field : public DataHandle {
  public:
    // Creates and registers a new field with the strings of description.
    static const Field* create(const Description& description);

  protected:
    // Attributes are fields too: a table column may show an attribute.
    explicit Field(const Description& description);
};

}  // namespace pwr
