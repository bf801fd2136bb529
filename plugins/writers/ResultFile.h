// ResultFile: one output file of a writer, "<prefix><suffix>", where prefix
// is the environment's result-file prefix at the time the file is opened.
//
// The file is created under a new, unique temporary name beside its final
// name ("<name>.<unique>.tmp", exclusively and without following a link) and
// only renamed to its name by commit(), which the writers call from
// cleanup(): a file under its real name is always complete, no other file is
// ever touched, and an interrupted run leaves only a ".tmp" behind. An
// existing regular file of that name is replaced; a folder or a link there is
// not.
//
// Failures are reported once, as one "ERROR: " line that names the file and
// the system's reason, and the file then takes no more writes:
//   "ERROR: Cannot write result file <name>: no result file prefix is set\n"
//   "ERROR: Cannot write result file <name>: <reason>\n"
// ("Permission denied", "No space left on device", "File too large", "it is
// a folder", ...). The host counts these lines: a report that could not be
// written makes its run fail. After a failure the temporary file is removed.
//
// Not thread-safe: the writer stream calls a writer from one thread at a time.
#pragma once

#include <cstddef>
#include <string>

#include "common/runtime/FileOps.h"

namespace vantry::writers {

class ResultFile {
  public:
    explicit ResultFile(std::string suffix);
    ResultFile(const ResultFile&) = delete;
    ResultFile& operator=(const ResultFile&) = delete;
    // Closes and removes a file that was never committed.
    ~ResultFile();

    // The environment's result-file prefix ("" without an environment).
    static std::string currentPrefix();

    // Opens the temporary file on first use; true while it is open. Once
    // it failed (or was committed) it stays closed and this is false.
    bool open();
    bool isOpen() const { return m_state == State::OPEN; }
    bool hasFailed() const { return m_state == State::FAILED; }
    // The final name; empty before open().
    const std::string& getName() const { return m_name; }
    // The temporary name while the file is open.
    const std::string& getTemporaryName() const { return m_file.tempPath(); }

    // Appends text (nothing when the file is not open).
    void write(const std::string& text) { write(text.data(), text.size()); }
    void write(const char* data, size_t size);
    // Hands buffered bytes to the system.
    void flush();
    // Closes the temporary file and renames it to its final name. True when
    // the file is now complete under its name; false when it was never
    // opened or failed.
    bool commit();

  private:
    enum class State { IDLE, OPEN, FAILED, DONE };
    void fail_i(const std::string& reason);

    std::string m_suffix;
    std::string m_name;
    pwr::NewFile m_file;
    State m_state = State::IDLE;
};

}  // namespace vantry::writers
