#include "common/data/AttributeValueManager.h"

#include "common/data/Attribute.h"
#include "common/runtime/Log.h"

namespace pwr {

namespace {

void warnNullAttribute() {
    pwLog(PW_WARNING, "WARNING: Please provide a valid non-null attribute to set.\n");
}

}  // namespace

AttributeValueManager::AttributeValueManager() = default;

AttributeValueManager::~AttributeValueManager() = default;

int AttributeValueManager::addAttributeValue(const Attribute* attribute, const Data& value) {
    if (attribute == nullptr) {
        warnNullAttribute();
        return 1;
    }
    m_values.emplace_back(attribute, value);
    m_index[attribute] = m_values.size() - 1;
    return 0;
}

int AttributeValueManager::setAttributeValue(const Attribute* attribute, const Data& value) {
    if (attribute == nullptr) {
        warnNullAttribute();
        return 1;
    }
    auto it = m_index.find(attribute);
    if (it == m_index.end()) {
        return addAttributeValue(attribute, value);
    }
    // A fresh copy rather than assignment, so that the stored value carries
    // its own custom formatter.
    m_values[it->second].second = Data(value);
    return 0;
}

const Data* AttributeValueManager::getAttributeValue(const Attribute* attribute) const {
    auto it = m_index.find(attribute);
    return it == m_index.end() ? nullptr : &m_values[it->second].second;
}

size_t AttributeValueManager::getAttributeCount() const {
    if (m_values.size() != m_index.size()) {
        pwLog(PW_WARNING, "WARNING: Attribute map and list size mismatch.\n");
    }
    return m_values.size();
}

std::string AttributeValueManager::getKeySuffix() const {
    std::string key;
    std::string text;
    for (const Entry& entry : m_values) {
        key += "-";
        key += std::to_string(entry.first->getId());
        key += "-";
        text.clear();
        entry.second.toFormattedString(text);
        key += text;
    }
    return key;
}

bool AttributeValueManager::hasSameValues(const AttributeValueManager& other) const {
    if (getAttributeCount() != other.getAttributeCount()) {
        return false;
    }
    for (const Entry& entry : m_values) {
        if (entry.first == nullptr) {
            warnNullAttribute();
            return false;
        }
        const Data* theirs = other.getAttributeValue(entry.first);
        if (theirs == nullptr || !(*theirs == entry.second)) {
            return false;
        }
    }
    return true;
}

int DynamicAttributeValueManager::setAttributeValue(const Attribute* attribute, const Data& value) {
    if (attribute == nullptr) {
        warnNullAttribute();
        return 1;
    }
    auto it = m_values.find(attribute->getId());
    if (it != m_values.end()) {
        it->second = value;
    } else {
        m_values.emplace(attribute->getId(), value);
    }
    return 0;
}

const Data* DynamicAttributeValueManager::getAttributeValue(const Attribute* attribute) const {
    if (attribute == nullptr) {
        return nullptr;
    }
    auto it = m_values.find(attribute->getId());
    return it == m_values.end() ? nullptr : &it->second;
}

int ExpectedAttributeManager::addAttribute(const Attribute* attribute) {
    if (attribute == nullptr) {
        warnNullAttribute();
        return 1;
    }
    m_attributes.push_back(attribute);
    return 0;
}

}  // namespace pwr
