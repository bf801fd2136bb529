#include "common/data/State.h"

namespace pwr {

State::State(const StateDescription& description)
    : DataHandle(description, DataHandleType::STATE) {}

const State* State::create(const StateDescription& description) {
    State* state = new State(description);
    for (const auto& entry : description.getAttributeValues()) {
        state->addAttributeValue(entry.first, entry.second);
    }
    register_i(state);
    return state;
}

}  // namespace pwr
