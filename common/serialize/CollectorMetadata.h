// CollectorMetadata: the settings of one collector of a collection, as
// key/value string pairs in the order they were added, under the collector's
// name.
//
// Body: name (string), a 16-bit count of pairs, then key and value of each
// pair (strings). Every field is mandatory; a failed read logs which field
// was missing and the record is refused. The name, keys and values must be
// non-empty: an empty string reads like a missing one.
//
// Ownership: a value type. Threads: no locking.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "common/runtime/Export.h"
#include "common/serialize/Metadata.h"

namespace pwr {

class PWR_API CollectorMetadata : public Metadata {
  public:
    using Values = std::vector<std::pair<std::string, std::string>>;

    explicit CollectorMetadata(std::string name);
    CollectorMetadata(const CollectorMetadata&) = default;
    CollectorMetadata& operator=(const CollectorMetadata&) = default;
    ~CollectorMetadata() override;

    const std::string& getName() const { return m_name; }

    // Appends a pair; keys may repeat.
    void addValue(const std::string& key, const std::string& value);
    const Values& getValues() const { return m_values; }

  protected:
    void serialize_i(Serializer& ser) const override;
    int deserialize_i(Serializer& ser, unsigned version) override;

  private:
    std::string m_name;
    Values m_values;
};

}  // namespace pwr
