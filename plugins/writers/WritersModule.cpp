// The entry point of the writers module: the "sum", "csv", "int" and "json"
// writer plug-ins.
#include "common/plugins/PluginModule.h"
#include "plugins/writers/CsvWriter.h"
#include "plugins/writers/IntervalWriter.h"
#include "plugins/writers/JsonWriter.h"
#include "plugins/writers/SummaryWriter.h"

VANTRY_PLUGIN_ENTRY {
    return pwr::providePlugins<vantry::writers::SummaryWriter, vantry::writers::CsvWriter,
                               vantry::writers::IntervalWriter, vantry::writers::JsonWriter>(
        out, capacity);
}
