#include <gtest/gtest.h>

#include <deque>
#include <string>

#include "common/messages/TextMessage.h"
#include "plugins/writers/SummaryWriter.h"
#include "tests/writers/WriterTestSupport.h"

namespace pwr::test {
namespace {

using vantry::writers::SummaryWriter;

class SummaryWriterTest : public WriterTest {};

// The report as the README shows it: headers first, then each table after
// a blank line, aligned, in arrival order; texts in between.
const char* const c_report =
    "----\n"
    "Vantry 1.0\n"
    "----\n"
    "Command line options: -f all \n"
    "\n"
    "Program Started: N/A\n"
    "\n"
    "System Name: box\n"
    "\n"
    "Temperature Summary - Sampled: Min/Max/Avg\n"
    "Sampled every 100 ms\n"
    "Entity                Min (\xC2\xB0"
    "C)  Max (\xC2\xB0"
    "C)  Avg (\xC2\xB0"
    "C)\n"
    "CPU/Package 0/Core 0        45        60     52.25\n"
    "CPU/Package 0/Core 1         7       100\n"
    "Two lines\n"
    "of notes\n"
    "Note: 1 sample dropped\n"
    "\n"
    "Events Summary: Top 10 Most-Frequent\n"
    "Event Name       Count\n"
    "Timer, periodic     12\n"
    "IRQ \"edge\"           3\n"
    "\n"
    "Core C-State Summary: Residency (Percentage)\n"
    "Entity  CPU/Package 0/Core 0  CPU/Package 0/Core 1  All\n"
    "C0 (%)                 12.50                 87.50\n"
    "Total                                                42\n";

TEST_F(SummaryWriterTest, ReportGoesToConsoleAndFileAndTheFileAppearsOnlyWhenComplete) {
    SummaryWriter writer;
    WriterStream::PluginSet writers{&writer};
    {
        WriterStream stream(&writers);
        HeaderTextMessage(&stream).setMessage("----\nVantry 1.0\n----");
        HeaderTextMessage(&stream).setMessage(
            "Command line options: -f all \n\nProgram Started: N/A");
        HeaderTextMessage(&stream).setMessage("\nSystem Name: box\n");
        pushTemperatureTable(stream);
        TextMessage(&stream).setMessage("Note: 1 sample dropped\n");
        pushIntervalTable(stream);  // not a summary: left out
        pushTopTenTable(stream);    // two pushes, one table
        pushTransposedTable(stream);
        // Nothing under the final name until the stream lets go.
        EXPECT_FALSE(exists(prefix + ".txt"));
        EXPECT_TRUE(temporaryExists(prefix + ".txt"));
    }
    EXPECT_EQ(readFile(prefix + ".txt"), c_report);
    EXPECT_FALSE(temporaryExists(prefix + ".txt"));
    EXPECT_EQ(consoleText(), c_report);
    // One console line per report line, each ended.
    for (const std::string& line : console.lines()) {
        EXPECT_EQ(line.find('\n'), line.size() - 1) << line;
    }
    EXPECT_TRUE(cap.loggedExactly({}));

    // A second clean-up (the writer's destructor) changes nothing.
    writer.cleanup();
    EXPECT_EQ(readFile(prefix + ".txt"), c_report);
}

TEST_F(SummaryWriterTest, WithoutPrefixOrConsoleTheOtherOutputStillWorks) {
    cap.env().setResultFilePrefix("");
    {
        SummaryWriter writer;
        WriterStream::PluginSet writers{&writer};
        WriterStream stream(&writers);
        pushTopTenTable(stream);
    }
    EXPECT_EQ(consoleText(),
              "Events Summary: Top 10 Most-Frequent\n"
              "Event Name       Count\n"
              "Timer, periodic     12\n"
              "IRQ \"edge\"           3\n");
    EXPECT_TRUE(std::filesystem::is_empty(dir));
    EXPECT_TRUE(cap.loggedExactly({}));

    // No console: the file alone.
    cap.env().setResultFilePrefix(prefix);
    cap.env().setDataOutputHandle(nullptr);
    console.clear();
    {
        SummaryWriter writer;
        WriterStream::PluginSet writers{&writer};
        WriterStream stream(&writers);
        TextMessage(&stream).setMessage("only text");
    }
    EXPECT_EQ(readFile(prefix + ".txt"), "only text\n");
    EXPECT_TRUE(console.lines().empty());
}

TEST_F(SummaryWriterTest, UnfilledTableCostsOneWarningAndPrintsEmptyCells) {
    TableMessage t("Never filled", nullptr);
    t.addField("A", DataType::UINT, false);
    t.addField("B", DataType::UINT, false);
    t.addEntity(core0);
    t.addEntity(core1);
    ASSERT_EQ(t.createTable(), 0);
    SummaryWriter writer;
    writer.writeMessage(t);
    writer.cleanup();
    EXPECT_EQ(readFile(prefix + ".txt"),
              "Never filled\n"
              "Entity                A  B\n"
              "CPU/Package 0/Core 0\n"
              "CPU/Package 0/Core 1\n");
    EXPECT_TRUE(cap.loggedExactly({"WARNING: No data in table yet Never filled\n"}));
}

TEST_F(SummaryWriterTest, HeaderlessTablesAndRowQueries) {
    using Fill = TableMessageFillAccess;
    TableMessage t("Plain", nullptr);
    t.setHasFieldHeaders(false);
    t.addField("Name", DataType::STRING, false);
    t.addField("Value", DataType::INT, false);
    t.addEntity(core0);
    ASSERT_EQ(t.createTable(), 0);
    Fill::set(t, core0, 0, std::string("x"));
    Fill::set(t, core0, 1, int64_t{-1234});

    SummaryWriter writer;
    std::deque<std::string> titles;
    std::deque<std::string> rows;
    EXPECT_EQ(writer.getColumnTitles(t, titles), 0);
    EXPECT_EQ(writer.getRowValues(t, rows), 0);
    EXPECT_EQ(titles, (std::deque<std::string>{"Entity", "Name", "Value"}));
    EXPECT_EQ(rows, (std::deque<std::string>{"CPU/Package 0/Core 0  x  -1234"}));

    writer.writeMessage(t);
    writer.cleanup();
    EXPECT_EQ(readFile(prefix + ".txt"), "Plain\nCPU/Package 0/Core 0  x  -1234\n");

    TableMessage uncreated("Uncreated", nullptr);
    EXPECT_EQ(writer.getColumnTitles(uncreated, titles), 1);
    EXPECT_TRUE(cap.loggedExactly({}));
}

}  // namespace
}  // namespace pwr::test
