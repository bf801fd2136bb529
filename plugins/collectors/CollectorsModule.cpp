// The entry point of the collectors module: one plug-in per collector kind.
#include "common/plugins/PluginModule.h"
#include "plugins/collectors/CounterCollector.h"
#include "plugins/collectors/EtwCollector.h"
#include "plugins/collectors/FileCollector.h"

VANTRY_PLUGIN_ENTRY {
    return pwr::providePlugins<vantry::FileCollector, vantry::CounterCollector,
                               vantry::EtwCollector>(out, capacity);
}
