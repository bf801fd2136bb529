#include "plugins/writers/IntervalWriter.h"

#include <cstdio>

#include "common/data/DataDescriptor.h"
#include "common/data/DataElement.h"
#include "common/data/EntityHandle.h"
#include "common/metrics/Metric.h"
#include "common/plugins/PluginEnvironment.h"
#include "common/plugins/WriterPluginCapability.h"
#include "common/serialize/SystemMetadata.h"
#include "plugins/writers/CsvWriter.h"
#include "plugins/writers/TableGrid.h"

namespace vantry::writers {

namespace {
const char* const c_header = "Time (s),Feature,Container,Entity,Descriptor,Value\r\n";
// Bytes gathered before they are handed to the file.
const size_t c_bufferLimit = 64 * 1024;
}  // namespace

IntervalWriter::IntervalWriter()
    : WriterPlugin("Interval CSV writer", "7d3c2a10-5b1e-4c6f-9a2d-0e8b4f1c6a03"),
      m_file("_int.csv") {
    // It renders metrics' data points, not tables.
    addCapability(new pwr::WriterPluginCapability(
        "int", "The data points of every metric over time as CSV, <output>_int.csv", "_int.csv", {},
        true));
}

IntervalWriter::~IntervalWriter() {
    IntervalWriter::cleanup();
}

int IntervalWriter::writeMessage(const pwr::Metric& metric) {
    const pwr::Metric::DataPoint& point = metric.getData();
    if (m_cleanedUp || point.empty()) {
        return 0;
    }
    if (!m_file.isOpen()) {
        if (!m_file.open()) {
            // Reported once by the file; refusing every point would only
            // repeat it as a warning per point.
            return 0;
        }
        m_buffer = c_header;
    }
    const pwr::SystemMetadata& sys = metric.getSystemMetadata();
    if (!m_haveOrigin) {
        m_haveOrigin = true;
        m_origin = sys.startTsc != 0 ? sys.startTsc : point.getTimestamp();
    }
    double ticksPerSecond = static_cast<double>(sys.clockFreqMHz) * 1e6;
    if (ticksPerSecond <= 0.0) {
        const PluginEnvironment* env = PluginEnvironment::current();
        ticksPerSecond =
            env == nullptr ? 0.0 : static_cast<double>(env->getDefaultClockMHz()) * 1e6;
    }
    std::string time;
    if (ticksPerSecond > 0.0) {
        // Signed: a point before the origin shows as a negative time.
        const int64_t ticks = static_cast<int64_t>(point.getTimestamp() - m_origin);
        char text[40];
        std::snprintf(text, sizeof text, "%.6f", static_cast<double>(ticks) / ticksPerSecond);
        time = text;
    }
    const std::string common = time + "," + CsvWriter::field(metric.getFeatureTag()) + "," +
                               CsvWriter::field(metric.getMetricContainerTag()) + ",";
    for (const pwr::DataElement& element : point) {
        std::string entity;
        if (const pwr::EntityHandle* e = element.getEntity()) {
            entity = e->getQualifiedName();
        }
        std::string descriptor;
        if (const pwr::DataDescriptor* d = element.getDescriptor()) {
            descriptor = d->getName();
        }
        std::string value;
        const pwr::Data* data = element.getValue();
        if (data != nullptr && data->isValid()) {
            data->toFormattedString(value);
            value = TableGrid::trim(value);
        }
        m_buffer += common;
        m_buffer += CsvWriter::field(entity);
        m_buffer += ',';
        m_buffer += CsvWriter::field(descriptor);
        m_buffer += ',';
        m_buffer += CsvWriter::field(value);
        m_buffer += "\r\n";
    }
    if (m_buffer.size() >= c_bufferLimit) {
        m_file.write(m_buffer);
        m_buffer.clear();
    }
    return 0;
}

pwr::ResetReturnCode IntervalWriter::reset(pwr::ResetReason, uint64_t, const pwr::SystemMetadata&) {
    return pwr::ResetReturnCode::NOT_NEEDED;
}

int IntervalWriter::flushContinuousResults(const pwr::SystemMetadata&) {
    m_file.write(m_buffer);
    m_buffer.clear();
    m_file.flush();
    return 0;
}

void IntervalWriter::cleanup() {
    if (m_cleanedUp) {
        return;
    }
    m_cleanedUp = true;
    m_file.write(m_buffer);
    m_buffer.clear();
    m_file.commit();
}

int IntervalWriter::getColumnTitles(const pwr::TableMessage& table,
                                    std::deque<std::string>& out) const {
    TableGrid grid;
    if (!TableGrid::fromTable(table, grid)) {
        return 1;
    }
    out.insert(out.end(), grid.columns.begin(), grid.columns.end());
    return 0;
}

int IntervalWriter::getRowValues(const pwr::TableMessage& table,
                                 std::deque<std::string>& out) const {
    TableGrid grid;
    if (!TableGrid::fromTable(table, grid)) {
        return 1;
    }
    for (const std::string& line : CsvWriter::records(grid)) {
        out.push_back(line);
    }
    return 0;
}

}  // namespace vantry::writers
