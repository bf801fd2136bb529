#include "plugins/writers/ResultFile.h"

#include <utility>

#include "common/plugins/PluginEnvironment.h"
#include "common/runtime/Log.h"

namespace vantry::writers {

ResultFile::ResultFile(std::string suffix) : m_suffix(std::move(suffix)) {}

// The temporary file goes with m_file when it was never committed.
ResultFile::~ResultFile() = default;

std::string ResultFile::currentPrefix() {
    const PluginEnvironment* env = PluginEnvironment::current();
    return env == nullptr ? std::string() : env->getResultFilePrefix();
}

bool ResultFile::open() {
    if (m_state != State::IDLE) {
        return m_state == State::OPEN;
    }
    const std::string prefix = currentPrefix();
    m_name = prefix + m_suffix;
    if (prefix.empty()) {
        fail_i("no result file prefix is set");
        return false;
    }
    std::string error;
    if (!m_file.create(m_name, ".tmp", error)) {
        fail_i(m_file.failureReason());
        return false;
    }
    m_state = State::OPEN;
    return true;
}

void ResultFile::write(const char* data, size_t size) {
    std::string error;
    if (m_state == State::OPEN && size != 0 && !m_file.write(data, size, error)) {
        fail_i(m_file.failureReason());
    }
}

void ResultFile::flush() {
    std::string error;
    if (m_state == State::OPEN && !m_file.flush(error)) {
        fail_i(m_file.failureReason());
    }
}

bool ResultFile::commit() {
    if (m_state != State::OPEN) {
        return false;
    }
    std::string error;
    if (!m_file.commit(error)) {
        fail_i(m_file.failureReason());
        return false;
    }
    m_state = State::DONE;
    return true;
}

void ResultFile::fail_i(const std::string& reason) {
    pwr::pwLog(PW_ERROR, "ERROR: Cannot write result file %s: %s\n", m_name.c_str(),
               reason.c_str());
    m_file.discard();
    m_state = State::FAILED;
}

}  // namespace vantry::writers
