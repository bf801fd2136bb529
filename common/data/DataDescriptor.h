// DataDescriptor: what a sample is about (a state, a value kind), the second
// half of a sample's key besides its entity.
//
// Like events, descriptors are de-duplicated: DataDescriptor::create returns
// the registered descriptor with an equal name and equal attribute values
// when there is one, found under DataDescriptorBuilder::getKey. Descriptors
// are registered handles owned by the registry.
#pragma once

#include "common/data/AttributeValueManager.h"
#include "common/data/DataHandle.h"
#include "common/data/Description.h"
#include "common/runtime/Export.h"

namespace pwr {

class PWR_API DataDescriptor : public DataHandle, public AttributeValueManager {
  public:
    // The registered descriptor equal to builder, or a new registered one.
    static const DataDescriptor* create(const DataDescriptorBuilder& builder);

    // Whether builder describes this descriptor: equal names, as many
    // attribute values, and an equal value in builder for each of this
    // descriptor's attributes.
    bool equal(const DataDescriptorBuilder& builder) const;

  private:
    explicit DataDescriptor(const DataDescriptorBuilder& builder);
};

}  // namespace pwr
