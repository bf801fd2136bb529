#include "common/data/DataDescriptor.h"

#include <string>

#include "common/data/IdManager.h"

namespace pwr {

DataDescriptor::DataDescriptor(const DataDescriptorBuilder& builder)
    : DataHandle(builder, DataHandleType::DATA_DESCRIPTOR),
      AttributeValueManager(builder.getAttributeValues()) {}

bool DataDescriptor::equal(const DataDescriptorBuilder& builder) const {
    return getName() == builder.getName() && hasSameValues(builder.getAttributeValues());
}

const DataDescriptor* DataDescriptor::create(const DataDescriptorBuilder& builder) {
    IdManager* m = idManager();
    const std::string key = builder.getKey();
    if (m != nullptr) {
        auto it = m->descriptors.find(key);
        if (it != m->descriptors.end()) {
            for (const DataDescriptor* descriptor : it->second) {
                if (descriptor->equal(builder)) {
                    return descriptor;
                }
            }
        }
    }
    DataDescriptor* descriptor = new DataDescriptor(builder);
    register_i(descriptor);
    if (m != nullptr) {
        m->descriptors[key].push_back(descriptor);
    }
    return descriptor;
}

}  // namespace pwr
