#include "common/sysinfo/SystemProbe.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <set>
#include <sstream>
#include <thread>
#include <utility>
#include <vector>

#include "common/runtime/Log.h"
#include "common/runtime/VexaClock.h"

namespace pwr {

// The platform part of probeSystem, in SystemProbe_win32.cpp or
// SystemProbe_posix.cpp.
int probeOs_i(SystemMetadata& system, const ProbeSources& sources);

namespace {

constexpr uint32_t c_hybridBit = 1u << 15;      // CPUID.7.0:EDX
constexpr uint32_t c_hypervisorBit = 1u << 31;  // CPUID.1:ECX

int warnUnread_i(const std::string& what) {
    pwLog(PW_WARNING, "WARNING: couldn't read %s\n", what.c_str());
    return 1;
}

// The first line of a file, without trailing blanks; false when the file
// cannot be read or is empty.
bool readLine_i(const std::string& path, std::string& out) {
    std::ifstream in(path);
    std::string line;
    if (!in || !std::getline(in, line)) {
        return false;
    }
    while (!line.empty() && (line.back() == '\r' || line.back() == ' ' || line.back() == '\t')) {
        line.pop_back();
    }
    if (line.empty()) {
        return false;
    }
    out = line;
    return true;
}

// A whole decimal or 0x-prefixed number; false for anything else.
bool parseNumber_i(const std::string& text, long long& out) {
    if (text.empty()) {
        return false;
    }
    errno = 0;
    char* end = nullptr;
    long long v = std::strtoll(text.c_str(), &end, 0);
    if (errno != 0 || end == text.c_str() || *end != '\0') {
        return false;
    }
    out = v;
    return true;
}

bool readNumber_i(const std::string& path, long long& out) {
    std::string line;
    return readLine_i(path, line) && parseNumber_i(line, out);
}

// "0-3,6,8-9" -> 0 1 2 3 6 8 9. False for a malformed list.
bool parseCpuList_i(const std::string& text, std::vector<int>& out) {
    std::vector<int> cpus;
    std::stringstream ss(text);
    std::string part;
    while (std::getline(ss, part, ',')) {
        size_t dash = part.find('-');
        long long first = 0;
        long long last = 0;
        if (dash == std::string::npos) {
            if (!parseNumber_i(part, first)) {
                return false;
            }
            last = first;
        } else if (!parseNumber_i(part.substr(0, dash), first) ||
                   !parseNumber_i(part.substr(dash + 1), last)) {
            return false;
        }
        // A kernel never lists more processors than fit an int; anything
        // beyond this is a damaged file.
        if (first < 0 || last < first || last > 0xFFFF) {
            return false;
        }
        for (long long cpu = first; cpu <= last; ++cpu) {
            cpus.push_back(static_cast<int>(cpu));
        }
    }
    if (cpus.empty()) {
        return false;
    }
    out = std::move(cpus);
    return true;
}

// The cpuN folders below dir, for a kernel that does not say which
// processors are online.
std::vector<int> listCpuFolders_i(const std::string& dir) {
    std::vector<int> cpus;
    std::error_code ec;
    for (std::filesystem::directory_iterator it(dir, ec), end; !ec && it != end; it.increment(ec)) {
        std::string name = it->path().filename().string();
        long long n = 0;
        if (name.size() > 3 && name.compare(0, 3, "cpu") == 0 && parseNumber_i(name.substr(3), n) &&
            name[3] >= '0' && name[3] <= '9' && n <= 0xFFFF) {
            cpus.push_back(static_cast<int>(n));
        }
    }
    std::sort(cpus.begin(), cpus.end());
    return cpus;
}

bool isHybrid_i(const CpuidReader& cpuid) {
    CpuidRegs r;
    return cpuid && cpuid(-1, 0, 0, r) && r.eax >= 7 && cpuid(-1, 7, 0, r) &&
           (r.edx & c_hybridBit) != 0;
}

// One logical processor with the ids of the levels above it, as the OS gave
// them; -1 where the OS does not tell a level.
struct LogicalCpu {
    int number;
    int package;
    int die;
    int module;
    int core;
};

// Whether the level picked by levelOf says anything: every processor has an
// id for it, and some parent (the ids picked by parentOf) holds two different
// children picked by childOf.
template <typename Level, typename Parent, typename Child>
bool levelTells_i(const std::vector<LogicalCpu>& cpus, Level levelOf, Parent parentOf,
                  Child childOf) {
    std::map<std::vector<int>, int> childOfParent;
    bool tells = false;
    for (const LogicalCpu& c : cpus) {
        if (levelOf(c) < 0) {
            return false;
        }
        const auto inserted = childOfParent.emplace(parentOf(c), childOf(c));
        tells = tells || inserted.first->second != childOf(c);
    }
    return tells;
}

// Builds the tree from cpus (see the top of SystemProbe.h for the levels it
// keeps) and replaces system.cpuTopology with it. On a hybrid processor each
// core carries CPUID.1A:EAX of its first logical processor, on any other 0.
// Returns the number
// of things that could not be read.
int buildTree_i(std::vector<LogicalCpu> cpus, const CpuidReader& cpuid, SystemMetadata& system) {
    if (cpus.empty()) {
        return 0;
    }
    std::stable_sort(cpus.begin(), cpus.end(),
                     [](const LogicalCpu& a, const LogicalCpu& b) { return a.number < b.number; });
    // A processor listed twice (overlapping records of a damaged buffer)
    // keeps its first place.
    int unread = 0;
    for (size_t i = 1; i < cpus.size();) {
        if (cpus[i].number == cpus[i - 1].number) {
            unread += warnUnread_i("the place of cpu" + std::to_string(cpus[i].number) +
                                   " (listed twice)");
            cpus.erase(cpus.begin() + static_cast<std::ptrdiff_t>(i));
        } else {
            ++i;
        }
    }
    const bool dies = levelTells_i(
        cpus, [](const LogicalCpu& c) { return c.die; },
        [](const LogicalCpu& c) { return std::vector<int>{c.package}; },
        [](const LogicalCpu& c) { return c.die; });
    // A key holds four levels of 16-bit ids (see TopTree.h); a fifth would
    // push the package out of the Thread keys and break their order. When
    // both would be made, the dies stay: they are the physical power and
    // thermal domains, modules only group cores around a shared cache.
    const bool modules = !dies && levelTells_i(
                                      cpus, [](const LogicalCpu& c) { return c.module; },
                                      [](const LogicalCpu& c) {
                                          return std::vector<int>{c.package, c.die, c.module};
                                      },
                                      [](const LogicalCpu& c) { return c.core; });
    const bool hybrid = isHybrid_i(cpuid);
    std::set<std::string> coresSeen;
    std::string description;
    for (const LogicalCpu& c : cpus) {
        std::string core = "Package " + std::to_string(c.package);
        if (dies) {
            core += "/Die " + std::to_string(c.die);
        }
        if (modules) {
            core += "/Module " + std::to_string(c.module);
        }
        core += "/Core " + std::to_string(c.core);
        description += core;
        // The core value goes on the core's first line only: the threads of
        // one core answer alike, and a second value would refuse the tree.
        // A processor that is not hybrid reports no native model: its cores
        // carry 0 (what CPUID.1A:EAX reads there), so the report lists no
        // model line for them. A hybrid core whose value cannot be read keeps
        // the "not reported" value and is listed as N/A.
        CpuidRegs r;
        const bool firstOfCore = coresSeen.insert(core).second;
        if (!hybrid && firstOfCore) {
            description += " (0x0)";
        } else if (hybrid && firstOfCore) {
            if (cpuid(c.number, 0x1A, 0, r) && r.eax != 0) {
                char value[16];
                std::snprintf(value, sizeof value, " (0x%08X)", r.eax);
                description += value;
            } else {
                unread += warnUnread_i("the native model id of cpu" + std::to_string(c.number));
            }
        }
        description += "/Thread " + std::to_string(c.number) + "\n";
    }
    TopTree tree;
    if (tree.buildTopology(description, cpus.size()) != 0) {
        return unread + warnUnread_i("a usable processor topology");
    }
    system.cpuTopology = std::move(tree);
    return unread;
}

// An id of a sysfs topology file, or -1 when the file is absent or holds no
// usable id. 0xFFFF is what x86 kernels show for an id they do not know (a
// cluster without an L2 cache id).
long long optionalTopologyId_i(const std::string& path) {
    long long id = -1;
    if (!readNumber_i(path, id) || id < 0 || id >= 0xFFFF) {
        return -1;
    }
    return id;
}

int probeTopology_i(SystemMetadata& system, const ProbeSources& sources) {
    const std::string dir = sources.root + "/sys/devices/system/cpu";
    int unread = 0;
    std::vector<int> cpus;
    std::string online;
    if (!readLine_i(dir + "/online", online) || !parseCpuList_i(online, cpus)) {
        unread += warnUnread_i(dir + "/online");
        cpus = listCpuFolders_i(dir);
    }
    std::vector<LogicalCpu> found;
    for (int cpu : cpus) {
        const std::string topo = dir + "/cpu" + std::to_string(cpu) + "/topology";
        long long package = 0;
        long long core = 0;
        if (!readNumber_i(topo + "/physical_package_id", package) || package < 0 ||
            package > 0xFFFF || !readNumber_i(topo + "/core_id", core) || core < 0 ||
            core > 0xFFFF) {
            unread += warnUnread_i(topo);
            continue;
        }
        // die_id and cluster_id came with later kernels; without them the
        // tree simply has no Die or Module level.
        found.push_back({cpu, static_cast<int>(package),
                         static_cast<int>(optionalTopologyId_i(topo + "/die_id")),
                         static_cast<int>(optionalTopologyId_i(topo + "/cluster_id")),
                         static_cast<int>(core)});
    }
    // No processor tells its place (a recorded tree or a container without
    // the topology files): rather than a machine without processors, whose
    // per-processor tables would all be empty, each processor becomes a core
    // of its own in one package, and the user is told.
    if (found.empty() && !cpus.empty()) {
        for (int cpu : cpus) {
            found.push_back({cpu, 0, -1, -1, cpu});
        }
        if (sources.notes != nullptr) {
            sources.notes->push_back("the processor topology was not found (no cpuN/topology in " +
                                     dir + "); each of the " + std::to_string(cpus.size()) +
                                     " logical processors is taken as a core of its own in one "
                                     "package");
        }
    }
    return unread + buildTree_i(std::move(found), sources.cpuid, system);
}

// Little-endian fields of a byte buffer; the caller checks the bounds.
uint64_t readLE_i(const unsigned char* at, size_t bytes) {
    uint64_t v = 0;
    for (size_t i = bytes; i-- > 0;) {
        v = v << 8 | at[i];
    }
    return v;
}

// KEY=value or KEY="value" from os-release.
bool osReleaseValue_i(const std::string& path, const std::string& key, std::string& out) {
    std::ifstream in(path);
    std::string line;
    while (in && std::getline(in, line)) {
        if (line.compare(0, key.size() + 1, key + "=") != 0) {
            continue;
        }
        std::string v = line.substr(key.size() + 1);
        while (!v.empty() && (v.back() == '\r' || v.back() == ' ')) {
            v.pop_back();
        }
        if (v.size() >= 2 && (v.front() == '"' || v.front() == '\'') && v.back() == v.front()) {
            v = v.substr(1, v.size() - 2);
        }
        if (!v.empty()) {
            out = v;
            return true;
        }
    }
    return false;
}

int probeNames_i(SystemMetadata& system, const std::string& root) {
    int unread = 0;
    const std::string kernel = root + "/proc/sys/kernel/";
    const std::pair<const char*, std::string*> files[] = {{"hostname", &system.hostName},
                                                          {"ostype", &system.osType},
                                                          {"osrelease", &system.osVersion}};
    for (const auto& f : files) {
        if (!readLine_i(kernel + f.first, *f.second)) {
            unread += warnUnread_i(kernel + f.first);
        }
    }
    const std::string osRelease = root + "/etc/os-release";
    if (!osReleaseValue_i(osRelease, "PRETTY_NAME", system.osName) &&
        !osReleaseValue_i(osRelease, "NAME", system.osName)) {
        unread += warnUnread_i(osRelease);
    }
    return unread;
}

int probeFrequencies_i(SystemMetadata& system, const std::string& root) {
    std::string online;
    std::vector<int> cpus;
    int cpu = 0;
    if (readLine_i(root + "/sys/devices/system/cpu/online", online) &&
        parseCpuList_i(online, cpus)) {
        cpu = cpus.front();
    }
    const std::string dir =
        root + "/sys/devices/system/cpu/cpu" + std::to_string(cpu) + "/cpufreq/";
    const std::pair<const char*, float*> files[] = {{"base_frequency", &system.cpuFreqMHz},
                                                    {"cpuinfo_min_freq", &system.lfmFreqMHz},
                                                    {"cpuinfo_max_freq", &system.hfmFreqMHz}};
    int unread = 0;
    for (const auto& f : files) {
        long long kHz = 0;
        if (readNumber_i(dir + f.first, kHz) && kHz > 0) {
            *f.second = static_cast<float>(kHz) / 1000.0f;
        } else {
            unread += warnUnread_i(dir + f.first);
        }
    }
    // The microcode loader shows the platform id (bits 52:50 of the
    // processor's platform-id register) as the mask 1 << id. It exists only
    // on processors that have a platform id and outside most virtual
    // machines, so its absence is no failure.
    long long flags = 0;
    if (readNumber_i(root + "/sys/devices/system/cpu/cpu" + std::to_string(cpu) +
                         "/microcode/processor_flags",
                     flags) &&
        flags > 0 && flags <= 0x80 && (flags & (flags - 1)) == 0) {
        uint32_t id = 0;
        while ((1LL << id) != flags) {
            ++id;
        }
        system.platformId = id;
    }
    return unread;
}

// The integrated GPU is the display-class PCI function of the processor's
// maker (vendor 0x8086).
int probeGraphics_i(SystemMetadata& system, const std::string& root) {
    const std::string dir = root + "/sys/class/drm";
    std::error_code ec;
    std::filesystem::directory_iterator it(dir, ec);
    if (ec) {
        return warnUnread_i(dir);
    }
    std::vector<std::string> cards;
    for (std::filesystem::directory_iterator end; !ec && it != end; it.increment(ec)) {
        std::string name = it->path().filename().string();
        if (name.compare(0, 4, "card") == 0 && name.find('-') == std::string::npos) {
            cards.push_back(name);
        }
    }
    std::sort(cards.begin(), cards.end());
    for (const std::string& card : cards) {
        const std::string dev = dir + "/" + card + "/device/";
        long long vendor = 0;
        long long cls = 0;
        long long device = 0;
        if (readNumber_i(dev + "vendor", vendor) && vendor == 0x8086 &&
            readNumber_i(dev + "class", cls) && (cls >> 16) == 0x03 &&
            readNumber_i(dev + "device", device) && device > 0 && device <= 0xFFFF) {
            system.igfxId = static_cast<uint32_t>(device);
            break;
        }
    }
    return 0;
}

// The 64-bit Windows layout of SYSTEM_LOGICAL_PROCESSOR_INFORMATION_EX (the
// Windows build checks these against <windows.h>): a record is Relationship
// (32-bit), Size (32-bit) and a body at offset 8. A processor body
// (PROCESSOR_RELATIONSHIP) has GroupCount (16-bit) at 22 and GroupMask at 24,
// GROUP_AFFINITY entries of 16 bytes: Mask (64-bit), Group (16-bit). A group
// body (GROUP_RELATIONSHIP) has ActiveGroupCount (16-bit) at 2 and GroupInfo
// at 24, PROCESSOR_GROUP_INFO entries of 48 bytes whose ActiveProcessorCount
// (8-bit) is at 1.
namespace lpi {
constexpr uint32_t c_core = 0;
constexpr uint32_t c_package = 3;
constexpr uint32_t c_group = 4;
constexpr uint32_t c_die = 5;
constexpr uint32_t c_module = 7;
constexpr size_t c_body = 8;
constexpr size_t c_groupCount = 22;
constexpr size_t c_groupMask = 24;
constexpr size_t c_affinitySize = 16;
constexpr size_t c_affinityGroup = 8;
constexpr size_t c_activeGroupCount = 2;
constexpr size_t c_groupInfo = 24;
constexpr size_t c_groupInfoSize = 48;
constexpr size_t c_activeProcessorCount = 1;
}  // namespace lpi

struct GroupMask {
    uint16_t group;
    uint64_t mask;
};

using ProcessorSet = std::vector<GroupMask>;

bool contains_i(const ProcessorSet& set, uint16_t group, int bit) {
    for (const GroupMask& g : set) {
        if (g.group == group && (g.mask >> bit & 1u) != 0) {
            return true;
        }
    }
    return false;
}

// The index of the first set of sets holding the processor, or -1.
int indexOf_i(const std::vector<ProcessorSet>& sets, uint16_t group, int bit) {
    for (size_t i = 0; i < sets.size(); ++i) {
        if (contains_i(sets[i], group, bit)) {
            return static_cast<int>(i);
        }
    }
    return -1;
}

// Ids within the package for dies or modules: the sets of each package are
// numbered 0, 1, 2, ... in the order Windows lists them.
std::vector<int> idsWithinPackage_i(const std::vector<ProcessorSet>& sets,
                                    const std::vector<ProcessorSet>& packages) {
    std::vector<int> ids;
    std::map<int, int> next;
    for (const ProcessorSet& set : sets) {
        int package = -1;
        for (const GroupMask& g : set) {
            for (int bit = 0; bit < 64 && package < 0; ++bit) {
                if ((g.mask >> bit & 1u) != 0) {
                    package = indexOf_i(packages, g.group, bit);
                }
            }
        }
        ids.push_back(next[package]++);
    }
    return ids;
}

}  // namespace

int probeProcessorInformation(SystemMetadata& system, const void* buffer, size_t size,
                              const CpuidReader& cpuid) {
    const auto* bytes = static_cast<const unsigned char*>(buffer);
    int unread = 0;
    std::vector<ProcessorSet> packages;
    std::vector<ProcessorSet> dies;
    std::vector<ProcessorSet> modules;
    std::vector<GroupMask> cores;
    std::vector<unsigned> activeInGroup;
    bool groupsTold = false;
    for (size_t at = 0; at < size;) {
        const size_t left = size - at;
        const size_t length = left >= lpi::c_body ? readLE_i(bytes + at + 4, 4) : 0;
        if (length < lpi::c_body || length > left) {
            unread += warnUnread_i("the processor information record at byte " +
                                   std::to_string(at) + " (damaged)");
            break;
        }
        const unsigned char* body = bytes + at + lpi::c_body;
        const size_t bodySize = length - lpi::c_body;
        const auto relation = static_cast<uint32_t>(readLE_i(bytes + at, 4));
        at += length;
        if (relation == lpi::c_group) {
            if (bodySize < lpi::c_groupInfo) {
                unread += warnUnread_i("the processor groups (record too short)");
                continue;
            }
            const size_t count = readLE_i(body + lpi::c_activeGroupCount, 2);
            if (lpi::c_groupInfo + count * lpi::c_groupInfoSize > bodySize) {
                unread += warnUnread_i("the processor groups (record too short)");
                continue;
            }
            activeInGroup.clear();
            for (size_t g = 0; g < count; ++g) {
                activeInGroup.push_back(body[lpi::c_groupInfo + g * lpi::c_groupInfoSize +
                                             lpi::c_activeProcessorCount]);
            }
            groupsTold = true;
            continue;
        }
        if (relation != lpi::c_core && relation != lpi::c_package && relation != lpi::c_die &&
            relation != lpi::c_module) {
            continue;  // caches, NUMA nodes, kinds of later Windows versions
        }
        const size_t count =
            bodySize >= lpi::c_groupMask ? readLE_i(body + lpi::c_groupCount, 2) : 0;
        if (count == 0 || lpi::c_groupMask + count * lpi::c_affinitySize > bodySize) {
            unread += warnUnread_i("a processor record of relation " + std::to_string(relation) +
                                   " (no processors or too short)");
            continue;
        }
        ProcessorSet set;
        for (size_t i = 0; i < count; ++i) {
            const unsigned char* a = body + lpi::c_groupMask + i * lpi::c_affinitySize;
            set.push_back(
                {static_cast<uint16_t>(readLE_i(a + lpi::c_affinityGroup, 2)), readLE_i(a, 8)});
        }
        if (relation == lpi::c_core) {
            cores.insert(cores.end(), set.begin(), set.end());
        } else {
            (relation == lpi::c_package ? packages
             : relation == lpi::c_die   ? dies
                                        : modules)
                .push_back(std::move(set));
        }
    }
    if (!groupsTold) {
        // Without the group record, the processors of the cores are the
        // active ones.
        for (const GroupMask& core : cores) {
            if (activeInGroup.size() <= core.group) {
                activeInGroup.resize(core.group + 1u, 0);
            }
            unsigned bits = 0;
            for (uint64_t m = core.mask; m != 0; m &= m - 1) {
                ++bits;
            }
            activeInGroup[core.group] += bits;
        }
    }

    const std::vector<int> dieIds = idsWithinPackage_i(dies, packages);
    const std::vector<int> moduleIds = idsWithinPackage_i(modules, packages);
    std::vector<int> coresInPackage(packages.size(), 0);
    std::vector<LogicalCpu> cpus;
    for (const GroupMask& core : cores) {
        int package = -1;
        for (int bit = 0; bit < 64 && package < 0; ++bit) {
            if ((core.mask >> bit & 1u) != 0) {
                package = indexOf_i(packages, core.group, bit);
            }
        }
        if (package < 0) {
            unread += warnUnread_i("the package of a core of processor group " +
                                   std::to_string(core.group));
            continue;
        }
        const int coreID = coresInPackage[static_cast<size_t>(package)]++;
        unsigned base = 0;
        for (size_t g = 0; g < core.group && g < activeInGroup.size(); ++g) {
            base += activeInGroup[g];
        }
        for (int bit = 0; bit < 64; ++bit) {
            if ((core.mask >> bit & 1u) == 0) {
                continue;
            }
            const unsigned number = base + static_cast<unsigned>(bit);
            if (number > 0xFFFF) {
                unread +=
                    warnUnread_i("processor " + std::to_string(number) + " (number too large)");
                continue;
            }
            const int die = indexOf_i(dies, core.group, bit);
            const int module = indexOf_i(modules, core.group, bit);
            cpus.push_back({static_cast<int>(number), package,
                            die < 0 ? -1 : dieIds[static_cast<size_t>(die)],
                            module < 0 ? -1 : moduleIds[static_cast<size_t>(module)], coreID});
        }
    }
    if (cpus.empty()) {
        return unread + warnUnread_i("any processor core");
    }
    return unread + buildTree_i(std::move(cpus), cpuid, system);
}

std::string smbiosProductName(const void* data, size_t size) {
    const auto* table = static_cast<const unsigned char*>(data);
    std::string names[3];
    for (size_t at = 0; at + 4 <= size;) {
        const unsigned char type = table[at];
        const size_t formatted = table[at + 1];
        if (formatted < 4 || at + formatted > size) {
            break;
        }
        // The strings follow the formatted part, each NUL-ended, the set
        // ended by a second NUL (two NULs when there are none).
        std::vector<std::string> strings;
        size_t s = at + formatted;
        while (s < size && table[s] != 0) {
            size_t e = s;
            while (e < size && table[e] != 0) {
                ++e;
            }
            if (e == size) {
                s = size;  // a string cut off by the end of the table
                break;
            }
            strings.emplace_back(reinterpret_cast<const char*>(table + s), e - s);
            s = e + 1;
        }
        if (s >= size) {
            break;  // the set of strings is not ended
        }
        // Byte 5 of both structures is the number of the product-name
        // string, 1-based; 0 means none.
        if ((type == 1 || type == 2) && formatted > 5 && table[at + 5] != 0 &&
            table[at + 5] <= strings.size() && names[type].empty()) {
            names[type] = strings[table[at + 5] - 1u];
        }
        if (type == 127) {
            break;  // end-of-table structure
        }
        at = strings.empty() ? at + formatted + 2 : s + 1;
    }
    return !names[1].empty() ? names[1] : names[2];
}

namespace {

bool isIntel_i(const CpuidRegs& leaf0) {
    char vendor[13] = {};
    std::memcpy(vendor, &leaf0.ebx, 4);
    std::memcpy(vendor + 4, &leaf0.edx, 4);
    std::memcpy(vendor + 8, &leaf0.ecx, 4);
    return std::strcmp(vendor, "GenuineIntel") == 0;
}

// EDRAM shows as a level-4 cache in the deterministic cache parameters
// (CPUID leaf 4). Other makers have no such leaf and no EDRAM of this kind:
// they are "unsupported" (2) rather than the record's default 0, which would
// read as "present".
void probeEdram_i(SystemMetadata& system, const CpuidReader& cpuid, const CpuidRegs& leaf0) {
    if (!isIntel_i(leaf0)) {
        system.edramCap = 2;
        return;
    }
    if (leaf0.eax < 4) {
        return;
    }
    CpuidRegs r;
    bool l4 = false;
    uint32_t sub = 0;
    // Leaf 4 lists one cache per subleaf until a null type; a processor
    // lists a handful, 32 bounds a broken answer.
    for (; sub < 32 && cpuid(-1, 4, sub, r) && (r.eax & 0x1F) != 0; ++sub) {
        l4 = l4 || ((r.eax >> 5) & 0x7) == 4;
    }
    if (sub != 0) {
        system.edramCap = l4 ? 0 : 1;
    }
}

}  // namespace

int probeLinuxFiles(SystemMetadata& system, const ProbeSources& sources) {
    int unread = probeTopology_i(system, sources);
    unread += probeNames_i(system, sources.root);
    unread += probeFrequencies_i(system, sources.root);
    // The product name as the kernel decoded it, else from the raw tables
    // (readable only by root on most systems).
    const std::string product = sources.root + "/sys/class/dmi/id/product_name";
    if (!readLine_i(product, system.platformName)) {
        std::ifstream raw(sources.root + "/sys/firmware/dmi/tables/DMI", std::ios::binary);
        const std::string table((std::istreambuf_iterator<char>(raw)),
                                std::istreambuf_iterator<char>());
        const std::string name = smbiosProductName(table.data(), table.size());
        if (name.empty()) {
            unread += warnUnread_i(product);
        } else {
            system.platformName = name;
        }
    }
    unread += probeGraphics_i(system, sources.root);
    return unread;
}

int probeCpuid(SystemMetadata& system, const CpuidReader& cpuid) {
    CpuidRegs r;
    if (!cpuid || !cpuid(-1, 0, 0, r) || r.eax < 1) {
        return warnUnread_i("CPUID");
    }
    const uint32_t maxLeaf = r.eax;
    probeEdram_i(system, cpuid, r);
    int unread = 0;
    if (cpuid(-1, 1, 0, r)) {
        uint32_t family = (r.eax >> 8) & 0xF;
        uint32_t model = (r.eax >> 4) & 0xF;
        if (family == 0x6 || family == 0xF) {
            model |= ((r.eax >> 16) & 0xF) << 4;
        }
        if (family == 0xF) {
            family += (r.eax >> 20) & 0xFF;
        }
        system.fms.family = static_cast<uint8_t>(family);
        system.fms.model = static_cast<uint8_t>(model);
        system.fms.stepping = static_cast<uint8_t>(r.eax & 0xF);
        system.hyperVEnabled = (r.ecx & c_hypervisorBit) != 0;
    } else {
        unread += warnUnread_i("CPUID leaf 0x1");
    }
    if (system.hyperVEnabled) {
        CpuidRegs h;
        if (cpuid(-1, 0x40000000, 0, h)) {
            char vendor[13] = {};
            std::memcpy(vendor, &h.ebx, 4);
            std::memcpy(vendor + 4, &h.ecx, 4);
            std::memcpy(vendor + 8, &h.edx, 4);
            pwLog(PW_INFO, "INFO: hypervisor vendor \"%s\"\n", vendor);
        } else {
            unread += warnUnread_i("CPUID leaf 0x40000000");
        }
    }
    // Leaf 0x16: base, maximum and bus (reference) frequencies in MHz.
    if (maxLeaf >= 0x16 && cpuid(-1, 0x16, 0, r) && (r.eax & 0xFFFF) != 0) {
        const std::pair<uint32_t, float*> values[] = {{r.eax & 0xFFFF, &system.cpuFreqMHz},
                                                      {r.ebx & 0xFFFF, &system.hfmFreqMHz},
                                                      {r.ecx & 0xFFFF, &system.busFreqMHz}};
        for (const auto& v : values) {
            if (*v.second == 0.0f && v.first != 0) {
                *v.second = static_cast<float>(v.first);
            }
        }
    }
    return unread;
}

double probeTscFrequencyMHz(const CpuidReader& cpuid, unsigned calibrationMs) {
    CpuidRegs r;
    if (cpuid && cpuid(-1, 0, 0, r) && r.eax >= 0x15) {
        const uint32_t maxLeaf = r.eax;
        CpuidRegs t;
        if (cpuid(-1, 0x15, 0, t) && t.eax != 0 && t.ebx != 0) {
            double crystalHz = t.ecx;
            CpuidRegs f;
            if (crystalHz == 0.0 && maxLeaf >= 0x16 && cpuid(-1, 0x16, 0, f) && (f.eax & 0xFFFF)) {
                // Base frequency = crystal * ebx / eax.
                crystalHz = (f.eax & 0xFFFF) * 1e6 * t.eax / t.ebx;
            }
            if (crystalHz != 0.0) {
                return crystalHz * t.ebx / t.eax / 1e6;
            }
        }
    }
    if (calibrationMs == 0) {
        return 0.0;
    }
    VexaQPCClock qpc;
    const double ticksPerUs = qpc.getFrequency();
    const uint64_t q0 = qpc.getTimestamp();
    const uint64_t t0 = currentTsc();
    std::this_thread::sleep_for(std::chrono::milliseconds(calibrationMs));
    const uint64_t q1 = qpc.getTimestamp();
    const uint64_t t1 = currentTsc();
    if (ticksPerUs <= 0.0 || q1 <= q0 || t1 <= t0) {
        pwLog(PW_WARNING, "WARNING: couldn't calibrate the TSC\n");
        return 0.0;
    }
    const double us = static_cast<double>(q1 - q0) / ticksPerUs;
    return static_cast<double>(t1 - t0) / us;
}

uint64_t currentTimevalNs() {
    return VexaNanoClock().getTimestamp();
}

uint64_t currentTsc() {
    return VexaTSCClock().getTimestamp();
}

void markProgramStart(SystemMetadata& system) {
    system.programStartTimeval = currentTimevalNs();
}

void markCollectionStart(SystemMetadata& system) {
    system.startTimeval = currentTimevalNs();
    system.startTsc = currentTsc();
}

void markCollectionStop(SystemMetadata& system) {
    system.stopTimeval = currentTimevalNs();
    system.stopTsc = currentTsc();
}

int probeSystem(SystemMetadata& system, const ProbeSources& sources) {
    int unread = probeOs_i(system, sources);
    unread += probeCpuid(system, sources.cpuid);
    if (system.clockFreqMHz == 0.0f) {
        system.clockFreqMHz = VexaQPCClock().getFrequency();
    }
    return unread;
}

}  // namespace pwr
