// Module: loads a shared library (a DLL on Windows, a shared object elsewhere)
// at run time and finds its entry points by name.
//
// The free functions are the platform layer: LoadLibraryA, GetProcAddress and
// FreeLibrary on Windows, dlopen, dlsym and dlclose elsewhere. Module is an
// owning wrapper for code that loads a library for itself; code that is handed
// a library loaded by someone else (the plug-in environment's driver library)
// keeps the bare ModuleHandle and never frees it.
//
// getExecutablePath belongs here because the running program is the process's
// main module: GetModuleFileNameA on Windows, /proc/self/exe on Linux.
//
// Threads: the functions may be called from any thread; a Module object is not
// locked.
#pragma once

#include <string>

#include "common/runtime/Export.h"

namespace pwr {

// An opaque handle of a loaded library (an HMODULE on Windows, the dlopen
// handle elsewhere); null means "none".
using ModuleHandle = void*;

// An entry point as found. Callers cast it to the entry point's own type; a
// function pointer type converts to any other function pointer type, which an
// object pointer does not.
using ModuleProc = void (*)();

// Loads the library at path. Returns null on failure and, when error is given,
// sets it to the system's description of the failure.
PWR_API ModuleHandle loadModule(const char* path, std::string* error = nullptr);
// The entry point called name, or null when the module or name is null or the
// module has no such entry point.
PWR_API ModuleProc findModuleSymbol(ModuleHandle module, const char* name);
// Unloads a library loaded with loadModule. False when module is null or the
// system refuses.
PWR_API bool freeModule(ModuleHandle module);

// The full path name of the running executable. On failure returns false,
// leaves path untouched and sets error to the system's description.
PWR_API bool getExecutablePath(std::string& path, std::string& error);

// Owns one loaded library and unloads it when destroyed. Move-only.
class PWR_API Module {
  public:
    Module() = default;
    // Loads path; check isLoaded() and getError().
    explicit Module(const std::string& path);
    ~Module();
    Module(const Module&) = delete;
    Module& operator=(const Module&) = delete;
    Module(Module&& other) noexcept;
    Module& operator=(Module&& other) noexcept;

    // Unloads the current library, if any, and loads path.
    bool load(const std::string& path);
    void unload();

    bool isLoaded() const { return m_handle != nullptr; }
    ModuleHandle getHandle() const { return m_handle; }
    ModuleProc findSymbol(const char* name) const { return findModuleSymbol(m_handle, name); }
    // Why the last load failed (empty after a successful one).
    const std::string& getError() const { return m_error; }

  private:
    ModuleHandle m_handle = nullptr;
    std::string m_error;
};

}  // namespace pwr
