#include "common/metrics/Accumulator.h"

#include <map>
#include <memory>
#include <stdexcept>

#include "common/config/TableInfo.h"
#include "common/config/WriterInterfaceConfigFileParser.h"
#include "common/data/DataDescriptor.h"
#include "common/data/DataElement.h"
#include "common/data/EntityHandle.h"
#include "common/data/Formatter.h"
#include "common/data/Quantity.h"
#include "common/messages/TableMessage.h"
#include "common/metrics/Metric.h"
#include "common/metrics/SampleCountSummarizer.h"
#include "common/plugins/PluginEnvironment.h"
#include "common/plugins/WriterStream.h"
#include "common/runtime/Log.h"
#include "common/serialize/SystemMetadata.h"

namespace pwr {

namespace {

const double c_two63 = 9223372036854775808.0;   // 2^63
const double c_two64 = 18446744073709551616.0;  // 2^64

// Copies value into cell and gives the cell back its column's formatter:
// Data assignment shares the source's formatter (or none), which would make
// every cell print with the value's formatter instead of its column's.
// A cell takes its value's type: minimum, maximum and total columns are
// typed after one key's input, and a key whose input has another type (one
// entity reporting INT, another UINT) keeps its own type in its cell.
int assignKeepingFormatter(Data& cell, const Data& value) {
    std::unique_ptr<Formatter> column;
    if (const Formatter* own = cell.getCustomFormatter()) {
        column.reset(own->clone());
    }
    cell = value;
    if (column) {
        cell.setCustomFormatter(*column);
    }
    return 0;
}

}  // namespace

// What all accumulators share: the formatters of their summary columns.
// Built by the first accumulator and shared by every later one; immutable.
struct AccumulatorShared {
    AccumulatorShared() : percent(0, 2), milliseconds(0, 3), rate(0, 3) {}
    RealFormatter percent;
    RealFormatter milliseconds;
    SignificantFormatter rate;

    static AccumulatorShared* instance() {
        static AccumulatorShared shared;
        return &shared;
    }
};

Accumulator::Accumulator()
    : m_writerStream(nullptr),
      m_shared(AccumulatorShared::instance()),
      m_inputType(static_cast<uint8_t>(DataType::NONE)),
      m_timestampFreq(0.0),
      m_summaryEnabled(false) {
    PluginEnvironment* env = PluginEnvironment::current();
    void* stream = env == nullptr ? nullptr : env->getWriterStream();
    if (stream == nullptr) {
        throw std::runtime_error("ERROR: Writer stream is not initialized");
    }
    m_writerStream = static_cast<WriterStream*>(stream);
}

Accumulator::Accumulator(const Accumulator& other)
    : m_writerStream(other.m_writerStream),
      m_shared(other.m_shared),
      m_sampleCounter(other.m_sampleCounter ? new SampleCountSummarizer(*other.m_sampleCounter)
                                            : nullptr),
      m_inputType(other.m_inputType),
      m_unitSuffix(other.m_unitSuffix),
      m_timestampFreq(other.m_timestampFreq),
      m_summaryEnabled(other.m_summaryEnabled) {}

Accumulator& Accumulator::operator=(const Accumulator& other) {
    if (this != &other) {
        m_writerStream = other.m_writerStream;
        m_shared = other.m_shared;
        m_sampleCounter.reset(
            other.m_sampleCounter ? new SampleCountSummarizer(*other.m_sampleCounter) : nullptr);
        m_inputType = other.m_inputType;
        m_unitSuffix = other.m_unitSuffix;
        m_timestampFreq = other.m_timestampFreq;
        m_summaryEnabled = other.m_summaryEnabled;
    }
    return *this;
}

Accumulator::~Accumulator() = default;

int Accumulator::initialize(const Metric& metric, const SystemMetadata& system) {
    m_timestampFreq = static_cast<double>(system.clockFreqMHz);
    m_unitSuffix.clear();
    TableMessage::quantityToUnits(metric.getQuantity(), m_unitSuffix, " (", ")");
    if (m_sampleCounter) {
        m_sampleCounter->initialize(metric, system);
    }
    return 0;
}

uint64_t Accumulator::makeKey(const DataElement& element) {
    const DataDescriptor* descriptor = element.getDescriptor();
    return makeKey(makeEntityKey(element), descriptor == nullptr ? 0 : descriptor->getId());
}

uint64_t Accumulator::makeKey(uint64_t entityId, uint64_t descriptorId) {
    return descriptorId == 0 ? entityId : (entityId << 32) + descriptorId;
}

uint64_t Accumulator::makeEntityKey(const DataElement& element) {
    const EntityHandle* entity = element.getEntity();
    return entity == nullptr ? 0 : entity->getId();
}

uint64_t Accumulator::toUnsigned64(double value) {
    if (!(value > 0.0)) {
        return 0;
    }
    if (value >= c_two64) {
        return UINT64_MAX;
    }
    // Converting through the signed range keeps the result exact on every
    // compiler, also those that convert doubles to unsigned via int64.
    if (value >= c_two63) {
        return static_cast<uint64_t>(static_cast<int64_t>(value - c_two63)) + (uint64_t{1} << 63);
    }
    return static_cast<uint64_t>(static_cast<int64_t>(value));
}

double Accumulator::toDouble(uint64_t value) {
    if ((value >> 63) != 0) {
        // Halve with the low bit folded in (round to odd), so the final
        // rounding to double is the correct one.
        return static_cast<double>(static_cast<int64_t>((value >> 1) | (value & 1))) * 2.0;
    }
    return static_cast<double>(static_cast<int64_t>(value));
}

void Accumulator::enableSampleCount_i() {
    m_sampleCounter.reset(new SampleCountSummarizer(false, false, true));
}

int Accumulator::beginDataPoint_i(const Metric& metric) {
    if (m_sampleCounter && m_sampleCounter->processDataPoint(metric) != 0) {
        pwLog(PW_WARNING, "WARNING: Failed to process %s for sample count.\n",
              metric.getName().c_str());
        return 1;
    }
    if (!m_summaryEnabled) {
        pwLog(PW_DEBUG, "DEBUG: %s: No summary or -r int output enabled.\n",
              metric.getName().c_str());
        return -1;
    }
    return 0;
}

int Accumulator::generateSampleCountSummary_i(const Metric& metric) {
    return m_sampleCounter ? m_sampleCounter->generateSummaries(metric) : 0;
}

Data* Accumulator::cellToSet_i(TableMessage& table, const EntityHandle* entity, unsigned int column,
                               const DataHandle*& handle) {
    return table.getDataToSet_i(entity, column, handle);
}

Data* Accumulator::sharedCellToSet_i(TableMessage& table, unsigned int column) {
    return table.getDataToSet_i(column);
}

void Accumulator::markValid_i(TableMessage& table, const EntityHandle* entity,
                              const DataHandle* handle) {
    table.addValidValue_i(entity, handle);
}

int Accumulator::setCell_i(TableMessage& table, const EntityHandle* entity, unsigned int column,
                           const Data& value) {
    const DataHandle* handle = nullptr;
    Data* cell = table.getDataToSet_i(entity, column, handle);
    if (cell == nullptr) {
        return 1;
    }
    const int status = assignKeepingFormatter(*cell, value);
    table.addValidValue_i(entity, handle);
    return status;
}

int Accumulator::setSharedCell_i(TableMessage& table, unsigned int column, const Data& value) {
    Data* cell = table.getDataToSet_i(column);
    if (cell == nullptr) {
        return 1;
    }
    const int status = assignKeepingFormatter(*cell, value);
    if (column < table.getSharedHandleCount()) {
        table.addValidValue_i(nullptr, *(table.sharedHandleBegin() + column));
    }
    return status;
}

bool Accumulator::applyOutputConfig_i(const Metric& metric, const char* tableType,
                                      const std::string& defaultTitle, std::string& title,
                                      TextNotes& notes, bool& transpose) const {
    title = defaultTitle;
    transpose = false;
    TableInfo info;
    const WriterInterfaceConfigFileParser* parser = WriterInterfaceConfigFileParser::instance();
    if (!parser->getTableInfoFor(info, metric.getFeatureTag(), metric.getMetricContainerTag(),
                                 tableType)) {
        pwLog(PW_INFO,
              "INFO: Output config file entry not present for MetricContainer %s and table type "
              "%s.\n",
              metric.getMetricContainerTag().c_str(), tableType);
        return true;
    }
    info.getTableTitle(title);
    std::string text;
    if (info.getPreTableNote(text)) {
        notes.addPreTableNote(text);
    }
    text.clear();
    if (info.getPostTableNote(text)) {
        notes.addPostTableNote(text);
    }
    transpose = info.isTableTransposed();
    return info.isTableDisplayed();
}

int Accumulator::residencyTable_i(const Metric& metric, const char* keyword, bool percent,
                                  bool millisecond, const std::vector<ResidencyRow>& rows,
                                  const char* invalidDescriptor) const {
    const char* suffix = percent && millisecond ? " (Percentage and Time)"
                         : percent              ? " (Percentage)"
                                                : " (Time)";
    const TableMessageType type = percent && millisecond ? TableMessageType::RESIDENCY_COMBINED
                                  : percent              ? TableMessageType::RESIDENCY_PERCENTAGE
                                                         : TableMessageType::RESIDENCY_MILLISECOND;
    std::string title;
    TextNotes notes;
    bool transpose = false;
    if (!applyOutputConfig_i(metric, keyword, metric.getName() + " Summary: Residency" + suffix,
                             title, notes, transpose)) {
        return 0;
    }

    // States in order of first appearance over the entities; a state's
    // first column number by descriptor id.
    std::vector<uint64_t> order;
    std::map<uint64_t, const DataHandle*> states;
    for (const ResidencyRow& row : rows) {
        for (const auto& state : row.states) {
            if (states.emplace(state.first, nullptr).second) {
                order.push_back(state.first);
            }
        }
    }
    TableMessage table(title, metric.getQuantity());
    table.setTextNotes(&notes);
    table.setTableMessageType(type);
    std::map<uint64_t, unsigned int> firstColumn;
    unsigned int column = 0;
    for (uint64_t id : order) {
        // Elements without a descriptor are the entity's one residency.
        std::string name = "Residency";
        if (id != 0) {
            const auto* descriptor = dynamic_cast<const DataHandle*>(UniqueId::find(id));
            if (descriptor == nullptr) {
                pwLog(PW_WARNING, "%s", invalidDescriptor);
                continue;
            }
            name = descriptor->getName();
        }
        firstColumn[id] = column;
        if (percent) {
            table.addField(name + " (%)", DataType::REAL, percentFormatter_i(), false);
            ++column;
        }
        if (millisecond) {
            table.addField(name + " (msec)", DataType::REAL, millisecondFormatter_i(), false);
            ++column;
        }
    }
    if (column == 0) {
        pwLog(PW_WARNING,
              "WARNING: An empty residency summary table will be generated for Metric container "
              "%s.\n",
              metric.getName().c_str());
        if (percent) {
            table.addField("Residency (%)", DataType::REAL, percentFormatter_i(), false);
        }
        if (millisecond) {
            table.addField("Residency (msec)", DataType::REAL, millisecondFormatter_i(), false);
        }
    }
    for (const ResidencyRow& row : rows) {
        table.addEntity(row.entity);
    }
    if (table.createTable() != 0) {
        return 1;
    }
    const double ticksPerMsec = m_timestampFreq * 1000.0;
    for (const ResidencyRow& row : rows) {
        for (const auto& state : row.states) {
            auto first = firstColumn.find(state.first);
            if (first == firstColumn.end()) {
                continue;
            }
            pwLog(PW_INFO, "INFO: timestamp freq=%lf residency=%llu, total duration=%llu\n",
                  m_timestampFreq, static_cast<unsigned long long>(toUnsigned64(state.second)),
                  static_cast<unsigned long long>(toUnsigned64(row.totalDuration)));
            unsigned int col = first->second;
            if (percent) {
                if (row.totalDuration > 0.0) {
                    setCell_i(table, row.entity, col,
                              Data(state.second / row.totalDuration * 100.0));
                }
                ++col;
            }
            if (millisecond && ticksPerMsec > 0.0) {
                setCell_i(table, row.entity, col, Data(state.second / ticksPerMsec));
            }
        }
    }
    pushTable_i(table, transpose);
    return 0;
}

const Formatter& Accumulator::percentFormatter_i() const {
    return m_shared->percent;
}

const Formatter& Accumulator::millisecondFormatter_i() const {
    return m_shared->milliseconds;
}

const Formatter& Accumulator::rateFormatter_i() const {
    return m_shared->rate;
}

int Accumulator::pushTable_i(TableMessage& table, bool transposed) const {
    table.setTableClass(TableClass::SUMMARY);
    table.setTransposed(transposed);
    return m_writerStream->pushMessage(table);
}

}  // namespace pwr
