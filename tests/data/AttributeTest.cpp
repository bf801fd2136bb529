#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "common/data/Attribute.h"
#include "common/data/AttributeValueManager.h"
#include "common/data/Quantity.h"
#include "tests/support/LogCapture.h"

namespace pwr {
namespace {

const std::string kNullAttribute = "WARNING: Please provide a valid non-null attribute to set.\n";

class AttributeTest : public test::RegistryTest {
  protected:
    void SetUp() override {
        RegistryTest::SetUp();
        source = Attribute::create("Source", Quantity::operations(), AttributeType::SOURCE);
        target = Attribute::create("Target", nullptr, AttributeType::TARGET);
    }
    const Attribute* source = nullptr;
    const Attribute* target = nullptr;
};

TEST_F(AttributeTest, OneRegisteredAttributePerType) {
    EXPECT_EQ(source->getIdType(), UniqueIdType::DATA_HANDLE);
    EXPECT_EQ(source->getHandleType(), DataHandleType::FIELD);
    EXPECT_EQ(UniqueId::find(source->getId()), source);
    EXPECT_EQ(source->getQuantity(), Quantity::operations());
    EXPECT_EQ(Attribute::get(AttributeType::SOURCE), source);
    EXPECT_EQ(Attribute::get(AttributeType::TARGET), target);
    // A second create of a taken type hands back the first attribute.
    EXPECT_EQ(Attribute::create("Other", nullptr, AttributeType::SOURCE), source);
    EXPECT_EQ(source->getName(), "Source");
    EXPECT_TRUE(log.loggedExactly({}));

    EXPECT_EQ(Attribute::get(AttributeType::REASON), nullptr);
    EXPECT_EQ(Attribute::get(static_cast<AttributeType>(200)), nullptr);
    EXPECT_TRUE(log.loggedExactly(
        {"WARNING: No attribute of type 3 found\n", "WARNING: No attribute of type 200 found\n"}));

    // A new registry forgets the attributes of the old one.
    UniqueId::destroy();
    UniqueId::initialize();
    log.clear();
    EXPECT_EQ(Attribute::get(AttributeType::SOURCE), nullptr);
    EXPECT_TRUE(log.loggedExactly({"WARNING: No attribute of type 1 found\n"}));
}

TEST_F(AttributeTest, ValueManagerKeepsInsertionOrderAndReportsDuplicates) {
    AttributeValueManager values;
    EXPECT_EQ(values.addAttributeValue(target, Data(std::string("core 1"))), 0);
    EXPECT_EQ(values.addAttributeValue(source, Data(uint64_t(7))), 0);
    EXPECT_EQ(values.addAttributeValue(nullptr, Data(uint64_t(1))), 1);
    EXPECT_TRUE(log.loggedExactly({kNullAttribute}));
    log.clear();

    std::vector<const Attribute*> order;
    for (const auto& entry : values) {
        order.push_back(entry.first);
    }
    EXPECT_EQ(order, (std::vector<const Attribute*>{target, source}));
    EXPECT_EQ(values.getAttributeCount(), 2u);
    ASSERT_NE(values.getAttributeValue(source), nullptr);
    EXPECT_EQ(*values.getAttributeValue(source), Data(uint64_t(7)));
    EXPECT_EQ(values.getAttributeValue(nullptr), nullptr);

    // setAttributeValue replaces in place; addAttributeValue appends a second
    // value, which lookups find and the count reports.
    EXPECT_EQ(values.setAttributeValue(target, Data(std::string("core 2"))), 0);
    EXPECT_EQ(values.getAttributeCount(), 2u);
    EXPECT_EQ(values.begin()->second, Data(std::string("core 2")));
    EXPECT_TRUE(log.loggedExactly({}));
    values.addAttributeValue(source, Data(uint64_t(8)));
    EXPECT_EQ(*values.getAttributeValue(source), Data(uint64_t(8)));
    EXPECT_EQ(values.getAttributeCount(), 3u);
    EXPECT_TRUE(log.loggedExactly({"WARNING: Attribute map and list size mismatch.\n"}));
}

TEST_F(AttributeTest, DynamicValuesAreOverwrittenAndOrderedById) {
    DynamicAttributeValueManager info;
    EXPECT_EQ(info.setAttributeValue(target, Data(uint64_t(1))), 0);
    EXPECT_EQ(info.setAttributeValue(source, Data(uint64_t(2))), 0);
    EXPECT_EQ(info.setAttributeValue(target, Data(std::string("x"))), 0);
    EXPECT_EQ(info.setAttributeValue(nullptr, Data(uint64_t(3))), 1);
    EXPECT_TRUE(log.loggedExactly({kNullAttribute}));
    EXPECT_EQ(info.getAttributeCount(), 2u);
    EXPECT_EQ(*info.getAttributeValue(target), Data(std::string("x")));
    std::vector<uint64_t> ids;
    for (const auto& entry : info) {
        ids.push_back(entry.first);
    }
    EXPECT_EQ(ids, (std::vector<uint64_t>{source->getId(), target->getId()}));

    ExpectedAttributeManager expected;
    EXPECT_EQ(expected.addAttribute(target), 0);
    EXPECT_EQ(expected.addAttribute(nullptr), 1);
    EXPECT_EQ(expected.getAttributeCount(), 1u);
    EXPECT_EQ(*expected.begin(), target);
}

}  // namespace
}  // namespace pwr
