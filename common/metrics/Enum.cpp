#include "common/metrics/Enum.h"

namespace pwr {

const char* EnumKeywords::keyword(size_t value) const {
    return value < m_count ? m_keywords[value] : "";
}

bool EnumKeywords::find(const std::string& text, size_t& value) const {
    for (size_t i = 0; i < m_count; ++i) {
        if (text == m_keywords[i]) {
            value = i;
            return true;
        }
    }
    return false;
}

}  // namespace pwr
