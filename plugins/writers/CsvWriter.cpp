#include "plugins/writers/CsvWriter.h"

#include "common/plugins/WriterPluginCapability.h"

namespace vantry::writers {

namespace {
const char* const c_recordEnd = "\r\n";
}

CsvWriter::CsvWriter()
    : TableWriterBase("CSV table writer", "7d3c2a10-5b1e-4c6f-9a2d-0e8b4f1c6a02", false),
      m_file(".csv") {
    addCapability(new pwr::WriterPluginCapability(
        "csv", "All summary tables as one CSV file, <output>.csv", ".csv",
        {pwr::TableClass::GENERIC, pwr::TableClass::SUMMARY}, true));
}

CsvWriter::~CsvWriter() {
    CsvWriter::cleanup();
}

std::string CsvWriter::field(const std::string& text) {
    if (text.find_first_of(",\"\r\n") == std::string::npos) {
        return text;
    }
    std::string quoted = "\"";
    for (char c : text) {
        if (c == '"') {
            quoted += '"';
        }
        quoted += c;
    }
    quoted += '"';
    return quoted;
}

std::string CsvWriter::record(const std::vector<std::string>& fields) {
    std::string line;
    for (size_t i = 0; i < fields.size(); ++i) {
        if (i != 0) {
            line += ',';
        }
        line += field(fields[i]);
    }
    return line;
}

std::vector<std::string> CsvWriter::records(const TableGrid& grid) {
    std::vector<std::string> out;
    std::vector<std::string> texts;
    for (const auto& row : grid.rows) {
        texts.clear();
        for (const GridCell& cell : row) {
            texts.push_back(cell.text);
        }
        out.push_back(record(texts));
    }
    return out;
}

void CsvWriter::emitTable_i(const TableGrid& grid) {
    if (!m_file.open()) {
        return;
    }
    std::string text = field(grid.title) + c_recordEnd;
    if (grid.hasFieldHeaders) {
        text += record(grid.columns) + c_recordEnd;
    }
    for (const std::string& line : records(grid)) {
        text += line + c_recordEnd;
    }
    text += c_recordEnd;
    m_file.write(text);
}

std::vector<std::string> CsvWriter::renderRows_i(const TableGrid& grid) const {
    return records(grid);
}

void CsvWriter::finish_i() {
    m_file.commit();
}

void CsvWriter::flushFiles_i() {
    m_file.flush();
}

}  // namespace vantry::writers
