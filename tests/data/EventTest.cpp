#include <gtest/gtest.h>

#include <string>

#include "common/data/Attribute.h"
#include "common/data/DataDescriptor.h"
#include "common/data/Event.h"
#include "tests/support/LogCapture.h"

namespace pwr {
namespace {

class EventTest : public test::RegistryTest {
  protected:
    void SetUp() override {
        RegistryTest::SetUp();
        source = Attribute::create("Source", nullptr, AttributeType::SOURCE);
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

TEST_F(EventTest, KeyListsNameShortNameAndEachValue) {
    EXPECT_EQ(EventDescription("Wake", "").getKey(), "Wake-Wake");
    const std::string expected = "Wake-W-" + std::to_string(source->getId()) + "-5-" +
                                 std::to_string(target->getId()) + "-Core 1";
    EXPECT_EQ(wake(Data(uint64_t(5))).getKey(), expected);
    DataDescriptorBuilder builder("C6", "");
    builder.addAttributeValue(source, Data(2.25));
    EXPECT_EQ(builder.getKey(), "C6-C6-" + std::to_string(source->getId()) + "-2.2");
}

TEST_F(EventTest, EqualDescriptionsShareOneEvent) {
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
    EXPECT_TRUE(log.loggedExactly({}));
}

TEST_F(EventTest, EqualNeedsTheSameNameAndValues) {
    const Event* event = Event::create(wake(Data(uint64_t(5))));
    EXPECT_TRUE(event->equal(wake(Data(uint64_t(5)))));
    EXPECT_FALSE(event->equal(wake(Data(uint64_t(6)))));
    EventDescription renamed("Sleep", "W");
    renamed.addAttributeValue(source, Data(uint64_t(5)));
    renamed.addAttributeValue(target, Data(std::string("Core 1")));
    EXPECT_FALSE(event->equal(renamed));
    EventDescription fewer("Wake", "W");
    fewer.addAttributeValue(source, Data(uint64_t(5)));
    EXPECT_FALSE(event->equal(fewer));
    // Same count, but the description lacks one of the event's attributes.
    const Attribute* reason = Attribute::create("Reason", nullptr, AttributeType::REASON);
    fewer.addAttributeValue(reason, Data(std::string("Core 1")));
    EXPECT_FALSE(event->equal(fewer));
    EXPECT_TRUE(log.loggedExactly({}));
}

TEST_F(EventTest, DataDescriptorsAreDeduplicatedTheSameWay) {
    DataDescriptorBuilder builder("C6", "");
    builder.addAttributeValue(source, Data(uint64_t(3)));
    const DataDescriptor* c6 = DataDescriptor::create(builder);
    EXPECT_EQ(DataDescriptor::create(builder), c6);
    EXPECT_EQ(c6->getHandleType(), DataHandleType::DATA_DESCRIPTOR);
    EXPECT_TRUE(c6->equal(builder));

    DataDescriptorBuilder other("C6", "");
    other.addAttributeValue(source, Data(uint64_t(4)));
    EXPECT_NE(DataDescriptor::create(other), c6);
    EXPECT_NE(DataDescriptor::create(DataDescriptorBuilder("C6", "")), c6);
}

}  // namespace
}  // namespace pwr
