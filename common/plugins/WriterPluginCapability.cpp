#include "common/plugins/WriterPluginCapability.h"

namespace pwr {

WriterPluginCapability::WriterPluginCapability(const std::string& name,
                                               const std::string& description,
                                               const std::string& fileSuffix,
                                               const std::set<TableClass>& supportedTables,
                                               bool supportsContinuousCollection)
    : PluginCapability(name, description, supportsContinuousCollection),
      m_fileSuffix(fileSuffix),
      m_supportedTables(supportedTables) {}

WriterPluginCapability::~WriterPluginCapability() = default;

}  // namespace pwr
