#include "common/data/Field.h"

namespace pwr {

Field::Field(const Description& description) : DataHandle(description, DataHandleType::FIELD) {}

const Field* Field::create(const Description& description) {
    Field* field = new Field(description);
    register_i(field);
    return field;
}

}  // namespace pwr
