#include "bench/support/ChildRun.h"

#include <chrono>
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace vantry_bench {

bool runChild(const std::string& program, const std::vector<std::string>& args,
              const std::string& outputPath, ChildCost& cost) {
    std::vector<char*> argv;
    argv.push_back(const_cast<char*>(program.c_str()));
    for (const std::string& arg : args) {
        argv.push_back(const_cast<char*>(arg.c_str()));
    }
    argv.push_back(nullptr);
    const auto start = std::chrono::steady_clock::now();
    const pid_t pid = fork();
    if (pid < 0) {
        return false;
    }
    if (pid == 0) {
        const int out = open(outputPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
        if (out >= 0) {
            dup2(out, 1);
            dup2(out, 2);
        }
        execv(program.c_str(), argv.data());
        _exit(127);
    }
    int status = 0;
    rusage usage{};
    if (wait4(pid, &status, 0, &usage) != pid) {
        return false;
    }
    cost.wallSeconds =
        std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    cost.cpuSeconds = usage.ru_utime.tv_sec + usage.ru_utime.tv_usec / 1e6 + usage.ru_stime.tv_sec +
                      usage.ru_stime.tv_usec / 1e6;
    cost.peakBytes = static_cast<uint64_t>(usage.ru_maxrss) * 1024;  // Linux: kilobytes
    cost.exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    return cost.exitCode != 127;
}

}  // namespace vantry_bench
