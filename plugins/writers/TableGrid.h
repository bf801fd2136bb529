// TableGrid: a table as the writers lay it out: a header row of column names
// and data rows of cell texts, copied out of a TableMessage while the writer
// stream delivers it. The copy is needed: the stream resets the cells right
// after delivery and the producer usually destroys the table (and its notes)
// soon after, while a writer may still have to merge or print it.
//
// Layout of the grid:
// - A table with entity rows gets a first column "Entity" holding each row's
//   entity name (its qualified name, "CPU/Package 0/Core 1"), rows in
//   ascending entity id. Per-entity columns follow in the order added.
// - Shared columns (one value for the whole table) come after the per-entity
//   ones. With entity rows their values go into one extra last row labelled
//   "All"; the entity rows leave those columns empty. Without entities the
//   shared cells sit on the single anonymous row beside its per-entity cells.
// - A cell that is not set (or not valid) is empty. Cell texts are those of
//   the column's formatter with the formatter's padding blanks trimmed: each
//   writer aligns for itself.
//
// A table pushed again right after itself (the same message id: a producer
// that refills one table per entry, such as a top-ten list) continues the
// same grid: its rows are appended (merge()).
//
// Value type; not thread-safe (a writer owns its grids).
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "common/data/Data.h"
#include "common/messages/TableMessage.h"

namespace vantry::writers {

struct GridCell {
    GridCell() = default;
    explicit GridCell(std::string t) : text(std::move(t)) {}
    // The text the report shows; empty for a cell that is not set.
    std::string text;
    // The cell's value as the table held it; type NONE (invalid) for labels
    // and empty cells.
    pwr::Data value;

    // Whether the cell holds a number (a scalar or a range).
    bool isNumeric() const { return value.isValid() && value.isNumeric(); }
};

class TableGrid {
  public:
    // The header of the entity column and the label of the row of shared
    // values in a table with entity rows.
    static const char* const c_entityColumn;
    static const char* const c_sharedRowLabel;

    TableGrid() = default;

    // Copies table into a grid. False (grid untouched) for a table that was
    // never created.
    static bool fromTable(const pwr::TableMessage& table, TableGrid& out);

    // Appends the rows of next, a later push of the same table. False (and
    // nothing appended) when next is not that: another message id or another
    // shape.
    bool merge(const TableGrid& next);

    // Rows become columns: the header row and the first column swap places.
    // Used for tables the output configuration asks to transpose.
    TableGrid transposed() const;

    // The keyword of a table kind as the output configuration names it
    // ("MIN-MAX-AVG", ...), "DATA-POINT", "STATIC-ROW-INFO", or "GENERIC".
    static const char* typeKeyword(pwr::TableMessageType type);

    // Display width of UTF-8 text: code points, not bytes, so that "°C"
    // aligns like "C1".
    static size_t displayWidth(const std::string& text);
    // text without leading and trailing blanks.
    static std::string trim(const std::string& text);

    std::string title;
    std::vector<std::string> preNotes;
    std::vector<std::string> postNotes;
    std::vector<std::string> columns;
    std::vector<std::vector<GridCell>> rows;
    bool hasEntityColumn = false;
    bool hasFieldHeaders = true;
    bool transposeRequested = false;
    unsigned int messageId = 0;
    pwr::TableMessageType type = pwr::TableMessageType::GENERIC;
    pwr::TableClass tableClass = pwr::TableClass::GENERIC;
};

}  // namespace vantry::writers
