#include "bench/support/ChildRun.h"

#include <windows.h>
#include <psapi.h>

namespace vantry_bench {

namespace {

std::string quoted(const std::string& word) {
    if (!word.empty() && word.find_first_of(" \t\"") == std::string::npos) {
        return word;
    }
    std::string out = "\"";
    for (char c : word) {
        if (c == '"') {
            out += '\\';
        }
        out += c;
    }
    return out + "\"";
}

double seconds(const FILETIME& t) {
    ULARGE_INTEGER v;
    v.LowPart = t.dwLowDateTime;
    v.HighPart = t.dwHighDateTime;
    return static_cast<double>(v.QuadPart) / 1e7;
}

}  // namespace

bool runChild(const std::string& program, const std::vector<std::string>& args,
              const std::string& outputPath, ChildCost& cost) {
    std::string commandLine = quoted(program);
    for (const std::string& arg : args) {
        commandLine += " " + quoted(arg);
    }
    SECURITY_ATTRIBUTES inherit{sizeof(SECURITY_ATTRIBUTES), nullptr, TRUE};
    HANDLE out = CreateFileA(outputPath.c_str(), GENERIC_WRITE, FILE_SHARE_READ, &inherit,
                             CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
    STARTUPINFOA startup{};
    startup.cb = sizeof(startup);
    startup.dwFlags = STARTF_USESTDHANDLES;
    startup.hStdOutput = out;
    startup.hStdError = out;
    startup.hStdInput = GetStdHandle(STD_INPUT_HANDLE);
    PROCESS_INFORMATION process{};
    LARGE_INTEGER frequency, begin, end;
    QueryPerformanceFrequency(&frequency);
    QueryPerformanceCounter(&begin);
    const BOOL started = CreateProcessA(nullptr, &commandLine[0], nullptr, nullptr, TRUE, 0,
                                        nullptr, nullptr, &startup, &process);
    if (out != INVALID_HANDLE_VALUE) {
        CloseHandle(out);
    }
    if (!started) {
        return false;
    }
    WaitForSingleObject(process.hProcess, INFINITE);
    QueryPerformanceCounter(&end);
    cost.wallSeconds = static_cast<double>(end.QuadPart - begin.QuadPart) /
                       static_cast<double>(frequency.QuadPart);
    FILETIME created, exited, kernel, user;
    if (GetProcessTimes(process.hProcess, &created, &exited, &kernel, &user)) {
        cost.cpuSeconds = seconds(kernel) + seconds(user);
    }
    PROCESS_MEMORY_COUNTERS memory{};
    if (GetProcessMemoryInfo(process.hProcess, &memory, sizeof(memory))) {
        cost.peakBytes = memory.PeakWorkingSetSize;
    }
    DWORD code = 0;
    GetExitCodeProcess(process.hProcess, &code);
    cost.exitCode = static_cast<int>(code);
    CloseHandle(process.hThread);
    CloseHandle(process.hProcess);
    return true;
}

}  // namespace vantry_bench
