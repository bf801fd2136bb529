// EtwSession: one event tracing session that writes to a trace file.
//
// A collector adds the providers it needs (GUID and keyword mask), calls begin
// to start the session and enable them, flush and end when it is done, and
// later preparepostProcessLog/postProcessLog to read the file back through the
// callback it set. Trace files of a collection can be merged into one on a
// background thread (mergeLogs); waitForMergeComplete is the one place that
// thread is joined and must run before the process ends or the merged file is
// used.
//
// The session owns its properties block (the EVENT_TRACE_PROPERTIES structure
// with the session and file names behind it). All system calls go through
// etwBackend(), so the same logic runs against a fake in tests; outside
// Windows each operation answers false with an "ERROR: " line.
//
// A copy of a session shares the system session (its handle) with the
// original but not a trace file opened for post-processing: the copy starts
// with none open, and only the session that opened a file closes it.
//
// Threads: a session is used from one thread. The merge statics (file list,
// merge thread) may be called from any thread but one merge runs at a time.
#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "common/etw/EtwBackend.h"
#include "common/runtime/Export.h"

// Layout of the EVENT_TRACE_PROPERTIES block (64-bit Windows).
constexpr uint32_t c_etwPropertiesSize = 120;
constexpr uint32_t c_etwPropWnodeBufferSize = 0;
constexpr uint32_t c_etwPropWnodeGuid = 24;
constexpr uint32_t c_etwPropWnodeClientContext = 40;
constexpr uint32_t c_etwPropWnodeFlags = 44;
constexpr uint32_t c_etwPropBufferSize = 48;
constexpr uint32_t c_etwPropMinimumBuffers = 52;
constexpr uint32_t c_etwPropMaximumBuffers = 56;
constexpr uint32_t c_etwPropMaximumFileSize = 60;
constexpr uint32_t c_etwPropLogFileMode = 64;
constexpr uint32_t c_etwPropEventsLost = 88;
constexpr uint32_t c_etwPropLogFileNameOffset = 112;
constexpr uint32_t c_etwPropLoggerNameOffset = 116;
constexpr uint32_t c_etwWnodeFlagTracedGuid = 0x20000;
constexpr uint32_t c_etwFileModeSequential = 1;
constexpr uint8_t c_etwLevelInformation = 4;

// Names of the providers that collectors enable.
PWR_API const std::vector<std::string>& etwProviderNames();

class PWR_API EtwSession {
  public:
    EtwSession();
    // inputFileName: the trace file read back by post-processing (the log
    // file when empty); label: how messages name the data.
    EtwSession(std::string sessionName, const std::string& logFileName,
               const std::string& inputFileName, const std::string& label);
    // Everything but an open trace file: see the header comment.
    EtwSession(const EtwSession& other);
    EtwSession& operator=(const EtwSession&) = delete;
    virtual ~EtwSession();

    // 1024 KB buffers, at most 400, at least 2.
    virtual bool setEventTraceProperties();
    virtual bool setEventTraceProperties(uint32_t bufferSizeKB, uint32_t maximumBuffers,
                                         uint32_t minimumBuffers);
    virtual bool begin();
    virtual bool flush();
    virtual bool end();
    virtual void setLogfileCallback(EtwEventCallback callback);
    virtual bool preparepostProcessLog();
    virtual bool postProcessLog();
    virtual uint64_t queryLostEvents();
    virtual bool addProvider(const EtwGuid& guid, uint64_t keywords);
    virtual bool hasAnyProvider() const;

    const std::string& getSessionName() const { return m_sessionName; }
    const std::string& getLogFileName() const { return m_logFileName; }
    const std::vector<uint8_t>& getEventTraceProperties() const { return m_properties; }
    uint64_t getSessionHandle() const { return m_sessionHandle; }

    // The GUID of the registered provider called name. Remembers the name so
    // that begin can print it.
    static bool getGuidForProvider(const wchar_t* name, EtwGuid* out);
    // The name remembered for guid, empty when none.
    static std::string getProviderName(const EtwGuid& guid);

    static void addMergeFile(const std::string& path);
    // Whether files are listed that no merge has taken yet.
    static bool isMergeRequired();
    static void clearMergeFiles();
    // Starts mergeThread on a new thread with outputPath; true when the
    // thread was created. False while an earlier merge has not been waited
    // for.
    static bool mergeLogs(const std::string& outputPath);
    static void waitForMergeComplete();
    // The merge itself: takes the listed files (the list is left empty) and
    // merges them into mergedFileName of the output path. arg is that path,
    // a NUL-terminated string that stays valid until the function returns.
    // 0 when the files were merged, 1 otherwise.
    static unsigned mergeThread(void* arg);
    // outputPath with "_Capture" before its extension.
    static std::string mergedFileName(const std::string& outputPath);

  protected:
    // Process-wide merge state: the files listed for the next merge and the
    // thread of the merge running or not yet waited for. Touch them only
    // while holding s_mergeMutex.
    static std::mutex s_mergeMutex;
    static std::vector<std::string> s_mergeFileList;
    static std::unique_ptr<std::thread> s_mergeThreadHandle;

  private:
    void stopSession_i();
    std::string providerText_i(const EtwGuid& guid, bool* known) const;

    std::string m_sessionName;
    std::string m_logFileName;
    std::string m_inputFileName;
    std::string m_label;
    uint64_t m_sessionHandle = 0;
    EtwGuid m_sessionGuid;
    std::vector<uint8_t> m_properties;
    uint32_t m_bufferSizeKB = 1024;
    uint32_t m_maximumBuffers = 400;
    uint32_t m_minimumBuffers = 2;
    std::vector<EtwGuid> m_providers;
    std::vector<uint64_t> m_keywords;
    EtwEventCallback m_callback;
    uint64_t m_traceHandle = 0;
    bool m_traceOpen = false;
    uint32_t m_fileEventsLost = 0;
};
