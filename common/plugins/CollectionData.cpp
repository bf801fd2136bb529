#include "common/plugins/CollectionData.h"

CollectionData::~CollectionData() = default;

void CollectionData::reset() {
    *this = CollectionData();
}
