// Writes a file of framed metadata records (one of each kind) for the
// vantry-meta check; with --cut the last record is cut short.
#include <cstdio>
#include <fstream>
#include <string>
#include <vector>

#include "common/data/UniqueId.h"
#include "common/serialize/CollectorMetadata.h"
#include "common/serialize/MetricMetadata.h"
#include "common/serialize/MsgMetadata.h"
#include "common/serialize/OperationMetadata.h"
#include "common/serialize/Serializer.h"
#include "common/serialize/SystemMetadata.h"

int main(int argc, char** argv) {
    const bool cut = argc == 3 && std::string(argv[2]) == "--cut";
    if (argc != 2 && !cut) {
        std::fprintf(stderr, "usage: write_sample_metadata FILE [--cut]\n");
        return 2;
    }
    pwr::UniqueId::initialize();
    pwr::SystemMetadata sys;
    sys.fms = {6, 0x97, 2};
    sys.appVersion = (2026 << 16) | (1 << 8) | 3;
    sys.driverVersion = (5 << 16) | (2 << 8);
    sys.platformName = "ADL";
    sys.hostName = "bench-host";
    sys.osName = "Windows";
    sys.osType = "x64";
    sys.osVersion = "10.0.22631";
    sys.clockFreqMHz = 10.0f;
    sys.cpuFreqMHz = 2400.0f;
    sys.startTimeval = 1700000000000000000ull;
    sys.stopTimeval = 1700000060000000000ull;
    sys.programStartTimeval = 1699999990000000000ull;
    sys.commandLine = {"vantry", "-collect", "thermal"};
    sys.buildTopology("Package 0/Core 0/Thread 0\nPackage 0/Core 0/Thread 1\n", 2);

    pwr::MsgMetadata msg(3, 1, 42);
    msg.setCapName("thermal");
    msg.setMsgName("CORE_TEMPERATURE");
    msg.addMetaValue(new pwr::OperationMetadata("read-temp", "MSR_READ 0x19c", 8));
    pwr::MetricMetadata metric(3, 1);
    metric.addValue("unit", "oC");
    pwr::CollectorMetadata collector("msr-collector");
    collector.addValue("driver", "5.2.0");

    pwr::Serializer out;
    sys.serialize(out);
    msg.serialize(out);
    metric.serialize(out);
    collector.serialize(out);
    const std::vector<char>& bytes = out.get_buffer();
    std::ofstream file(argv[1], std::ios::binary);
    const size_t length = cut ? bytes.size() - 3 : bytes.size();
    file.write(bytes.data(), static_cast<std::streamsize>(length));
    pwr::UniqueId::destroy();
    return file.good() ? 0 : 1;
}
