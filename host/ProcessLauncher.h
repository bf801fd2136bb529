// ProcessLauncher: starts the program that `vantry -p` runs alongside a
// collection and tells whether it is still running.
//
// The program is found the way the platform's shell would find it (PATH
// search) and gets the remaining words of the command line as its arguments.
// It runs in a process group of its own (POSIX; a new process group on
// Windows), so that Ctrl-C in the console reaches vantry, which ends the
// collection, and stop() reaches the program and everything it started.
//
// One launcher per program; not thread-safe.
#pragma once

#include <memory>
#include <string>
#include <vector>

namespace vantry {

class ProcessLauncher {
  public:
    ProcessLauncher();
    ~ProcessLauncher();
    ProcessLauncher(const ProcessLauncher&) = delete;
    ProcessLauncher& operator=(const ProcessLauncher&) = delete;

    // Starts words[0] with words[1..] as arguments. False, with the system's
    // reason in error, when there is nothing to start or it cannot be
    // started (not found, not executable).
    bool start(const std::vector<std::string>& words, std::string& error);
    // Whether the started program is still running. False before start.
    bool isRunning();
    // The program's exit status once it ended; -1 before. A program ended
    // by a signal has 128 plus the signal's number, as shells report it.
    int exitCode() const { return m_exitCode; }
    // The program's process id (0 before start).
    long processId() const;
    // Stops a running program: a polite request first (SIGTERM to its group;
    // Ctrl-Break on Windows), then, after graceMs, a forced end (SIGKILL;
    // TerminateProcess). forced tells which ended it. True once it ended.
    bool stop(unsigned graceMs, bool& forced);

  private:
    struct Impl;
    std::unique_ptr<Impl> m_impl;
    int m_exitCode;
};

}  // namespace vantry
