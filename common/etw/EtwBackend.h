// EtwBackend: the operating-system calls behind event tracing sessions,
// providers and trace merging, in a form that builds on every platform.
//
// The session and provider classes hold the algorithm; the backend only
// forwards to the system (StartTraceA, ControlTraceA, EnableTraceEx2,
// OpenTraceA, ProcessTrace, CloseTrace, TdhEnumerateProviders, EventRegister,
// EventWrite, and CreateMergedTraceFile from KernelTraceControl.dll). Buffers
// travel as plain bytes and integers, laid out as Windows lays them out, so the
// code that fills them is the same on every platform and tests can replace the
// backend with a fake. Status results are Win32 error codes (0 = success).
//
// Outside Windows the system backend answers every call with
// ERROR_NOT_SUPPORTED and isSupported() is false.
//
// Ownership: setEtwBackend does not take ownership; the caller keeps the
// backend alive until it puts the system one back. Threads: install a backend
// before starting sessions or a merge; the system backend may be called from
// any thread.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "common/runtime/Export.h"

// Same layout as the Windows GUID.
struct EtwGuid {
    uint32_t data1 = 0;
    uint16_t data2 = 0;
    uint16_t data3 = 0;
    uint8_t data4[8] = {0, 0, 0, 0, 0, 0, 0, 0};
};

PWR_API bool operator==(const EtwGuid& a, const EtwGuid& b);
inline bool operator!=(const EtwGuid& a, const EtwGuid& b) {
    return !(a == b);
}
// "%08lx-%04x-%04x-%02x%02x-%02x%02x%02x%02x%02x%02x"
PWR_API std::string etwGuidToString(const EtwGuid& guid);

// Same layout as EVENT_DESCRIPTOR.
struct EtwEventDescriptor {
    uint16_t id = 0;
    uint8_t version = 0;
    uint8_t channel = 0;
    uint8_t level = 0;
    uint8_t opcode = 0;
    uint16_t task = 0;
    uint64_t keyword = 0;
};

// Same layout as EVENT_DATA_DESCRIPTOR.
struct EtwDataDescriptor {
    uint64_t ptr = 0;
    uint32_t size = 0;
    uint32_t reserved = 0;
};

// The parts of an EVENT_RECORD that readers use.
struct EtwEventRecord {
    EtwGuid providerId;
    EtwEventDescriptor descriptor;
    int64_t timestamp = 0;
    uint32_t processId = 0;
    uint32_t threadId = 0;
    const void* userData = nullptr;
    uint16_t userDataLength = 0;
};

using EtwEventCallback = std::function<void(const EtwEventRecord&)>;

// What OpenTraceA tells about a trace file.
struct EtwLogfileInfo {
    uint32_t pointerSize = 0;
    uint32_t eventsLost = 0;
};

// Win32 codes the algorithm reacts to.
constexpr unsigned long c_etwErrorNotEnoughMemory = 8;
constexpr unsigned long c_etwErrorNotSupported = 50;
constexpr unsigned long c_etwErrorDiskFull = 112;
constexpr unsigned long c_etwErrorInsufficientBuffer = 122;
constexpr unsigned long c_etwErrorAlreadyExists = 183;

// ControlTraceA codes.
constexpr uint32_t c_etwControlQuery = 0;
constexpr uint32_t c_etwControlStop = 1;
constexpr uint32_t c_etwControlFlush = 3;

// EnableTraceEx2 control codes.
constexpr uint32_t c_etwDisableProvider = 0;
constexpr uint32_t c_etwEnableProvider = 1;
constexpr uint32_t c_etwCaptureState = 2;

class PWR_API EtwBackend {
  public:
    virtual ~EtwBackend();

    virtual bool isSupported() const = 0;
    // The system's text for an error code.
    virtual std::string errorText(unsigned long code) const = 0;

    // StartTraceA; properties is the EVENT_TRACE_PROPERTIES block with the
    // names behind it.
    virtual unsigned long startTrace(uint64_t* handle, const std::string& sessionName,
                                     std::vector<uint8_t>& properties) = 0;
    // ControlTraceA with one of the c_etwControl* codes.
    virtual unsigned long controlTrace(uint64_t handle, const std::string& sessionName,
                                       std::vector<uint8_t>& properties, uint32_t code) = 0;
    // EnableTraceEx2 without filter parameters.
    virtual unsigned long enableTrace(uint64_t handle, const EtwGuid& provider,
                                      uint32_t controlCode, uint8_t level, uint64_t keywords) = 0;

    // OpenTraceA on a trace file; the callback receives each event that
    // processTrace reads.
    virtual unsigned long openTrace(const std::string& fileName, EtwEventCallback callback,
                                    uint64_t* handle, EtwLogfileInfo* info) = 0;
    virtual unsigned long processTrace(uint64_t handle) = 0;
    virtual unsigned long closeTrace(uint64_t handle) = 0;

    // TdhEnumerateProviders: fills buffer (a PROVIDER_ENUMERATION_INFO) or
    // answers c_etwErrorInsufficientBuffer with the size it needs.
    virtual unsigned long enumerateProviders(void* buffer, uint32_t* size) = 0;

    // Loads the merge library at fullPath and finds CreateMergedTraceFile.
    virtual bool loadMergeLibrary(const std::string& fullPath) = 0;
    // CreateMergedTraceFile; answers its HRESULT as an unsigned code.
    virtual unsigned long createMergedTraceFile(const std::string& mergedFile,
                                                const std::vector<std::string>& files) = 0;
    virtual void unloadMergeLibrary() = 0;

    // EventRegister, EventWrite, EventUnregister.
    virtual unsigned long registerProvider(const EtwGuid& provider, uint64_t* handle) = 0;
    virtual unsigned long writeEvent(uint64_t handle, const EtwEventDescriptor& descriptor,
                                     uint32_t count, const EtwDataDescriptor* data) = 0;
    virtual unsigned long unregisterProvider(uint64_t handle) = 0;
};

// The backend in use: the system one unless a test installed another.
PWR_API EtwBackend& etwBackend();
// Installs backend; null puts the system one back.
PWR_API void setEtwBackend(EtwBackend* backend);
// The real calls of this platform.
PWR_API EtwBackend& systemEtwBackend();

// Library internal: true when the backend in use can trace; otherwise logs
// "ERROR: Event tracing is not supported on this platform.\n" and answers
// false.
bool etwCheckSupported();
