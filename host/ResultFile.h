// ResultFile: the file a collection leaves behind, "<output>.vtr", from which
// every report is made (right after the collection and later with -i).
//
// Format 2 (written by this host) is a stream of self-delimiting, checked
// frames, written as the collection goes, so that whatever reached the disk
// before a kill, a crash, a full disk or a power cut can be read back:
//
//   4 bytes   magic "VTRF"
//   u32       format version (2)
//   frames:   u8 kind, u32 body length, body, u32 CRC-32 (IEEE) of the kind,
//             length and body bytes
//
//   kind 1, HEAD (first, once): u32 record count, the framed metadata records
//             (Metadata::serialize: a 32-bit type code and the body; the
//             system record first, as it stood when the collection started,
//             then message, metric and collector records); u16 feature
//             count, per feature: name, capability prefix, u16 message count
//             and the messages' full names; u16 option count, per option:
//             name and value.
//   kind 2, SAMPLES (one per poll): u64 latest timestamp of its records,
//             u32 record count, the collectors' records in the order they
//             were drained, each in the wire form of DriverMessage.h.
//   kind 3, END (last, once): the final system record (stop instants and
//             sample counts) as one framed metadata record, then u64 SAMPLES
//             frame count and u64 sample record count of the whole file, so
//             that a file cut at a frame boundary is known to be cut; then
//             u16 option count and the options known only at the end (the
//             -p program's exit status), which readers add to the head's.
//   Kinds 4 and up are reserved for later sample encodings; a format that
//   uses them has a higher version.
//
// A file without its END frame is a collection that did not finish: the
// reader hands over every complete SAMPLES frame and says how much it
// recovered. Format 1 (the first release: one head, then bare sample records
// up to the end of the file) is still read.
//
// The writer creates "<output>.vtr.<unique>.partial" exclusively in the
// output folder, appends one frame per poll, hands it to the system at once
// and syncs it to the disk at least once a second, and renames the file to
// "<output>.vtr" after its END frame: no step copies the collection.
//
// The readers treat the bytes as untrusted: no length or count makes them
// allocate more than the bytes left in the file (nor more than a frame's
// limit), damaged input is refused or cut off with a one-line reason, and
// nothing is read outside its bounds.
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
#include "common/runtime/FileOps.h"
#include "common/serialize/Metadata.h"
#include "common/serialize/SystemMetadata.h"

namespace vantry {

// The version this host writes; it reads this one and every older one.
uint32_t resultFormatVersion();
// The file name extension, with its dot.
const char* resultFileExtension();
// The suffix of a collection still being written ("<output>.vtr.<unique>"
// comes before it).
const char* partialFileSuffix();
// The output stem a result file name stands for: "run" for "run.vtr" and for
// "run.vtr.<unique>.partial"; other names are kept whole.
std::string resultStem(const std::string& path);

// Seconds of the collection from its start to a timestamp of the default
// clock (0 before the start or without a clock frequency), and such a
// duration as the messages show it ("41.2").
double collectionSeconds(const pwr::SystemMetadata& sys, uint64_t timestamp);
std::string formatSeconds1(double seconds);

// The largest frame a reader accepts; a length beyond it is damage.
constexpr uint32_t c_maxFrameBytes = 64u * 1024u * 1024u;

// One feature of the collection: what the user selected and which messages
// were collected for it.
struct FeatureRecord {
    std::string name;
    std::string prefix;
    std::vector<std::string> messages;
};

// Everything before the samples, and what the reader learnt of the file's
// end.
struct ResultHead {
    uint32_t formatVersion = 0;
    std::vector<std::unique_ptr<pwr::Metadata>> metadata;
    std::vector<FeatureRecord> features;
    std::vector<std::pair<std::string, std::string>> options;

    // False when the file does not hold the whole collection (no END frame,
    // a damaged frame, or a format-1 file whose readings end well before its
    // recorded stop). The system record's stop instants then mark the last
    // reading that is there.
    bool complete = true;
    // Why the file is not complete, without the file's name: "recovered
    // 41.2 s of a collection that did not finish".
    std::string recoveryNote;
    // Sample records in the readable part of the file.
    uint64_t sampleRecords = 0;

    // The system record (the first record of a readable file), or null.
    pwr::SystemMetadata* system() const;
    // The metadata records as plain pointers, for the plug-in calls.
    std::vector<const pwr::Metadata*> metadataPointers() const;
};

// Called for every sample record in file order; returning false stops the
// reading (which then succeeds with what was read).
using SampleVisitor = std::function<bool(const vexa_driver_msg&)>;

// The body of a HEAD frame (also the head of a format-1 file after its
// 12-byte prefix). Empty strings and values with more than 65,535 entries
// are left out (the encoding cannot carry them).
std::vector<char> encodeHeadBody(const std::vector<const pwr::Metadata*>& metadata,
                                 const std::vector<FeatureRecord>& features,
                                 const std::vector<std::pair<std::string, std::string>>& options);
// A whole frame of the given kind around body.
std::vector<char> encodeFrame(uint8_t kind, const std::vector<char>& body);
// The file's first bytes: the prefix and the HEAD frame.
std::vector<char> encodeResultHead(const std::vector<const pwr::Metadata*>& metadata,
                                   const std::vector<FeatureRecord>& features,
                                   const std::vector<std::pair<std::string, std::string>>& options);
// A SAMPLES frame holding the records in bytes (driver wire form). False when
// bytes are not whole records.
bool encodeSamplesFrame(const uint8_t* bytes, size_t size, std::vector<char>& frame);
// The END frame.
std::vector<char> encodeEndFrame(
    const pwr::SystemMetadata& system, uint64_t sampleFrames, uint64_t sampleRecords,
    const std::vector<std::pair<std::string, std::string>>& options = {});

// Reads a result file held in memory: the head into head and each sample
// through visit (may be empty). False, with a one-line reason in error, when
// the bytes are not a readable result file. A file that is readable but not
// complete succeeds, with head.complete false.
bool parseResultBuffer(const uint8_t* data, size_t size, ResultHead& head,
                       const SampleVisitor& visit, std::string& error);

// The same from a file, reading the samples one record at a time.
bool readResultFile(const std::string& path, ResultHead& head, const SampleVisitor& visit,
                    std::string& error);

// Reads a result file step by step: the head (and the file's end) first,
// then one sample record per call, so that the caller can prepare between
// the two.
class ResultFileReader {
  public:
    ResultFileReader();
    ~ResultFileReader();
    ResultFileReader(const ResultFileReader&) = delete;
    ResultFileReader& operator=(const ResultFileReader&) = delete;

    // Opens path (a regular file only) and reads its head and end. False,
    // with the reason in error, when the file cannot be opened or its head is
    // damaged.
    bool open(const std::string& path, ResultHead& head, std::string& error);
    // The same on bytes in memory, which must outlive the reader.
    bool openBuffer(const uint8_t* data, size_t size, ResultHead& head, std::string& error);
    // The next sample record into msg. False at the end of the readable part
    // (error empty) or on a damaged record (error set).
    bool next(vexa_driver_msg& msg, std::string& error);

    class Source;

  private:
    bool start_i(ResultHead& head, std::string& error);
    bool scanFrames_i(ResultHead& head, std::string& error);
    void scanRecords_i(ResultHead& head);
    // Reads the frame at offset into m_frame and checks its CRC.
    enum class FrameStatus { WHOLE, CUT, DAMAGED };
    FrameStatus loadFrame_i(uint64_t offset, uint8_t& kind);
    // Format 1: the record at offset into msg (its bytes in m_bytes); cut
    // tells a record that runs past end from a damaged one.
    bool readRecordV1_i(uint64_t offset, uint64_t end, vexa_driver_msg& msg, bool& cut);

    std::unique_ptr<Source> m_source;
    uint32_t m_version = 0;
    // Where the samples start and where the readable part ends.
    uint64_t m_offset = 0;
    uint64_t m_end = 0;
    // Format 2: the SAMPLES frame being handed out, and the read position in
    // it.
    std::vector<uint8_t> m_frame;
    size_t m_frameAt = 0;
    std::vector<uint8_t> m_bytes;
};

class ResultFileWriter {
  public:
    ResultFileWriter();
    ~ResultFileWriter();
    ResultFileWriter(const ResultFileWriter&) = delete;
    ResultFileWriter& operator=(const ResultFileWriter&) = delete;

    // Creates the collection's file under its unfinished name beside path
    // (".vtr" included). Nothing is written under path until finish().
    bool create(const std::string& path, std::string& error);
    // Writes the HEAD frame and hands it to the system.
    bool writeHead(const std::vector<const pwr::Metadata*>& metadata,
                   const std::vector<FeatureRecord>& features,
                   const std::vector<std::pair<std::string, std::string>>& options,
                   std::string& error);
    // Appends one poll's sample records (driver wire form) as one SAMPLES
    // frame, hands it to the system, and syncs the file when the last sync
    // is a second old.
    bool appendSamples(const uint8_t* data, size_t size, std::string& error);
    uint64_t sampleRecords() const { return m_records; }
    // Writes the END frame (with the options known only at the end), syncs
    // the file and renames it to its name.
    bool finish(const pwr::SystemMetadata& system,
                const std::vector<std::pair<std::string, std::string>>& endOptions,
                std::string& error);
    bool finish(const pwr::SystemMetadata& system, std::string& error) {
        return finish(system, {}, error);
    }
    // Stops writing and keeps what was written under the unfinished name,
    // which -i reads.
    void keep();
    // Removes what was written; the file's name is left untouched.
    void abandon();
    const std::string& partialPath() const { return m_partial; }

  private:
    pwr::NewFile m_file;
    std::string m_partial;
    uint64_t m_frames = 0;
    uint64_t m_records = 0;
    uint64_t m_lastSyncMs = 0;
    bool m_headWritten = false;
    std::vector<char> m_frame;
};

}  // namespace vantry
