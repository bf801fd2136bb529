// FileOps on POSIX: open(2) with O_EXCL and O_NOFOLLOW, write(2), fdatasync,
// rename(2), flock(2).
#include "common/runtime/FileOpsPlatform.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstring>
#include <random>

namespace pwr {
namespace fileops {

namespace {

std::string reasonFor(int error) {
    return std::strerror(error);
}

// A regular file that is not ours to write to through a link: O_NOFOLLOW
// answers ELOOP (or EMLINK on some systems) for a link at the name.
std::string linkAware(int error) {
    return error == ELOOP || error == EMLINK ? std::string("is a symbolic link") : reasonFor(error);
}

}  // namespace

std::string systemError() {
    return reasonFor(errno);
}

uint64_t uniqueSeed() {
    std::random_device device;
    const uint64_t high = static_cast<uint64_t>(device()) << 32;
    return high ^ device() ^
           static_cast<uint64_t>(std::chrono::steady_clock::now().time_since_epoch().count()) ^
           (static_cast<uint64_t>(getpid()) << 16);
}

intptr_t createExclusive(const std::string& path, std::string& reason) {
    const int fd = ::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0644);
    if (fd < 0) {
        reason = linkAware(errno);
        return -1;
    }
    return fd;
}

bool writeAll(intptr_t handle, const char* data, size_t size, std::string& reason) {
    while (size > 0) {
        const ssize_t n = ::write(static_cast<int>(handle), data, size);
        if (n < 0) {
            if (errno == EINTR) {
                continue;
            }
            reason = reasonFor(errno);
            return false;
        }
        if (n == 0) {
            reason = reasonFor(ENOSPC);
            return false;
        }
        data += n;
        size -= static_cast<size_t>(n);
    }
    return true;
}

bool syncHandle(intptr_t handle, std::string& reason) {
#if defined(__APPLE__)
    const int rc = ::fsync(static_cast<int>(handle));
#else
    const int rc = ::fdatasync(static_cast<int>(handle));
#endif
    // A file system that cannot sync (EINVAL: a pipe-like or special file
    // system) has nothing better to offer; the bytes are with the system.
    if (rc != 0 && errno != EINVAL && errno != EROFS) {
        reason = reasonFor(errno);
        return false;
    }
    // Writes to a file whose name (or folder) was removed still succeed, into
    // a file nobody can find again: that is a failure too.
    struct stat st;
    if (::fstat(static_cast<int>(handle), &st) == 0 && st.st_nlink == 0) {
        reason = "the file was removed (or its folder)";
        return false;
    }
    return true;
}

void closeHandle(intptr_t handle) {
    ::close(static_cast<int>(handle));
}

bool replaceFile(const std::string& from, const std::string& to, std::string& reason) {
    if (::rename(from.c_str(), to.c_str()) != 0) {
        reason = reasonFor(errno);
        return false;
    }
    return true;
}

bool removeFile(const std::string& path) {
    return ::unlink(path.c_str()) == 0;
}

FileKind kindOf(const std::string& path, std::string* reason) {
    struct stat st;
    if (::lstat(path.c_str(), &st) != 0) {
        if (errno == ENOENT) {
            return FileKind::MISSING;
        }
        if (reason != nullptr) {
            *reason = reasonFor(errno);
        }
        return FileKind::OTHER;
    }
    if (S_ISREG(st.st_mode)) {
        return FileKind::REGULAR;
    }
    if (S_ISDIR(st.st_mode)) {
        return FileKind::DIRECTORY;
    }
    if (S_ISLNK(st.st_mode)) {
        return FileKind::LINK;
    }
    if (reason != nullptr) {
        *reason = "is not a regular file";
    }
    return FileKind::OTHER;
}

bool identity(const std::string& path, uint64_t& device, uint64_t& number) {
    struct stat st;
    if (::stat(path.c_str(), &st) != 0) {
        return false;
    }
    device = static_cast<uint64_t>(st.st_dev);
    number = static_cast<uint64_t>(st.st_ino);
    return true;
}

std::FILE* openRegular(const std::string& path, std::string& reason, uint64_t& size) {
    // O_NONBLOCK: opening a FIFO for reading would otherwise wait for a
    // writer. The kind is checked on the open descriptor, so nothing can
    // swap the file between the check and the read.
    const int fd = ::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    if (fd < 0) {
        reason = reasonFor(errno);
        return nullptr;
    }
    struct stat st;
    if (::fstat(fd, &st) != 0) {
        reason = reasonFor(errno);
        ::close(fd);
        return nullptr;
    }
    if (!S_ISREG(st.st_mode)) {
        reason = S_ISDIR(st.st_mode) ? "is a folder" : "is not a regular file";
        ::close(fd);
        return nullptr;
    }
    const int flags = ::fcntl(fd, F_GETFL);
    if (flags != -1) {
        ::fcntl(fd, F_SETFL, flags & ~O_NONBLOCK);
    }
    std::FILE* file = ::fdopen(fd, "rb");
    if (file == nullptr) {
        reason = reasonFor(errno);
        ::close(fd);
        return nullptr;
    }
    size = static_cast<uint64_t>(st.st_size);
    return file;
}

std::FILE* openWriteNoFollow(const std::string& path, std::string& reason) {
    const int fd =
        ::open(path.c_str(), O_WRONLY | O_CREAT | O_NOFOLLOW | O_CLOEXEC | O_NONBLOCK, 0644);
    if (fd < 0) {
        reason = linkAware(errno);
        return nullptr;
    }
    struct stat st;
    if (::fstat(fd, &st) != 0 || !S_ISREG(st.st_mode)) {
        reason = "is not a regular file";
        ::close(fd);
        return nullptr;
    }
    const int flags = ::fcntl(fd, F_GETFL);
    if (flags != -1) {
        ::fcntl(fd, F_SETFL, flags & ~O_NONBLOCK);
    }
    if (::ftruncate(fd, 0) != 0) {
        reason = reasonFor(errno);
        ::close(fd);
        return nullptr;
    }
    std::FILE* file = ::fdopen(fd, "wb");
    if (file == nullptr) {
        reason = reasonFor(errno);
        ::close(fd);
    }
    return file;
}

intptr_t lockFile(const std::string& path, bool& busy, std::string& reason) {
    // The holder removes the file when it lets go, so a program that opened
    // the old file may lock a name that is already gone: it checks that the
    // file it holds is still the one under the name, and tries again if not.
    for (int attempt = 0; attempt < 8; ++attempt) {
        const int fd = ::open(path.c_str(), O_RDWR | O_CREAT | O_NOFOLLOW | O_CLOEXEC, 0644);
        if (fd < 0) {
            reason = linkAware(errno);
            return -1;
        }
        struct stat held;
        if (::fstat(fd, &held) != 0 || !S_ISREG(held.st_mode)) {
            reason = "is not a regular file";
            ::close(fd);
            return -1;
        }
        if (::flock(fd, LOCK_EX | LOCK_NB) != 0) {
            const int error = errno;
            ::close(fd);
            if (error == EWOULDBLOCK) {
                busy = true;
                return -1;
            }
            reason = reasonFor(error);
            return -1;
        }
        struct stat named;
        if (::lstat(path.c_str(), &named) == 0 && named.st_dev == held.st_dev &&
            named.st_ino == held.st_ino) {
            return fd;
        }
        ::close(fd);
    }
    busy = true;
    return -1;
}

void unlockFile(intptr_t handle, const std::string& path) {
    ::unlink(path.c_str());
    ::close(static_cast<int>(handle));
}

}  // namespace fileops
}  // namespace pwr
