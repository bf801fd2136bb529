// ProcessLauncher: starts the program that `vantry -p` runs alongside a
// collection and tells whether it is still running.
//
// The program is found the way the platform's shell would find it (PATH
// search) and gets the remaining words of the command line as its arguments.
// The launcher does not stop the program: when the collection ends first,
// the program keeps running, as the user started it to do its own work.
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
    // The program's exit status once it ended; -1 before.
    int exitCode() const { return m_exitCode; }

  private:
    struct Impl;
    std::unique_ptr<Impl> m_impl;
    int m_exitCode;
};

}  // namespace vantry
