#include "plugins/writers/ResultFile.h"

#include <utility>

#include "common/plugins/PluginEnvironment.h"
#include "common/runtime/Log.h"

namespace vantry::writers {

ResultFile::ResultFile(std::string suffix) : m_suffix(std::move(suffix)) {}

ResultFile::~ResultFile() {
    if (m_file != nullptr) {
        std::fclose(m_file);
        std::remove(m_temporary.c_str());
    }
}

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
    m_temporary = m_name + ".tmp";
    if (prefix.empty()) {
        fail_i("no result file prefix is set", false);
        return false;
    }
    // Binary mode: the bytes are the same on every platform (the writers
    // choose their own line ends).
    m_file = std::fopen(m_temporary.c_str(), "wb");
    if (m_file == nullptr) {
        fail_i(("unable to open " + m_temporary).c_str(), false);
        return false;
    }
    m_state = State::OPEN;
    return true;
}

void ResultFile::write(const char* data, size_t size) {
    if (m_state != State::OPEN || size == 0) {
        return;
    }
    if (std::fwrite(data, 1, size, m_file) != size) {
        fail_i(("write to " + m_temporary + " failed").c_str(), true);
    }
}

void ResultFile::flush() {
    if (m_state == State::OPEN && std::fflush(m_file) != 0) {
        fail_i(("write to " + m_temporary + " failed").c_str(), true);
    }
}

bool ResultFile::commit() {
    if (m_state != State::OPEN) {
        return false;
    }
    const bool writeFailed = std::ferror(m_file) != 0;
    const bool closeFailed = std::fclose(m_file) != 0;
    m_file = nullptr;
    if (writeFailed || closeFailed) {
        fail_i(("write to " + m_temporary + " failed").c_str(), true);
        return false;
    }
    // Windows does not rename onto an existing file: remove it and retry.
    if (std::rename(m_temporary.c_str(), m_name.c_str()) != 0) {
        std::remove(m_name.c_str());
        if (std::rename(m_temporary.c_str(), m_name.c_str()) != 0) {
            fail_i(("unable to rename " + m_temporary).c_str(), true);
            return false;
        }
    }
    m_state = State::DONE;
    return true;
}

void ResultFile::fail_i(const char* reason, bool removeTemporary) {
    pwr::pwLog(PW_ERROR, "ERROR: Cannot write result file %s: %s\n", m_name.c_str(), reason);
    if (m_file != nullptr) {
        std::fclose(m_file);
        m_file = nullptr;
    }
    if (removeTemporary) {
        std::remove(m_temporary.c_str());
    }
    m_state = State::FAILED;
}

}  // namespace vantry::writers
