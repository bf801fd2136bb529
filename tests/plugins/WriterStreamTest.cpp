#include <gtest/gtest.h>

#include <deque>
#include <memory>
#include <set>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "common/data/EntityHandle.h"
#include "common/messages/IdMessage.h"
#include "common/messages/TableMessage.h"
#include "common/messages/TextMessage.h"
#include "common/plugins/PluginEnvironment.h"
#include "common/plugins/WriterPlugin.h"
#include "common/plugins/WriterPluginCapability.h"
#include "common/plugins/WriterStream.h"
#include "tests/support/LogCapture.h"

namespace pwr {

struct TableMessageFillAccess {
    static Data* cell(TableMessage& t, const EntityHandle* e, unsigned int column) {
        const DataHandle* h = nullptr;
        return t.getDataToSet_i(e, column, h);
    }
};

namespace {

// What every recording writer saw, in delivery order across writers.
struct Delivery {
    const WriterPlugin* writer;
    MessageType type;
    std::string detail;
};

class RecordingWriter : public WriterPlugin {
  public:
    RecordingWriter(std::vector<Delivery>* log, std::set<TableClass> tables = {})
        : WriterPlugin("recorder"), m_log(log) {
        addCapability(new WriterPluginCapability("rec", "records", ".rec", tables));
    }
    ResetReturnCode reset(ResetReason, uint64_t, const SystemMetadata&) override {
        return ResetReturnCode::SUCCESS;
    }
    int writeMessage(const TableMessage& t) override {
        // A writer sees the cells still set: the reset comes after all writers.
        const Data* cell = nullptr;
        bool valid = false;
        t.getFieldValue(*t.entityBegin(), *t.fieldBegin(), cell, valid);
        m_log->push_back({this, t.getMessageType(), t.getTitle() + (valid ? " set" : " unset")});
        return 0;
    }
    int writeMessage(const IdMessage& m) override {
        for (const UniqueId* id : m) {
            const auto* h = dynamic_cast<const DataHandle*>(id);
            m_log->push_back({this, m.getMessageType(), h ? h->getName() : "?"});
        }
        return 0;
    }
    int writeMessage(const TextMessage& m) override {
        m_log->push_back({this, m.getMessageType(), m.getMessage()});
        return 0;
    }
    int flushContinuousResults(const SystemMetadata&) override { return 0; }
    void cleanup() override { m_log->push_back({this, MessageType::TEXT, "cleanup"}); }
    int getColumnTitles(const TableMessage&, std::deque<std::string>&) const override { return 0; }
    int getRowValues(const TableMessage&, std::deque<std::string>&) const override { return 0; }

  private:
    std::vector<Delivery>* m_log;
};

class WriterStreamTest : public test::RegistryTest {
  protected:
    void SetUp() override {
        RegistryTest::SetUp();
        for (int i = 0; i < 3; ++i) {
            owned.emplace_back(new RecordingWriter(&deliveries));
            writers.insert(owned.back().get());
        }
    }
    std::vector<Delivery> deliveries;
    std::vector<std::unique_ptr<RecordingWriter>> owned;
    WriterStream::PluginSet writers;
};

TEST_F(WriterStreamTest, EveryWriterGetsTheTableInPointerOrderThenItIsReset) {
    const EntityHandle* core = EntityHandle::create("Core 0", nullptr);
    TableMessage t("Residency", nullptr);
    t.addField("C0", DataType::UINT, false);
    t.addEntity(core);
    t.createTable();
    TableMessageFillAccess::cell(t, core, 0)->setValue(uint64_t{5});
    {
        WriterStream stream(&writers);
        EXPECT_EQ(stream.pushMessage(t), 0);
        ASSERT_EQ(deliveries.size(), 3u);
        auto expected = writers.begin();
        for (const Delivery& d : deliveries) {
            EXPECT_EQ(d.writer, *expected++);
            EXPECT_EQ(d.type, MessageType::TABLE);
            EXPECT_EQ(d.detail, "Residency set");
        }
        const Data* cell = nullptr;
        bool valid = true;
        EXPECT_EQ(t.getFieldValue(core, *t.fieldBegin(), cell, valid), 0);
        EXPECT_FALSE(valid);
        EXPECT_EQ(t.validBegin(), t.validEnd());
        deliveries.clear();
    }
    // The stream's end lets every writer clean up.
    ASSERT_EQ(deliveries.size(), 3u);
    for (const Delivery& d : deliveries) {
        EXPECT_EQ(d.detail, "cleanup");
    }
    EXPECT_TRUE(log.loggedExactly({}));
}

TEST_F(WriterStreamTest, HandlesAreAnnouncedBeforeTheTablesThatUseThem) {
    PluginEnvironment env;
    env.setErrorLogger(log.context().getErrorLogger());
    env.setDebugLogger(log.context().getDebugLogger());
    WriterStream stream(&writers);
    env.setWriterStream(&stream);
    const EntityHandle* gpu = EntityHandle::create("GPU", nullptr);
    TableMessage t("Busy", nullptr);
    t.addField("Busy", DataType::UINT, false);  // announces the column's field
    t.addEntity(gpu);
    t.createTable();
    stream.pushMessage(t);
    // Text messages deliver through the environment's stream too.
    TextMessage note;
    note.setMessage("hello");
    stream.pushTextMessage("bye");
    env.setWriterStream(nullptr);

    std::vector<std::string> seen;
    for (const Delivery& d : deliveries) {
        if (d.writer == *writers.begin()) {
            seen.push_back(std::to_string(static_cast<int>(d.type)) + ":" + d.detail);
        }
    }
    EXPECT_EQ(seen,
              (std::vector<std::string>{"1:GPU", "1:Busy", "0:Busy unset", "2:hello", "2:bye"}));
    EXPECT_THROW(stream.pushTextMessage("lost"), std::runtime_error);
}

TEST_F(WriterStreamTest, WithoutWritersNothingIsDeliveredAndTheCallerIsTold) {
    WriterStream none(nullptr);
    WriterStream::PluginSet emptySet;
    WriterStream empty(&emptySet);
    TextMessage m(nullptr);
    EXPECT_EQ(none.pushMessage(m), -1);
    EXPECT_EQ(empty.pushMessage(m), -1);
    EXPECT_EQ(none.pushMessage(static_cast<const Metric*>(nullptr)), 1);
    EXPECT_TRUE(log.loggedExactly(
        {"WARNING: No plugins setup for stream\n", "WARNING: No plugins setup for stream\n",
         "WARNING: Error pushing null Metric object to Writer stream.\n"}));
    try {
        none.pushTextMessage("x");
        FAIL() << "no environment: must throw";
    } catch (const std::runtime_error& e) {
        EXPECT_STREQ(e.what(), "ERROR: Writer stream is not initialized");
    }
}

TEST_F(WriterStreamTest, SupportedTableClassesComeFromTheWriters) {
    RecordingWriter summary(&deliveries, {TableClass::SUMMARY});
    RecordingWriter interval(&deliveries, {TableClass::INTERVAL, TableClass::SUMMARY});
    WriterStream::PluginSet set{&summary, &interval};
    WriterStream stream(&set);
    EXPECT_TRUE(stream.isSupportedTableClass(TableClass::SUMMARY));
    EXPECT_TRUE(stream.isSupportedTableClass(TableClass::INTERVAL));
    EXPECT_FALSE(stream.isSupportedTableClass(TableClass::TIMELINE));
}

}  // namespace
}  // namespace pwr
