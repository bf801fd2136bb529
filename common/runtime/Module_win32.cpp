#include "common/runtime/Module.h"

#include <windows.h>

#include <vector>

namespace pwr {

namespace {

// The system's text for an error code, without the trailing line break that
// FormatMessage appends.
std::string systemErrorText(DWORD code) {
    char* text = nullptr;
    const DWORD length = FormatMessageA(
        FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS,
        nullptr, code, 0, reinterpret_cast<LPSTR>(&text), 0, nullptr);
    std::string result;
    if (length != 0 && text != nullptr) {
        result.assign(text, length);
        while (!result.empty() && (result.back() == '\n' || result.back() == '\r' ||
                                   result.back() == ' ' || result.back() == '.')) {
            result.pop_back();
        }
    }
    if (text != nullptr) {
        LocalFree(text);
    }
    if (result.empty()) {
        result = "system error " + std::to_string(code);
    }
    return result;
}

}  // namespace

ModuleHandle loadModule(const char* path, std::string* error) {
    if (path == nullptr) {
        if (error != nullptr) {
            *error = "no path given";
        }
        return nullptr;
    }
    HMODULE module = LoadLibraryA(path);
    if (module == nullptr && error != nullptr) {
        *error = systemErrorText(GetLastError());
    }
    return reinterpret_cast<ModuleHandle>(module);
}

ModuleProc findModuleSymbol(ModuleHandle module, const char* name) {
    if (module == nullptr || name == nullptr) {
        return nullptr;
    }
    FARPROC proc = GetProcAddress(reinterpret_cast<HMODULE>(module), name);
    return reinterpret_cast<ModuleProc>(proc);
}

bool freeModule(ModuleHandle module) {
    return module != nullptr && FreeLibrary(reinterpret_cast<HMODULE>(module)) != 0;
}

bool getExecutablePath(std::string& path, std::string& error) {
    // GetModuleFileNameA truncates silently (apart from the last error) when
    // the buffer is short, so grow it until the name fits.
    std::vector<char> buffer(MAX_PATH);
    for (;;) {
        SetLastError(ERROR_SUCCESS);
        const DWORD length =
            GetModuleFileNameA(nullptr, buffer.data(), static_cast<DWORD>(buffer.size()));
        if (length == 0) {
            error = systemErrorText(GetLastError());
            return false;
        }
        if (length < buffer.size() && GetLastError() != ERROR_INSUFFICIENT_BUFFER) {
            path.assign(buffer.data(), length);
            return true;
        }
        if (buffer.size() >= 32768) {
            // Longer than any path the system accepts.
            error = systemErrorText(ERROR_INSUFFICIENT_BUFFER);
            return false;
        }
        buffer.resize(buffer.size() * 2);
    }
}

}  // namespace pwr
