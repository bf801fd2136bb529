#include "plugins/collectors/CounterBackend.h"

#include <windows.h>

#include <map>

namespace vantry {

namespace {

// SystemProcessorPerformanceInformation (class 8) of NtQuerySystemInformation.
struct ProcessorPerformanceInfo {
    LARGE_INTEGER idleTime;
    LARGE_INTEGER kernelTime;
    LARGE_INTEGER userTime;
    LARGE_INTEGER dpcTime;
    LARGE_INTEGER interruptTime;
    ULONG interruptCount;
};

// ProcessorInformation (11) of CallNtPowerInformation.
struct ProcessorPowerInfo {
    ULONG number;
    ULONG maxMhz;
    ULONG currentMhz;
    ULONG mhzLimit;
    ULONG maxIdleState;
    ULONG currentIdleState;
};

// SystemBatteryState (5) of CallNtPowerInformation.
struct SystemBatteryStateInfo {
    BOOLEAN acOnLine;
    BOOLEAN batteryPresent;
    BOOLEAN charging;
    BOOLEAN discharging;
    BOOLEAN spare[3];
    BYTE tag;
    DWORD maxCapacity;
    DWORD remainingCapacity;
    DWORD rate;
    DWORD estimatedTime;
    DWORD defaultAlert1;
    DWORD defaultAlert2;
};

// PDH_RAW_COUNTER and PDH_RAW_COUNTER_ITEM_A.
struct PdhRawCounter {
    DWORD status;
    FILETIME timeStamp;
    LONGLONG firstValue;
    LONGLONG secondValue;
    DWORD multiCount;
};
struct PdhRawCounterItem {
    char* name;
    PdhRawCounter value;
};

const ULONG c_systemProcessorPerformanceInformation = 8;
const int c_processorInformation = 11;
const int c_systemBatteryState = 5;
const LONG c_pdhMoreData = static_cast<LONG>(0x800007D2L);

using NtQuerySystemInformationFn = LONG(WINAPI*)(ULONG, PVOID, ULONG, PULONG);
using CallNtPowerInformationFn = LONG(WINAPI*)(int, PVOID, ULONG, PVOID, ULONG);
using PdhOpenQueryFn = LONG(WINAPI*)(LPCSTR, DWORD_PTR, HANDLE*);
using PdhAddEnglishCounterFn = LONG(WINAPI*)(HANDLE, LPCSTR, DWORD_PTR, HANDLE*);
using PdhCollectQueryDataFn = LONG(WINAPI*)(HANDLE);
using PdhGetRawCounterArrayFn = LONG(WINAPI*)(HANDLE, LPDWORD, LPDWORD, PdhRawCounterItem*);
using PdhCloseQueryFn = LONG(WINAPI*)(HANDLE);

template <typename Fn>
Fn lookUp(HMODULE module, const char* name) {
    if (module == nullptr) {
        return nullptr;
    }
    return reinterpret_cast<Fn>(reinterpret_cast<void*>(GetProcAddress(module, name)));
}

class WindowsCounterBackend : public CounterBackend {
  public:
    WindowsCounterBackend() {
        m_ntdll = GetModuleHandleA("ntdll.dll");
        m_ntQuery = lookUp<NtQuerySystemInformationFn>(m_ntdll, "NtQuerySystemInformation");
        m_powrprof = LoadLibraryA("powrprof.dll");
        m_powerInfo = lookUp<CallNtPowerInformationFn>(m_powrprof, "CallNtPowerInformation");
        // PDH is optional: a system without it just has fewer sources.
        m_pdh = LoadLibraryA("pdh.dll");
        m_openQuery = lookUp<PdhOpenQueryFn>(m_pdh, "PdhOpenQueryA");
        m_addCounter = lookUp<PdhAddEnglishCounterFn>(m_pdh, "PdhAddEnglishCounterA");
        m_collect = lookUp<PdhCollectQueryDataFn>(m_pdh, "PdhCollectQueryData");
        m_rawArray = lookUp<PdhGetRawCounterArrayFn>(m_pdh, "PdhGetRawCounterArrayA");
        m_closeQuery = lookUp<PdhCloseQueryFn>(m_pdh, "PdhCloseQuery");
    }

    ~WindowsCounterBackend() override {
        for (auto& query : m_queries) {
            if (query.second.query != nullptr && m_closeQuery != nullptr) {
                m_closeQuery(query.second.query);
            }
        }
        if (m_pdh != nullptr) {
            FreeLibrary(m_pdh);
        }
        if (m_powrprof != nullptr) {
            FreeLibrary(m_powrprof);
        }
    }

    bool processorTimes(std::vector<ProcessorTimes>& out) override {
        if (m_ntQuery == nullptr) {
            return false;
        }
        std::vector<ProcessorPerformanceInfo> info(processorCount_i());
        ULONG returned = 0;
        const LONG status = m_ntQuery(
            c_systemProcessorPerformanceInformation, info.data(),
            static_cast<ULONG>(info.size() * sizeof(ProcessorPerformanceInfo)), &returned);
        if (status < 0) {
            return false;
        }
        info.resize(returned / sizeof(ProcessorPerformanceInfo));
        for (const ProcessorPerformanceInfo& one : info) {
            ProcessorTimes times;
            times.idleTime100ns = static_cast<uint64_t>(one.idleTime.QuadPart);
            times.interruptCount = one.interruptCount;
            out.push_back(times);
        }
        return !info.empty();
    }

    bool processorPower(std::vector<ProcessorPower>& out) override {
        if (m_powerInfo == nullptr) {
            return false;
        }
        std::vector<ProcessorPowerInfo> info(processorCount_i());
        if (m_powerInfo(c_processorInformation, nullptr, 0, info.data(),
                        static_cast<ULONG>(info.size() * sizeof(ProcessorPowerInfo))) != 0) {
            return false;
        }
        for (const ProcessorPowerInfo& one : info) {
            ProcessorPower power;
            power.number = one.number;
            power.currentMhz = one.currentMhz;
            power.maxMhz = one.maxMhz;
            out.push_back(power);
        }
        return !info.empty();
    }

    bool batteryState(BatteryState& out) override {
        if (m_powerInfo == nullptr) {
            return false;
        }
        SystemBatteryStateInfo info;
        ZeroMemory(&info, sizeof(info));
        if (m_powerInfo(c_systemBatteryState, nullptr, 0, &info, sizeof(info)) != 0) {
            return false;
        }
        out.present = info.batteryPresent != 0;
        out.charging = info.charging != 0;
        out.discharging = info.discharging != 0;
        out.remainingCapacity = info.remainingCapacity;
        out.rate = static_cast<int32_t>(info.rate);
        return true;
    }

    bool rawCounters(const std::string& path,
                     std::vector<std::pair<std::string, int64_t>>& out) override {
        if (m_openQuery == nullptr || m_addCounter == nullptr || m_collect == nullptr ||
            m_rawArray == nullptr) {
            return false;
        }
        Query& query = m_queries[path];
        if (query.query == nullptr) {
            if (m_openQuery(nullptr, 0, &query.query) != 0) {
                query.query = nullptr;
                return false;
            }
            if (m_addCounter(query.query, path.c_str(), 0, &query.counter) != 0) {
                // The counter set does not exist here; remember that.
                m_closeQuery(query.query);
                query.query = nullptr;
                m_queries.erase(path);
                return false;
            }
        }
        if (m_collect(query.query) != 0) {
            return false;
        }
        DWORD size = 0;
        DWORD count = 0;
        if (m_rawArray(query.counter, &size, &count, nullptr) != c_pdhMoreData) {
            return false;
        }
        std::vector<unsigned char> buffer(size);
        auto* items = reinterpret_cast<PdhRawCounterItem*>(buffer.data());
        if (m_rawArray(query.counter, &size, &count, items) != 0) {
            return false;
        }
        for (DWORD i = 0; i < count; ++i) {
            if (items[i].name != nullptr) {
                out.emplace_back(items[i].name, items[i].value.firstValue);
            }
        }
        return true;
    }

  private:
    struct Query {
        HANDLE query = nullptr;
        HANDLE counter = nullptr;
    };

    static size_t processorCount_i() {
        SYSTEM_INFO info;
        GetSystemInfo(&info);
        return info.dwNumberOfProcessors > 0 ? info.dwNumberOfProcessors : 1;
    }

    HMODULE m_ntdll = nullptr;
    HMODULE m_powrprof = nullptr;
    HMODULE m_pdh = nullptr;
    NtQuerySystemInformationFn m_ntQuery = nullptr;
    CallNtPowerInformationFn m_powerInfo = nullptr;
    PdhOpenQueryFn m_openQuery = nullptr;
    PdhAddEnglishCounterFn m_addCounter = nullptr;
    PdhCollectQueryDataFn m_collect = nullptr;
    PdhGetRawCounterArrayFn m_rawArray = nullptr;
    PdhCloseQueryFn m_closeQuery = nullptr;
    std::map<std::string, Query> m_queries;
};

}  // namespace

std::unique_ptr<CounterBackend> makeSystemCounterBackend() {
    return std::unique_ptr<CounterBackend>(new WindowsCounterBackend());
}

}  // namespace vantry
