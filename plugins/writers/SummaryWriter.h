// SummaryWriter: the "sum" writer (the default of -r): the report as aligned
// text, on the console through the environment's data-output logger (none
// when it is null) and in "<prefix>.txt".
//
// The report is written in the order the messages arrive: header texts
// (version, collection and hardware headers, which the host pushes before
// post-processing) and other texts as they stand, each ending in a line
// feed; then every summary table: a blank line, the title, the pre-table
// texts, the header row, the data rows and the post-table texts. Columns are
// as wide as their widest cell and two blanks apart; a column of numbers is
// right-aligned, any other column left-aligned; lines carry no trailing
// blanks.
//
// The file is opened with the first output. When it cannot be (or no result
// file prefix is set: then silently), the console report goes on without it;
// the file's failure is reported once (see ResultFile).
#pragma once

#include <string>
#include <vector>

#include "plugins/writers/ResultFile.h"
#include "plugins/writers/TableWriterBase.h"

namespace vantry::writers {

class SummaryWriter : public TableWriterBase {
  public:
    SummaryWriter();
    ~SummaryWriter() override;

    using TableWriterBase::writeMessage;
    int writeMessage(const pwr::TextMessage& msg) override;

    // The aligned header row (when the grid has field headers) and data
    // rows of grid, without line ends.
    static std::vector<std::string> renderLines(const TableGrid& grid);

  protected:
    void emitTable_i(const TableGrid& grid) override;
    void finish_i() override;
    void flushFiles_i() override;
    std::vector<std::string> renderRows_i(const TableGrid& grid) const override;

  private:
    // One line of the report (without its line end) to the console and file.
    void writeLine_i(const std::string& line);

    ResultFile m_file;
    bool m_fileTried = false;
    bool m_wroteSomething = false;
};

}  // namespace vantry::writers
