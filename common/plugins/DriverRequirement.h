// DriverRequirement: "DRIVERREQ", the installed collection driver is at least
// a given version. The installed version is read each time the requirement
// is tested, through a DriverInterface that the host or the plug-in
// provides (the driver may be installed or updated while the tool runs).
//
// Driver versions are 64-bit: major in bits 47..32, minor in bits 31..16,
// patch in bits 15..0, so that versions compare as plain numbers.
//
// Ownership: the requirement borrows its driver interface, which must
// outlive it. Threads: the requirement is immutable; it may be tested from
// any thread when the driver interface allows that.
#pragma once

#include <cstdint>
#include <memory>

#include "common/plugins/PluginRequirement.h"
#include "common/runtime/Export.h"

namespace pwr {

// What the driver requirement needs from a driver: its installed version.
class PWR_API DriverInterface {
  public:
    virtual ~DriverInterface();
    // The version of the installed driver, packed as described above; 0 when
    // no driver answers.
    virtual uint64_t getInstalledVersion() const = 0;
};

class PWR_API DriverRequirement : public PluginRequirement {
  public:
    // A null driver interface makes the requirement fail.
    DriverRequirement(uint64_t minimumVersion, const DriverInterface* driver);
    ~DriverRequirement() override;

    // Packs a driver version.
    static uint64_t makeVersion(uint16_t major, uint16_t minor, uint16_t patch) {
        return (static_cast<uint64_t>(major) << 32) | (static_cast<uint64_t>(minor) << 16) | patch;
    }

    uint64_t getMinimumVersion() const { return m_minimumVersion; }
    const DriverInterface* getDriverInterface() const { return m_driver; }
    std::unique_ptr<PluginRequirement> clone() const override;

  protected:
    // Logs the installed version ("INFO: ", also shown when debug logging is
    // on for "DRIVERREQ") and, when it is too old, a warning with both
    // versions.
    bool isPluginRequirementSatisfied_i(const SystemMetadata& sys,
                                        const AttributePairs& attrs) const override;

  private:
    uint64_t m_minimumVersion;
    const DriverInterface* m_driver;
};

}  // namespace pwr
