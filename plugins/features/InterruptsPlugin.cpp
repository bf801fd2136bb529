#include "plugins/features/InterruptsPlugin.h"

#include <cmath>

#include "common/data/Quantity.h"

namespace vantry::features {

InterruptsPlugin::InterruptsPlugin()
    : FeaturePlugin({"InterruptsPlugin",
                     "interrupts",
                     "IRQ",
                     "Interrupts taken by each logical processor, and their rate",
                     {"cpu"}},
                    {FieldKind::Counter}),
      m_interrupts(nullptr) {}

InterruptsPlugin::~InterruptsPlugin() = default;

void InterruptsPlugin::createMetrics_i(const pwr::SystemMetadata& sys) {
    m_interrupts = addMetric_i("Interrupts", pwr::MetricType::SampledDelta, "INTERRUPTS", sys,
                               pwr::Quantity::operations());
}

void InterruptsPlugin::handleReadings_i(uint64_t ts, const std::vector<Reading>& readings,
                                        const pwr::SystemMetadata& sys) {
    // The machine's interrupts over the same interval: the sum of its
    // processors'.
    uint64_t total = 0;
    uint64_t totalDuration = 0;
    for (const Reading& reading : readings) {
        unsigned cpu = 0;
        parseCpu_i(reading.name, cpu);
        const uint64_t now = reading.counter[0];
        auto previous = m_previous.find(cpu);
        if (previous == m_previous.end()) {
            m_previous.emplace(cpu, std::make_pair(ts, now));
            continue;
        }
        const std::pair<uint64_t, uint64_t> before = previous->second;
        previous->second = std::make_pair(ts, now);
        uint64_t duration = 0;
        double share = 0.0;
        const pwr::EntityHandle* entity = cpuEntity_i(cpu);
        if (now < before.second || entity == nullptr ||
            !window_i(before.first, ts, sys, duration, share)) {
            continue;
        }
        // Counts stay whole; only an interval cut at the collection start
        // scales them.
        const uint64_t delta = now - before.second;
        const uint64_t count =
            share >= 1.0 ? delta
                         : static_cast<uint64_t>(std::llround(static_cast<double>(delta) * share));
        feed_i(*m_interrupts, ts, entity, nullptr, pwr::Data(count), duration);
        total += count;
        totalDuration = duration;
    }
    if (totalDuration != 0) {
        feed_i(*m_interrupts, ts, systemRow_i(), nullptr, pwr::Data(total), totalDuration);
    }
}

}  // namespace vantry::features
