#include <gtest/gtest.h>

#include <cstdint>
#include <map>
#include <memory>
#include <sstream>
#include <string>
#include <thread>
#include <tuple>
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
    void set(uint32_t leaf, CpuidRegs r, int cpu = -1) { m_regs[{cpu, leaf, 0}] = r; }
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
              (std::vector<std::string>{"Package 0/Core 0/Thread 0", "Package 0/Core 1/Thread 0"}));
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
    EXPECT_EQ(tree.getNumCores(), 12u);
    EXPECT_EQ(tree.getNumThreads(), 16u);
    std::vector<const TNode*> cores;
    tree.getAllCores(cores);
    std::vector<uint32_t> values;
    for (const TNode* c : cores) {
        values.push_back(static_cast<const TNodeCore*>(c)->getCoreModelIDAndType());
    }
    const uint32_t p = 0x40000001u;
    const uint32_t e = 0x20000001u;
    EXPECT_EQ(values, (std::vector<uint32_t>{p, p, e, e, e, e, p, p, e, e, e, e}));
    EXPECT_EQ(names(tree, top_node_type::Thread)[3], "Package 0/Core 4/Thread 1");
    EXPECT_EQ(system.cpuFreqMHz, 2400.0f);
    EXPECT_EQ(system.lfmFreqMHz, 400.0f);
    EXPECT_EQ(system.hfmFreqMHz, 4700.0f);
    EXPECT_EQ(system.igfxId, 0x46A6u);
    EXPECT_EQ(system.osName, "Ubuntu");
}

TEST_F(SystemProbeTest, OfflineProcessorsAreLeftOut) {
    probeTree("offline");
    EXPECT_EQ(names(system.cpuTopology, top_node_type::Thread),
              (std::vector<std::string>{"Package 0/Core 0/Thread 0", "Package 0/Core 1/Thread 0",
                                        "Package 0/Core 3/Thread 0"}));
    EXPECT_EQ(system.cpuTopology.getNumCores(), 3u);
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
              std::vector<std::string>{"Package 0/Core 1/Thread 0"});
    EXPECT_EQ(system.hostName, "");
    EXPECT_EQ(system.osName, "");
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
    EXPECT_EQ(system.cpuTopology.getNumThreads(), std::thread::hardware_concurrency());
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
