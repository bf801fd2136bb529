// The entry point of the metric plug-in module: one plug-in per feature.
#include "common/plugins/PluginModule.h"
#include "plugins/features/BatteryPlugin.h"
#include "plugins/features/CStatePlugin.h"
#include "plugins/features/EnergyPlugin.h"
#include "plugins/features/FrequencyPlugin.h"
#include "plugins/features/InterruptsPlugin.h"
#include "plugins/features/IoPlugins.h"
#include "plugins/features/ThermalPlugin.h"

// ---- Processor power events (Windows event tracing) ----------------------
// PpmEventsPlugin lives in PpmEventsPlugin.h/.cpp beside this file; the
// module offers it whenever its header is there.
#if defined(__has_include)
#if __has_include("plugins/features/PpmEventsPlugin.h")
#include "plugins/features/PpmEventsPlugin.h"
#define VANTRY_HAS_PPM_EVENTS_PLUGIN 1
#endif
#endif
// ---------------------------------------------------------------------------

using namespace vantry::features;

VANTRY_PLUGIN_ENTRY {
    return pwr::providePlugins<CStatePlugin, FrequencyPlugin, ThermalPlugin, EnergyPlugin,
                               InterruptsPlugin, DiskIoPlugin, NetIoPlugin, BatteryPlugin
#ifdef VANTRY_HAS_PPM_EVENTS_PLUGIN
                               ,
                               PpmEventsPlugin  // the processor power events plug-in
#endif
                               >(out, capacity);
}
