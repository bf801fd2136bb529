#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <limits>
#include <string>
#include <utility>
#include <vector>

#include "common/serialize/Serializer.h"
#include "tests/serialize/RecordTestSupport.h"
#include "tests/support/LogCapture.h"

namespace pwr {
namespace {

using test::LogCapture;

std::vector<char> bytes(std::initializer_list<int> values) {
    std::vector<char> out;
    for (int v : values) {
        out.push_back(static_cast<char>(v));
    }
    return out;
}

// The read cursor, seen through the warning that an impossible rewind logs.
size_t readCursor(Serializer& s) {
    LogCapture log;
    s.rewind_read(std::numeric_limits<size_t>::max());
    const std::vector<std::string> lines = log.lines();
    if (lines.size() != 1) {
        return std::numeric_limits<size_t>::max();
    }
    return static_cast<size_t>(std::stoull(lines[0].substr(lines[0].find("only ") + 5)));
}

// The next scalar of in, which must be there.
template <typename T>
T next(Serializer& in) {
    T value{};
    EXPECT_EQ(in.read(value), sizeof(T));
    return value;
}

// Every width in one stream: little-endian, no padding, read back in order.
TEST(SerializerTest, WritesEveryWidthLittleEndianWithoutPadding) {
    Serializer s;
    s.write(true);
    s.write(int8_t{-2});
    s.write(uint16_t{0x1234});
    s.write(std::numeric_limits<int32_t>::min());
    s.write(uint32_t{0x12345678});
    s.write(uint64_t{0x0102030405060708});
    s.write(int64_t{-3});
    s.write(1.0f);
    s.write(-2.5);
    s.write(std::string("a\0b", 3));
    test::Bytes expected;
    expected.u8(1).u8(0xFE).u16(0x1234).u32(0x80000000).u32(0x12345678);
    expected.u64(0x0102030405060708).u64(0xFFFFFFFFFFFFFFFD);  // int64 -3
    expected.u32(0x3F800000).u64(0xC004000000000000);          // 1.0f, -2.5
    expected.str(std::string("a\0b", 3));
    EXPECT_EQ(s.get_buffer(), expected.data);

    Serializer in(expected.data);
    EXPECT_TRUE(next<bool>(in));
    EXPECT_EQ(next<int8_t>(in), -2);
    EXPECT_EQ(next<uint16_t>(in), 0x1234);
    EXPECT_EQ(next<int32_t>(in), std::numeric_limits<int32_t>::min());
    EXPECT_EQ(next<uint32_t>(in), 0x12345678u);
    EXPECT_EQ(next<uint64_t>(in), 0x0102030405060708u);
    EXPECT_EQ(next<int64_t>(in), -3);
    EXPECT_EQ(next<float>(in), 1.0f);
    EXPECT_EQ(next<double>(in), -2.5);
    std::string str;
    EXPECT_EQ(in.read(str), 3u);
    EXPECT_EQ(str, std::string("a\0b", 3));
    EXPECT_EQ(in.read(str), 0u);
    // A damaged bool byte reads as true, never as an invalid bool.
    Serializer damaged(bytes({2}));
    EXPECT_TRUE(next<bool>(damaged));
}

template <typename T>
bool failsUntouched(const std::vector<char>& data, T sentinel) {
    Serializer s(data);
    T value = sentinel;
    return s.read(value) == 0 && value == sentinel && readCursor(s) == 0;
}

// Every width goes through one reader: nothing, one byte short, and a string
// whose length field is cut stand for all of them.
TEST(SerializerTest, ShortReadsFailWithoutTouchingTargetOrCursor) {
    EXPECT_TRUE(failsUntouched<bool>({}, true));
    EXPECT_TRUE(failsUntouched<double>(bytes({1, 2, 3, 4, 5, 6, 7}), 0.25));
    EXPECT_TRUE(failsUntouched<std::string>(bytes({5}), "keep"));

    Serializer s(bytes({'a', 'b', 'c'}));
    char out[3] = {9, 9, 9};
    EXPECT_EQ(s.read_from(out, 2), 2u);
    EXPECT_EQ(s.read_from(out + 2, 2), 0u);
    EXPECT_EQ(std::string(out, 3), std::string("ab\x09"));
}

TEST(SerializerTest, GrowsByDoublingAndTrimsOnGetBuffer) {
    Serializer s;
    s.write_to(nullptr, 3);
    EXPECT_TRUE(s.empty());
    s.write(int32_t{0x01020304});
    EXPECT_EQ(s.size(), 4u);
    // The spare room of the 128-byte vector reads as zeros.
    Serializer copy(s);
    std::vector<char> all(129, 1);
    EXPECT_EQ(copy.read_from(all.data(), 129), 0u);
    EXPECT_EQ(copy.read_from(all.data(), 128), 128u);
    EXPECT_EQ(all[127], 0);

    EXPECT_EQ(s.get_buffer(), bytes({4, 3, 2, 1}));
    EXPECT_EQ(s.get_buffer().capacity(), 4u);
    // 129 bytes at once need two doublings (128, then 256).
    const std::vector<char> payload(129, 'p');
    Serializer big;
    big.write_to(payload.data(), payload.size());
    EXPECT_EQ(big.get_buffer(), payload);

    // A pre-sized buffer that was never written is readable as zeros.
    Serializer sized(16);
    EXPECT_EQ(next<uint64_t>(sized), 0u);
    // Bytes handed in are readable, and writes overwrite them from the start.
    Serializer given(bytes({1, 2, 3, 4}));
    EXPECT_EQ(given.size(), 0u);
    given.write(uint16_t{0x0909});
    EXPECT_EQ(next<uint32_t>(given), 0x04030909u);
    EXPECT_EQ(given.get_buffer(), bytes({9, 9}));
}

// An empty string reads like a missing one, a body shorter than its length
// fails with the cursor after the length, reads append, and the length field
// keeps the low 16 bits of a longer string's size.
TEST(SerializerTest, StringLengthRules) {
    Serializer s;
    s.write(std::string());
    s.write(std::string(70000, 'x'));
    const std::vector<char> buf = s.get_buffer();
    ASSERT_EQ(buf.size(), 70004u);
    // 70000 = 0x11170: the prefix keeps 0x1170, the whole body follows.
    EXPECT_EQ(std::vector<char>(buf.begin(), buf.begin() + 4), bytes({0, 0, 0x70, 0x11}));
    std::string out;
    Serializer in(buf);
    EXPECT_EQ(in.read(out), 0u);
    EXPECT_EQ(readCursor(in), 2u);
    EXPECT_EQ(in.read(out), 0x1170u);

    out = "keep";
    Serializer cut(bytes({5, 0, 'a', 'b'}));
    EXPECT_EQ(cut.read(out), 0u);
    EXPECT_EQ(readCursor(cut), 2u);
    EXPECT_EQ(out, "keep");
    Serializer two(bytes({2, 0, 'c', 'd'}));
    EXPECT_EQ(two.read(out), 2u);
    EXPECT_EQ(out, "keepcd");
}

TEST(SerializerTest, RewindBeyondWhatWasReadWarnsAndStays) {
    LogCapture log;
    Serializer s(bytes({1, 2, 3, 4, 5, 6}));
    uint32_t v = 0;
    ASSERT_EQ(s.read(v), 4u);
    s.rewind_read(5);
    EXPECT_TRUE(log.loggedExactly(
        {"WARNING: trying to rewind 5 bytes, but only 4 bytes actually read!\n"}));
    s.rewind_read(4);
    EXPECT_EQ(s.read(v), 4u);
    EXPECT_EQ(v, 0x04030201u);
}

TEST(SerializerTest, CopiesAreIndependentAndMovesEmptyTheSource) {
    Serializer a;
    a.write(uint16_t{0x0201});
    Serializer b(a);
    b.write(uint8_t{3});
    EXPECT_EQ(a.get_buffer(), bytes({1, 2}));
    EXPECT_EQ(next<uint8_t>(b), 1u);
    Serializer c(std::move(b));
    EXPECT_EQ(readCursor(c), 1u);
    // The source keeps its cursors but has no bytes left to read.
    EXPECT_EQ(b.size(), 3u);
    uint8_t none = 7;
    EXPECT_EQ(b.read(none), 0u);
    a = std::move(c);
    EXPECT_EQ(a.get_buffer(), bytes({1, 2, 3}));
}

TEST(SerializerTest, ReadStringCopiesWithTerminator) {
    char* copy = Serializer::read_string("abcdef", 3);
    ASSERT_NE(copy, nullptr);
    EXPECT_STREQ(copy, "abc");
    std::free(copy);
    EXPECT_EQ(Serializer::read_string(nullptr, 4), nullptr);
}

}  // namespace
}  // namespace pwr
