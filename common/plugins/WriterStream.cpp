#include "common/plugins/WriterStream.h"

#include <stdexcept>

#include "common/messages/IdMessage.h"
#include "common/messages/MetricContainerInfoMessage.h"
#include "common/messages/SystemMessage.h"
#include "common/messages/TextMessage.h"
#include "common/plugins/PluginEnvironment.h"
#include "common/plugins/WriterPlugin.h"
#include "common/plugins/WriterPluginCapability.h"
#include "common/runtime/Log.h"

WriterStream::WriterStream(const PluginSet* plugins) : m_plugins(plugins) {
    if (m_plugins == nullptr) {
        return;
    }
    for (WriterPlugin* plugin : *m_plugins) {
        for (pwr::PluginCapability* cap : plugin->getCapabilities()) {
            if (auto* writerCap = dynamic_cast<pwr::WriterPluginCapability*>(cap)) {
                m_supportedTables.insert(writerCap->getSupportedTables().begin(),
                                         writerCap->getSupportedTables().end());
            }
        }
    }
}

WriterStream::~WriterStream() {
    if (m_plugins != nullptr) {
        for (WriterPlugin* plugin : *m_plugins) {
            plugin->cleanup();
        }
    }
}

int WriterStream::pushMessage(pwr::WriterMessage& msg) {
    if (m_plugins == nullptr || m_plugins->empty()) {
        pwr::pwLog(PW_WARNING, "WARNING: No plugins setup for stream\n");
        return -1;
    }
    for (WriterPlugin* plugin : *m_plugins) {
        pushMessageToPlugin_i(msg, plugin);
    }
    if (msg.getMessageType() == pwr::MessageType::TABLE) {
        auto* table = dynamic_cast<pwr::TableMessage*>(&msg);
        if (table == nullptr) {
            return 1;
        }
        table->resetData();
    }
    return 0;
}

void WriterStream::pushMessageToPlugin_i(pwr::WriterMessage& msg, WriterPlugin* plugin) {
    // The type names the class; a message that lies about it is skipped.
    switch (msg.getMessageType()) {
        case pwr::MessageType::TABLE:
            if (auto* m = dynamic_cast<pwr::TableMessage*>(&msg)) {
                plugin->writeMessage(*m);
            }
            break;
        case pwr::MessageType::ID:
            if (auto* m = dynamic_cast<pwr::IdMessage*>(&msg)) {
                plugin->writeMessage(*m);
            }
            break;
        case pwr::MessageType::TEXT:
        case pwr::MessageType::HEADER_TEXT:
            if (auto* m = dynamic_cast<pwr::TextMessage*>(&msg)) {
                plugin->writeMessage(*m);
            }
            break;
        case pwr::MessageType::SYSTEM:
            if (auto* m = dynamic_cast<pwr::SystemMessage*>(&msg)) {
                plugin->writeMessage(*m);
            }
            break;
        case pwr::MessageType::METRIC_CONTAINER_INFO:
            if (auto* m = dynamic_cast<pwr::MetricContainerInfoMessage*>(&msg)) {
                plugin->writeMessage(*m);
            }
            break;
        default:
            break;
    }
}

int WriterStream::pushMessage(const pwr::Metric* metric) {
    if (metric == nullptr) {
        pwr::pwLog(PW_WARNING, "WARNING: Error pushing null Metric object to Writer stream.\n");
        return 1;
    }
    if (m_plugins == nullptr || m_plugins->empty()) {
        pwr::pwLog(PW_WARNING, "WARNING: No plugins setup for writer stream.\n");
        return 1;
    }
    int result = 0;
    for (WriterPlugin* plugin : *m_plugins) {
        if (plugin->writeMessage(*metric) != 0) {
            pwr::pwLog(PW_WARNING, "WARNING: Unable to push Metric object to writer plugin\n");
            result = 1;
        }
    }
    return result;
}

int WriterStream::pushTextMessage(const std::string& text) {
    PluginEnvironment* env = PluginEnvironment::current();
    auto* stream = env == nullptr ? nullptr : static_cast<WriterStream*>(env->getWriterStream());
    if (stream == nullptr) {
        throw std::runtime_error("ERROR: Writer stream is not initialized");
    }
    pwr::TextMessage message(stream);
    return message.setMessage(text);
}

bool WriterStream::isSupportedTableClass(pwr::TableClass tableClass) const {
    return m_supportedTables.count(tableClass) != 0;
}

// Without writers there is nobody to tell (and no reason to warn per object).
void WriterStream::announce(const pwr::UniqueId& object) {
    if (m_plugins == nullptr || m_plugins->empty()) {
        return;
    }
    pwr::IdMessage message;
    message.addUniqueId(&object);
    pushMessage(message);
}
