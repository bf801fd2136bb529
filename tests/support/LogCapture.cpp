#include "tests/support/LogCapture.h"

#include "common/data/UniqueId.h"

namespace pwr::test {

namespace {

std::string quoted(const std::vector<std::string>& lines) {
    std::string out;
    for (const auto& l : lines) {
        out += "\n  \"" + l + "\"";
    }
    return out.empty() ? " (none)" : out;
}

}  // namespace

void CapturingLogger::log(const char* line) {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_lines.emplace_back(line);
}

std::vector<std::string> CapturingLogger::lines() const {
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_lines;
}

void CapturingLogger::clear() {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_lines.clear();
}

LogCapture::LogCapture() {
    m_context.setVerbosity(PW_INFO);
    m_context.setErrorLogger(&m_logger);
    m_context.setDebugLogger(&m_logger);
    setLogContext(&m_context);
}

LogCapture::~LogCapture() {
    setLogContext(nullptr);
}

::testing::AssertionResult LogCapture::logged(const std::string& line) const {
    for (const auto& l : lines()) {
        if (l == line) {
            return ::testing::AssertionSuccess();
        }
    }
    return ::testing::AssertionFailure()
           << "line \"" << line << "\" was not logged; logged:" << quoted(lines());
}

::testing::AssertionResult LogCapture::loggedExactly(
    const std::vector<std::string>& expected) const {
    if (lines() == expected) {
        return ::testing::AssertionSuccess();
    }
    return ::testing::AssertionFailure()
           << "expected:" << quoted(expected) << "\nlogged:" << quoted(lines());
}

void RegistryTest::SetUp() {
    UniqueId::initialize();
}

void RegistryTest::TearDown() {
    UniqueId::destroy();
}

}  // namespace pwr::test
