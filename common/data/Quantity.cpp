#include "common/data/Quantity.h"

#include "common/runtime/Log.h"

namespace pwr {

const Quantity* Quantity::s_frequency_i = nullptr;
const Quantity* Quantity::s_time_i = nullptr;
const Quantity* Quantity::s_bandwidth_i = nullptr;
const Quantity* Quantity::s_data_i = nullptr;
const Quantity* Quantity::s_power_i = nullptr;
const Quantity* Quantity::s_energy_i = nullptr;
const Quantity* Quantity::s_throughput_i = nullptr;
const Quantity* Quantity::s_operations_i = nullptr;
const Quantity* Quantity::s_temperature_i = nullptr;
const Quantity* Quantity::s_voltage_i = nullptr;
const Quantity* Quantity::s_current_i = nullptr;
const Quantity* Quantity::s_dummy_i = nullptr;

Quantity::Quantity() : m_type(QuantityType::NONE), m_factor(1.0), m_base(nullptr) {}

Quantity::~Quantity() = default;

void Quantity::init_i(QuantityType type, const std::string& name, const std::string& units,
                      const Quantity* base, double factor) {
    m_type = type;
    m_name = name;
    m_units = units;
    m_base = base;
    m_factor = factor;
}

const Quantity* Quantity::make_i(QuantityType type, const std::string& name,
                                 const std::string& units, const Quantity* base, double factor) {
    Quantity* q = new Quantity();
    q->init_i(type, name, units, base, factor);
    register_i(q);
    return q;
}

// The order is part of the id layout: a base quantity always precedes the
// quantity that names it.
void Quantity::initDefaults_i() {
    s_frequency_i = make_i(QuantityType::FREQUENCY, "Frequency", "MHz", nullptr, 1.0);
    s_time_i = make_i(QuantityType::TIME, "Time", "ticks", s_frequency_i, 0.000001);
    s_bandwidth_i = make_i(QuantityType::BANDWIDTH, "Bandwidth", "MB/s", nullptr, 1.0);
    s_data_i = make_i(QuantityType::DATA, "Data", "bytes", s_bandwidth_i, 0.000001);
    s_power_i = make_i(QuantityType::POWER, "Power", "mW", nullptr, 1.0);
    s_energy_i = make_i(QuantityType::ENERGY, "Energy", "mJ", s_power_i, 1.0);
    s_throughput_i = make_i(QuantityType::THROUGHPUT, "Throughput", "Ops/sec", nullptr, 1.0);
    s_operations_i =
        make_i(QuantityType::OPERATIONS, "Operations", "OpsCount", s_throughput_i, 1.0);
    s_temperature_i = make_i(QuantityType::TEMPERATURE, "Temperature", "oC", nullptr, 1.0);
    s_voltage_i = make_i(QuantityType::VOLTAGE, "Voltage", "mV", nullptr, 1.0);
    s_current_i = make_i(QuantityType::CURRENT, "Current", "mA", nullptr, 1.0);
    s_dummy_i = make_i(QuantityType::NONE, "ERROR", "ERROR", nullptr, 1.0);
}

// The registry deletes the quantities; the accessors must not hand them out
// afterwards.
void Quantity::clearDefaults_i() {
    s_frequency_i = s_time_i = s_bandwidth_i = s_data_i = nullptr;
    s_power_i = s_energy_i = s_throughput_i = s_operations_i = nullptr;
    s_temperature_i = s_voltage_i = s_current_i = s_dummy_i = nullptr;
}

const Quantity* Quantity::time() {
    return s_time_i;
}
const Quantity* Quantity::frequency() {
    return s_frequency_i;
}
const Quantity* Quantity::data() {
    return s_data_i;
}
const Quantity* Quantity::bandwidth() {
    return s_bandwidth_i;
}
const Quantity* Quantity::power() {
    return s_power_i;
}
const Quantity* Quantity::energy() {
    return s_energy_i;
}
const Quantity* Quantity::temperature() {
    return s_temperature_i;
}
const Quantity* Quantity::voltage() {
    return s_voltage_i;
}
const Quantity* Quantity::current() {
    return s_current_i;
}
const Quantity* Quantity::operations() {
    return s_operations_i;
}
const Quantity* Quantity::throughput() {
    return s_throughput_i;
}
const Quantity* Quantity::dummy() {
    if (s_dummy_i != nullptr) {
        return s_dummy_i;
    }
    // Before UniqueId::initialize and after destroy the registry's dummy
    // does not exist: a refused create still hands out a usable quantity,
    // one that no registry owns and that lives as long as the process.
    static const Quantity* const s_unregistered = [] {
        auto* q = new Quantity();
        q->init_i(QuantityType::NONE, "ERROR", "ERROR", nullptr, 1.0);
        return q;
    }();
    return s_unregistered;
}

const Quantity* Quantity::create(QuantityType type, const std::string& name,
                                 const std::string& units, const Quantity* base, double factor) {
    if (static_cast<uint8_t>(type) < static_cast<uint8_t>(QuantityType::CUSTOM1)) {
        pwLog(PW_WARNING, "WARNING: Can't create a custom quantity of specified type\n");
        return dummy();
    }
    return make_i(type, name, units, base, factor);
}

void Quantity::toTitleString(std::string& out) const {
    out = m_name;
    if (!m_units.empty()) {
        out += " (";
        out += m_units;
        out += ")";
    }
}

int Quantity::getRateConversion(const Quantity*& base, double& factor) const {
    base = nullptr;
    factor = 1.0;
    if (m_base == nullptr) {
        return 1;
    }
    base = m_base;
    factor = m_factor;
    return 0;
}

}  // namespace pwr
