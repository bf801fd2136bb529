// TableInfo: how one result table is presented, as the output configuration
// files set it for a (feature, metric container, table type): whether it is
// shown, its title, whether it is transposed, texts before and after it,
// whether its total row is left out, and the states and attributes the table
// builder picks.
//
// The settings are an ordered map from key to value with unique keys; the
// getters below read the keys they know, and the table builders read any
// other key ("STATES", "ATTRIBUTES") through getValue or by iterating. The
// switches "TABLE", "TRANSPOSE" and "SUPPRESS-TOTAL" count as "YES" only when
// the value is exactly those three upper-case letters.
//
// A value type. Not thread-safe; instances handed out by the output
// configuration parser are copies.
#pragma once

#include <map>
#include <string>

#include "common/runtime/Export.h"

namespace pwr {

class PWR_API TableInfo {
  public:
    using Entries = std::map<std::string, std::string>;
    using const_iterator = Entries::const_iterator;

    TableInfo();
    TableInfo(const TableInfo&);
    TableInfo(TableInfo&&) noexcept;
    TableInfo& operator=(const TableInfo&);
    TableInfo& operator=(TableInfo&&) noexcept;
    ~TableInfo();

    // Sets key to value. A key that is already set keeps its value: the call
    // logs a warning and returns false.
    bool setKeyValuePair(const std::string& key, const std::string& value);
    bool isKeySet(const std::string& key) const;
    bool isEmpty() const { return m_entries.empty(); }
    // The value of any key; false, with out untouched, when it is not set.
    bool getValue(const std::string& key, std::string& out) const;

    // Entries in key order.
    const_iterator begin() const { return m_entries.begin(); }
    const_iterator end() const { return m_entries.end(); }

    // Shown unless "TABLE" is set to anything but "YES".
    bool isTableDisplayed() const;
    // "TRANSPOSE" is exactly "YES".
    bool isTableTransposed() const;
    // "SUPPRESS-TOTAL" is exactly "YES".
    bool suppressTotal() const;
    // "TITLE", "PRE-TABLE-TEXT" and "POST-TABLE-TEXT"; false, with out
    // untouched, when the key is not set.
    bool getTableTitle(std::string& out) const;
    bool getPreTableNote(std::string& out) const;
    bool getPostTableNote(std::string& out) const;

  private:
    bool isYes_i(const char* key) const;

    Entries m_entries;
};

}  // namespace pwr
