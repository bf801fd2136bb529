#include "common/sysinfo/SystemProbe.h"

#include <windows.h>

#include <cpuid.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "common/runtime/Log.h"

namespace pwr {

namespace {

int warnUnread_i(const std::string& what) {
    pwLog(PW_WARNING, "WARNING: couldn't read %s\n", what.c_str());
    return 1;
}

const char c_currentVersionKey[] = "SOFTWARE\\Microsoft\\Windows NT\\CurrentVersion";

bool regString_i(const char* key, const char* name, std::string& out) {
    char buf[512];
    DWORD size = sizeof buf;
    if (RegGetValueA(HKEY_LOCAL_MACHINE, key, name, RRF_RT_REG_SZ, nullptr, buf, &size) !=
            ERROR_SUCCESS ||
        buf[0] == '\0') {
        return false;
    }
    out = buf;
    return true;
}

bool regDword_i(const char* key, const char* name, DWORD& out) {
    DWORD size = sizeof out;
    return RegGetValueA(HKEY_LOCAL_MACHINE, key, name, RRF_RT_REG_DWORD, nullptr, &out, &size) ==
           ERROR_SUCCESS;
}

int probeNames_i(SystemMetadata& system) {
    int unread = 0;
    char host[256];
    DWORD size = sizeof host;
    if (GetComputerNameExA(ComputerNameDnsHostname, host, &size) && host[0] != '\0') {
        system.hostName = host;
    } else {
        unread += warnUnread_i("the computer name");
    }
    if (!regString_i(c_currentVersionKey, "ProductName", system.osName)) {
        unread += warnUnread_i(std::string("HKLM\\") + c_currentVersionKey + "\\ProductName");
    }
    // GetVersionEx answers what the manifest asks for; RtlGetVersion tells
    // the truth.
    using RtlGetVersionFn = LONG(WINAPI*)(OSVERSIONINFOEXW*);
    HMODULE ntdll = GetModuleHandleA("ntdll.dll");
    auto rtlGetVersion = ntdll != nullptr
                             ? reinterpret_cast<RtlGetVersionFn>(
                                   reinterpret_cast<void*>(GetProcAddress(ntdll, "RtlGetVersion")))
                             : nullptr;
    OSVERSIONINFOEXW info{};
    info.dwOSVersionInfoSize = sizeof info;
    if (rtlGetVersion != nullptr && rtlGetVersion(&info) == 0) {
        system.osVersion = std::to_string(info.dwMajorVersion) + "." +
                           std::to_string(info.dwMinorVersion) + "." +
                           std::to_string(info.dwBuildNumber);
        std::string display;
        if (regString_i(c_currentVersionKey, "DisplayVersion", display)) {
            system.osVersion += " (" + display + ")";
        }
        system.osType = info.wProductType == VER_NT_WORKSTATION ? "Windows NT Workstation"
                        : info.wProductType == VER_NT_DOMAIN_CONTROLLER
                            ? "Windows NT Domain Controller"
                            : "Windows NT Server";
    } else {
        unread += warnUnread_i("the OS version (RtlGetVersion)");
    }
    return unread;
}

int probeTopology_i(SystemMetadata& system, const CpuidReader& cpuid) {
    DWORD length = 0;
    GetLogicalProcessorInformationEx(RelationAll, nullptr, &length);
    std::vector<char> buf(length);
    if (length == 0 ||
        !GetLogicalProcessorInformationEx(
            RelationAll, reinterpret_cast<SYSTEM_LOGICAL_PROCESSOR_INFORMATION_EX*>(buf.data()),
            &length)) {
        return warnUnread_i("the processor topology (GetLogicalProcessorInformationEx)");
    }
    std::vector<std::vector<GROUP_AFFINITY>> packages;
    std::vector<GROUP_AFFINITY> cores;
    for (DWORD at = 0; at + sizeof(DWORD) * 2 <= length;) {
        auto* info = reinterpret_cast<SYSTEM_LOGICAL_PROCESSOR_INFORMATION_EX*>(buf.data() + at);
        if (info->Size == 0) {
            break;
        }
        if (info->Relationship == RelationProcessorPackage) {
            packages.emplace_back(info->Processor.GroupMask,
                                  info->Processor.GroupMask + info->Processor.GroupCount);
        } else if (info->Relationship == RelationProcessorCore) {
            cores.push_back(info->Processor.GroupMask[0]);
        }
        at += info->Size;
    }
    CpuidRegs r;
    const bool hybrid = cpuid && cpuid(-1, 0, 0, r) && r.eax >= 7 && cpuid(-1, 7, 0, r) &&
                        (r.edx & (1u << 15)) != 0;
    int unread = 0;
    TopTree tree;
    std::vector<int> coresInPackage(packages.size(), 0);
    for (const GROUP_AFFINITY& core : cores) {
        int package = -1;
        for (size_t p = 0; p < packages.size() && package < 0; ++p) {
            for (const GROUP_AFFINITY& g : packages[p]) {
                if (g.Group == core.Group && (g.Mask & core.Mask) != 0) {
                    package = static_cast<int>(p);
                }
            }
        }
        if (package < 0) {
            unread += warnUnread_i("the package of a core");
            continue;
        }
        const int coreID = coresInPackage[static_cast<size_t>(package)]++;
        int thread = 0;
        for (int bit = 0; bit < 64; ++bit) {
            if ((core.Mask & (KAFFINITY{1} << bit)) == 0) {
                continue;
            }
            const int cpu = core.Group * 64 + bit;
            uint32_t value = TNodeCore::c_32BitMask;
            if (hybrid) {
                if (cpuid(cpu, 0x1A, 0, r) && r.eax != 0) {
                    value = r.eax;
                } else {
                    unread +=
                        warnUnread_i("the native model id of processor " + std::to_string(cpu));
                }
            }
            tree.addNode(package, -1, coreID, thread++, value);
        }
    }
    if (tree.empty()) {
        return unread + warnUnread_i("any processor core");
    }
    tree.setUniqueID();
    system.cpuTopology = std::move(tree);
    return unread;
}

// The system's product name from the SMBIOS system-information structure
// (type 1), with the board's (type 2) as a fall-back.
std::string smbiosProductName_i(const std::vector<char>& raw) {
    // RawSMBIOSData: four bytes of version, a 32-bit length, the tables.
    if (raw.size() < 8) {
        return std::string();
    }
    DWORD tableLength = 0;
    std::memcpy(&tableLength, raw.data() + 4, sizeof tableLength);
    const auto* table = reinterpret_cast<const unsigned char*>(raw.data() + 8);
    const size_t size = std::min<size_t>(tableLength, raw.size() - 8);
    std::string names[3];
    for (size_t at = 0; at + 4 <= size;) {
        const unsigned char type = table[at];
        const size_t formatted = table[at + 1];
        if (formatted < 4 || at + formatted > size) {
            break;
        }
        // The strings follow the formatted part, each NUL-ended, the set
        // ended by a second NUL.
        std::vector<std::string> strings;
        size_t s = at + formatted;
        while (s < size && table[s] != 0) {
            size_t e = s;
            while (e < size && table[e] != 0) {
                ++e;
            }
            strings.emplace_back(reinterpret_cast<const char*>(table + s), e - s);
            s = e + 1;
        }
        const size_t next = strings.empty() ? at + formatted + 2 : s + 1;
        if ((type == 1 || type == 2) && formatted > 5 && table[at + 5] != 0 &&
            table[at + 5] <= strings.size()) {
            names[type] = strings[table[at + 5] - 1u];
        }
        if (type == 127) {
            break;
        }
        at = next;
    }
    return !names[1].empty() ? names[1] : names[2];
}

int probeFirmware_i(SystemMetadata& system) {
    const DWORD rsmb = 'R' << 24 | 'S' << 16 | 'M' << 8 | 'B';
    UINT size = GetSystemFirmwareTable(rsmb, 0, nullptr, 0);
    std::vector<char> raw(size);
    std::string name;
    if (size != 0 && GetSystemFirmwareTable(rsmb, 0, raw.data(), size) == size) {
        name = smbiosProductName_i(raw);
    }
    if (name.empty()) {
        return warnUnread_i("the SMBIOS product name (GetSystemFirmwareTable)");
    }
    system.platformName = name;
    return 0;
}

void probeGraphics_i(SystemMetadata& system) {
    DISPLAY_DEVICEA dev{};
    dev.cb = sizeof dev;
    for (DWORD i = 0; EnumDisplayDevicesA(nullptr, i, &dev, 0); ++i) {
        // "PCI\VEN_8086&DEV_46A6&SUBSYS_..."
        std::string id = dev.DeviceID;
        size_t d = id.find("&DEV_");
        if (id.compare(0, 12, "PCI\\VEN_8086") == 0 && d != std::string::npos) {
            unsigned long device = std::strtoul(id.substr(d + 5, 4).c_str(), nullptr, 16);
            if (device != 0) {
                system.igfxId = static_cast<uint32_t>(device);
                return;
            }
        }
        dev.cb = sizeof dev;
    }
}

int probeWindows_i(SystemMetadata& system, const CpuidReader& cpuid) {
    int unread = probeNames_i(system);
    unread += probeTopology_i(system, cpuid);
    DWORD mhz = 0;
    if (regDword_i("HARDWARE\\DESCRIPTION\\System\\CentralProcessor\\0", "~MHz", mhz) && mhz != 0) {
        system.cpuFreqMHz = static_cast<float>(mhz);
    } else {
        unread += warnUnread_i("HKLM\\HARDWARE\\DESCRIPTION\\System\\CentralProcessor\\0\\~MHz");
    }
    unread += probeFirmware_i(system);
    probeGraphics_i(system);
    // Absent values mean the feature is not configured, which is an answer.
    DWORD on = 0;
    system.vsmEnabled = regDword_i("SYSTEM\\CurrentControlSet\\Control\\DeviceGuard",
                                   "EnableVirtualizationBasedSecurity", on) &&
                        on != 0;
    on = 0;
    system.hvciEnabled = regDword_i(
                             "SYSTEM\\CurrentControlSet\\Control\\DeviceGuard\\Scenarios\\"
                             "HypervisorEnforcedCodeIntegrity",
                             "Enabled", on) &&
                         on != 0;
    return unread;
}

}  // namespace

int probeOs_i(SystemMetadata& system, const ProbeSources& sources) {
    if (!sources.useOsCalls) {
        return probeLinuxFiles(system, sources);
    }
    return probeWindows_i(system, sources.cpuid);
}

ProbeSources defaultProbeSources() {
    ProbeSources sources;
    sources.cpuid = readCpuid;
    return sources;
}

bool readCpuid(int cpu, uint32_t leaf, uint32_t subleaf, CpuidRegs& out) {
    const uint32_t maxLeaf = __get_cpuid_max(leaf & 0x80000000u, nullptr);
    if ((leaf & 0xF0000000u) != 0x40000000u && (maxLeaf == 0 || leaf > maxLeaf)) {
        return false;
    }
    HANDLE self = GetCurrentThread();
    GROUP_AFFINITY saved{};
    bool pinned = false;
    if (cpu >= 0) {
        GROUP_AFFINITY one{};
        one.Group = static_cast<WORD>(cpu / 64);
        one.Mask = KAFFINITY{1} << (cpu % 64);
        if (!SetThreadGroupAffinity(self, &one, &saved)) {
            return false;
        }
        pinned = true;
    }
    unsigned a = 0, b = 0, c = 0, d = 0;
    __cpuid_count(leaf, subleaf, a, b, c, d);
    if (pinned) {
        SetThreadGroupAffinity(self, &saved, nullptr);
    }
    out.eax = a;
    out.ebx = b;
    out.ecx = c;
    out.edx = d;
    return true;
}

}  // namespace pwr
