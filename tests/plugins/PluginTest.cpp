#include <gtest/gtest.h>

#include <cstdint>
#include <deque>
#include <string>
#include <vector>

#include "common/data/EntityHandle.h"
#include "common/messages/IdMessage.h"
#include "common/messages/MetricContainerInfoMessage.h"
#include "common/messages/SystemMessage.h"
#include "common/messages/TableMessage.h"
#include "common/messages/TextMessage.h"
#include "common/plugins/CollectionData.h"
#include "common/plugins/CollectorPlugin.h"
#include "common/plugins/MetricPlugin.h"
#include "common/plugins/VexaBuffer.h"
#include "common/plugins/WriterPlugin.h"
#include "common/plugins/WriterPluginCapability.h"
#include "common/serialize/SystemMetadata.h"
#include "tests/support/LogCapture.h"

namespace pwr {
namespace {

// Records the order of the calls the base makes into a plug-in.
class ParamsPlugin : public Plugin {
  public:
    ParamsPlugin() : Plugin("Params", "7d3e9c1a-0000-4000-8000-00000000000a") {}
    ResetReturnCode reset(ResetReason, uint64_t, const SystemMetadata&) override {
        return ResetReturnCode::NOT_NEEDED;
    }
    std::vector<std::vector<std::string>> seen;

  protected:
    void notifyCommandlineParamsSet_i() override { seen.push_back(getCommandlineParams()); }
};

class TestCollector : public CollectorPlugin {
  public:
    TestCollector() : CollectorPlugin("Collector") {}
    ResetReturnCode reset(ResetReason, uint64_t, const SystemMetadata&) override {
        return ResetReturnCode::SUCCESS;
    }
    int getContinuousResult(VexaBuffer&, CollectionData&) override { return 0; }
};

class TestMetricPlugin : public MetricPlugin {
  public:
    TestMetricPlugin() : MetricPlugin("Metrics") {}
    ResetReturnCode reset(ResetReason, uint64_t, const SystemMetadata&) override {
        return ResetReturnCode::SUCCESS;
    }
    int processMetadata(const Metadata*) override { return 0; }
    int initializeCollection(const std::vector<const InputMsg*>&,
                             const std::vector<const Metadata*>&, const std::string&,
                             const AttributePairs&, const SystemMetadata&) override {
        return 0;
    }
    int getDynamicHelpDisplayType(const std::string&, const AttributePairs&,
                                  const SystemMetadata&) override {
        return 0;
    }
    int finalizeCollection(const std::string&, const AttributePairs&,
                           const SystemMetadata&) override {
        return 0;
    }
    bool getOrgMsgTag(const vexa_driver_msg*, std::string&) const override { return false; }
    bool getOrgMsgPayload(const vexa_driver_msg*, std::string&) const override { return false; }
};

// A writer that overrides nothing it need not.
class PlainWriter : public WriterPlugin {
  public:
    PlainWriter() : WriterPlugin("Plain") {}
    ResetReturnCode reset(ResetReason, uint64_t, const SystemMetadata&) override {
        return ResetReturnCode::SUCCESS;
    }
    int flushContinuousResults(const SystemMetadata&) override { return 0; }
    int getColumnTitles(const TableMessage&, std::deque<std::string>&) const override { return 0; }
    int getRowValues(const TableMessage&, std::deque<std::string>&) const override { return 0; }
    void add(PluginCapability* cap) { addCapability(cap); }
};

// --- Plugin ------------------------------------------------------------------

TEST(PluginTest, IdentityAndSID) {
    ParamsPlugin plugin;
    EXPECT_EQ(plugin.getName(), "Params");
    EXPECT_EQ(plugin.getUUID(), "7d3e9c1a-0000-4000-8000-00000000000a");
    EXPECT_EQ(plugin.getSID(), Plugin::c_noSID);
    plugin.setSID(42);
    EXPECT_EQ(plugin.getSID(), 42);
    EXPECT_TRUE(plugin.getCapabilities().empty());
}

TEST(PluginTest, ParametersAreStoredBeforeThePluginIsTold) {
    ParamsPlugin plugin;
    EXPECT_TRUE(plugin.getCommandlineParams().empty());
    plugin.setCommandlineParams({"-rate", "10"});
    plugin.setCommandlineParams({});
    ASSERT_EQ(plugin.seen.size(), 2u);
    EXPECT_EQ(plugin.seen[0], (std::vector<std::string>{"-rate", "10"}));
    EXPECT_TRUE(plugin.seen[1].empty());
}

TEST(PluginTest, BaseDefaultsDoNothing) {
    test::LogCapture log;
    ParamsPlugin plugin;
    AttributePairs version = {{"build", "7"}};
    plugin.getVersion(version);
    EXPECT_EQ(version, (AttributePairs{{"build", "7"}}));
    plugin.handleBroadcastOption("-verbose");
    SystemMetadata sys;
    EXPECT_EQ(plugin.reset(ResetReason::SYSTEM_RESET, 0, sys), ResetReturnCode::NOT_NEEDED);
    EXPECT_TRUE(log.loggedExactly({}));
}

// --- CollectorPlugin ---------------------------------------------------------

TEST(PluginTest, CollectorDefaults) {
    TestCollector collector;
    EXPECT_TRUE(collector.canCollectMessage(nullptr));
    EXPECT_FALSE(collector.doesSupportLowOverhead());
    EXPECT_EQ(collector.continuousCollectionTick(), 1);
    EXPECT_EQ(collector.doImmediateRead(nullptr, std::string("pkg")), -1);
    EXPECT_EQ(collector.doImmediateRead(nullptr, static_cast<const EntityHandle*>(nullptr)), -1);
    EXPECT_EQ(collector.doImmediateWrite(nullptr, std::string("pkg")), -1);
    EXPECT_EQ(collector.doImmediateWrite(static_cast<const InputMsg*>(nullptr)), -1);
    EXPECT_EQ(collector.getClockSource(), nullptr);
    EXPECT_TRUE(collector.getSupportedOperations().empty());
}

TEST(PluginTest, CollectorKeepsOperationsInOrder) {
    TestCollector collector;
    // Operations are only stored, never looked into: stand-in addresses do.
    alignas(8) unsigned char storage[2] = {};
    const auto* a = reinterpret_cast<const Operation*>(&storage[0]);
    const auto* b = reinterpret_cast<const Operation*>(&storage[1]);
    collector.addOperation(b);
    collector.addOperation(nullptr);
    collector.addOperation(a);
    EXPECT_EQ(collector.getSupportedOperations(), (std::vector<const Operation*>{b, a}));
}

// --- MetricPlugin ------------------------------------------------------------

TEST(PluginTest, MetricPluginConfigFileName) {
    TestMetricPlugin plugin;
    EXPECT_EQ(plugin.getConfigFileName(), "");
    plugin.setConfigFileName("config/pkgpwr.cfg");
    EXPECT_EQ(plugin.getConfigFileName(), "config/pkgpwr.cfg");
    std::string out = "untouched";
    EXPECT_FALSE(plugin.getOrgMsgTag(nullptr, out));
    EXPECT_EQ(out, "untouched");
}

// --- WriterPlugin ------------------------------------------------------------

class WriterPluginTest : public test::RegistryTest {};

TEST_F(WriterPluginTest, DefaultWriteMessagesAcceptEverything) {
    PlainWriter writer;
    IdMessage id;
    TextMessage text(nullptr);
    HeaderTextMessage header(nullptr);
    MetricContainerInfoMessage info;
    SystemMetadata sys;
    SystemMessage system(sys);
    TableMessage table("Summary", nullptr);
    EXPECT_EQ(writer.writeMessage(id), 0);
    EXPECT_EQ(writer.writeMessage(text), 0);
    EXPECT_EQ(writer.writeMessage(header), 0);
    EXPECT_EQ(writer.writeMessage(info), 0);
    EXPECT_EQ(writer.writeMessage(system), 0);
    EXPECT_EQ(writer.writeMessage(table), 0);
    writer.cleanup();
    EXPECT_TRUE(log.loggedExactly({}));
}

TEST_F(WriterPluginTest, WriterRegistersCapabilitiesAsTheBase) {
    PlainWriter writer;
    auto* cap = new WriterPluginCapability("csv", "CSV", "csv", {TableClass::SUMMARY});
    writer.add(cap);
    ASSERT_EQ(writer.getCapabilities().size(), 1u);
    EXPECT_EQ(writer.getCapabilities()[0], cap);
    EXPECT_EQ(cap->getOwner(), &writer);
}

TEST_F(WriterPluginTest, FieldNamesFromHandles) {
    const EntityHandle* system = EntityHandle::create("SYSTEM", nullptr);
    const EntityHandle* package = EntityHandle::create("Package0", system);
    const EntityHandle* core = EntityHandle::create("Core1", package);
    TableMessage table("C-states", nullptr);
    ASSERT_EQ(table.addField("Total", DataType::UINT, true), 0);
    ASSERT_EQ(table.addField("C6", DataType::UINT, false), 0);
    ASSERT_EQ(table.addEntity(core), 0);
    ASSERT_EQ(table.createTable(), 0);
    const DataHandle* total = *table.sharedHandleBegin();
    const DataHandle* c6 = *table.handleBegin();

    EXPECT_EQ(WriterPlugin::getFieldNameFromHandle(table, core, c6), "Package0/Core1/C6");
    EXPECT_EQ(WriterPlugin::getFieldNameFromHandle(table, nullptr, c6), "C6");
    // A shared column is the table's, not the row's.
    EXPECT_EQ(WriterPlugin::getFieldNameFromHandle(table, core, total), "Total");
    EXPECT_EQ(WriterPlugin::getFieldNameFromHandle(table, core, nullptr), "");
    TableMessage other("Other", nullptr);
    ASSERT_EQ(other.addField("C7", DataType::UINT, false), 0);
    EXPECT_EQ(WriterPlugin::getFieldNameFromHandle(table, core, *other.handleBegin()), "");
}

TEST_F(WriterPluginTest, FieldValueOfAnUnfilledTableIsEmpty) {
    const EntityHandle* core = EntityHandle::create("Core0", nullptr);
    TableMessage table("C-states", nullptr);
    ASSERT_EQ(table.addField("C6", DataType::UINT, false), 0);
    ASSERT_EQ(table.addEntity(core), 0);
    ASSERT_EQ(table.createTable(), 0);
    EXPECT_EQ(WriterPlugin::getFieldValueFromHandle(table, core, *table.handleBegin()), "");
    EXPECT_TRUE(log.logged("WARNING: No data in table yet C-states\n"));
}

// --- VexaBuffer and CollectionData -------------------------------------------

TEST(PluginTest, VexaBufferAppendsBytes) {
    VexaBuffer buffer(16);
    EXPECT_TRUE(buffer.empty());
    const char text[] = "abc";
    EXPECT_TRUE(buffer.append(text, 3));
    EXPECT_TRUE(buffer.append(nullptr, 0));
    EXPECT_FALSE(buffer.append(nullptr, 4));
    EXPECT_TRUE(buffer.append(text + 1, 2));
    ASSERT_EQ(buffer.size(), 5u);
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(buffer.data()), buffer.size()), "abcbc");
    VexaBuffer copy(buffer);
    EXPECT_EQ(copy, buffer);
    buffer.clear();
    EXPECT_NE(copy, buffer);
    buffer.resize(2);
    EXPECT_EQ(buffer.data()[1], 0);
}

TEST(PluginTest, CollectionDataResets) {
    CollectionData data;
    data.setStartTimestamp(1);
    data.setStopTimestamp(2);
    data.setStartTimeval(3);
    data.setStopTimeval(4);
    data.setSamplesProduced(5);
    data.setSamplesDropped(6);
    data.setClockUUID("clock");
    data.setResultFile("result.vxr");
    EXPECT_EQ(data.getStartTimestamp(), 1u);
    EXPECT_EQ(data.getStopTimestamp(), 2u);
    EXPECT_EQ(data.getStartTimeval(), 3u);
    EXPECT_EQ(data.getStopTimeval(), 4u);
    EXPECT_EQ(data.getSamplesProduced(), 5u);
    EXPECT_EQ(data.getSamplesDropped(), 6u);
    EXPECT_EQ(data.getClockUUID(), "clock");
    EXPECT_EQ(data.getResultFile(), "result.vxr");
    data.reset();
    EXPECT_EQ(data.getStartTimestamp(), 0u);
    EXPECT_EQ(data.getStopTimestamp(), 0u);
    EXPECT_EQ(data.getStartTimeval(), 0u);
    EXPECT_EQ(data.getStopTimeval(), 0u);
    EXPECT_EQ(data.getSamplesProduced(), 0u);
    EXPECT_EQ(data.getSamplesDropped(), 0u);
    EXPECT_EQ(data.getClockUUID(), "");
    EXPECT_EQ(data.getResultFile(), "");
}

}  // namespace
}  // namespace pwr
