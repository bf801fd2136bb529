#include "common/plugins/CollectorPlugin.h"

CollectorPlugin::CollectorPlugin(const std::string& name, const std::string& uuid)
    : Plugin(name, uuid), m_clockSource(nullptr) {}

CollectorPlugin::~CollectorPlugin() = default;

bool CollectorPlugin::canCollectMessage(const pwr::InputMsg*) {
    return true;
}

bool CollectorPlugin::doesSupportLowOverhead() const {
    return false;
}

int CollectorPlugin::continuousCollectionTick() {
    return 1;
}

int CollectorPlugin::doImmediateRead(pwr::Operation*, const std::string&) {
    return -1;
}

int CollectorPlugin::doImmediateRead(pwr::Operation*, const pwr::EntityHandle*) {
    return -1;
}

int CollectorPlugin::doImmediateWrite(pwr::Operation*, const std::string&) {
    return -1;
}

int CollectorPlugin::doImmediateWrite(const pwr::InputMsg*) {
    return -1;
}

void CollectorPlugin::addOperation(const pwr::Operation* op) {
    if (op != nullptr) {
        m_operations.push_back(op);
    }
}
