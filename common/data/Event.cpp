#include "common/data/Event.h"

#include <string>

#include "common/data/IdManager.h"

namespace pwr {

Event::Event(const EventDescription& description)
    : DataHandle(description, DataHandleType::EVENT),
      AttributeValueManager(description.getAttributeValues()) {}

bool Event::equal(const EventDescription& description) const {
    return getName() == description.getName() && hasSameValues(description.getAttributeValues());
}

const Event* Event::create(const EventDescription& description) {
    IdManager* m = idManager();
    const std::string key = description.getKey();
    if (m != nullptr) {
        auto it = m->events.find(key);
        if (it != m->events.end()) {
            for (const Event* event : it->second) {
                if (event->equal(description)) {
                    return event;
                }
            }
        }
    }
    Event* event = new Event(description);
    register_i(event);
    if (m != nullptr) {
        m->events[key].push_back(event);
    }
    return event;
}

}  // namespace pwr
