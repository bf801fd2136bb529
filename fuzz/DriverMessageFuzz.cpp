// Fuzz target: the collector record reader, pwr::readDriverMessage, over a
// buffer of records as the host drains them from a collector and stores
// them in a result file. The reader starts at offset 0 and goes on record
// by record until one is refused.
//
// Checks, besides the sanitizers: a refused record leaves offset and target
// untouched; an accepted one moves offset past exactly the bytes that
// appendDriverMessage writes for it, and those bytes are the input's own
// (the wire form has one encoding per record).
#include <algorithm>
#include <string>
#include <vector>

#include "common/plugins/DriverMessage.h"
#include "common/plugins/VexaBuffer.h"
#include "fuzz/FuzzSupport.h"

namespace {

bool sameRecord(const vexa_driver_msg& a, const vexa_driver_msg& b) {
    return a.timestamp == b.timestamp && a.msgName == b.msgName && a.opName == b.opName &&
           a.values == b.values;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    pwr::fuzz::quietLogging();
    // A copy of exactly size bytes, so that the sanitizers see any read past
    // the end (and a null pointer for the empty input, as a caller may pass).
    std::vector<uint8_t> bytes(data, data + size);
    const uint8_t* begin = bytes.empty() ? nullptr : bytes.data();
    size_t offset = 0;
    for (;;) {
        vexa_driver_msg sentinel;
        sentinel.timestamp = 0x5A5A5A5A5A5A5A5Aull;
        sentinel.msgName = "untouched";
        vexa_driver_msg msg = sentinel;
        const size_t start = offset;
        if (!pwr::readDriverMessage(begin, bytes.size(), offset, msg)) {
            FUZZ_CHECK(offset == start);
            FUZZ_CHECK(sameRecord(msg, sentinel));
            break;
        }
        FUZZ_CHECK(offset > start && offset <= bytes.size());
        pwr::VexaBuffer again;
        FUZZ_CHECK(pwr::appendDriverMessage(again, msg));
        FUZZ_CHECK(again.size() == offset - start);
        FUZZ_CHECK(std::equal(again.data(), again.data() + again.size(), bytes.data() + start));
        (void)pwr::driverMessagePrefix(msg.msgName);
    }
    // Offsets past the end are refused, not read.
    size_t past = bytes.size() + 1;
    vexa_driver_msg msg;
    FUZZ_CHECK(!pwr::readDriverMessage(begin, bytes.size(), past, msg));
    FUZZ_CHECK(past == bytes.size() + 1);
    return 0;
}
