// Captures log lines while a PluginEnvironment is the current logging context.
//
// A PluginEnvironment makes itself the current LogContext when it is built, so
// a LogCapture made before it stops seeing lines. EnvironmentCapture builds an
// environment instead and points its error and debug loggers at one capturing
// logger; the verbosity starts at INFO like LogCapture's. Change the verbosity
// and tags on env(), which is the context that pwLog consults.
//
// Do not nest it with a LogCapture: whichever is destroyed first puts the
// built-in context back.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "common/plugins/PluginEnvironment.h"
#include "tests/support/LogCapture.h"

namespace pwr::test {

class EnvironmentCapture {
  public:
    EnvironmentCapture() {
        m_env.setVerbosity(PW_INFO);
        m_env.setErrorLogger(&m_logger);
        m_env.setDebugLogger(&m_logger);
    }
    EnvironmentCapture(const EnvironmentCapture&) = delete;
    EnvironmentCapture& operator=(const EnvironmentCapture&) = delete;

    PluginEnvironment& env() { return m_env; }
    CapturingLogger& logger() { return m_logger; }
    std::vector<std::string> lines() const { return m_logger.lines(); }
    void clear() { m_logger.clear(); }

    // Whether exactly these lines, and nothing else, were logged since the
    // last clear() (compared byte for byte).
    ::testing::AssertionResult loggedExactly(const std::vector<std::string>& expected) const {
        const std::vector<std::string> got = lines();
        if (got == expected) {
            return ::testing::AssertionSuccess();
        }
        return ::testing::AssertionFailure()
               << "expected:" << quoted(expected) << "\nlogged:" << quoted(got);
    }

  private:
    static std::string quoted(const std::vector<std::string>& lines) {
        std::string out;
        for (const auto& l : lines) {
            out += "\n  \"" + l + "\"";
        }
        return out.empty() ? " (none)" : out;
    }

    // Declared first: the environment refers to it until it is gone.
    CapturingLogger m_logger;
    PluginEnvironment m_env;
};

}  // namespace pwr::test
