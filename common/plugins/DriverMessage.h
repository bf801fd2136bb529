// vexa_driver_msg: one reading as a collector plug-in hands it over. A
// collector reads a source when the host asks it (doImmediateRead with the
// full name of the input message as the target), stamps the reading with the
// host's default clock and keeps it until the host drains it with
// getContinuousResult. The host stores the records, in the order it drained
// them, in the result file; post-processing hands each record to the metric
// plug-in whose capability prefix starts the record's message name
// (MetricPlugin::processDriverMessage).
//
// A record is self-describing: the values are name/value text pairs whose
// meaning the collector kind and its SOURCE fix (see the collectors'
// README), so a result file can be post-processed on another machine.
//
// Wire form, appended to a VexaBuffer with the serializer's encoding
// (little-endian, strings as a 16-bit length and the bytes):
//   u32 length of what follows, u64 timestamp, string msgName,
//   string opName, u32 value count, count x (string name, string value).
//
// Plain values; the functions keep no state and are safe on any thread.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "common/runtime/Export.h"

struct vexa_driver_msg {
    // Ticks of the default clock at which the source was read.
    uint64_t timestamp = 0;
    // Full name of the input message the reading belongs to: its capability
    // prefix, "_" and its tag ("CSTATE_RESIDENCY").
    std::string msgName;
    // Name of the operation that read it.
    std::string opName;
    // The readings, in the order the collector produced them.
    std::vector<std::pair<std::string, std::string>> values;
};

namespace pwr {

class VexaBuffer;

// The capability prefix of a message name: the text before the first "_"
// (the whole name when there is none).
PWR_API std::string driverMessagePrefix(const std::string& msgName);

// Appends msg to buffer in the wire form above. False (buffer untouched)
// when a string is longer than 65,535 bytes or the record would exceed
// 4 GiB.
PWR_API bool appendDriverMessage(VexaBuffer& buffer, const vexa_driver_msg& msg);

// Reads the record that starts at offset in the size bytes at data into out
// and moves offset past it. False, with offset and out untouched, when the
// bytes there are not one whole, well-formed record (a truncated or damaged
// buffer).
PWR_API bool readDriverMessage(const uint8_t* data, size_t size, size_t& offset,
                               vexa_driver_msg& out);

}  // namespace pwr
