#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "common/data/EntityHandle.h"
#include "common/messages/TableMessage.h"
#include "common/plugins/Plugin.h"
#include "common/plugins/WriterPlugin.h"
#include "common/serialize/SystemMetadata.h"
#include "tests/support/LogCapture.h"

namespace pwr {
namespace {

// Records the parameters it sees when the base tells it they were set.
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

TEST(PluginTest, ParametersAreStoredBeforeThePluginIsTold) {
    ParamsPlugin plugin;
    plugin.setCommandlineParams({"-rate", "10"});
    plugin.setCommandlineParams({});
    EXPECT_EQ(plugin.seen, (std::vector<std::vector<std::string>>{{"-rate", "10"}, {}}));
}

class WriterPluginTest : public test::RegistryTest {};

TEST_F(WriterPluginTest, FieldNamesAndValuesFromHandles) {
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

    EXPECT_EQ(WriterPlugin::getFieldValueFromHandle(table, core, c6), "");
    EXPECT_TRUE(log.logged("WARNING: No data in table yet C-states\n"));
}

}  // namespace
}  // namespace pwr
