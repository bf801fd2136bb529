#include "common/config/Operation.h"

#include "common/config/VexaConfigFileParser.h"
#include "common/plugins/CollectorPlugin.h"
#include "common/runtime/Log.h"

namespace pwr {

namespace {

int dispatch_i(Operation* op, const std::string& target, bool write) {
    const char* verb = write ? "write" : "read";
    const char* name = op != nullptr ? op->getName().c_str() : "(null)";
    if (op == nullptr || op->getPacket() == nullptr) {
        pwLog(PW_ERROR,
              "ERROR: Trying to do immediate %s of operation %s without a valid packet?!\n", verb,
              name);
        return -1;
    }
    const CollectorRegistry* registry = VexaConfigFileParser::getCollectorRegistry();
    if (registry == nullptr) {
        pwLog(PW_ERROR,
              "ERROR: Trying to do immediate %s of operation %s without a valid parser?!\n", verb,
              name);
        return -1;
    }
    CollectorPlugin* collector = registry->findCollector(op->getOperation());
    if (collector == nullptr) {
        pwLog(PW_ERROR, "ERROR: Trying to do immediate %s of operation %s with invalid type %s?!\n",
              verb, name, op->getOperation().c_str());
        return -1;
    }
    return write ? collector->doImmediateWrite(op, target) : collector->doImmediateRead(op, target);
}

}  // namespace

int OperationPacket::set(const std::string& key, const std::string& value) {
    if (has(key)) {
        pwLog(PW_ERROR, "ERROR: key %s already set!\n", key.c_str());
        return -1;
    }
    m_pairs.emplace_back(key, value);
    return 0;
}

bool OperationPacket::get(const std::string& key, std::string& value) const {
    for (const auto& pair : m_pairs) {
        if (pair.first == key) {
            value = pair.second;
            return true;
        }
    }
    return false;
}

bool OperationPacket::has(const std::string& key) const {
    for (const auto& pair : m_pairs) {
        if (pair.first == key) {
            return true;
        }
    }
    return false;
}

Operation::Operation(const std::string& name, const std::string& operation)
    : m_name(name),
      m_operation(operation),
      m_collector(nullptr),
      m_size(0),
      m_canRead(true),
      m_canWrite(true) {}

Operation::Operation(const std::string& name, const Operation& prototype) : Operation(prototype) {
    m_name = name;
    m_packet.reset();
    m_orgMsgTag.clear();
}

Operation::Operation(const Operation& other)
    : m_name(other.m_name),
      m_operation(other.m_operation),
      m_categories(other.m_categories),
      m_packet(other.m_packet ? new OperationPacket(*other.m_packet) : nullptr),
      m_collector(other.m_collector),
      m_orgMsgTag(other.m_orgMsgTag),
      m_size(other.m_size),
      m_canRead(other.m_canRead),
      m_canWrite(other.m_canWrite) {
    copyRequirementsFrom_i(other);
}

Operation& Operation::operator=(const Operation& other) {
    if (this != &other) {
        Operation copy(other);
        m_name = std::move(copy.m_name);
        m_operation = std::move(copy.m_operation);
        m_categories = std::move(copy.m_categories);
        m_packet = std::move(copy.m_packet);
        m_requirements = std::move(copy.m_requirements);
        m_collector = copy.m_collector;
        m_orgMsgTag = std::move(copy.m_orgMsgTag);
        m_size = copy.m_size;
        m_canRead = copy.m_canRead;
        m_canWrite = copy.m_canWrite;
    }
    return *this;
}

Operation::~Operation() = default;

Operation* Operation::clone() const {
    return new Operation(*this);
}

bool Operation::acceptsCategory(const std::string& category) const {
    return m_categories.empty() || m_categories.count(category) != 0;
}

OperationPacket& Operation::createPacket() {
    if (!m_packet) {
        m_packet.reset(new OperationPacket());
    }
    return *m_packet;
}

bool Operation::supportsCommand(VexaOpCommand command) const {
    switch (command) {
        case VexaOpCommand::READ:
            return m_canRead;
        case VexaOpCommand::WRITE:
            return m_canWrite;
        case VexaOpCommand::UNDECIDED:
            return true;
    }
    return false;
}

void Operation::setDirections(bool canRead, bool canWrite) {
    m_canRead = canRead;
    m_canWrite = canWrite;
}

bool Operation::addPluginRequirement(PluginRequirement* requirement) {
    if (requirement == nullptr) {
        return false;
    }
    m_requirements.emplace_back(requirement);
    return true;
}

void Operation::copyRequirementsFrom_i(const Operation& other) {
    for (const auto& requirement : other.m_requirements) {
        m_requirements.push_back(requirement->clone());
    }
}

PluginRequirementResult Operation::isOperationSuitableFor(const SystemMetadata& sys) const {
    PluginRequirementResult result = PluginRequirementResult::SUITABLE;
    const AttributePairs noAttributes;
    for (const auto& requirement : m_requirements) {
        if (!requirement->isPluginRequirementSatisfied(sys, noAttributes)) {
            return PluginRequirementResult::NOT_SUITABLE;
        }
        result = PluginRequirementResult::SUITABLE_REQUIREMENTS_PASSED;
    }
    return result;
}

OperationMetadata Operation::getOperationMetadata() const {
    OperationMetadata metadata(m_name, m_operation, m_size);
    metadata.setOrgMsgTag(m_orgMsgTag);
    return metadata;
}

int Operation::dispatchRead(Operation* op, const std::string& target) {
    return dispatch_i(op, target, false);
}

int Operation::dispatchWrite(Operation* op, const std::string& target) {
    return dispatch_i(op, target, true);
}

int Operation::dispatchRead(Operation*, const EntityHandle*) {
    pwLog(PW_WARNING, "WARNING: %s functionality is TODO!\n", "pwr::Operation::dispatchRead");
    return -1;
}

int Operation::dispatchWrite(Operation*, const EntityHandle*) {
    pwLog(PW_WARNING, "WARNING: %s functionality is TODO!\n", "pwr::Operation::dispatchWrite");
    return -1;
}

CONSTANTOperation::CONSTANTOperation(const std::string& name) : Operation(name, kind()) {
    setDirections(true, false);
    createPacket();
}

CONSTANTOperation::CONSTANTOperation(const std::string& name, const Operation& prototype)
    : CONSTANTOperation(name) {
    setSize(prototype.getSize());
    setCollector(prototype.getCollector());
    for (const std::string& category : prototype.getCategories()) {
        addCategory(category);
    }
    copyRequirementsFrom_i(prototype);
}

CONSTANTOperation::CONSTANTOperation(const CONSTANTOperation& other) = default;

CONSTANTOperation& CONSTANTOperation::operator=(const CONSTANTOperation& other) = default;

CONSTANTOperation::~CONSTANTOperation() = default;

const std::string& CONSTANTOperation::kind() {
    static const std::string s_kind("CONSTANT");
    return s_kind;
}

CONSTANTOperation* CONSTANTOperation::clone() const {
    return new CONSTANTOperation(*this);
}

int CONSTANTOperation::set(const std::string& key, const std::string& value) {
    return createPacket().set(key, value);
}

OperationPacket::Pairs::const_iterator CONSTANTOperation::begin() const {
    return getPacket()->begin();
}

OperationPacket::Pairs::const_iterator CONSTANTOperation::end() const {
    return getPacket()->end();
}

OperationMetadata CONSTANTOperation::getOperationMetadata() const {
    OperationMetadata metadata(getName(), getOperation(),
                               static_cast<unsigned>(getPacket()->size()));
    metadata.setOrgMsgTag(getOrgMsgTag());
    return metadata;
}

}  // namespace pwr
