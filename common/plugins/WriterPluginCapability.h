// WriterPluginCapability: a capability of a writer plug-in: the suffix of
// the file it writes ("csv", "json", ...) and the table classes it renders.
// The writer stream consults the supported classes before it hands a table
// to the writers.
//
// Ownership and threads as for PluginCapability.
#pragma once

#include <set>
#include <string>

#include "common/messages/TableMessage.h"
#include "common/plugins/PluginCapability.h"
#include "common/runtime/Export.h"

namespace pwr {

class PWR_API WriterPluginCapability : public PluginCapability {
  public:
    WriterPluginCapability(const std::string& name, const std::string& description,
                           const std::string& fileSuffix,
                           const std::set<TableClass>& supportedTables,
                           bool supportsContinuousCollection = false);
    ~WriterPluginCapability() override;

    const std::string& getFileSuffix() const { return m_fileSuffix; }
    const std::set<TableClass>& getSupportedTables() const { return m_supportedTables; }
    void addSupportedTable(TableClass tableClass) { m_supportedTables.insert(tableClass); }

  private:
    std::string m_fileSuffix;
    std::set<TableClass> m_supportedTables;
};

}  // namespace pwr
