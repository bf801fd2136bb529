#include "common/plugins/DriverRequirement.h"

#include "common/runtime/Log.h"

namespace pwr {

DriverInterface::~DriverInterface() = default;

DriverRequirement::DriverRequirement(uint64_t minimumVersion, const DriverInterface* driver)
    : PluginRequirement("DRIVERREQ", false), m_minimumVersion(minimumVersion), m_driver(driver) {}

DriverRequirement::~DriverRequirement() = default;

std::unique_ptr<PluginRequirement> DriverRequirement::clone() const {
    return std::make_unique<DriverRequirement>(*this);
}

bool DriverRequirement::isPluginRequirementSatisfied_i(const SystemMetadata&,
                                                       const AttributePairs&) const {
    if (m_driver == nullptr) {
        return false;
    }
    uint64_t version = m_driver->getInstalledVersion();
    pwLogTagged(getName().c_str(), PW_INFO,
                "INFO: DriverRequirement requirement has driver version = %llu\n",
                static_cast<unsigned long long>(version));
    if (version >= m_minimumVersion) {
        return true;
    }
    // The warning keeps the long-standing form of this line: the found
    // version's fields are cut to their low byte, the minimum's are not.
    pwLog(PW_WARNING,
          "WARNING: Driver version %u.%u.%u found, minimum driver required is %u.%u.%u\n",
          static_cast<unsigned>((version >> 32) & 0xFF),
          static_cast<unsigned>((version >> 16) & 0xFF), static_cast<unsigned>(version & 0xFF),
          static_cast<unsigned>((m_minimumVersion >> 32) & 0xFFFF),
          static_cast<unsigned>((m_minimumVersion >> 16) & 0xFFFF),
          static_cast<unsigned>(m_minimumVersion & 0xFFFF));
    return false;
}

}  // namespace pwr
