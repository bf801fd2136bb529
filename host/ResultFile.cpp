#include "host/ResultFile.h"

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <limits>

#include "common/serialize/Serializer.h"

namespace vantry {

namespace {

const char c_magic[4] = {'V', 'T', 'R', 'F'};
// Magic, version and head length.
const size_t c_prefixSize = 12;
// Sample records are copied between files in pieces of this size.
const size_t c_copyChunk = 64 * 1024;

uint32_t readU32(const uint8_t* p) {
    return static_cast<uint32_t>(p[0]) | static_cast<uint32_t>(p[1]) << 8 |
           static_cast<uint32_t>(p[2]) << 16 | static_cast<uint32_t>(p[3]) << 24;
}

void writeU32(std::vector<char>& out, size_t at, uint32_t value) {
    for (size_t i = 0; i < 4; ++i) {
        out[at + i] = static_cast<char>((value >> (8 * i)) & 0xFFu);
    }
}

bool writeStrings(pwr::Serializer& ser, const std::vector<std::string>& strings) {
    std::vector<const std::string*> kept;
    for (const std::string& s : strings) {
        if (!s.empty() && s.size() <= std::numeric_limits<uint16_t>::max()) {
            kept.push_back(&s);
        }
    }
    if (kept.size() > std::numeric_limits<uint16_t>::max()) {
        return false;
    }
    ser.write(static_cast<uint16_t>(kept.size()));
    for (const std::string* s : kept) {
        ser.write(*s);
    }
    return true;
}

// Checks the 12-byte prefix; on success sets version and head length.
bool checkPrefix(const uint8_t* data, size_t size, uint32_t& version, uint32_t& headLength,
                 std::string& error) {
    if (size < c_prefixSize || std::memcmp(data, c_magic, sizeof c_magic) != 0) {
        error = "not a Vantry result file";
        return false;
    }
    version = readU32(data + 4);
    headLength = readU32(data + 8);
    if (version == 0 || version > resultFormatVersion()) {
        error = "written in result format " + std::to_string(version) +
                ", which this Vantry cannot read (it reads formats 1 to " +
                std::to_string(resultFormatVersion()) + ")";
        return false;
    }
    return true;
}

// The metadata reader names an unknown record type on standard error; the
// reader here checks the type first, so that a damaged file is reported in
// one line of its own.
const uint32_t c_lastMetadataType = pwr::Metadata::c_collectorMetadataType;

bool parseHead(const uint8_t* data, size_t size, uint32_t version, ResultHead& head,
               std::string& error) {
    pwr::Serializer ser(std::vector<char>(data, data + size));
    uint32_t count = 0;
    if (ser.read(count) == 0) {
        error = "the metadata is cut short";
        return false;
    }
    ResultHead result;
    result.formatVersion = version;
    // Every record takes more than four bytes, so a count beyond that is
    // damage; checking it first keeps the loop bounded by the input.
    if (count > size / 4) {
        error = "the metadata record count is damaged";
        return false;
    }
    for (uint32_t i = 0; i < count; ++i) {
        uint32_t type = 0;
        if (ser.read(type) == 0 || type > c_lastMetadataType) {
            error = "metadata record " + std::to_string(i + 1) + " cannot be read";
            return false;
        }
        ser.rewind_read(sizeof type);
        std::unique_ptr<pwr::Metadata> record(pwr::Metadata::deserialize(ser, version));
        if (!record) {
            error = "metadata record " + std::to_string(i + 1) + " cannot be read";
            return false;
        }
        const bool isSystem = dynamic_cast<pwr::SystemMetadata*>(record.get()) != nullptr;
        if (isSystem != (i == 0)) {
            error = i == 0 ? "the first metadata record is not the system record"
                           : "the file holds more than one system record";
            return false;
        }
        result.metadata.push_back(std::move(record));
    }
    if (result.metadata.empty()) {
        error = "the file holds no system record";
        return false;
    }
    uint16_t features = 0;
    if (ser.read(features) == 0) {
        error = "the feature list is cut short";
        return false;
    }
    for (uint16_t i = 0; i < features; ++i) {
        FeatureRecord feature;
        uint16_t messages = 0;
        if (ser.read(feature.name) == 0 || ser.read(feature.prefix) == 0 ||
            ser.read(messages) == 0) {
            error = "feature " + std::to_string(i + 1) + " is damaged";
            return false;
        }
        for (uint16_t m = 0; m < messages; ++m) {
            std::string name;
            if (ser.read(name) == 0) {
                error = "feature " + std::to_string(i + 1) + " is damaged";
                return false;
            }
            feature.messages.push_back(std::move(name));
        }
        result.features.push_back(std::move(feature));
    }
    uint16_t options = 0;
    if (ser.read(options) == 0) {
        error = "the option list is cut short";
        return false;
    }
    for (uint16_t i = 0; i < options; ++i) {
        std::pair<std::string, std::string> option;
        if (ser.read(option.first) == 0 || ser.read(option.second) == 0) {
            error = "option " + std::to_string(i + 1) + " is damaged";
            return false;
        }
        result.options.push_back(std::move(option));
    }
    // The head length says where the samples start; bytes left over mean the
    // two disagree.
    uint8_t extra = 0;
    if (ser.read(extra) != 0) {
        error = "the head is longer than its contents";
        return false;
    }
    head = std::move(result);
    return true;
}

std::string systemError() {
    return std::strerror(errno);
}

bool replaceFile(const std::string& from, const std::string& to) {
    if (std::rename(from.c_str(), to.c_str()) == 0) {
        return true;
    }
    // Windows does not rename over an existing file.
    std::remove(to.c_str());
    return std::rename(from.c_str(), to.c_str()) == 0;
}

}  // namespace

uint32_t resultFormatVersion() {
    return 1;
}

const char* resultFileExtension() {
    return ".vtr";
}

pwr::SystemMetadata* ResultHead::system() const {
    return metadata.empty() ? nullptr : dynamic_cast<pwr::SystemMetadata*>(metadata[0].get());
}

std::vector<const pwr::Metadata*> ResultHead::metadataPointers() const {
    std::vector<const pwr::Metadata*> out;
    for (const auto& record : metadata) {
        out.push_back(record.get());
    }
    return out;
}

std::vector<char> encodeResultHead(
    const std::vector<const pwr::Metadata*>& metadata, const std::vector<FeatureRecord>& features,
    const std::vector<std::pair<std::string, std::string>>& options) {
    pwr::Serializer ser;
    ser.write_to(c_magic, sizeof c_magic);
    ser.write(resultFormatVersion());
    ser.write(static_cast<uint32_t>(0));  // head length, set below
    uint32_t count = 0;
    for (const pwr::Metadata* record : metadata) {
        count += record != nullptr ? 1 : 0;
    }
    ser.write(count);
    for (const pwr::Metadata* record : metadata) {
        if (record != nullptr) {
            record->serialize(ser);
        }
    }
    std::vector<const FeatureRecord*> kept;
    for (const FeatureRecord& feature : features) {
        if (!feature.name.empty() && !feature.prefix.empty()) {
            kept.push_back(&feature);
        }
    }
    ser.write(static_cast<uint16_t>(kept.size()));
    for (const FeatureRecord* feature : kept) {
        ser.write(feature->name);
        ser.write(feature->prefix);
        writeStrings(ser, feature->messages);
    }
    std::vector<const std::pair<std::string, std::string>*> keptOptions;
    for (const auto& option : options) {
        if (!option.first.empty() && !option.second.empty()) {
            keptOptions.push_back(&option);
        }
    }
    ser.write(static_cast<uint16_t>(keptOptions.size()));
    for (const auto* option : keptOptions) {
        ser.write(option->first);
        ser.write(option->second);
    }
    std::vector<char> bytes = ser.get_buffer();
    writeU32(bytes, 8, static_cast<uint32_t>(bytes.size() - c_prefixSize));
    return bytes;
}

bool parseResultBuffer(const uint8_t* data, size_t size, ResultHead& head,
                       const SampleVisitor& visit, std::string& error) {
    if (data == nullptr) {
        size = 0;
    }
    uint32_t version = 0;
    uint32_t headLength = 0;
    if (!checkPrefix(data, size, version, headLength, error)) {
        return false;
    }
    if (headLength > size - c_prefixSize) {
        error = "the file is cut short";
        return false;
    }
    if (!parseHead(data + c_prefixSize, headLength, version, head, error)) {
        return false;
    }
    size_t offset = c_prefixSize + headLength;
    vexa_driver_msg msg;
    while (offset < size) {
        if (!pwr::readDriverMessage(data, size, offset, msg)) {
            error = "damaged sample record at byte " + std::to_string(offset);
            return false;
        }
        if (visit && !visit(msg)) {
            break;
        }
    }
    return true;
}

bool readResultFile(const std::string& path, ResultHead& head, const SampleVisitor& visit,
                    std::string& error) {
    ResultFileReader reader;
    if (!reader.open(path, head, error)) {
        return false;
    }
    vexa_driver_msg msg;
    while (reader.next(msg, error)) {
        if (visit && !visit(msg)) {
            return true;
        }
    }
    return error.empty();
}

ResultFileReader::~ResultFileReader() {
    if (m_file != nullptr) {
        std::fclose(m_file);
    }
}

bool ResultFileReader::open(const std::string& path, ResultHead& head, std::string& error) {
    if (m_file != nullptr) {
        std::fclose(m_file);
    }
    m_file = std::fopen(path.c_str(), "rb");
    if (m_file == nullptr) {
        error = systemError();
        return false;
    }
    // The size from the file system: ftell's long is 32 bits on Windows,
    // and an hour of a large machine's readings passes 2 GiB.
    std::error_code sizeError;
    const uintmax_t size = std::filesystem::file_size(std::filesystem::u8path(path), sizeError);
    m_fileSize = sizeError ? 0 : static_cast<uint64_t>(size);
    uint8_t prefix[c_prefixSize];
    const size_t got = std::fread(prefix, 1, sizeof prefix, m_file);
    uint32_t version = 0;
    uint32_t headLength = 0;
    if (!checkPrefix(prefix, got, version, headLength, error)) {
        return false;
    }
    if (headLength > m_fileSize - c_prefixSize) {
        error = "the file is cut short";
        return false;
    }
    m_bytes.assign(headLength, 0);
    if (headLength > 0 && std::fread(m_bytes.data(), 1, headLength, m_file) != headLength) {
        error = "the file is cut short";
        return false;
    }
    if (!parseHead(m_bytes.data(), m_bytes.size(), version, head, error)) {
        return false;
    }
    m_offset = c_prefixSize + headLength;
    return true;
}

bool ResultFileReader::next(vexa_driver_msg& msg, std::string& error) {
    error.clear();
    if (m_file == nullptr || m_offset >= m_fileSize) {
        return false;
    }
    const std::string damaged = "damaged sample record at byte " + std::to_string(m_offset);
    uint8_t lengthBytes[4];
    if (std::fread(lengthBytes, 1, 4, m_file) != 4) {
        error = damaged;
        return false;
    }
    const uint32_t length = readU32(lengthBytes);
    if (length > m_fileSize - m_offset - 4) {
        error = damaged;
        return false;
    }
    m_bytes.resize(4 + static_cast<size_t>(length));
    std::memcpy(m_bytes.data(), lengthBytes, 4);
    if (length > 0 && std::fread(m_bytes.data() + 4, 1, length, m_file) != length) {
        error = damaged;
        return false;
    }
    size_t at = 0;
    if (!pwr::readDriverMessage(m_bytes.data(), m_bytes.size(), at, msg) || at != m_bytes.size()) {
        error = damaged;
        return false;
    }
    m_offset += m_bytes.size();
    return true;
}

ResultFileWriter::~ResultFileWriter() {
    abandon();
}

bool ResultFileWriter::open(const std::string& path, std::string& error) {
    abandon();
    m_path = path;
    m_samplesPath = path + ".samples.tmp";
    m_samples = std::fopen(m_samplesPath.c_str(), "wb");
    if (m_samples == nullptr) {
        error = "cannot create " + m_samplesPath + ": " + systemError();
        return false;
    }
    m_sampleBytes = 0;
    return true;
}

bool ResultFileWriter::appendSamples(const uint8_t* data, size_t size, std::string& error) {
    if (m_samples == nullptr) {
        error = "the result file is not open";
        return false;
    }
    if (size == 0) {
        return true;
    }
    if (std::fwrite(data, 1, size, m_samples) != size) {
        error = "cannot write " + m_samplesPath + ": " + systemError();
        return false;
    }
    m_sampleBytes += size;
    return true;
}

bool ResultFileWriter::finish(const std::vector<const pwr::Metadata*>& metadata,
                              const std::vector<FeatureRecord>& features,
                              const std::vector<std::pair<std::string, std::string>>& options,
                              std::string& error) {
    if (m_samples == nullptr) {
        error = "the result file is not open";
        return false;
    }
    const std::vector<char> head = encodeResultHead(metadata, features, options);
    const std::string tempPath = m_path + ".tmp";
    bool ok = std::fflush(m_samples) == 0;
    std::fclose(m_samples);
    m_samples = nullptr;
    if (!ok) {
        error = "cannot write " + m_samplesPath + ": " + systemError();
        abandon();
        return false;
    }
    FILE* out = std::fopen(tempPath.c_str(), "wb");
    FILE* in = std::fopen(m_samplesPath.c_str(), "rb");
    if (out == nullptr || in == nullptr) {
        error = "cannot create " + tempPath + ": " + systemError();
        ok = false;
    } else {
        ok = std::fwrite(head.data(), 1, head.size(), out) == head.size();
        std::vector<char> chunk(c_copyChunk);
        while (ok) {
            const size_t n = std::fread(chunk.data(), 1, chunk.size(), in);
            if (n == 0) {
                break;
            }
            ok = std::fwrite(chunk.data(), 1, n, out) == n;
        }
        ok = ok && std::ferror(in) == 0;
        if (!ok) {
            error = "cannot write " + tempPath + ": " + systemError();
        }
    }
    if (in != nullptr) {
        std::fclose(in);
    }
    if (out != nullptr && std::fclose(out) != 0 && ok) {
        error = "cannot write " + tempPath + ": " + systemError();
        ok = false;
    }
    if (ok && !replaceFile(tempPath, m_path)) {
        error = "cannot rename " + tempPath + " to " + m_path + ": " + systemError();
        ok = false;
    }
    if (!ok) {
        std::remove(tempPath.c_str());
    }
    std::remove(m_samplesPath.c_str());
    m_samplesPath.clear();
    return ok;
}

void ResultFileWriter::abandon() {
    if (m_samples != nullptr) {
        std::fclose(m_samples);
        m_samples = nullptr;
    }
    if (!m_samplesPath.empty()) {
        std::remove(m_samplesPath.c_str());
        m_samplesPath.clear();
    }
}

}  // namespace vantry
