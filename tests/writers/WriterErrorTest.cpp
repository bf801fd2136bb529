#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <string>
#include <vector>

#include "common/messages/SystemMessage.h"
#include "common/serialize/SystemMetadata.h"
#include "plugins/writers/CsvWriter.h"
#include "plugins/writers/JsonWriter.h"
#include "plugins/writers/ResultFile.h"
#include "plugins/writers/SummaryWriter.h"
#include "tests/writers/WriterTestSupport.h"

namespace pwr::test {
namespace {

using namespace vantry::writers;

class WriterErrorTest : public WriterTest {};

std::vector<std::string> sorted(std::vector<std::string> lines) {
    std::sort(lines.begin(), lines.end());
    return lines;
}

TEST_F(WriterErrorTest, UnwritablePrefixGivesOneErrorPerFileAndNothingElse) {
    const std::string bad = dir + "/missing/report";
    cap.env().setResultFilePrefix(bad);
    SummaryWriter sum;
    CsvWriter csv;
    JsonWriter json;
    WriterStream::PluginSet writers{&sum, &csv, &json};
    {
        WriterStream stream(&writers);
        SystemMetadata sys;
        SystemMessage system(sys);
        stream.pushMessage(system);
        pushTemperatureTable(stream);
        pushTopTenTable(stream);
        pushTransposedTable(stream);
    }
    // The set's order is that of the writers' addresses: compare as a set.
    // Each names its file and the system's reason.
    const std::string why = ": " + missingFolderReason(bad) + "\n";
    EXPECT_EQ(sorted(cap.lines()),
              sorted({"ERROR: Cannot write result file " + bad + ".txt" + why,
                      "ERROR: Cannot write result file " + bad + ".csv" + why,
                      "ERROR: Cannot write result file " + bad + ".json" + why}));
    EXPECT_TRUE(std::filesystem::is_empty(dir));
    // The console report does not depend on the file.
    const std::string console = consoleText();
    EXPECT_EQ(console.find("Temperature Summary - Sampled: Min/Max/Avg\n"), 0u);
    EXPECT_NE(console.find("Total                                                42\n"),
              std::string::npos);
}

TEST_F(WriterErrorTest, MissingPrefixIsAnErrorForTheFileWriters) {
    cap.env().setResultFilePrefix("");
    CsvWriter csv;
    WriterStream::PluginSet writers{&csv};
    {
        WriterStream stream(&writers);
        pushTopTenTable(stream);
        pushTransposedTable(stream);
    }
    EXPECT_TRUE(cap.loggedExactly(
        {"ERROR: Cannot write result file .csv: no result file prefix is set\n"}));
    EXPECT_FALSE(exists(".csv"));
}

TEST_F(WriterErrorTest, AnEarlierResultIsReplacedAndAnAbandonedFileRemoved) {
    {
        std::ofstream stale(prefix + ".csv", std::ios::binary);
        stale << "stale results from an earlier run\n";
    }
    {
        CsvWriter csv;
        WriterStream::PluginSet writers{&csv};
        WriterStream stream(&writers);
        pushTopTenTable(stream);
    }
    EXPECT_EQ(readFile(prefix + ".csv"),
              "Events Summary: Top 10 Most-Frequent\r\n"
              "Event Name,Count\r\n"
              "\"Timer, periodic\",12\r\n"
              "\"IRQ \"\"edge\"\"\",3\r\n"
              "\r\n");
    EXPECT_FALSE(temporaryExists(prefix + ".csv"));

    // A file that is never committed leaves nothing behind.
    {
        ResultFile file("_partial.csv");
        ASSERT_TRUE(file.open());
        file.write("half a line");
        EXPECT_TRUE(temporaryExists(prefix + "_partial.csv"));
    }
    EXPECT_FALSE(temporaryExists(prefix + "_partial.csv"));
    EXPECT_FALSE(exists(prefix + "_partial.csv"));
    EXPECT_TRUE(cap.loggedExactly({}));
}

}  // namespace
}  // namespace pwr::test
