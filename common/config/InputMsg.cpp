#include "common/config/InputMsg.h"

#include <cstdio>
#include <memory>

#include "common/config/VexaConfigFileParser.h"
#include "common/plugins/CollectorPlugin.h"
#include "common/runtime/Log.h"

namespace pwr {

namespace {

// Triggers that run alone in their set.
bool isExclusiveTrigger_i(const std::string& trigger) {
    return trigger == "INIT" || trigger == "REQUIREMENTS" || trigger == "FINI";
}

int commandsNotCompatible_i() {
    std::fputs("Commands are not compatible!\n", stderr);
    std::fflush(stderr);
    return -1;
}

}  // namespace

InputMsg::InputMsg(const std::string& name, const std::string& platformPrefix,
                   const std::string& platformName)
    : m_name(name),
      m_fullName(platformPrefix.empty() ? name : platformPrefix + "_" + name),
      m_platformName(platformName),
      m_platformPrefix(platformPrefix),
      m_featureName(platformPrefix),
      m_msgID(-1),
      m_pluginID(-1),
      m_metricID(-1),
      m_cpu("ANY"),
      m_entity(nullptr),
      m_command(VexaOpCommand::UNDECIDED),
      m_samplingInterval(0) {}

InputMsg::InputMsg(const InputMsg& other)
    : m_name(other.m_name),
      m_fullName(other.m_fullName),
      m_platformName(other.m_platformName),
      m_platformPrefix(other.m_platformPrefix),
      m_featureName(other.m_featureName),
      m_capGroups(other.m_capGroups),
      m_msgID(other.m_msgID),
      m_pluginID(other.m_pluginID),
      m_metricID(other.m_metricID),
      m_cpu(other.m_cpu),
      m_entity(other.m_entity),
      m_command(other.m_command),
      m_samplingInterval(other.m_samplingInterval) {
    m_operations.reserve(other.m_operations.size());
    for (const Operation* op : other.m_operations) {
        m_operations.push_back(op->clone());
    }
    for (int i = 0; i < 2; ++i) {
        m_triggers[i] = other.m_triggers[i];
        m_notifierNames[i] = other.m_notifierNames[i];
        m_tracepointNames[i] = other.m_tracepointNames[i];
    }
}

InputMsg::InputMsg(InputMsg&& other) noexcept
    : m_msgID(-1),
      m_pluginID(-1),
      m_metricID(-1),
      m_entity(nullptr),
      m_command(VexaOpCommand::UNDECIDED),
      m_samplingInterval(0) {
    swap(other);
}

InputMsg& InputMsg::operator=(const InputMsg& other) {
    if (this != &other) {
        InputMsg copy(other);
        swap(copy);
    }
    return *this;
}

InputMsg& InputMsg::operator=(InputMsg&& other) noexcept {
    if (this != &other) {
        InputMsg moved(std::move(other));
        swap(moved);
    }
    return *this;
}

InputMsg::~InputMsg() {
    resetOperations();
}

void InputMsg::swap(InputMsg& other) noexcept {
    using std::swap;
    swap(m_name, other.m_name);
    swap(m_fullName, other.m_fullName);
    swap(m_platformName, other.m_platformName);
    swap(m_platformPrefix, other.m_platformPrefix);
    swap(m_featureName, other.m_featureName);
    swap(m_capGroups, other.m_capGroups);
    swap(m_msgID, other.m_msgID);
    swap(m_pluginID, other.m_pluginID);
    swap(m_metricID, other.m_metricID);
    swap(m_cpu, other.m_cpu);
    swap(m_entity, other.m_entity);
    swap(m_command, other.m_command);
    swap(m_samplingInterval, other.m_samplingInterval);
    swap(m_operations, other.m_operations);
    for (int i = 0; i < 2; ++i) {
        swap(m_triggers[i], other.m_triggers[i]);
        swap(m_notifierNames[i], other.m_notifierNames[i]);
        swap(m_tracepointNames[i], other.m_tracepointNames[i]);
    }
}

int InputMsg::addReadTrigger(const std::string& trigger) {
    return addTrigger(VexaOpCommand::READ, trigger, false);
}

int InputMsg::addWriteTrigger(const std::string& trigger) {
    return addTrigger(VexaOpCommand::WRITE, trigger, false);
}

int InputMsg::addReadTrigger(const std::string& trigger, bool maxDetail) {
    return addTrigger(VexaOpCommand::READ, trigger, maxDetail);
}

int InputMsg::addWriteTrigger(const std::string& trigger, bool maxDetail) {
    return addTrigger(VexaOpCommand::WRITE, trigger, maxDetail);
}

void InputMsg::addNotifierName(const std::string& name) {
    addNotifierName(name, false);
}

void InputMsg::addTracepointName(const std::string& name) {
    addTracepointName(name, false);
}

void InputMsg::addNotifierName(const std::string& name, bool maxDetail) {
    m_notifierNames[maxDetail].insert(name);
}

void InputMsg::addTracepointName(const std::string& name, bool maxDetail) {
    m_tracepointNames[maxDetail].insert(name);
}

int InputMsg::addTrigger(VexaOpCommand command, const std::string& trigger, bool maxDetail) {
    if (m_command != VexaOpCommand::UNDECIDED && m_command != command) {
        return commandsNotCompatible_i();
    }
    if (!areOperationsCompatible_i(command)) {
        return commandsNotCompatible_i();
    }
    StringSet& triggers = m_triggers[maxDetail];
    bool othersPresent = false;
    for (const std::string& present : triggers) {
        othersPresent = othersPresent || present != trigger;
    }
    // A set holding only "FINI" refuses ordinary triggers too, so that the
    // outcome does not depend on the order of the triggers.
    if ((isExclusiveTrigger_i(trigger) && othersPresent) ||
        (!isExclusiveTrigger_i(trigger) && triggers.count("FINI") != 0)) {
        pwLog(PW_ERROR,
              "ERROR: Trying to add Trigger %s to message %s which already has other triggers; "
              "\"INIT\", \"FINI\" and \"REQUIREMENTS\" messages CANNOT be mixed with other "
              "messages!\n",
              trigger.c_str(), m_fullName.c_str());
        return -1;
    }
    if (!isExclusiveTrigger_i(trigger) &&
        (triggers.count("INIT") != 0 || triggers.count("REQUIREMENTS") != 0)) {
        pwLog(PW_ERROR,
              "ERROR: Trying to add Trigger %s to message %s which already has an \"INIT\" or "
              "\"REQUIREMENTS\" Trigger; \"INIT\" and \"REQUIREMENTS\" messages cannot be mixed "
              "with other messages!\n",
              trigger.c_str(), m_fullName.c_str());
        return -1;
    }
    m_command = command;
    triggers.insert(trigger);
    return 0;
}

bool InputMsg::areOperationsCompatible_i(VexaOpCommand command) const {
    for (const Operation* op : m_operations) {
        if (!op->supportsCommand(command)) {
            return false;
        }
    }
    return true;
}

int InputMsg::addOperation(Operation* op) {
    if (op == nullptr) {
        return -1;
    }
    if (!m_operations.empty() && m_operations.front()->getCollector() != op->getCollector()) {
        pwLog(PW_ERROR,
              "ERROR: Cannot add operation %s to message %s because the collectors are "
              "different!\n",
              op->getName().c_str(), m_fullName.c_str());
        return -1;
    }
    if (!op->supportsCommand(m_command)) {
        return commandsNotCompatible_i();
    }
    if (op->getOrgMsgTag().empty()) {
        op->setOrgMsgTag(m_name);
    }
    m_operations.push_back(op);
    return 0;
}

void InputMsg::resetOperations() {
    for (Operation* op : m_operations) {
        delete op;
    }
    m_operations.clear();
}

int InputMsg::appendMessage(const InputMsg& other) {
    if (&other == this) {
        return -1;
    }
    if (!m_operations.empty() && !other.m_operations.empty() &&
        m_operations.front()->getCollector() != other.m_operations.front()->getCollector()) {
        pwLog(PW_ERROR,
              "ERROR appending messages %s and %s; CANNOT append messages if collectors are "
              "different!\n",
              m_fullName.c_str(), other.m_fullName.c_str());
        return -1;
    }
    for (int maxDetail = 0; maxDetail < 2; ++maxDetail) {
        if (m_command != other.m_command || m_triggers[maxDetail] != other.m_triggers[maxDetail] ||
            m_notifierNames[maxDetail] != other.m_notifierNames[maxDetail] ||
            m_tracepointNames[maxDetail] != other.m_tracepointNames[maxDetail]) {
            pwLog(PW_ERROR, "ERROR: Msg %s and %s have incompatible %sread capabilities!\n",
                  m_fullName.c_str(), other.m_fullName.c_str(), maxDetail ? "max-detail " : "");
            return -1;
        }
    }
    m_operations.reserve(m_operations.size() + other.m_operations.size());
    for (const Operation* op : other.m_operations) {
        m_operations.push_back(op->clone());
    }
    return 0;
}

int InputMsg::execute(Results& results) {
    if (m_operations.empty()) {
        pwLog(PW_WARNING, "WARNING: Message %s has no operations defined!\n", m_fullName.c_str());
        return -1;
    }
    const Operation* first = m_operations.front();
    const CollectorRegistry* registry = VexaConfigFileParser::getCollectorRegistry();
    CollectorPlugin* collector =
        registry != nullptr ? registry->findCollector(first->getOperation()) : nullptr;
    if (collector == nullptr) {
        pwLog(PW_ERROR,
              "ERROR: Trying to do immediate read/write of operation %s with invalid type %s?!\n",
              first->getName().c_str(), first->getOperation().c_str());
        return -1;
    }
    pwLog(PW_INFO, "INFO: OK, found collector for operation %s; now dispatching!\n",
          first->getName().c_str());
    const size_t command = static_cast<size_t>(m_command);
    if (m_command == VexaOpCommand::WRITE) {
        pwLog(PW_INFO, "INFO: doing a WRITE (cmd = %zu)\n", command);
        return collector->doImmediateWrite(this);
    }
    pwLog(PW_INFO, "INFO: doing a READ (cmd = %zu)\n", command);
    int status = 0;
    for (Operation* op : m_operations) {
        const int result = collector->doImmediateRead(op, m_cpu);
        results.emplace_back(op->getName(), std::to_string(result));
        if (status == 0) {
            status = result;
        }
    }
    return status;
}

MsgMetadata InputMsg::getMetadata() const {
    MsgMetadata metadata(m_pluginID, m_metricID, m_msgID);
    metadata.setCapName(m_featureName);
    metadata.setCapGroups(m_capGroups);
    metadata.setMsgName(m_fullName);
    for (const Operation* op : m_operations) {
        metadata.addMetaValue(new OperationMetadata(op->getOperationMetadata()));
    }
    metadata.setTriggers(m_triggers[0]);
    metadata.setTracepointNames(m_tracepointNames[0]);
    return metadata;
}

}  // namespace pwr
