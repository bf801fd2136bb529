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
// Fields left at their defaults for want of a source: scuVersion (no
// operating system shows the SCU firmware version), and on Windows
// platformId (a processor register out of reach of user mode) and
// lfmFreqMHz. Linux reads the platform id from the microcode loader where
// it exists. vsmEnabled, hvciEnabled and vtioEnabled are Windows reports and
// stay false elsewhere.
//
// The sources are injectable (ProbeSources) so that recorded machines can be
// replayed: the Linux files are read below a root directory, and CPUID goes
// through a reader function. The Linux file reader, the reader of a Windows
// processor-information buffer and the SMBIOS table reader are portable code,
// so recorded machines of either system can be replayed on any platform.
//
// Topology. Each Thread node of the tree carries the operating system's
// number of its logical processor as its id (Linux: N of cpuN; Windows: the
// active processors of the earlier processor groups plus the processor's bit
// in its group), so "cpu N" of any OS reading is the Thread node with id N.
// Packages, dies, modules and cores are numbered as the OS numbers them where
// it does (Linux) and in the order the OS lists them otherwise (Windows). A
// Die level is made only when a package holds more than one die, and a Module
// level only when a module holds more than one core: a level that repeats its
// parent or its single child tells nothing and would only lengthen every row
// name. A tree has at most four levels (the 64-bit keys of TopTree hold four
// 16-bit ids), so when both would be made the Die level is kept.
//
// Threads: the real CPUID reader briefly binds the calling thread to the
// logical processor it asks about and restores its affinity afterwards; run
// the probe from a thread whose affinity nobody else changes meanwhile.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

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
    // When set, gets one line (without level word or line feed) for each
    // thing the probe had to assume rather than read, for the user to see:
    // "the processor topology was not found ...".
    std::vector<std::string>* notes = nullptr;
};

// The running machine's sources.
PWR_API ProbeSources defaultProbeSources();

// The processor's own CPUID (see CpuidReader).
PWR_API bool readCpuid(int cpu, uint32_t leaf, uint32_t subleaf, CpuidRegs& out);

// Fills system from the sources. Returns the number of sources that could
// not be read (each logged as a WARNING); 0 when all answered.
PWR_API int probeSystem(SystemMetadata& system, const ProbeSources& sources);

// The pieces of probeSystem, usable on their own.
// fms, hyperVEnabled, edramCap (a level-4 cache of leaf 4; "unsupported"
// on other makers' processors), and the frequencies of leaf 0x16 where the
// fields are still 0. Returns the number of sources that could not be read.
PWR_API int probeCpuid(SystemMetadata& system, const CpuidReader& cpuid);
// The topology, host and OS names, frequencies, platform id, platform name
// and graphics id from the Linux files below root. Returns the number of sources that could
// not be read.
PWR_API int probeLinuxFiles(SystemMetadata& system, const ProbeSources& sources);

// The topology, and the hybrid cores' native model ids, from the buffer that
// GetLogicalProcessorInformationEx(RelationAll, ...) fills on 64-bit Windows
// (records of processor cores, packages, dies, modules and groups; others
// are skipped). Replaces system.cpuTopology when at least one processor was
// found. Returns the number of things that could not be read (each logged).
PWR_API int probeProcessorInformation(SystemMetadata& system, const void* buffer, size_t size,
                                      const CpuidReader& cpuid);

// The system's product name from raw SMBIOS structures (the table itself,
// without the header Windows puts before it): the product name of the system
// information structure (type 1), else the board's (type 2). Empty when the
// table holds neither, or is damaged before one.
PWR_API std::string smbiosProductName(const void* table, size_t size);

// The number of logical processors the operating system runs (all processor
// groups on Windows); 0 when it does not say.
PWR_API unsigned osLogicalProcessorCount();

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
