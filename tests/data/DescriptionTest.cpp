#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "common/data/Attribute.h"
#include "common/data/AttributeValueManager.h"
#include "common/data/DataDescriptor.h"
#include "common/data/Description.h"
#include "common/data/Event.h"
#include "common/data/Field.h"
#include "common/data/Quantity.h"
#include "common/data/State.h"
#include "tests/support/LogCapture.h"

namespace pwr {
namespace {

const std::string kNullAttribute = "WARNING: Please provide a valid non-null attribute to set.\n";

// Descriptions, the attributes that qualify them, and the handles made from
// them.
class DescriptionTest : public test::RegistryTest {
  protected:
    void SetUp() override {
        RegistryTest::SetUp();
        source = Attribute::create("Source", Quantity::operations(), AttributeType::SOURCE);
        target = Attribute::create("Target", nullptr, AttributeType::TARGET);
    }
    EventDescription wake(const Data& sourceValue) const {
        EventDescription d("Wake", "W");
        d.addAttributeValue(source, sourceValue);
        d.addAttributeValue(target, Data(std::string("Core 1")));
        return d;
    }
    const Attribute* source = nullptr;
    const Attribute* target = nullptr;
};

TEST_F(DescriptionTest, ShortNameFallsBackToTheName) {
    const EventDescription event("Interrupt", "");
    EXPECT_EQ(event.getShortName(), "Interrupt");
    EXPECT_EQ(event.getFieldName(), "Interrupt");
    EXPECT_EQ(event.getType(), DescriptionType::EVENT);
    const StateDescription state("Package C6", "PC6");
    EXPECT_EQ(state.getShortName(), "PC6");
    EXPECT_EQ(state.getType(), DescriptionType::STATE);
}

TEST_F(DescriptionTest, EveryCreateRegistersAndTheTypeLookupKeepsTheFirst) {
    EXPECT_EQ(UniqueId::find(source->getId()), source);
    EXPECT_EQ(source->getQuantity(), Quantity::operations());
    EXPECT_EQ(Attribute::get(AttributeType::SOURCE), source);
    EXPECT_EQ(Attribute::get(AttributeType::TARGET), target);
    // A second create of a taken type makes a new attribute with its own
    // name and quantity; the lookup by type still gives the first.
    const Attribute* other = Attribute::create("Other", Quantity::power(), AttributeType::SOURCE);
    ASSERT_NE(other, source);
    EXPECT_EQ(UniqueId::find(other->getId()), other);
    EXPECT_EQ(other->getName(), "Other");
    EXPECT_EQ(other->getQuantity(), Quantity::power());
    EXPECT_EQ(Attribute::get(AttributeType::SOURCE), source);
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

TEST_F(DescriptionTest, ValueManagerKeepsInsertionOrderAndReportsDuplicates) {
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

TEST_F(DescriptionTest, DynamicValuesAreOverwrittenAndOrderedById) {
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

TEST_F(DescriptionTest, StatesCopyTheDescriptionsAttributeValues) {
    StateDescription description("P-state", "");
    description.setHeader("Frequency states");
    EXPECT_EQ(description.addAttributeValue(source, Data(uint64_t(800)), true), 0);
    EXPECT_EQ(description.addAttributeValue(source, Data(uint64_t(1200)), true), 0);
    EXPECT_EQ(description.getAttributeValues().getAttributeCount(), 1u);

    const State* first = State::create(description);
    EXPECT_NE(State::create(description), first);
    EXPECT_EQ(first->getHandleType(), DataHandleType::STATE);
    EXPECT_EQ(first->getHeader(), "Frequency states");
    ASSERT_NE(first->getAttributeValue(source), nullptr);
    EXPECT_EQ(*first->getAttributeValue(source), Data(uint64_t(1200)));

    // Without replace the value is appended beside the first one.
    description.addAttributeValue(source, Data(uint64_t(1600)), false);
    const State* third = State::create(description);
    EXPECT_EQ(*third->getAttributeValue(source), Data(uint64_t(1600)));
    EXPECT_EQ(third->getAttributeCount(), 2u);
    EXPECT_EQ(first->getAttributeCount(), 1u);

    const Field* a = Field::create(FieldDescription("Count", "N"));
    const Field* b = Field::create(Description("Count", "N"));
    EXPECT_NE(a, b);
    EXPECT_EQ(a->getHandleType(), DataHandleType::FIELD);
    EXPECT_EQ(UniqueId::find(b->getId()), b);
}

TEST_F(DescriptionTest, KeyListsNameShortNameAndEachValue) {
    EXPECT_EQ(EventDescription("Wake", "").getKey(), "Wake-Wake");
    const std::string expected = "Wake-W-" + std::to_string(source->getId()) + "-5-" +
                                 std::to_string(target->getId()) + "-Core 1";
    EXPECT_EQ(wake(Data(uint64_t(5))).getKey(), expected);
    DataDescriptorBuilder builder("C6", "");
    builder.addAttributeValue(source, Data(2.25));
    EXPECT_EQ(builder.getKey(), "C6-C6-" + std::to_string(source->getId()) + "-2.2");
}

TEST_F(DescriptionTest, EqualEventDescriptionsShareOneEvent) {
    const Event* first = Event::create(wake(Data(uint64_t(5))));
    EXPECT_EQ(Event::create(wake(Data(uint64_t(5)))), first);
    EXPECT_EQ(first->getHandleType(), DataHandleType::EVENT);
    EXPECT_EQ(*first->getAttributeValue(source), Data(uint64_t(5)));

    // 1.04 and 1.01 print alike, so both land in one key list; they are
    // still different events, and each is found again in that list.
    ASSERT_EQ(wake(Data(1.04)).getKey(), wake(Data(1.01)).getKey());
    const Event* a = Event::create(wake(Data(1.04)));
    const Event* b = Event::create(wake(Data(1.01)));
    EXPECT_NE(a, b);
    EXPECT_EQ(Event::create(wake(Data(1.01))), b);
    EXPECT_EQ(Event::create(wake(Data(1.04))), a);
    // INT 5 prints like UINT 5 but is another value.
    EXPECT_NE(Event::create(wake(Data(int64_t(5)))), first);
    // A different short name is a different key.
    EventDescription shortName("Wake", "Wk");
    shortName.addAttributeValue(source, Data(uint64_t(5)));
    shortName.addAttributeValue(target, Data(std::string("Core 1")));
    EXPECT_NE(Event::create(shortName), first);

    // Equal needs the same name, the same number of values, and each of the
    // event's attributes with its value.
    EXPECT_FALSE(first->equal(wake(Data(uint64_t(6)))));
    EventDescription renamed("Sleep", "W");
    renamed.addAttributeValue(source, Data(uint64_t(5)));
    renamed.addAttributeValue(target, Data(std::string("Core 1")));
    EXPECT_FALSE(first->equal(renamed));
    EventDescription fewer("Wake", "W");
    fewer.addAttributeValue(source, Data(uint64_t(5)));
    EXPECT_FALSE(first->equal(fewer));
    fewer.addAttributeValue(Attribute::create("Reason", nullptr, AttributeType::REASON),
                            Data(std::string("Core 1")));
    EXPECT_FALSE(first->equal(fewer));
    EXPECT_TRUE(log.loggedExactly({}));
}

TEST_F(DescriptionTest, DataDescriptorsAreDeduplicatedTheSameWay) {
    DataDescriptorBuilder builder("C6", "");
    builder.addAttributeValue(source, Data(uint64_t(3)));
    const DataDescriptor* c6 = DataDescriptor::create(builder);
    EXPECT_EQ(DataDescriptor::create(builder), c6);
    EXPECT_EQ(c6->getHandleType(), DataHandleType::DATA_DESCRIPTOR);

    DataDescriptorBuilder other("C6", "");
    other.addAttributeValue(source, Data(uint64_t(4)));
    EXPECT_NE(DataDescriptor::create(other), c6);
    EXPECT_NE(DataDescriptor::create(DataDescriptorBuilder("C6", "")), c6);
}

}  // namespace
}  // namespace pwr
