#include "common/etw/EtwBackend.h"

#include <atomic>
#include <cstdio>
#include <cstring>

#include "common/runtime/Log.h"

namespace {

std::atomic<EtwBackend*> g_backend{nullptr};

}  // namespace

EtwBackend::~EtwBackend() = default;

bool operator==(const EtwGuid& a, const EtwGuid& b) {
    return a.data1 == b.data1 && a.data2 == b.data2 && a.data3 == b.data3 &&
           std::memcmp(a.data4, b.data4, sizeof(a.data4)) == 0;
}

std::string etwGuidToString(const EtwGuid& g) {
    char text[40];
    std::snprintf(text, sizeof(text), "%08lx-%04x-%04x-%02x%02x-%02x%02x%02x%02x%02x%02x",
                  static_cast<unsigned long>(g.data1), g.data2, g.data3, g.data4[0], g.data4[1],
                  g.data4[2], g.data4[3], g.data4[4], g.data4[5], g.data4[6], g.data4[7]);
    return text;
}

EtwBackend& etwBackend() {
    EtwBackend* backend = g_backend.load();
    return backend != nullptr ? *backend : systemEtwBackend();
}

void setEtwBackend(EtwBackend* backend) {
    g_backend.store(backend);
}

bool etwCheckSupported() {
    if (etwBackend().isSupported()) {
        return true;
    }
    pwr::pwLogTagged("etw-session", PW_ERROR,
                     "ERROR: Event tracing is not supported on this platform.\n");
    return false;
}
