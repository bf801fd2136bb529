// Metadata: the base of the records that describe a collection in a result
// file (the system record, message, metric, operation and collector records).
//
// Framing. Every record starts with its kind's type code as an unsigned 32-bit
// number, followed by the kind's body. Metadata::serialize writes the code and
// then the body (serialize_i); Metadata::deserialize reads the code, creates
// the matching kind and lets it read its body (deserialize_i). A reader can so
// restore a list of records of mixed kinds, one after the other.
//
// Type codes (part of the file format):
//   0 MsgMetadata, 1 MetricMetadata, 2 SystemMetadata, 3 OperationMetadata,
//   4 CollectorMetadata.
//
// Versions. deserialize passes on the format version of the file being read;
// a kind whose layout changed between versions reads according to it. Bodies
// only ever grow at their end, so a newer reader accepts an older record
// that stops after its mandatory fields.
//
// Robustness. Readers treat the bytes as untrusted: they fail with -1 (null
// from deserialize) on anything cut short or malformed, never read outside
// the buffer, allocate in proportion to the bytes actually present and do not
// nest records more than one level deep.
//
// Ownership: deserialize returns a new object that the caller deletes.
// Threads: no locking; a record is built or read on one thread and may then be
// read from several.
#pragma once

#include <cstddef>
#include <cstdint>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "common/runtime/Export.h"

namespace pwr {

class Serializer;

class PWR_API Metadata {
  public:
    static constexpr uint32_t c_msgMetadataType = 0;
    static constexpr uint32_t c_metricMetadataType = 1;
    static constexpr uint32_t c_systemMetadataType = 2;
    static constexpr uint32_t c_operationMetadataType = 3;
    static constexpr uint32_t c_collectorMetadataType = 4;

    // The largest number of entries a 16-bit count field can announce.
    static constexpr size_t c_maxCount = 0xFFFF;

    virtual ~Metadata();

    // The kind's type code.
    uint32_t getType() const { return m_metadataDataType; }
    // The plug-in the record belongs to; -1 for kinds without one.
    virtual int getPluginID() const;

    // Writes the type code, then the body.
    void serialize(Serializer& ser) const;
    // Reads one framed record. Returns a new record, or null when the type
    // code is missing, unknown (reported on standard error) or the body
    // cannot be read.
    static Metadata* deserialize(Serializer& ser, unsigned version);

  protected:
    explicit Metadata(uint32_t type) : m_metadataDataType(type) {}
    Metadata(const Metadata&) = default;
    Metadata& operator=(const Metadata&) = default;

    virtual void serialize_i(Serializer& ser) const = 0;
    // Reads the body into this object. Returns 0, or -1 when the body is not
    // readable; the kinds of this folder then leave the object unchanged.
    virtual int deserialize_i(Serializer& ser, unsigned version) = 0;

    // Count fields hold 16 bits: a collection with more entries has only its
    // first c_maxCount written (with a warning), so that the record stays
    // readable.
    static uint16_t writableCount_i(size_t count);
    // A 16-bit count, then the strings (in the set's order).
    static void writeStrings_i(Serializer& ser, const std::set<std::string>& strings);
    // A 16-bit count, then key and value of each pair.
    static void writePairs_i(Serializer& ser,
                             const std::vector<std::pair<std::string, std::string>>& pairs);
    // Reads what writeStrings_i wrote into out (replaced only on success).
    // Every string is mandatory. Returns 0 or -1.
    static int readStrings_i(Serializer& ser, std::set<std::string>& out);
    // Reads what writePairs_i wrote into out (replaced only on success). A
    // missing count, key or value is reported naming the record kind
    // ("metric", "collector"). Returns 0 or -1.
    static int readPairs_i(Serializer& ser, std::vector<std::pair<std::string, std::string>>& out,
                           const char* kind);

  private:
    // A new, empty record of this kind, or null for an unknown code.
    static Metadata* create_i(uint32_t type);

    uint32_t m_metadataDataType;
};

}  // namespace pwr
