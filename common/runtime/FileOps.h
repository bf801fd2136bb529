// FileOps: how Vantry's programs and plug-ins create, finish and read the
// files that hold a user's collection and reports, so that an ordinary mishap
// (a link placed at a predictable name, a second program on the same output,
// a full disk, a FIFO or a device given as input) never overwrites another
// file, never loses what was written and never blocks.
//
// - NewFile creates a new file under a unique temporary name in the folder of
//   its final name, exclusively and without following a symbolic link
//   (O_CREAT|O_EXCL|O_NOFOLLOW on POSIX, CREATE_NEW with
//   FILE_FLAG_OPEN_REPARSE_POINT on Windows), and gives it its final name
//   only when it is complete (commit). Writes are buffered; every failure
//   carries the system's reason.
// - OutputLock is held by the one program that writes an output; the system
//   releases it when that program ends, however it ends.
// - openRegularFile opens a file for reading only when it is a regular file:
//   folders, FIFOs, devices and sockets are refused before any read could
//   block or run for ever.
//
// The platform layer lives in FileOps_posix.cpp and FileOps_win32.cpp.
// Objects are not locked: one thread per object. The free functions may be
// called from any thread.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include "common/runtime/Export.h"

namespace pwr {

// What a name denotes, without following a symbolic link at the name itself.
enum class FileKind { MISSING, REGULAR, DIRECTORY, LINK, OTHER };

// The kind of path. A name that cannot be examined (a folder on its way that
// denies access) is OTHER, with the reason in error when given.
PWR_API FileKind fileKind(const std::string& path, std::string* error = nullptr);

// The system's text for the last failure of a system call on this thread
// (strerror(errno), or FormatMessage of GetLastError on Windows).
PWR_API std::string lastSystemError();

// The folder part of path ("." when there is none), and the last part.
PWR_API std::string folderOf(const std::string& path);
PWR_API std::string baseNameOf(const std::string& path);

// Whether a and b name the same existing file (device and file number), or,
// when either is missing, the same absolute name.
PWR_API bool sameFile(const std::string& a, const std::string& b);

// Checks that a new file can be created in folder: it exists, is a folder and
// takes a new file (a probe file is created exclusively and removed). False,
// with "<folder>: <reason>" in error, otherwise.
PWR_API bool checkFolderWritable(const std::string& folder, std::string& error);

// Checks that a file may be written under path and later replaced: nothing is
// there, or a regular file. False with the reason in error ("is a folder",
// "is a symbolic link", "is not a regular file").
PWR_API bool checkReplaceable(const std::string& path, std::string& error);

// Opens path for reading in binary mode when it is a regular file (a
// symbolic link to one is followed). Returns null, with the reason in error,
// for a missing file, a folder ("is a folder"), a FIFO, device or socket
// ("is not a regular file"), or a file larger than maxSize bytes
// ("is larger than N bytes"). The file's size goes to size when given.
PWR_API std::FILE* openRegularFile(const std::string& path, std::string& error,
                                   uint64_t* size = nullptr, uint64_t maxSize = UINT64_MAX);

// Reads a whole regular file of at most maxSize bytes into out. False with the
// reason in error (as openRegularFile, or the read's own failure).
PWR_API bool readRegularFile(const std::string& path, uint64_t maxSize, std::vector<char>& out,
                             std::string& error);

// Opens path for writing from its start, creating it when missing, without
// following a symbolic link at the name (a link there is refused). For files
// that are written as they go and have no temporary name (a console log).
PWR_API std::FILE* openForWriteNoFollow(const std::string& path, std::string& error);

// A new file written under a temporary name and renamed when complete.
class PWR_API NewFile {
  public:
    NewFile();
    // Removes the temporary file unless it was committed or kept.
    ~NewFile();
    NewFile(const NewFile&) = delete;
    NewFile& operator=(const NewFile&) = delete;

    // Creates "<finalPath>.<unique><suffix>" ("out.vtr.3f9a0c12d4e5b6a7.partial")
    // in the folder of finalPath. False, with "cannot create <name>: <reason>"
    // in error, when that fails.
    bool create(const std::string& finalPath, const std::string& suffix, std::string& error);
    bool isOpen() const { return m_handle != c_invalid; }
    const std::string& finalPath() const { return m_final; }
    const std::string& tempPath() const { return m_temp; }
    // Bytes accepted by write() so far (handed over or still buffered).
    uint64_t size() const { return m_size; }

    // Appends bytes; they go to the system when the buffer fills, at flush()
    // and at commit(). After a failure (error: "cannot write <temp>: <reason>")
    // the file takes no more writes.
    bool write(const void* data, size_t size, std::string& error);
    bool write(const std::string& text, std::string& error) {
        return write(text.data(), text.size(), error);
    }
    // Hands the buffered bytes to the system (they then survive the end of
    // the process, not yet a power cut).
    bool flush(std::string& error);
    // flush(), then asks the system to put the bytes on the storage device.
    bool sync(std::string& error);
    // Syncs, closes and renames the file to its final name, replacing a
    // regular file there. False with the reason in error; the temporary file
    // is then left where it is (discard() removes it).
    bool commit(std::string& error);
    // Closes the file and keeps it under its temporary name (what was handed
    // to the system stays readable there).
    void keep();
    // Closes and removes the temporary file.
    void discard();
    bool failed() const { return m_failed; }
    // The system's reason for the last failure, without the file's name.
    const std::string& failureReason() const { return m_reason; }

  private:
    bool writeOut_i(std::string& error);
    void close_i();

    // A closed file (-1 is also Windows' INVALID_HANDLE_VALUE).
    static constexpr intptr_t c_invalid = -1;
    intptr_t m_handle = c_invalid;
    std::string m_final;
    std::string m_temp;
    std::vector<char> m_buffer;
    uint64_t m_size = 0;
    bool m_failed = false;
    std::string m_reason;
};

// An exclusive hold on an output name, "<path>.lock" beside it. A second
// program asking for the same name is refused until the first releases it or
// ends (the system drops the hold of a killed program).
class PWR_API OutputLock {
  public:
    OutputLock();
    ~OutputLock();
    OutputLock(const OutputLock&) = delete;
    OutputLock& operator=(const OutputLock&) = delete;

    // Takes the hold. False with the reason in error; busy is set when another
    // program holds it.
    bool acquire(const std::string& path, std::string& error, bool& busy);
    // Releases the hold and removes the lock file.
    void release();
    bool held() const { return m_handle != -1; }

  private:
    intptr_t m_handle = -1;
    std::string m_path;
};

}  // namespace pwr
