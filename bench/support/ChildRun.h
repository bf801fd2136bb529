// ChildRun: runs a program to its end and reports what it cost: wall time,
// processor time and peak memory, as the operating system accounts them for
// that process alone.
//
// No state; each call starts and waits for one process.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace vantry_bench {

struct ChildCost {
    int exitCode = -1;
    double wallSeconds = 0;
    double cpuSeconds = 0;   // user + system
    uint64_t peakBytes = 0;  // peak resident set (Windows: peak working set)
};

// Runs program with args; false when it could not be started. Its output
// goes to outputPath (created or truncated).
bool runChild(const std::string& program, const std::vector<std::string>& args,
              const std::string& outputPath, ChildCost& cost);

}  // namespace vantry_bench
