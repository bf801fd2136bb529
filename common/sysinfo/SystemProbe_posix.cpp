#include "common/sysinfo/SystemProbe.h"

#include <sched.h>
#include <unistd.h>

#if defined(__x86_64__) || defined(__i386__)
#include <cpuid.h>
#endif

namespace pwr {

int probeOs_i(SystemMetadata& system, const ProbeSources& sources) {
    // Linux tells everything through its files; other systems have no sysfs
    // and report each missing file.
    return probeLinuxFiles(system, sources);
}

unsigned osLogicalProcessorCount() {
    const long n = sysconf(_SC_NPROCESSORS_ONLN);
    return n > 0 ? static_cast<unsigned>(n) : 0u;
}

ProbeSources defaultProbeSources() {
    ProbeSources sources;
    sources.cpuid = readCpuid;
    return sources;
}

bool readCpuid(int cpu, uint32_t leaf, uint32_t subleaf, CpuidRegs& out) {
#if defined(__x86_64__) || defined(__i386__)
    const uint32_t maxLeaf = __get_cpuid_max(leaf & 0x80000000u, nullptr);
    // The hypervisor range is not announced by leaf 0; a CPU without a
    // hypervisor answers it with the data of its highest basic leaf, which
    // callers rule out through the hypervisor-present bit.
    if ((leaf & 0xF0000000u) != 0x40000000u && (maxLeaf == 0 || leaf > maxLeaf)) {
        return false;
    }
    cpu_set_t saved;
    bool pinned = false;
    if (cpu >= 0) {
        if (cpu >= CPU_SETSIZE || sched_getaffinity(0, sizeof saved, &saved) != 0) {
            return false;
        }
        cpu_set_t one;
        CPU_ZERO(&one);
        CPU_SET(cpu, &one);
        if (sched_setaffinity(0, sizeof one, &one) != 0) {
            return false;
        }
        pinned = true;
    }
    unsigned a = 0, b = 0, c = 0, d = 0;
    __cpuid_count(leaf, subleaf, a, b, c, d);
    if (pinned) {
        sched_setaffinity(0, sizeof saved, &saved);
    }
    out.eax = a;
    out.ebx = b;
    out.ecx = c;
    out.edx = d;
    return true;
#else
    (void)cpu;
    (void)leaf;
    (void)subleaf;
    (void)out;
    return false;
#endif
}

}  // namespace pwr
