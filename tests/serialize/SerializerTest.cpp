#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <functional>
#include <limits>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "common/serialize/Serializer.h"
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
    size_t cursor = std::numeric_limits<size_t>::max();
    if (lines.size() == 1) {
        const std::string& line = lines[0];
        const size_t at = line.find("only ");
        cursor = static_cast<size_t>(std::stoull(line.substr(at + 5)));
    }
    return cursor;
}

// One value: its encoding, and a read of those bytes giving the value back.
struct EncodingCase {
    const char* name;
    std::function<void(Serializer&)> write;
    std::vector<char> expected;
    std::function<bool(Serializer&)> readsBack;
};

template <typename T>
EncodingCase scalar(const char* name, T value, std::vector<char> expected) {
    return {name, [value](Serializer& s) { s.write(value); }, std::move(expected),
            [value](Serializer& s) {
                T out{};
                return s.read(out) == sizeof(T) && out == value;
            }};
}

class SerializerEncodingTest : public ::testing::TestWithParam<EncodingCase> {};

TEST_P(SerializerEncodingTest, WritesLittleEndianBytesAndReadsThemBack) {
    const EncodingCase& c = GetParam();
    Serializer out;
    c.write(out);
    EXPECT_EQ(out.size(), c.expected.size());
    EXPECT_EQ(out.get_buffer(), c.expected);

    Serializer in(c.expected);
    EXPECT_TRUE(c.readsBack(in));
    // Nothing is left after the value.
    char extra = 0;
    EXPECT_EQ(in.read_from(&extra, 1), 0u);
}

INSTANTIATE_TEST_SUITE_P(
    Widths, SerializerEncodingTest,
    ::testing::Values(scalar<bool>("bool_true", true, bytes({1})),
                      scalar<int8_t>("int8", -2, bytes({0xFE})),
                      scalar<uint8_t>("uint8", 0xAB, bytes({0xAB})),
                      scalar<uint16_t>("uint16", 0x1234, bytes({0x34, 0x12})),
                      scalar<int32_t>("int32", -1, bytes({0xFF, 0xFF, 0xFF, 0xFF})),
                      scalar<int32_t>("int32_min", std::numeric_limits<int32_t>::min(),
                                      bytes({0x00, 0x00, 0x00, 0x80})),
                      scalar<uint32_t>("uint32", 0x12345678u, bytes({0x78, 0x56, 0x34, 0x12})),
                      scalar<int64_t>("int64", -3,
                                      bytes({0xFD, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF})),
                      scalar<uint64_t>("uint64", 0x0102030405060708ull,
                                       bytes({0x08, 0x07, 0x06, 0x05, 0x04, 0x03, 0x02, 0x01})),
                      scalar<float>("float", 1.0f, bytes({0x00, 0x00, 0x80, 0x3F})),
                      scalar<double>("double", -2.5, bytes({0, 0, 0, 0, 0, 0, 0x04, 0xC0})),
                      EncodingCase{"string_with_zero_byte",
                                   [](Serializer& s) { s.write(std::string("a\0b", 3)); },
                                   bytes({0x03, 0x00, 'a', 0, 'b'}),
                                   [](Serializer& s) {
                                       std::string out;
                                       return s.read(out) == 3 && out == std::string("a\0b", 3);
                                   }}),
    [](const ::testing::TestParamInfo<EncodingCase>& info) {
        return std::string(info.param.name);
    });

TEST(SerializerTest, FieldsFollowEachOtherWithoutPadding) {
    Serializer s;
    s.write(uint8_t{1});
    s.write(uint32_t{2});
    s.write(std::string("x"));
    s.write(uint16_t{3});
    s.write(uint64_t{4});
    EXPECT_EQ(s.get_buffer(), bytes({1, 2, 0, 0, 0, 1, 0, 'x', 3, 0, 4, 0, 0, 0, 0, 0, 0, 0}));
}

template <typename T>
bool failsUntouched(Serializer& s, T sentinel) {
    T value = sentinel;
    return s.read(value) == 0 && value == sentinel;
}

// Reads of every width against a buffer one byte too short (for one byte: an
// empty buffer).
class SerializerShortReadTest : public ::testing::TestWithParam<size_t> {};

TEST_P(SerializerShortReadTest, FailsWithoutTouchingTargetOrCursor) {
    const size_t width = GetParam();
    const std::vector<char> data = bytes({0x11, 0x22, 0x33, 0x44, 0x55, 0x66, 0x77});
    Serializer s(std::vector<char>(data.begin(), data.begin() + (width - 1)));
    EXPECT_EQ(s.size(), 0u);
    bool ok = false;
    switch (width) {
        case 1:
            ok = failsUntouched<uint8_t>(s, 7) && failsUntouched<bool>(s, true) &&
                 failsUntouched<std::string>(s, "keep");
            break;
        case 2:
            ok = failsUntouched<int16_t>(s, -7) && failsUntouched<std::string>(s, "keep");
            break;
        case 4:
            ok = failsUntouched<uint32_t>(s, 7) && failsUntouched<float>(s, 0.5f);
            break;
        case 8:
            ok = failsUntouched<int64_t>(s, -7) && failsUntouched<double>(s, 0.25);
            break;
    }
    EXPECT_TRUE(ok);
    EXPECT_EQ(readCursor(s), 0u);
}

INSTANTIATE_TEST_SUITE_P(Widths, SerializerShortReadTest, ::testing::Values(1u, 2u, 4u, 8u));

TEST(SerializerTest, RawBytesMoveOnlyWhenTheyFit) {
    Serializer s;
    const char data[] = "abc";
    s.write_to(nullptr, 3);
    s.write_to(data, 0);
    EXPECT_TRUE(s.empty());
    s.write_to(data, 3);
    EXPECT_EQ(s.get_buffer(), bytes({'a', 'b', 'c'}));

    char out[4] = {9, 9, 9, 9};
    EXPECT_EQ(s.read_from(out, 4), 0u);
    EXPECT_EQ(s.read_from(nullptr, 1), 0u);
    EXPECT_EQ(out[0], 9);
    EXPECT_EQ(s.read_from(out, 2), 2u);
    EXPECT_EQ(s.read_from(out + 2, 2), 0u);
    EXPECT_EQ(s.read_from(out + 2, 1), 1u);
    EXPECT_EQ(std::string(out, 4), std::string("abc\x09"));
}

TEST(SerializerTest, PreSizedBufferIsReadableAsZeros) {
    Serializer s(16);
    EXPECT_TRUE(s.empty());
    uint64_t a = 1;
    uint64_t b = 1;
    uint8_t c = 1;
    EXPECT_EQ(s.read(a), 8u);
    EXPECT_EQ(s.read(b), 8u);
    EXPECT_EQ(s.read(c), 0u);
    EXPECT_EQ(a, 0u);
    EXPECT_EQ(b, 0u);
    EXPECT_EQ(c, 1);
}

TEST(SerializerTest, GrowsByDoublingAndTrimsOnGetBuffer) {
    Serializer s;
    s.write(int32_t{0x01020304});
    EXPECT_EQ(s.size(), 4u);
    // The spare room of the 128-byte vector reads as zeros.
    Serializer copy(s);
    std::vector<char> all(128, 1);
    EXPECT_EQ(copy.read_from(all.data(), 128), 128u);
    EXPECT_EQ(all[0], 4);
    EXPECT_EQ(all[127], 0);
    EXPECT_EQ(copy.read_from(all.data(), 1), 0u);

    EXPECT_EQ(s.get_buffer(), bytes({4, 3, 2, 1}));
    EXPECT_EQ(s.get_buffer().capacity(), 4u);
    uint64_t past = 9;
    EXPECT_EQ(s.read(past), 0u);  // only 4 bytes left
    EXPECT_EQ(past, 9u);

    // 129 bytes need 256; a write after the trim grows the 4 bytes again.
    Serializer big;
    std::vector<char> payload(129, 'p');
    big.write_to(payload.data(), payload.size());
    std::vector<char> read(256);
    EXPECT_EQ(Serializer(big).read_from(read.data(), 257), 0u);
    EXPECT_EQ(big.read_from(read.data(), 256), 256u);
    s.write(uint8_t{5});
    EXPECT_EQ(s.get_buffer(), bytes({4, 3, 2, 1, 5}));
}

TEST(SerializerTest, BufferFromBytesIsOverwrittenByWrites) {
    Serializer s(bytes({1, 2, 3, 4}));
    EXPECT_EQ(s.size(), 0u);
    s.write(uint16_t{0x0909});
    uint32_t v = 0;
    EXPECT_EQ(s.read(v), 4u);
    EXPECT_EQ(v, 0x04030909u);
    EXPECT_EQ(s.get_buffer(), bytes({9, 9}));
}

TEST(SerializerTest, DamagedBoolByteReadsAsTrue) {
    Serializer s(bytes({2, 0}));
    bool a = false;
    bool b = true;
    EXPECT_EQ(s.read(a), 1u);
    EXPECT_EQ(s.read(b), 1u);
    EXPECT_TRUE(a);
    EXPECT_FALSE(b);
}

TEST(SerializerTest, StringReadsAppendOrFailCleanly) {
    Serializer s;
    s.write(std::string());
    EXPECT_EQ(s.get_buffer(), bytes({0, 0}));
    std::string out = "keep";
    // An empty string reads like a missing one.
    Serializer empty(s.get_buffer());
    EXPECT_EQ(empty.read(out), 0u);
    EXPECT_EQ(readCursor(empty), 2u);
    // Half a length field: the cursor stays put.
    Serializer half(bytes({5}));
    EXPECT_EQ(half.read(out), 0u);
    EXPECT_EQ(readCursor(half), 0u);
    // A body shorter than its length: the cursor is left after the length.
    Serializer cut(bytes({5, 0, 'a', 'b'}));
    EXPECT_EQ(cut.read(out), 0u);
    EXPECT_EQ(readCursor(cut), 2u);
    EXPECT_EQ(out, "keep");

    Serializer two(bytes({2, 0, 'c', 'd'}));
    EXPECT_EQ(two.read(out), 2u);
    EXPECT_EQ(out, "keepcd");
}

TEST(SerializerTest, LongStringLengthIsCutToSixteenBits) {
    Serializer s;
    s.write(std::string(70000, 'x'));
    const std::vector<char>& buf = s.get_buffer();
    ASSERT_EQ(buf.size(), 70002u);
    // 70000 = 0x11170: the prefix keeps 0x1170, the whole body follows.
    EXPECT_EQ(buf[0], static_cast<char>(0x70));
    EXPECT_EQ(buf[1], static_cast<char>(0x11));
    EXPECT_EQ(buf[70001], 'x');

    Serializer in(buf);
    std::string out;
    EXPECT_EQ(in.read(out), 0x1170u);
    EXPECT_EQ(out.size(), 0x1170u);
}

TEST(SerializerTest, RewindBeyondWhatWasReadWarnsAndStays) {
    LogCapture log;
    Serializer s(bytes({1, 2, 3, 4, 5, 6}));
    uint32_t v = 0;
    ASSERT_EQ(s.read(v), 4u);
    s.rewind_read(5);
    EXPECT_TRUE(log.loggedExactly(
        {"WARNING: trying to rewind 5 bytes, but only 4 bytes actually read!\n"}));
    uint16_t next = 0;
    EXPECT_EQ(s.read(next), 2u);
    EXPECT_EQ(next, 0x0605);

    log.clear();
    s.rewind_read(6);
    EXPECT_EQ(s.read(v), 4u);
    EXPECT_EQ(v, 0x04030201u);
    EXPECT_TRUE(log.loggedExactly({}));

    // Hidden when warnings are not admitted.
    log.context().setVerbosity(PW_ERROR);
    s.rewind_read(100);
    EXPECT_TRUE(log.loggedExactly({}));
}

TEST(SerializerTest, CopiesAreIndependentAndMovesEmptyTheSource) {
    Serializer a;
    a.write(uint16_t{0x0201});
    Serializer b(a);
    b.write(uint8_t{3});
    EXPECT_EQ(a.get_buffer(), bytes({1, 2}));
    EXPECT_EQ(b.get_buffer(), bytes({1, 2, 3}));

    uint8_t first = 0;
    ASSERT_EQ(b.read(first), 1u);
    Serializer c(std::move(b));
    EXPECT_EQ(readCursor(c), 1u);
    EXPECT_EQ(c.get_buffer(), bytes({1, 2, 3}));
    // The source keeps its cursors but has no bytes left to read.
    EXPECT_EQ(b.size(), 3u);
    EXPECT_EQ(b.read(first), 0u);

    Serializer d;
    d = std::move(c);
    EXPECT_EQ(d.get_buffer(), bytes({1, 2, 3}));
    EXPECT_EQ(c.read(first), 0u);
    d = a;
    EXPECT_EQ(d.get_buffer(), bytes({1, 2}));
}

TEST(SerializerTest, ReadStringCopiesWithTerminator) {
    char* copy = Serializer::read_string("abcdef", 3);
    ASSERT_NE(copy, nullptr);
    EXPECT_STREQ(copy, "abc");
    std::free(copy);
    char* empty = Serializer::read_string("abc", 0);
    ASSERT_NE(empty, nullptr);
    EXPECT_STREQ(empty, "");
    std::free(empty);
    EXPECT_EQ(Serializer::read_string(nullptr, 4), nullptr);
}

}  // namespace
}  // namespace pwr
