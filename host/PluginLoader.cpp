#include "host/PluginLoader.h"

#include <algorithm>
#include <filesystem>
#include <system_error>

#include "common/plugins/PluginModule.h"
#include "common/runtime/Log.h"

namespace vantry {

namespace {

// The most plug-ins one module may report. A module provides a handful; a
// count far beyond that comes from a broken entry point, and the host would
// otherwise reserve room for all of them before asking for the plug-ins.
const int c_maxPluginsPerModule = 1024;

bool isModuleFile(const std::filesystem::path& path) {
#if defined(_WIN32)
    const char* extension = ".dll";
#else
    const char* extension = ".so";
#endif
    return path.extension().string() == extension;
}

}  // namespace

PluginLoader::~PluginLoader() {
    clear();
}

bool PluginLoader::loadFolder(const std::string& folder, std::string& error) {
    namespace fs = std::filesystem;
    std::error_code ec;
    if (!fs::is_directory(fs::path(folder), ec)) {
        error = "plug-in folder \"" + folder + "\" not found";
        return false;
    }
    std::vector<std::string> files;
    for (fs::directory_iterator it(fs::path(folder), ec), end; !ec && it != end; it.increment(ec)) {
        if (isModuleFile(it->path())) {
            files.push_back(it->path().string());
        }
    }
    std::sort(files.begin(), files.end());
    const size_t before = m_plugins.size();
    for (const std::string& file : files) {
        std::string why;
        pwr::ModuleHandle module = pwr::loadModule(file.c_str(), &why);
        if (module == nullptr) {
            pwr::pwLog(PW_WARNING, "WARNING: cannot load plug-in module %s: %s\n", file.c_str(),
                       why.c_str());
            continue;
        }
        auto entry = reinterpret_cast<pwr::PluginEntryFn>(
            pwr::findModuleSymbol(module, pwr::c_pluginEntryPoint));
        if (entry == nullptr) {
            pwr::pwLog(PW_WARNING, "WARNING: %s is not a Vantry plug-in module (no %s); skipped\n",
                       file.c_str(), pwr::c_pluginEntryPoint);
            pwr::freeModule(module);
            continue;
        }
        const int count = entry(nullptr, 0);
        if (count < 0 || count > c_maxPluginsPerModule) {
            pwr::pwLog(PW_WARNING,
                       "WARNING: plug-in module %s reports %d plug-ins, not a count from 0 to "
                       "%d; skipped\n",
                       file.c_str(), count, c_maxPluginsPerModule);
            pwr::freeModule(module);
            continue;
        }
        std::vector<Plugin*> made(static_cast<size_t>(count), nullptr);
        if (count > 0 && entry(made.data(), count) != count) {
            pwr::pwLog(PW_WARNING,
                       "WARNING: plug-in module %s changed its plug-in count; skipped\n",
                       file.c_str());
            for (Plugin* plugin : made) {
                delete plugin;
            }
            pwr::freeModule(module);
            continue;
        }
        m_modules.push_back(module);
        for (Plugin* plugin : made) {
            adopt(plugin);
        }
    }
    if (m_plugins.size() == before) {
        error = "no plug-in modules in \"" + folder + "\"";
        return false;
    }
    return true;
}

void PluginLoader::adopt(Plugin* plugin) {
    if (plugin == nullptr) {
        return;
    }
    m_plugins.push_back(plugin);
    if (auto* collector = dynamic_cast<CollectorPlugin*>(plugin)) {
        m_collectors.push_back(collector);
    } else if (auto* metric = dynamic_cast<MetricPlugin*>(plugin)) {
        m_metrics.push_back(metric);
    } else if (auto* writer = dynamic_cast<WriterPlugin*>(plugin)) {
        m_writers.push_back(writer);
    }
}

void PluginLoader::assignSIDs(pwr::SystemMetadata& system) const {
    int32_t sid = 0;
    for (Plugin* plugin : m_plugins) {
        plugin->setSID(sid);
        // The record cannot carry an empty text: fall back to the name, then
        // to a made-up one.
        std::string uuid = plugin->getUUID().empty() ? plugin->getName() : plugin->getUUID();
        system.sidToUuid[sid] = uuid.empty() ? "plugin-" + std::to_string(sid) : uuid;
        ++sid;
    }
}

void PluginLoader::broadcast(const std::string& option) const {
    for (Plugin* plugin : m_plugins) {
        plugin->handleBroadcastOption(option);
    }
}

void PluginLoader::clear() {
    for (auto it = m_plugins.rbegin(); it != m_plugins.rend(); ++it) {
        delete *it;
    }
    m_plugins.clear();
    m_collectors.clear();
    m_metrics.clear();
    m_writers.clear();
    for (auto it = m_modules.rbegin(); it != m_modules.rend(); ++it) {
        pwr::freeModule(*it);
    }
    m_modules.clear();
}

}  // namespace vantry
