#include <gtest/gtest.h>

#include <cstdint>
#include <fstream>
#include <iterator>
#include <map>
#include <memory>
#include <set>
#include <sstream>
#include <string>
#include <thread>
#include <tuple>
#include <utility>
#include <vector>

#include "common/serialize/Serializer.h"
#include "common/serialize/SystemMetadata.h"
#include "common/sysinfo/SystemProbe.h"
#include "tests/support/LogCapture.h"

namespace pwr {
namespace {

// CPUID answers by (cpu, leaf, subleaf); cpu -1 answers for every processor.
class FakeCpuid {
  public:
    void set(uint32_t leaf, CpuidRegs r, int cpu = -1, uint32_t sub = 0) {
        m_regs[{cpu, leaf, sub}] = r;
    }
    CpuidReader reader() const {
        return [this](int cpu, uint32_t leaf, uint32_t sub, CpuidRegs& out) {
            auto it = m_regs.find({cpu, leaf, sub});
            if (it == m_regs.end()) {
                it = m_regs.find({-1, leaf, sub});
            }
            if (it == m_regs.end()) {
                return false;
            }
            out = it->second;
            return true;
        };
    }

  private:
    std::map<std::tuple<int, uint32_t, uint32_t>, CpuidRegs> m_regs;
};

const std::string c_data = std::string(VANTRY_TEST_DATA_DIR) + "/sysinfo/";

std::vector<std::string> names(const TopTree& tree, top_node_type type) {
    std::vector<const TNode*> nodes;
    tree.getAllNodesOfType(nodes, type);
    std::vector<std::string> out;
    for (const TNode* n : nodes) {
        out.push_back(n->getFullyQualifiedName());
    }
    return out;
}

// "GenuineIntel" in leaf 0's EBX, EDX, ECX.
CpuidRegs intelLeaf0(uint32_t maxLeaf) {
    return {maxLeaf, 0x756E6547, 0x6C65746E, 0x49656E69};
}

// Records of a GetLogicalProcessorInformationEx(RelationAll) buffer, laid out
// as 64-bit Windows does.
class ProcessorInfoBuffer {
  public:
    // A core, package, die or module record (relation 0, 3, 5, 7) over
    // (group, mask) pairs.
    void processor(uint32_t relation, std::vector<std::pair<uint16_t, uint64_t>> masks) {
        std::vector<uint8_t> body(24 + 16 * masks.size(), 0);
        put(body, 22, masks.size(), 2);
        for (size_t i = 0; i < masks.size(); ++i) {
            put(body, 24 + 16 * i, masks[i].second, 8);
            put(body, 24 + 16 * i + 8, masks[i].first, 2);
        }
        record(relation, body);
    }
    // The group record (relation 4): active processors per group.
    void groups(const std::vector<uint8_t>& active) {
        std::vector<uint8_t> body(24 + 48 * active.size(), 0);
        put(body, 0, active.size(), 2);
        put(body, 2, active.size(), 2);
        for (size_t g = 0; g < active.size(); ++g) {
            body[24 + 48 * g] = 64;
            body[24 + 48 * g + 1] = active[g];
            put(body, 24 + 48 * g + 40, (uint64_t{1} << active[g]) - 1, 8);
        }
        record(4, body);
    }
    std::vector<uint8_t> bytes;

  private:
    static void put(std::vector<uint8_t>& to, size_t at, uint64_t v, size_t n) {
        for (size_t i = 0; i < n; ++i) {
            to[at + i] = static_cast<uint8_t>(v >> (8 * i));
        }
    }
    void record(uint32_t relation, const std::vector<uint8_t>& body) {
        std::vector<uint8_t> head(8, 0);
        put(head, 0, relation, 4);
        put(head, 4, 8 + body.size(), 4);
        bytes.insert(bytes.end(), head.begin(), head.end());
        bytes.insert(bytes.end(), body.begin(), body.end());
    }
};

std::vector<uint32_t> coreValues(const TopTree& tree) {
    std::vector<const TNode*> cores;
    tree.getAllCores(cores);
    std::vector<uint32_t> values;
    for (const TNode* c : cores) {
        values.push_back(static_cast<const TNodeCore*>(c)->getCoreModelIDAndType());
    }
    return values;
}

class SystemProbeTest : public test::RegistryTest {
  protected:
    int probeTree(const std::string& tree) {
        ProbeSources sources;
        sources.root = c_data + tree;
        sources.cpuid = cpuid.reader();
        sources.useOsCalls = false;
        return probeSystem(system, sources);
    }
    std::string unread(const std::string& tree, const std::string& path) {
        return "WARNING: couldn't read " + c_data + tree + path + "\n";
    }
    FakeCpuid cpuid;
    SystemMetadata system;
};

TEST_F(SystemProbeTest, CpuidGivesFamilyModelSteppingAndHypervisor) {
    cpuid.set(0, {0x16, 0, 0, 0});
    cpuid.set(1, {0x000906A3, 0, 1u << 31, 0});  // family 6, extended model 9
    cpuid.set(0x16, {2400, 4700, 100, 0});
    cpuid.set(0x40000000, {0x40000010, 0x4B4D564B, 0x564B4D56, 0x0000004D});
    EXPECT_EQ(probeCpuid(system, cpuid.reader()), 0);
    EXPECT_EQ(system.fms, (FMS{6, 0x9A, 3}));
    EXPECT_TRUE(system.hyperVEnabled);
    EXPECT_TRUE(log.logged("INFO: hypervisor vendor \"KVMKVMKVM\"\n"));
    EXPECT_EQ(system.cpuFreqMHz, 2400.0f);
    EXPECT_EQ(system.hfmFreqMHz, 4700.0f);
    EXPECT_EQ(system.busFreqMHz, 100.0f);
}

TEST_F(SystemProbeTest, EdramFromTheLevel4CacheOfLeaf4) {
    cpuid.set(0, intelLeaf0(4));
    cpuid.set(1, {0x000306C3, 0, 0, 0});
    cpuid.set(4, {0x121, 0, 0, 0}, -1, 0);  // L1 data
    cpuid.set(4, {0x143, 0, 0, 0}, -1, 1);  // L2
    cpuid.set(4, {0x163, 0, 0, 0}, -1, 2);  // L3
    EXPECT_EQ(probeCpuid(system, cpuid.reader()), 0);
    EXPECT_EQ(system.edramCap, 1);          // absent
    cpuid.set(4, {0x183, 0, 0, 0}, -1, 3);  // L4: the EDRAM
    EXPECT_EQ(probeCpuid(system, cpuid.reader()), 0);
    EXPECT_EQ(system.edramCap, 0);
    SystemMetadata other;
    cpuid.set(0, {0x10, 0x68747541, 0x444D4163, 0x69746E65});  // "AuthenticAMD"
    EXPECT_EQ(probeCpuid(other, cpuid.reader()), 0);
    EXPECT_EQ(other.edramCap, 2);  // printed "Unsupported", not the default "Yes"
    EXPECT_NE(other.getSystemHWHeader().find("EDRAM Present: Unsupported"), std::string::npos);
}

TEST_F(SystemProbeTest, ExtendedFamilyIsAddedOnlyForFamily15) {
    cpuid.set(0, {1, 0, 0, 0});
    cpuid.set(1, {0x00A20F10, 0, 0, 0});
    EXPECT_EQ(probeCpuid(system, cpuid.reader()), 0);
    EXPECT_EQ(system.fms, (FMS{0x19, 0x21, 0}));
    EXPECT_FALSE(system.hyperVEnabled);
}

TEST_F(SystemProbeTest, ProcessorWithoutCpuidLeavesFieldsAtDefaults) {
    EXPECT_EQ(probeCpuid(system, cpuid.reader()), 1);
    EXPECT_EQ(probeCpuid(system, CpuidReader()), 1);
    EXPECT_TRUE(log.logged("WARNING: couldn't read CPUID\n"));
    EXPECT_EQ(system.fms, FMS());
    EXPECT_EQ(probeTscFrequencyMHz(cpuid.reader(), 0), 0.0);
}

TEST_F(SystemProbeTest, TscFrequencyFromLeaf15WithOrWithoutCrystal) {
    cpuid.set(0, {0x16, 0, 0, 0});
    cpuid.set(0x15, {2, 188, 24000000, 0});
    EXPECT_DOUBLE_EQ(probeTscFrequencyMHz(cpuid.reader(), 0), 2256.0);
    cpuid.set(0x15, {2, 200, 0, 0});
    cpuid.set(0x16, {2000, 0, 0, 0});
    EXPECT_DOUBLE_EQ(probeTscFrequencyMHz(cpuid.reader(), 0), 2000.0);
}

TEST_F(SystemProbeTest, TwoCoreVm) {
    cpuid.set(0, {0xD, 0, 0, 0});
    cpuid.set(1, {0x00050654, 0, 1u << 31, 0});
    cpuid.set(0x40000000, {0x40000001, 0x4B4D564B, 0x564B4D56, 0x0000004D});
    // No cpufreq and no drm in a VM: four files not read.
    EXPECT_EQ(probeTree("vm2"), 4);
    EXPECT_TRUE(log.logged(unread("vm2", "/sys/devices/system/cpu/cpu0/cpufreq/base_frequency")));
    EXPECT_TRUE(log.logged(unread("vm2", "/sys/class/drm")));
    EXPECT_EQ(names(system.cpuTopology, top_node_type::Thread),
              (std::vector<std::string>{"Package 0/Core 0/Thread 0", "Package 0/Core 1/Thread 1"}));
    // Not hybrid: the cores carry no native model, and the header lists none.
    EXPECT_EQ(coreValues(system.cpuTopology), (std::vector<uint32_t>{0, 0}));
    const std::string header = system.getSystemHWHeader();
    EXPECT_EQ(header.substr(header.size() - 19), "\n\nCPU native model:");
    EXPECT_EQ(system.hostName, "vm-2core");
    EXPECT_EQ(system.osName, "Debian GNU/Linux 12 (bookworm)");
    EXPECT_EQ(system.osType, "Linux");
    EXPECT_EQ(system.osVersion, "6.1.0-18-amd64");
    EXPECT_EQ(system.platformName, "Standard PC (Q35 + ICH9, 2009)");
    EXPECT_EQ(system.fms, (FMS{6, 0x55, 4}));
    EXPECT_TRUE(system.hyperVEnabled);
    EXPECT_EQ(system.cpuFreqMHz, 0.0f);
    EXPECT_EQ(system.igfxId, 0u);
    EXPECT_GT(system.clockFreqMHz, 0.0f);
}

// Clusters of four E-cores are modules; with them every core gets its
// module. Threads carry the kernel's cpu numbers, and each core's value comes
// from CPUID asked on that core's own processor.
TEST_F(SystemProbeTest, HybridLaptopWithTwoPackages) {
    cpuid.set(0, {0x20, 0, 0, 0});
    cpuid.set(1, {0x000906A3, 0, 0, 0});
    cpuid.set(7, {0, 0, 0, 1u << 15});
    for (int cpu = 0; cpu < 16; ++cpu) {
        cpuid.set(0x1A, {cpu % 8 < 4 ? 0x40000001u : 0x20000001u, 0, 0, 0}, cpu);
    }
    EXPECT_EQ(probeTree("hybrid"), 0);
    const TopTree& tree = system.cpuTopology;
    EXPECT_EQ(tree.getNumPackages(), 2u);
    EXPECT_EQ(tree.getNumDies(), 0u);
    EXPECT_EQ(tree.getNumModules(), 6u);
    EXPECT_EQ(tree.getNumCores(), 12u);
    EXPECT_EQ(tree.getNumThreads(), 16u);
    const uint32_t p = 0x40000001u;
    const uint32_t e = 0x20000001u;
    EXPECT_EQ(coreValues(tree), (std::vector<uint32_t>{p, p, e, e, e, e, p, p, e, e, e, e}));
    const std::vector<std::string> threads = names(tree, top_node_type::Thread);
    EXPECT_EQ(threads[3], "Package 0/Module 4/Core 4/Thread 3");
    EXPECT_EQ(threads[7], "Package 0/Module 8/Core 11/Thread 7");
    EXPECT_EQ(threads[15], "Package 1/Module 8/Core 11/Thread 15");
    EXPECT_EQ(system.cpuFreqMHz, 2400.0f);
    EXPECT_EQ(system.lfmFreqMHz, 400.0f);
    EXPECT_EQ(system.hfmFreqMHz, 4700.0f);
    EXPECT_EQ(system.igfxId, 0x46A6u);
    EXPECT_EQ(system.osName, "Ubuntu");
    EXPECT_EQ(system.platformId, 0u);  // no microcode folder: left at the default
    // The hardware header counts what the tree holds.
    const std::string header = system.getSystemHWHeader();
    EXPECT_NE(header.find("Total # of modules: 6 \nTotal # of cores: 12"), std::string::npos);
    EXPECT_NE(header.find("Total # of logical processors: 16\n"), std::string::npos);
}

TEST_F(SystemProbeTest, OfflineProcessorsAreLeftOut) {
    probeTree("offline");
    EXPECT_EQ(names(system.cpuTopology, top_node_type::Thread),
              (std::vector<std::string>{"Package 0/Core 0/Thread 0", "Package 0/Core 1/Thread 1",
                                        "Package 0/Core 3/Thread 3"}));
    EXPECT_EQ(system.cpuTopology.getNumCores(), 3u);
}

// Two dies in one package make a Die level; cluster ids of 65535 (unknown to
// the kernel) make no modules. The product name is only in the raw tables.
TEST_F(SystemProbeTest, ServerWithTwoDiesAndRawFirmwareTables) {
    EXPECT_EQ(probeTree("server2die"), 5);  // four cpufreq files and drm
    const TopTree& tree = system.cpuTopology;
    EXPECT_EQ(tree.getNumDies(), 2u);
    EXPECT_EQ(tree.getNumModules(), 0u);
    EXPECT_EQ(names(tree, top_node_type::Thread),
              (std::vector<std::string>{
                  "Package 0/Die 0/Core 0/Thread 0", "Package 0/Die 0/Core 0/Thread 4",
                  "Package 0/Die 0/Core 1/Thread 1", "Package 0/Die 0/Core 1/Thread 5",
                  "Package 0/Die 1/Core 2/Thread 2", "Package 0/Die 1/Core 2/Thread 6",
                  "Package 0/Die 1/Core 3/Thread 3", "Package 0/Die 1/Core 3/Thread 7"}));
    EXPECT_EQ(system.platformName, "Rack Server R2");
    EXPECT_FALSE(log.logged(unread("server2die", "/sys/class/dmi/id/product_name")));
    EXPECT_EQ(system.platformId, 1u);  // processor_flags 0x2
    EXPECT_EQ(system.osName, "Rocky Linux 9.3 (Blue Onyx)");
    // The tree survives the file format with its dies.
    Serializer ser;
    tree.serializeTree(ser);
    TopTree back;
    ASSERT_EQ(back.deserializeTree(ser), 0);
    EXPECT_EQ(names(back, top_node_type::Thread), names(tree, top_node_type::Thread));
}

TEST_F(SystemProbeTest, BrokenTreeFillsWhatItCanAndNamesTheRest) {
    EXPECT_GT(probeTree("broken"), 5);
    EXPECT_TRUE(log.logged(unread("broken", "/sys/devices/system/cpu/online")));
    EXPECT_TRUE(log.logged(unread("broken", "/sys/devices/system/cpu/cpu0/topology")));
    EXPECT_TRUE(log.logged(unread("broken", "/sys/devices/system/cpu/cpu2/topology")));
    EXPECT_TRUE(log.logged(unread("broken", "/etc/os-release")));
    EXPECT_TRUE(log.logged(unread("broken", "/proc/sys/kernel/hostname")));
    EXPECT_TRUE(log.logged("WARNING: couldn't read CPUID\n"));
    EXPECT_EQ(names(system.cpuTopology, top_node_type::Thread),
              std::vector<std::string>{"Package 0/Core 1/Thread 1"});
    EXPECT_EQ(system.hostName, "");
    EXPECT_EQ(system.osName, "");
}

// Two processor groups of 6 and 4 active processors: the second group's
// processors are 6..9, not 64..67. Each package has one die (no Die level);
// package 1 has one module of both its cores (a Module level).
TEST_F(SystemProbeTest, WindowsBufferWithTwoGroups) {
    cpuid.set(0, {0x20, 0, 0, 0});
    cpuid.set(7, {0, 0, 0, 1u << 15});
    for (int cpu = 0; cpu < 10; ++cpu) {
        cpuid.set(0x1A, {cpu < 6 ? 0x40000001u : 0x20000001u, 0, 0, 0}, cpu);
    }
    ProcessorInfoBuffer buf;
    buf.processor(3, {{0, 0x3F}});  // packages
    buf.processor(3, {{1, 0xF}});
    buf.processor(5, {{0, 0x3F}});  // dies
    buf.processor(5, {{1, 0xF}});
    for (uint64_t module : {0x3u, 0xCu, 0x30u}) {
        buf.processor(7, {{0, module}});
    }
    buf.processor(7, {{1, 0xF}});
    for (uint64_t core : {0x3u, 0xCu, 0x30u}) {
        buf.processor(0, {{0, core}});
    }
    buf.processor(2, {{0, 0x3}});  // a cache: skipped
    buf.processor(0, {{1, 0x3}});
    buf.processor(0, {{1, 0xC}});
    buf.groups({6, 4});
    EXPECT_EQ(probeProcessorInformation(system, buf.bytes.data(), buf.bytes.size(), cpuid.reader()),
              0);
    const TopTree& tree = system.cpuTopology;
    EXPECT_EQ(names(tree, top_node_type::Thread),
              (std::vector<std::string>{
                  "Package 0/Module 0/Core 0/Thread 0", "Package 0/Module 0/Core 0/Thread 1",
                  "Package 0/Module 1/Core 1/Thread 2", "Package 0/Module 1/Core 1/Thread 3",
                  "Package 0/Module 2/Core 2/Thread 4", "Package 0/Module 2/Core 2/Thread 5",
                  "Package 1/Module 0/Core 0/Thread 6", "Package 1/Module 0/Core 0/Thread 7",
                  "Package 1/Module 0/Core 1/Thread 8", "Package 1/Module 0/Core 1/Thread 9"}));
    const uint32_t p = 0x40000001u;
    const uint32_t e = 0x20000001u;
    EXPECT_EQ(coreValues(tree), (std::vector<uint32_t>{p, p, p, e, e}));

    // Two dies in package 0 and a module of two cores: the dies are kept,
    // the modules left out. Without the group record the active processors
    // are those of the cores. A record cut short is named and the ones
    // before it are used.
    ProcessorInfoBuffer cut;
    cut.processor(3, {{0, 0x3}});
    cut.processor(3, {{1, 0x1}});
    cut.processor(5, {{0, 0x1}});
    cut.processor(5, {{0, 0x2}});
    cut.processor(5, {{1, 0x1}});
    cut.processor(7, {{0, 0x3}});
    cut.processor(7, {{1, 0x1}});
    cut.processor(0, {{0, 0x1}});
    cut.processor(0, {{0, 0x2}});
    cut.processor(0, {{1, 0x1}});
    const size_t damagedAt = cut.bytes.size();
    cut.processor(0, {{1, 0x2}});
    cut.bytes.resize(cut.bytes.size() - 1);
    SystemMetadata second;
    EXPECT_EQ(probeProcessorInformation(second, cut.bytes.data(), cut.bytes.size(), CpuidReader()),
              1);
    EXPECT_TRUE(log.logged("WARNING: couldn't read the processor information record at byte " +
                           std::to_string(damagedAt) + " (damaged)\n"));
    EXPECT_EQ(names(second.cpuTopology, top_node_type::Thread),
              (std::vector<std::string>{"Package 0/Die 0/Core 0/Thread 0",
                                        "Package 0/Die 1/Core 1/Thread 1",
                                        "Package 1/Die 0/Core 0/Thread 2"}));

    // Overlapping cores: the processor is placed once.
    ProcessorInfoBuffer overlap;
    overlap.processor(3, {{0, 0x3}});
    overlap.processor(0, {{0, 0x3}});
    overlap.processor(0, {{0, 0x2}});
    SystemMetadata third;
    EXPECT_EQ(
        probeProcessorInformation(third, overlap.bytes.data(), overlap.bytes.size(), CpuidReader()),
        1);
    EXPECT_TRUE(log.logged("WARNING: couldn't read the place of cpu1 (listed twice)\n"));
    EXPECT_EQ(third.cpuTopology.getNumThreads(), 2u);

    // Nothing usable leaves the tree alone.
    EXPECT_EQ(probeProcessorInformation(second, buf.bytes.data(), 7, CpuidReader()), 2);
    EXPECT_EQ(second.cpuTopology.getNumThreads(), 3u);
}

TEST_F(SystemProbeTest, SmbiosProductNameAndDamagedTables) {
    std::ifstream in(c_data + "server2die/sys/firmware/dmi/tables/DMI", std::ios::binary);
    const std::string table((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    ASSERT_EQ(table.size(), 133u);
    EXPECT_EQ(smbiosProductName(table.data(), table.size()), "Rack Server R2");
    // The system structure (at 0x29) without a product string:
    // the board's name.
    std::string noProduct = table;
    noProduct[0x29 + 5] = 0;
    EXPECT_EQ(smbiosProductName(noProduct.data(), noProduct.size()), "Board B7");
    // A product string number beyond the structure's strings is ignored.
    noProduct[0x29 + 5] = 9;
    EXPECT_EQ(smbiosProductName(noProduct.data(), noProduct.size()), "Board B7");
    // Cut inside the system structure's strings, or a formatted length that
    // runs past the end: no name, no read beyond the bytes.
    EXPECT_EQ(smbiosProductName(table.data(), 0x4A), "");
    EXPECT_EQ(smbiosProductName(table.data(), 0x29 + 27 + 11 + 15), "");
    std::string longer = table;
    longer[0x29 + 1] = static_cast<char>(0xF0);
    EXPECT_EQ(smbiosProductName(longer.data(), longer.size()), "");
    EXPECT_EQ(smbiosProductName(table.data(), 3), "");
}

TEST_F(SystemProbeTest, MissingRootLeavesEverythingAtDefaults) {
    EXPECT_GT(probeTree("no-such-machine"), 0);
    EXPECT_TRUE(system.cpuTopology.empty());
    EXPECT_EQ(system.platformName, "");
}

// The running machine: the record must survive the file format and count
// the processors the OS reports.
TEST_F(SystemProbeTest, RealMachineRoundTrips) {
    probeSystem(system, defaultProbeSources());
    EXPECT_EQ(system.cpuTopology.getNumThreads(), osLogicalProcessorCount());
    EXPECT_EQ(system.cpuTopology.getNumThreads(), std::thread::hardware_concurrency());
    // Every logical processor once, under its OS number.
    std::vector<const TNode*> threads;
    system.cpuTopology.getAllThreads(threads);
    std::set<int> numbers;
    for (const TNode* t : threads) {
        numbers.insert(t->getID());
    }
    EXPECT_EQ(numbers.size(), threads.size());
    system.appVersion = 0x07EA0103;
    system.commandLine = {"vantry-meta", "--probe"};
    markProgramStart(system);
    markCollectionStart(system);
    markCollectionStop(system);
    EXPECT_GE(system.stopTimeval, system.startTimeval);
    Serializer ser;
    system.serialize(ser);
    std::vector<char> bytes = ser.get_buffer();
    Serializer in(bytes);
    std::unique_ptr<Metadata> back(Metadata::deserialize(in, 0));
    ASSERT_TRUE(back);
    const auto& read = dynamic_cast<const SystemMetadata&>(*back);
    // The writer keeps mandatory strings readable by putting "N/A" in empty ones.
    for (std::string* s : {&system.platformName, &system.hostName, &system.osName, &system.osType,
                           &system.osVersion}) {
        if (s->empty()) {
            *s = "N/A";
        }
    }
    std::ostringstream a;
    std::ostringstream b;
    a << system << system.getSystemHWHeader();
    b << read << read.getSystemHWHeader();
    EXPECT_EQ(a.str(), b.str());
    EXPECT_EQ(read.cpuTopology.getNumThreads(), system.cpuTopology.getNumThreads());
}

}  // namespace
}  // namespace pwr
