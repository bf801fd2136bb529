// Writes the seed corpora of the fuzz targets: small, real inputs made by the
// library's own writers (records, trees, collector records) and short
// configuration files that use every construct once. Run once by hand, with
// the corpus folder and the folder of the configuration examples:
//
//   fuzz_seed_writer fuzz/corpus tests/data
//
// It writes corpus/<target>/seed-*; crash inputs that the fuzzer found are
// kept beside them under other names and are not touched.
#include <algorithm>
#include <cstdio>
#include <string>
#include <vector>

#include "common/data/UniqueId.h"
#include "common/plugins/DriverMessage.h"
#include "common/plugins/VexaBuffer.h"
#include "common/serialize/CollectorMetadata.h"
#include "common/serialize/MetricMetadata.h"
#include "common/serialize/MsgMetadata.h"
#include "common/serialize/OperationMetadata.h"
#include "common/serialize/Serializer.h"
#include "common/serialize/SystemMetadata.h"
#include "common/serialize/TopTree.h"
#include "fuzz/FuzzSupport.h"
#if defined(VANTRY_FUZZ_RESULT_FILE)
#include "host/ResultFile.h"
#endif

namespace {

std::string g_root;
int g_failures = 0;

void put(const std::string& target, const std::string& name, const std::vector<uint8_t>& bytes) {
    const std::string path = g_root + "/" + target + "/seed-" + name;
    if (!pwr::fuzz::writeFile(path, bytes.data(), bytes.size())) {
        std::fprintf(stderr, "cannot write %s\n", path.c_str());
        ++g_failures;
    }
}

std::vector<uint8_t> bytesOf(pwr::Serializer& ser) {
    const std::vector<char>& b = ser.get_buffer();
    return std::vector<uint8_t>(b.begin(), b.end());
}

std::vector<uint8_t> bytesOf(const std::string& text) {
    return std::vector<uint8_t>(text.begin(), text.end());
}

const char* const c_topology =
    "Package 0/Core 0 (0x40000001)/Thread 0\n"
    "Package 0/Core 0/Thread 1\n"
    "Package 0/Core 1 (0x20000001)/Thread 0\n";

pwr::SystemMetadata systemRecord() {
    pwr::SystemMetadata sys;
    sys.sidToUuid[7] = "5f0e6b62-1c1d-4c8e-9a53-0b6c2f7f1a10";
    sys.fms = {6, 0x9A, 3};
    sys.appVersion = (2026 << 16) | (1 << 8) | 3;
    sys.driverVersion = (5 << 16) | (2 << 8);
    sys.platformName = "ADL-P";
    sys.hostName = "lab-7";
    sys.osName = "Windows";
    sys.osType = "x64";
    sys.osVersion = "10.0.22631";
    sys.clockFreqMHz = 10.0f;
    sys.cpuFreqMHz = 2400.0f;
    sys.startTsc = 1000;
    sys.stopTsc = 9000;
    sys.startTimeval = 1700000000000000000ull;
    sys.stopTimeval = 1700000060000000000ull;
    sys.pollingIntervalMsecs = 100;
    sys.maxDetail = 2;
    sys.commandLine = {"vantry", "-collect", "thermal"};
    sys.producedSamples = 600;
    sys.droppedSamples = 1;
    sys.platformSpecifiers = {{"FMS", "6.0x9A.3"}, {"PCI", ""}};
    sys.topologyChanges.emplace_back(5000, pwr::cpu_action::OFFLINE, 2, 1, 0, -1);
    sys.hyperVEnabled = true;
    sys.platformId = 5;
    sys.edramCap = 1;
    sys.igfxId = 0x46A6;
    sys.driverBuildDate = "2026-01-02";
    sys.programStartTimeval = 1699999990000000000ull;
    sys.exeBuildDate = "2026-01-03";
    sys.continuousCollectionQuantum = 5000;
    pwr::VexaClockSync sync;
    sync.clockUUID = "c1";
    sync.clockName = "TSC";
    sync.clockFreqMHz = 2400.0f;
    sync.clockValue = 123456;
    sync.defaultClockUUID = "c0";
    sync.defaultClockName = "QPC";
    sync.defaultClockFreqMHz = 10.0f;
    sync.defaultClockValue = 654;
    sys.clockSyncs.push_back(sync);
    sys.buildRef = "r1234";
    sys.buildTopology(c_topology, 3);
    return sys;
}

void metadataSeeds() {
    const pwr::SystemMetadata sys = systemRecord();
    pwr::MsgMetadata msg(3, 1, 42);
    msg.setCapName("thermal");
    msg.setCapGroups({"power"});
    msg.setMsgName("CORE_TEMPERATURE");
    auto* read = new pwr::OperationMetadata("read-temp", "MSR_READ 0x19c", 8);
    read->setOrgMsgTag("TEMP");
    msg.addMetaValue(read);
    msg.addMetaValue(new pwr::OperationMetadata("read-tsc", "MSR_READ 0x10", 8));
    msg.setTriggers({"BEGIN", "POLL"});
    msg.setTracepointNames({"power:cpu_idle"});
    pwr::MetricMetadata metric(3, 1);
    metric.addValue("unit", "oC");
    metric.addValue("scale", "1");
    pwr::CollectorMetadata collector("msr-collector");
    collector.addValue("driver", "5.2.0");

    pwr::Serializer all;
    sys.serialize(all);
    msg.serialize(all);
    metric.serialize(all);
    collector.serialize(all);
    put("metadata", "all-kinds", bytesOf(all));

    pwr::Serializer one;
    msg.serialize(one);
    put("metadata", "message", bytesOf(one));
    pwr::Serializer op;
    pwr::OperationMetadata("read-tsc", "MSR_READ 0x10", 8).serialize(op);
    put("metadata", "operation-without-tag", bytesOf(op));
    pwr::Serializer cut;
    metric.serialize(cut);
    std::vector<uint8_t> cutBytes = bytesOf(cut);
    cutBytes.resize(cutBytes.size() - 2);
    put("metadata", "metric-cut", cutBytes);
    pwr::Serializer unknown;
    unknown.write(uint32_t{9});
    put("metadata", "unknown-type", bytesOf(unknown));
}

void systemSeeds() {
    pwr::SystemMetadata sys = systemRecord();
    pwr::Serializer full;
    sys.serialize_i(full);
    put("system_metadata", "full", bytesOf(full));

    // The mandatory prefix alone, as an older writer left it: cut right after
    // the last command-line word, where the optional part starts.
    std::vector<uint8_t> bytes = bytesOf(full);
    const std::string last = "\x07" + std::string(1, '\0') + sys.commandLine.back();
    const auto at = std::search(bytes.begin(), bytes.end(), last.begin(), last.end());
    if (at == bytes.end()) {
        ++g_failures;
    } else {
        bytes.erase(at + static_cast<long>(last.size()), bytes.end());
        put("system_metadata", "mandatory-only", bytes);
    }

    // A writer older than 2020.3.0: the quantum is 16-bit seconds.
    pwr::SystemMetadata old = systemRecord();
    old.appVersion = 0x07E40200;
    pwr::Serializer oldBytes;
    old.serialize_i(oldBytes);
    put("system_metadata", "quantum-in-seconds", bytesOf(oldBytes));
}

void treeSeeds() {
    pwr::TopTree empty;
    pwr::TopTree tree;
    tree.buildTopology(
        "Package 0/Module 0/Core 0 (0x40000001)/Thread 0\n"
        "Package 0/Module 0/Core 0/Thread 1\n"
        "Package 0/Module 1/Core 2 (0x20000001)/Thread 0\n"
        "Package 1/Die 0/Tile 3/Core 0/Thread 0\n"
        "Package 1/SOC 2/Core 1/Thread 0\n",
        5);
    for (const bool deprecated : {false, true}) {
        const std::string form = deprecated ? "deprecated-" : "current-";
        for (const auto& named :
             {std::make_pair("empty", &empty), std::make_pair("two-packages", &tree)}) {
            pwr::Serializer out;
            if (deprecated) {
                named.second->serializeTreeDeprecated(out);
            } else {
                named.second->serializeTree(out);
            }
            std::vector<uint8_t> bytes = bytesOf(out);
            bytes.insert(bytes.begin(), deprecated ? 1 : 0);
            put("top_tree", form + named.first, bytes);
        }
    }
}

void driverMessageSeeds() {
    vexa_driver_msg a;
    a.timestamp = 123456789;
    a.msgName = "CSTATE_RESIDENCY";
    a.opName = "MSR_READ";
    a.values = {{"C6", "1200"}, {"TSC", "99999"}};
    vexa_driver_msg b;
    b.timestamp = 5;
    b.msgName = "THERMAL";
    b.opName = "read";
    pwr::VexaBuffer two;
    pwr::appendDriverMessage(two, a);
    pwr::appendDriverMessage(two, b);
    put("driver_message", "two-records", std::vector<uint8_t>(two.data(), two.data() + two.size()));
    pwr::VexaBuffer one;
    pwr::appendDriverMessage(one, a);
    put("driver_message", "one-record", std::vector<uint8_t>(one.data(), one.data() + one.size()));
}

void configSeeds(const std::string& dataDir) {
    std::vector<uint8_t> example;
    if (pwr::fuzz::readFile(dataDir + "/platform_example.cfg", example)) {
        put("platform_config", "example", example);
    } else {
        ++g_failures;
    }
    put("platform_config", "small",
        bytesOf("ALL_MODEL_BOARD-ID_CONSTANT_VALUE=0x42\n"
                "ALL_CORE_CAPABILITY_COMMAND-LINE_VALUE=core\n"
                "ALL_CORE_C6_MSG_READ-WHEN=BEGIN,POLL,END\n"
                "ALL_CORE_C6_MSR_ADDRESS=0x3FD\n"
                "ADL_MODEL_FMS_CONSTANT_VALUE=6.0x9A/-\n"
                "ADLP-ADL_CORE_INHERIT_MODE_VALUE=EXTEND\n"
                "ADLP-ADL_CORE_C7_MSG_SOURCE=C6\n"
                "ADLP-ADL_CORE_INFO_MSG_READ-WHEN=REQUIREMENTS\n"
                "ADLP-ADL_CORE_INFO_CONSTANT_KEY=V_1=2\n"));
    if (pwr::fuzz::readFile(dataDir + "/output_example.cfg", example)) {
        put("output_config", "example", example);
    } else {
        ++g_failures;
    }
    put("output_config", "small",
        bytesOf(
            "ALL_OUTPUT-ORDER_TAG_FEATURE_ORDER=power,thermal\n"
            "ALL_power_TAG_TABLE_ORDER=Core C-State\n"
            "ALL_power_Core C-State_Summary_TITLE=Core C-State Summary: Residency (Percentage)\n"
            "ADL_power_Core C-State_Summary_TRANSPOSE=YES # only on ADL\n"
            "ALL_thermal_Temperature_Summary_TABLE=NO\n"));
}

// Programs for the worker thread target (see VexaThreadFuzz.cpp).
void threadSeeds() {
    // Blocking command with a payload, a non-blocking one whose response is
    // read later, a fire-and-forget one, then a kill.
    put("vexa_thread", "requests", {0x18, 1, 0, 0,    0, 3,    'a', 'b', 'c', 0x08, 2, 0,
                                    0,    0, 0, 0x04, 0, 0x00, 3,   0,   0,   0,    0, 0x05});
    // The payload limit: exactly 1 MiB is accepted, one byte more ends the
    // worker.
    put("vexa_thread", "payload-limit", {0x18, 7, 0, 0, 0, 0xFE, 0x08, 8, 0, 0, 0, 0xFF});
    // The actor stops the thread; the response is still sent.
    put("vexa_thread", "actor-stops", {0x08, 4, 0, 0, 0, 1, 'x', 0x18, 0x5A, 1, 0, 0, 0});
}

#if defined(VANTRY_FUZZ_RESULT_FILE)
// Result files as the host writes them: the head, then collector records.
void resultFileSeeds() {
    const pwr::SystemMetadata sys = systemRecord();
    pwr::MsgMetadata msg(3, 1, 42);
    msg.setCapName("thermal");
    msg.setMsgName("CORE_TEMPERATURE");
    msg.addMetaValue(new pwr::OperationMetadata("read-temp", "MSR_READ 0x19c", 8));
    pwr::CollectorMetadata collector("msr-collector");
    collector.addValue("driver", "5.2.0");
    const std::vector<vantry::FeatureRecord> features = {
        {"thermal", "CORE", {"CORE_TEMPERATURE", "CORE_TSC"}}};
    const std::vector<std::pair<std::string, std::string>> options = {{"-i", "100"}};
    const std::vector<char> head =
        vantry::encodeResultHead({&sys, &msg, &collector}, features, options);
    // The corpus also keeps seed-no-samples and seed-two-samples, written by
    // the first release in the first format.
    std::vector<uint8_t> unfinished(head.begin(), head.end());
    put("result_file", "v2-unfinished-no-samples", unfinished);

    vexa_driver_msg sample;
    sample.timestamp = 1000;
    sample.msgName = "CORE_TEMPERATURE";
    sample.opName = "read-temp";
    sample.values = {{"Core 0", "45"}, {"Core 1", "47"}};
    pwr::VexaBuffer samples;
    pwr::appendDriverMessage(samples, sample);
    sample.timestamp = 2000;
    pwr::appendDriverMessage(samples, sample);
    std::vector<char> frame;
    vantry::encodeSamplesFrame(samples.data(), samples.size(), frame);
    std::vector<uint8_t> file(head.begin(), head.end());
    file.insert(file.end(), frame.begin(), frame.end());
    put("result_file", "v2-unfinished-one-poll", file);
    const std::vector<char> end = vantry::encodeEndFrame(sys, 1, 2);
    file.insert(file.end(), end.begin(), end.end());
    put("result_file", "v2-two-samples", file);
}
#endif

}  // namespace

int main(int argc, char** argv) {
    if (argc != 3) {
        std::fprintf(stderr, "usage: fuzz_seed_writer CORPUS_DIR CONFIG_EXAMPLES_DIR\n");
        return 2;
    }
    g_root = argv[1];
    pwr::fuzz::quietLogging();
    pwr::UniqueId::initialize();
    metadataSeeds();
    systemSeeds();
    treeSeeds();
    driverMessageSeeds();
    configSeeds(argv[2]);
    threadSeeds();
#if defined(VANTRY_FUZZ_RESULT_FILE)
    resultFileSeeds();
#endif
    pwr::UniqueId::destroy();
    return g_failures == 0 ? 0 : 1;
}
