// Helpers shared by the fuzz targets, the replay main and the seed writer.
//
// Every target is a LLVMFuzzerTestOneInput: it decodes one input and checks
// what the decoder promises (no crash, no leak, a refused input leaves its
// target untouched, an accepted one survives a second round trip unchanged).
// A broken promise stops the program through FUZZ_CHECK, which libFuzzer and
// the replay main both report as a failure.
//
// Threads: quietLogging and the scratch-file helpers are meant for the
// fuzzing thread; the targets that start threads say so themselves.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

namespace pwr::fuzz {

// Makes a context current whose loggers drop every line, at INFO verbosity
// so that every log line is still formatted (formatting fuzzed strings is
// part of what is tested). Idempotent.
void quietLogging();

// Prints what failed and where, then aborts.
[[noreturn]] void checkFailed(const char* condition, const char* file, int line);

// Writes size bytes to path, replacing the file. False on any error.
bool writeFile(const std::string& path, const uint8_t* data, size_t size);
// Reads a whole file. False on any error.
bool readFile(const std::string& path, std::vector<uint8_t>& out);

// 64-bit FNV-1a of a byte range.
uint64_t fnv1a(const void* data, size_t size);

}  // namespace pwr::fuzz

#define FUZZ_CHECK(condition)                                         \
    do {                                                              \
        if (!(condition)) {                                           \
            ::pwr::fuzz::checkFailed(#condition, __FILE__, __LINE__); \
        }                                                             \
    } while (false)
