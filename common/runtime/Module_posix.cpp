#include "common/runtime/Module.h"

#include <dlfcn.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <vector>

namespace pwr {

ModuleHandle loadModule(const char* path, std::string* error) {
    if (path == nullptr) {
        if (error != nullptr) {
            *error = "no path given";
        }
        return nullptr;
    }
    // Resolve every symbol now: a library with a missing dependency should
    // fail here, not at its first call.
    void* handle = dlopen(path, RTLD_NOW | RTLD_LOCAL);
    if (handle == nullptr && error != nullptr) {
        const char* text = dlerror();
        *error = text != nullptr ? text : "unknown error";
    }
    return handle;
}

ModuleProc findModuleSymbol(ModuleHandle module, const char* name) {
    if (module == nullptr || name == nullptr) {
        return nullptr;
    }
    void* symbol = dlsym(module, name);
    // POSIX guarantees that a dlsym result converts to a function pointer.
    return reinterpret_cast<ModuleProc>(symbol);
}

bool freeModule(ModuleHandle module) {
    return module != nullptr && dlclose(module) == 0;
}

bool getExecutablePath(std::string& path, std::string& error) {
    // readlink does not say whether it truncated, so grow the buffer until the
    // link fits with room to spare.
    std::vector<char> buffer(256);
    for (;;) {
        const ssize_t length = readlink("/proc/self/exe", buffer.data(), buffer.size());
        if (length < 0) {
            error = std::strerror(errno);
            return false;
        }
        if (static_cast<size_t>(length) < buffer.size()) {
            path.assign(buffer.data(), static_cast<size_t>(length));
            return true;
        }
        buffer.resize(buffer.size() * 2);
    }
}

}  // namespace pwr
