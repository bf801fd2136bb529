#include "common/runtime/Log.h"

#include <atomic>
#include <cstring>
#include <vector>

namespace pwr {

Logger::~Logger() = default;

StreamLogger::StreamLogger(FILE* stream) : m_stream(stream) {}

void StreamLogger::log(const char* line) {
    if (m_stream == nullptr || line == nullptr) {
        return;
    }
    size_t len = std::strlen(line);
    // One write per line keeps lines of concurrent threads whole.
    if (len > 0 && line[len - 1] == '\n') {
        std::fputs(line, m_stream);
    } else {
        std::fprintf(m_stream, "%s\n", line);
    }
    std::fflush(m_stream);
}

void NullLogger::log(const char*) {}

namespace {

Logger& stderrLogger() {
    static StreamLogger logger(stderr);
    return logger;
}

NullLogger& nullLogger() {
    static NullLogger logger;
    return logger;
}

LogContext& builtinContext() {
    static LogContext context;
    return context;
}

std::atomic<LogContext*> g_current{nullptr};

}  // namespace

// Warnings and errors are shown by default: a user of a measuring tool wants
// to hear about bad input without asking for it.
LogContext::LogContext()
    : m_verbosity(PW_WARNING),
      m_errorLogger(&stderrLogger()),
      m_debugLogger(&stderrLogger()),
      m_nullLogger(&nullLogger()) {}

LogContext::~LogContext() {
    LogContext* self = this;
    g_current.compare_exchange_strong(self, nullptr);
}

Logger* LogContext::getLogger(PWLogLevel level) const {
    return (level == PW_FATAL || level == PW_ERROR) ? m_errorLogger : m_debugLogger;
}

const char* LogContext::getLoggerPrefix(PWLogLevel level) {
    switch (static_cast<int>(level)) {
        case PW_FATAL:
            return "FATAL";
        case PW_ERROR:
            return "ERROR";
        case PW_WARNING:
            return "WARNING";
        case PW_DEBUG:
            return "DEBUG";
        default:
            return "INFO";
    }
}

void LogContext::addCondLogTagForDebugLogging(const std::string& tag) {
    m_debugTags.insert(tag);
}

bool LogContext::isDebugLoggingEnabledFor(const std::string& tag) const {
    return m_debugTags.count(tag) != 0;
}

bool LogContext::admits(PWLogLevel level, const char* tag) const {
    if (m_verbosity >= level) {
        return true;
    }
    return tag != nullptr && !m_debugTags.empty() && m_debugTags.count(tag) != 0;
}

void LogContext::write(PWLogLevel level, const char* line) const {
    Logger* logger = getLogger(level);
    if (logger != nullptr) {
        logger->log(line);
    }
}

LogContext& logContext() {
    LogContext* current = g_current.load(std::memory_order_acquire);
    return current != nullptr ? *current : builtinContext();
}

void setLogContext(LogContext* ctx) {
    g_current.store(ctx, std::memory_order_release);
}

void pwLogV(const char* tag, PWLogLevel level, const char* format, va_list args) {
    const LogContext& ctx = logContext();
    if (format == nullptr || !ctx.admits(level, tag)) {
        return;
    }
    char small[512];
    va_list copy;
    va_copy(copy, args);
    int needed = std::vsnprintf(small, sizeof(small), format, copy);
    va_end(copy);
    if (needed < 0) {
        return;
    }
    if (static_cast<size_t>(needed) < sizeof(small)) {
        ctx.write(level, small);
        return;
    }
    std::vector<char> big(static_cast<size_t>(needed) + 1);
    std::vsnprintf(big.data(), big.size(), format, args);
    ctx.write(level, big.data());
}

void pwLog(PWLogLevel level, const char* format, ...) {
    va_list args;
    va_start(args, format);
    pwLogV(nullptr, level, format, args);
    va_end(args);
}

void pwLogTagged(const char* tag, PWLogLevel level, const char* format, ...) {
    va_list args;
    va_start(args, format);
    pwLogV(tag, level, format, args);
    va_end(args);
}

}  // namespace pwr
