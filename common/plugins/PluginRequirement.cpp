#include "common/plugins/PluginRequirement.h"

#include <mutex>
#include <set>

#include "common/plugins/PluginEnvironment.h"
#include "common/runtime/Log.h"

namespace pwr {

namespace {

const char* const c_noIGFXNotice =
    "An integrated graphics device is not detected. Integrated graphics related metrics are "
    "disabled.";

// What the user has already been told in this process. Kept here, in the
// library, so that every plug-in module sees the same record.
struct ShownNotices {
    std::mutex mutex;
    bool igfx = false;
    std::set<std::string> vtioFeatures;
};

ShownNotices& shownNotices() {
    static ShownNotices notices;
    return notices;
}

// Always written, whatever the verbosity, and queued for the host to show
// again where the user looks at the end.
void showUserNotice(const std::string& text) {
    pwLog(PW_FATAL, "%s\n", text.c_str());
    if (PluginEnvironment* env = PluginEnvironment::current()) {
        env->queueMessage(text.c_str());
    }
}

}  // namespace

// --- PluginRequirement -------------------------------------------------------

PluginRequirement::PluginRequirement(const std::string& name, bool negative)
    : m_name(name), m_negative(negative) {}

PluginRequirement::~PluginRequirement() = default;

bool PluginRequirement::isPluginRequirementSatisfied(const SystemMetadata& sys,
                                                     const AttributePairs& attrs) const {
    bool answer = isPluginRequirementSatisfied_i(sys, attrs);
    if (m_negative) {
        answer = !answer;
        pwLog(PW_DEBUG, "DEBUG: Negative Requirement met: %d\n", answer ? 1 : 0);
    } else {
        pwLog(PW_DEBUG, "DEBUG: Requirement met: %d\n", answer ? 1 : 0);
    }
    return answer;
}

// --- FMS ---------------------------------------------------------------------

FMSPluginRequirement::FMSPluginRequirement(const FMS& fms, bool negative)
    : PluginRequirement("FMS", negative), m_fms(fms) {}

FMSPluginRequirement::~FMSPluginRequirement() = default;

std::unique_ptr<PluginRequirement> FMSPluginRequirement::clone() const {
    return std::make_unique<FMSPluginRequirement>(*this);
}

bool FMSPluginRequirement::isPluginRequirementSatisfied_i(const SystemMetadata& sys,
                                                          const AttributePairs&) const {
    return sys.fms == m_fms;
}

// --- SCU ---------------------------------------------------------------------

SCUPluginRequirement::SCUPluginRequirement(uint32_t version, bool negative)
    : PluginRequirement("SCU", negative), m_version(version) {}

SCUPluginRequirement::~SCUPluginRequirement() = default;

std::unique_ptr<PluginRequirement> SCUPluginRequirement::clone() const {
    return std::make_unique<SCUPluginRequirement>(*this);
}

bool SCUPluginRequirement::isPluginRequirementSatisfied_i(const SystemMetadata& sys,
                                                          const AttributePairs&) const {
    return sys.scuVersion == m_version;
}

// --- OS ----------------------------------------------------------------------

OSNamePluginRequirement::OSNamePluginRequirement(const std::string& osName, bool negative)
    : PluginRequirement("OS", negative), m_osName(osName) {}

OSNamePluginRequirement::~OSNamePluginRequirement() = default;

std::unique_ptr<PluginRequirement> OSNamePluginRequirement::clone() const {
    return std::make_unique<OSNamePluginRequirement>(*this);
}

bool OSNamePluginRequirement::isPluginRequirementSatisfied_i(const SystemMetadata& sys,
                                                             const AttributePairs&) const {
    return sys.osName == m_osName;
}

// --- IGFX --------------------------------------------------------------------

IGFXPresentPluginRequirement::IGFXPresentPluginRequirement(bool negative)
    : PluginRequirement("IGFX", negative) {}

IGFXPresentPluginRequirement::~IGFXPresentPluginRequirement() = default;

std::unique_ptr<PluginRequirement> IGFXPresentPluginRequirement::clone() const {
    return std::make_unique<IGFXPresentPluginRequirement>(*this);
}

bool IGFXPresentPluginRequirement::wasNoticeShown() {
    ShownNotices& shown = shownNotices();
    std::lock_guard<std::mutex> lock(shown.mutex);
    return shown.igfx;
}

bool IGFXPresentPluginRequirement::isPluginRequirementSatisfied_i(const SystemMetadata& sys,
                                                                  const AttributePairs&) const {
    if (sys.igfxId != 0) {
        return true;
    }
    bool first = false;
    {
        ShownNotices& shown = shownNotices();
        std::lock_guard<std::mutex> lock(shown.mutex);
        first = !shown.igfx;
        shown.igfx = true;
    }
    // Several capabilities usually need the device: one notice is enough.
    if (first) {
        showUserNotice(c_noIGFXNotice);
    }
    return false;
}

// --- PCH ---------------------------------------------------------------------

PCHPluginRequirement::PCHPluginRequirement(const std::string& text, bool negative)
    : PluginRequirement("PCH", negative), m_text(text) {}

PCHPluginRequirement::~PCHPluginRequirement() = default;

std::unique_ptr<PluginRequirement> PCHPluginRequirement::clone() const {
    return std::make_unique<PCHPluginRequirement>(*this);
}

bool PCHPluginRequirement::isPluginRequirementSatisfied_i(const SystemMetadata& sys,
                                                          const AttributePairs&) const {
    return sys.platformName.find(m_text) != std::string::npos;
}

// --- VTIO --------------------------------------------------------------------

VTIODisablePluginRequirement::VTIODisablePluginRequirement(const std::string& featureName)
    : PluginRequirement(featureName, false) {}

VTIODisablePluginRequirement::~VTIODisablePluginRequirement() = default;

std::unique_ptr<PluginRequirement> VTIODisablePluginRequirement::clone() const {
    return std::make_unique<VTIODisablePluginRequirement>(*this);
}

bool VTIODisablePluginRequirement::wasNoteShownFor(const std::string& featureName) {
    ShownNotices& shown = shownNotices();
    std::lock_guard<std::mutex> lock(shown.mutex);
    return shown.vtioFeatures.count(featureName) != 0;
}

bool VTIODisablePluginRequirement::isPluginRequirementSatisfied_i(const SystemMetadata& sys,
                                                                  const AttributePairs&) const {
    if (!sys.vtioEnabled) {
        return true;
    }
    bool first = false;
    {
        ShownNotices& shown = shownNotices();
        std::lock_guard<std::mutex> lock(shown.mutex);
        first = shown.vtioFeatures.insert(getName()).second;
    }
    if (first) {
        showUserNotice("NOTE: " + getName() +
                       " has been disabled due to Enhanced Sign-in Security being enabled.");
    }
    return false;
}

}  // namespace pwr
