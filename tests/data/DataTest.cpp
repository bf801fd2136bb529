#include <gtest/gtest.h>

#include <cstdint>
#include <initializer_list>
#include <limits>
#include <string>
#include <utility>
#include <vector>

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

constexpr int64_t c_intMin = std::numeric_limits<int64_t>::min();
constexpr int64_t c_intMax = std::numeric_limits<int64_t>::max();
constexpr uint64_t c_uintMax = std::numeric_limits<uint64_t>::max();
constexpr uint64_t c_2p63 = uint64_t{1} << 63;

std::string wrongType(int current, int wanted) {
    return "WARNING: Invalid attempt to initialize data of the wrong type (" +
           std::to_string(current) + " != " + std::to_string(wanted) + ")\n";
}

// A value of type after init (initZero, initMin or initMax), which must work.
Data started(DataType type, int (Data::*init)()) {
    Data d(type);
    EXPECT_EQ((d.*init)(), 0);
    return d;
}

// target after adding each input, which must be accepted.
Data sum(Data target, std::initializer_list<Data> inputs) {
    for (const Data& input : inputs) {
        EXPECT_EQ(target.addValue(input), 0);
    }
    return target;
}

Data scaled(Data d, double factor) {
    EXPECT_EQ(d.multiplyValue(factor), 0);
    return d;
}

class DataTest : public test::RegistryTest {};

TEST_F(DataTest, ScalarSettersAdoptTypeFromNoneButRangeAndHandleSettersDoNot) {
    Data a;
    EXPECT_FALSE(a.isSet());
    EXPECT_EQ(a.setValue(int64_t{5}), 0);
    EXPECT_EQ(a, Data(int64_t{5}));
    Data c;
    EXPECT_EQ(c.setValue(std::string("text")), 0);
    EXPECT_EQ(c.getType(), DataType::STRING);

    Data b;
    EXPECT_EQ(b.setValue(IntPair(1, 2)), 1);
    Data d;
    EXPECT_EQ(d.setValue(*EntityHandle::create("SYSTEM", nullptr)), 1);
    for (const Data* untyped : {&b, &d}) {
        EXPECT_EQ(untyped->getType(), DataType::NONE);
        EXPECT_TRUE(untyped->isSet());
        EXPECT_FALSE(untyped->isValid());
    }
    EXPECT_TRUE(log.loggedExactly({wrongType(0, 4), wrongType(0, 7)}));
}

TEST_F(DataTest, WrongTypeSetInvalidatesButKeepsSetFlagOfScalars) {
    Data a(int64_t{5});
    EXPECT_EQ(a.setValue(uint64_t{5}), 1);
    EXPECT_EQ(a.getType(), DataType::INT);
    EXPECT_TRUE(a.isSet());
    EXPECT_FALSE(a.isValid());
    Data r(DataType::REAL_RANGE);
    EXPECT_EQ(r.setValue(UIntPair(1, 2)), 1);
    EXPECT_TRUE(r.isSet());  // raised before the type check
    Data u(DataType::UINT);
    EXPECT_EQ(u.setValue(2.0), 1);
    EXPECT_FALSE(u.isSet());  // scalar setters leave it alone on failure
    Data x(uint64_t{1});
    EXPECT_EQ(x.setValue(Data(int64_t{1})), 1);
    EXPECT_FALSE(x.isValid());
    EXPECT_TRUE(
        log.loggedExactly({wrongType(1, 2), wrongType(6, 5), wrongType(2, 3), wrongType(2, 1)}));

    log.clear();
    EXPECT_EQ(x.setValue(Data(uint64_t{9})), 0);
    EXPECT_EQ(x, Data(uint64_t{9}));
    EXPECT_TRUE(log.loggedExactly({}));
}

// Whether get refuses d and leaves its output as it was.
template <typename T>
bool refused(int (Data::*get)(T&) const, const Data& d, T kept) {
    T out = kept;
    return (d.*get)(out) == 1 && out == kept;
}

TEST_F(DataTest, GettersCheckTypeExactlyAndLeaveOutputsAlone) {
    const Data i(int64_t{-3});
    EXPECT_TRUE(refused(&Data::toReal, i, 42.0));
    EXPECT_TRUE(refused(&Data::toUInt, i, uint64_t{42}));
    EXPECT_TRUE(refused(&Data::toIntRange, i, IntPair(7, 7)));
    EXPECT_TRUE(refused(&Data::toUIntRange, i, UIntPair(7, 7)));
    EXPECT_TRUE(refused(&Data::toRealRange, i, RealPair(7.0, 7.0)));
    EXPECT_TRUE(refused(&Data::toString, i, std::string("keep")));
    EXPECT_TRUE(refused<const DataHandle*>(&Data::toHandle, i, nullptr));
    EXPECT_TRUE(refused(&Data::toInt, Data(uint64_t{1}), int64_t{0}));
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
    EXPECT_TRUE(refused(&Data::toReal, Data(DataType::REAL), 42.0));
    Data invalid(2.5);
    invalid.invalidate();
    EXPECT_TRUE(invalid.isSet());
    EXPECT_TRUE(refused(&Data::toReal, invalid, 42.0));
    EXPECT_TRUE(log.loggedExactly({}));
}

// Handles are stored as ids and resolved through the registry, which warns
// about ids it does not know and ids of objects that are no handles.
TEST_F(DataTest, HandlesStoreIdsAndResolveThroughTheRegistry) {
    const EntityHandle* cpu = EntityHandle::create("CPU", nullptr);
    const DataHandle* out = nullptr;
    EXPECT_EQ(Data(*cpu).toHandle(out), 0);
    EXPECT_EQ(out, cpu);

    struct FakeHandle : DataHandle {
        FakeHandle() : DataHandle(Description("fake", ""), DataHandleType::FIELD) {}
    } unregistered;
    EXPECT_EQ(Data(unregistered).toHandle(out), 1);
    EXPECT_EQ(out, cpu);
    EXPECT_EQ(DataHandle::get(Quantity::power()->getId(), out), 1);
    EXPECT_EQ(out, nullptr);
    EXPECT_TRUE(log.loggedExactly({"WARNING: Handle id " + std::to_string(unregistered.getId()) +
                                       " not found in UniqueId map\n",
                                   "WARNING: UniqueId isn't a DataHandle type\n"}));
}

TEST_F(DataTest, ComparisonOrdersTypesThenFlagsThenValues) {
    // Any INT is below any UINT, whatever the values.
    EXPECT_TRUE(Data(int64_t{1000}) < Data(uint64_t{1}));
    EXPECT_FALSE(Data(int64_t{1000}) == Data(uint64_t{1000}));
    EXPECT_TRUE(Data(uint64_t{1}) >= Data(int64_t{5}));
    EXPECT_TRUE(Data(uint64_t{1}) > Data(int64_t{5}));

    Data unsetA(DataType::INT);
    Data unsetB(DataType::INT);
    EXPECT_TRUE(unsetA == unsetB);
    EXPECT_FALSE(unsetA == Data(int64_t{0}));
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
    EXPECT_TRUE(Data(uint64_t{1}) < Data(c_2p63));
    EXPECT_TRUE(Data(2.5) <= Data(2.5));
    EXPECT_FALSE(Data(2.5) > Data(2.5));
    EXPECT_TRUE(Data(3.0) > Data(2.5));
    // Ranges order by their first element and are equal only as a pair.
    EXPECT_TRUE(Data(IntPair(1, 100)) < Data(IntPair(2, 0)));
    EXPECT_FALSE(Data(RealPair(1.0, 2.0)) == Data(RealPair(1.0, 3.0)));
    EXPECT_FALSE(Data(UIntPair(1, 2)) < Data(UIntPair(1, 3)));
    EXPECT_TRUE(Data(std::string("abc")) < Data(std::string("b")));
    EXPECT_TRUE(Data(std::string("\x7f")) < Data(std::string("\x80")));  // bytes are unsigned

    const EntityHandle* a = EntityHandle::create("a", nullptr);
    const EntityHandle* b = EntityHandle::create("b", nullptr);
    EXPECT_TRUE(Data(*a) < Data(*b));
    EXPECT_TRUE(Data(*a) == Data(*a));
    EXPECT_TRUE(log.loggedExactly({}));
}

// Integers wrap; REAL takes every numeric scalar and the sum of a REAL_RANGE;
// ranges are two running sums, and an unset target counts from zero.
TEST_F(DataTest, AccumulationWrapsConvertsAndSumsRanges) {
    EXPECT_EQ(sum(started(DataType::INT, &Data::initZero), {Data(c_intMax), Data(int64_t{1})}),
              Data(c_intMin));
    EXPECT_EQ(sum(Data(DataType::UINT), {Data(c_2p63), Data(uint64_t{5})}), Data(c_2p63 + 5));
    EXPECT_EQ(sum(started(DataType::REAL, &Data::initZero),
                  {Data(RealPair(2.0, 5.0)), Data(int64_t{-1}), Data(uint64_t{3}), Data(0.5)}),
              Data(9.5));
    EXPECT_EQ(sum(Data(DataType::REAL), {Data(c_uintMax)}), Data(18446744073709551615.0));
    EXPECT_EQ(sum(Data(DataType::INT_RANGE), {Data(int64_t{3}), Data(IntPair(-1, 10))}),
              Data(IntPair(2, 13)));
    EXPECT_EQ(sum(Data(UIntPair(1, 1)), {Data(uint64_t{4}), Data(UIntPair(10, 20))}),
              Data(UIntPair(15, 25)));
    EXPECT_EQ(sum(started(DataType::REAL_RANGE, &Data::initZero),
                  {Data(1.5), Data(int64_t{-2}), Data(uint64_t{4}), Data(IntPair(-1, 2)),
                   Data(UIntPair(3, 4)), Data(RealPair(0.25, 0.5))}),
              Data(RealPair(5.75, 10.0)));
    EXPECT_TRUE(log.loggedExactly({}));
}

TEST_F(DataTest, AccumulatorsRefuseOtherInputTypes) {
    const std::string realInputs =
        "WARNING: Accumulator must have REAL, INT, UINT or REAL_RANGE type as input\n";
    const std::string unsupported = "WARNING: Attempt to accumulate on unsupported type\n";
    const struct {
        DataType target;
        Data input;
        std::string warning;
    } refusals[] = {
        {DataType::INT, Data(uint64_t{1}), "WARNING: Accumulator must have INT type as input\n"},
        {DataType::UINT, Data(2.0), "WARNING: Accumulator must have UINT type as input\n"},
        {DataType::REAL, Data(IntPair(1, 2)), realInputs},
        {DataType::REAL, Data(std::string("x")), realInputs},
        {DataType::INT_RANGE, Data(uint64_t{1}), "WARNING: IntRange accumulate expects INT type\n"},
        {DataType::UINT_RANGE, Data(int64_t{1}),
         "WARNING: UIntRange accumulate expects UINT type\n"},
        {DataType::REAL_RANGE, Data(std::string("x")),
         "WARNING: Accumulator must have REAL, INT, or UINT type as input\n"},
        {DataType::STRING, Data(1.0), unsupported},
        {DataType::NONE, Data(1.0), unsupported},
    };
    for (const auto& r : refusals) {
        log.clear();
        EXPECT_EQ(Data(r.target).addValue(r.input), 1) << r.warning;
        EXPECT_TRUE(log.loggedExactly({r.warning}));
    }
    log.clear();
    EXPECT_EQ(Data(std::string("s")).multiplyValue(2.0), 1);
    EXPECT_EQ(Data().multiplyValue(2.0), 1);
    const std::string numericOnly = "WARNING: Multiply only supported for numeric types\n";
    EXPECT_TRUE(log.loggedExactly({numericOnly, numericOnly}));
}

TEST_F(DataTest, StartValuesIncludingTheRealMaximumQuirk) {
    const Data max = started(DataType::REAL, &Data::initMax);
    EXPECT_EQ(max, Data(2.2250738585072014e-308));
    // A running maximum of negative values stays at this start value.
    EXPECT_FALSE(Data(-1.0) > max);
    EXPECT_EQ(started(DataType::REAL, &Data::initMin), Data(1.7976931348623157e+308));
    EXPECT_EQ(started(DataType::INT, &Data::initMax), Data(c_intMin));
    EXPECT_EQ(started(DataType::INT, &Data::initMin), Data(c_intMax));
    EXPECT_EQ(started(DataType::UINT, &Data::initMax), Data(uint64_t{0}));
    EXPECT_EQ(started(DataType::UINT, &Data::initMin), Data(c_uintMax));
    // Types without start values answer 1 silently.
    EXPECT_EQ(Data(DataType::INT_RANGE).initMax(), 1);
    EXPECT_EQ(Data(DataType::REAL_RANGE).initMin(), 1);
    EXPECT_EQ(Data(DataType::STRING).initZero(), 1);
    EXPECT_EQ(Data().initZero(), 1);
    EXPECT_TRUE(log.loggedExactly({}));
}

TEST_F(DataTest, MultiplyRoundsHalfAwayFromZero) {
    EXPECT_EQ(scaled(Data(int64_t{-3}), 0.5), Data(int64_t{-2}));
    EXPECT_EQ(scaled(Data(int64_t{5}), 0.5), Data(int64_t{3}));
    // Above 2^63: the conversions to and from double are unsigned.
    EXPECT_EQ(scaled(Data(c_2p63), 1.5), Data(c_2p63 + (c_2p63 >> 1)));
    EXPECT_EQ(scaled(Data(uint64_t{3}), 0.5), Data(uint64_t{2}));
    EXPECT_EQ(scaled(Data(2.5), -2.0), Data(-5.0));
    EXPECT_EQ(scaled(Data(IntPair(3, -3)), 0.5), Data(IntPair(2, -2)));
    EXPECT_EQ(scaled(Data(UIntPair(1, 3)), 0.5), Data(UIntPair(1, 2)));
    EXPECT_EQ(scaled(Data(RealPair(1.0, 3.0)), 0.5), Data(RealPair(0.5, 1.5)));
    EXPECT_TRUE(log.loggedExactly({}));
}

TEST_F(DataTest, ConvertToRealKeepsTheFullUnsignedRange) {
    const auto real = [](const Data& d) { return Data::convertToReal(&d); };
    EXPECT_EQ(real(Data(int64_t{-7})), Data(-7.0));
    EXPECT_EQ(real(Data(c_uintMax)), Data(18446744073709551615.0));
    EXPECT_EQ(real(Data(UIntPair(c_2p63, 2))), Data(RealPair(9223372036854775808.0, 2.0)));
    EXPECT_EQ(real(Data(IntPair(-1, 1))), Data(RealPair(-1.0, 1.0)));
    Data i(int64_t{3});
    i.setCustomFormatter(IntFormatter(9, false));
    EXPECT_EQ(real(i).getCustomFormatter(), nullptr);
    const Data s(std::string("x"));
    EXPECT_EQ(real(s), s);
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

TEST_F(DataTest, UnknownTypeNumbersBorrowTheIntegerHelperAndNoneIsInvalid) {
    Data odd(static_cast<DataType>(11));
    EXPECT_EQ(odd.setValue(int64_t{1}), 1);
    EXPECT_TRUE(log.loggedExactly({"WARNING: Unhandled type 11\n", wrongType(11, 1)}));

    log.clear();
    std::string out = "old";
    EXPECT_EQ(Data().toFormattedString(out), 1);
    EXPECT_EQ(out, "INVALID");
    EXPECT_TRUE(
        log.loggedExactly({"WARNING: Cannot use data object with type pwr::DataType::NONE\n",
                           "WARNING: Data of type pwr::DataType::NONE can't be formatted\n"}));
}

}  // namespace
}  // namespace pwr
