// TableWriterBase: what the table writers ("sum", "csv", "json") share.
//
// A table is copied into a TableGrid while the stream delivers it and held
// back until the next message that produces output: a table pushed again
// right after itself (a top-ten list arrives one entry per push) continues
// the held grid instead of starting a new table. Only summary and generic
// tables are rendered; interval, static-row and timeline tables are left to
// writers made for them. A table the output configuration asks to transpose
// is handed over transposed (entities as columns) unless the writer keeps
// the plain shape (JSON does: programs do not need the presentation).
//
// cleanup() (called once by the writer stream as it is destroyed, and by the
// concrete writers' destructors if the stream never did) writes the held
// table and lets the writer finish its files. It runs once.
//
// Not thread-safe: the stream calls a writer from one thread at a time.
#pragma once

#include <deque>
#include <memory>
#include <string>
#include <vector>

#include "common/plugins/WriterPlugin.h"
#include "plugins/writers/TableGrid.h"

namespace vantry::writers {

class TableWriterBase : public WriterPlugin {
  public:
    TableWriterBase(const std::string& name, const std::string& uuid, bool keepsPlainShape);
    ~TableWriterBase() override;

    using WriterPlugin::writeMessage;
    int writeMessage(const pwr::TableMessage& table) override;

    // Writers keep no collection state that a reset would touch.
    pwr::ResetReturnCode reset(pwr::ResetReason reason, uint64_t ts,
                               const pwr::SystemMetadata& sys) override;
    // Writes the held table and hands buffered bytes to the system.
    int flushContinuousResults(const pwr::SystemMetadata& sys) override;
    void cleanup() override;

    // The grid's column names, and its rows as this writer renders them
    // (one string per row, without line end). 1 for a table never created.
    int getColumnTitles(const pwr::TableMessage& table,
                        std::deque<std::string>& out) const override;
    int getRowValues(const pwr::TableMessage& table, std::deque<std::string>& out) const override;

    // Whether tables of this class are rendered.
    static bool isRenderedClass(pwr::TableClass tableClass);

  protected:
    // Writes out the held table, if any. Call before writing anything else.
    void flushPendingTable_i();
    // The grid as this writer shows it (transposed when requested).
    TableGrid presented_i(const TableGrid& grid) const;

    // Renders one complete table.
    virtual void emitTable_i(const TableGrid& grid) = 0;
    // Called by cleanup() after the held table went out: finish the files.
    virtual void finish_i() = 0;
    // Flushes the writer's files (continuous results).
    virtual void flushFiles_i() = 0;
    // The rows of a presented grid, one string each.
    virtual std::vector<std::string> renderRows_i(const TableGrid& grid) const = 0;

  private:
    bool m_keepsPlainShape;
    bool m_cleanedUp = false;
    std::unique_ptr<TableGrid> m_pending;
};

}  // namespace vantry::writers
