#include "common/runtime/FileOps.h"

#include <atomic>
#include <cstring>
#include <filesystem>
#include <system_error>

#include "common/runtime/FileOpsPlatform.h"

namespace pwr {

namespace {

// Bytes gathered before they are handed to the system.
const size_t c_bufferSize = 64 * 1024;
// How often a unique name is tried before giving up (a collision means
// another program picked the same number, or someone plants names).
const int c_nameAttempts = 16;

std::string hex16(uint64_t value) {
    static const char digits[] = "0123456789abcdef";
    std::string text(16, '0');
    for (int i = 15; i >= 0; --i) {
        text[static_cast<size_t>(i)] = digits[value & 0xFu];
        value >>= 4;
    }
    return text;
}

// A number that differs between calls and processes, for unique names: the
// process's seed mixed with a counter (a 64-bit finaliser), unpredictable
// from outside.
uint64_t uniqueNumber() {
    static std::atomic<uint64_t> counter{0};
    static const uint64_t seed = fileops::uniqueSeed();
    uint64_t x = seed + 0x9E3779B97F4A7C15ull * (counter.fetch_add(1) + 1);
    x = (x ^ (x >> 30)) * 0xBF58476D1CE4E5B9ull;
    x = (x ^ (x >> 27)) * 0x94D049BB133111EBull;
    return x ^ (x >> 31);
}

std::string absoluteName(const std::string& path) {
    std::error_code ec;
    std::filesystem::path p = std::filesystem::absolute(std::filesystem::u8path(path), ec);
    if (ec) {
        return path;
    }
    return p.lexically_normal().u8string();
}

}  // namespace

FileKind fileKind(const std::string& path, std::string* error) {
    return fileops::kindOf(path, error);
}

std::string lastSystemError() {
    return fileops::systemError();
}

std::string folderOf(const std::string& path) {
    const size_t cut = path.find_last_of("/\\");
    if (cut == std::string::npos) {
        return ".";
    }
    return cut == 0 ? path.substr(0, 1) : path.substr(0, cut);
}

std::string baseNameOf(const std::string& path) {
    const size_t cut = path.find_last_of("/\\");
    return cut == std::string::npos ? path : path.substr(cut + 1);
}

bool sameFile(const std::string& a, const std::string& b) {
    uint64_t deviceA = 0;
    uint64_t numberA = 0;
    uint64_t deviceB = 0;
    uint64_t numberB = 0;
    if (fileops::identity(a, deviceA, numberA) && fileops::identity(b, deviceB, numberB)) {
        return deviceA == deviceB && numberA == numberB;
    }
    return absoluteName(a) == absoluteName(b);
}

bool checkFolderWritable(const std::string& folder, std::string& error) {
    std::string reason;
    const FileKind kind = fileops::kindOf(folder, &reason);
    if (kind == FileKind::MISSING) {
        error = folder + ": No such file or directory";
        return false;
    }
    if (kind != FileKind::DIRECTORY) {
        // A link to a folder is a folder for this purpose: the files are
        // created inside it, not at the link.
        std::error_code ec;
        if (kind != FileKind::LINK ||
            !std::filesystem::is_directory(std::filesystem::u8path(folder), ec)) {
            error = folder + ": " + (reason.empty() ? std::string("Not a directory") : reason);
            return false;
        }
    }
    const std::string probe = folder + "/.vantry-probe-" + hex16(uniqueNumber());
    const intptr_t handle = fileops::createExclusive(probe, reason);
    if (handle == -1) {
        error = folder + ": " + reason;
        return false;
    }
    fileops::closeHandle(handle);
    fileops::removeFile(probe);
    return true;
}

bool checkReplaceable(const std::string& path, std::string& error) {
    std::string reason;
    switch (fileops::kindOf(path, &reason)) {
        case FileKind::MISSING:
        case FileKind::REGULAR:
            return true;
        case FileKind::DIRECTORY:
            error = "is a folder";
            return false;
        case FileKind::LINK:
            error = "is a symbolic link";
            return false;
        case FileKind::OTHER:
            break;
    }
    error = reason.empty() ? "is not a regular file" : reason;
    return false;
}

std::FILE* openRegularFile(const std::string& path, std::string& error, uint64_t* size,
                           uint64_t maxSize) {
    uint64_t bytes = 0;
    std::FILE* file = fileops::openRegular(path, error, bytes);
    if (file == nullptr) {
        return nullptr;
    }
    if (bytes > maxSize) {
        std::fclose(file);
        error = "is larger than " + std::to_string(maxSize) + " bytes";
        return nullptr;
    }
    if (size != nullptr) {
        *size = bytes;
    }
    return file;
}

bool readRegularFile(const std::string& path, uint64_t maxSize, std::vector<char>& out,
                     std::string& error) {
    uint64_t size = 0;
    std::FILE* file = openRegularFile(path, error, &size, maxSize);
    if (file == nullptr) {
        return false;
    }
    // Read to the end rather than trust the size: a file that grows meanwhile
    // is still refused once it passes the limit.
    std::vector<char> bytes;
    bytes.reserve(static_cast<size_t>(size));
    char chunk[16384];
    size_t got = 0;
    bool ok = true;
    while (ok && (got = std::fread(chunk, 1, sizeof chunk, file)) > 0) {
        if (bytes.size() + got > maxSize) {
            error = "is larger than " + std::to_string(maxSize) + " bytes";
            ok = false;
        } else {
            bytes.insert(bytes.end(), chunk, chunk + got);
        }
    }
    if (ok && std::ferror(file) != 0) {
        error = lastSystemError();
        ok = false;
    }
    std::fclose(file);
    if (ok) {
        out.swap(bytes);
    }
    return ok;
}

std::FILE* openForWriteNoFollow(const std::string& path, std::string& error) {
    return fileops::openWriteNoFollow(path, error);
}

// ---------------------------------------------------------------------------
// NewFile

NewFile::NewFile() = default;

NewFile::~NewFile() {
    discard();
}

bool NewFile::create(const std::string& finalPath, const std::string& suffix, std::string& error) {
    discard();
    m_final = finalPath;
    m_failed = false;
    m_reason.clear();
    m_size = 0;
    m_buffer.clear();
    std::string reason;
    for (int attempt = 0; attempt < c_nameAttempts; ++attempt) {
        m_temp = finalPath + "." + hex16(uniqueNumber()) + suffix;
        m_handle = fileops::createExclusive(m_temp, reason);
        if (m_handle != c_invalid) {
            m_buffer.reserve(c_bufferSize);
            return true;
        }
        if (fileops::kindOf(m_temp, nullptr) == FileKind::MISSING) {
            break;  // not a collision: the folder refuses
        }
    }
    error = "cannot create " + m_temp + ": " + reason;
    m_reason = reason;
    m_temp.clear();
    return false;
}

bool NewFile::write(const void* data, size_t size, std::string& error) {
    if (m_handle == c_invalid || m_failed) {
        error = "cannot write " + (m_temp.empty() ? m_final : m_temp) + ": the file is not open";
        return false;
    }
    if (size == 0) {
        return true;
    }
    const char* bytes = static_cast<const char*>(data);
    if (m_buffer.size() + size > c_bufferSize) {
        if (!writeOut_i(error)) {
            return false;
        }
        if (size >= c_bufferSize) {
            std::string reason;
            if (!fileops::writeAll(m_handle, bytes, size, reason)) {
                m_failed = true;
                m_reason = reason;
                error = "cannot write " + m_temp + ": " + reason;
                return false;
            }
            m_size += size;
            return true;
        }
    }
    m_buffer.insert(m_buffer.end(), bytes, bytes + size);
    m_size += size;
    return true;
}

bool NewFile::writeOut_i(std::string& error) {
    if (m_buffer.empty()) {
        return true;
    }
    std::string reason;
    if (!fileops::writeAll(m_handle, m_buffer.data(), m_buffer.size(), reason)) {
        m_failed = true;
        m_reason = reason;
        error = "cannot write " + m_temp + ": " + reason;
        return false;
    }
    m_buffer.clear();
    return true;
}

bool NewFile::flush(std::string& error) {
    if (m_handle == c_invalid || m_failed) {
        error = "cannot write " + (m_temp.empty() ? m_final : m_temp) + ": the file is not open";
        return false;
    }
    return writeOut_i(error);
}

bool NewFile::sync(std::string& error) {
    if (!flush(error)) {
        return false;
    }
    std::string reason;
    if (!fileops::syncHandle(m_handle, reason)) {
        m_failed = true;
        m_reason = reason;
        error = "cannot write " + m_temp + ": " + reason;
        return false;
    }
    return true;
}

bool NewFile::commit(std::string& error) {
    if (!sync(error)) {
        return false;
    }
    close_i();
    std::string reason;
    if (!checkReplaceable(m_final, reason)) {
        m_failed = true;
        m_reason = "it " + reason;
        error = "cannot write " + m_final + ": it " + reason;
        return false;
    }
    if (!fileops::replaceFile(m_temp, m_final, reason)) {
        m_failed = true;
        m_reason = reason;
        error = "cannot rename " + m_temp + " to " + m_final + ": " + reason;
        return false;
    }
    m_temp.clear();
    return true;
}

void NewFile::close_i() {
    if (m_handle != c_invalid) {
        fileops::closeHandle(m_handle);
        m_handle = c_invalid;
    }
}

void NewFile::keep() {
    std::string ignored;
    if (m_handle != c_invalid && !m_failed) {
        writeOut_i(ignored);
    }
    close_i();
    m_buffer.clear();
    m_temp.clear();
}

void NewFile::discard() {
    close_i();
    m_buffer.clear();
    if (!m_temp.empty()) {
        fileops::removeFile(m_temp);
        m_temp.clear();
    }
}

// ---------------------------------------------------------------------------
// OutputLock

OutputLock::OutputLock() = default;

OutputLock::~OutputLock() {
    release();
}

bool OutputLock::acquire(const std::string& path, std::string& error, bool& busy) {
    release();
    busy = false;
    const std::string lockPath = path + ".lock";
    std::string reason;
    m_handle = fileops::lockFile(lockPath, busy, reason);
    if (m_handle == -1) {
        error = busy ? "another vantry is writing " + path
                     : "cannot create " + lockPath + ": " + reason;
        return false;
    }
    m_path = lockPath;
    return true;
}

void OutputLock::release() {
    if (m_handle != -1) {
        fileops::unlockFile(m_handle, m_path);
        m_handle = -1;
        m_path.clear();
    }
}

}  // namespace pwr
