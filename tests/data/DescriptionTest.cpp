#include <gtest/gtest.h>

#include <string>

#include "common/data/Attribute.h"
#include "common/data/Description.h"
#include "common/data/Field.h"
#include "common/data/State.h"
#include "tests/support/LogCapture.h"

namespace pwr {
namespace {

class DescriptionTest : public test::RegistryTest {};

TEST_F(DescriptionTest, ShortNameFallsBackToTheName) {
    const EventDescription event("Interrupt", "");
    EXPECT_EQ(event.getShortName(), "Interrupt");
    EXPECT_EQ(event.getFieldName(), "Interrupt");
    EXPECT_EQ(event.getType(), DescriptionType::EVENT);
    const StateDescription state("Package C6", "PC6");
    EXPECT_EQ(state.getShortName(), "PC6");
    EXPECT_EQ(state.getFieldName(), "Package C6");
    EXPECT_EQ(state.getType(), DescriptionType::STATE);
    const FieldDescription field("Frequency", "");
    EXPECT_EQ(field.getShortName(), "Frequency");
    EXPECT_NE(field.getType(), DescriptionType::STATE);
    const DataDescriptorBuilder builder("Temperature", "T");
    EXPECT_EQ(builder.getShortName(), "T");
    EXPECT_EQ(builder.getFieldName(), "Temperature");
}

TEST_F(DescriptionTest, StatesCopyTheDescriptionsAttributeValues) {
    const Attribute* level = Attribute::create("Level", nullptr, AttributeType::LEVEL);
    StateDescription description("P-state", "");
    description.setHeader("Frequency states");
    EXPECT_EQ(description.addAttributeValue(level, Data(uint64_t(800)), true), 0);
    EXPECT_EQ(description.addAttributeValue(level, Data(uint64_t(1200)), true), 0);
    EXPECT_EQ(description.getAttributeValues().getAttributeCount(), 1u);
    EXPECT_EQ(description.addAttributeValue(nullptr, Data(uint64_t(1)), false), 1);
    EXPECT_TRUE(
        log.loggedExactly({"WARNING: Please provide a valid non-null attribute to set.\n"}));

    const State* first = State::create(description);
    const State* second = State::create(description);
    EXPECT_NE(first, second);
    EXPECT_EQ(first->getHandleType(), DataHandleType::STATE);
    EXPECT_EQ(first->getHeader(), "Frequency states");
    ASSERT_NE(first->getAttributeValue(level), nullptr);
    EXPECT_EQ(*first->getAttributeValue(level), Data(uint64_t(1200)));

    // Without replace the value is appended beside the first one.
    description.addAttributeValue(level, Data(uint64_t(1600)), false);
    log.clear();
    const State* third = State::create(description);
    EXPECT_EQ(*third->getAttributeValue(level), Data(uint64_t(1600)));
    EXPECT_EQ(third->getAttributeCount(), 2u);
    EXPECT_EQ(first->getAttributeCount(), 1u);

    const Field* a = Field::create(FieldDescription("Count", "N"));
    const Field* b = Field::create(Description("Count", "N"));
    EXPECT_NE(a, b);
    EXPECT_EQ(a->getHandleType(), DataHandleType::FIELD);
    EXPECT_EQ(b->getShortName(), "N");
    EXPECT_EQ(UniqueId::find(b->getId()), b);
}

}  // namespace
}  // namespace pwr
