// MetricPlugin: a plug-in that turns the raw messages of a collection into
// metrics. For each feature it serves, the host initialises a collection
// with the input messages and metadata that belong to it, and finalises it
// at the end; when post-processing a result file the plug-in is handed the
// file's metadata records one by one. It also knows how to label and unpack
// the driver's raw records for the reports.
//
// Ownership: input messages and metadata records are owned by the host.
// Threads: the host serialises every call.
#pragma once

#include <string>
#include <vector>

#include "common/plugins/Plugin.h"
#include "common/plugins/PluginTypes.h"
#include "common/runtime/Export.h"

namespace pwr {
class InputMsg;
class Metadata;
class SystemMetadata;
}  // namespace pwr

class PWR_API MetricPlugin : public Plugin {
  public:
    explicit MetricPlugin(const std::string& name, const std::string& uuid = std::string());
    ~MetricPlugin() override;

    // A metadata record read back from a result file. 0 when handled.
    virtual int processMetadata(const pwr::Metadata* metadata) = 0;
    // Starts the collection of a feature: the input messages it will
    // receive, the collection's metadata records, the feature's name and
    // attribute pairs. 0 on success.
    virtual int initializeCollection(const std::vector<const pwr::InputMsg*>& inputMessages,
                                     const std::vector<const pwr::Metadata*>& metadata,
                                     const std::string& featureName,
                                     const pwr::AttributePairs& attrs,
                                     const pwr::SystemMetadata& sys) = 0;
    // How the help text of the feature is shown on this system (a value the
    // host and the plug-in agree on).
    virtual int getDynamicHelpDisplayType(const std::string& featureName,
                                          const pwr::AttributePairs& attrs,
                                          const pwr::SystemMetadata& sys) = 0;
    // Ends the collection of a feature: the plug-in finalises its metrics.
    // 0 on success.
    virtual int finalizeCollection(const std::string& featureName, const pwr::AttributePairs& attrs,
                                   const pwr::SystemMetadata& sys) = 0;
    // The tag (a short label) and the payload, as text, of a raw driver
    // record that this plug-in produced. False for records it does not know.
    virtual bool getOrgMsgTag(const vexa_driver_msg* msg, std::string& out) const = 0;
    virtual bool getOrgMsgPayload(const vexa_driver_msg* msg, std::string& out) const = 0;
    // One collector record of a message of this plug-in's features, in the
    // order the collection produced them (see DriverMessage.h); called
    // between initializeCollection and finalizeCollection. 0 when used or
    // ignored; non-zero when the record is damaged. The default ignores it.
    virtual int processDriverMessage(const vexa_driver_msg& msg, const pwr::SystemMetadata& sys);

    // The platform configuration file the plug-in reads its messages from.
    void setConfigFileName(const std::string& fileName) { m_configFileName = fileName; }
    const std::string& getConfigFileName() const { return m_configFileName; }

  private:
    std::string m_configFileName;
};
