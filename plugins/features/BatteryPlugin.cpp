#include "plugins/features/BatteryPlugin.h"

#include "common/data/Quantity.h"

namespace vantry::features {

BatteryPlugin::BatteryPlugin()
    : FeaturePlugin({"BatteryPlugin",
                     "battery",
                     "BATTERY",
                     "Remaining energy and discharge rate of each battery",
                     {"power"}},
                    {FieldKind::Real, FieldKind::Real}),
      m_remaining(nullptr),
      m_rate(nullptr) {}

BatteryPlugin::~BatteryPlugin() = default;

void BatteryPlugin::createMetrics_i(const pwr::SystemMetadata& sys) {
    // Batteries report their charge in mWh, which no built-in quantity has:
    // a custom quantity keeps the reading as the battery gives it.
    const pwr::Quantity* charge =
        pwr::Quantity::create(pwr::QuantityType::CUSTOM1, "Remaining Energy", "mWh", nullptr, 1.0);
    m_remaining = addMetric_i("Battery Remaining Energy", pwr::MetricType::SampledValue, "CHARGE",
                              sys, charge);
    m_rate = addMetric_i("Battery Discharge Rate", pwr::MetricType::SampledValue, "RATE", sys,
                         pwr::Quantity::power());
}

void BatteryPlugin::handleReadings_i(uint64_t ts, const std::vector<Reading>& readings,
                                     const pwr::SystemMetadata& /*sys*/) {
    // The machine's row: the energy left in all batteries and their
    // combined rate.
    double remaining = 0.0;
    double rate = 0.0;
    unsigned count = 0;
    for (const Reading& reading : readings) {
        if (reading.name == c_systemRowName) {
            continue;  // a battery of that name would mix with the sum
        }
        const pwr::EntityHandle* battery = deviceEntity_i(reading.name);
        feed_i(*m_remaining, ts, battery, nullptr, pwr::Data(reading.real[0]), 0);
        feed_i(*m_rate, ts, battery, nullptr, pwr::Data(reading.real[1]), 0);
        remaining += reading.real[0];
        rate += reading.real[1];
        ++count;
    }
    if (count != 0) {
        feed_i(*m_remaining, ts, systemRow_i(), nullptr, pwr::Data(remaining), 0);
        feed_i(*m_rate, ts, systemRow_i(), nullptr, pwr::Data(rate), 0);
    }
}

}  // namespace vantry::features
