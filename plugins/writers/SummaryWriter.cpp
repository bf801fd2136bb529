#include "plugins/writers/SummaryWriter.h"

#include <algorithm>

#include "common/messages/TextMessage.h"
#include "common/plugins/PluginEnvironment.h"
#include "common/plugins/WriterPluginCapability.h"

namespace vantry::writers {

namespace {

// Aligns one row: cells padded to their column's width, two blanks apart,
// trailing blanks dropped.
std::string alignRow(const std::vector<const std::string*>& cells,
                     const std::vector<size_t>& widths, const std::vector<bool>& rightAligned) {
    std::string line;
    for (size_t c = 0; c < widths.size(); ++c) {
        const std::string& text = c < cells.size() ? *cells[c] : std::string();
        const size_t pad = widths[c] - std::min(widths[c], TableGrid::displayWidth(text));
        if (c != 0) {
            line += "  ";
        }
        if (rightAligned[c]) {
            line.append(pad, ' ');
            line += text;
        } else {
            line += text;
            line.append(pad, ' ');
        }
    }
    const size_t end = line.find_last_not_of(' ');
    line.erase(end == std::string::npos ? 0 : end + 1);
    return line;
}

}  // namespace

SummaryWriter::SummaryWriter()
    : TableWriterBase("Summary text writer", "7d3c2a10-5b1e-4c6f-9a2d-0e8b4f1c6a01", false),
      m_file(".txt") {
    addCapability(new pwr::WriterPluginCapability(
        "sum",
        "Summary tables as aligned text, with the report headers, on the console and in "
        "<output>.txt (default)",
        ".txt", {pwr::TableClass::GENERIC, pwr::TableClass::SUMMARY}, true));
}

SummaryWriter::~SummaryWriter() {
    SummaryWriter::cleanup();
}

std::vector<std::string> SummaryWriter::renderLines(const TableGrid& grid) {
    const size_t columns = grid.columns.size();
    std::vector<size_t> widths(columns, 0);
    std::vector<bool> rightAligned(columns, false);
    std::vector<bool> hasText(columns, false);
    std::vector<bool> allNumeric(columns, true);
    for (size_t c = 0; c < columns; ++c) {
        if (grid.hasFieldHeaders) {
            widths[c] = TableGrid::displayWidth(grid.columns[c]);
        }
    }
    for (const auto& row : grid.rows) {
        for (size_t c = 0; c < columns && c < row.size(); ++c) {
            widths[c] = std::max(widths[c], TableGrid::displayWidth(row[c].text));
            if (!row[c].text.empty()) {
                hasText[c] = true;
                allNumeric[c] = allNumeric[c] && row[c].isNumeric();
            }
        }
    }
    for (size_t c = 0; c < columns; ++c) {
        rightAligned[c] = hasText[c] && allNumeric[c];
    }

    std::vector<std::string> lines;
    std::vector<const std::string*> cells;
    if (grid.hasFieldHeaders) {
        for (const std::string& name : grid.columns) {
            cells.push_back(&name);
        }
        lines.push_back(alignRow(cells, widths, rightAligned));
    }
    for (const auto& row : grid.rows) {
        cells.clear();
        for (const GridCell& cell : row) {
            cells.push_back(&cell.text);
        }
        lines.push_back(alignRow(cells, widths, rightAligned));
    }
    return lines;
}

int SummaryWriter::writeMessage(const pwr::TextMessage& msg) {
    flushPendingTable_i();
    std::string text = msg.getMessage();
    if (text.empty()) {
        return 0;
    }
    if (text.back() == '\n') {
        text.pop_back();
    }
    size_t start = 0;
    while (true) {
        const size_t end = text.find('\n', start);
        writeLine_i(text.substr(start, end == std::string::npos ? std::string::npos : end - start));
        if (end == std::string::npos) {
            break;
        }
        start = end + 1;
    }
    return 0;
}

void SummaryWriter::emitTable_i(const TableGrid& grid) {
    // A blank line sets each table apart from what came before it.
    if (m_wroteSomething) {
        writeLine_i(std::string());
    }
    writeLine_i(grid.title);
    for (const std::string& note : grid.preNotes) {
        writeLine_i(note);
    }
    for (const std::string& line : renderLines(grid)) {
        writeLine_i(line);
    }
    for (const std::string& note : grid.postNotes) {
        writeLine_i(note);
    }
}

std::vector<std::string> SummaryWriter::renderRows_i(const TableGrid& grid) const {
    std::vector<std::string> lines = renderLines(grid);
    if (grid.hasFieldHeaders && !lines.empty()) {
        lines.erase(lines.begin());
    }
    return lines;
}

void SummaryWriter::writeLine_i(const std::string& line) {
    m_wroteSomething = true;
    std::string text = line;
    if (!text.empty() && text.back() == '\r') {
        text.pop_back();
    }
    text += '\n';
    const PluginEnvironment* env = PluginEnvironment::current();
    if (env != nullptr && env->getDataOutputHandle() != nullptr) {
        env->getDataOutputHandle()->log(text.c_str());
    }
    if (!m_fileTried) {
        m_fileTried = true;
        // Without a prefix the report goes to the console only.
        if (!ResultFile::currentPrefix().empty()) {
            m_file.open();
        }
    }
    m_file.write(text);
}

void SummaryWriter::finish_i() {
    m_file.commit();
}

void SummaryWriter::flushFiles_i() {
    m_file.flush();
}

}  // namespace vantry::writers
