// ResultFile: the file a collection leaves behind, "<output>.vtr", from which
// every report is made (right after the collection and later with -i).
//
// Layout (the serializer's encoding: little-endian, strings as a 16-bit
// length and their bytes, never empty):
//
//   4 bytes   magic "VTRF"
//   u32       format version (resultFormatVersion())
//   u32       length of the head that follows, in bytes
//   head:     u32 record count, then the framed metadata records
//             (Metadata::serialize: a 32-bit type code and the body); the
//             system record comes first, then message, metric and collector
//             records;
//             u16 feature count, per feature: name, capability prefix,
//             u16 message count and the messages' full names;
//             u16 option count, per option: name and value
//   samples:  the collectors' records in the order they were drained, each
//             in the wire form of DriverMessage.h (u32 length, body), up to
//             the end of the file.
//
// The writer streams the samples to a side file while collecting, so that
// memory stays flat however long the collection runs, and composes the final
// file under a temporary name that it renames only once it is complete: a
// file called "<output>.vtr" is always whole.
//
// The readers treat the bytes as untrusted: damaged or cut input is refused
// with a one-line reason and never read outside its bounds.
//
// Not thread-safe; one writer or reader per file.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "common/plugins/DriverMessage.h"
#include "common/serialize/Metadata.h"
#include "common/serialize/SystemMetadata.h"

namespace vantry {

// The version this host writes; it reads this one and every older one.
uint32_t resultFormatVersion();
// The file name extension, with its dot.
const char* resultFileExtension();

// One feature of the collection: what the user selected and which messages
// were collected for it.
struct FeatureRecord {
    std::string name;
    std::string prefix;
    std::vector<std::string> messages;
};

// Everything before the samples.
struct ResultHead {
    uint32_t formatVersion = 0;
    std::vector<std::unique_ptr<pwr::Metadata>> metadata;
    std::vector<FeatureRecord> features;
    std::vector<std::pair<std::string, std::string>> options;

    // The system record (the first record of a readable file), or null.
    pwr::SystemMetadata* system() const;
    // The metadata records as plain pointers, for the plug-in calls.
    std::vector<const pwr::Metadata*> metadataPointers() const;
};

// Called for every sample record in file order; returning false stops the
// reading (which then succeeds with what was read).
using SampleVisitor = std::function<bool(const vexa_driver_msg&)>;

// The file's first bytes up to and including the head, as finish() writes
// them. Empty strings and values with more than 65,535 entries are left out
// (the encoding cannot carry them).
std::vector<char> encodeResultHead(const std::vector<const pwr::Metadata*>& metadata,
                                   const std::vector<FeatureRecord>& features,
                                   const std::vector<std::pair<std::string, std::string>>& options);

// Reads a whole result file held in memory: the head into head and each
// sample through visit (may be empty). False, with a one-line reason in
// error, when the bytes are not a complete, well-formed result file.
bool parseResultBuffer(const uint8_t* data, size_t size, ResultHead& head,
                       const SampleVisitor& visit, std::string& error);

// The same from a file, reading the samples one record at a time.
bool readResultFile(const std::string& path, ResultHead& head, const SampleVisitor& visit,
                    std::string& error);

// Reads a result file step by step: the head first, then one sample record
// per call, so that the caller can prepare between the two.
class ResultFileReader {
  public:
    ResultFileReader() = default;
    ~ResultFileReader();
    ResultFileReader(const ResultFileReader&) = delete;
    ResultFileReader& operator=(const ResultFileReader&) = delete;

    // Opens path and reads its head. False, with the reason in error, when
    // the file cannot be opened or its head is damaged.
    bool open(const std::string& path, ResultHead& head, std::string& error);
    // The next sample record into msg. False at the end of the file (error
    // empty) or on a damaged record (error set).
    bool next(vexa_driver_msg& msg, std::string& error);

  private:
    FILE* m_file = nullptr;
    uint64_t m_fileSize = 0;
    uint64_t m_offset = 0;
    std::vector<uint8_t> m_bytes;
};

class ResultFileWriter {
  public:
    ResultFileWriter() = default;
    ~ResultFileWriter();
    ResultFileWriter(const ResultFileWriter&) = delete;
    ResultFileWriter& operator=(const ResultFileWriter&) = delete;

    // Starts a collection whose file will be path (".vtr" included). Nothing
    // is written under that name until finish().
    bool open(const std::string& path, std::string& error);
    // Appends bytes of sample records, as a collector drained them.
    bool appendSamples(const uint8_t* data, size_t size, std::string& error);
    uint64_t sampleBytes() const { return m_sampleBytes; }
    // Writes the head and the samples under a temporary name and renames it
    // to the file's name. The side file is removed either way.
    bool finish(const std::vector<const pwr::Metadata*>& metadata,
                const std::vector<FeatureRecord>& features,
                const std::vector<std::pair<std::string, std::string>>& options,
                std::string& error);
    // Removes what was written; the file's name is left untouched.
    void abandon();

  private:
    std::string m_path;
    std::string m_samplesPath;
    FILE* m_samples = nullptr;
    uint64_t m_sampleBytes = 0;
};

}  // namespace vantry
