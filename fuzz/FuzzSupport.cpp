#include "fuzz/FuzzSupport.h"

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>

#include "common/runtime/Log.h"

namespace pwr::fuzz {

namespace {

// Lives for the whole process: the fuzzer never ends a program normally.
NullLogger g_nullLogger;
LogContext* g_quietContext = nullptr;

}  // namespace

void quietLogging() {
    if (g_quietContext == nullptr) {
        g_quietContext = new LogContext();
        g_quietContext->setVerbosity(PW_INFO);
        g_quietContext->setErrorLogger(&g_nullLogger);
        g_quietContext->setDebugLogger(&g_nullLogger);
        g_quietContext->setNullLogger(&g_nullLogger);
    }
    setLogContext(g_quietContext);
}

void checkFailed(const char* condition, const char* file, int line) {
    std::fprintf(stderr, "FUZZ CHECK FAILED: %s (%s:%d)\n", condition, file, line);
    std::fflush(stderr);
    std::abort();
}

bool writeFile(const std::string& path, const uint8_t* data, size_t size) {
    std::FILE* f = std::fopen(path.c_str(), "wb");
    if (f == nullptr) {
        return false;
    }
    const bool written = size == 0 || std::fwrite(data, 1, size, f) == size;
    return std::fclose(f) == 0 && written;
}

bool readFile(const std::string& path, std::vector<uint8_t>& out) {
    std::ifstream in(path, std::ios::binary);
    if (!in) {
        return false;
    }
    out.assign(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
    return !in.bad();
}

uint64_t fnv1a(const void* data, size_t size) {
    const auto* bytes = static_cast<const uint8_t*>(data);
    uint64_t hash = 0xcbf29ce484222325ull;
    for (size_t i = 0; i < size; ++i) {
        hash = (hash ^ bytes[i]) * 0x100000001b3ull;
    }
    return hash;
}

}  // namespace pwr::fuzz
