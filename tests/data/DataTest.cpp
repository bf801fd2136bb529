#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <string>
#include <utility>

#include "common/data/Data.h"
#include "common/data/EntityHandle.h"
#include "common/data/Formatter.h"
#include "common/data/Quantity.h"
#include "tests/support/LogCapture.h"

namespace pwr {
namespace {

using IntPair = std::pair<int64_t, int64_t>;
using UIntPair = std::pair<uint64_t, uint64_t>;
using RealPair = std::pair<double, double>;

const char* const kNoneWarning = "WARNING: Cannot use data object with type pwr::DataType::NONE\n";

std::string wrongType(int current, int wanted) {
    return "WARNING: Invalid attempt to initialize data of the wrong type (" +
           std::to_string(current) + " != " + std::to_string(wanted) + ")\n";
}

class DataTest : public test::RegistryTest {};

TEST_F(DataTest, ScalarSettersAdoptTypeFromNoneButRangeSettersDoNot) {
    Data a;
    EXPECT_EQ(a.getType(), DataType::NONE);
    EXPECT_FALSE(a.isSet());
    EXPECT_EQ(a.setValue(int64_t{5}), 0);
    EXPECT_EQ(a.getType(), DataType::INT);
    int64_t i = 0;
    EXPECT_EQ(a.toInt(i), 0);
    EXPECT_EQ(i, 5);

    Data b;
    EXPECT_EQ(b.setValue(IntPair(1, 2)), 1);
    EXPECT_EQ(b.getType(), DataType::NONE);
    EXPECT_TRUE(b.isSet());
    EXPECT_FALSE(b.isValid());

    Data c;
    EXPECT_EQ(c.setValue(std::string("text")), 0);
    EXPECT_EQ(c.getType(), DataType::STRING);
    Data d;
    EXPECT_EQ(d.setValue(*EntityHandle::create("SYSTEM", nullptr)), 1);
    EXPECT_EQ(d.getType(), DataType::NONE);
    EXPECT_TRUE(d.isSet());
    EXPECT_TRUE(log.loggedExactly({wrongType(0, 4), wrongType(0, 7)}));
}

TEST_F(DataTest, WrongTypeSetInvalidatesButKeepsSetFlagOfScalars) {
    Data a(DataType::INT);
    ASSERT_EQ(a.setValue(int64_t{5}), 0);
    EXPECT_EQ(a.setValue(uint64_t{5}), 1);
    EXPECT_EQ(a.getType(), DataType::INT);
    EXPECT_TRUE(a.isSet());
    EXPECT_FALSE(a.isValid());

    Data r(DataType::REAL_RANGE);
    EXPECT_EQ(r.setValue(UIntPair(1, 2)), 1);
    EXPECT_TRUE(r.isSet());  // raised before the type check
    EXPECT_FALSE(r.isValid());

    Data u(DataType::UINT);
    EXPECT_EQ(u.setValue(2.0), 1);
    EXPECT_FALSE(u.isSet());  // scalar setters leave it alone on failure

    Data x(uint64_t{1});
    EXPECT_EQ(x.setValue(Data(int64_t{1})), 1);
    EXPECT_FALSE(x.isValid());
    EXPECT_TRUE(log.loggedExactly(
        {wrongType(1, 2), wrongType(6, 5), wrongType(2, 3),
         "WARNING: Invalid attempt to initialize data of the wrong type (2 != 1)\n"}));

    log.clear();
    Data y(uint64_t{9});
    EXPECT_EQ(x.setValue(y), 0);
    uint64_t v = 0;
    EXPECT_EQ(x.toUInt(v), 0);
    EXPECT_EQ(v, 9u);
    EXPECT_TRUE(log.loggedExactly({}));
}

TEST_F(DataTest, GettersCheckTypeExactlyAndLeaveOutputsAlone) {
    const Data i(int64_t{-3});
    double d = 42.0;
    uint64_t u = 42;
    IntPair ip(7, 7);
    UIntPair up(7, 7);
    RealPair rp(7.0, 7.0);
    std::string s = "keep";
    const DataHandle* h = nullptr;
    EXPECT_EQ(i.toReal(d), 1);
    EXPECT_EQ(i.toUInt(u), 1);
    EXPECT_EQ(i.toIntRange(ip), 1);
    EXPECT_EQ(i.toUIntRange(up), 1);
    EXPECT_EQ(i.toRealRange(rp), 1);
    EXPECT_EQ(i.toString(s), 1);
    EXPECT_EQ(i.toHandle(h), 1);
    int64_t v = 0;
    EXPECT_EQ(Data(uint64_t{1}).toInt(v), 1);
    EXPECT_EQ(d, 42.0);
    EXPECT_EQ(u, 42u);
    EXPECT_EQ(ip, IntPair(7, 7));
    EXPECT_EQ(up, UIntPair(7, 7));
    EXPECT_EQ(rp, RealPair(7.0, 7.0));
    EXPECT_EQ(s, "keep");
    EXPECT_EQ(v, 0);
    EXPECT_TRUE(log.loggedExactly({
        "WARNING: Attempt to retrieve a real value from a non-real type\n",
        "WARNING: Attempt to retrieve an unsigned value from a non-unsigned type\n",
        "WARNING: Attempt to retrieve a non int range value from a int range type\n",
        "WARNING: Attempt to retrieve a non unsigned range value from an unsigned range type\n",
        "WARNING: Attempt to retrieve a not double range value from a double range type\n",
        "WARNING: Attempt to retrieve a string from a non-string type\n",
        "WARNING: Attempt to retrieve handle value from a non-unsigned type\n",
        "WARNING: Attempt to retrieve a signed value from a non-signed type\n",
    }));

    // Unset and invalidated values fail without a word.
    log.clear();
    Data unset(DataType::REAL);
    EXPECT_EQ(unset.toReal(d), 1);
    Data invalid(2.5);
    invalid.invalidate();
    EXPECT_TRUE(invalid.isSet());
    EXPECT_EQ(invalid.toReal(d), 1);
    EXPECT_EQ(d, 42.0);
    EXPECT_TRUE(log.loggedExactly({}));
}

TEST_F(DataTest, HandlesStoreIdsAndResolveThroughTheRegistry) {
    const EntityHandle* cpu = EntityHandle::create("CPU", nullptr);
    Data h(*cpu);
    const DataHandle* out = nullptr;
    EXPECT_EQ(h.toHandle(out), 0);
    EXPECT_EQ(out, cpu);

    const DataHandle* kept = cpu;
    Data q(DataType::HANDLE);
    // A handle that was never registered cannot be resolved from its id.
    struct FakeHandle : DataHandle {
        FakeHandle() : DataHandle(Description("fake", ""), DataHandleType::FIELD) {}
    } unregistered;
    EXPECT_EQ(q.setValue(unregistered), 0);
    EXPECT_EQ(q.toHandle(kept), 1);
    EXPECT_EQ(kept, cpu);
    EXPECT_TRUE(log.loggedExactly({"WARNING: Handle id " + std::to_string(unregistered.getId()) +
                                   " not found in UniqueId map\n"}));
}

TEST_F(DataTest, ComparisonOrdersTypesThenFlagsThenValues) {
    // Any INT is below any UINT, whatever the values.
    EXPECT_TRUE(Data(int64_t{1000}) < Data(uint64_t{1}));
    EXPECT_FALSE(Data(int64_t{1000}) == Data(uint64_t{1000}));
    EXPECT_TRUE(Data(int64_t{1}) != Data(uint64_t{1}));
    EXPECT_TRUE(Data(uint64_t{1}) >= Data(int64_t{5}));
    EXPECT_TRUE(Data(uint64_t{1}) > Data(int64_t{5}));

    Data unsetA(DataType::INT);
    Data unsetB(DataType::INT);
    EXPECT_TRUE(unsetA == unsetB);
    EXPECT_TRUE(unsetA < Data(int64_t{-100}));
    // Only the left operand's flags count: against an unset right operand the
    // helper compares with its empty payload, which reads as 0.
    EXPECT_TRUE(Data(int64_t{-100}) < unsetA);
    EXPECT_FALSE(Data(int64_t{100}) < unsetA);
    Data invalid(int64_t{9});
    invalid.invalidate();
    EXPECT_TRUE(invalid < Data(int64_t{-9}));
    EXPECT_FALSE(invalid == Data(int64_t{9}));

    EXPECT_TRUE(Data(int64_t{-2}) < Data(int64_t{1}));
    EXPECT_TRUE(Data(uint64_t{1}) < Data(uint64_t{1ull << 63}));
    EXPECT_TRUE(Data(2.5) <= Data(2.5));
    EXPECT_FALSE(Data(2.5) > Data(2.5));
    EXPECT_TRUE(Data(3.0) > Data(2.5));
    // Ranges order by their first element and are equal only as a pair.
    EXPECT_TRUE(Data(IntPair(1, 100)) < Data(IntPair(2, 0)));
    EXPECT_FALSE(Data(RealPair(1.0, 2.0)) == Data(RealPair(1.0, 3.0)));
    EXPECT_FALSE(Data(UIntPair(1, 2)) < Data(UIntPair(1, 3)));
    EXPECT_TRUE(Data(std::string("ab")) < Data(std::string("abc")));
    EXPECT_TRUE(Data(std::string("abc")) < Data(std::string("b")));
    EXPECT_TRUE(Data(std::string("\x7f")) < Data(std::string("\x80")));  // bytes are unsigned

    const EntityHandle* a = EntityHandle::create("a", nullptr);
    const EntityHandle* b = EntityHandle::create("b", nullptr);
    EXPECT_TRUE(Data(*a) < Data(*b));
    EXPECT_TRUE(Data(*a) == Data(*a));
    EXPECT_TRUE(log.loggedExactly({}));
}

TEST_F(DataTest, IntegerAccumulationWrapsAndChecksInputType) {
    Data sum(DataType::INT);
    ASSERT_EQ(sum.initZero(), 0);
    EXPECT_TRUE(sum.isValid());
    sum.addValue(Data(int64_t{std::numeric_limits<int64_t>::max()}));
    sum.addValue(Data(int64_t{1}));
    int64_t v = 0;
    sum.toInt(v);
    EXPECT_EQ(v, std::numeric_limits<int64_t>::min());
    EXPECT_EQ(sum.addValue(Data(uint64_t{1})), 1);

    Data usum(DataType::UINT);  // never initialised: counts from 0
    usum.addValue(Data(uint64_t{1ull << 63}));
    usum.addValue(Data(uint64_t{5}));
    uint64_t u = 0;
    usum.toUInt(u);
    EXPECT_EQ(u, (1ull << 63) + 5);
    EXPECT_EQ(usum.addValue(Data(2.0)), 1);
    EXPECT_TRUE(log.loggedExactly({"WARNING: Accumulator must have INT type as input\n",
                                   "WARNING: Accumulator must have UINT type as input\n"}));
}

TEST_F(DataTest, RealAccumulationTakesEveryNumericScalarAndSumsRanges) {
    Data sum(DataType::REAL);
    sum.initZero();
    sum.addValue(Data(RealPair(2.0, 5.0)));
    sum.addValue(Data(int64_t{-1}));
    sum.addValue(Data(uint64_t{18446744073709551615ull}));
    sum.addValue(Data(0.5));
    double d = 0.0;
    sum.toReal(d);
    EXPECT_EQ(d, 7.0 - 1.0 + 18446744073709551615.0 + 0.5);
    EXPECT_EQ(sum.addValue(Data(IntPair(1, 2))), 1);
    EXPECT_EQ(sum.addValue(Data(std::string("x"))), 1);
    EXPECT_EQ(Data(std::string("x")).addValue(Data(1.0)), 1);
    EXPECT_EQ(Data().addValue(Data(1.0)), 1);
    const std::string realOnly =
        "WARNING: Accumulator must have REAL, INT, UINT or REAL_RANGE type as input\n";
    EXPECT_TRUE(log.loggedExactly({realOnly, realOnly,
                                   "WARNING: Attempt to accumulate on unsupported type\n",
                                   "WARNING: Attempt to accumulate on unsupported type\n"}));
}

TEST_F(DataTest, RangesAreTwoIndependentRunningSums) {
    Data ir(DataType::INT_RANGE);  // unset counts as (0, 0)
    ir.addValue(Data(int64_t{3}));
    ir.addValue(Data(IntPair(-1, 10)));
    IntPair ip;
    ir.toIntRange(ip);
    EXPECT_EQ(ip, IntPair(2, 13));
    EXPECT_EQ(ir.addValue(Data(uint64_t{1})), 1);

    Data ur(UIntPair(1, 1));
    ur.addValue(Data(uint64_t{4}));
    ur.addValue(Data(UIntPair(10, 20)));
    UIntPair up;
    ur.toUIntRange(up);
    EXPECT_EQ(up, UIntPair(15, 25));
    EXPECT_EQ(ur.addValue(Data(int64_t{1})), 1);

    Data rr(DataType::REAL_RANGE);
    rr.initZero();
    rr.addValue(Data(1.5));
    rr.addValue(Data(int64_t{-2}));
    rr.addValue(Data(uint64_t{4}));
    rr.addValue(Data(IntPair(1, 2)));
    rr.addValue(Data(UIntPair(3, 4)));
    rr.addValue(Data(RealPair(0.25, 0.5)));
    RealPair rp;
    rr.toRealRange(rp);
    EXPECT_EQ(rp, RealPair(7.75, 10.0));
    EXPECT_EQ(rr.addValue(Data(std::string("x"))), 1);
    EXPECT_TRUE(
        log.loggedExactly({"WARNING: IntRange accumulate expects INT type\n",
                           "WARNING: UIntRange accumulate expects UINT type\n",
                           "WARNING: Accumulator must have REAL, INT, or UINT type as input\n"}));
}

TEST_F(DataTest, StartValuesIncludingTheRealMaximumQuirk) {
    Data max(DataType::REAL);
    ASSERT_EQ(max.initMax(), 0);
    double d = 0.0;
    max.toReal(d);
    EXPECT_EQ(d, 2.2250738585072014e-308);
    for (double sample : {-3.0, -1.0}) {
        if (Data(sample) > max) {
            max = Data(sample);
        }
    }
    max.toReal(d);
    EXPECT_EQ(d, 2.2250738585072014e-308);

    Data min(DataType::REAL);
    min.initMin();
    min.toReal(d);
    EXPECT_EQ(d, 1.7976931348623157e+308);

    Data i(DataType::INT);
    int64_t v = 0;
    i.initMax();
    i.toInt(v);
    EXPECT_EQ(v, std::numeric_limits<int64_t>::min());
    i.initMin();
    i.toInt(v);
    EXPECT_EQ(v, std::numeric_limits<int64_t>::max());

    Data u(DataType::UINT);
    uint64_t w = 5;
    u.initMax();
    u.toUInt(w);
    EXPECT_EQ(w, 0u);
    u.initMin();
    u.toUInt(w);
    EXPECT_EQ(w, std::numeric_limits<uint64_t>::max());

    // Types without start values answer 1 silently.
    EXPECT_EQ(Data(DataType::INT_RANGE).initMax(), 1);
    EXPECT_EQ(Data(DataType::REAL_RANGE).initMin(), 1);
    EXPECT_EQ(Data(DataType::STRING).initZero(), 1);
    EXPECT_EQ(Data().initZero(), 1);
    EXPECT_TRUE(log.loggedExactly({}));
}

TEST_F(DataTest, MultiplyRoundsHalfAwayFromZero) {
    auto scaledInt = [](int64_t v, double f) {
        Data d(v);
        d.multiplyValue(f);
        int64_t out = 0;
        d.toInt(out);
        return out;
    };
    EXPECT_EQ(scaledInt(3, 0.5), 2);
    EXPECT_EQ(scaledInt(-3, 0.5), -2);
    EXPECT_EQ(scaledInt(5, 0.5), 3);
    EXPECT_EQ(scaledInt(7, 0.1), 1);

    Data big(uint64_t{1ull << 63});
    big.multiplyValue(1.5);  // above 2^63: needs an unsigned conversion both ways
    uint64_t u = 0;
    big.toUInt(u);
    EXPECT_EQ(u, (1ull << 63) + (1ull << 62));
    Data odd(uint64_t{3});
    odd.multiplyValue(0.5);
    odd.toUInt(u);
    EXPECT_EQ(u, 2u);

    Data r(2.5);
    r.multiplyValue(-2.0);
    double d = 0.0;
    r.toReal(d);
    EXPECT_EQ(d, -5.0);

    Data ir(IntPair(3, -3));
    ir.multiplyValue(0.5);
    IntPair ip;
    ir.toIntRange(ip);
    EXPECT_EQ(ip, IntPair(2, -2));
    Data ur(UIntPair(1, 3));
    ur.multiplyValue(0.5);
    UIntPair up;
    ur.toUIntRange(up);
    EXPECT_EQ(up, UIntPair(1, 2));
    Data rr(RealPair(1.0, 3.0));
    rr.multiplyValue(0.5);
    RealPair rp;
    rr.toRealRange(rp);
    EXPECT_EQ(rp, RealPair(0.5, 1.5));

    EXPECT_EQ(Data(std::string("s")).multiplyValue(2.0), 1);
    EXPECT_EQ(Data().multiplyValue(2.0), 1);
    const std::string numericOnly = "WARNING: Multiply only supported for numeric types\n";
    EXPECT_TRUE(log.loggedExactly({numericOnly, numericOnly}));
}

TEST_F(DataTest, ConvertToRealKeepsTheFullUnsignedRange) {
    double d = 0.0;
    const Data i7(int64_t{-7});
    Data::convertToReal(&i7).toReal(d);
    EXPECT_EQ(d, -7.0);
    const Data u(uint64_t{18446744073709551615ull});
    Data::convertToReal(&u).toReal(d);
    EXPECT_EQ(d, 18446744073709551615.0);
    const Data ur(UIntPair(1ull << 63, 2));
    RealPair rp;
    const Data converted = Data::convertToReal(&ur);
    EXPECT_EQ(converted.getType(), DataType::REAL_RANGE);
    converted.toRealRange(rp);
    EXPECT_EQ(rp, RealPair(9223372036854775808.0, 2.0));
    const Data ir(IntPair(-1, 1));
    Data::convertToReal(&ir).toRealRange(rp);
    EXPECT_EQ(rp, RealPair(-1.0, 1.0));

    Data i(int64_t{3});
    i.setCustomFormatter(IntFormatter(9, false));
    EXPECT_EQ(Data::convertToReal(&i).getCustomFormatter(), nullptr);

    const Data s(std::string("x"));
    const Data same = Data::convertToReal(&s);
    EXPECT_EQ(same.getType(), DataType::STRING);
    EXPECT_TRUE(same == s);
    EXPECT_TRUE(log.loggedExactly({"WARNING: Cannot convert data object to real type\n"}));
}

TEST_F(DataTest, CopyClonesTheCustomFormatterAndAssignmentSharesIt) {
    Data a(int64_t{42});
    a.setCustomFormatter(IntFormatter(6, false));
    {
        Data copy(a);
        ASSERT_NE(copy.getCustomFormatter(), nullptr);
        EXPECT_NE(copy.getCustomFormatter(), a.getCustomFormatter());
        std::string out;
        copy.toFormattedString(out);
        EXPECT_EQ(out, "    42");
    }
    Data b(int64_t{1});
    b = a;
    EXPECT_EQ(b.getCustomFormatter(), a.getCustomFormatter());
    {
        Data c(int64_t{2});
        c = b;
        c.setCustomFormatter(IntFormatter(3, true));  // replaces its share only
        EXPECT_EQ(b.getCustomFormatter(), a.getCustomFormatter());
    }
    // Both sharers leave; the formatter is released once (ASan checks).
    a = Data(int64_t{0});
    std::string out;
    b.toFormattedString(out);
    EXPECT_EQ(out, "    42");

    // Adopting a type from NONE drops a custom formatter.
    Data none;
    none.setCustomFormatter(RealFormatter(10, 2));
    none.setValue(1.0);
    EXPECT_EQ(none.getCustomFormatter(), nullptr);
}

TEST_F(DataTest, UnknownTypeNumbersBorrowTheIntegerHelper) {
    Data odd(static_cast<DataType>(11));
    EXPECT_EQ(static_cast<int>(odd.getType()), 11);
    EXPECT_FALSE(odd.isNumeric());
    EXPECT_EQ(odd.setValue(int64_t{1}), 1);
    EXPECT_TRUE(log.loggedExactly({"WARNING: Unhandled type 11\n", wrongType(11, 1)}));

    log.clear();
    Data none;
    std::string out = "old";
    EXPECT_EQ(none.toFormattedString(out), 1);
    EXPECT_EQ(out, "INVALID");
    EXPECT_TRUE(log.loggedExactly(
        {kNoneWarning, "WARNING: Data of type pwr::DataType::NONE can't be formatted\n"}));
}

}  // namespace
}  // namespace pwr
