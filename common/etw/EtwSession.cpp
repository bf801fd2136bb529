#include "common/etw/EtwSession.h"

#include <cstring>
#include <map>
#include <memory>
#include <mutex>
#include <thread>
#include <utility>

#include "common/runtime/Log.h"
#include "common/runtime/Module.h"

namespace {

const char* const c_tag = "etw-session";

struct GuidLess {
    bool operator()(const EtwGuid& a, const EtwGuid& b) const {
        return std::memcmp(&a, &b, sizeof(EtwGuid)) < 0;
    }
};

std::mutex s_namesMutex;
std::map<EtwGuid, std::string, GuidLess> s_providerNames;

void put32(std::vector<uint8_t>& block, uint32_t offset, uint32_t value) {
    std::memcpy(block.data() + offset, &value, sizeof(value));
}

uint32_t get32(const uint8_t* bytes, size_t offset) {
    uint32_t value;
    std::memcpy(&value, bytes + offset, sizeof(value));
    return value;
}

std::string narrow(const wchar_t* text) {
    std::string result;
    for (; *text != 0; ++text) {
        result.push_back(*text < 0x80 ? static_cast<char>(*text) : '?');
    }
    return result;
}

// Compares a NUL-terminated UTF-16 name inside [bytes, bytes + size) with name.
bool sameName(const uint8_t* bytes, size_t size, size_t offset, const wchar_t* name) {
    for (;; ++name, offset += 2) {
        if (offset + 2 > size) {
            return false;
        }
        uint16_t unit;
        std::memcpy(&unit, bytes + offset, sizeof(unit));
        if (unit != static_cast<uint32_t>(*name)) {
            return false;
        }
        if (unit == 0) {
            return true;
        }
    }
}

}  // namespace

const std::vector<std::string>& etwProviderNames() {
    static const std::vector<std::string> names = {
        "OrvanePowerDataProvider",
        "OrvaneCsIrDataProvider",
        "OrvanePowerCollectionMetadataProvider",
        "Microsoft-Windows-Kernel-Power",
        "Microsoft-Windows-PDC",
        "Microsoft-Windows-Kernel-Acpi",
        "Microsoft-Windows-Kernel-Pep",
        "Microsoft-Windows-Energy-Estimation-Engine",
        "Microsoft-Windows-WMI-Activity",
        "Microsoft-Windows-Battery",
    };
    return names;
}

std::mutex EtwSession::s_mergeMutex;
std::vector<std::string> EtwSession::s_mergeFileList;
std::unique_ptr<std::thread> EtwSession::s_mergeThreadHandle;

EtwSession::EtwSession() = default;

EtwSession::EtwSession(std::string sessionName, const std::string& logFileName,
                       const std::string& inputFileName, const std::string& label)
    : m_sessionName(std::move(sessionName)),
      m_logFileName(logFileName),
      m_inputFileName(inputFileName),
      m_label(label) {}

EtwSession::EtwSession(const EtwSession& other)
    : m_sessionName(other.m_sessionName),
      m_logFileName(other.m_logFileName),
      m_inputFileName(other.m_inputFileName),
      m_label(other.m_label),
      m_sessionHandle(other.m_sessionHandle),
      m_sessionGuid(other.m_sessionGuid),
      m_properties(other.m_properties),
      m_bufferSizeKB(other.m_bufferSizeKB),
      m_maximumBuffers(other.m_maximumBuffers),
      m_minimumBuffers(other.m_minimumBuffers),
      m_providers(other.m_providers),
      m_keywords(other.m_keywords),
      m_callback(other.m_callback) {
    // The trace file the original opened stays the original's to process and
    // close (m_traceHandle, m_traceOpen and m_fileEventsLost keep their
    // defaults): two sessions closing one handle would close a handle the
    // system may have given to someone else by then.
}

EtwSession::~EtwSession() {
    // A file opened for post-processing but never processed still holds a
    // system handle.
    if (m_traceOpen) {
        etwBackend().closeTrace(m_traceHandle);
    }
}

bool EtwSession::setEventTraceProperties() {
    return setEventTraceProperties(1024, 400, 2);
}

bool EtwSession::setEventTraceProperties(uint32_t bufferSizeKB, uint32_t maximumBuffers,
                                         uint32_t minimumBuffers) {
    m_bufferSizeKB = bufferSizeKB;
    m_maximumBuffers = maximumBuffers;
    m_minimumBuffers = minimumBuffers;
    const uint32_t loggerOffset = c_etwPropertiesSize;
    const uint32_t fileOffset = loggerOffset + static_cast<uint32_t>(m_sessionName.size()) + 1;
    const uint32_t total = fileOffset + static_cast<uint32_t>(m_logFileName.size()) + 1;
    std::vector<uint8_t> block(total, 0);  // throws std::bad_alloc on exhaustion
    put32(block, c_etwPropWnodeBufferSize, total);
    std::memcpy(block.data() + c_etwPropWnodeGuid, &m_sessionGuid, sizeof(m_sessionGuid));
    put32(block, c_etwPropWnodeClientContext, 1);  // QueryPerformanceCounter timestamps
    put32(block, c_etwPropWnodeFlags, c_etwWnodeFlagTracedGuid);
    put32(block, c_etwPropBufferSize, bufferSizeKB);
    put32(block, c_etwPropMinimumBuffers, minimumBuffers);
    put32(block, c_etwPropMaximumBuffers, maximumBuffers);
    put32(block, c_etwPropMaximumFileSize, 0);
    put32(block, c_etwPropLogFileMode, c_etwFileModeSequential);
    put32(block, c_etwPropLoggerNameOffset, loggerOffset);
    put32(block, c_etwPropLogFileNameOffset, fileOffset);
    std::memcpy(block.data() + loggerOffset, m_sessionName.c_str(), m_sessionName.size());
    std::memcpy(block.data() + fileOffset, m_logFileName.c_str(), m_logFileName.size());
    m_properties = std::move(block);
    return true;
}

std::string EtwSession::providerText_i(const EtwGuid& guid, bool* known) const {
    std::string name = getProviderName(guid);
    *known = !name.empty();
    return *known ? name : "unknown";
}

bool EtwSession::begin() {
    if (!etwCheckSupported()) {
        return false;
    }
    EtwBackend& backend = etwBackend();
    if (m_properties.empty()) {
        setEventTraceProperties();
    }
    unsigned long status = backend.startTrace(&m_sessionHandle, m_sessionName, m_properties);
    if (status == c_etwErrorAlreadyExists) {
        // A session of this name survived an earlier run: stop it and retry.
        backend.controlTrace(0, m_sessionName, m_properties, c_etwControlStop);
        setEventTraceProperties(m_bufferSizeKB, m_maximumBuffers, m_minimumBuffers);
        status = backend.startTrace(&m_sessionHandle, m_sessionName, m_properties);
    }
    if (status != 0) {
        const char* hint = "";
        if (status == c_etwErrorDiskFull) {
            hint = " ETW requires at least 200MB disk space to start a trace.";
        } else if (status == c_etwErrorNotEnoughMemory) {
            hint =
                " Try to use smaller buffer size using --etw-user[kernel]-buffers [size] [min] "
                "[max] option.";
        }
        pwr::pwLogTagged(c_tag, PW_ERROR, "ERROR: Cannot start the trace %s. %s%s\n",
                         m_sessionName.c_str(), backend.errorText(status).c_str(), hint);
        return false;
    }
    for (size_t i = 0; i < m_providers.size(); ++i) {
        bool known = false;
        const std::string name = providerText_i(m_providers[i], &known);
        const std::string guid = etwGuidToString(m_providers[i]);
        if (known) {
            pwr::pwLogTagged(c_tag, PW_INFO, "INFO: Starting trace for provider %s (%s).\n",
                             name.c_str(), guid.c_str());
        } else {
            pwr::pwLogTagged(c_tag, PW_INFO,
                             "INFO: Starting trace for provider %s (%s). Use \"xperf -providers "
                             "I\" to look up the provider name from the guid.\n",
                             name.c_str(), guid.c_str());
        }
        status = backend.enableTrace(m_sessionHandle, m_providers[i], c_etwEnableProvider,
                                     c_etwLevelInformation, m_keywords[i]);
        if (status == 0) {
            status = backend.enableTrace(m_sessionHandle, m_providers[i], c_etwCaptureState,
                                         c_etwLevelInformation, m_keywords[i]);
        }
        if (status != 0) {
            pwr::pwLogTagged(c_tag, PW_ERROR,
                             "ERROR: Cannot enable ETW event provider in the trace file %s: %s "
                             "(%s). %s\n",
                             m_logFileName.c_str(), name.c_str(), guid.c_str(),
                             backend.errorText(status).c_str());
            stopSession_i();
            return false;
        }
    }
    return true;
}

void EtwSession::stopSession_i() {
    etwBackend().controlTrace(m_sessionHandle, m_sessionName, m_properties, c_etwControlStop);
    m_sessionHandle = 0;
}

bool EtwSession::flush() {
    if (!etwCheckSupported()) {
        return false;
    }
    EtwBackend& backend = etwBackend();
    bool ok = true;
    for (const EtwGuid& provider : m_providers) {
        const unsigned long status =
            backend.enableTrace(m_sessionHandle, provider, c_etwDisableProvider, 0, 0);
        if (status != 0) {
            pwr::pwLogTagged(c_tag, PW_WARNING, "WARNING: Cannot disable the trace. %s",
                             backend.errorText(status).c_str());
            ok = false;
        }
    }
    if (backend.controlTrace(m_sessionHandle, m_sessionName, m_properties, c_etwControlFlush) !=
        0) {
        // Without a flush there is no telling whether the providers' events
        // reached the file.
        for (const EtwGuid& provider : m_providers) {
            bool known = false;
            std::string name = providerText_i(provider, &known);
            if (!known) {
                name = etwGuidToString(provider);
            }
            const std::string text =
                std::string("Unable verify that ") + name + " is buffering events properly.";
            pwr::pwLogTagged(c_tag, PW_WARNING, "WARNING: %s", text.c_str());
        }
        ok = false;
    }
    return ok;
}

bool EtwSession::end() {
    if (!etwCheckSupported()) {
        return false;
    }
    EtwBackend& backend = etwBackend();
    const unsigned long status =
        backend.controlTrace(m_sessionHandle, m_sessionName, m_properties, c_etwControlStop);
    m_sessionHandle = 0;
    if (status != 0) {
        pwr::pwLogTagged(c_tag, PW_WARNING, "WARNING: Cannot stop the trace. %s",
                         backend.errorText(status).c_str());
        return false;
    }
    return true;
}

void EtwSession::setLogfileCallback(EtwEventCallback callback) {
    m_callback = std::move(callback);
}

bool EtwSession::preparepostProcessLog() {
    if (!etwCheckSupported()) {
        return false;
    }
    EtwBackend& backend = etwBackend();
    const std::string& file = m_inputFileName.empty() ? m_logFileName : m_inputFileName;
    const std::string& label = m_label.empty() ? m_sessionName : m_label;
    pwr::pwLogTagged(c_tag, PW_INFO, " Processing ETW data for %s.\n", label.c_str());
    EtwLogfileInfo info;
    const unsigned long status = backend.openTrace(file, m_callback, &m_traceHandle, &info);
    if (status != 0) {
        pwr::pwLogTagged(c_tag, PW_FATAL, "FATAL: Cannot open the ETW data file for %s: %s. %s",
                         label.c_str(), file.c_str(), backend.errorText(status).c_str());
        return false;
    }
    m_traceOpen = true;
    m_fileEventsLost = info.eventsLost;
    if (info.pointerSize == 4 && sizeof(void*) == 8) {
        pwr::pwLogTagged(c_tag, PW_WARNING,
                         "WARNING: Using -i option on a 64-bit version for logs collected using a "
                         "32-bit version might result in unpredictable behavior.\n");
    }
    return true;
}

bool EtwSession::postProcessLog() {
    if (!m_traceOpen && !preparepostProcessLog()) {
        return false;
    }
    EtwBackend& backend = etwBackend();
    const std::string& file = m_inputFileName.empty() ? m_logFileName : m_inputFileName;
    const unsigned long status = backend.processTrace(m_traceHandle);
    if (status != 0) {
        pwr::pwLogTagged(c_tag, PW_WARNING, "WARNING: Cannot process the trace file %s. %s",
                         file.c_str(), backend.errorText(status).c_str());
    }
    backend.closeTrace(m_traceHandle);
    m_traceOpen = false;
    if (m_fileEventsLost != 0) {
        pwr::pwLogTagged(c_tag, PW_FATAL, "FATAL: Warning: Lost events detected (%llu) in %s.\n",
                         static_cast<unsigned long long>(m_fileEventsLost), file.c_str());
    }
    return status == 0;
}

uint64_t EtwSession::queryLostEvents() {
    if (!etwCheckSupported()) {
        return 0;
    }
    if (m_properties.empty()) {
        setEventTraceProperties();
    }
    if (etwBackend().controlTrace(m_sessionHandle, m_sessionName, m_properties,
                                  c_etwControlQuery) != 0) {
        return 0;
    }
    return get32(m_properties.data(), c_etwPropEventsLost);
}

bool EtwSession::addProvider(const EtwGuid& guid, uint64_t keywords) {
    m_providers.push_back(guid);
    m_keywords.push_back(keywords);
    return true;
}

bool EtwSession::hasAnyProvider() const {
    return !m_providers.empty();
}

bool EtwSession::getGuidForProvider(const wchar_t* name, EtwGuid* out) {
    if (name == nullptr || out == nullptr || !etwCheckSupported()) {
        return false;
    }
    EtwBackend& backend = etwBackend();
    std::vector<uint8_t> buffer;
    uint32_t size = 0;
    unsigned long status = backend.enumerateProviders(nullptr, &size);
    while (status == c_etwErrorInsufficientBuffer) {
        // A backend that asks for no more than it was already given would
        // keep this loop going for ever: treat the answer as a failure.
        if (size <= buffer.size()) {
            break;
        }
        try {
            buffer.assign(size, 0);
        } catch (const std::bad_alloc&) {
            pwr::pwLogTagged(c_tag, PW_WARNING, "WARNING: Allocation failed (size=%lu).\n",
                             static_cast<unsigned long>(size));
            return false;
        }
        status = backend.enumerateProviders(buffer.data(), &size);
    }
    if (status != 0) {
        pwr::pwLogTagged(c_tag, PW_WARNING, "WARNING: TdhEnumerateProviders failed with %lu.\n",
                         status);
        return false;
    }
    if (buffer.size() < 8) {
        pwr::pwLogTagged(c_tag, PW_WARNING,
                         "WARNING: TdhEnumerateProvider PROVIDER_ENUMERATION_INFO is NULL.\n");
        return false;
    }
    // PROVIDER_ENUMERATION_INFO: count, reserved, then TRACE_PROVIDER_INFO
    // entries of GUID, schema source and name offset.
    const uint32_t count = get32(buffer.data(), 0);
    for (uint32_t i = 0; i < count; ++i) {
        const size_t entry = 8 + static_cast<size_t>(i) * 24;
        if (entry + 24 > buffer.size()) {
            break;
        }
        const uint32_t nameOffset = get32(buffer.data(), entry + 20);
        if (sameName(buffer.data(), buffer.size(), nameOffset, name)) {
            std::memcpy(static_cast<void*>(out), buffer.data() + entry, sizeof(EtwGuid));
            std::lock_guard<std::mutex> lock(s_namesMutex);
            s_providerNames[*out] = narrow(name);
            return true;
        }
    }
    return false;
}

std::string EtwSession::getProviderName(const EtwGuid& guid) {
    std::lock_guard<std::mutex> lock(s_namesMutex);
    auto it = s_providerNames.find(guid);
    return it == s_providerNames.end() ? std::string() : it->second;
}

void EtwSession::addMergeFile(const std::string& path) {
    std::lock_guard<std::mutex> lock(s_mergeMutex);
    s_mergeFileList.push_back(path);
}

bool EtwSession::isMergeRequired() {
    std::lock_guard<std::mutex> lock(s_mergeMutex);
    return !s_mergeFileList.empty();
}

void EtwSession::clearMergeFiles() {
    std::lock_guard<std::mutex> lock(s_mergeMutex);
    s_mergeFileList.clear();
}

std::string EtwSession::mergedFileName(const std::string& outputPath) {
    const size_t slash = outputPath.find_last_of("/\\");
    const size_t dot = outputPath.find_last_of('.');
    if (dot == std::string::npos || (slash != std::string::npos && dot < slash)) {
        return outputPath + "_Capture";
    }
    return outputPath.substr(0, dot) + "_Capture" + outputPath.substr(dot);
}

bool EtwSession::mergeLogs(const std::string& outputPath) {
    if (!etwCheckSupported()) {
        return false;
    }
    std::lock_guard<std::mutex> lock(s_mergeMutex);
    if (s_mergeThreadHandle) {
        return false;  // the previous merge has not been waited for
    }
    try {
        // The thread keeps its own copy of the path for as long as it runs.
        s_mergeThreadHandle =
            std::make_unique<std::thread>([path = outputPath]() mutable { mergeThread(&path[0]); });
    } catch (const std::system_error&) {
        return false;
    }
    return true;
}

void EtwSession::waitForMergeComplete() {
    std::unique_ptr<std::thread> thread;
    {
        std::lock_guard<std::mutex> lock(s_mergeMutex);
        thread = std::move(s_mergeThreadHandle);
    }
    if (!thread) {
        return;
    }
    pwr::pwLogTagged(c_tag, PW_INFO, "Waiting for merge to complete.\n");
    thread->join();
}

unsigned EtwSession::mergeThread(void* arg) {
    const std::string outputPath = arg != nullptr ? static_cast<const char*>(arg) : "";
    std::vector<std::string> files;
    {
        std::lock_guard<std::mutex> lock(s_mergeMutex);
        files.swap(s_mergeFileList);
    }
    EtwBackend& backend = etwBackend();
    // The merge library ships beside the program.
    std::string directory;
    std::string error;
    if (pwr::getExecutablePath(directory, error)) {
        const size_t slash = directory.find_last_of("/\\");
        directory = slash == std::string::npos ? std::string() : directory.substr(0, slash + 1);
    } else {
        directory.clear();
    }
    if (!backend.loadMergeLibrary(directory + "KernelTraceControl.dll")) {
        pwr::pwLogTagged(c_tag, PW_WARNING,
                         "WARNING: Unable to merge trace files because LoadLibrary() failed.\n");
        return 1;
    }
    const std::string merged = mergedFileName(outputPath);
    pwr::pwLogTagged(c_tag, PW_INFO, "Merging ETW files to \"%s\" started.\n", merged.c_str());
    const unsigned long status = backend.createMergedTraceFile(merged, files);
    unsigned result = 0;
    if (status != 0) {
        pwr::pwLogTagged(c_tag, PW_WARNING,
                         "WARNING: Trace merge experienced an unknown error. (%lu: %s)\n", status,
                         backend.errorText(status).c_str());
        result = 1;
    }
    backend.unloadMergeLibrary();
    return result;
}
