// The device traffic features: DiskIoPlugin ("disk-io", bytes read and
// written per disk) and NetIoPlugin ("net-io", bytes received and sent per
// network interface). Both feed a SampledDelta metric with the data
// quantity, one descriptor per direction, so that the average rates are in
// MB/s. Records carry, per device, the two byte counts since boot; a count
// that goes down restarted and that direction starts afresh.
//
// Ownership and threads as for FeaturePlugin.
#pragma once

#include <map>
#include <string>
#include <utility>
#include <vector>

#include "plugins/features/FeaturePlugin.h"

namespace vantry::features {

// What the two features share: a device's two byte counters.
class ByteCounterPlugin : public FeaturePlugin {
  public:
    ~ByteCounterPlugin() override;

  protected:
    ByteCounterPlugin(const FeatureNames& names, const char* metricName, const char* first,
                      const char* second);

    void createMetrics_i(const pwr::SystemMetadata& sys) override;
    void handleReadings_i(uint64_t ts, const std::vector<Reading>& readings,
                          const pwr::SystemMetadata& sys) override;
    void forgetReadings_i() override { m_previous.clear(); }

  private:
    struct Previous {
        uint64_t timestamp;
        uint64_t bytes[2];
    };
    std::string m_metricName;
    std::string m_directionNames[2];
    const pwr::DataDescriptor* m_directions[2];
    pwr::Metric* m_bytes;
    std::map<std::string, Previous> m_previous;
};

class DiskIoPlugin : public ByteCounterPlugin {
  public:
    DiskIoPlugin();
    ~DiskIoPlugin() override;
};

class NetIoPlugin : public ByteCounterPlugin {
  public:
    NetIoPlugin();
    ~NetIoPlugin() override;
};

}  // namespace vantry::features
