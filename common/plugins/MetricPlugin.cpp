#include "common/plugins/MetricPlugin.h"

MetricPlugin::MetricPlugin(const std::string& name, const std::string& uuid) : Plugin(name, uuid) {}

MetricPlugin::~MetricPlugin() = default;
