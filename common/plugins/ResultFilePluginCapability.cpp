#include "common/plugins/ResultFilePluginCapability.h"

namespace pwr {

ResultFilePluginCapability::ResultFilePluginCapability(const std::string& name,
                                                       const std::string& description,
                                                       uint32_t version,
                                                       bool supportsContinuousCollection)
    : PluginCapability(name, description, supportsContinuousCollection), m_version(version) {}

ResultFilePluginCapability::~ResultFilePluginCapability() = default;

}  // namespace pwr
