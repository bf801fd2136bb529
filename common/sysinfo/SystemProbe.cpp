#include "common/sysinfo/SystemProbe.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <map>
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

int probeTopology_i(SystemMetadata& system, const ProbeSources& sources) {
    const std::string dir = sources.root + "/sys/devices/system/cpu";
    int unread = 0;
    std::vector<int> cpus;
    std::string online;
    if (!readLine_i(dir + "/online", online) || !parseCpuList_i(online, cpus)) {
        unread += warnUnread_i(dir + "/online");
        cpus = listCpuFolders_i(dir);
    }
    const bool hybrid = isHybrid_i(sources.cpuid);

    struct Cpu {
        int cpu;
        long long package;
        long long core;
    };
    std::vector<Cpu> found;
    for (int cpu : cpus) {
        const std::string topo = dir + "/cpu" + std::to_string(cpu) + "/topology";
        long long package = 0;
        long long core = 0;
        if (!readNumber_i(topo + "/physical_package_id", package) || package < 0 ||
            !readNumber_i(topo + "/core_id", core) || core < 0) {
            unread += warnUnread_i(topo);
            continue;
        }
        found.push_back({cpu, package, core});
    }

    // Hardware threads are numbered within their core in the order of their
    // logical-processor numbers.
    TopTree tree;
    std::map<std::pair<long long, long long>, int> threadsOfCore;
    for (const Cpu& c : found) {
        int thread = threadsOfCore[{c.package, c.core}]++;
        uint32_t coreValue = TNodeCore::c_32BitMask;
        CpuidRegs r;
        if (hybrid) {
            if (sources.cpuid(c.cpu, 0x1A, 0, r) && r.eax != 0) {
                coreValue = r.eax;
            } else {
                unread += warnUnread_i("the native model id of cpu" + std::to_string(c.cpu));
            }
        }
        if (tree.addNode(static_cast<int>(c.package), -1, static_cast<int>(c.core), thread,
                         coreValue) != 0) {
            unread += warnUnread_i("a usable topology for cpu" + std::to_string(c.cpu));
        }
    }
    if (!tree.empty()) {
        tree.setUniqueID();
        system.cpuTopology = std::move(tree);
    }
    return unread;
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

}  // namespace

int probeLinuxFiles(SystemMetadata& system, const ProbeSources& sources) {
    int unread = probeTopology_i(system, sources);
    unread += probeNames_i(system, sources.root);
    unread += probeFrequencies_i(system, sources.root);
    const std::string product = sources.root + "/sys/class/dmi/id/product_name";
    if (!readLine_i(product, system.platformName)) {
        unread += warnUnread_i(product);
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
