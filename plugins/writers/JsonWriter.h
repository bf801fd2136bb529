// JsonWriter: the "json" writer: one JSON document for programs,
// "<prefix>.json", written when the writer is cleaned up:
//
//   {
//     "system": { ...the collection's system record... } (null without one),
//     "tables": [
//       { "title": ..., "type": "MIN-MAX-AVG", "transposed": false,
//         "preTableText": [...], "postTableText": [...],
//         "columns": ["Entity", "Min (C)", ...],
//         "rows":   [["CPU/Package 0/Core 0", "45", ...], ...],
//         "values": [[null, 45, ...], ...] }, ... ]
//   }
//
// "rows" are the cell texts as the text report shows them; "values" has the
// same shape and holds each numeric cell as a JSON number (a range as a pair
// [low, high]) and null for the others, so that programs need not parse
// texts. Tables keep their plain shape (entities as rows) even when the
// output configuration asks the report to transpose them; "transposed" says
// that it did. Texts that are not valid UTF-8 have the bad bytes replaced by
// U+FFFD. The document is indented by two blanks per level, with arrays of
// plain values (a list of names, a range) on one line and one line per row
// in "rows" and "values"; it ends in a line feed.
//
// The file is opened with the first system record or table; when it cannot
// be, the writer reports it once and collects nothing more.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "plugins/writers/ResultFile.h"
#include "plugins/writers/TableWriterBase.h"

namespace pwr {
class SystemMetadata;
}

namespace vantry::writers {

class JsonWriter : public TableWriterBase {
  public:
    JsonWriter();
    ~JsonWriter() override;

    using TableWriterBase::writeMessage;
    int writeMessage(const pwr::SystemMessage& msg) override;

    // The system record as the document's "system" object, as text.
    static std::string systemJson(const pwr::SystemMetadata& sys);

  protected:
    void emitTable_i(const TableGrid& grid) override;
    void finish_i() override;
    void flushFiles_i() override;
    std::vector<std::string> renderRows_i(const TableGrid& grid) const override;

  private:
    struct Document;
    ResultFile m_file;
    std::unique_ptr<Document> m_document;
};

}  // namespace vantry::writers
