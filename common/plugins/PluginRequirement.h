// PluginRequirement: one condition that the measured system must meet for a
// plug-in capability (or an operation) to be offered, tested against the
// system record and the attribute pairs of the request. Any requirement can
// be negative, which inverts its answer.
//
// This file holds the base and the simple kinds, each a comparison with one
// field of the system record. Groups of requirements are in
// PluginRequirementGroup.h, the driver-version requirement in
// DriverRequirement.h.
//
// Two kinds tell the user, once, why features disappear: a missing
// integrated graphics device (once per process) and VTIO being on (once per
// feature name). The notice is logged at level FATAL, which is always
// written, and queued in the plug-in environment for the host to show. The
// record of what was already shown is process-wide and kept by the library,
// so that all plug-in modules share it.
//
// Ownership: a capability or a group owns the requirements added to it.
// Threads: requirements are immutable once built and may be tested from any
// thread; the once-only notices are guarded by a lock.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "common/plugins/PluginTypes.h"
#include "common/runtime/Export.h"
#include "common/serialize/SystemMetadata.h"

namespace pwr {

class PWR_API PluginRequirement {
  public:
    virtual ~PluginRequirement();

    // The kind's test, inverted for a negative requirement. Logs
    // "DEBUG: Requirement met: %d\n" with the answer, or for a negative
    // requirement "DEBUG: Negative Requirement met: %d\n" with the inverted
    // answer.
    bool isPluginRequirementSatisfied(const SystemMetadata& sys, const AttributePairs& attrs) const;

    const std::string& getName() const { return m_name; }
    bool isNegative() const { return m_negative; }

    // A copy of the same kind, owned by the caller (groups copy their
    // children through it).
    virtual std::unique_ptr<PluginRequirement> clone() const = 0;

  protected:
    PluginRequirement(const std::string& name, bool negative);
    // Copies only as part of a kind, never sliced.
    PluginRequirement(const PluginRequirement&) = default;
    PluginRequirement(PluginRequirement&&) = default;
    PluginRequirement& operator=(const PluginRequirement&) = default;
    PluginRequirement& operator=(PluginRequirement&&) = default;

    // The kind's own test, before any inversion.
    virtual bool isPluginRequirementSatisfied_i(const SystemMetadata& sys,
                                                const AttributePairs& attrs) const = 0;

  private:
    std::string m_name;
    bool m_negative;
};

// "FMS": the processor's family, model and stepping all equal the given ones.
class PWR_API FMSPluginRequirement : public PluginRequirement {
  public:
    explicit FMSPluginRequirement(const FMS& fms, bool negative = false);
    ~FMSPluginRequirement() override;

    const FMS& getFMS() const { return m_fms; }
    std::unique_ptr<PluginRequirement> clone() const override;

  protected:
    bool isPluginRequirementSatisfied_i(const SystemMetadata& sys,
                                        const AttributePairs& attrs) const override;

  private:
    FMS m_fms;
};

// "SCU": the SCU firmware version equals the given packed version.
class PWR_API SCUPluginRequirement : public PluginRequirement {
  public:
    explicit SCUPluginRequirement(uint32_t version, bool negative = false);
    ~SCUPluginRequirement() override;

    uint32_t getVersion() const { return m_version; }
    std::unique_ptr<PluginRequirement> clone() const override;

  protected:
    bool isPluginRequirementSatisfied_i(const SystemMetadata& sys,
                                        const AttributePairs& attrs) const override;

  private:
    uint32_t m_version;
};

// "OS": the operating system's name equals the given one exactly.
class PWR_API OSNamePluginRequirement : public PluginRequirement {
  public:
    explicit OSNamePluginRequirement(const std::string& osName, bool negative = false);
    ~OSNamePluginRequirement() override;

    const std::string& getOSName() const { return m_osName; }
    std::unique_ptr<PluginRequirement> clone() const override;

  protected:
    bool isPluginRequirementSatisfied_i(const SystemMetadata& sys,
                                        const AttributePairs& attrs) const override;

  private:
    std::string m_osName;
};

// "IGFX": the platform has an integrated graphics device (a non-zero device
// id). The first time in the process that a system without one is tested,
// the user is told that graphics metrics are disabled.
class PWR_API IGFXPresentPluginRequirement : public PluginRequirement {
  public:
    explicit IGFXPresentPluginRequirement(bool negative = false);
    ~IGFXPresentPluginRequirement() override;

    std::unique_ptr<PluginRequirement> clone() const override;

    // Whether this process has shown the missing-graphics notice.
    static bool wasNoticeShown();

  protected:
    bool isPluginRequirementSatisfied_i(const SystemMetadata& sys,
                                        const AttributePairs& attrs) const override;
};

// "PCH": the given text occurs in the platform name, which names the PCH
// after the platform's abbreviation.
class PWR_API PCHPluginRequirement : public PluginRequirement {
  public:
    explicit PCHPluginRequirement(const std::string& text, bool negative = false);
    ~PCHPluginRequirement() override;

    const std::string& getText() const { return m_text; }
    std::unique_ptr<PluginRequirement> clone() const override;

  protected:
    bool isPluginRequirementSatisfied_i(const SystemMetadata& sys,
                                        const AttributePairs& attrs) const override;

  private:
    std::string m_text;
};

// Named after the feature it guards: VTIO (Enhanced Sign-in Security) is
// off. A feature that it disables is reported to the user once per feature
// name and process.
class PWR_API VTIODisablePluginRequirement : public PluginRequirement {
  public:
    explicit VTIODisablePluginRequirement(const std::string& featureName);
    ~VTIODisablePluginRequirement() override;

    std::unique_ptr<PluginRequirement> clone() const override;

    // Whether this process has shown the note for the feature.
    static bool wasNoteShownFor(const std::string& featureName);

  protected:
    bool isPluginRequirementSatisfied_i(const SystemMetadata& sys,
                                        const AttributePairs& attrs) const override;
};

}  // namespace pwr
