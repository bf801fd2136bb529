// Set-up shared by the writer tests: a plug-in environment whose log lines
// and console (data-output) lines are captured, a fresh registry, a result
// file prefix in a directory of its own below the working directory
// (relative, so that the Windows build under Wine can open it), and small
// helpers to build and fill tables.
#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string>
#include <vector>

#include "common/runtime/FileOps.h"
#include "common/data/Data.h"
#include "common/data/Formatter.h"
#include "common/data/DataHandle.h"
#include "common/data/EntityHandle.h"
#include "common/data/UniqueId.h"
#include "common/messages/TableMessage.h"
#include "common/messages/TextMessage.h"
#include "common/plugins/WriterStream.h"
#include "tests/support/EnvironmentCapture.h"

namespace pwr {

// The filling functions of TableMessage are private to the metric code.
struct TableMessageFillAccess {
    // Sets the cell of entity (null: the anonymous row) in column and marks
    // it valid.
    template <typename T>
    static void set(TableMessage& t, const EntityHandle* entity, unsigned int column, T value) {
        const DataHandle* handle = nullptr;
        Data* cell = t.getDataToSet_i(entity, column, handle);
        ASSERT_NE(cell, nullptr);
        ASSERT_EQ(cell->setValue(value), 0);
        t.addValidValue_i(entity, handle);
    }
    template <typename T>
    static void setShared(TableMessage& t, unsigned int column, T value) {
        Data* cell = t.getDataToSet_i(column);
        ASSERT_NE(cell, nullptr);
        ASSERT_EQ(cell->setValue(value), 0);
        t.addValidValue_i(nullptr, *(t.sharedHandleBegin() + column));
    }
};

namespace test {

class WriterTest : public ::testing::Test {
  protected:
    void SetUp() override {
        UniqueId::initialize();
        const auto* info = ::testing::UnitTest::GetInstance()->current_test_info();
        dir = std::string("writers-out/") + info->test_suite_name() + "." + info->name();
        std::filesystem::remove_all(dir);
        std::filesystem::create_directories(dir);
        prefix = dir + "/report";
        cap.env().setResultFilePrefix(prefix);
        cap.env().setDataOutputHandle(&console);
        root = EntityHandle::create("SYSTEM", nullptr);
        cpu = EntityHandle::create("CPU", root);
        package = EntityHandle::create("Package 0", cpu);
        core0 = EntityHandle::create("Core 0", package);
        core1 = EntityHandle::create("Core 1", package);
    }
    void TearDown() override {
        cap.env().setDataOutputHandle(nullptr);
        UniqueId::destroy();
    }

    static std::string readFile(const std::string& path) {
        std::ifstream in(path, std::ios::binary);
        std::ostringstream text;
        text << in.rdbuf();
        return text.str();
    }
    // The tables every table writer is tried on, each built, filled, pushed
    // and destroyed at once, as the accumulators do.

    // Per-entity columns; rows added out of id order; a unit with a
    // non-ASCII sign; a formatter that pads; one cell never set; notes.
    void pushTemperatureTable(WriterStream& stream) {
        using Fill = TableMessageFillAccess;
        TextNotes notes;
        notes.addPreTableNote("Sampled every 100 ms");
        notes.addPostTableNote("Two lines\nof notes\n");
        TableMessage t("Temperature Summary - Sampled: Min/Max/Avg", nullptr);
        t.setTextNotes(&notes);
        t.setTableClass(TableClass::SUMMARY);
        t.setTableMessageType(TableMessageType::MIN_MAX_AVG);
        t.addField(
            "Min (\xC2\xB0"
            "C)",
            DataType::UINT, false);
        t.addField(
            "Max (\xC2\xB0"
            "C)",
            DataType::UINT, UIntFormatter(6), false);
        t.addField(
            "Avg (\xC2\xB0"
            "C)",
            DataType::REAL, RealFormatter(0, 2), false);
        t.addEntity(core1);
        t.addEntity(core0);
        ASSERT_EQ(t.createTable(), 0);
        Fill::set(t, core0, 0, uint64_t{45});
        Fill::set(t, core0, 1, uint64_t{60});
        Fill::set(t, core0, 2, 52.25);
        Fill::set(t, core1, 0, uint64_t{7});
        Fill::set(t, core1, 1, uint64_t{100});
        stream.pushMessage(t);
    }

    // Shared columns only, refilled and pushed once per entry.
    void pushTopTenTable(WriterStream& stream, const std::string& secondName = "IRQ \"edge\"") {
        using Fill = TableMessageFillAccess;
        TableMessage t("Events Summary: Top 10 Most-Frequent", nullptr);
        t.setTableClass(TableClass::SUMMARY);
        t.setTableMessageType(TableMessageType::TOP_TEN_EVENT);
        t.addField("Event Name", DataType::STRING, true);
        t.addField("Count", DataType::UINT, true);
        ASSERT_EQ(t.createTable(), 0);
        Fill::setShared(t, 0, std::string("Timer, periodic"));
        Fill::setShared(t, 1, uint64_t{12});
        stream.pushMessage(t);
        Fill::setShared(t, 0, secondName);
        Fill::setShared(t, 1, uint64_t{3});
        stream.pushMessage(t);
    }

    // Entity rows plus a shared total, to be shown transposed.
    void pushTransposedTable(WriterStream& stream) {
        using Fill = TableMessageFillAccess;
        TableMessage t("Core C-State Summary: Residency (Percentage)", nullptr);
        t.setTableClass(TableClass::SUMMARY);
        t.setTableMessageType(TableMessageType::RESIDENCY_PERCENTAGE);
        t.setTransposed(true);
        t.addField("Total", DataType::UINT, true);  // column 0: shared first
        t.addField("C0 (%)", DataType::REAL, RealFormatter(0, 2), false);
        t.addEntity(core0);
        t.addEntity(core1);
        ASSERT_EQ(t.createTable(), 0);
        Fill::setShared(t, 0, uint64_t{42});
        Fill::set(t, core0, 1, 12.5);
        Fill::set(t, core1, 1, 87.5);
        stream.pushMessage(t);
    }

    // A table of a class the table writers leave alone.
    void pushIntervalTable(WriterStream& stream) {
        using Fill = TableMessageFillAccess;
        TableMessage t("Interval", nullptr);
        t.setTableClass(TableClass::INTERVAL);
        t.addField("V", DataType::UINT, false);
        t.addEntity(core0);
        ASSERT_EQ(t.createTable(), 0);
        Fill::set(t, core0, 0, uint64_t{1});
        stream.pushMessage(t);
    }

    static bool exists(const std::string& path) { return std::filesystem::exists(path); }
    // The system's reason for not creating a file at path, as the writers
    // report it ("No such file or directory" on POSIX for a missing folder).
    static std::string missingFolderReason(const std::string& path) {
        pwr::NewFile probe;
        std::string error;
        EXPECT_FALSE(probe.create(path + ".probe", ".tmp", error));
        EXPECT_FALSE(probe.failureReason().empty());
        return probe.failureReason();
    }
    // Whether a temporary file of the final name path ("<path>.<unique>.tmp")
    // is in its folder.
    static bool temporaryExists(const std::string& path) {
        const std::filesystem::path final = std::filesystem::u8path(path);
        const std::string stem = final.filename().u8string() + ".";
        std::error_code ec;
        const std::filesystem::path folder =
            final.has_parent_path() ? final.parent_path() : std::filesystem::path(".");
        for (std::filesystem::directory_iterator it(folder, ec), end; !ec && it != end;
             it.increment(ec)) {
            const std::string name = it->path().filename().u8string();
            if (name.size() == stem.size() + 16 + 4 && name.compare(0, stem.size(), stem) == 0 &&
                name.compare(name.size() - 4, 4, ".tmp") == 0) {
                return true;
            }
        }
        return false;
    }
    std::string consoleText() const {
        std::string text;
        for (const std::string& line : console.lines()) {
            text += line;
        }
        return text;
    }

    EnvironmentCapture cap;
    CapturingLogger console;
    std::string dir;
    std::string prefix;
    const EntityHandle* root = nullptr;
    const EntityHandle* cpu = nullptr;
    const EntityHandle* package = nullptr;
    const EntityHandle* core0 = nullptr;
    const EntityHandle* core1 = nullptr;
};

}  // namespace test
}  // namespace pwr
