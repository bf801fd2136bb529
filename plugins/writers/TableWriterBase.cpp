#include "plugins/writers/TableWriterBase.h"

#include <utility>

namespace vantry::writers {

TableWriterBase::TableWriterBase(const std::string& name, const std::string& uuid,
                                 bool keepsPlainShape)
    : WriterPlugin(name, uuid), m_keepsPlainShape(keepsPlainShape) {}

TableWriterBase::~TableWriterBase() = default;

bool TableWriterBase::isRenderedClass(pwr::TableClass tableClass) {
    return tableClass == pwr::TableClass::SUMMARY || tableClass == pwr::TableClass::GENERIC;
}

int TableWriterBase::writeMessage(const pwr::TableMessage& table) {
    if (m_cleanedUp || !isRenderedClass(table.getTableClass())) {
        return 0;
    }
    auto grid = std::make_unique<TableGrid>();
    if (!TableGrid::fromTable(table, *grid)) {
        return 1;
    }
    if (m_pending && m_pending->merge(*grid)) {
        return 0;
    }
    flushPendingTable_i();
    m_pending = std::move(grid);
    return 0;
}

pwr::ResetReturnCode TableWriterBase::reset(pwr::ResetReason, uint64_t,
                                            const pwr::SystemMetadata&) {
    return pwr::ResetReturnCode::NOT_NEEDED;
}

int TableWriterBase::flushContinuousResults(const pwr::SystemMetadata&) {
    flushPendingTable_i();
    flushFiles_i();
    return 0;
}

void TableWriterBase::cleanup() {
    if (m_cleanedUp) {
        return;
    }
    flushPendingTable_i();
    m_cleanedUp = true;
    finish_i();
}

void TableWriterBase::flushPendingTable_i() {
    if (!m_pending) {
        return;
    }
    // Released first: emitting may not see the same grid twice.
    std::unique_ptr<TableGrid> grid = std::move(m_pending);
    emitTable_i(presented_i(*grid));
}

TableGrid TableWriterBase::presented_i(const TableGrid& grid) const {
    if (grid.transposeRequested && !m_keepsPlainShape) {
        return grid.transposed();
    }
    return grid;
}

int TableWriterBase::getColumnTitles(const pwr::TableMessage& table,
                                     std::deque<std::string>& out) const {
    TableGrid grid;
    if (!TableGrid::fromTable(table, grid)) {
        return 1;
    }
    const TableGrid shown = presented_i(grid);
    out.insert(out.end(), shown.columns.begin(), shown.columns.end());
    return 0;
}

int TableWriterBase::getRowValues(const pwr::TableMessage& table,
                                  std::deque<std::string>& out) const {
    TableGrid grid;
    if (!TableGrid::fromTable(table, grid)) {
        return 1;
    }
    for (std::string& row : renderRows_i(presented_i(grid))) {
        out.push_back(std::move(row));
    }
    return 0;
}

}  // namespace vantry::writers
