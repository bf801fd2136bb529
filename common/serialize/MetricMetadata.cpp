#include "common/serialize/MetricMetadata.h"

#include <cstdint>
#include <utility>

#include "common/runtime/Log.h"
#include "common/serialize/Serializer.h"

namespace pwr {

MetricMetadata::MetricMetadata(int pluginID, int metricID)
    : Metadata(c_metricMetadataType), m_pluginID(pluginID), m_metricID(metricID) {}

MetricMetadata::~MetricMetadata() = default;

int MetricMetadata::getPluginID() const {
    return m_pluginID;
}

void MetricMetadata::addValue(const std::string& key, const std::string& value) {
    m_values.emplace_back(key, value);
}

void MetricMetadata::serialize_i(Serializer& ser) const {
    ser.write(static_cast<int32_t>(m_pluginID));
    ser.write(static_cast<int32_t>(m_metricID));
    writePairs_i(ser, m_values);
}

int MetricMetadata::deserialize_i(Serializer& ser, unsigned /*version*/) {
    int32_t pluginID = 0;
    int32_t metricID = 0;
    if (ser.read(pluginID) == 0) {
        pwLog(PW_WARNING,
              "WARNING: ERROR reading plugin ID while deserializing metric metadata message!\n");
        return -1;
    }
    if (ser.read(metricID) == 0) {
        pwLog(PW_WARNING,
              "WARNING: ERROR reading metric ID while deserializing metric metadata message!\n");
        return -1;
    }
    Values values;
    if (readPairs_i(ser, values, "metric") != 0) {
        return -1;
    }
    m_pluginID = pluginID;
    m_metricID = metricID;
    m_values.swap(values);
    return 0;
}

}  // namespace pwr
