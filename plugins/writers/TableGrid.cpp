#include "plugins/writers/TableGrid.h"

#include <algorithm>

#include "common/data/DataHandle.h"
#include "common/data/EntityHandle.h"

namespace vantry::writers {

const char* const TableGrid::c_entityColumn = "Entity";
const char* const TableGrid::c_sharedRowLabel = "All";

namespace {

std::string entityLabel(const pwr::EntityHandle* entity) {
    std::string name = entity->getQualifiedName();
    return name.empty() ? entity->getName() : name;
}

std::vector<std::string> splitLines(const std::string& text) {
    std::vector<std::string> lines;
    size_t start = 0;
    while (start <= text.size()) {
        size_t end = text.find('\n', start);
        if (end == std::string::npos) {
            end = text.size();
        }
        std::string line = text.substr(start, end - start);
        if (!line.empty() && line.back() == '\r') {
            line.pop_back();
        }
        lines.push_back(line);
        start = end + 1;
    }
    // A note that ends in a line feed does not add an empty line.
    if (lines.size() > 1 && lines.back().empty()) {
        lines.pop_back();
    }
    return lines;
}

void appendNotes(std::vector<std::string>& out, const std::vector<std::string>& notes) {
    for (const std::string& note : notes) {
        for (std::string& line : splitLines(note)) {
            out.push_back(std::move(line));
        }
    }
}

// Reads one cell. When the table holds no valid pair at all it may never
// have been filled: the first failed read (which the table logs) then
// stands for every cell, so an empty table costs one warning, not one per
// cell.
class CellReader {
  public:
    explicit CellReader(const pwr::TableMessage& table)
        : m_table(table), m_maybeUnfilled(table.validBegin() == table.validEnd()) {}

    GridCell read(const pwr::EntityHandle* entity, const pwr::DataHandle* handle) {
        GridCell cell;
        if (m_gaveUp) {
            return cell;
        }
        const pwr::Data* data = nullptr;
        bool valid = false;
        if (m_table.getFieldValue(entity, handle, data, valid) != 0) {
            m_gaveUp = m_maybeUnfilled;
            return cell;
        }
        m_maybeUnfilled = false;
        if (valid && data != nullptr) {
            data->toFormattedString(cell.text);
            cell.text = TableGrid::trim(cell.text);
            cell.value = *data;
        }
        return cell;
    }

  private:
    const pwr::TableMessage& m_table;
    bool m_maybeUnfilled;
    bool m_gaveUp = false;
};

}  // namespace

bool TableGrid::fromTable(const pwr::TableMessage& table, TableGrid& out) {
    if (!table.isCreated()) {
        return false;
    }
    TableGrid grid;
    grid.title = table.getTitle();
    grid.messageId = table.getMessageId();
    grid.type = table.getTableMessageType();
    grid.tableClass = table.getTableClass();
    grid.hasFieldHeaders = table.hasFieldHeaders();
    grid.transposeRequested = table.isTransposed();
    if (const pwr::TextNotes* notes = table.getTextNotes()) {
        std::vector<std::string> lines;
        if (notes->getPreTableNotes(lines)) {
            appendNotes(grid.preNotes, lines);
        }
        lines.clear();
        if (notes->getPostTableNotes(lines)) {
            appendNotes(grid.postNotes, lines);
        }
    }

    const std::vector<const pwr::DataHandle*> perEntity(table.handleBegin(), table.handleEnd());
    const std::vector<const pwr::DataHandle*> shared(table.sharedHandleBegin(),
                                                     table.sharedHandleEnd());
    grid.hasEntityColumn = table.getEntityCount() != 0;
    if (grid.hasEntityColumn) {
        grid.columns.push_back(c_entityColumn);
    }
    for (const pwr::DataHandle* h : perEntity) {
        grid.columns.push_back(h->getName());
    }
    for (const pwr::DataHandle* h : shared) {
        grid.columns.push_back(h->getName());
    }

    CellReader reader(table);
    if (grid.hasEntityColumn) {
        for (auto it = table.entityBegin(); it != table.entityEnd(); ++it) {
            std::vector<GridCell> row;
            row.reserve(grid.columns.size());
            row.emplace_back(entityLabel(*it));
            for (const pwr::DataHandle* h : perEntity) {
                row.push_back(reader.read(*it, h));
            }
            row.resize(grid.columns.size());
            grid.rows.push_back(std::move(row));
        }
        if (!shared.empty()) {
            std::vector<GridCell> row(1 + perEntity.size(), GridCell());
            row[0].text = c_sharedRowLabel;
            for (const pwr::DataHandle* h : shared) {
                row.push_back(reader.read(nullptr, h));
            }
            grid.rows.push_back(std::move(row));
        }
    } else {
        std::vector<GridCell> row;
        for (const pwr::DataHandle* h : perEntity) {
            row.push_back(reader.read(nullptr, h));
        }
        for (const pwr::DataHandle* h : shared) {
            row.push_back(reader.read(nullptr, h));
        }
        grid.rows.push_back(std::move(row));
    }
    out = std::move(grid);
    return true;
}

bool TableGrid::merge(const TableGrid& next) {
    if (next.messageId != messageId || next.title != title || next.columns != columns) {
        return false;
    }
    rows.insert(rows.end(), next.rows.begin(), next.rows.end());
    return true;
}

TableGrid TableGrid::transposed() const {
    // The header row joins the data rows as row 0, then rows and columns
    // swap; the new row 0 is the new header.
    std::vector<std::vector<GridCell>> matrix;
    matrix.reserve(rows.size() + 1);
    std::vector<GridCell> header;
    for (const std::string& c : columns) {
        header.emplace_back(c);
    }
    matrix.push_back(std::move(header));
    matrix.insert(matrix.end(), rows.begin(), rows.end());

    TableGrid out = *this;
    out.columns.clear();
    out.rows.clear();
    for (size_t c = 0; c < columns.size(); ++c) {
        std::vector<GridCell> row;
        row.reserve(matrix.size());
        for (const auto& r : matrix) {
            row.push_back(c < r.size() ? r[c] : GridCell());
        }
        if (c == 0) {
            for (GridCell& cell : row) {
                out.columns.push_back(cell.text);
            }
        } else {
            out.rows.push_back(std::move(row));
        }
    }
    out.transposeRequested = false;
    return out;
}

const char* TableGrid::typeKeyword(pwr::TableMessageType type) {
    switch (type) {
        case pwr::TableMessageType::MIN_MAX_AVG:
            return "MIN-MAX-AVG";
        case pwr::TableMessageType::MIN_MAX:
            return "MIN-MAX";
        case pwr::TableMessageType::NUMBER_OF_OCCURRENCES:
            return "NUMBER-OF-OCCURENCES";
        case pwr::TableMessageType::RELATIVE_FREQUENCY_PERCENTAGE:
            return "RELATIVE-FREQUENCY-PERCENTAGE";
        case pwr::TableMessageType::APPROXIMATED_RESIDENCY:
            return "APPROXIMATED-RESIDENCY";
        case pwr::TableMessageType::RESIDENCY_PERCENTAGE:
            return "RESIDENCY-PERCENTAGE";
        case pwr::TableMessageType::RESIDENCY_MILLISECOND:
            return "RESIDENCY-MILLISECOND";
        case pwr::TableMessageType::RESIDENCY_COMBINED:
            return "RESIDENCY-COMBINED";
        case pwr::TableMessageType::TRANSITION_COUNTS:
            return "TRANSITION-COUNTS";
        case pwr::TableMessageType::AVERAGE_RATE_TOTAL:
            return "AVERAGE-RATE-TOTAL";
        case pwr::TableMessageType::TOTAL_DELTA:
            return "TOTAL-DELTA";
        case pwr::TableMessageType::EVENT_NAME_COUNTS:
            return "EVENT-NAME-COUNTS";
        case pwr::TableMessageType::TOP_TEN_EVENT:
            return "TOP-TEN-EVENT";
        case pwr::TableMessageType::DATA_POINT:
            return "DATA-POINT";
        case pwr::TableMessageType::STATIC_ROW_INFO:
            return "STATIC-ROW-INFO";
        case pwr::TableMessageType::GENERIC:
            break;
    }
    return "GENERIC";
}

size_t TableGrid::displayWidth(const std::string& text) {
    size_t width = 0;
    for (unsigned char c : text) {
        // Continuation bytes (10xxxxxx) belong to the code point before them.
        if ((c & 0xC0) != 0x80) {
            ++width;
        }
    }
    return width;
}

std::string TableGrid::trim(const std::string& text) {
    const size_t first = text.find_first_not_of(" \t");
    if (first == std::string::npos) {
        return std::string();
    }
    const size_t last = text.find_last_not_of(" \t");
    return text.substr(first, last - first + 1);
}

}  // namespace vantry::writers
