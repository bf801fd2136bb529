#include <gtest/gtest.h>

#include <deque>
#include <string>

#include "plugins/writers/CsvWriter.h"
#include "tests/writers/WriterTestSupport.h"

namespace pwr::test {
namespace {

using vantry::writers::CsvWriter;

class CsvWriterTest : public WriterTest {};

TEST_F(CsvWriterTest, EveryTableAsTitleHeaderRowsAndBlankRecord) {
    using Fill = TableMessageFillAccess;
    CsvWriter writer;
    WriterStream::PluginSet writers{&writer};
    {
        WriterStream stream(&writers);
        HeaderTextMessage(&stream).setMessage("headers are for the text report");
        pushTemperatureTable(stream);
        pushIntervalTable(stream);
        pushTopTenTable(stream);
        pushTransposedTable(stream);

        // Quoting of a title with a comma, quotes and a line break; no
        // header record; one anonymous row with a text holding a CR LF.
        TableMessage t("Disk, \"C:\"\nsummary", nullptr);
        t.setHasFieldHeaders(false);
        t.addField("Note", DataType::STRING, false);
        t.addField("Bytes", DataType::UINT, false);
        ASSERT_EQ(t.createTable(), 0);
        Fill::set(t, nullptr, 0, std::string("a\r\nb"));
        Fill::set(t, nullptr, 1, uint64_t{7});
        stream.pushMessage(t);
        EXPECT_FALSE(exists(prefix + ".csv"));
    }
    EXPECT_EQ(readFile(prefix + ".csv"),
              "Temperature Summary - Sampled: Min/Max/Avg\r\n"
              "Entity,Min (\xC2\xB0"
              "C),Max (\xC2\xB0"
              "C),Avg (\xC2\xB0"
              "C)\r\n"
              "CPU/Package 0/Core 0,45,60,52.25\r\n"
              "CPU/Package 0/Core 1,7,100,\r\n"
              "\r\n"
              "Events Summary: Top 10 Most-Frequent\r\n"
              "Event Name,Count\r\n"
              "\"Timer, periodic\",12\r\n"
              "\"IRQ \"\"edge\"\"\",3\r\n"
              "\r\n"
              "Core C-State Summary: Residency (Percentage)\r\n"
              "Entity,CPU/Package 0/Core 0,CPU/Package 0/Core 1,All\r\n"
              "C0 (%),12.50,87.50,\r\n"
              "Total,,,42\r\n"
              "\r\n"
              "\"Disk, \"\"C:\"\"\nsummary\"\r\n"
              "\"a\r\nb\",7\r\n"
              "\r\n");
    EXPECT_FALSE(temporaryExists(prefix + ".csv"));
    EXPECT_TRUE(console.lines().empty());
    EXPECT_TRUE(cap.loggedExactly({}));
}

TEST_F(CsvWriterTest, FieldsAreQuotedOnlyWhenTheyMustBe) {
    EXPECT_EQ(CsvWriter::field(""), "");
    EXPECT_EQ(CsvWriter::field("plain text; with 'single' quotes"),
              "plain text; with 'single' quotes");
    EXPECT_EQ(CsvWriter::field("a,b"), "\"a,b\"");
    EXPECT_EQ(CsvWriter::field("\""), "\"\"\"\"");
    EXPECT_EQ(CsvWriter::field("cr\ronly"), "\"cr\ronly\"");
    EXPECT_EQ(CsvWriter::field("lf\nonly"), "\"lf\nonly\"");
    EXPECT_EQ(CsvWriter::record({"", "x,y", ""}), ",\"x,y\",");

    TableMessage t("T", nullptr);
    t.addField("C,1", DataType::UINT, false);
    t.addEntity(core1);
    ASSERT_EQ(t.createTable(), 0);
    TableMessageFillAccess::set(t, core1, 0, uint64_t{5});
    CsvWriter writer;
    std::deque<std::string> titles;
    std::deque<std::string> rows;
    EXPECT_EQ(writer.getColumnTitles(t, titles), 0);
    EXPECT_EQ(writer.getRowValues(t, rows), 0);
    EXPECT_EQ(titles, (std::deque<std::string>{"Entity", "C,1"}));
    EXPECT_EQ(rows, (std::deque<std::string>{"CPU/Package 0/Core 1,5"}));
    // Queries write nothing.
    writer.cleanup();
    EXPECT_TRUE(std::filesystem::is_empty(dir));
}

}  // namespace
}  // namespace pwr::test
