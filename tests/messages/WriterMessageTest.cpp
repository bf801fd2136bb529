#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "common/messages/IdMessage.h"
#include "common/messages/MetricContainerInfoMessage.h"
#include "common/messages/TextMessage.h"
#include "tests/support/LogCapture.h"

namespace pwr {
namespace {

// Records what reaches the writers.
class RecordingSink : public MessageSink {
  public:
    int pushMessage(WriterMessage& message) override {
        types.push_back(message.getMessageType());
        if (auto* text = dynamic_cast<TextMessage*>(&message)) {
            texts.push_back(text->getMessage());
        }
        return result;
    }
    std::vector<MessageType> types;
    std::vector<std::string> texts;
    int result = 0;
};

TEST(WriterMessageTest, IdsAreConsecutiveAndCopiesKeepTheirs) {
    IdMessage first;
    TextMessage second(nullptr);
    MetricContainerInfoMessage third;
    EXPECT_EQ(second.getMessageId(), first.getMessageId() + 1);
    EXPECT_EQ(third.getMessageId(), first.getMessageId() + 2);
    EXPECT_EQ(WriterMessage::peekNextMessageId(), first.getMessageId() + 3);
    TextMessage copy(second);
    EXPECT_EQ(copy.getMessageId(), second.getMessageId());
    HeaderTextMessage header(nullptr);
    HeaderTextMessage moved(std::move(header));
    EXPECT_EQ(moved.getMessageId(), first.getMessageId() + 3);

    EXPECT_EQ(first.getMessageType(), MessageType::ID);
    EXPECT_EQ(second.getMessageType(), MessageType::TEXT);
    EXPECT_EQ(third.getMessageType(), MessageType::METRIC_CONTAINER_INFO);
    EXPECT_EQ(moved.getMessageType(), MessageType::HEADER_TEXT);
}

TEST(WriterMessageTest, ParentsAndContainerId) {
    TextMessage m(nullptr);
    EXPECT_FALSE(m.isChildOf(0));
    EXPECT_FALSE(m.isChildOf(m.getMessageId()));
    m.addParentMessage(7);
    m.addParentMessage(3);
    EXPECT_TRUE(m.isChildOf(7));
    EXPECT_TRUE(m.isChildOf(3));
    EXPECT_FALSE(m.isChildOf(5));
    EXPECT_EQ(m.getMetricContainerId(), 0u);
    EXPECT_EQ(m.setMetricContainerId(12), 0);
    EXPECT_EQ(m.getMetricContainerId(), 12u);
}

TEST(WriterMessageTest, TextIsDeliveredEachTimeItIsSet) {
    test::LogCapture log;
    RecordingSink sink;
    TextMessage m(&sink);
    EXPECT_EQ(m.setMessage("hello"), 0);
    EXPECT_EQ(m.setMessage("again"), 0);
    sink.result = 4;
    HeaderTextMessage h(&sink);
    EXPECT_EQ(h.setMessage("Header"), 4);
    EXPECT_EQ(sink.texts, (std::vector<std::string>{"hello", "again", "Header"}));
    EXPECT_EQ(sink.types, (std::vector<MessageType>{MessageType::TEXT, MessageType::TEXT,
                                                    MessageType::HEADER_TEXT}));

    // New messages go to the default sink of the process.
    setDefaultMessageSink(&sink);
    TextMessage viaDefault;
    setDefaultMessageSink(nullptr);
    EXPECT_EQ(viaDefault.getStream(), &sink);
    TextMessage nowhere;
    EXPECT_EQ(nowhere.setMessage("lost"), 1);
    EXPECT_EQ(nowhere.getMessage(), "lost");
    EXPECT_TRUE(log.loggedExactly({"ERROR: Writer stream is not initialized\n"}));
}

}  // namespace
}  // namespace pwr
