// CsvWriter: the "csv" writer: every summary table into "<prefix>.csv", as
// its title record, its header record (unless the table has no field
// headers), its data records and an empty line. Fields follow RFC 4180: a
// field that holds a comma, a double quote, a carriage return or a line feed
// is enclosed in double quotes, with its quotes doubled; records end in
// CR LF. Pre- and post-table texts are left out: they would break the shape
// of the records (the "sum" and "json" writers carry them).
//
// The file is opened with the first table; when it cannot be, the writer
// reports it once and writes nothing more.
#pragma once

#include <string>
#include <vector>

#include "plugins/writers/ResultFile.h"
#include "plugins/writers/TableWriterBase.h"

namespace vantry::writers {

class CsvWriter : public TableWriterBase {
  public:
    CsvWriter();
    ~CsvWriter() override;

    // One field, quoted when it must be.
    static std::string field(const std::string& text);
    // Fields joined by commas (no record end).
    static std::string record(const std::vector<std::string>& fields);
    // The rows of grid as records (no record ends).
    static std::vector<std::string> records(const TableGrid& grid);

  protected:
    void emitTable_i(const TableGrid& grid) override;
    void finish_i() override;
    void flushFiles_i() override;
    std::vector<std::string> renderRows_i(const TableGrid& grid) const override;

  private:
    ResultFile m_file;
};

}  // namespace vantry::writers
