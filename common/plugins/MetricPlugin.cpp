#include "common/plugins/MetricPlugin.h"

MetricPlugin::MetricPlugin(const std::string& name, const std::string& uuid) : Plugin(name, uuid) {}

MetricPlugin::~MetricPlugin() = default;

int MetricPlugin::processDriverMessage(const vexa_driver_msg& /*msg*/,
                                       const pwr::SystemMetadata& /*sys*/) {
    return 0;
}
