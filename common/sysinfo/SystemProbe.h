// SystemProbe: fills a SystemMetadata from the machine it runs on.
//
// Each field comes from the best source the operating system offers: the
// processor's CPUID for its identity, hypervisor and frequencies, sysfs and
// procfs files on Linux, the Win32 version, registry, firmware-table and
// display-device calls on Windows. A field that no source answers keeps its
// default; the probe never guesses. Every source that could not be read is
// logged as one WARNING line naming it, and the probe carries on: it never
// fails as a whole.
//
// The sources are injectable (ProbeSources) so that recorded machines can be
// replayed: the Linux files are read below a root directory, and CPUID goes
// through a reader function. The Linux file reader is portable code, so a
// recorded Linux tree can be replayed on any platform.
//
// Threads: the real CPUID reader briefly binds the calling thread to the
// logical processor it asks about and restores its affinity afterwards; run
// the probe from a thread whose affinity nobody else changes meanwhile.
#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "common/runtime/Export.h"
#include "common/serialize/SystemMetadata.h"

namespace pwr {

struct CpuidRegs {
    uint32_t eax = 0;
    uint32_t ebx = 0;
    uint32_t ecx = 0;
    uint32_t edx = 0;
};

// Executes CPUID leaf/subleaf on logical processor cpu (-1: wherever the
// caller runs). Returns false when the processor cannot answer (no CPUID, a
// leaf above the highest one, a processor that cannot be reached).
using CpuidReader = std::function<bool(int cpu, uint32_t leaf, uint32_t subleaf, CpuidRegs& out)>;

struct ProbeSources {
    // Prefix of the Linux files (/sys/..., /proc/..., /etc/os-release);
    // empty for the running machine.
    std::string root;
    // Null: the processor is not asked.
    CpuidReader cpuid;
    // Use the operating system's own calls where they exist (Windows); false
    // to take everything from root and cpuid alone.
    bool useOsCalls = true;
};

// The running machine's sources.
PWR_API ProbeSources defaultProbeSources();

// The processor's own CPUID (see CpuidReader).
PWR_API bool readCpuid(int cpu, uint32_t leaf, uint32_t subleaf, CpuidRegs& out);

// Fills system from the sources. Returns the number of sources that could
// not be read (each logged as a WARNING); 0 when all answered.
PWR_API int probeSystem(SystemMetadata& system, const ProbeSources& sources);

// The pieces of probeSystem, usable on their own.
// fms, hyperVEnabled, and the frequencies of leaf 0x16 where the fields are
// still 0. Returns the number of sources that could not be read.
PWR_API int probeCpuid(SystemMetadata& system, const CpuidReader& cpuid);
// The topology, host and OS names, frequencies, platform name and graphics id
// from the Linux files below root. Returns the number of sources that could
// not be read.
PWR_API int probeLinuxFiles(SystemMetadata& system, const ProbeSources& sources);

// The TSC frequency in MHz: from CPUID leaf 0x15 (with the crystal frequency
// of leaf 0x16 when 0x15 leaves it out), else by counting TSC ticks against
// the performance-counter clock for calibrationMs milliseconds (0: no
// calibration). 0.0 when neither works.
PWR_API double probeTscFrequencyMHz(const CpuidReader& cpuid, unsigned calibrationMs);

// Wall-clock now in nanoseconds since the Unix epoch, and the TSC now: what
// the host stores in programStartTimeval, startTimeval/stopTimeval and
// startTsc/stopTsc.
PWR_API uint64_t currentTimevalNs();
PWR_API uint64_t currentTsc();
// Sets programStartTimeval to now.
PWR_API void markProgramStart(SystemMetadata& system);
// Sets startTimeval and startTsc to now; markCollectionStop the stop pair.
PWR_API void markCollectionStart(SystemMetadata& system);
PWR_API void markCollectionStop(SystemMetadata& system);

}  // namespace pwr
