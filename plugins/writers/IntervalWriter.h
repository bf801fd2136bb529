// IntervalWriter: the "int" writer: the data points of every metric over
// time, as they complete during post-processing, into one CSV file,
// "<prefix>_int.csv" (one file for all containers, so that a spreadsheet or
// a script filters by the columns rather than juggling files).
//
// Records (RFC 4180 fields, CR LF ends, as the "csv" writer):
//   Time (s),Feature,Container,Entity,Descriptor,Value
// one per element of each data point:
// - Time (s): seconds, with six decimals, from the start of the collection
//   (the system record's start timestamp, where the first readings are
//   taken) to the point. Points of different metrics complete out of order,
//   so one fixed origin keeps all times comparable. A record without a start
//   timestamp measures from the first point this writer received. The
//   timestamp clock's frequency comes from the system record, else from the
//   environment's default clock; without either the field is empty.
// - Feature and Container: the metric's feature tag and container tag.
// - Entity: the entity's qualified name ("CPU/Package 0/Core 1").
// - Descriptor: the state or event the value is about; empty without one.
// - Value: the value as its formatter renders it, padding trimmed.
//
// The file is opened with the first data point; when it cannot be, the
// writer reports it once and writes nothing more.
#pragma once

#include <cstdint>
#include <deque>
#include <string>

#include "common/plugins/WriterPlugin.h"
#include "plugins/writers/ResultFile.h"

namespace vantry::writers {

class IntervalWriter : public WriterPlugin {
  public:
    IntervalWriter();
    ~IntervalWriter() override;

    using WriterPlugin::writeMessage;
    int writeMessage(const pwr::Metric& metric) override;

    pwr::ResetReturnCode reset(pwr::ResetReason reason, uint64_t ts,
                               const pwr::SystemMetadata& sys) override;
    int flushContinuousResults(const pwr::SystemMetadata& sys) override;
    void cleanup() override;
    // This writer renders no tables; these give the "csv" writer's forms.
    int getColumnTitles(const pwr::TableMessage& table,
                        std::deque<std::string>& out) const override;
    int getRowValues(const pwr::TableMessage& table, std::deque<std::string>& out) const override;

  private:
    ResultFile m_file;
    bool m_cleanedUp = false;
    bool m_haveOrigin = false;
    uint64_t m_origin = 0;
    std::string m_buffer;
};

}  // namespace vantry::writers
