#include <gtest/gtest.h>

#include <string>

#include "common/data/DataHandle.h"
#include "common/data/EntityHandle.h"
#include "common/data/Quantity.h"
#include "tests/support/LogCapture.h"

namespace pwr {
namespace {

class QuantityTest : public test::RegistryTest {};

TEST_F(QuantityTest, BuiltinsAreCreatedInTableOrderWithConsecutiveIds) {
    struct Row {
        const Quantity* q;
        QuantityType type;
        const char* title;
    };
    const Row rows[] = {
        {Quantity::frequency(), QuantityType::FREQUENCY, "Frequency (MHz)"},
        {Quantity::time(), QuantityType::TIME, "Time (ticks)"},
        {Quantity::bandwidth(), QuantityType::BANDWIDTH, "Bandwidth (MB/s)"},
        {Quantity::data(), QuantityType::DATA, "Data (bytes)"},
        {Quantity::power(), QuantityType::POWER, "Power (mW)"},
        {Quantity::energy(), QuantityType::ENERGY, "Energy (mJ)"},
        {Quantity::throughput(), QuantityType::THROUGHPUT, "Throughput (Ops/sec)"},
        {Quantity::operations(), QuantityType::OPERATIONS, "Operations (OpsCount)"},
        {Quantity::temperature(), QuantityType::TEMPERATURE, "Temperature (oC)"},
        {Quantity::voltage(), QuantityType::VOLTAGE, "Voltage (mV)"},
        {Quantity::current(), QuantityType::CURRENT, "Current (mA)"},
    };
    const uint64_t first = rows[0].q->getId();
    for (size_t i = 0; i < sizeof(rows) / sizeof(rows[0]); ++i) {
        ASSERT_NE(rows[i].q, nullptr) << i;
        EXPECT_EQ(rows[i].q->getId(), first + i) << rows[i].title;
        EXPECT_EQ(rows[i].q->toQuantity(), rows[i].type) << rows[i].title;
        EXPECT_EQ(rows[i].q->getIdType(), UniqueIdType::QUANTITY);
        std::string title;
        rows[i].q->toTitleString(title);
        EXPECT_EQ(title, rows[i].title);
        EXPECT_EQ(UniqueId::find(rows[i].q->getId()), rows[i].q);
    }
    // The dummy quantity comes last and takes the next id.
    EXPECT_EQ(UniqueId::peekNextId(), first + 12);
    EXPECT_TRUE(log.loggedExactly({}));
}

TEST_F(QuantityTest, RateConversionNamesBaseAndFactor) {
    const Quantity* base = Quantity::voltage();
    double factor = 7.0;
    EXPECT_EQ(Quantity::energy()->getRateConversion(base, factor), 0);
    EXPECT_EQ(base, Quantity::power());
    EXPECT_EQ(factor, 1.0);

    EXPECT_EQ(Quantity::power()->getRateConversion(base, factor), 1);
    EXPECT_EQ(base, nullptr);
    EXPECT_EQ(factor, 1.0);

    EXPECT_EQ(Quantity::time()->getRateConversion(base, factor), 0);
    EXPECT_EQ(base, Quantity::frequency());
    EXPECT_EQ(factor, 0.000001);
    EXPECT_EQ(Quantity::data()->getRateConversion(base, factor), 0);
    EXPECT_EQ(base, Quantity::bandwidth());
    EXPECT_EQ(Quantity::operations()->getRateConversion(base, factor), 0);
    EXPECT_EQ(base, Quantity::throughput());
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
    std::string title;
    custom->toTitleString(title);
    EXPECT_EQ(title, "Residency");
    volts->toTitleString(title);
    EXPECT_EQ(title, "Vcore (V)");

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
    Quantity assigned(*Quantity::time());
    assigned = *Quantity::energy();
    EXPECT_EQ(assigned.getId(), Quantity::energy()->getId());
    const Quantity* base = nullptr;
    double factor = 0.0;
    EXPECT_EQ(assigned.getRateConversion(base, factor), 0);
    EXPECT_EQ(base, Quantity::power());
}

TEST_F(QuantityTest, AQuantityIsNotADataHandle) {
    const DataHandle* out = EntityHandle::create("SYSTEM", nullptr);
    log.clear();
    EXPECT_EQ(DataHandle::get(Quantity::power()->getId(), out), 1);
    EXPECT_EQ(out, nullptr);
    EXPECT_TRUE(log.loggedExactly({"WARNING: UniqueId isn't a DataHandle type\n"}));
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

}  // namespace
}  // namespace pwr
