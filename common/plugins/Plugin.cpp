#include "common/plugins/Plugin.h"

#include "common/runtime/Log.h"
#include "common/serialize/SystemMetadata.h"

constexpr int32_t Plugin::c_noSID;

Plugin::Plugin(const std::string& name, const std::string& uuid)
    : m_name(name), m_uuid(uuid), m_sid(c_noSID) {}

Plugin::~Plugin() {
    for (pwr::PluginCapability* cap : m_capabilities) {
        delete cap;
    }
}

void Plugin::getVersion(pwr::AttributePairs&) {}

void Plugin::handleBroadcastOption(const std::string&) {}

void Plugin::addCapability(pwr::PluginCapability* cap) {
    if (cap == nullptr) {
        return;
    }
    cap->setOwner(this);
    m_capabilities.push_back(cap);
}

void Plugin::notifyCommandlineParamsSet_i() {}

void Plugin::setCommandlineParams(const std::vector<std::string>& params) {
    m_commandlineParams = params;
    notifyCommandlineParamsSet_i();
}

void Plugin::getCapabilitiesFor(std::vector<pwr::PluginCapability*>& out, const std::string& name,
                                const pwr::SystemMetadata& sys,
                                const pwr::AttributePairs& attrs) const {
    for (pwr::PluginCapability* cap : m_capabilities) {
        if (!name.empty() && !cap->equals(name)) {
            continue;
        }
        if (cap->isCapabilitySuitableFor(sys, attrs) ==
            pwr::PluginRequirementResult::NOT_SUITABLE) {
            continue;
        }
        out.push_back(cap);
        pwr::pwLog(PW_INFO, "INFO: %s is reporting a suitable capability for %s!\n", m_name.c_str(),
                   name.c_str());
    }
}

void Plugin::getCapabilitiesFor(std::vector<pwr::PluginCapability*>& out, const std::string& name,
                                const pwr::SystemMetadata& sys) const {
    getCapabilitiesFor(out, name, sys, pwr::AttributePairs());
}

void Plugin::getAllCapabilities(std::vector<pwr::PluginCapability*>& out,
                                const pwr::SystemMetadata& sys) const {
    getCapabilitiesFor(out, "", sys);
}
