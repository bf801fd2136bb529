#include <gtest/gtest.h>

#include <cstdint>
#include <string>

#include "common/data/Quantity.h"
#include "tests/support/LogCapture.h"

namespace pwr {
namespace {

class QuantityTest : public test::RegistryTest {};

std::string title(const Quantity* q) {
    std::string out;
    q->toTitleString(out);
    return out;
}

TEST_F(QuantityTest, BuiltinsAreCreatedInTableOrderWithConsecutiveIds) {
    struct Row {
        const Quantity* q;
        QuantityType type;
        const char* title;
        const Quantity* base;  // of the rate conversion
        double factor;
    };
    const Row rows[] = {
        {Quantity::frequency(), QuantityType::FREQUENCY, "Frequency (MHz)", nullptr, 1.0},
        {Quantity::time(), QuantityType::TIME, "Time (ticks)", Quantity::frequency(), 0.000001},
        {Quantity::bandwidth(), QuantityType::BANDWIDTH, "Bandwidth (MB/s)", nullptr, 1.0},
        {Quantity::data(), QuantityType::DATA, "Data (bytes)", Quantity::bandwidth(), 0.000001},
        {Quantity::power(), QuantityType::POWER, "Power (mW)", nullptr, 1.0},
        {Quantity::energy(), QuantityType::ENERGY, "Energy (mJ)", Quantity::power(), 1.0},
        {Quantity::throughput(), QuantityType::THROUGHPUT, "Throughput (Ops/sec)", nullptr, 1.0},
        {Quantity::operations(), QuantityType::OPERATIONS, "Operations (OpsCount)",
         Quantity::throughput(), 1.0},
        {Quantity::temperature(), QuantityType::TEMPERATURE, "Temperature (oC)", nullptr, 1.0},
        {Quantity::voltage(), QuantityType::VOLTAGE, "Voltage (mV)", nullptr, 1.0},
        {Quantity::current(), QuantityType::CURRENT, "Current (mA)", nullptr, 1.0},
    };
    const uint64_t first = rows[0].q->getId();
    for (size_t i = 0; i < sizeof(rows) / sizeof(rows[0]); ++i) {
        const Row& row = rows[i];
        ASSERT_NE(row.q, nullptr) << i;
        EXPECT_EQ(row.q->getId(), first + i) << row.title;
        EXPECT_EQ(row.q->toQuantity(), row.type) << row.title;
        EXPECT_EQ(title(row.q), row.title);
        EXPECT_EQ(UniqueId::find(row.q->getId()), row.q);
        // Without a base the outputs are reset and the answer is 1.
        const Quantity* base = Quantity::voltage();
        double factor = 7.0;
        EXPECT_EQ(row.q->getRateConversion(base, factor), row.base ? 0 : 1) << row.title;
        EXPECT_EQ(base, row.base) << row.title;
        EXPECT_EQ(factor, row.factor) << row.title;
    }
    // The dummy quantity comes last and takes the next id.
    EXPECT_EQ(UniqueId::peekNextId(), first + 12);
    EXPECT_TRUE(log.loggedExactly({}));
}

TEST_F(QuantityTest, CustomQuantitiesNeedTypeCustom1OrAbove) {
    const Quantity* refused =
        Quantity::create(QuantityType::TEMPERATURE, "Heat", "K", nullptr, 1.0);
    EXPECT_TRUE(log.loggedExactly({"WARNING: Can't create a custom quantity of specified type\n"}));
    ASSERT_NE(refused, nullptr);
    EXPECT_EQ(refused->toQuantityString(), "ERROR");
    EXPECT_EQ(refused->toUnitsString(), "ERROR");
    EXPECT_EQ(refused->toQuantity(), QuantityType::NONE);
    EXPECT_EQ(Quantity::create(QuantityType::NONE, "x", "y", nullptr, 1.0), refused);

    log.clear();
    const uint64_t next = UniqueId::peekNextId();
    const Quantity* custom =
        Quantity::create(QuantityType::CUSTOM1, "Residency", "", Quantity::time(), 2.5);
    const Quantity* volts = Quantity::create(QuantityType::VOLTAGE, "Vcore", "V", nullptr, 1.0);
    EXPECT_TRUE(log.loggedExactly({}));
    EXPECT_EQ(custom->getId(), next);
    EXPECT_EQ(volts->getId(), next + 1);
    EXPECT_EQ(UniqueId::find(custom->getId()), custom);
    EXPECT_EQ(title(custom), "Residency");
    EXPECT_EQ(title(volts), "Vcore (V)");
    const Quantity* base = nullptr;
    double factor = 0.0;
    EXPECT_EQ(custom->getRateConversion(base, factor), 0);
    EXPECT_EQ(base, Quantity::time());
    EXPECT_EQ(factor, 2.5);
}

TEST_F(QuantityTest, CopiesKeepTheIdOfTheirSource) {
    Quantity copy(*Quantity::power());
    EXPECT_EQ(copy.getId(), Quantity::power()->getId());
    EXPECT_EQ(copy.toQuantityString(), "Power");
    copy = *Quantity::energy();
    EXPECT_EQ(copy.getId(), Quantity::energy()->getId());
    EXPECT_EQ(title(&copy), "Energy (mJ)");
}

TEST(QuantityRegistryTest, BuiltinsAreGoneWithTheRegistry) {
    test::LogCapture log;
    UniqueId::initialize();
    const Quantity* power = Quantity::power();
    UniqueId::initialize();  // a second call keeps the registry
    EXPECT_EQ(Quantity::power(), power);
    UniqueId::destroy();
    EXPECT_EQ(Quantity::power(), nullptr);
    EXPECT_EQ(UniqueId::find(0), nullptr);
    UniqueId::destroy();  // harmless without a registry

    // Re-initialising builds a fresh set with new ids.
    const uint64_t next = UniqueId::peekNextId();
    UniqueId::initialize();
    EXPECT_EQ(Quantity::frequency()->getId(), next);
    UniqueId::destroy();
    EXPECT_TRUE(log.loggedExactly({}));
}

TEST(QuantityRegistryTest, RefusedCreateWithoutARegistryStillGivesTheDummy) {
    test::LogCapture log;
    const Quantity* refused = Quantity::create(QuantityType::TEMPERATURE, "T", "C", nullptr, 1.0);
    ASSERT_NE(refused, nullptr);
    EXPECT_EQ(refused->toQuantityString(), "ERROR");
    EXPECT_EQ(refused->toUnitsString(), "ERROR");
    EXPECT_EQ(Quantity::create(QuantityType::POWER, "P", "W", nullptr, 1.0), refused);
    EXPECT_TRUE(log.loggedExactly({"WARNING: Can't create a custom quantity of specified type\n",
                                   "WARNING: Can't create a custom quantity of specified type\n"}));
}

}  // namespace
}  // namespace pwr
