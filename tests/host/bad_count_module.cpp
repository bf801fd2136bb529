// A plug-in module with a broken entry point, for the loader's tests. With
// BAD_PLUGIN_COUNT defined, vantryGetPlugins reports that count and never
// creates a plug-in; without it the module lacks the entry point altogether.
//
// It links nothing but the C++ runtime, so it loads wherever it is copied.
#include "common/plugins/PluginModule.h"

#if defined(BAD_PLUGIN_COUNT)

VANTRY_PLUGIN_ENTRY {
    // A host that believed a huge count would ask for the plug-ins next;
    // none are made whatever the capacity.
    static_cast<void>(out);
    static_cast<void>(capacity);
    return BAD_PLUGIN_COUNT;
}

#else

// Something must be exported for the module to be a library at all.
extern "C" VANTRY_PLUGIN_EXPORT int vantryNotAnEntryPoint() {
    return 0;
}

#endif
