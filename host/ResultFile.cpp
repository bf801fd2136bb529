#include "host/ResultFile.h"

#include <array>
#include <chrono>
#include <cinttypes>
#include <cstring>
#include <limits>

#include "common/serialize/Serializer.h"

namespace vantry {

namespace {

const char c_magic[4] = {'V', 'T', 'R', 'F'};
// Magic and version; format 1 adds the head length.
const size_t c_prefixSize = 8;
const size_t c_prefixSizeV1 = 12;
// A frame's kind and length before its body, and the CRC after it.
const size_t c_frameHeadSize = 5;
const size_t c_frameTailSize = 4;
const uint8_t c_kindHead = 1;
const uint8_t c_kindSamples = 2;
const uint8_t c_kindEnd = 3;
// A SAMPLES body starts with its latest timestamp and its record count.
const size_t c_samplesPrefix = 12;
// The file is synced to the disk at least this often while it grows.
const uint64_t c_syncEveryMs = 1000;

uint32_t readU32(const uint8_t* p) {
    return static_cast<uint32_t>(p[0]) | static_cast<uint32_t>(p[1]) << 8 |
           static_cast<uint32_t>(p[2]) << 16 | static_cast<uint32_t>(p[3]) << 24;
}

uint64_t readU64(const uint8_t* p) {
    return static_cast<uint64_t>(readU32(p)) | static_cast<uint64_t>(readU32(p + 4)) << 32;
}

void putU32(std::vector<char>& out, uint32_t value) {
    for (size_t i = 0; i < 4; ++i) {
        out.push_back(static_cast<char>((value >> (8 * i)) & 0xFFu));
    }
}

void putU64(std::vector<char>& out, uint64_t value) {
    putU32(out, static_cast<uint32_t>(value));
    putU32(out, static_cast<uint32_t>(value >> 32));
}

const std::array<uint32_t, 256>& crcTable() {
    static const std::array<uint32_t, 256> table = [] {
        std::array<uint32_t, 256> t{};
        for (uint32_t i = 0; i < 256; ++i) {
            uint32_t c = i;
            for (int k = 0; k < 8; ++k) {
                c = (c & 1u) != 0 ? 0xEDB88320u ^ (c >> 1) : c >> 1;
            }
            t[i] = c;
        }
        return t;
    }();
    return table;
}

uint32_t crcUpdate(uint32_t crc, const uint8_t* data, size_t size) {
    const std::array<uint32_t, 256>& table = crcTable();
    crc = ~crc;
    for (size_t i = 0; i < size; ++i) {
        crc = table[(crc ^ data[i]) & 0xFFu] ^ (crc >> 8);
    }
    return ~crc;
}

uint64_t steadyMs() {
    return static_cast<uint64_t>(std::chrono::duration_cast<std::chrono::milliseconds>(
                                     std::chrono::steady_clock::now().time_since_epoch())
                                     .count());
}

// Makes the system record end at the last reading that is there, so that the
// headers' duration matches the totals made from the readings.
void endAt(pwr::SystemMetadata& sys, uint64_t lastTimestamp) {
    if (lastTimestamp <= sys.startTsc) {
        lastTimestamp = sys.startTsc;
    }
    sys.stopTsc = lastTimestamp;
    sys.stopTimeval =
        sys.startTimeval + static_cast<uint64_t>(collectionSeconds(sys, lastTimestamp) * 1.0e9);
    if (sys.programStopTimeval < sys.stopTimeval) {
        sys.programStopTimeval = sys.stopTimeval;
    }
}

// Walks driver records (each a u32 length, then at least its u64 timestamp):
// they must fill size bytes exactly. Counts them and finds the latest
// timestamp.
bool walkRecords(const uint8_t* data, size_t size, uint64_t& count, uint64_t& latest) {
    size_t at = 0;
    count = 0;
    latest = 0;
    while (at < size) {
        if (size - at < 12) {
            return false;
        }
        const uint32_t length = readU32(data + at);
        if (length < 8 || length > size - at - 4) {
            return false;
        }
        latest = std::max(latest, readU64(data + at + 4));
        at += 4 + static_cast<size_t>(length);
        ++count;
    }
    return true;
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

}  // namespace

// Where the reader's bytes come from: a file or a buffer in memory.
class ResultFileReader::Source {
  public:
    virtual ~Source() = default;
    virtual uint64_t size() const = 0;
    // Reads exactly n bytes at offset; false when they are not all there.
    virtual bool read(uint64_t offset, void* dest, size_t n) = 0;
};

namespace {

class BufferSource : public ResultFileReader::Source {
  public:
    BufferSource(const uint8_t* data, size_t size) : m_data(data), m_size(size) {}
    uint64_t size() const override { return m_size; }
    bool read(uint64_t offset, void* dest, size_t n) override {
        if (offset > m_size || n > m_size - offset) {
            return false;
        }
        if (n != 0) {
            std::memcpy(dest, m_data + offset, n);
        }
        return true;
    }

  private:
    const uint8_t* m_data;
    size_t m_size;
};

class FileSource : public ResultFileReader::Source {
  public:
    FileSource(std::FILE* file, uint64_t size) : m_file(file), m_size(size) {}
    ~FileSource() override { std::fclose(m_file); }
    uint64_t size() const override { return m_size; }
    bool read(uint64_t offset, void* dest, size_t n) override {
        if (offset > m_size || n > m_size - offset) {
            return false;
        }
        if (offset != m_position) {
#if defined(_WIN32)
            const int rc = _fseeki64(m_file, static_cast<int64_t>(offset), SEEK_SET);
#else
            const int rc = fseeko(m_file, static_cast<off_t>(offset), SEEK_SET);
#endif
            if (rc != 0) {
                return false;
            }
        }
        const size_t got = n == 0 ? 0 : std::fread(dest, 1, n, m_file);
        m_position = offset + got;
        return got == n;
    }

  private:
    std::FILE* m_file;
    uint64_t m_size;
    uint64_t m_position = 0;
};

}  // namespace

uint32_t resultFormatVersion() {
    return 2;
}

double collectionSeconds(const pwr::SystemMetadata& sys, uint64_t timestamp) {
    if (sys.clockFreqMHz <= 0.0f || timestamp <= sys.startTsc) {
        return 0.0;
    }
    return static_cast<double>(timestamp - sys.startTsc) / (sys.clockFreqMHz * 1.0e6);
}

std::string formatSeconds1(double seconds) {
    char text[64];
    std::snprintf(text, sizeof text, "%.1f", seconds < 0.0 ? 0.0 : seconds);
    return text;
}

const char* resultFileExtension() {
    return ".vtr";
}

const char* partialFileSuffix() {
    return ".partial";
}

std::string resultStem(const std::string& path) {
    const std::string extension = resultFileExtension();
    const std::string partial = partialFileSuffix();
    auto endsWith = [](const std::string& text, const std::string& end) {
        return text.size() >= end.size() &&
               text.compare(text.size() - end.size(), end.size(), end) == 0;
    };
    if (endsWith(path, extension)) {
        return path.substr(0, path.size() - extension.size());
    }
    // "<stem>.vtr.<16 hex digits>.partial"
    const size_t unique = 16;
    const size_t tail = extension.size() + 1 + unique + partial.size();
    if (endsWith(path, partial) && path.size() > tail &&
        path.compare(path.size() - tail, extension.size() + 1, extension + ".") == 0) {
        const std::string digits = path.substr(path.size() - unique - partial.size(), unique);
        if (digits.find_first_not_of("0123456789abcdef") == std::string::npos) {
            return path.substr(0, path.size() - tail);
        }
    }
    return path;
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

std::vector<char> encodeHeadBody(const std::vector<const pwr::Metadata*>& metadata,
                                 const std::vector<FeatureRecord>& features,
                                 const std::vector<std::pair<std::string, std::string>>& options) {
    pwr::Serializer ser;
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
    return ser.get_buffer();
}

std::vector<char> encodeFrame(uint8_t kind, const std::vector<char>& body) {
    std::vector<char> frame;
    frame.reserve(c_frameHeadSize + body.size() + c_frameTailSize);
    frame.push_back(static_cast<char>(kind));
    putU32(frame, static_cast<uint32_t>(body.size()));
    frame.insert(frame.end(), body.begin(), body.end());
    putU32(frame, crcUpdate(0, reinterpret_cast<const uint8_t*>(frame.data()), frame.size()));
    return frame;
}

std::vector<char> encodeResultHead(
    const std::vector<const pwr::Metadata*>& metadata, const std::vector<FeatureRecord>& features,
    const std::vector<std::pair<std::string, std::string>>& options) {
    std::vector<char> bytes(c_magic, c_magic + sizeof c_magic);
    putU32(bytes, resultFormatVersion());
    const std::vector<char> frame =
        encodeFrame(c_kindHead, encodeHeadBody(metadata, features, options));
    bytes.insert(bytes.end(), frame.begin(), frame.end());
    return bytes;
}

bool encodeSamplesFrame(const uint8_t* bytes, size_t size, std::vector<char>& frame) {
    uint64_t latest = 0;
    uint64_t count = 0;
    if (!walkRecords(bytes, size, count, latest) || size > c_maxFrameBytes - c_samplesPrefix) {
        return false;
    }
    frame.clear();
    frame.reserve(c_frameHeadSize + c_samplesPrefix + size + c_frameTailSize);
    frame.push_back(static_cast<char>(c_kindSamples));
    putU32(frame, static_cast<uint32_t>(c_samplesPrefix + size));
    putU64(frame, latest);
    putU32(frame, static_cast<uint32_t>(count));
    frame.insert(frame.end(), reinterpret_cast<const char*>(bytes),
                 reinterpret_cast<const char*>(bytes) + size);
    putU32(frame, crcUpdate(0, reinterpret_cast<const uint8_t*>(frame.data()), frame.size()));
    return true;
}

std::vector<char> encodeEndFrame(const pwr::SystemMetadata& system, uint64_t sampleFrames,
                                 uint64_t sampleRecords,
                                 const std::vector<std::pair<std::string, std::string>>& options) {
    pwr::Serializer ser;
    system.serialize(ser);
    ser.write(sampleFrames);
    ser.write(sampleRecords);
    std::vector<const std::pair<std::string, std::string>*> kept;
    for (const auto& option : options) {
        if (!option.first.empty() && !option.second.empty() &&
            option.first.size() <= std::numeric_limits<uint16_t>::max() &&
            option.second.size() <= std::numeric_limits<uint16_t>::max()) {
            kept.push_back(&option);
        }
    }
    if (!kept.empty()) {
        ser.write(static_cast<uint16_t>(std::min<size_t>(kept.size(), 0xFFFF)));
        for (size_t i = 0; i < kept.size() && i < 0xFFFF; ++i) {
            ser.write(kept[i]->first);
            ser.write(kept[i]->second);
        }
    }
    return encodeFrame(c_kindEnd, ser.get_buffer());
}

namespace {

// Hands every sample record of an opened reader to visit.
bool visitSamples(ResultFileReader& reader, const SampleVisitor& visit, std::string& error) {
    vexa_driver_msg msg;
    while (reader.next(msg, error)) {
        if (visit && !visit(msg)) {
            return true;
        }
    }
    return error.empty();
}

}  // namespace

bool parseResultBuffer(const uint8_t* data, size_t size, ResultHead& head,
                       const SampleVisitor& visit, std::string& error) {
    ResultFileReader reader;
    return reader.openBuffer(data, data == nullptr ? 0 : size, head, error) &&
           visitSamples(reader, visit, error);
}

bool readResultFile(const std::string& path, ResultHead& head, const SampleVisitor& visit,
                    std::string& error) {
    ResultFileReader reader;
    return reader.open(path, head, error) && visitSamples(reader, visit, error);
}

// ---------------------------------------------------------------------------
// ResultFileReader

ResultFileReader::ResultFileReader() = default;
ResultFileReader::~ResultFileReader() = default;

bool ResultFileReader::open(const std::string& path, ResultHead& head, std::string& error) {
    m_source.reset();
    uint64_t size = 0;
    std::FILE* file = pwr::openRegularFile(path, error, &size);
    if (file == nullptr) {
        return false;
    }
    m_source.reset(new FileSource(file, size));
    return start_i(head, error);
}

bool ResultFileReader::openBuffer(const uint8_t* data, size_t size, ResultHead& head,
                                  std::string& error) {
    m_source.reset(new BufferSource(data, data == nullptr ? 0 : size));
    return start_i(head, error);
}

bool ResultFileReader::start_i(ResultHead& head, std::string& error) {
    error.clear();
    m_frame.clear();
    m_frameAt = 0;
    uint8_t prefix[c_prefixSizeV1];
    const uint64_t size = m_source->size();
    if (size < c_prefixSize || !m_source->read(0, prefix, c_prefixSize) ||
        std::memcmp(prefix, c_magic, sizeof c_magic) != 0) {
        error = "not a Vantry result file";
        return false;
    }
    m_version = readU32(prefix + 4);
    if (m_version == 0 || m_version > resultFormatVersion()) {
        error = "written in result format " + std::to_string(m_version) +
                ", which this Vantry cannot read (it reads formats 1 to " +
                std::to_string(resultFormatVersion()) + ")";
        return false;
    }
    ResultHead result;
    result.formatVersion = m_version;
    if (m_version >= 2) {
        if (!scanFrames_i(result, error)) {
            return false;
        }
        head = std::move(result);
        return true;
    }
    // Format 1: a head of known length, then bare records to the end.
    if (size < c_prefixSizeV1 || !m_source->read(c_prefixSize, prefix + c_prefixSize, 4)) {
        error = "the file is cut short";
        return false;
    }
    const uint32_t headLength = readU32(prefix + c_prefixSize);
    if (headLength > size - c_prefixSizeV1) {
        error = "the file is cut short";
        return false;
    }
    if (headLength > c_maxFrameBytes) {
        error = "the metadata is damaged";
        return false;
    }
    m_bytes.assign(headLength, 0);
    if (!m_source->read(c_prefixSizeV1, m_bytes.data(), headLength)) {
        error = "the file is cut short";
        return false;
    }
    if (!parseHead(m_bytes.data(), m_bytes.size(), m_version, result, error)) {
        return false;
    }
    m_offset = c_prefixSizeV1 + headLength;
    scanRecords_i(result);
    head = std::move(result);
    return true;
}

ResultFileReader::FrameStatus ResultFileReader::loadFrame_i(uint64_t offset, uint8_t& kind) {
    const uint64_t size = m_source->size();
    uint8_t frameHead[c_frameHeadSize];
    if (size - offset < c_frameHeadSize + c_frameTailSize ||
        !m_source->read(offset, frameHead, c_frameHeadSize)) {
        return FrameStatus::CUT;
    }
    kind = frameHead[0];
    const uint32_t length = readU32(frameHead + 1);
    if (length > c_maxFrameBytes) {
        return FrameStatus::DAMAGED;
    }
    // Checked against what the file holds before anything is allocated.
    if (length > size - offset - c_frameHeadSize - c_frameTailSize) {
        return FrameStatus::CUT;
    }
    m_frame.resize(c_frameHeadSize + length + c_frameTailSize);
    std::memcpy(m_frame.data(), frameHead, c_frameHeadSize);
    if (!m_source->read(offset + c_frameHeadSize, m_frame.data() + c_frameHeadSize,
                        length + c_frameTailSize)) {
        return FrameStatus::CUT;
    }
    const size_t checked = c_frameHeadSize + length;
    if (crcUpdate(0, m_frame.data(), checked) != readU32(m_frame.data() + checked)) {
        return FrameStatus::DAMAGED;
    }
    return FrameStatus::WHOLE;
}

bool ResultFileReader::scanFrames_i(ResultHead& head, std::string& error) {
    const uint64_t size = m_source->size();
    uint64_t offset = c_prefixSize;
    uint8_t kind = 0;
    const FrameStatus first = loadFrame_i(offset, kind);
    if (first != FrameStatus::WHOLE || kind != c_kindHead) {
        error = first == FrameStatus::CUT ? "the file is cut short" : "the metadata is damaged";
        return false;
    }
    const uint32_t headLength = readU32(m_frame.data() + 1);
    if (!parseHead(m_frame.data() + c_frameHeadSize, headLength, m_version, head, error)) {
        return false;
    }
    offset += m_frame.size();
    m_offset = offset;
    m_end = offset;
    uint64_t frames = 0;
    uint64_t records = 0;
    uint64_t latest = 0;
    bool ended = false;
    std::string problem;
    pwr::SystemMetadata* sys = head.system();
    while (offset < size) {
        const FrameStatus status = loadFrame_i(offset, kind);
        if (status != FrameStatus::WHOLE) {
            if (ended) {
                // Even a few bytes after the end are not the collection's.
                problem = "the file goes on after the end of its collection, at byte " +
                          std::to_string(offset);
            } else if (status == FrameStatus::DAMAGED) {
                problem = "the file is damaged at byte " + std::to_string(offset);
            }
            break;
        }
        const uint8_t* body = m_frame.data() + c_frameHeadSize;
        const size_t length = m_frame.size() - c_frameHeadSize - c_frameTailSize;
        if (ended) {
            problem = "the file goes on after the end of its collection, at byte " +
                      std::to_string(offset);
            break;
        }
        if (kind == c_kindSamples) {
            uint64_t count = 0;
            uint64_t newest = 0;
            if (length < c_samplesPrefix ||
                !walkRecords(body + c_samplesPrefix, length - c_samplesPrefix, count, newest) ||
                count != readU32(body + 8)) {
                problem = "the file is damaged at byte " + std::to_string(offset);
                break;
            }
            latest = std::max(latest, readU64(body));
            records += readU32(body + 8);
            ++frames;
            offset += m_frame.size();
            m_end = offset;
            continue;
        }
        if (kind == c_kindEnd) {
            pwr::Serializer ser(std::vector<char>(body, body + length));
            uint32_t type = 0;
            std::unique_ptr<pwr::Metadata> record;
            if (ser.read(type) != 0 && type == pwr::Metadata::c_systemMetadataType) {
                ser.rewind_read(sizeof type);
                record.reset(pwr::Metadata::deserialize(ser, m_version));
            }
            uint64_t endFrames = 0;
            uint64_t endRecords = 0;
            auto* final = dynamic_cast<pwr::SystemMetadata*>(record.get());
            // The option list is optional: an END frame may stop after its
            // counts.
            std::vector<std::pair<std::string, std::string>> endOptions;
            uint16_t optionCount = 0;
            bool optionsOk = true;
            const bool countsOk =
                final != nullptr && ser.read(endFrames) != 0 && ser.read(endRecords) != 0;
            if (countsOk && ser.read(optionCount) != 0) {
                for (uint16_t i = 0; i < optionCount && optionsOk; ++i) {
                    std::pair<std::string, std::string> option;
                    optionsOk = ser.read(option.first) != 0 && ser.read(option.second) != 0;
                    endOptions.push_back(std::move(option));
                }
            }
            uint8_t extra = 0;
            if (!countsOk || !optionsOk || ser.read(extra) != 0) {
                problem = "the end of the collection is damaged, at byte " + std::to_string(offset);
                break;
            }
            if (endFrames != frames || endRecords != records) {
                problem = "the file holds " + std::to_string(records) + " of its " +
                          std::to_string(endRecords) + " sample records";
                break;
            }
            head.metadata[0] = std::move(record);
            sys = head.system();
            for (auto& option : endOptions) {
                head.options.push_back(std::move(option));
            }
            ended = true;
            offset += m_frame.size();
            continue;
        }
        problem = "the file is damaged at byte " + std::to_string(offset);
        break;
    }
    m_frame.clear();
    head.sampleRecords = records;
    if (ended && problem.empty()) {
        return true;
    }
    if (ended) {
        // The collection is whole; what follows its end is left out.
        head.recoveryNote = problem + "; it was left out";
        return true;
    }
    head.complete = false;
    endAt(*sys, latest);
    const std::string recovered = formatSeconds1(collectionSeconds(*sys, latest)) + " s";
    head.recoveryNote = problem.empty()
                            ? "recovered " + recovered + " of a collection that did not finish"
                            : problem + "; recovered " + recovered + " of the collection";
    return true;
}

void ResultFileReader::scanRecords_i(ResultHead& head) {
    const uint64_t size = m_source->size();
    uint64_t offset = m_offset;
    uint64_t latest = 0;
    uint64_t records = 0;
    std::string problem;
    vexa_driver_msg msg;
    while (offset < size) {
        bool cut = false;
        if (!readRecordV1_i(offset, size, msg, cut)) {
            problem =
                std::string(cut ? "the file is cut at byte " : "the file is damaged at byte ") +
                std::to_string(offset);
            break;
        }
        latest = std::max(latest, msg.timestamp);
        ++records;
        offset += m_bytes.size();
    }
    m_end = offset;
    head.sampleRecords = records;
    pwr::SystemMetadata* sys = head.system();
    // A first-format file has no end mark: its readings must reach its
    // recorded stop (the END readings are taken just before it), give or
    // take two polls.
    const double missing = collectionSeconds(*sys, sys->stopTsc) - collectionSeconds(*sys, latest);
    const double slack = 2.0 * sys->pollingIntervalMsecs / 1000.0;
    if (problem.empty() && (records == 0 || missing <= slack)) {
        return;
    }
    const std::string planned = formatSeconds1(collectionSeconds(*sys, sys->stopTsc));
    const std::string there = formatSeconds1(collectionSeconds(*sys, latest));
    if (problem.empty()) {
        problem = "the file is cut";
    }
    head.complete = false;
    head.recoveryNote = problem + "; it holds " + there + " s of a " + planned + " s collection";
    endAt(*sys, latest);
}

bool ResultFileReader::readRecordV1_i(uint64_t offset, uint64_t end, vexa_driver_msg& msg,
                                      bool& cut) {
    uint8_t lengthBytes[4];
    cut = true;
    if (offset > end || end - offset < 4 || !m_source->read(offset, lengthBytes, 4)) {
        return false;
    }
    // Checked against what is left before anything is allocated.
    const uint32_t length = readU32(lengthBytes);
    if (length > end - offset - 4 || length > c_maxFrameBytes) {
        return false;
    }
    cut = false;
    m_bytes.resize(4 + static_cast<size_t>(length));
    std::memcpy(m_bytes.data(), lengthBytes, 4);
    size_t at = 0;
    return m_source->read(offset + 4, m_bytes.data() + 4, length) &&
           pwr::readDriverMessage(m_bytes.data(), m_bytes.size(), at, msg) && at == m_bytes.size();
}

bool ResultFileReader::next(vexa_driver_msg& msg, std::string& error) {
    error.clear();
    if (!m_source) {
        return false;
    }
    if (m_version < 2) {
        if (m_offset >= m_end) {
            return false;
        }
        bool cut = false;
        if (!readRecordV1_i(m_offset, m_end, msg, cut)) {
            error = "damaged sample record at byte " + std::to_string(m_offset);
            return false;
        }
        m_offset += m_bytes.size();
        return true;
    }
    for (;;) {
        const size_t bodyEnd = m_frame.empty() ? 0 : m_frame.size() - c_frameTailSize;
        if (m_frameAt < bodyEnd) {
            const size_t before = m_frameAt;
            if (!pwr::readDriverMessage(m_frame.data(), bodyEnd, m_frameAt, msg)) {
                error = "damaged sample record in the frame before byte " +
                        std::to_string(m_offset) + " (record at " + std::to_string(before) + ")";
                m_frame.clear();
                m_offset = m_end;
                return false;
            }
            return true;
        }
        if (m_offset >= m_end) {
            m_frame.clear();
            return false;
        }
        uint8_t kind = 0;
        if (loadFrame_i(m_offset, kind) != FrameStatus::WHOLE) {
            error = "the file changed while it was read, at byte " + std::to_string(m_offset);
            m_frame.clear();
            return false;
        }
        m_offset += m_frame.size();
        m_frameAt = c_frameHeadSize + c_samplesPrefix;
        if (kind != c_kindSamples) {
            m_frame.clear();
        }
    }
}

// ---------------------------------------------------------------------------
// ResultFileWriter

ResultFileWriter::ResultFileWriter() = default;

ResultFileWriter::~ResultFileWriter() {
    // Once the head is there the file holds a collection: whatever ends the
    // writer keeps it. Before that it is removed.
    if (m_headWritten) {
        keep();
    } else {
        abandon();
    }
}

bool ResultFileWriter::create(const std::string& path, std::string& error) {
    abandon();
    m_frames = 0;
    m_records = 0;
    m_headWritten = false;
    if (!m_file.create(path, partialFileSuffix(), error)) {
        return false;
    }
    m_partial = m_file.tempPath();
    return true;
}

bool ResultFileWriter::writeHead(const std::vector<const pwr::Metadata*>& metadata,
                                 const std::vector<FeatureRecord>& features,
                                 const std::vector<std::pair<std::string, std::string>>& options,
                                 std::string& error) {
    const std::vector<char> bytes = encodeResultHead(metadata, features, options);
    if (!m_file.write(bytes.data(), bytes.size(), error) || !m_file.sync(error)) {
        return false;
    }
    m_lastSyncMs = steadyMs();
    m_headWritten = true;
    return true;
}

bool ResultFileWriter::appendSamples(const uint8_t* data, size_t size, std::string& error) {
    if (size == 0) {
        return true;
    }
    if (!encodeSamplesFrame(data, size, m_frame)) {
        error = "cannot write " + m_partial + ": a collector handed over damaged records";
        return false;
    }
    if (!m_file.write(m_frame.data(), m_frame.size(), error) || !m_file.flush(error)) {
        return false;
    }
    ++m_frames;
    m_records += readU32(reinterpret_cast<const uint8_t*>(m_frame.data()) + c_frameHeadSize + 8);
    const uint64_t now = steadyMs();
    if (now - m_lastSyncMs >= c_syncEveryMs) {
        if (!m_file.sync(error)) {
            return false;
        }
        m_lastSyncMs = now;
    }
    return true;
}

bool ResultFileWriter::finish(const pwr::SystemMetadata& system,
                              const std::vector<std::pair<std::string, std::string>>& endOptions,
                              std::string& error) {
    const std::vector<char> end = encodeEndFrame(system, m_frames, m_records, endOptions);
    if (!m_file.write(end.data(), end.size(), error) || !m_file.commit(error)) {
        return false;
    }
    m_partial.clear();
    m_headWritten = false;
    return true;
}

void ResultFileWriter::keep() {
    m_file.keep();
    m_headWritten = false;
}

void ResultFileWriter::abandon() {
    m_file.discard();
    m_partial.clear();
    m_headWritten = false;
}

}  // namespace vantry
