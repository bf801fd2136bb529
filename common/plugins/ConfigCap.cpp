#include "common/plugins/ConfigCap.h"

namespace pwr {

ConfigCap::ConfigCap(const std::string& name, const std::string& description,
                     const std::string& configfilePrefix, bool hidden)
    : m_name(name),
      m_description(description),
      m_configfilePrefix(configfilePrefix),
      m_hidden(hidden) {}

ConfigCap::~ConfigCap() = default;

}  // namespace pwr
