#include "host/ProcessLauncher.h"

#include <windows.h>

#include "common/runtime/FileOps.h"

namespace vantry {

namespace {

// Quotes one argument so that the program's C runtime splits the command
// line back into the same words (backslashes double only before a quote).
std::string quoteArgument(const std::string& word) {
    if (!word.empty() && word.find_first_of(" \t\n\v\"") == std::string::npos) {
        return word;
    }
    std::string out = "\"";
    size_t backslashes = 0;
    for (char c : word) {
        if (c == '\\') {
            ++backslashes;
            continue;
        }
        if (c == '"') {
            out.append(backslashes * 2 + 1, '\\');
        } else {
            out.append(backslashes, '\\');
        }
        backslashes = 0;
        out += c;
    }
    out.append(backslashes * 2, '\\');
    out += '"';
    return out;
}

}  // namespace

struct ProcessLauncher::Impl {
    HANDLE process = nullptr;
    DWORD id = 0;
};

ProcessLauncher::ProcessLauncher() : m_impl(new Impl), m_exitCode(-1) {}

ProcessLauncher::~ProcessLauncher() {
    if (m_impl->process != nullptr) {
        CloseHandle(m_impl->process);
    }
}

bool ProcessLauncher::start(const std::vector<std::string>& words, std::string& error) {
    if (words.empty() || words[0].empty()) {
        error = "no program given";
        return false;
    }
    std::string commandLine;
    for (const std::string& word : words) {
        if (!commandLine.empty()) {
            commandLine += ' ';
        }
        commandLine += quoteArgument(word);
    }
    STARTUPINFOA startup{};
    startup.cb = sizeof startup;
    PROCESS_INFORMATION info{};
    // A process group of its own: Ctrl-C in the console goes to vantry, and
    // Ctrl-Break can be sent to the program alone.
    if (!CreateProcessA(nullptr, &commandLine[0], nullptr, nullptr, FALSE, CREATE_NEW_PROCESS_GROUP,
                        nullptr, nullptr, &startup, &info)) {
        error = pwr::lastSystemError();
        return false;
    }
    CloseHandle(info.hThread);
    m_impl->process = info.hProcess;
    m_impl->id = info.dwProcessId;
    return true;
}

long ProcessLauncher::processId() const {
    return static_cast<long>(m_impl->id);
}

bool ProcessLauncher::stop(unsigned graceMs, bool& forced) {
    forced = false;
    if (!isRunning()) {
        return true;
    }
    // Console programs take Ctrl-Break as the request to end; others only
    // end by force.
    if (GenerateConsoleCtrlEvent(CTRL_BREAK_EVENT, m_impl->id) &&
        WaitForSingleObject(m_impl->process, graceMs) == WAIT_OBJECT_0) {
        isRunning();
        return true;
    }
    forced = true;
    TerminateProcess(m_impl->process, 1);
    WaitForSingleObject(m_impl->process, 5000);
    return !isRunning();
}

bool ProcessLauncher::isRunning() {
    if (m_impl->process == nullptr) {
        return false;
    }
    if (WaitForSingleObject(m_impl->process, 0) == WAIT_TIMEOUT) {
        return true;
    }
    DWORD code = 0;
    if (GetExitCodeProcess(m_impl->process, &code)) {
        m_exitCode = static_cast<int>(code);
    }
    CloseHandle(m_impl->process);
    m_impl->process = nullptr;
    return false;
}

}  // namespace vantry
