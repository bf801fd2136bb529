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

namespace {

std::string makeKey(const Description& d, const AttributeValueManager& values) {
    return d.getName() + "-" + d.getShortName() + values.getKeySuffix();
}

}  // namespace

FieldDescription::FieldDescription(const std::string& name, const std::string& shortName)
    : Description(DescriptionType::FIELD, name, shortName) {}

StateDescription::StateDescription(const std::string& name, const std::string& shortName)
    : Description(DescriptionType::STATE, name, shortName) {}

int StateDescription::addAttributeValue(const Attribute* attribute, const Data& value,
                                        bool replace) {
    return replace ? m_values.setAttributeValue(attribute, value)
                   : m_values.addAttributeValue(attribute, value);
}

EventDescription::EventDescription(const std::string& name, const std::string& shortName)
    : Description(DescriptionType::EVENT, name, shortName) {}

int EventDescription::addAttributeValue(const Attribute* attribute, const Data& value) {
    return m_values.addAttributeValue(attribute, value);
}

std::string EventDescription::getKey() const {
    return makeKey(*this, m_values);
}

DataDescriptorBuilder::DataDescriptorBuilder(const std::string& name, const std::string& shortName)
    : Description(DescriptionType::DATA_DESCRIPTOR, name, shortName) {}

int DataDescriptorBuilder::addAttributeValue(const Attribute* attribute, const Data& value) {
    return m_values.addAttributeValue(attribute, value);
}

std::string DataDescriptorBuilder::getKey() const {
    return makeKey(*this, m_values);
}

}  // namespace pwr
