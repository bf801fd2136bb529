// Fuzz target: the system record's body (SystemMetadata::deserialize_i, the
// part after the type code), then every report text built from it: the
// version banner and header, the collection and hardware headers and the
// text dump. A damaged result file reaches all of them when it is printed.
//
// Checks, besides the sanitizers: a refused body leaves the record as it was
// (default-constructed here), and an accepted one, written and read again,
// writes exactly the same bytes and the same report texts (the native model
// ids aside, which result files never carry).
#include <sstream>
#include <string>
#include <vector>

#include "common/data/UniqueId.h"
#include "common/serialize/Serializer.h"
#include "common/serialize/SystemMetadata.h"
#include "fuzz/FuzzSupport.h"

namespace {

std::vector<char> body(const pwr::SystemMetadata& record) {
    pwr::Serializer out;
    record.serialize_i(out);
    return out.get_buffer();
}

std::string reports(const pwr::SystemMetadata& record) {
    std::ostringstream text;
    text << record.getVersionHeader(true) << record.getVersionHeader(false)
         << record.getCollectionHeader() << record.getSystemHWHeader() << record << "\n"
         << record.getCollectionStartTime() << record.getProgramStartTime()
         << record.getCollectionDurationSec() << record.formatTimevalAsString(record.stopTsc)
         << record.formatTimevalAsString(record.programStopTimeval)
         << record.getFormattedCPUCodeName() << record.getFormattedPCHDeviceName()
         << record.getFormattedIOEDeviceName() << record.isClientPlatform()
         << record.isServerPlatform() << record.isAtomPlatform() << record.isHybridPlatform();
    std::vector<std::string> names;
    record.getFormattedPCIDeviceNames(names, record.platformName);
    record.getFormattedPMTDeviceNames(names, record.platformName);
    for (const std::string& name : names) {
        text << name;
    }
    for (const pwr::TopologyChange& change : record.topologyChanges) {
        text << change
             << record.getCPUNativeModelName(static_cast<uint32_t>(change.getTimestamp()));
    }
    text << record.getCPUNativeModelName(record.platformId)
         << record.getCPUNativeModelName(record.igfxId);
    return text.str();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    pwr::fuzz::quietLogging();
    pwr::UniqueId::initialize();
    {
        pwr::Serializer in(std::vector<char>(data, data + size));
        pwr::SystemMetadata record;
        const std::vector<char> fresh = body(record);
        if (record.deserialize_i(in, 1) != 0) {
            FUZZ_CHECK(body(record) == fresh);
        } else {
            reports(record);
            // Native model ids are never written back (see SystemMetadata.h):
            // the texts compared below are those of the record without them.
            record.cpuNativeModelIds.clear();
            const std::vector<char> first = body(record);
            const std::string text = reports(record);
            pwr::Serializer again(first);
            pwr::SystemMetadata copy;
            FUZZ_CHECK(copy.deserialize_i(again, 1) == 0);
            FUZZ_CHECK(body(copy) == first);
            FUZZ_CHECK(reports(copy) == text);
        }
    }
    pwr::UniqueId::destroy();
    return 0;
}
