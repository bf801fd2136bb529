// Accumulator: the per-metric engine that folds the data points of a Metric
// into running statistics and, at the end of a collection, turns them into
// summary tables for the writers.
//
// A Metric owns its accumulators. It calls initialize() once, before the
// first data point, processDataPoint() for every completed data point in
// timestamp order, and generateSummaries() once after the last point. Each
// returns 0 on success; processDataPoint() returns 1 for a refused point.
//
// Statistics are kept per key: (entity id << 32) + descriptor id, or the
// entity id alone when the element has no descriptor (or one with id 0).
// The maps are ordered by key, so per-key output runs by entity id first and
// descriptor id second.
//
// Construction needs the writer stream of the plug-in environment and throws
// std::runtime_error("ERROR: Writer stream is not initialized") without one.
// The writer stream is borrowed; the sample counter (when SAMPLE-COUNT is
// requested) is owned and cloned on copy.
//
// Not thread-safe: one thread feeds a metric and its accumulators.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "common/data/Data.h"
#include "common/runtime/Export.h"

class WriterStream;

namespace pwr {

class DataElement;
class DataHandle;
class EntityHandle;
class Formatter;
class Metric;
class SampleCountSummarizer;
class SystemMetadata;
class TableMessage;
class TextNotes;
struct AccumulatorShared;

class PWR_API Accumulator {
  public:
    Accumulator();
    Accumulator(const Accumulator& other);
    Accumulator& operator=(const Accumulator& other);
    virtual ~Accumulator();

    // Reads the timestamp frequency, builds the unit suffix from the metric's
    // quantity and initialises the sample counter. Returns 0.
    virtual int initialize(const Metric& metric, const SystemMetadata& system);
    // Builds and pushes the tables of every requested summary, in order.
    virtual int generateSummaries(const Metric& metric) = 0;
    // Folds the metric's current data point into the statistics.
    virtual int processDataPoint(const Metric& metric) = 0;

    // The statistics key of an element (see the top of this file).
    static uint64_t makeKey(const DataElement& element);
    // The key of an entity id and a descriptor id (0: no descriptor).
    static uint64_t makeKey(uint64_t entityId, uint64_t descriptorId);
    // Entity id alone, whatever the descriptor.
    static uint64_t makeEntityKey(const DataElement& element);
    // A non-negative double as an unsigned 64-bit integer, exact also at and
    // above 2^63 (where a plain conversion through int64 would overflow).
    // Negative values and NaN give 0; values beyond the range give the
    // largest value.
    static uint64_t toUnsigned64(double value);
    // The unsigned value as a double, exact to double precision also at and
    // above 2^63.
    static double toDouble(uint64_t value);

    const std::string& getUnitSuffix() const { return m_unitSuffix; }
    double getTimestampFrequency() const { return m_timestampFreq; }
    bool isSummaryEnabled() const { return m_summaryEnabled; }

  protected:
    // Creates the sample counter; the kinds call this when SAMPLE-COUNT is
    // requested.
    void enableSampleCount_i();
    // Takes note of the requested summaries: the sample counter when
    // sampleCount is among them, summaries on when there is any.
    template <typename Summary>
    void requestSummaries_i(const std::vector<Summary>& summaries, Summary sampleCount) {
        for (const Summary& s : summaries) {
            if (s == sampleCount) {
                enableSampleCount_i();
                break;
            }
        }
        m_summaryEnabled = !summaries.empty();
    }
    // Runs the common start of processDataPoint: the sample counter, then
    // the summary-enabled check. Returns 0 to go on, 1 for a refused point
    // and -1 when the point is to be skipped (returning 0).
    int beginDataPoint_i(const Metric& metric);
    // Builds and pushes the SAMPLE-COUNT table when the counter exists.
    int generateSampleCountSummary_i(const Metric& metric);
    SampleCountSummarizer* getSampleCounter_i() const { return m_sampleCounter.get(); }

    // Table filling, forwarded to the private filling functions of
    // TableMessage (the kinds are not its friends).
    static Data* cellToSet_i(TableMessage& table, const EntityHandle* entity, unsigned int column,
                             const DataHandle*& handle);
    static Data* sharedCellToSet_i(TableMessage& table, unsigned int column);
    static void markValid_i(TableMessage& table, const EntityHandle* entity,
                            const DataHandle* handle);
    // Sets a per-entity cell and marks it valid; 1 when the cell is missing.
    // The cell keeps its column's formatter whatever formatter value holds.
    static int setCell_i(TableMessage& table, const EntityHandle* entity, unsigned int column,
                         const Data& value);
    // Sets a shared cell and marks it valid; 1 when the cell is missing.
    // The table's shared columns must have been added before any other.
    static int setSharedCell_i(TableMessage& table, unsigned int column, const Data& value);

    // Reads the output configuration of (container tag, table type) for a
    // table under construction: TITLE replaces defaultTitle, PRE-TABLE-TEXT
    // and POST-TABLE-TEXT go to notes, TRANSPOSE comes back in transpose (a
    // TableMessage cannot carry it, so writers read it from the
    // configuration themselves). Logs the INFO line when there is no entry.
    // Returns false when the configuration hides the table (it is then not
    // built or pushed).
    bool applyOutputConfig_i(const Metric& metric, const char* tableType,
                             const std::string& defaultTitle, std::string& title, TextNotes& notes,
                             bool& transpose) const;
    // Marks table a summary, transposed when the configuration says so, and
    // pushes it to the writers.
    int pushTable_i(TableMessage& table, bool transposed) const;
    // One row of a residency table: an entity, its total duration and the
    // ticks spent per state (descriptor id), in order of first appearance.
    struct ResidencyRow {
        const EntityHandle* entity = nullptr;
        double totalDuration = 0.0;
        std::vector<std::pair<uint64_t, double>> states;
    };
    // Builds and pushes a residency table (RESIDENCY-PERCENTAGE,
    // -MILLISECOND or -COMBINED): one row per entity, per state a percentage
    // and/or a millisecond column. invalidDescriptor is the warning logged
    // for a state whose descriptor cannot be resolved.
    int residencyTable_i(const Metric& metric, const char* keyword, bool percent, bool millisecond,
                         const std::vector<ResidencyRow>& rows,
                         const char* invalidDescriptor) const;
    // Column formatters shared by all accumulators.
    const Formatter& percentFormatter_i() const;
    const Formatter& millisecondFormatter_i() const;
    // Average rates: three significant digits, so small rates still show.
    const Formatter& rateFormatter_i() const;

    WriterStream* m_writerStream;
    AccumulatorShared* m_shared;
    std::unique_ptr<SampleCountSummarizer> m_sampleCounter;
    uint8_t m_inputType;
    std::string m_unitSuffix;
    double m_timestampFreq;
    bool m_summaryEnabled;
};

}  // namespace pwr
