#include "common/etw/EtwBackend.h"

#include <windows.h>
#include <evntprov.h>
#include <evntrace.h>
#include <evntcons.h>

#include <cstddef>
#include <cstring>
#include <map>
#include <memory>
#include <mutex>

static_assert(sizeof(EtwGuid) == sizeof(GUID), "EtwGuid must match GUID");
static_assert(sizeof(EtwEventDescriptor) == sizeof(EVENT_DESCRIPTOR),
              "EtwEventDescriptor must match EVENT_DESCRIPTOR");
static_assert(offsetof(EtwEventDescriptor, keyword) == offsetof(EVENT_DESCRIPTOR, Keyword),
              "EtwEventDescriptor must match EVENT_DESCRIPTOR");
static_assert(sizeof(EtwDataDescriptor) == sizeof(EVENT_DATA_DESCRIPTOR),
              "EtwDataDescriptor must match EVENT_DATA_DESCRIPTOR");
static_assert(sizeof(EVENT_TRACE_PROPERTIES) == 120, "properties block layout");
static_assert(offsetof(EVENT_TRACE_PROPERTIES, EventsLost) == 88, "properties block layout");
static_assert(offsetof(EVENT_TRACE_PROPERTIES, LogFileNameOffset) == 112,
              "properties block layout");
static_assert(offsetof(EVENT_TRACE_PROPERTIES, LoggerNameOffset) == 116, "properties block layout");

namespace {

using TdhEnumerateProvidersFn = ULONG(WINAPI*)(void*, ULONG*);
using CreateMergedTraceFileFn = HRESULT(WINAPI*)(LPCWSTR, ULONG, LPCWSTR*, ULONG);

const GUID& toGuid(const EtwGuid& guid) {
    return *reinterpret_cast<const GUID*>(&guid);
}

std::wstring widen(const std::string& text) {
    if (text.empty()) {
        return std::wstring();
    }
    const int length =
        MultiByteToWideChar(CP_ACP, 0, text.data(), static_cast<int>(text.size()), nullptr, 0);
    std::wstring result(static_cast<size_t>(length), L'\0');
    MultiByteToWideChar(CP_ACP, 0, text.data(), static_cast<int>(text.size()), &result[0], length);
    return result;
}

void WINAPI onEventRecord(PEVENT_RECORD record) {
    auto* callback = static_cast<EtwEventCallback*>(record->UserContext);
    if (callback == nullptr || !*callback) {
        return;
    }
    EtwEventRecord out;
    std::memcpy(static_cast<void*>(&out.providerId), &record->EventHeader.ProviderId,
                sizeof(out.providerId));
    std::memcpy(static_cast<void*>(&out.descriptor), &record->EventHeader.EventDescriptor,
                sizeof(out.descriptor));
    out.timestamp = record->EventHeader.TimeStamp.QuadPart;
    out.processId = record->EventHeader.ProcessId;
    out.threadId = record->EventHeader.ThreadId;
    out.userData = record->UserData;
    out.userDataLength = record->UserDataLength;
    (*callback)(out);
}

class Win32EtwBackend : public EtwBackend {
  public:
    bool isSupported() const override { return true; }

    std::string errorText(unsigned long code) const override {
        char* text = nullptr;
        const DWORD length =
            FormatMessageA(FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM |
                               FORMAT_MESSAGE_IGNORE_INSERTS,
                           nullptr, code, 0, reinterpret_cast<LPSTR>(&text), 0, nullptr);
        std::string result;
        if (length != 0 && text != nullptr) {
            result.assign(text, length);
            while (!result.empty() &&
                   (result.back() == '\n' || result.back() == '\r' || result.back() == ' ')) {
                result.pop_back();
            }
        }
        if (text != nullptr) {
            LocalFree(text);
        }
        return result.empty() ? "system error " + std::to_string(code) : result;
    }

    unsigned long startTrace(uint64_t* handle, const std::string& sessionName,
                             std::vector<uint8_t>& properties) override {
        TRACEHANDLE h = 0;
        const ULONG status = StartTraceA(
            &h, sessionName.c_str(), reinterpret_cast<PEVENT_TRACE_PROPERTIES>(properties.data()));
        *handle = h;
        return status;
    }

    unsigned long controlTrace(uint64_t handle, const std::string& sessionName,
                               std::vector<uint8_t>& properties, uint32_t code) override {
        return ControlTraceA(handle, sessionName.c_str(),
                             reinterpret_cast<PEVENT_TRACE_PROPERTIES>(properties.data()), code);
    }

    unsigned long enableTrace(uint64_t handle, const EtwGuid& provider, uint32_t controlCode,
                              uint8_t level, uint64_t keywords) override {
        return EnableTraceEx2(handle, &toGuid(provider), controlCode, level, keywords, 0, 0,
                              nullptr);
    }

    unsigned long openTrace(const std::string& fileName, EtwEventCallback callback,
                            uint64_t* handle, EtwLogfileInfo* info) override {
        auto owned = std::make_unique<EtwEventCallback>(std::move(callback));
        std::string name = fileName;
        EVENT_TRACE_LOGFILEA logfile;
        std::memset(&logfile, 0, sizeof(logfile));
        logfile.LogFileName = &name[0];
        logfile.ProcessTraceMode = PROCESS_TRACE_MODE_EVENT_RECORD;
        logfile.EventRecordCallback = onEventRecord;
        logfile.Context = owned.get();
        const TRACEHANDLE h = OpenTraceA(&logfile);
        if (h == static_cast<TRACEHANDLE>(~0ULL)) {
            return GetLastError();
        }
        *handle = h;
        if (info != nullptr) {
            info->pointerSize = logfile.LogfileHeader.PointerSize;
            info->eventsLost = logfile.LogfileHeader.EventsLost;
        }
        std::lock_guard<std::mutex> lock(m_mutex);
        m_callbacks[h] = std::move(owned);
        return ERROR_SUCCESS;
    }

    unsigned long processTrace(uint64_t handle) override {
        TRACEHANDLE h = handle;
        return ProcessTrace(&h, 1, nullptr, nullptr);
    }

    unsigned long closeTrace(uint64_t handle) override {
        const ULONG status = CloseTrace(handle);
        std::lock_guard<std::mutex> lock(m_mutex);
        m_callbacks.erase(handle);
        return status;
    }

    unsigned long enumerateProviders(void* buffer, uint32_t* size) override {
        // tdh.dll is not linked: load it on first use.
        static const TdhEnumerateProvidersFn fn = [] {
            HMODULE tdh = LoadLibraryA("tdh.dll");
            return tdh == nullptr
                       ? nullptr
                       : reinterpret_cast<TdhEnumerateProvidersFn>(
                             reinterpret_cast<void*>(GetProcAddress(tdh, "TdhEnumerateProviders")));
        }();
        if (fn == nullptr) {
            return ERROR_PROC_NOT_FOUND;
        }
        ULONG length = *size;
        const ULONG status = fn(buffer, &length);
        *size = length;
        return status;
    }

    bool loadMergeLibrary(const std::string& fullPath) override {
        m_mergeModule = LoadLibraryA(fullPath.c_str());
        if (m_mergeModule == nullptr) {
            return false;
        }
        m_merge = reinterpret_cast<CreateMergedTraceFileFn>(
            reinterpret_cast<void*>(GetProcAddress(m_mergeModule, "CreateMergedTraceFile")));
        if (m_merge == nullptr) {
            unloadMergeLibrary();
            return false;
        }
        return true;
    }

    unsigned long createMergedTraceFile(const std::string& mergedFile,
                                        const std::vector<std::string>& files) override {
        if (m_merge == nullptr) {
            return ERROR_PROC_NOT_FOUND;
        }
        const std::wstring merged = widen(mergedFile);
        std::vector<std::wstring> wide;
        std::vector<LPCWSTR> names;
        for (const std::string& file : files) {
            wide.push_back(widen(file));
        }
        for (const std::wstring& file : wide) {
            names.push_back(file.c_str());
        }
        return static_cast<unsigned long>(
            m_merge(merged.c_str(), static_cast<ULONG>(names.size()), names.data(), 0));
    }

    void unloadMergeLibrary() override {
        if (m_mergeModule != nullptr) {
            FreeLibrary(m_mergeModule);
        }
        m_mergeModule = nullptr;
        m_merge = nullptr;
    }

    unsigned long registerProvider(const EtwGuid& provider, uint64_t* handle) override {
        REGHANDLE h = 0;
        const ULONG status = EventRegister(&toGuid(provider), nullptr, nullptr, &h);
        *handle = h;
        return status;
    }

    unsigned long writeEvent(uint64_t handle, const EtwEventDescriptor& descriptor, uint32_t count,
                             const EtwDataDescriptor* data) override {
        return EventWrite(
            handle, reinterpret_cast<const EVENT_DESCRIPTOR*>(&descriptor), count,
            reinterpret_cast<PEVENT_DATA_DESCRIPTOR>(const_cast<EtwDataDescriptor*>(data)));
    }

    unsigned long unregisterProvider(uint64_t handle) override { return EventUnregister(handle); }

  private:
    std::mutex m_mutex;
    std::map<uint64_t, std::unique_ptr<EtwEventCallback>> m_callbacks;
    HMODULE m_mergeModule = nullptr;
    CreateMergedTraceFileFn m_merge = nullptr;
};

}  // namespace

EtwBackend& systemEtwBackend() {
    static Win32EtwBackend backend;
    return backend;
}
