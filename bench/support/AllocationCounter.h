// Counts heap allocations made through operator new in this program, so that
// benchmarks can report allocations per item.
//
// On Linux the replaced operator new also serves the shared library. A
// Windows DLL carries its own runtime, so there only the program's own
// allocations are seen.
#pragma once

#include <cstdint>

namespace vantry::bench {

uint64_t allocationCount();

}  // namespace vantry::bench
