#include "common/config/TableInfo.h"

#include <utility>

#include "common/runtime/Log.h"

namespace pwr {

TableInfo::TableInfo() = default;
TableInfo::TableInfo(const TableInfo&) = default;
TableInfo::TableInfo(TableInfo&&) noexcept = default;
TableInfo& TableInfo::operator=(const TableInfo&) = default;
TableInfo& TableInfo::operator=(TableInfo&&) noexcept = default;
TableInfo::~TableInfo() = default;

bool TableInfo::setKeyValuePair(const std::string& key, const std::string& value) {
    if (!m_entries.emplace(key, value).second) {
        pwLog(PW_WARNING,
              "WARNING: Config table info (%s) entry already present for metric table\n",
              key.c_str());
        return false;
    }
    return true;
}

bool TableInfo::isKeySet(const std::string& key) const {
    return m_entries.count(key) != 0;
}

bool TableInfo::getValue(const std::string& key, std::string& out) const {
    const auto it = m_entries.find(key);
    if (it == m_entries.end()) {
        return false;
    }
    out = it->second;
    return true;
}

// Hand-written files may say "yes" or "Yes"; only the exact word counts,
// so that every reader of the file agrees on what it means.
bool TableInfo::isYes_i(const char* key) const {
    const auto it = m_entries.find(key);
    return it != m_entries.end() && it->second == "YES";
}

bool TableInfo::isTableDisplayed() const {
    return !isKeySet("TABLE") || isYes_i("TABLE");
}

bool TableInfo::isTableTransposed() const {
    return isYes_i("TRANSPOSE");
}

bool TableInfo::suppressTotal() const {
    return isYes_i("SUPPRESS-TOTAL");
}

bool TableInfo::getTableTitle(std::string& out) const {
    return getValue("TITLE", out);
}

bool TableInfo::getPreTableNote(std::string& out) const {
    return getValue("PRE-TABLE-TEXT", out);
}

bool TableInfo::getPostTableNote(std::string& out) const {
    return getValue("POST-TABLE-TEXT", out);
}

}  // namespace pwr
