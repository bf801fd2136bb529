#include "plugins/features/IoPlugins.h"

#include <cmath>

#include "common/data/Quantity.h"

namespace vantry::features {

ByteCounterPlugin::ByteCounterPlugin(const FeatureNames& names, const char* metricName,
                                     const char* first, const char* second)
    : FeaturePlugin(names, {FieldKind::Counter, FieldKind::Counter}),
      m_metricName(metricName),
      m_directionNames{first, second},
      m_directions{nullptr, nullptr},
      m_bytes(nullptr) {}

ByteCounterPlugin::~ByteCounterPlugin() = default;

void ByteCounterPlugin::createMetrics_i(const pwr::SystemMetadata& sys) {
    m_bytes = addMetric_i(m_metricName, pwr::MetricType::SampledDelta, "BYTES", sys,
                          pwr::Quantity::data());
    m_directions[0] = descriptor_i(m_directionNames[0]);
    m_directions[1] = descriptor_i(m_directionNames[1]);
}

void ByteCounterPlugin::handleReadings_i(uint64_t ts, const std::vector<Reading>& readings,
                                         const pwr::SystemMetadata& sys) {
    // Every device's bytes over the same interval, per direction.
    uint64_t total[2] = {0, 0};
    uint64_t totalDuration = 0;
    for (const Reading& reading : readings) {
        if (reading.name == c_systemRowName) {
            continue;  // a device of that name would mix with the sum
        }
        auto previous = m_previous.find(reading.name);
        if (previous == m_previous.end()) {
            m_previous.emplace(reading.name,
                               Previous{ts, {reading.counter[0], reading.counter[1]}});
            continue;
        }
        const Previous before = previous->second;
        previous->second = Previous{ts, {reading.counter[0], reading.counter[1]}};
        uint64_t duration = 0;
        double share = 0.0;
        if (!window_i(before.timestamp, ts, sys, duration, share)) {
            continue;
        }
        const pwr::EntityHandle* device = deviceEntity_i(reading.name);
        for (int d = 0; d < 2; ++d) {
            if (reading.counter[d] < before.bytes[d]) {
                continue;
            }
            const uint64_t delta = reading.counter[d] - before.bytes[d];
            const uint64_t bytes =
                share >= 1.0
                    ? delta
                    : static_cast<uint64_t>(std::llround(static_cast<double>(delta) * share));
            feed_i(*m_bytes, ts, device, m_directions[d], pwr::Data(bytes), duration);
            total[d] += bytes;
            totalDuration = duration;
        }
    }
    if (totalDuration != 0) {
        for (int d = 0; d < 2; ++d) {
            feed_i(*m_bytes, ts, systemRow_i(), m_directions[d], pwr::Data(total[d]),
                   totalDuration);
        }
    }
}

DiskIoPlugin::DiskIoPlugin()
    : ByteCounterPlugin({"DiskIoPlugin",
                         "disk-io",
                         "DISKIO",
                         "Bytes read from and written to each disk, and their rates",
                         {"io"}},
                        "Disk I/O", "Read", "Write") {}

DiskIoPlugin::~DiskIoPlugin() = default;

NetIoPlugin::NetIoPlugin()
    : ByteCounterPlugin({"NetIoPlugin",
                         "net-io",
                         "NETIO",
                         "Bytes received and sent on each network interface, and their rates",
                         {"io"}},
                        "Network I/O", "Received", "Sent") {}

NetIoPlugin::~NetIoPlugin() = default;

}  // namespace vantry::features
