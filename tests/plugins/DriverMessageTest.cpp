#include "common/plugins/DriverMessage.h"

#include <gtest/gtest.h>

#include <vector>

#include "common/plugins/VexaBuffer.h"

namespace {

vexa_driver_msg sampleRecord() {
    vexa_driver_msg msg;
    msg.timestamp = 0x0102030405060708ULL;
    msg.msgName = "CSTATE_RESIDENCY";
    msg.opName = "op";
    msg.values = {{"0/C1", "12"}, {"1/C1", ""}};
    return msg;
}

TEST(DriverMessageTest, WireLayoutIsLengthThenLittleEndianFields) {
    vexa_driver_msg msg;
    msg.timestamp = 0x0102030405060708ULL;
    msg.msgName = "A_B";
    msg.opName = "";
    msg.values = {{"k", "v"}};
    pwr::VexaBuffer buffer;
    ASSERT_TRUE(pwr::appendDriverMessage(buffer, msg));
    const std::vector<uint8_t> expected = {25,   0,    0,    0,  // length of the rest
                                           0x08, 0x07, 0x06, 0x05, 0x04, 0x03,
                                           0x02, 0x01,                   // timestamp
                                           3,    0,    'A',  '_',  'B',  // message name
                                           0,    0,                      // empty operation name
                                           1,    0,    0,    0,          // one pair
                                           1,    0,    'k',  1,    0,    'v'};  // the pair
    EXPECT_EQ(std::vector<uint8_t>(buffer.data(), buffer.data() + buffer.size()), expected);
}

TEST(DriverMessageTest, RecordsReadBackInOrderAndDamageIsRefused) {
    pwr::VexaBuffer buffer;
    vexa_driver_msg first = sampleRecord();
    vexa_driver_msg second = sampleRecord();
    second.timestamp = 7;
    second.values.clear();
    ASSERT_TRUE(pwr::appendDriverMessage(buffer, first));
    const size_t firstSize = buffer.size();
    ASSERT_TRUE(pwr::appendDriverMessage(buffer, second));

    size_t offset = 0;
    vexa_driver_msg out;
    ASSERT_TRUE(pwr::readDriverMessage(buffer.data(), buffer.size(), offset, out));
    EXPECT_EQ(offset, firstSize);
    EXPECT_EQ(out.timestamp, first.timestamp);
    EXPECT_EQ(out.msgName, first.msgName);
    EXPECT_EQ(out.values, first.values);
    ASSERT_TRUE(pwr::readDriverMessage(buffer.data(), buffer.size(), offset, out));
    EXPECT_EQ(out.timestamp, 7u);
    EXPECT_TRUE(out.values.empty());
    EXPECT_EQ(offset, buffer.size());
    EXPECT_FALSE(pwr::readDriverMessage(buffer.data(), buffer.size(), offset, out));

    // Every truncation of the first record is refused and leaves the cursor.
    for (size_t cut = 0; cut < firstSize; ++cut) {
        size_t at = 0;
        EXPECT_FALSE(pwr::readDriverMessage(buffer.data(), cut, at, out)) << cut;
        EXPECT_EQ(at, 0u);
    }

    // A pair count larger than the body can hold, and a body with bytes left
    // over, are damage.
    std::vector<uint8_t> bytes(buffer.data(), buffer.data() + firstSize);
    const size_t countAt = 4 + 8 + 2 + first.msgName.size() + 2 + first.opName.size();
    bytes[countAt + 3] = 0x7F;
    size_t at = 0;
    EXPECT_FALSE(pwr::readDriverMessage(bytes.data(), bytes.size(), at, out));
    bytes = std::vector<uint8_t>(buffer.data(), buffer.data() + firstSize);
    bytes[0] = static_cast<uint8_t>(bytes[0] + 1);
    bytes.push_back(0);
    EXPECT_FALSE(pwr::readDriverMessage(bytes.data(), bytes.size(), at, out));
    EXPECT_EQ(pwr::driverMessagePrefix("CSTATE_RESIDENCY_X"), "CSTATE");
    EXPECT_EQ(pwr::driverMessagePrefix("PLAIN"), "PLAIN");
}

TEST(DriverMessageTest, OverlongStringIsRefusedWithoutWriting) {
    vexa_driver_msg msg = sampleRecord();
    msg.values.emplace_back(std::string(70000, 'x'), "1");
    pwr::VexaBuffer buffer;
    EXPECT_FALSE(pwr::appendDriverMessage(buffer, msg));
    EXPECT_TRUE(buffer.empty());
}

}  // namespace
