#include "plugins/features/FrequencyPlugin.h"

#include <cmath>

#include "common/data/Quantity.h"

namespace vantry::features {

FrequencyPlugin::FrequencyPlugin()
    : FeaturePlugin({"FrequencyPlugin",
                     "frequency",
                     "FREQ",
                     "Operating frequency of each logical processor (P-states)",
                     {"cpu"}},
                    {FieldKind::Real}),
      m_frequency(nullptr),
      m_distribution(nullptr) {}

FrequencyPlugin::~FrequencyPlugin() = default;

void FrequencyPlugin::createMetrics_i(const pwr::SystemMetadata& sys) {
    m_frequency = addMetric_i("CPU Frequency", pwr::MetricType::SampledValue, "FREQUENCY", sys,
                              pwr::Quantity::frequency());
    m_distribution = addMetric_i("CPU Frequency Distribution", pwr::MetricType::SampledValue,
                                 "DISTRIBUTION", sys, pwr::Quantity::frequency());
}

void FrequencyPlugin::handleReadings_i(uint64_t ts, const std::vector<Reading>& readings,
                                       const pwr::SystemMetadata& /*sys*/) {
    // The machine's average frequency at this reading: the mean of its
    // processors' (time-weighted over the collection like theirs).
    double sum = 0.0;
    unsigned count = 0;
    for (const Reading& reading : readings) {
        unsigned cpu = 0;
        parseCpu_i(reading.name, cpu);
        const pwr::EntityHandle* entity = cpuEntity_i(cpu);
        const double mhz = reading.real[0];
        if (entity == nullptr || mhz < 0.0) {
            continue;
        }
        // Duration 0: the sample stands for the time since the processor's
        // previous one.
        feed_i(*m_frequency, ts, entity, nullptr, pwr::Data(mhz), 0);
        const auto bin = static_cast<uint64_t>(std::llround(mhz / kBinMHz)) * kBinMHz;
        feed_i(*m_distribution, ts, entity, nullptr, pwr::Data(bin), 0);
        sum += mhz;
        ++count;
    }
    if (count != 0) {
        feed_i(*m_frequency, ts, systemRow_i(), nullptr, pwr::Data(sum / count), 0);
    }
}

}  // namespace vantry::features
