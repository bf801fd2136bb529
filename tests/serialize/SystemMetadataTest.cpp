#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "common/data/EntityHandle.h"
#include "common/serialize/Serializer.h"
#include "common/serialize/SystemMetadata.h"
#include "tests/serialize/RecordTestSupport.h"
#include "tests/support/LogCapture.h"

namespace pwr {
namespace {

using test::Bytes;
using test::cut;
using test::written;

constexpr uint32_t c_appVersion = 0x07E80102;  // 2024.1.2
constexpr uint32_t c_oldAppVersion = 0x07E40200;
constexpr uint64_t c_start = 1700000000000000000ull;  // 2023-11-14 22:13:20 GMT
constexpr uint64_t c_second = 1000000000ull;

SystemMetadata sample(uint32_t appVersion = c_appVersion) {
    SystemMetadata s;
    s.sidToUuid = {{7, "uuid-7"}};
    s.fms = {6, 0x97, 2};
    s.appVersion = appVersion;
    s.driverVersion = 0x00030405;
    s.scuVersion = 9;
    s.platformName = "ADL_ADP-S";
    s.hostName = "host";
    s.osName = "Windows";
    s.osType = "x64";
    s.osVersion = "10.0.22631";
    EXPECT_EQ(s.buildTopology("Package 0/Core 0 (0x40000001)/Thread 0\n"
                              "Package 0/Core 0/Thread 1\n"
                              "Package 0/Core 1 (0x20000001)/Thread 0\n",
                              3),
              0);
    s.busFreqMHz = 100.0f;
    s.clockFreqMHz = 10.0f;
    s.lfmFreqMHz = 400.0f;
    s.hfmFreqMHz = 3600.0f;
    s.cpuFreqMHz = 2400.5f;
    s.startTsc = 1000;
    s.stopTsc = 2000;
    s.startTimeval = c_start;
    s.stopTimeval = c_start + 5 * c_second / 2;
    s.pollingIntervalMsecs = 100;
    s.maxDetail = 2;
    s.commandLine = {"vantry", "-t"};
    s.producedSamples = 50;
    s.droppedSamples = 1;
    s.lowOverheadMode = true;
    s.platformSpecifiers = {{"FMS", "6.151.2"}};
    s.topologyChanges = {TopologyChange(5000, cpu_action::OFFLINE, 3, 1, 0, 0)};
    s.hyperVEnabled = true;
    s.cpuNativeModelIds = {0x40000001};
    s.platformId = 5;
    s.edramCap = 1;
    s.igfxId = 0x4680;
    s.driverBuildDate = "2024-01-02";
    s.programStartTimeval = c_start - c_second;
    s.programStopTimeval = c_start + 4 * c_second;
    s.exeBuildDate = "2024-01-03";
    s.continuousCollectionQuantum = 5000;
    s.clockSyncs = {{"nano-uuid", "NANO", 1000.0f, 77, "qpc-uuid", "QPC", 10.0f, 88}};
    s.hvciEnabled = true;
    s.buildRef = "ref-1";  // nonNumericVersion stays empty, as it usually is
    s.packageType = "BGA";
    s.vtioEnabled = true;
    return s;
}

// The record of sample(), as bytes, with the places where readers of cut
// records must react.
struct Golden {
    std::vector<char> bytes;
    size_t deprecatedTree = 0;
    size_t prefixEnd = 0;
    // Where each optional field starts, and the warning of a record cut there.
    std::vector<std::pair<size_t, std::string>> fields;
    // Cuts inside these [begin, end) ranges break a repeated record.
    std::pair<size_t, size_t> changeRecords, syncRecords;
};

Golden golden(uint32_t appVersion = c_appVersion) {
    Golden g;
    Bytes b;
    const auto optional = [&](const std::string& what) -> Bytes& {
        g.fields.emplace_back(b.data.size(),
                              "WARNING: couldn't extract " + what + " -- older file?!\n");
        return b;
    };
    b.u32(2);  // the type code
    b.u16(1).i32(7).str("uuid-7").u8(6).u8(0x97).u8(2);
    b.u32(appVersion).u32(0x00030405).u32(9);
    b.str("ADL_ADP-S").str("host").str("Windows").str("x64").str("10.0.22631");
    g.deprecatedTree = b.data.size();
    b.u16(0);
    b.f32(100.0f).f32(10.0f).f32(400.0f).f32(3600.0f).f32(2400.5f);
    b.u64(1000).u64(2000).u64(c_start).u64(c_start + 5 * c_second / 2);
    b.u16(100).u8(2).u16(2).str("vantry").str("-t");
    g.prefixEnd = b.data.size();
    optional("# produced samples").u64(50);
    optional("# dropped samples").u64(1);
    optional("low overhead mode information").u8(1);
    optional("platform specifiers").u16(1).str("FMS").str("6.151.2");
    optional("topology changes").u16(1);
    g.changeRecords.first = b.data.size();
    b.u64(5000).i32(1).u16(3).u16(1).u16(0).i32(0);
    g.changeRecords.second = b.data.size();
    optional("HyperV enable information").u8(1);
    optional("VSM enable information").u8(0);
    optional("cpu native model IDs").u16(0);  // never written
    optional("Platform Id information").u32(5);
    optional("Edram Cap information").u8(1);
    optional("iGfx Id information").u32(0x4680);
    optional("driver build date information").str("2024-01-02");
    optional("program start/stop timeval").u64(c_start - c_second).u64(c_start + 4 * c_second);
    optional(".exe build date information").str("2024-01-03");
    optional("continuous collection quantum information");
    if (appVersion < SystemMetadata::c_quantumInMsecsVersion) {
        b.u16(5);  // seconds
    } else {
        b.u32(5000);
    }
    optional("clock sync info").u16(1);
    g.syncRecords.first = b.data.size();
    b.str("nano-uuid").str("NANO").f32(1000.0f).u64(77);
    b.str("qpc-uuid").str("QPC").f32(10.0f).u64(88);
    g.syncRecords.second = b.data.size();
    optional("Hypervisor Enforced Code Integrity enable information").u8(1);
    optional("non-numeric version number").str("");
    optional("build ref information").str("ref-1");
    optional("package type information").str("BGA");
    optional("VTIO information").u8(1);
    // The current tree: package 0 with two cores.
    b.u16(1).i32(0).u32(1);
    b.i32(0).u32(3).u32(0x40000001).i32(0).u32(4).i32(-1).i32(1).u32(4).i32(-1).i32(-1);
    b.i32(1).u32(3).u32(0x20000001).i32(0).u32(4).i32(-1).i32(-1);
    b.i32(-1);
    g.bytes = b.data;
    return g;
}

// Reads a framed system record from the first length bytes.
int readBack(const std::vector<char>& bytes, SystemMetadata& out, size_t length = SIZE_MAX) {
    Serializer in(cut(bytes, length));
    uint32_t type = 0;
    if (in.read(type) == 0 || type != Metadata::c_systemMetadataType) {
        return -1;
    }
    return out.deserialize_i(in, 0);
}

class SystemMetadataTest : public test::RegistryTest {};

TEST_F(SystemMetadataTest, WriterLayoutIsPinned) {
    EXPECT_EQ(written(sample()), golden().bytes);
    // Writers older than 2020.3.0 stored the quantum as 16-bit seconds.
    EXPECT_EQ(written(sample(c_oldAppVersion)), golden(c_oldAppVersion).bytes);
    // Empty mandatory strings would make the record unreadable.
    SystemMetadata empty;
    empty.commandLine = {""};
    SystemMetadata back;
    ASSERT_EQ(readBack(written(empty), back), 0);
    EXPECT_EQ(back.hostName, "N/A");
    EXPECT_EQ(back.commandLine, std::vector<std::string>{"N/A"});
}

TEST_F(SystemMetadataTest, RoundTripKeepsEveryFieldButNativeModelIds) {
    const std::vector<char> bytes = written(sample());
    log.context().setVerbosity(PW_WARNING);
    log.clear();
    SystemMetadata back;
    ASSERT_EQ(readBack(bytes, back), 0);
    EXPECT_TRUE(log.loggedExactly({}));  // a whole record is no older record
    EXPECT_TRUE(back.cpuNativeModelIds.empty());
    // Every value of sample() is distinct: a reader that mixed up two fields
    // would write different bytes.
    EXPECT_EQ(written(back), golden().bytes);
    // The tree comes back numbered, and the topology entities follow it.
    std::vector<const TNode*> threads;
    back.getCPUTopology().getAllThreads(threads);
    ASSERT_EQ(threads.size(), 3u);
    EXPECT_EQ(threads[2]->getUniqueID(), 2);
    const EntityHandle* thread = EntityHandle::getCPUThreadHandle(2);
    ASSERT_NE(thread, nullptr);
    EXPECT_EQ(thread->getQualifiedName(), "CPU/Package 0/Core 1/Thread 0");

    // The framed reader of mixed records makes a system record of code 2.
    Serializer framed(golden().bytes);
    const std::unique_ptr<Metadata> record(Metadata::deserialize(framed, 0));
    ASSERT_NE(dynamic_cast<SystemMetadata*>(record.get()), nullptr);
    EXPECT_EQ(written(*record), golden().bytes);
}

TEST_F(SystemMetadataTest, OlderWritersTreeAndQuantumAreRead) {
    // Old files carry the tree in its deprecated form, in the prefix.
    const Golden g = golden();
    Serializer tree;
    sample().getCPUTopology().serializeTreeDeprecated(tree);
    std::vector<char> oldFile = cut(g.bytes, g.deprecatedTree);
    const std::vector<char> treeBytes = tree.get_buffer();
    oldFile.insert(oldFile.end(), treeBytes.begin(), treeBytes.end());
    oldFile.insert(oldFile.end(), g.bytes.begin() + g.deprecatedTree + 2,
                   g.bytes.begin() + g.prefixEnd);
    SystemMetadata back;
    ASSERT_EQ(readBack(oldFile, back), 0);
    std::vector<const TNode*> threads;
    back.getCPUTopology().getAllThreads(threads);
    ASSERT_EQ(threads.size(), 3u);
    EXPECT_EQ(threads[2]->getUniqueID(), 2);

    // A quantum from an old writer is scaled to milliseconds.
    ASSERT_EQ(readBack(golden(c_oldAppVersion).bytes, back), 0);
    EXPECT_EQ(back.continuousCollectionQuantum, 5000u);
}

// The lines whose numbers the reader formats.
TEST_F(SystemMetadataTest, MandatoryPrefixIsLoggedAtInformationLevel) {
    const std::vector<char> bytes = written(sample());
    log.clear();
    SystemMetadata back;
    ASSERT_EQ(readBack(bytes, back), 0);
    EXPECT_TRUE(log.logged("INFO: OK, read app version = 132645122 (2024.1.2)\n"));
    EXPECT_TRUE(log.logged("INFO: OK, read driver version = 197637 (3.4.5)\n"));
    EXPECT_TRUE(log.logged("INFO: OK: read CPU freq = 2400.50\n"));
    EXPECT_TRUE(log.logged(
        "INFO: OK: read start, stop Timeval = 1700000000000000000, 1700000002500000000\n"));
    EXPECT_TRUE(log.logged("OK: read command line: vantry -t \n"));
}

// Cut inside the mandatory prefix or a repeated record, a record is refused
// and leaves the target alone; cut elsewhere it is an older record, with one
// warning when the cut falls where a field starts.
TEST_F(SystemMetadataTest, EveryTruncationIsRefusedOrAnOlderRecord) {
    log.context().setVerbosity(PW_WARNING);
    const Golden g = golden();
    const auto inside = [](size_t n, std::pair<size_t, size_t> range) {
        return n >= range.first && n < range.second;
    };
    auto field = g.fields.begin();
    for (size_t n = 0; n < g.bytes.size(); ++n) {
        const bool refused =
            n < g.prefixEnd || inside(n, g.changeRecords) || inside(n, g.syncRecords);
        log.clear();
        SystemMetadata back;
        back.hostName = "untouched";
        ASSERT_EQ(readBack(g.bytes, back, n), refused ? -1 : 0) << "cut at " << n;
        EXPECT_EQ(back.hostName, refused ? "untouched" : "host") << "cut at " << n;
        if (field != g.fields.end() && n == field->first) {
            EXPECT_TRUE(log.loggedExactly({field->second}));
            ++field;
        }
    }
    EXPECT_TRUE(field == g.fields.end());
}

TEST_F(SystemMetadataTest, OlderRecordsKeepDefaults) {
    const Golden g = golden();
    SystemMetadata back;
    ASSERT_EQ(readBack(g.bytes, back, g.prefixEnd), 0);
    EXPECT_EQ(back.producedSamples, 0u);
    EXPECT_EQ(back.driverBuildDate, "N/A");
    EXPECT_EQ(back.getCPUTopology().getNumThreads(), 0u);
    EXPECT_EQ(EntityHandle::getCPUThreadCount(), 0);
    // Cut where the driver build date starts: empty rather than "N/A".
    readBack(g.bytes, back, g.fields[11].first);
    EXPECT_EQ(back.driverBuildDate, "");
    EXPECT_EQ(back.igfxId, 0x4680u);

    // The warnings of the newer fields also show when debug logging is on
    // for the reader's tag.
    log.context().setVerbosity(PW_FATAL);
    log.context().addCondLogTagForDebugLogging("SystemMeta::deserialize");
    log.clear();
    readBack(g.bytes, back, g.fields[11].first);  // driver build date: untagged
    readBack(g.bytes, back, g.fields[13].first);  // .exe build date: tagged
    EXPECT_TRUE(log.loggedExactly({g.fields[13].second}));
}

TEST_F(SystemMetadataTest, DamagedRecordsNeverBreakTheReader) {
    log.context().setVerbosity(PW_FATAL);
    const int accepted =
        test::readDamaged(20240521u, {golden().bytes}, [](const std::vector<char>& bytes) {
            SystemMetadata back;
            const int result = readBack(bytes, back);
            EXPECT_TRUE(result == 0 || result == -1);
            return result == 0;
        });
    // Both outcomes occur: the damaged records get past the prefix.
    EXPECT_GT(accepted, 500);
    EXPECT_LT(accepted, 3500);
}

TEST_F(SystemMetadataTest, TimesVersionBannerAndHeaders) {
    SystemMetadata s = sample();
    EXPECT_EQ(s.formatTimevalAsString(0), "N/A");
    EXPECT_EQ(s.formatTimevalAsString(c_second), "1970-01-01 00:00:01 GMT");
    EXPECT_EQ(s.getCollectionHeader(),
              "Command line options: vantry -t \n\n"
              "Program Started: 2023-11-14 22:13:19 GMT\n"
              "Data Collection Started: 2023-11-14 22:13:20 GMT \n"
              "QPC Clock Frequency (MHz): 10 \n"
              "CPU Base Operating Frequency (MHz): 2400.5\n"
              "Collection duration (sec):2.5");

    const std::string banner =
        "Orvane(R) Vantry for Windows* OS Version 2024.1.2 [2024-01-03]\n"
        "Build Ref: ref-1\n"
        "Driver Version 3.4.5 [2024-01-02]\n";
    EXPECT_EQ(s.getOSVersionString(false), banner);
    const std::string dashes(74, '-');
    EXPECT_EQ(
        s.getVersionHeader(true),
        dashes + "\n" + banner + "Post Processed using Vantry for Windows* OS Version " +
            SystemMetadata::getLibraryVersion() + " [" + SystemMetadata::getLibraryBuildDate() +
            "]\n" + "Post Processed Build Ref: " +
            (*SystemMetadata::getLibraryBuildRef() ? SystemMetadata::getLibraryBuildRef() : "N/A") +
            "\nCopyright (C) Orvane Corporation. All rights reserved.\n"
            "Vantry measures platform power: processor sleep and frequency states, "
            "temperatures and device activity.\n" +
            dashes + "\n");
    s.nonNumericVersion = "2024.1 beta";
    s.exeBuildDate.clear();
    s.buildRef.clear();
    s.driverBuildDate.clear();
    EXPECT_EQ(s.getOSVersionString(false),
              "Orvane(R) Vantry for Windows* OS Version 2024.1 beta [N/A]\n"
              "Build Ref: N/A\nDriver Version 3.4.5 [N/A]\n");
    std::swap(s.startTimeval, s.stopTimeval);
    EXPECT_GT(s.getCollectionDurationSec(), 1e9);  // unsigned difference
}

TEST_F(SystemMetadataTest, HardwareHeader) {
    SystemMetadata s = sample();
    s.cpuNativeModelIds.clear();  // the cores of the tree carry them
    const std::string head =
        "\nSystem Name: host\nOperating System: Windows [10.0.22631]"
        "\nCPU: Alder Lake-S\nCPU ID (family.model.stepping): 0x6.0x97.0x2"
        "\nPlatform ID: 0b101\nIntegrated GPU Device ID: 0x4680"
        "\nPMT: Alder Lake CPU Telemetry\nPCI: Thunderbolt 4 Controller"
        "\nPCI: IPU6 Imaging Unit\nPCI: GNA 3.0 Neural Accelerator\nPCH: Alder Point"
        "\nEDRAM Present: No \nTotal # of packages: 1 \nTotal # of cores: 2"
        " \nTotal # of logical processors: 3\n\nCPU native model:";
    EXPECT_EQ(s.getSystemHWHeader(), head + "\nCore0 = GLC\nCore1 = GRT");
    s.cpuNativeModelIds = {0x20000001, 0x20000001, 0x40000001};
    EXPECT_EQ(s.getSystemHWHeader(), head + "\nCore0 = GRT\nCore1 = GRT\nCore2 = GLC");

    // An unknown machine, with modules and an IO extender.
    SystemMetadata m;
    m.fms = {6, 0xAA, 4};
    m.platformName = "MTL-X";
    m.edramCap = 0;
    m.cpuTopology.addNode(0, 0, 0, 0);
    m.cpuTopology.addNode(0, 1, 2, 0);
    EXPECT_EQ(m.getSystemHWHeader(),
              "\nSystem Name: \nOperating System:  []\nCPU: Meteor Lake"
              "\nCPU ID (family.model.stepping): 0x6.0xaa.0x4\nPlatform ID: 0b000"
              "\nIntegrated GPU Device: NA\nPMT: Meteor Lake SOC Telemetry"
              "\nPMT: Meteor Lake IOE Telemetry\nPCI: Thunderbolt 4 Controller"
              "\nPCI: IPU6 Imaging Unit\nPCI: NPU Neural Processing Unit\nPCH: N/A"
              "\nIOE: Meteor Lake IOE\nEDRAM Present: Yes \nTotal # of packages: 1"
              " \nTotal # of modules: 2 \nTotal # of cores: 2"
              " \nTotal # of logical processors: 2\n\nCPU native model:"
              "\nCore0 = N/A\nCore1 = N/A");
    m.fms = {0x19, 0x21, 0};
    m.platformName = "OTHER";
    m.edramCap = 7;
    const std::string other = m.getSystemHWHeader();
    EXPECT_NE(other.find("\nCPU: N/A\n"), std::string::npos);
    EXPECT_NE(other.find("\nPMT: N/A\nPCI: N/A\nPCH: N/A\nEDRAM Present: Unsupported"),
              std::string::npos);
    EXPECT_EQ(m.getCPUNativeModelName(0x40000001), "N/A");
}

TEST_F(SystemMetadataTest, TextDump) {
    std::ostringstream os;
    os << std::hex << sample();  // the caller's flags must not matter
    EXPECT_EQ(os.str(),
              "FMS: 0x6.0x97.0x2\nApp version: 2024.1.2\nApp build date: 2024-01-03\n"
              "Driver version: 3.4.5\nDriver build date: 2024-01-02\nSCU version: 9\n"
              "Platform name: ADL_ADP-S\nHost name: host\nOS name: Windows\nOS type: x64\n"
              "OS version: 10.0.22631\nBus freq (MHz): 100\nQPC clock freq (MHz): 10\n"
              "LFM freq (MHz): 400\nHFM freq (MHz): 3600\nBase operating freq (MHz): 2400.5\n"
              "Start TSC: 1000\nStop TSC: 2000\nStart Timeval: 1700000000000000000\n"
              "Stop Timeval: 1700000002500000000\nPolling interval (msecs): 100\n"
              "Collection command line: vantry -t \n"
              "Collected samples : 50, dropped samples: 1\n"
              "\tsid[7] => uuid[uuid-7]\n"
              "Platform specifiers: \n\tFMS => 6.151.2\n"
              "Topology changes: \n"
              "\tTimestamp: 5000, Action: OFFLINE, LP: 3, Core: 1, Module: 0, Package: 0\n"
              "Synchronized clocks: \n\tClock[0]:\n"
              "\t\tClock UUID: nano-uuid\n\t\tClock Name: NANO\n\t\tClock Freq (MHz): 1000\n"
              "\t\tClock Value: 77\n\t\tDefault Clock UUID: qpc-uuid\n"
              "\t\tDefault Clock Name: QPC\n\t\tDefault Clock Freq (MHz): 10\n"
              "\t\tDefault Clock Value: 88\n"
              "Package Type: BGA\n");
}

TEST(TopologyChangeTest, ActionNamesAndModules) {
    const char* names[] = {"NOP", "OFFLINE", "ONLINE PREPARE", "ONLINE", "NOP"};
    for (int32_t action = 0; action < 5; ++action) {
        EXPECT_STREQ(TopologyChange(0, static_cast<cpu_action>(action), 0, 0, 0, 0).getActionName(),
                     names[action]);
    }
    EXPECT_EQ(TopologyChange().getModuleID(), -1);
    EXPECT_EQ(TopologyChange::fromDriverEvent(10, cpu_action::ONLINE, 9, 5, 1, 4).getModuleID(), 1);
    EXPECT_EQ(TopologyChange::fromDriverEvent(10, cpu_action::ONLINE, 9, 5, 1, 0).getModuleID(),
              -1);
}

TEST(SystemMetadataPlatformTest, FamiliesAreFamily6ModelLists) {
    SystemMetadata s;
    s.fms = {6, 0x97, 0};
    EXPECT_TRUE(s.isHybridPlatform());
    EXPECT_FALSE(s.isClientPlatform() || s.isServerPlatform() || s.isAtomPlatform());
    s.fms.model = 0x8C;
    EXPECT_TRUE(s.isClientPlatform());
    s.fms.model = 0x8F;
    EXPECT_TRUE(s.isServerPlatform());
    s.fms.model = 0x5C;
    EXPECT_TRUE(s.isAtomPlatform());
    s.fms.family = 15;
    EXPECT_FALSE(s.isAtomPlatform());
}

}  // namespace
}  // namespace pwr
