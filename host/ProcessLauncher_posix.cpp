#include "host/ProcessLauncher.h"

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstring>
#include <thread>

#include <fcntl.h>
#include <sys/types.h>
#include <sys/wait.h>
#include <unistd.h>

namespace vantry {

struct ProcessLauncher::Impl {
    pid_t pid = -1;
    bool running = false;
};

ProcessLauncher::ProcessLauncher() : m_impl(new Impl), m_exitCode(-1) {}

ProcessLauncher::~ProcessLauncher() {
    // Collect the child if it already ended, so that no zombie stays while
    // the host tidies up; a running program is left alone.
    isRunning();
}

bool ProcessLauncher::start(const std::vector<std::string>& words, std::string& error) {
    if (words.empty() || words[0].empty()) {
        error = "no program given";
        return false;
    }
    std::vector<char*> argv;
    argv.reserve(words.size() + 1);
    for (const std::string& word : words) {
        argv.push_back(const_cast<char*>(word.c_str()));
    }
    argv.push_back(nullptr);

    // The child reports a failing exec through this pipe; a successful exec
    // closes it (close-on-exec), which the parent reads as success.
    int report[2];
    if (pipe(report) != 0) {
        error = std::strerror(errno);
        return false;
    }
    fcntl(report[1], F_SETFD, FD_CLOEXEC);
    const pid_t pid = fork();
    if (pid < 0) {
        error = std::strerror(errno);
        close(report[0]);
        close(report[1]);
        return false;
    }
    if (pid == 0) {
        close(report[0]);
        setpgid(0, 0);
        execvp(argv[0], argv.data());
        const int code = errno;
        ssize_t ignored = write(report[1], &code, sizeof code);
        (void)ignored;
        _exit(127);
    }
    close(report[1]);
    // Also from the parent, so that the group exists whichever runs first.
    setpgid(pid, pid);
    int code = 0;
    ssize_t got;
    do {
        got = read(report[0], &code, sizeof code);
    } while (got < 0 && errno == EINTR);
    close(report[0]);
    if (got == static_cast<ssize_t>(sizeof code)) {
        waitpid(pid, nullptr, 0);
        error = std::strerror(code);
        return false;
    }
    m_impl->pid = pid;
    m_impl->running = true;
    return true;
}

long ProcessLauncher::processId() const {
    return m_impl->pid > 0 ? static_cast<long>(m_impl->pid) : 0;
}

bool ProcessLauncher::stop(unsigned graceMs, bool& forced) {
    forced = false;
    if (!isRunning()) {
        return true;
    }
    kill(-m_impl->pid, SIGTERM);
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(graceMs);
    while (std::chrono::steady_clock::now() < deadline) {
        if (!isRunning()) {
            return true;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    forced = true;
    kill(-m_impl->pid, SIGKILL);
    for (int i = 0; i < 500 && isRunning(); ++i) {
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return !isRunning();
}

bool ProcessLauncher::isRunning() {
    if (!m_impl->running) {
        return false;
    }
    int status = 0;
    const pid_t done = waitpid(m_impl->pid, &status, WNOHANG);
    if (done == 0) {
        return true;
    }
    m_impl->running = false;
    if (done == m_impl->pid) {
        m_exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    }
    return false;
}

}  // namespace vantry
