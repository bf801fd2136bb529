#include "plugins/collectors/TraceSupport.h"

#include <windows.h>

namespace vantry {

bool systemTracesEvents() {
    // Wine's ntdll exports its version; its trace calls are stubs.
    HMODULE ntdll = GetModuleHandleA("ntdll.dll");
    return ntdll == nullptr || GetProcAddress(ntdll, "wine_get_version") == nullptr;
}

}  // namespace vantry
