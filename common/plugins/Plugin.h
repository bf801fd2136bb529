// Plugin: the base of every data source, metric producer and output writer
// of the tool (through CollectorPlugin, MetricPlugin or WriterPlugin). A
// plug-in has a name, a UUID, a SID the host assigns for the collection, the
// command-line parameters addressed to it, and the capabilities it
// registered. The host asks it for the capabilities that match a request and
// suit the measured system.
//
// Plug-ins live in loadable modules and are driven by the host through the
// virtual operations below; none of them may throw.
//
// Ownership: a plug-in owns the capabilities it registered (addCapability)
// and deletes them when it is destroyed; it is their owner. Capabilities
// handed out by the queries stay owned by the plug-in.
// Threads: capabilities are registered during start-up; afterwards the
// queries may be called from any thread. The host serialises the other calls.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "common/plugins/PluginCapability.h"
#include "common/plugins/PluginTypes.h"
#include "common/runtime/Export.h"

class PWR_API Plugin {
  public:
    // The SID until the host assigns one.
    static constexpr int32_t c_noSID = -1;

    explicit Plugin(const std::string& name, const std::string& uuid = std::string());
    Plugin(const Plugin&) = delete;
    Plugin& operator=(const Plugin&) = delete;
    virtual ~Plugin();

    // Drops collection state, for the reason given, at timestamp ts.
    virtual pwr::ResetReturnCode reset(pwr::ResetReason reason, uint64_t ts,
                                       const pwr::SystemMetadata& sys) = 0;
    // Appends version details (name/value pairs) for the report; by default
    // nothing.
    virtual void getVersion(pwr::AttributePairs& out);
    // An option the host broadcasts to every plug-in; by default ignored.
    virtual void handleBroadcastOption(const std::string& option);

  protected:
    // Appends cap to the capabilities, takes ownership of it and becomes its
    // owner. Null is ignored.
    virtual void addCapability(pwr::PluginCapability* cap);
    // Called after setCommandlineParams stored new parameters; by default
    // nothing.
    virtual void notifyCommandlineParamsSet_i();

  public:
    const std::string& getName() const { return m_name; }
    const std::string& getUUID() const { return m_uuid; }
    int32_t getSID() const { return m_sid; }
    void setSID(int32_t sid) { m_sid = sid; }

    const std::vector<std::string>& getCommandlineParams() const { return m_commandlineParams; }
    // Stores the parameters, then tells the plug-in (notifyCommandlineParamsSet_i).
    void setCommandlineParams(const std::vector<std::string>& params);

    // Every registered capability, in registration order.
    const std::vector<pwr::PluginCapability*>& getCapabilities() const { return m_capabilities; }

    // Appends to out, in registration order, each capability that matches
    // name (an empty name matches all; otherwise the capability's name or
    // one of its groups) and is suitable for sys and attrs. Logs
    // "INFO: <plug-in> is reporting a suitable capability for <name>!" for
    // each one appended.
    void getCapabilitiesFor(std::vector<pwr::PluginCapability*>& out, const std::string& name,
                            const pwr::SystemMetadata& sys, const pwr::AttributePairs& attrs) const;
    // The same without attribute pairs.
    void getCapabilitiesFor(std::vector<pwr::PluginCapability*>& out, const std::string& name,
                            const pwr::SystemMetadata& sys) const;
    // Every suitable capability.
    void getAllCapabilities(std::vector<pwr::PluginCapability*>& out,
                            const pwr::SystemMetadata& sys) const;

  private:
    std::string m_name;
    std::string m_uuid;
    int32_t m_sid;
    std::vector<std::string> m_commandlineParams;
    std::vector<pwr::PluginCapability*> m_capabilities;
};
