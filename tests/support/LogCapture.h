// Test helpers for log lines and the registry.
//
// LogCapture makes a LogContext of its own current for its lifetime, with
// one logger that records every line it receives; the verbosity starts at
// INFO so that every line reaches it. Tests compare the lines byte for byte.
#pragma once

#include <gtest/gtest.h>

#include <mutex>
#include <string>
#include <vector>

#include "common/runtime/Log.h"

namespace pwr::test {

// Records every line handed to it, in order.
class CapturingLogger : public Logger {
  public:
    void log(const char* line) override;
    std::vector<std::string> lines() const;
    void clear();

  private:
    mutable std::mutex m_mutex;
    std::vector<std::string> m_lines;
};

class LogCapture {
  public:
    LogCapture();
    ~LogCapture();
    LogCapture(const LogCapture&) = delete;
    LogCapture& operator=(const LogCapture&) = delete;

    LogContext& context() { return m_context; }
    std::vector<std::string> lines() const { return m_logger.lines(); }
    void clear() { m_logger.clear(); }
    // Whether exactly this line was logged (compared byte for byte).
    ::testing::AssertionResult logged(const std::string& line) const;
    // Whether exactly these lines, and nothing else, were logged since the
    // last clear().
    ::testing::AssertionResult loggedExactly(const std::vector<std::string>& expected) const;

  private:
    CapturingLogger m_logger;
    LogContext m_context;
};

// A fixture that captures log lines and gives each test a fresh registry.
class RegistryTest : public ::testing::Test {
  protected:
    void SetUp() override;
    void TearDown() override;
    LogCapture log;
};

}  // namespace pwr::test
