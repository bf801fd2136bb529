#include "common/data/Description.h"

namespace pwr {

Description::Description(const std::string& name, const std::string& shortName)
    : Description(DescriptionType::GENERIC, name, shortName) {}

Description::Description(DescriptionType type, const std::string& name,
                         const std::string& shortName)
    : m_name(name),
      m_fieldName(name),
      m_shortName(shortName.empty() ? name : shortName),
      m_type(type) {}

Description::~Description() = default;

}  // namespace pwr
