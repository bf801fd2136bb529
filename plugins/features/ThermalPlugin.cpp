#include "plugins/features/ThermalPlugin.h"

#include <cmath>

#include "common/metrics/ThermalSampleHandler.h"

namespace vantry::features {

ThermalPlugin::ThermalPlugin()
    : FeaturePlugin({"ThermalPlugin",
                     "temperature",
                     "THERMAL",
                     "Temperature of every thermal zone or sensor of the system",
                     {"thermal"}},
                    {FieldKind::Real}),
      m_handler(nullptr) {}

ThermalPlugin::~ThermalPlugin() {
    if (m_handler != nullptr) {
        pwr::ThermalSampleHandler::release(this);
    }
}

void ThermalPlugin::createMetrics_i(const pwr::SystemMetadata& sys) {
    m_added.clear();
    if (m_handler != nullptr) {
        pwr::ThermalSampleHandler::release(this);
        m_handler = nullptr;
    }
    m_handler = pwr::ThermalSampleHandler::getInstance(sys, this);
}

int ThermalPlugin::endCollection_i() {
    if (m_handler == nullptr) {
        return 0;
    }
    m_handler = nullptr;
    m_added.clear();
    return pwr::ThermalSampleHandler::release(this);
}

namespace {

double toDegrees(double millidegrees) {
    const double celsius = std::round(millidegrees / 1000.0);
    return celsius < 0.0 ? 0.0 : (celsius > 65535.0 ? 65535.0 : celsius);
}

}  // namespace

void ThermalPlugin::handleReadings_i(uint64_t ts, const std::vector<Reading>& readings,
                                     const pwr::SystemMetadata& /*sys*/) {
    if (m_handler == nullptr) {
        return;
    }
    // The machine's row: the mean of the sensors at this reading, so its
    // Time-weighted Avg is the mean of theirs.
    double sum = 0.0;
    unsigned count = 0;
    for (const Reading& reading : readings) {
        if (reading.name == c_systemRowName) {
            continue;  // a sensor of that name would mix with the mean
        }
        const pwr::EntityHandle* entity = deviceEntity_i(reading.name);
        if (m_added.insert(reading.name).second) {
            m_handler->addEntity(entity);
        }
        // Millidegrees to whole degrees; the shared metric holds unsigned
        // 16-bit readings, so readings below 0 C count as 0.
        const double celsius = toDegrees(reading.real[0]);
        m_handler->setTemperature(entity, ts, static_cast<uint16_t>(celsius), false);
        sum += celsius;
        ++count;
    }
    if (count != 0) {
        const pwr::EntityHandle* all = systemRow_i();
        if (m_added.insert(c_systemRowName).second) {
            m_handler->addEntity(all);
        }
        m_handler->setTemperature(all, ts, static_cast<uint16_t>(std::round(sum / count)), false);
    }
}

}  // namespace vantry::features
