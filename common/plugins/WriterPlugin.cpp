#include "common/plugins/WriterPlugin.h"

#include <algorithm>

#include "common/data/DataHandle.h"
#include "common/data/EntityHandle.h"
#include "common/messages/TableMessage.h"

WriterPlugin::WriterPlugin(const std::string& name, const std::string& uuid) : Plugin(name, uuid) {}

WriterPlugin::~WriterPlugin() = default;

int WriterPlugin::writeMessage(const pwr::MetricContainerInfoMessage&) {
    return 0;
}

int WriterPlugin::writeMessage(const pwr::Metric&) {
    return 0;
}

int WriterPlugin::writeMessage(const pwr::IdMessage&) {
    return 0;
}

int WriterPlugin::writeMessage(const pwr::SystemMessage&) {
    return 0;
}

int WriterPlugin::writeMessage(const pwr::TextMessage&) {
    return 0;
}

int WriterPlugin::writeMessage(const pwr::TableMessage&) {
    return 0;
}

void WriterPlugin::addCapability(pwr::PluginCapability* cap) {
    Plugin::addCapability(cap);
}

void WriterPlugin::cleanup() {}

std::string WriterPlugin::getFieldNameFromHandle(const pwr::TableMessage& table,
                                                 const pwr::EntityHandle* entity,
                                                 const pwr::DataHandle* handle) {
    if (handle == nullptr) {
        return std::string();
    }
    if (std::find(table.sharedHandleBegin(), table.sharedHandleEnd(), handle) !=
        table.sharedHandleEnd()) {
        return handle->getName();
    }
    if (std::find(table.handleBegin(), table.handleEnd(), handle) == table.handleEnd()) {
        return std::string();
    }
    std::string entityName = entity != nullptr ? entity->getQualifiedName() : std::string();
    return entityName.empty() ? handle->getName() : entityName + "/" + handle->getName();
}

std::string WriterPlugin::getFieldValueFromHandle(const pwr::TableMessage& table,
                                                  const pwr::EntityHandle* entity,
                                                  const pwr::DataHandle* handle) {
    std::string out;
    bool valid = false;
    if (table.getFieldAsString(entity, handle, out, valid) != 0 || !valid) {
        return std::string();
    }
    return out;
}
