// ResultFilePluginCapability: a capability that reads or writes result files
// of one format version, so that the host can pick the plug-in that
// understands a given file.
//
// Ownership and threads as for PluginCapability.
#pragma once

#include <cstdint>
#include <string>

#include "common/plugins/PluginCapability.h"
#include "common/runtime/Export.h"

namespace pwr {

class PWR_API ResultFilePluginCapability : public PluginCapability {
  public:
    ResultFilePluginCapability(const std::string& name, const std::string& description,
                               uint32_t version, bool supportsContinuousCollection = false);
    ~ResultFilePluginCapability() override;

    uint32_t getVersion() const { return m_version; }

  private:
    uint32_t m_version;
};

}  // namespace pwr
