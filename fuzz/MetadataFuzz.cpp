// Fuzz target: Metadata::deserialize over a stream of framed records of every
// kind (message, metric, system, operation and collector records), read one
// after the other as post-processing reads a result file.
//
// Checks, besides the sanitizers: every record read back is of a known kind;
// writing it and reading the bytes again succeeds, gives the same kind and
// writes exactly the same bytes (a reader must never accept what its own
// writer cannot reproduce).
#include <memory>
#include <vector>

#include "common/data/UniqueId.h"
#include "common/serialize/Metadata.h"
#include "common/serialize/MsgMetadata.h"
#include "common/serialize/Serializer.h"
#include "fuzz/FuzzSupport.h"

namespace {

std::vector<char> written(const pwr::Metadata& record) {
    pwr::Serializer out;
    record.serialize(out);
    return out.get_buffer();
}

void checkRoundTrip(const pwr::Metadata& record) {
    FUZZ_CHECK(record.getType() <= pwr::Metadata::c_collectorMetadataType);
    if (record.getType() == pwr::Metadata::c_msgMetadataType) {
        for (const pwr::OperationMetadata* op :
             static_cast<const pwr::MsgMetadata&>(record).getMetaValues()) {
            FUZZ_CHECK(op != nullptr && op->getType() == pwr::Metadata::c_operationMetadataType);
        }
    }
    const std::vector<char> first = written(record);
    pwr::Serializer again(first);
    std::unique_ptr<pwr::Metadata> copy(pwr::Metadata::deserialize(again, 1));
    FUZZ_CHECK(copy != nullptr);
    FUZZ_CHECK(copy->getType() == record.getType());
    FUZZ_CHECK(copy->getPluginID() == record.getPluginID());
    FUZZ_CHECK(written(*copy) == first);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    pwr::fuzz::quietLogging();
    // The system record rebuilds the topology entities in the registry.
    pwr::UniqueId::initialize();
    {
        pwr::Serializer in(std::vector<char>(data, data + size));
        // Each record takes at least its 4-byte type code, so this ends.
        for (;;) {
            std::unique_ptr<pwr::Metadata> record(pwr::Metadata::deserialize(in, 1));
            if (!record) {
                break;
            }
            checkRoundTrip(*record);
        }
    }
    pwr::UniqueId::destroy();
    return 0;
}
