#include <gtest/gtest.h>

#include <deque>
#include <string>

#include "common/messages/SystemMessage.h"
#include "common/serialize/SystemMetadata.h"
#include "plugins/writers/JsonWriter.h"
#include "tests/writers/WriterTestSupport.h"

namespace pwr::test {
namespace {

using vantry::writers::JsonWriter;

class JsonWriterTest : public WriterTest {};

TEST_F(JsonWriterTest, TablesKeepTheirShapeWithTextsAndNumbers) {
    JsonWriter writer;
    WriterStream::PluginSet writers{&writer};
    {
        WriterStream stream(&writers);
        pushTemperatureTable(stream);
        pushIntervalTable(stream);
        // A byte that is not UTF-8 is replaced, not fatal.
        pushTopTenTable(stream, "IRQ\xFF");
        pushTransposedTable(stream);
        EXPECT_FALSE(exists(prefix + ".json"));
    }
    EXPECT_EQ(readFile(prefix + ".json"),
              R"json({
  "system": null,
  "tables": [
    {
      "title": "Temperature Summary - Sampled: Min/Max/Avg",
      "type": "MIN-MAX-AVG",
      "transposed": false,
      "preTableText": ["Sampled every 100 ms"],
      "postTableText": ["Two lines", "of notes"],
      "columns": ["Entity", "Min (°C)", "Max (°C)", "Avg (°C)"],
      "rows": [
        ["CPU/Package 0/Core 0", "45", "60", "52.25"],
        ["CPU/Package 0/Core 1", "7", "100", ""]
      ],
      "values": [
        [null, 45, 60, 52.25],
        [null, 7, 100, null]
      ]
    },
    {
      "title": "Events Summary: Top 10 Most-Frequent",
      "type": "TOP-TEN-EVENT",
      "transposed": false,
      "preTableText": [],
      "postTableText": [],
      "columns": ["Event Name", "Count"],
      "rows": [
        ["Timer, periodic", "12"],
        ["IRQ�", "3"]
      ],
      "values": [
        [null, 12],
        [null, 3]
      ]
    },
    {
      "title": "Core C-State Summary: Residency (Percentage)",
      "type": "RESIDENCY-PERCENTAGE",
      "transposed": true,
      "preTableText": [],
      "postTableText": [],
      "columns": ["Entity", "C0 (%)", "Total"],
      "rows": [
        ["CPU/Package 0/Core 0", "12.50", ""],
        ["CPU/Package 0/Core 1", "87.50", ""],
        ["All", "", "42"]
      ],
      "values": [
        [null, 12.5, null],
        [null, 87.5, null],
        [null, null, 42]
      ]
    }
  ]
}
)json");
    EXPECT_TRUE(cap.loggedExactly({}));
}

TEST_F(JsonWriterTest, SystemRecordWithExactFloatsAndNegativeAndRangeValues) {
    SystemMetadata sys;
    sys.fms = {6, 0x8C, 1};
    sys.appVersion = 0x07E80105;  // 2024.1.5
    sys.driverVersion = 0x00030201;
    sys.hostName = "box";
    sys.osName = "Windows";
    sys.clockFreqMHz = 2.4f;
    sys.cpuFreqMHz = 3000.0f;
    sys.startTimeval = 1000000000ull;
    sys.stopTimeval = 3500000000ull;
    sys.startTsc = 18446744073709551615ull;
    sys.commandLine = {"vantry", "-f", "all"};
    sys.platformSpecifiers = {{"SKU", "a"}, {"SKU", "b"}};
    sys.topologyChanges = {TopologyChange(5, cpu_action::ONLINE, 3, 1, 0, 0)};
    sys.sidToUuid = {{-1, "u1"}, {2, "u2"}};
    sys.edramCap = 1;
    sys.nonNumericVersion = "";

    JsonWriter writer;
    WriterStream::PluginSet writers{&writer};
    {
        WriterStream stream(&writers);
        SystemMessage message(sys);
        stream.pushMessage(message);

        using Fill = TableMessageFillAccess;
        TableMessage t("Ranges", nullptr);
        t.addField("Delta", DataType::INT, false);
        t.addField("Span", DataType::UINT_RANGE, false);
        t.addEntity(root);
        ASSERT_EQ(t.createTable(), 0);
        Fill::set(t, root, 0, int64_t{-5});
        Fill::set(t, root, 1, std::pair<uint64_t, uint64_t>(1, 2));
        stream.pushMessage(t);
    }
    const std::string text = readFile(prefix + ".json");
    const std::string system = JsonWriter::systemJson(sys);
    EXPECT_EQ(system, R"json({
  "appVersion": "2024.1.5",
  "exeBuildDate": "",
  "buildRef": "",
  "driverVersion": "3.2.1",
  "driverBuildDate": "N/A",
  "scuVersion": 0,
  "hostName": "box",
  "osName": "Windows",
  "osType": "",
  "osVersion": "",
  "platformName": "",
  "packageType": "",
  "cpuCodeName": ")json" + sys.getFormattedCPUCodeName() +
                          R"json(",
  "fms": {
    "family": 6,
    "model": 140,
    "stepping": 1
  },
  "platformId": 0,
  "edramCap": 1,
  "igfxId": 0,
  "topology": {
    "packages": 0,
    "modules": 0,
    "cores": 0,
    "logicalProcessors": 0
  },
  "busFreqMHz": 0.0,
  "clockFreqMHz": 2.4,
  "lfmFreqMHz": 0.0,
  "hfmFreqMHz": 0.0,
  "cpuFreqMHz": 3000.0,
  "programStartTime": "N/A",
  "collectionStartTime": "1970-01-01 00:00:01 GMT",
  "collectionDurationSec": 2.5,
  "startTsc": 18446744073709551615,
  "stopTsc": 0,
  "startTimeval": 1000000000,
  "stopTimeval": 3500000000,
  "programStartTimeval": 0,
  "programStopTimeval": 0,
  "pollingIntervalMsecs": 0,
  "continuousCollectionQuantum": 0,
  "maxDetail": 0,
  "commandLine": ["vantry", "-f", "all"],
  "producedSamples": 0,
  "droppedSamples": 0,
  "lowOverheadMode": false,
  "hyperVEnabled": false,
  "vsmEnabled": false,
  "hvciEnabled": false,
  "vtioEnabled": false,
  "platformSpecifiers": [
    {
      "name": "SKU",
      "value": "a"
    },
    {
      "name": "SKU",
      "value": "b"
    }
  ],
  "topologyChanges": [
    {
      "timestamp": 5,
      "action": "ONLINE",
      "logicalProcessor": 3,
      "core": 1,
      "module": 0,
      "package": 0
    }
  ],
  "clockSyncs": [],
  "sidToUuid": {
    "-1": "u1",
    "2": "u2"
  }
})json");
    // The document holds the same object, indented one level deeper.
    std::string nested;
    for (char c : system) {
        nested += c;
        if (c == '\n') {
            nested += "  ";
        }
    }
    EXPECT_EQ(text.substr(0, 14 + nested.size()), "{\n  \"system\": " + nested);
    EXPECT_NE(text.find("\"values\": [\n        [null, -5, [1, 2]]\n      ]"), std::string::npos)
        << text;
    EXPECT_TRUE(cap.loggedExactly({}));
}

TEST_F(JsonWriterTest, NothingReceivedMeansNoFile) {
    {
        JsonWriter writer;
        WriterStream::PluginSet writers{&writer};
        WriterStream stream(&writers);
        pushIntervalTable(stream);
    }
    EXPECT_TRUE(std::filesystem::is_empty(dir));
}

}  // namespace
}  // namespace pwr::test
