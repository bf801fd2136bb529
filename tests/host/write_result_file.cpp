// Writes result files that the host never writes itself, for the end-to-end
// test: "nofeatures FILE" is a file of the first format whose feature list
// is empty although it holds sample records (a damaged list).
#include <cstdio>
#include <fstream>
#include <string>
#include <vector>

#include "common/data/UniqueId.h"
#include "common/plugins/DriverMessage.h"
#include "common/plugins/VexaBuffer.h"
#include "common/serialize/SystemMetadata.h"
#include "host/ResultFile.h"

namespace {

void putU32(std::vector<char>& out, uint32_t value) {
    for (int i = 0; i < 4; ++i) {
        out.push_back(static_cast<char>((value >> (8 * i)) & 0xFFu));
    }
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 3 || std::string(argv[1]) != "nofeatures") {
        std::fprintf(stderr, "usage: write_result_file nofeatures FILE\n");
        return 2;
    }
    pwr::UniqueId::initialize();
    pwr::SystemMetadata sys;
    sys.hostName = "bench-host";
    sys.clockFreqMHz = 1000.0f;
    sys.startTsc = 1000000000;
    sys.stopTsc = 1500000000;
    sys.pollingIntervalMsecs = 250;
    sys.buildTopology("Package 0/Core 0/Thread 0\n", 1);
    const std::vector<char> head = vantry::encodeHeadBody({&sys}, {}, {});
    std::vector<char> bytes = {'V', 'T', 'R', 'F'};
    putU32(bytes, 1);
    putU32(bytes, static_cast<uint32_t>(head.size()));
    bytes.insert(bytes.end(), head.begin(), head.end());
    pwr::VexaBuffer records;
    for (uint64_t i = 0; i < 3; ++i) {
        vexa_driver_msg msg;
        msg.timestamp = sys.startTsc + 1 + i * 250000000;
        msg.msgName = "FAKE_COUNT";
        msg.opName = "count";
        msg.values = {{"reads", std::to_string(i + 1)}};
        pwr::appendDriverMessage(records, msg);
    }
    bytes.insert(bytes.end(), records.data(), records.data() + records.size());
    std::ofstream file(argv[2], std::ios::binary);
    file.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    pwr::UniqueId::destroy();
    return file.good() ? 0 : 1;
}
