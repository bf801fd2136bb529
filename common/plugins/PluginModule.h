// The entry point of a plug-in module. The host loads every module of its
// plug-ins folder ("plugins" beside the executable) and calls, with C
// linkage, the function named by c_pluginEntryPoint:
//
//   int vantryGetPlugins(Plugin** out, int capacity);
//
// It returns how many plug-ins the module provides; when capacity is at
// least that number it also creates them and stores them in out[0..n-1].
// The host owns the plug-ins it received and deletes them (virtual
// destructor) before it unloads the module. A module whose entry point is
// missing, or that answers a negative count or one above 1024, is skipped
// with a warning.
//
// Modules define the entry point with VANTRY_PLUGIN_ENTRY:
//
//   VANTRY_PLUGIN_ENTRY {
//       return pwr::providePlugins<MyCollector, MyMetricPlugin>(out, capacity);
//   }
#pragma once

#include "common/plugins/Plugin.h"

#if defined(_WIN32)
#define VANTRY_PLUGIN_EXPORT __declspec(dllexport)
#else
#define VANTRY_PLUGIN_EXPORT __attribute__((visibility("default")))
#endif

#define VANTRY_PLUGIN_ENTRY \
    extern "C" VANTRY_PLUGIN_EXPORT int vantryGetPlugins(Plugin** out, int capacity)

namespace pwr {

// The name the host looks up in every module.
constexpr const char* c_pluginEntryPoint = "vantryGetPlugins";

using PluginEntryFn = int (*)(Plugin** out, int capacity);

// Creates one plug-in of each type, in order, when capacity allows; returns
// the count either way.
template <typename... Plugins>
int providePlugins(Plugin** out, int capacity) {
    constexpr int count = static_cast<int>(sizeof...(Plugins));
    if (out != nullptr && capacity >= count) {
        int index = 0;
        ((out[index++] = new Plugins()), ...);
    }
    return count;
}

}  // namespace pwr
