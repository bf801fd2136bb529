#include "common/sysinfo/SystemProbe.h"

#include <windows.h>

#include <cpuid.h>

#include <algorithm>
#include <cstddef>
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

// The portable reader of the buffer in SystemProbe.cpp relies on this
// layout.
static_assert(offsetof(SYSTEM_LOGICAL_PROCESSOR_INFORMATION_EX, Size) == 4, "layout");
static_assert(offsetof(SYSTEM_LOGICAL_PROCESSOR_INFORMATION_EX, Processor) == 8, "layout");
static_assert(offsetof(PROCESSOR_RELATIONSHIP, GroupCount) == 22, "layout");
static_assert(offsetof(PROCESSOR_RELATIONSHIP, GroupMask) == 24, "layout");
static_assert(sizeof(GROUP_AFFINITY) == 16 && offsetof(GROUP_AFFINITY, Group) == 8, "layout");
static_assert(offsetof(GROUP_RELATIONSHIP, ActiveGroupCount) == 2, "layout");
static_assert(offsetof(GROUP_RELATIONSHIP, GroupInfo) == 24, "layout");
static_assert(sizeof(PROCESSOR_GROUP_INFO) == 48 &&
                  offsetof(PROCESSOR_GROUP_INFO, ActiveProcessorCount) == 1,
              "layout");
static_assert(RelationProcessorCore == 0 && RelationProcessorPackage == 3 && RelationGroup == 4,
              "layout");

int probeTopology_i(SystemMetadata& system, const CpuidReader& cpuid) {
    // RelationAll also brings dies and modules on the Windows versions that
    // know them; older ones simply list none.
    DWORD length = 0;
    GetLogicalProcessorInformationEx(RelationAll, nullptr, &length);
    std::vector<char> buf(length);
    if (length == 0 ||
        !GetLogicalProcessorInformationEx(
            RelationAll, reinterpret_cast<SYSTEM_LOGICAL_PROCESSOR_INFORMATION_EX*>(buf.data()),
            &length)) {
        return warnUnread_i("the processor topology (GetLogicalProcessorInformationEx)");
    }
    return probeProcessorInformation(system, buf.data(), length, cpuid);
}

int probeFirmware_i(SystemMetadata& system) {
    const DWORD rsmb = 'R' << 24 | 'S' << 16 | 'M' << 8 | 'B';
    UINT size = GetSystemFirmwareTable(rsmb, 0, nullptr, 0);
    std::vector<char> raw(size);
    std::string name;
    // RawSMBIOSData: four bytes of version, a 32-bit table length, the table.
    if (size > 8 && GetSystemFirmwareTable(rsmb, 0, raw.data(), size) == size) {
        DWORD tableLength = 0;
        std::memcpy(&tableLength, raw.data() + 4, sizeof tableLength);
        name = smbiosProductName(raw.data() + 8, std::min<size_t>(tableLength, size - 8));
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

// One entry of CallNtPowerInformation(ProcessorInformation); the SDK
// documents it without declaring it.
struct ProcessorPowerInformation {
    ULONG Number;
    ULONG MaxMhz;
    ULONG CurrentMhz;
    ULONG MhzLimit;
    ULONG MaxIdleState;
    ULONG CurrentIdleState;
};

// The base operating frequency: the rated ("maximum") frequency the power
// manager reports, which is the nominal frequency without turbo, else the
// registry's "~MHz" (the same figure, measured at boot). The current
// frequency and the limit are logged, as the record has no field for them.
// The highest frequency comes from CPUID leaf 0x16 (probeCpuid); Windows has
// no user-mode source for the lowest one, which therefore stays 0.
int probeFrequencies_i(SystemMetadata& system) {
    using CallNtPowerInformationFn =
        LONG(WINAPI*)(POWER_INFORMATION_LEVEL, PVOID, ULONG, PVOID, ULONG);
    // Loaded at run time so that the library does not import powrprof.dll
    // for this one call.
    HMODULE powrprof = LoadLibraryA("powrprof.dll");
    auto call = powrprof != nullptr
                    ? reinterpret_cast<CallNtPowerInformationFn>(reinterpret_cast<void*>(
                          GetProcAddress(powrprof, "CallNtPowerInformation")))
                    : nullptr;
    const DWORD count = GetActiveProcessorCount(ALL_PROCESSOR_GROUPS);
    std::vector<ProcessorPowerInformation> info(count == 0 ? 1 : count);
    const bool answered =
        call != nullptr &&
        call(ProcessorInformation, nullptr, 0, info.data(),
             static_cast<ULONG>(info.size() * sizeof(ProcessorPowerInformation))) == 0 &&
        info[0].MaxMhz != 0;
    if (powrprof != nullptr) {
        FreeLibrary(powrprof);
    }
    if (answered) {
        system.cpuFreqMHz = static_cast<float>(info[0].MaxMhz);
        pwLog(PW_INFO, "INFO: processor 0 runs at %lu MHz (rated %lu MHz, limit %lu MHz)\n",
              info[0].CurrentMhz, info[0].MaxMhz, info[0].MhzLimit);
        return 0;
    }
    DWORD mhz = 0;
    if (regDword_i("HARDWARE\\DESCRIPTION\\System\\CentralProcessor\\0", "~MHz", mhz) && mhz != 0) {
        system.cpuFreqMHz = static_cast<float>(mhz);
        return 0;
    }
    return warnUnread_i(
        "the processor frequency (CallNtPowerInformation, "
        "HKLM\\HARDWARE\\DESCRIPTION\\System\\CentralProcessor\\0\\~MHz)");
}

// VTIO: the secure I/O path of Enhanced Sign-in Security (biometric sign-in
// inside the virtualisation-based security boundary). Features that must not
// run beside it test this flag, and the note they show names Enhanced Sign-in
// Security, so the flag follows what Windows reports for that scenario; an
// absent value means the scenario is not configured.
void probeVtio_i(SystemMetadata& system) {
    DWORD on = 0;
    system.vtioEnabled =
        regDword_i("SYSTEM\\CurrentControlSet\\Control\\DeviceGuard\\Scenarios\\SecureBiometrics",
                   "Enabled", on) &&
        on != 0;
}

// platformId, edramCap and scuVersion: Windows offers no user-mode source of
// the platform id (a processor register only kernel mode reads) or of the
// SCU firmware version, so both keep their defaults; edramCap comes from
// CPUID (probeCpuid).
int probeWindows_i(SystemMetadata& system, const CpuidReader& cpuid) {
    int unread = probeNames_i(system);
    unread += probeTopology_i(system, cpuid);
    unread += probeFrequencies_i(system);
    unread += probeFirmware_i(system);
    probeVtio_i(system);

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

unsigned osLogicalProcessorCount() {
    return GetActiveProcessorCount(ALL_PROCESSOR_GROUPS);
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
        // cpu is the number across groups (see SystemProbe.h): walk the
        // groups to find its group and its bit there.
        GROUP_AFFINITY one{};
        DWORD number = static_cast<DWORD>(cpu);
        const WORD groups = GetActiveProcessorGroupCount();
        WORD group = 0;
        while (group < groups && number >= GetActiveProcessorCount(group)) {
            number -= GetActiveProcessorCount(group++);
        }
        if (group == groups || number >= 64) {
            return false;
        }
        one.Group = group;
        one.Mask = KAFFINITY{1} << number;
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
