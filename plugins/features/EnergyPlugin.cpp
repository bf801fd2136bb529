#include "plugins/features/EnergyPlugin.h"

#include "common/data/Quantity.h"

namespace vantry::features {

EnergyPlugin::EnergyPlugin()
    : FeaturePlugin({"EnergyPlugin",
                     "energy",
                     "ENERGY",
                     "Energy and average power of the package and its domains",
                     {"power"}},
                    {FieldKind::Counter, FieldKind::Counter}),
      m_energy(nullptr) {}

EnergyPlugin::~EnergyPlugin() = default;

void EnergyPlugin::createMetrics_i(const pwr::SystemMetadata& sys) {
    m_energy = addMetric_i("Energy", pwr::MetricType::SampledDelta, "ENERGY", sys,
                           pwr::Quantity::energy());
}

void EnergyPlugin::handleReadings_i(uint64_t ts, const std::vector<Reading>& readings,
                                    const pwr::SystemMetadata& sys) {
    for (const Reading& reading : readings) {
        const uint64_t now = reading.counter[0];
        const uint64_t range = reading.counter[1];
        auto previous = m_previous.find(reading.name);
        if (previous == m_previous.end()) {
            m_previous.emplace(reading.name, std::make_pair(ts, now));
            continue;
        }
        const uint64_t before = previous->second.second;
        const uint64_t prevTs = previous->second.first;
        previous->second = std::make_pair(ts, now);
        uint64_t delta = 0;
        if (now >= before) {
            delta = now - before;
        } else if (range != 0 && before < range && now < range) {
            // Wrapped once at the range.
            delta = range - before + now;
        } else {
            continue;
        }
        uint64_t duration = 0;
        double share = 0.0;
        if (!window_i(prevTs, ts, sys, duration, share)) {
            continue;
        }
        const double millijoules = static_cast<double>(delta) * share / 1000.0;
        feed_i(*m_energy, ts, deviceEntity_i(reading.name), nullptr, pwr::Data(millijoules),
               duration);
    }
}

}  // namespace vantry::features
