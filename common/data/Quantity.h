// Quantity: what a number measures and in which unit ("Power" in "mW").
//
// The built-in quantities are created by UniqueId::initialize and reached
// through the static accessors; plug-ins may create custom quantities of type
// CUSTOM1 and above. A quantity may name a base quantity and a factor that
// relate it to a rate (energy accumulates power, time accumulates frequency
// ticks). Quantities are registered objects: the registry owns them, they are
// immutable after creation and shared by const pointer across threads.
#pragma once

#include <cstdint>
#include <string>

#include "common/data/UniqueId.h"
#include "common/runtime/Export.h"

namespace pwr {

enum class QuantityType : uint8_t {
    NONE = 0,
    TIME = 1,
    FREQUENCY = 2,
    DATA = 3,
    BANDWIDTH = 4,
    POWER = 5,
    ENERGY = 6,
    TEMPERATURE = 7,
    CUSTOM1 = 8,
    CUSTOM2 = 9,
    VOLTAGE = 10,
    CURRENT = 11,
    OPERATIONS = 12,
    THROUGHPUT = 13,
};

class PWR_API Quantity : public UniqueId {
  public:
    ~Quantity() override;
    Quantity(const Quantity&) = default;
    Quantity(Quantity&&) = default;
    Quantity& operator=(const Quantity&) = default;
    Quantity& operator=(Quantity&&) = default;

    UniqueIdType getIdType() const override { return UniqueIdType::QUANTITY; }

    // The built-in quantities (null before UniqueId::initialize).
    static const Quantity* time();
    static const Quantity* frequency();
    static const Quantity* data();
    static const Quantity* bandwidth();
    static const Quantity* power();
    static const Quantity* energy();
    static const Quantity* temperature();
    static const Quantity* voltage();
    static const Quantity* current();
    static const Quantity* operations();
    static const Quantity* throughput();

    // Creates and registers a custom quantity. Types below CUSTOM1 belong to
    // the built-ins: they are refused with a warning and the dummy quantity
    // (named "ERROR") is returned, so the caller always gets a usable pointer.
    static const Quantity* create(QuantityType type, const std::string& name,
                                  const std::string& units, const Quantity* base, double factor);

    const std::string& toQuantityString() const { return m_name; }
    const std::string& toUnitsString() const { return m_units; }
    QuantityType toQuantity() const { return m_type; }
    // "Name (units)", or the bare name when the units are empty.
    void toTitleString(std::string& out) const;
    // Base quantity and factor of a rate quantity: 0 when there is a base,
    // else 1 with base = null and factor = 1.0.
    int getRateConversion(const Quantity*& base, double& factor) const;

  private:
    friend class UniqueId;

    Quantity();
    void init_i(QuantityType type, const std::string& name, const std::string& units,
                const Quantity* base, double factor);
    static const Quantity* dummy();
    static const Quantity* make_i(QuantityType type, const std::string& name,
                                  const std::string& units, const Quantity* base, double factor);
    static void initDefaults_i();
    static void clearDefaults_i();

    std::string m_name;
    std::string m_units;
    QuantityType m_type;
    double m_factor;
    const Quantity* m_base;

    static const Quantity* s_frequency_i;
    static const Quantity* s_time_i;
    static const Quantity* s_bandwidth_i;
    static const Quantity* s_data_i;
    static const Quantity* s_power_i;
    static const Quantity* s_energy_i;
    static const Quantity* s_throughput_i;
    static const Quantity* s_operations_i;
    static const Quantity* s_temperature_i;
    static const Quantity* s_voltage_i;
    static const Quantity* s_current_i;
    static const Quantity* s_dummy_i;
};

}  // namespace pwr
