// FileOps on Windows: CreateFileA with CREATE_NEW and
// FILE_FLAG_OPEN_REPARSE_POINT, WriteFile, FlushFileBuffers, MoveFileExA, and
// a lock file opened without sharing and deleted when closed.
#include "common/runtime/FileOpsPlatform.h"

#include <windows.h>
#include <fcntl.h>
#include <io.h>

#include <chrono>
#include <random>

namespace pwr {
namespace fileops {

namespace {

std::string textOf(DWORD code) {
    // The common failures in the C runtime's words (what fopen and strerror
    // said in earlier releases, and what POSIX says), so that a message reads
    // the same on both platforms; the rest in the system's own words.
    switch (code) {
        case ERROR_FILE_NOT_FOUND:
        case ERROR_PATH_NOT_FOUND:
            return "No such file or directory";
        case ERROR_ACCESS_DENIED:
            return "Permission denied";
        case ERROR_DISK_FULL:
        case ERROR_HANDLE_DISK_FULL:
            return "No space left on device";
        case ERROR_FILE_EXISTS:
        case ERROR_ALREADY_EXISTS:
            return "File exists";
        default:
            break;
    }
    char* text = nullptr;
    const DWORD length = FormatMessageA(
        FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS,
        nullptr, code, MAKELANGID(LANG_NEUTRAL, SUBLANG_DEFAULT), reinterpret_cast<char*>(&text), 0,
        nullptr);
    std::string result = length != 0 && text != nullptr ? std::string(text, length)
                                                        : "system error " + std::to_string(code);
    if (text != nullptr) {
        LocalFree(text);
    }
    // One line: the system's text ends in ".\r\n".
    while (!result.empty() && (result.back() == '\n' || result.back() == '\r' ||
                               result.back() == '.' || result.back() == ' ')) {
        result.pop_back();
    }
    return result;
}

HANDLE asHandle(intptr_t handle) {
    return reinterpret_cast<HANDLE>(handle);
}

std::FILE* wrap(HANDLE handle, int mode, const char* fopenMode, std::string& reason) {
    const int fd = _open_osfhandle(reinterpret_cast<intptr_t>(handle), mode);
    if (fd < 0) {
        reason = "cannot use the file handle";
        CloseHandle(handle);
        return nullptr;
    }
    std::FILE* file = _fdopen(fd, fopenMode);
    if (file == nullptr) {
        reason = "cannot use the file handle";
        _close(fd);
    }
    return file;
}

}  // namespace

std::string systemError() {
    return textOf(GetLastError());
}

uint64_t uniqueSeed() {
    std::random_device device;
    LARGE_INTEGER now;
    QueryPerformanceCounter(&now);
    const uint64_t high = static_cast<uint64_t>(device()) << 32;
    return high ^ device() ^ static_cast<uint64_t>(now.QuadPart) ^
           (static_cast<uint64_t>(GetCurrentProcessId()) << 16);
}

intptr_t createExclusive(const std::string& path, std::string& reason) {
    // CREATE_NEW fails when any name, a link included, is there; the flag
    // keeps a reparse point from being followed.
    HANDLE handle =
        CreateFileA(path.c_str(), GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_DELETE, nullptr,
                    CREATE_NEW, FILE_ATTRIBUTE_NORMAL | FILE_FLAG_OPEN_REPARSE_POINT, nullptr);
    if (handle == INVALID_HANDLE_VALUE) {
        reason = systemError();
        return -1;
    }
    return reinterpret_cast<intptr_t>(handle);
}

bool writeAll(intptr_t handle, const char* data, size_t size, std::string& reason) {
    while (size > 0) {
        const DWORD chunk = size > 0x40000000u ? 0x40000000u : static_cast<DWORD>(size);
        DWORD written = 0;
        if (!WriteFile(asHandle(handle), data, chunk, &written, nullptr)) {
            reason = systemError();
            return false;
        }
        if (written == 0) {
            reason = textOf(ERROR_DISK_FULL);
            return false;
        }
        data += written;
        size -= written;
    }
    return true;
}

bool syncHandle(intptr_t handle, std::string& reason) {
    if (!FlushFileBuffers(asHandle(handle))) {
        reason = systemError();
        return false;
    }
    return true;
}

void closeHandle(intptr_t handle) {
    CloseHandle(asHandle(handle));
}

bool replaceFile(const std::string& from, const std::string& to, std::string& reason) {
    if (!MoveFileExA(from.c_str(), to.c_str(),
                     MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH)) {
        reason = systemError();
        return false;
    }
    return true;
}

bool removeFile(const std::string& path) {
    return DeleteFileA(path.c_str()) != 0;
}

FileKind kindOf(const std::string& path, std::string* reason) {
    const DWORD attributes = GetFileAttributesA(path.c_str());
    if (attributes == INVALID_FILE_ATTRIBUTES) {
        const DWORD code = GetLastError();
        if (code == ERROR_FILE_NOT_FOUND || code == ERROR_PATH_NOT_FOUND) {
            return FileKind::MISSING;
        }
        if (reason != nullptr) {
            *reason = textOf(code);
        }
        return FileKind::OTHER;
    }
    if ((attributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0) {
        return FileKind::LINK;
    }
    if ((attributes & FILE_ATTRIBUTE_DIRECTORY) != 0) {
        return FileKind::DIRECTORY;
    }
    if ((attributes & FILE_ATTRIBUTE_DEVICE) != 0) {
        if (reason != nullptr) {
            *reason = "is not a regular file";
        }
        return FileKind::OTHER;
    }
    return FileKind::REGULAR;
}

bool identity(const std::string& path, uint64_t& device, uint64_t& number) {
    HANDLE handle =
        CreateFileA(path.c_str(), 0, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                    nullptr, OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS, nullptr);
    if (handle == INVALID_HANDLE_VALUE) {
        return false;
    }
    BY_HANDLE_FILE_INFORMATION info;
    const bool ok = GetFileInformationByHandle(handle, &info) != 0;
    CloseHandle(handle);
    if (!ok) {
        return false;
    }
    device = info.dwVolumeSerialNumber;
    number = static_cast<uint64_t>(info.nFileIndexHigh) << 32 | info.nFileIndexLow;
    return true;
}

std::FILE* openRegular(const std::string& path, std::string& reason, uint64_t& size) {
    const DWORD attributes = GetFileAttributesA(path.c_str());
    if (attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0) {
        reason = "is a folder";
        return nullptr;
    }
    HANDLE handle = CreateFileA(path.c_str(), GENERIC_READ,
                                FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                                OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (handle == INVALID_HANDLE_VALUE) {
        reason = systemError();
        return nullptr;
    }
    LARGE_INTEGER bytes;
    if (GetFileType(handle) != FILE_TYPE_DISK || !GetFileSizeEx(handle, &bytes)) {
        reason = "is not a regular file";
        CloseHandle(handle);
        return nullptr;
    }
    size = static_cast<uint64_t>(bytes.QuadPart);
    return wrap(handle, _O_RDONLY | _O_BINARY, "rb", reason);
}

std::FILE* openWriteNoFollow(const std::string& path, std::string& reason) {
    if (kindOf(path, nullptr) == FileKind::LINK) {
        reason = "is a symbolic link";
        return nullptr;
    }
    HANDLE handle =
        CreateFileA(path.c_str(), GENERIC_WRITE, FILE_SHARE_READ, nullptr, CREATE_ALWAYS,
                    FILE_ATTRIBUTE_NORMAL | FILE_FLAG_OPEN_REPARSE_POINT, nullptr);
    if (handle == INVALID_HANDLE_VALUE) {
        reason = systemError();
        return nullptr;
    }
    if (GetFileType(handle) != FILE_TYPE_DISK) {
        reason = "is not a regular file";
        CloseHandle(handle);
        return nullptr;
    }
    return wrap(handle, _O_WRONLY | _O_BINARY, "wb", reason);
}

intptr_t lockFile(const std::string& path, bool& busy, std::string& reason) {
    // No sharing: a second program's open fails with a sharing violation
    // while the first holds it; the system closes the handle of a program
    // that ends, and the file goes with it.
    HANDLE handle = CreateFileA(
        path.c_str(), GENERIC_READ | GENERIC_WRITE | DELETE, 0, nullptr, OPEN_ALWAYS,
        FILE_ATTRIBUTE_NORMAL | FILE_FLAG_DELETE_ON_CLOSE | FILE_FLAG_OPEN_REPARSE_POINT, nullptr);
    if (handle == INVALID_HANDLE_VALUE) {
        const DWORD code = GetLastError();
        if (code == ERROR_SHARING_VIOLATION || code == ERROR_LOCK_VIOLATION ||
            code == ERROR_ACCESS_DENIED) {
            busy = code != ERROR_ACCESS_DENIED || kindOf(path, nullptr) == FileKind::REGULAR;
        }
        if (!busy) {
            reason = textOf(code);
        }
        return -1;
    }
    return reinterpret_cast<intptr_t>(handle);
}

void unlockFile(intptr_t handle, const std::string&) {
    CloseHandle(asHandle(handle));
}

}  // namespace fileops
}  // namespace pwr
