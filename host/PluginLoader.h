// PluginLoader: loads every plug-in module of a folder and keeps the plug-ins
// they provide, sorted by kind.
//
// A module is a shared library (".dll" on Windows, ".so" elsewhere) that
// exports vantryGetPlugins (common/plugins/PluginModule.h). Modules load in
// file-name order, so SIDs and the order of plug-ins are the same on every
// run. A module that cannot be loaded, lacks the entry point, or reports a
// negative or implausibly large count (more than 1024 plug-ins) is skipped
// with a WARNING line.
//
// The loader owns the plug-ins and the modules: it deletes the plug-ins
// before it unloads the modules their code lives in. Not thread-safe.
#pragma once

#include <string>
#include <vector>

#include "common/plugins/CollectorPlugin.h"
#include "common/plugins/MetricPlugin.h"
#include "common/plugins/WriterPlugin.h"
#include "common/runtime/Module.h"
#include "common/serialize/SystemMetadata.h"

namespace vantry {

class PluginLoader {
  public:
    PluginLoader() = default;
    ~PluginLoader();
    PluginLoader(const PluginLoader&) = delete;
    PluginLoader& operator=(const PluginLoader&) = delete;

    // Loads the modules of folder. False, with the reason in error, when the
    // folder does not exist or holds no module that provided a plug-in.
    bool loadFolder(const std::string& folder, std::string& error);
    // Takes a plug-in that lives in the program itself (tests).
    void adopt(Plugin* plugin);

    const std::vector<Plugin*>& all() const { return m_plugins; }
    const std::vector<CollectorPlugin*>& collectors() const { return m_collectors; }
    const std::vector<MetricPlugin*>& metrics() const { return m_metrics; }
    const std::vector<WriterPlugin*>& writers() const { return m_writers; }

    // Gives every plug-in its SID (its position) and records SID and UUID
    // (the plug-in's name when it has no UUID) in the system record.
    void assignSIDs(pwr::SystemMetadata& system) const;
    // Hands option to every plug-in's handleBroadcastOption.
    void broadcast(const std::string& option) const;

    // Deletes the plug-ins and unloads the modules.
    void clear();

  private:
    std::vector<pwr::ModuleHandle> m_modules;
    std::vector<Plugin*> m_plugins;
    std::vector<CollectorPlugin*> m_collectors;
    std::vector<MetricPlugin*> m_metrics;
    std::vector<WriterPlugin*> m_writers;
};

}  // namespace vantry
