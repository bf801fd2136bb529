#include "common/data/Attribute.h"

#include "common/data/IdManager.h"
#include "common/runtime/Log.h"

namespace pwr {

Attribute::Attribute(const std::string& name, const Quantity* q, AttributeType t)
    : Field(Description(name, "")), m_type(t), m_quantity(q) {}

Attribute::~Attribute() = default;

const Attribute* Attribute::create(const std::string& name, const Quantity* q, AttributeType t) {
    // Every call makes a new attribute. The lookup by type keeps the first
    // attribute of each type, as the id map keeps its first entry.
    IdManager* m = idManager();
    Attribute* attribute = new Attribute(name, q, t);
    // Without a registry register_i keeps the object alive and reports it;
    // the lookup by type then has nowhere to live.
    register_i(attribute);
    if (m != nullptr) {
        m->attributes.emplace(static_cast<uint8_t>(t), attribute);
    }
    return attribute;
}

const Attribute* Attribute::get(AttributeType t) {
    const IdManager* m = idManager();
    if (m != nullptr) {
        auto it = m->attributes.find(static_cast<uint8_t>(t));
        if (it != m->attributes.end()) {
            return it->second;
        }
    }
    pwLog(PW_WARNING, "WARNING: No attribute of type %d found\n", static_cast<int>(t));
    return nullptr;
}

}  // namespace pwr
