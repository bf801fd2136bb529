// Fuzz target: the host's result file reader, vantry::parseResultBuffer (a
// whole file in memory), and the file reader readResultFile on the same
// bytes written to a scratch file.
//
// Checks, besides the sanitizers: both readers agree on whether the file is
// readable and on its sample records; a refused file is named in one line;
// an accepted one (whole or recovered), written again with the host's own
// encoder and read back, is complete and writes the same bytes a second time.
#include <cstdio>
#include <string>
#include <vector>

#include "common/data/UniqueId.h"
#include "common/plugins/DriverMessage.h"
#include "common/plugins/VexaBuffer.h"
#include "fuzz/FuzzSupport.h"
#include "host/ResultFile.h"

namespace {

const char* const c_path = "result_file_fuzz.vtr";

bool sameRecord(const vexa_driver_msg& a, const vexa_driver_msg& b) {
    return a.timestamp == b.timestamp && a.msgName == b.msgName && a.opName == b.opName &&
           a.values == b.values;
}

// A finished file of the current format: the head, the samples as one
// frame, the end.
std::vector<char> encode(const vantry::ResultHead& head,
                         const std::vector<vexa_driver_msg>& samples) {
    std::vector<char> bytes =
        vantry::encodeResultHead(head.metadataPointers(), head.features, head.options);
    pwr::VexaBuffer buffer;
    for (const vexa_driver_msg& msg : samples) {
        FUZZ_CHECK(pwr::appendDriverMessage(buffer, msg));
    }
    uint64_t frames = 0;
    if (buffer.size() != 0) {
        std::vector<char> frame;
        FUZZ_CHECK(vantry::encodeSamplesFrame(buffer.data(), buffer.size(), frame));
        bytes.insert(bytes.end(), frame.begin(), frame.end());
        frames = 1;
    }
    const std::vector<char> end = vantry::encodeEndFrame(*head.system(), frames, samples.size());
    bytes.insert(bytes.end(), end.begin(), end.end());
    return bytes;
}

bool parse(const std::vector<char>& bytes, vantry::ResultHead& head,
           std::vector<vexa_driver_msg>& samples, std::string& error) {
    samples.clear();
    return vantry::parseResultBuffer(
        reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size(), head,
        [&samples](const vexa_driver_msg& msg) {
            samples.push_back(msg);
            return true;
        },
        error);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    pwr::fuzz::quietLogging();
    pwr::UniqueId::initialize();
    {
        const std::vector<char> bytes(data, data + size);
        vantry::ResultHead head;
        std::vector<vexa_driver_msg> samples;
        std::string error;
        const bool ok = parse(bytes, head, samples, error);
        FUZZ_CHECK(ok || (!error.empty() && error.find('\n') == std::string::npos));

        // The file reader agrees.
        FUZZ_CHECK(pwr::fuzz::writeFile(c_path, data, size));
        vantry::ResultHead fileHead;
        std::vector<vexa_driver_msg> fileSamples;
        std::string fileError;
        const bool fileOk = vantry::readResultFile(
            c_path, fileHead,
            [&fileSamples](const vexa_driver_msg& msg) {
                fileSamples.push_back(msg);
                return true;
            },
            fileError);
        std::remove(c_path);
        FUZZ_CHECK(fileOk == ok);
        if (ok) {
            FUZZ_CHECK(fileSamples.size() == samples.size());
            for (size_t i = 0; i < samples.size(); ++i) {
                FUZZ_CHECK(sameRecord(fileSamples[i], samples[i]));
            }
            FUZZ_CHECK(fileHead.metadata.size() == head.metadata.size());

            const std::vector<char> first = encode(head, samples);
            vantry::ResultHead again;
            std::vector<vexa_driver_msg> againSamples;
            FUZZ_CHECK(parse(first, again, againSamples, error));
            FUZZ_CHECK(again.complete && again.recoveryNote.empty());
            FUZZ_CHECK(encode(again, againSamples) == first);
        }
    }
    pwr::UniqueId::destroy();
    return 0;
}
