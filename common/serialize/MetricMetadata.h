// MetricMetadata: the settings of one metric of a collection, as key/value
// string pairs in the order they were added, with the plug-in and metric ids.
//
// Body: pluginID, metricID (signed 32-bit), a 16-bit count of pairs, then key
// and value of each pair (strings). Every field is mandatory; a failed read
// logs which field was missing and the record is refused. Keys and values
// must be non-empty: an empty string reads like a missing one.
//
// Ownership: a value type. Threads: no locking.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "common/runtime/Export.h"
#include "common/serialize/Metadata.h"

namespace pwr {

class PWR_API MetricMetadata : public Metadata {
  public:
    using Values = std::vector<std::pair<std::string, std::string>>;

    MetricMetadata(int pluginID, int metricID);
    MetricMetadata(const MetricMetadata&) = default;
    MetricMetadata& operator=(const MetricMetadata&) = default;
    ~MetricMetadata() override;

    int getPluginID() const override;
    int getMetricID() const { return m_metricID; }

    // Appends a pair; keys may repeat.
    void addValue(const std::string& key, const std::string& value);
    const Values& getValues() const { return m_values; }

  protected:
    void serialize_i(Serializer& ser) const override;
    int deserialize_i(Serializer& ser, unsigned version) override;

  private:
    int m_pluginID;
    int m_metricID;
    Values m_values;
};

}  // namespace pwr
