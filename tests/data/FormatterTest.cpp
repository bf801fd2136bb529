#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <utility>

#include "common/data/Data.h"
#include "common/data/EntityHandle.h"
#include "common/data/Formatter.h"
#include "common/data/Process.h"
#include "tests/support/LogCapture.h"

namespace pwr {
namespace {

struct FormatCase {
    const char* name;
    std::shared_ptr<Formatter> formatter;  // null: the value's default formatter
    Data value;
    const char* expected;
};

class FormatterTableTest : public ::testing::TestWithParam<FormatCase> {};

TEST_P(FormatterTableTest, Renders) {
    test::LogCapture log;
    const FormatCase& c = GetParam();
    std::string out = "garbage";
    int rc = c.formatter ? c.formatter->format(out, c.value) : c.value.toFormattedString(out);
    EXPECT_EQ(rc, 0);
    EXPECT_EQ(out, c.expected);
    if (c.formatter) {
        // A clone keeps the kind, width, precision, suffix and base.
        const std::unique_ptr<Formatter> clone(c.formatter->clone());
        EXPECT_EQ(clone->format(out, c.value), 0);
        EXPECT_EQ(out, c.expected);
    }
    EXPECT_TRUE(log.loggedExactly({}));
}

template <typename F, typename... Args>
std::shared_ptr<Formatter> make(Args... args) {
    return std::make_shared<F>(args...);
}

INSTANTIATE_TEST_SUITE_P(
    Cells, FormatterTableTest,
    ::testing::Values(
        FormatCase{"IntHex", make<IntFormatter>(0, true), Data(int64_t{255}), "0xff"},
        FormatCase{"IntHexZeroHasNoPrefix", make<IntFormatter>(0, true), Data(int64_t{0}), "0"},
        FormatCase{"IntHexNegative", make<IntFormatter>(0, true), Data(int64_t{-1}),
                   "0xffffffffffffffff"},
        FormatCase{"IntNegative", nullptr, Data(int64_t{-9223372036854775807 - 1}),
                   "-9223372036854775808"},
        FormatCase{"SuffixBeforeWidening", make<IntFormatter>(std::string(" W"), 5, false),
                   Data(int64_t{5}), "  5 W"},
        FormatCase{"UIntMax", nullptr, Data(uint64_t{18446744073709551615ull}),
                   "18446744073709551615"},
        FormatCase{"UIntHexWidth", make<UIntFormatter>(8, true), Data(uint64_t{0xABC}), "   0xabc"},
        FormatCase{"RealPrecision", make<RealFormatter>(8, 3), Data(3.14159), "   3.142"},
        FormatCase{"RealDefault", nullptr, Data(3.0), "3.0"},
        FormatCase{"RealRoundsHalfEven", nullptr, Data(0.25), "0.2"},
        FormatCase{"RealNegativeSuffix", make<RealFormatter>(std::string("%"), 0, 2), Data(-0.5),
                   "-0.50%"},
        FormatCase{"RealNoDecimals", make<RealFormatter>(0, 0), Data(2.5), "2"},
        FormatCase{"SignificantSmall", make<SignificantFormatter>(0, 3), Data(0.0098304),
                   "0.00983"},
        FormatCase{"SignificantLargeKeepsOneDecimal", make<SignificantFormatter>(0, 3),
                   Data(11000.04), "11000.0"},
        FormatCase{"SignificantUnits", make<SignificantFormatter>(std::string(" MB/s"), 8, 3),
                   Data(-2.256), "-2.26 MB/s"},
        FormatCase{"SignificantZero", make<SignificantFormatter>(0, 3), Data(0.0), "0.0"},
        FormatCase{"SignificantTinyCapped", make<SignificantFormatter>(0, 3), Data(1e-20),
                   "0.000000000000"},
        FormatCase{"SignificantRange", make<SignificantFormatter>(0, 2), Data(0.5, 25.0),
                   "0.50 -- 25.0"},
        FormatCase{"IntRangeDefault", nullptr, Data(int64_t{1}, int64_t{5}), "1 -- 5"},
        FormatCase{"IntRangeHexSuffix", make<IntFormatter>(std::string(" ms"), 16, true),
                   Data(int64_t{10}, int64_t{255}), "  0xa -- 0xff ms"},
        FormatCase{"UIntRangeThroughUIntFormatter", make<UIntFormatter>(0, false),
                   Data(uint64_t{3}, uint64_t{4}), "3 -- 4"},
        FormatCase{"RealRange", make<RealFormatter>(std::string(" W"), 0, 2), Data(1.0, 2.5),
                   "1.00 -- 2.50 W"},
        FormatCase{"TooWideStaysWhole", make<IntFormatter>(2, false), Data(int64_t{12345}),
                   "12345"},
        FormatCase{"StringWidth", make<StringFormatter>(5), Data(std::string("ab")), "   ab"},
        FormatCase{"StringDefault", nullptr, Data(std::string("C0 state")), "C0 state"}),
    [](const ::testing::TestParamInfo<FormatCase>& info) { return info.param.name; });

class FormatterTest : public test::RegistryTest {};

TEST_F(FormatterTest, HandlesPrintByTheirKind) {
    const EntityHandle* system = EntityHandle::create("SYSTEM", nullptr);
    const EntityHandle* cpu = EntityHandle::create("CPU", system);
    const EntityHandle* core = EntityHandle::create("Core 3", cpu);
    const Process* process = Process::create(ProcessDescription(4242, "vantry.exe"));
    const Thread* thread = Thread::create(ThreadDescription(77, 4242, "worker"));
    const NameValuePair* pair = NameValuePair::create(6, "C-state", "C6");
    std::string out;
    Data(*core).toFormattedString(out);
    EXPECT_EQ(out, "CPU/Core 3");
    Data(*process).toFormattedString(out);
    EXPECT_EQ(out, "4242");
    Data(*thread).toFormattedString(out);
    EXPECT_EQ(out, "77");
    Data(*pair).toFormattedString(out);
    EXPECT_EQ(out, "6 - C6");
    HandleFormatter(8).format(out, Data(*thread));
    EXPECT_EQ(out, "      77");
    EXPECT_TRUE(log.loggedExactly({}));
}

TEST_F(FormatterTest, UnreadableValuesGiveEmptyTextAndOne) {
    std::string out = "old";
    EXPECT_EQ(RealFormatter().format(out, Data(int64_t{1})), 1);
    EXPECT_EQ(out, "");
    EXPECT_TRUE(
        log.loggedExactly({"WARNING: Attempt to retrieve a real value from a non-real type\n"}));

    log.clear();
    out = "old";
    EXPECT_EQ(IntFormatter(5, false).format(out, Data(DataType::INT)), 1);
    EXPECT_EQ(out, "");
    EXPECT_EQ(StringFormatter(3).format(out, Data(DataType::STRING)), 1);
    EXPECT_EQ(out, "");
    EXPECT_TRUE(log.loggedExactly({}));
}

}  // namespace
}  // namespace pwr
