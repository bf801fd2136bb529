// Logging for every layer of the library, the host and the plug-ins.
//
// A component formats its line with a printf-style format and calls pwLog with
// the line's level. The line is fixed text that starts with its level word
// ("ERROR: ", "WARNING: ", "DEBUG: ", "INFO: ") and normally ends in a line
// feed; tests compare it byte for byte. A line of level L is written when the
// verbosity is at least L (INFO is the most verbose level). pwLogTagged also
// writes the line, whatever the verbosity, when debug logging is on for the
// component's tag.
//
// The verbosity, the loggers and the tags live in a LogContext. One context is
// current per process; the library starts with a built-in one that writes to
// standard error. The plug-in environment derives from LogContext and makes
// itself current, so it owns the logging state through this same mechanism.
//
// Threads: the context is configured during start-up on one thread; pwLog may
// then be called from any thread. Loggers must accept concurrent calls.
#pragma once

#include <cstdarg>
#include <cstdio>
#include <set>
#include <string>

#include "common/runtime/Export.h"

// Log levels. A line of level L is written when the verbosity is >= L.
enum PWLogLevel : int {
    PW_FATAL = 0,
    PW_ERROR = 1,
    PW_WARNING = 2,
    PW_DEBUG = 3,
    PW_INFO = 4,
};

namespace pwr {

// An output sink for finished log lines.
class PWR_API Logger {
  public:
    virtual ~Logger();
    // Writes one finished line as it stands.
    virtual void log(const char* line) = 0;
};

// Writes each line to a C stream (standard error, a file). A line without a
// final line feed gets one, so that the next line starts on its own.
class PWR_API StreamLogger : public Logger {
  public:
    explicit StreamLogger(FILE* stream);
    void log(const char* line) override;

  private:
    FILE* m_stream;
};

// Drops every line.
class PWR_API NullLogger : public Logger {
  public:
    void log(const char* line) override;
};

// The logging state: verbosity, loggers (not owned) and debug-logging tags.
class PWR_API LogContext {
  public:
    LogContext();
    LogContext(const LogContext&) = delete;
    LogContext& operator=(const LogContext&) = delete;
    virtual ~LogContext();

    PWLogLevel getVerbosity() const { return m_verbosity; }
    void setVerbosity(PWLogLevel level) { m_verbosity = level; }

    // The logger for a level: the error logger for FATAL and ERROR, the debug
    // logger for every other level.
    Logger* getLogger(PWLogLevel level) const;
    Logger* getErrorLogger() const { return m_errorLogger; }
    void setErrorLogger(Logger* logger) { m_errorLogger = logger; }
    Logger* getDebugLogger() const { return m_debugLogger; }
    void setDebugLogger(Logger* logger) { m_debugLogger = logger; }
    Logger* getNullLogger() const { return m_nullLogger; }
    void setNullLogger(Logger* logger) { m_nullLogger = logger; }

    // The level word: "FATAL", "ERROR", "WARNING", "DEBUG"; "INFO" for any
    // other value.
    static const char* getLoggerPrefix(PWLogLevel level);

    void addCondLogTagForDebugLogging(const std::string& tag);
    bool isDebugLoggingEnabledFor(const std::string& tag) const;

    // Whether a line of this level is written, for an untagged component or
    // for one with the given tag (null: untagged).
    bool admits(PWLogLevel level, const char* tag = nullptr) const;

    // Hands a finished line to the logger of its level, unconditionally.
    void write(PWLogLevel level, const char* line) const;

  private:
    PWLogLevel m_verbosity;
    Logger* m_errorLogger;
    Logger* m_debugLogger;
    Logger* m_nullLogger;
    std::set<std::string> m_debugTags;
};

// The current context of this process.
PWR_API LogContext& logContext();
// Makes ctx the current context; null brings back the built-in one. The
// caller keeps ownership and must reset it before ctx is destroyed.
PWR_API void setLogContext(LogContext* ctx);

// Formats and writes a line when the verbosity admits its level.
PWR_API void pwLog(PWLogLevel level, const char* format, ...) PWR_PRINTF(2, 3);
// The same for a component with a debug-logging tag: also written when debug
// logging is on for the tag.
PWR_API void pwLogTagged(const char* tag, PWLogLevel level, const char* format, ...)
    PWR_PRINTF(3, 4);
PWR_API void pwLogV(const char* tag, PWLogLevel level, const char* format, va_list args);

}  // namespace pwr
