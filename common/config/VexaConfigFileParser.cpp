#include "common/config/VexaConfigFileParser.h"

#include <climits>
#include <cstdio>
#include <exception>
#include <set>
#include <stdexcept>

#include "common/config/ConfigLineReader.h"
#include "common/config/OperationValue.h"
#include "common/config/ModelMatch.h"
#include "common/plugins/CollectorPlugin.h"
#include "common/runtime/Log.h"
#include "common/serialize/SystemMetadata.h"

namespace pwr {

struct VexaConfigFileParser::MsgEntry {
    std::unique_ptr<InputMsg> msg;
    // The tags that GROUP listed, each once, in order.
    std::vector<std::string> group;
    // Lists a group or is listed in one: it cannot be sourced.
    bool grouped = false;
};

struct VexaConfigFileParser::PrefixEntry {
    // In the order of their first line.
    std::vector<std::unique_ptr<MsgEntry>> messages;
    std::map<std::string, MsgEntry*> byName;
    std::unique_ptr<ConfigCap> cap;
    // "OVERRIDE", "EXTEND", or empty (extend).
    std::string inherit;
};

struct VexaConfigFileParser::Platform {
    std::string name;
    // Empty for the root only.
    std::string parent;
    // Whether a head named the parent, rather than the default root.
    bool explicitParent = false;
    std::vector<std::string> children;
    std::vector<std::unique_ptr<Specifier>> specifiers;
    std::map<std::string, PrefixEntry> prefixes;
};

namespace {

const char* const c_root = "ALL";

bool isLetter_i(char c) {
    return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z');
}

bool isDigit_i(char c) {
    return c >= '0' && c <= '9';
}

// Platform names, parents and capability prefixes may hold any character
// the line splitting leaves in a token ("ALL_CORE+1_..." has the prefix
// "CORE+1"); they only have to name something.
bool isName_i(const std::string& text) {
    return !text.empty();
}

// A message tag begins with a letter; the rest is free ("C6+X").
bool isTagName_i(const std::string& text) {
    return !text.empty() && isLetter_i(text[0]);
}

// Printable text without blanks.
bool isWord_i(const std::string& text) {
    if (text.empty()) {
        return false;
    }
    for (char c : text) {
        const unsigned char u = static_cast<unsigned char>(c);
        if (u <= 0x20 || u == 0x7F) {
            return false;
        }
    }
    return true;
}

// Letters, digits and "-": "ANY", "0", "BSP".
bool isCpu_i(const std::string& text) {
    if (text.empty()) {
        return false;
    }
    for (char c : text) {
        if (!isLetter_i(c) && !isDigit_i(c) && c != '-') {
            return false;
        }
    }
    return true;
}

// The items of a comma list, blanks trimmed; empty items are kept.
std::vector<std::string> splitList_i(const std::string& text) {
    std::vector<std::string> items(1);
    for (char c : text) {
        if (c == ',') {
            items.emplace_back();
        } else {
            items.back() += c;
        }
    }
    for (std::string& item : items) {
        const size_t first = item.find_first_not_of(" \t");
        const size_t last = item.find_last_not_of(" \t");
        item = first == std::string::npos ? std::string() : item.substr(first, last - first + 1);
    }
    return items;
}

bool startsWith_i(const std::string& text, const char* prefix, std::string& rest) {
    const std::string p(prefix);
    if (text.compare(0, p.size(), p) != 0) {
        return false;
    }
    rest = text.substr(p.size());
    return true;
}

Operation* findOperation_i(const InputMsg& msg, const std::string& kind) {
    for (Operation* op : msg.getOperations()) {
        if (op->getOperation() == kind) {
            return op;
        }
    }
    return nullptr;
}

}  // namespace

// ---------------------------------------------------------------------------
// CollectorRegistry

void CollectorRegistry::build(const std::vector<::CollectorPlugin*>& collectors,
                              const SystemMetadata& sys) {
    for (::CollectorPlugin* collector : collectors) {
        if (collector == nullptr) {
            continue;
        }
        for (const Operation* prototype : collector->getSupportedOperations()) {
            const std::string& kind = prototype->getOperation();
            auto found = m_entries.find(kind);
            if (found == m_entries.end()) {
                m_entries.emplace(kind, Entry{collector, prototype});
                continue;
            }
            if (found->second.collector != collector &&
                prototype->isOperationSuitableFor(sys) != PluginRequirementResult::NOT_SUITABLE) {
                pwLog(PW_INFO,
                      "INFO: multiple providers found for %s read operation, but allowing "
                      "override since the current one is available!\n",
                      kind.c_str());
                found->second = Entry{collector, prototype};
            }
        }
    }
}

::CollectorPlugin* CollectorRegistry::findCollector(const std::string& operation) const {
    auto found = m_entries.find(operation);
    return found != m_entries.end() ? found->second.collector : nullptr;
}

const Operation* CollectorRegistry::findPrototype(const std::string& operation) const {
    auto found = m_entries.find(operation);
    return found != m_entries.end() ? found->second.prototype : nullptr;
}

// ---------------------------------------------------------------------------
// Life cycle and files

VexaConfigFileParser* VexaConfigFileParser::s_instance = nullptr;

VexaConfigFileParser* VexaConfigFileParser::instance() {
    if (s_instance == nullptr) {
        s_instance = new VexaConfigFileParser();
    }
    return s_instance;
}

void VexaConfigFileParser::destroy() {
    if (s_instance != nullptr) {
        s_instance->destroy_i();
        delete s_instance;
        s_instance = nullptr;
    }
}

const CollectorRegistry* VexaConfigFileParser::getCollectorRegistry() {
    return s_instance != nullptr ? &s_instance->m_registry : nullptr;
}

VexaConfigFileParser::VexaConfigFileParser()
    : m_parsed(false), m_platform(nullptr), m_msg(nullptr), m_op(nullptr) {
    reset_i();
}

VexaConfigFileParser::~VexaConfigFileParser() {
    destroy_i();
}

void VexaConfigFileParser::destroy_i() {
    m_platformOrder.clear();
    m_platforms.clear();
    m_orphans.clear();
    m_registry.clear();
    m_tokens.clear();
    m_platform = nullptr;
    m_msg = nullptr;
    m_op = nullptr;
    m_parsed = false;
}

VexaConfigFileParser& VexaConfigFileParser::operator=(const VexaConfigFileParser& other) {
    if (this == &other) {
        return *this;
    }
    // Build the whole copy first, so that a failure leaves this parser as it
    // was.
    std::map<std::string, std::unique_ptr<Platform>> platforms;
    std::vector<Platform*> order;
    for (const Platform* from : other.m_platformOrder) {
        std::unique_ptr<Platform> to(new Platform());
        to->name = from->name;
        to->parent = from->parent;
        to->explicitParent = from->explicitParent;
        to->children = from->children;
        for (const auto& specifier : from->specifiers) {
            to->specifiers.push_back(std::unique_ptr<Specifier>(specifier->clone()));
        }
        for (const auto& prefix : from->prefixes) {
            PrefixEntry& entry = to->prefixes[prefix.first];
            entry.inherit = prefix.second.inherit;
            if (prefix.second.cap) {
                entry.cap.reset(new ConfigCap(*prefix.second.cap));
            }
            for (const auto& msg : prefix.second.messages) {
                std::unique_ptr<MsgEntry> copy(new MsgEntry());
                copy->msg.reset(new InputMsg(*msg->msg));
                copy->group = msg->group;
                copy->grouped = msg->grouped;
                entry.byName.emplace(copy->msg->getName(), copy.get());
                entry.messages.push_back(std::move(copy));
            }
        }
        order.push_back(to.get());
        platforms.emplace(to->name, std::move(to));
    }
    m_platforms.swap(platforms);
    m_platformOrder.swap(order);
    m_registry = other.m_registry;
    m_orphans = other.m_orphans;
    m_parsed = other.m_parsed;
    // The cursor pointed into other's platforms: no line is being parsed.
    m_tokens.clear();
    m_headName.clear();
    m_headParent.clear();
    m_platform = nullptr;
    m_modelType.clear();
    m_prefix.clear();
    m_msg = nullptr;
    m_op = nullptr;
    return *this;
}

void VexaConfigFileParser::reset_i() {
    destroy_i();
    std::unique_ptr<Platform> root(new Platform());
    root->name = c_root;
    m_platformOrder.push_back(root.get());
    m_platforms.emplace(c_root, std::move(root));
}

int VexaConfigFileParser::parse(const std::vector<std::string>& paths,
                                const std::vector<::CollectorPlugin*>& collectors,
                                const SystemMetadata& sys) {
    if (m_parsed) {
        std::fputs("ERROR initializing parser\n", stderr);
        std::fflush(stderr);
        return -1;
    }
    m_parsed = true;
    m_registry.build(collectors, sys);
    int status = 0;
    for (const std::string& path : paths) {
        if (parseFile_i(path) != 0) {
            status = -1;
        }
    }
    if (status == 0) {
        status = bind_i(sys);
    }
    if (status != 0) {
        std::fputs("config file parser sanity checks did NOT pass -- config files are invalid!\n",
                   stderr);
        std::fflush(stderr);
        reset_i();
    }
    return status;
}

int VexaConfigFileParser::parseFile_i(const std::string& path) {
    std::vector<ConfigLine> lines;
    if (readConfigLines(path, lines) != 0) {
        std::fprintf(stderr, "Error opening config file %s\n", path.c_str());
        std::fflush(stderr);
        return -1;
    }
    for (const ConfigLine& line : lines) {
        int status = -1;
        try {
            status = parseLine_i(line);
        } catch (const std::exception& e) {
            std::fprintf(stderr, "EXCEPTION CAUGHT: %s\n", e.what());
        }
        if (status != 0) {
            std::fprintf(stderr, "%s\n", configLineErrorText(path, line).c_str());
            std::fprintf(stderr, "ERROR parsing config file %s\n", path.c_str());
            std::fflush(stderr);
            return -1;
        }
    }
    return 0;
}

int VexaConfigFileParser::parseLine_i(const ConfigLine& line) {
    m_platform = nullptr;
    m_msg = nullptr;
    m_op = nullptr;
    m_prefix.clear();
    m_modelType.clear();
    if (!tokenizeConfigLine(line.text, m_tokens)) {
        return -1;
    }
    return platformRule();
}

int VexaConfigFileParser::fail_i(const char* rule) const {
    pwLog(PW_WARNING, "WARNING: ERROR calling function \"%s\"\n", rule);
    return -1;
}

// ---------------------------------------------------------------------------
// Checks and binding after the files are read

int VexaConfigFileParser::bind_i(const SystemMetadata& sys) {
    if (checkParents_i() != 0) {
        return -1;
    }
    for (Platform* platform : m_platformOrder) {
        for (auto& prefix : platform->prefixes) {
            const ConfigCap* cap = findCap_i(platform, prefix.first);
            for (auto& entry : prefix.second.messages) {
                InputMsg& msg = *entry->msg;
                if (cap != nullptr) {
                    msg.setFeatureName(cap->getName());
                    msg.setCapGroups(cap->getGroups());
                }
                InputMsg::Operations ops;
                ops.swap(msg.m_operations);
                for (Operation* op : ops) {
                    const bool met =
                        op->isOperationSuitableFor(sys) != PluginRequirementResult::NOT_SUITABLE;
                    pwLog(PW_INFO, "INFO: requirements for operation %s %s met\n",
                          op->getName().c_str(), met ? "were" : "were NOT");
                    if (met) {
                        msg.m_operations.push_back(op);
                        continue;
                    }
                    pwLog(PW_INFO,
                          "INFO: Didn't add operation %s to msg %s because op is not available "
                          "on current platform!\n",
                          op->getName().c_str(), msg.getFullName().c_str());
                    delete op;
                }
            }
        }
    }
    const int status = joinGroups_i();
    dropEmptyMessages_i();
    return status;
}

int VexaConfigFileParser::checkParents_i() const {
    if (m_orphans.empty()) {
        return 0;
    }
    std::string names;
    for (const auto& orphan : m_orphans) {
        names += (names.empty() ? "\"" : ", \"") + orphan.first + "\"";
    }
    pwLog(PW_ERROR, "ERROR: the following \"parent\" platforms have not been defined: %s\n",
          names.c_str());
    return -1;
}

int VexaConfigFileParser::joinGroups_i() {
    // Members lend the operations they declared themselves, not those of
    // their own groups: copies taken before any group is joined.
    std::map<const MsgEntry*, std::unique_ptr<InputMsg>> own;
    for (Platform* platform : m_platformOrder) {
        for (auto& prefix : platform->prefixes) {
            for (auto& entry : prefix.second.messages) {
                for (const std::string& tag : entry->group) {
                    const MsgEntry* member = prefix.second.byName.at(tag);
                    if (own.count(member) == 0) {
                        own.emplace(member, std::unique_ptr<InputMsg>(new InputMsg(*member->msg)));
                    }
                }
            }
        }
    }
    int status = 0;
    for (Platform* platform : m_platformOrder) {
        for (auto& prefix : platform->prefixes) {
            for (auto& entry : prefix.second.messages) {
                for (const std::string& tag : entry->group) {
                    const InputMsg& member = *own.at(prefix.second.byName.at(tag));
                    // A member without operations on this system adds nothing.
                    if (member.getOperationCount() == 0) {
                        continue;
                    }
                    if (entry->msg->appendMessage(member) != 0) {
                        pwLog(PW_WARNING, "WARNING: couldn't append message %s to message %s!\n",
                              member.getFullName().c_str(), entry->msg->getFullName().c_str());
                        status = -1;
                    }
                }
            }
        }
    }
    return status;
}

void VexaConfigFileParser::dropEmptyMessages_i() {
    for (Platform* platform : m_platformOrder) {
        for (auto& prefix : platform->prefixes) {
            PrefixEntry& entry = prefix.second;
            std::vector<std::unique_ptr<MsgEntry>> kept;
            for (auto& msg : entry.messages) {
                if (msg->msg->getOperationCount() != 0) {
                    kept.push_back(std::move(msg));
                    continue;
                }
                pwLog(PW_INFO,
                      "INFO: not adding message %s because it doesn't have any operations!\n",
                      msg->msg->getFullName().c_str());
                entry.byName.erase(msg->msg->getName());
            }
            entry.messages.swap(kept);
        }
    }
}

// ---------------------------------------------------------------------------
// Helpers

VexaConfigFileParser::Platform* VexaConfigFileParser::findPlatform_i(
    const std::string& name) const {
    auto found = m_platforms.find(name);
    return found != m_platforms.end() ? found->second.get() : nullptr;
}

int VexaConfigFileParser::setParent_i(Platform& platform, const std::string& parent) {
    // Refuse a parent that descends from the platform: the tree stays free
    // of cycles, so every walk up it ends at the root or at an orphan.
    for (const Platform* above = findPlatform_i(parent); above != nullptr;
         above = above->parent.empty() ? nullptr : findPlatform_i(above->parent)) {
        if (above == &platform) {
            pwLog(PW_ERROR, "ERROR: platform \"%s\" cannot have the parent \"%s\"!\n",
                  platform.name.c_str(), parent.c_str());
            return -1;
        }
    }
    platform.parent = parent;
    Platform* parentPlatform = findPlatform_i(parent);
    if (parentPlatform != nullptr) {
        parentPlatform->children.push_back(platform.name);
        return 0;
    }
    pwLog(PW_DEBUG, "DEBUG: found orphaned platform \"%s\" with parent \"%s\"\n",
          platform.name.c_str(), parent.c_str());
    m_orphans[parent].push_back(platform.name);
    return 0;
}

VexaConfigFileParser::PrefixEntry& VexaConfigFileParser::prefixEntry_i() {
    return m_platform->prefixes[m_prefix];
}

VexaConfigFileParser::MsgEntry* VexaConfigFileParser::findMessage_i(const Platform& platform,
                                                                    const std::string& prefix,
                                                                    const std::string& name) const {
    std::string wantedPrefix = prefix;
    std::string tag = name;
    const size_t cut = name.find('_');
    if (cut != std::string::npos) {
        wantedPrefix = name.substr(0, cut);
        tag = name.substr(cut + 1);
    }
    auto entry = platform.prefixes.find(wantedPrefix);
    if (entry == platform.prefixes.end()) {
        return nullptr;
    }
    auto found = entry->second.byName.find(tag);
    return found != entry->second.byName.end() ? found->second : nullptr;
}

const ConfigCap* VexaConfigFileParser::findCap_i(const Platform* platform,
                                                 const std::string& prefix) const {
    for (; platform != nullptr;
         platform = platform->parent.empty() ? nullptr : findPlatform_i(platform->parent)) {
        auto entry = platform->prefixes.find(prefix);
        if (entry != platform->prefixes.end() && entry->second.cap) {
            return entry->second.cap.get();
        }
    }
    return nullptr;
}

int VexaConfigFileParser::addOperationFor_i(const std::string& kind, Operation*& op) {
    const Operation* prototype = m_registry.findPrototype(kind);
    if (prototype == nullptr) {
        pwLog(PW_ERROR, "ERROR: unknown collector type %s\n", kind.c_str());
        return -1;
    }
    InputMsg& msg = *m_msg->msg;
    const std::string opName = msg.getFullName() + "_" + kind;
    std::unique_ptr<Operation> created(kind == CONSTANTOperation::kind()
                                           ? new CONSTANTOperation(opName, *prototype)
                                           : new Operation(opName, *prototype));
    created->setCollector(m_registry.findCollector(kind));
    if (msg.addOperation(created.get()) != 0) {
        return -1;
    }
    op = created.release();
    return 0;
}

// ---------------------------------------------------------------------------
// Platform rules (token 0)

int VexaConfigFileParser::platformRule() {
    if (platformHead() != 0 || platformTail() != 0 || platformSub() != 0) {
        return fail_i(__func__);
    }
    const int status = token_i(1) == "MODEL" ? modelRule() : prefixRule();
    return status == 0 ? 0 : fail_i(__func__);
}

int VexaConfigFileParser::platformHead() {
    m_headName = token_i(0).substr(0, token_i(0).find('-'));
    return isName_i(m_headName) ? 0 : fail_i(__func__);
}

int VexaConfigFileParser::platformTail() {
    const size_t dash = token_i(0).find('-');
    m_headParent.clear();
    if (dash == std::string::npos) {
        return 0;
    }
    const std::string parent = token_i(0).substr(dash + 1);
    if (!isName_i(parent)) {
        return fail_i(__func__);
    }
    if (parent == m_headName || m_headName == c_root) {
        pwLog(PW_ERROR, "ERROR: platform \"%s\" cannot have the parent \"%s\"!\n",
              m_headName.c_str(), parent.c_str());
        return fail_i(__func__);
    }
    m_headParent = parent;
    return 0;
}

int VexaConfigFileParser::platformSub() {
    Platform* platform = findPlatform_i(m_headName);
    if (platform == nullptr) {
        std::unique_ptr<Platform> created(new Platform());
        created->name = m_headName;
        platform = created.get();
        m_platforms.emplace(m_headName, std::move(created));
        m_platformOrder.push_back(platform);
        auto waiting = m_orphans.find(m_headName);
        if (waiting != m_orphans.end()) {
            pwLog(PW_DEBUG, "DEBUG: platform \"%s\" has orphaned children!\n", m_headName.c_str());
            for (const std::string& child : waiting->second) {
                pwLog(PW_DEBUG,
                      "DEBUG: assigning previously orphaned child \"%s\" as a child of \"%s\"\n",
                      child.c_str(), m_headName.c_str());
                platform->children.push_back(child);
            }
            m_orphans.erase(waiting);
        }
        platform->explicitParent = !m_headParent.empty();
        if (setParent_i(*platform, m_headParent.empty() ? c_root : m_headParent) != 0) {
            return fail_i(__func__);
        }
    } else if (!m_headParent.empty() && m_headParent != platform->parent) {
        if (platform->explicitParent) {
            pwLog(PW_ERROR, "ERROR: platform \"%s\" already has the parent \"%s\"!\n",
                  m_headName.c_str(), platform->parent.c_str());
            return fail_i(__func__);
        }
        // Only the root was assumed so far: move the platform under the
        // parent it now names.
        Platform* old = findPlatform_i(platform->parent);
        if (old != nullptr) {
            std::vector<std::string>& siblings = old->children;
            for (auto it = siblings.begin(); it != siblings.end(); ++it) {
                if (*it == m_headName) {
                    siblings.erase(it);
                    break;
                }
            }
        }
        if (setParent_i(*platform, m_headParent) != 0) {
            return fail_i(__func__);
        }
        platform->explicitParent = true;
    } else if (!m_headParent.empty()) {
        platform->explicitParent = true;
    }
    m_platform = platform;
    return 0;
}

// ---------------------------------------------------------------------------
// Model rules (tokens 1 to 5)

int VexaConfigFileParser::modelRule() {
    m_modelType = token_i(2);
    int status = 0;
    if (m_modelType == "FMS") {
        status = modelFMSRule();
    } else if (m_modelType == "PCI") {
        status = modelPCIRule();
    } else if (m_modelType == "PMT") {
        status = modelPMTRule();
    } else {
        status = modelOtherRule();
    }
    return status == 0 ? 0 : fail_i(__func__);
}

int VexaConfigFileParser::modelFMSRule() {
    if (m_platform->name == c_root) {
        pwLog(PW_ERROR, "ERROR: \"%s\" is NOT allowed to have \"FMS\" as a model specifier!\n",
              m_platform->name.c_str());
        return fail_i(__func__);
    }
    return modelSpec() == 0 ? 0 : fail_i(__func__);
}

int VexaConfigFileParser::modelPCIRule() {
    return modelSpec() == 0 ? 0 : fail_i(__func__);
}

int VexaConfigFileParser::modelPMTRule() {
    return modelSpec() == 0 ? 0 : fail_i(__func__);
}

int VexaConfigFileParser::modelOtherRule() {
    return isName_i(m_modelType) && modelSpec() == 0 ? 0 : fail_i(__func__);
}

int VexaConfigFileParser::modelSpec() {
    int status = -1;
    if (token_i(3) == "CONSTANT") {
        if (token_i(4) == "VALUE") {
            status = modelValue();
        } else if (token_i(4) == "RANGE") {
            status = modelRange();
        }
    }
    return status == 0 ? 0 : fail_i(__func__);
}

int VexaConfigFileParser::modelValue() {
    int status = 0;
    if (m_modelType == "FMS") {
        status = fmsValues();
    } else if (m_modelType == "PCI") {
        status = pciValue();
    } else if (m_modelType == "PMT") {
        status = PMTValue();
    } else if (isWord_i(token_i(5))) {
        m_platform->specifiers.push_back(
            std::unique_ptr<Specifier>(new ValueSpecifier(m_modelType, token_i(5))));
    } else {
        status = -1;
    }
    return status == 0 ? 0 : fail_i(__func__);
}

int VexaConfigFileParser::modelRange() {
    if (m_modelType == "FMS" || m_modelType == "PCI" || m_modelType == "PMT") {
        return fail_i(__func__);
    }
    return modelRangeSub() == 0 ? 0 : fail_i(__func__);
}

int VexaConfigFileParser::modelRangeSub() {
    const std::string& text = token_i(5);
    const size_t dash = text.find('-');
    uint64_t first = 0;
    uint64_t last = 0;
    if (dash == std::string::npos || !parseConfigNumber(text.substr(0, dash), first) ||
        !parseConfigNumber(text.substr(dash + 1), last)) {
        pwLog(PW_ERROR, "ERROR: range specifier MUST be a number!");
        return fail_i(__func__);
    }
    if (first > last) {
        pwLog(PW_ERROR, "ERROR: range specifier %s is empty: its first number is above its last!\n",
              text.c_str());
        return fail_i(__func__);
    }
    m_platform->specifiers.push_back(
        std::unique_ptr<Specifier>(new RangeSpecifier(m_modelType, first, last)));
    return 0;
}

int VexaConfigFileParser::fmsValues() {
    const std::string& text = token_i(5);
    std::vector<std::string> parts(1);
    for (char c : text) {
        if (c == '.' || c == '/') {
            parts.emplace_back();
        } else {
            parts.back() += c;
        }
    }
    int values[3] = {-1, -1, -1};
    bool valid = parts.size() == 2 || parts.size() == 3;
    for (size_t i = 0; valid && i < parts.size(); ++i) {
        valid = fmsValue(parts[i], values[i]) == 0;
    }
    if (!valid) {
        pwLog(PW_ERROR, "ERROR: %s is NOT a valid FMS specifier!\n", text.c_str());
        return fail_i(__func__);
    }
    m_platform->specifiers.push_back(
        std::unique_ptr<Specifier>(new FMSSpecifier(values[0], values[1], values[2])));
    return 0;
}

int VexaConfigFileParser::fmsValue(const std::string& part, int& out) {
    if (part == "-") {
        out = -1;
        return 0;
    }
    uint64_t number = 0;
    if (!parseConfigNumber(part, number) || number > 0xFF) {
        return fail_i(__func__);
    }
    out = static_cast<int>(number);
    return 0;
}

int VexaConfigFileParser::pciValue() {
    std::string vendor;
    std::string device;
    if (!PCISpecifier::split(token_i(5), vendor, device)) {
        pwLog(PW_ERROR, "ERROR: Invalid syntax for \"PCI\" model specifier\n");
        return fail_i(__func__);
    }
    try {
        std::unique_ptr<Specifier> specifier(new PCISpecifier(vendor, device));
        m_platform->specifiers.push_back(std::move(specifier));
    } catch (const std::invalid_argument& e) {
        std::fprintf(stderr, "EXCEPTION CAUGHT: %s\n", e.what());
        return fail_i(__func__);
    }
    return 0;
}

int VexaConfigFileParser::PMTValue() {
    std::string guid;
    if (!PMTSpecifier::split(token_i(5), guid)) {
        pwLog(PW_ERROR, "ERROR: Invalid syntax for \"PMT\" GUID specifier\n");
        return fail_i(__func__);
    }
    try {
        std::unique_ptr<Specifier> specifier(new PMTSpecifier(guid));
        m_platform->specifiers.push_back(std::move(specifier));
    } catch (const std::invalid_argument& e) {
        std::fprintf(stderr, "EXCEPTION CAUGHT: %s\n", e.what());
        return fail_i(__func__);
    }
    return 0;
}

// ---------------------------------------------------------------------------
// Prefix, capability and inherit rules

int VexaConfigFileParser::prefixRule() {
    if (!isName_i(token_i(1))) {
        return fail_i(__func__);
    }
    m_prefix = token_i(1);
    return metricRule() == 0 ? 0 : fail_i(__func__);
}

int VexaConfigFileParser::metricRule() {
    int status = 0;
    if (token_i(2) == "CAPABILITY") {
        status = capRule();
    } else if (token_i(2) == "INHERIT") {
        status = inheritRule();
    } else {
        status = tag();
    }
    return status == 0 ? 0 : fail_i(__func__);
}

int VexaConfigFileParser::capRule() {
    PrefixEntry& entry = prefixEntry_i();
    if (!entry.cap) {
        entry.cap.reset(new ConfigCap(m_prefix, std::string(), m_prefix));
    }
    return capSub() == 0 ? 0 : fail_i(__func__);
}

int VexaConfigFileParser::capSub() {
    const std::string& key = token_i(3);
    int status = -1;
    if (key == "COMMAND-LINE") {
        status = capSubCmdline();
    } else if (key == "HELP-STRING") {
        status = capSubHelp();
    } else if (key == "GROUP") {
        status = capSubGroup();
    } else if (key == "HIDDEN") {
        status = capSubHidden();
    }
    return status == 0 ? 0 : fail_i(__func__);
}

int VexaConfigFileParser::capValue() {
    if (token_i(4) != "VALUE") {
        pwLog(PW_WARNING, "WARNING: invalid token %s; expected \"VALUE\"\n", token_i(4).c_str());
        return fail_i(__func__);
    }
    return token_i(5).empty() ? fail_i(__func__) : 0;
}

int VexaConfigFileParser::capSubCmdline() {
    if (capValue() != 0 || !isWord_i(token_i(5))) {
        return fail_i(__func__);
    }
    // The name is fixed at construction: rebuild the capability around it.
    ConfigCap& cap = *prefixEntry_i().cap;
    ConfigCap renamed(token_i(5), cap.getDescription(), cap.getConfigfilePrefix(), cap.isHidden());
    for (const std::string& group : cap.getGroups()) {
        renamed.addGroup(group);
    }
    cap = std::move(renamed);
    return 0;
}

int VexaConfigFileParser::capSubHelp() {
    if (capValue() != 0) {
        return fail_i(__func__);
    }
    prefixEntry_i().cap->setDescription(token_i(5));
    return 0;
}

int VexaConfigFileParser::capSubGroup() {
    if (capValue() != 0) {
        return fail_i(__func__);
    }
    const std::vector<std::string> groups = splitList_i(token_i(5));
    for (const std::string& group : groups) {
        if (!isWord_i(group)) {
            return fail_i(__func__);
        }
    }
    for (const std::string& group : groups) {
        prefixEntry_i().cap->addGroup(group);
        pwLog(PW_INFO, "INFO: cap has added group : %s\n", group.c_str());
    }
    return 0;
}

int VexaConfigFileParser::capSubHidden() {
    if (capValue() != 0) {
        return fail_i(__func__);
    }
    const std::string& value = token_i(5);
    if (value == "TRUE" || value == "FALSE") {
        prefixEntry_i().cap->setHidden(value == "TRUE");
    } else {
        pwLog(PW_WARNING,
              "WARNING: invalid value %s passed to \"HIDDEN\" attribute; must be one of \"TRUE\" "
              "or \"FALSE\"\n",
              value.c_str());
    }
    return 0;
}

int VexaConfigFileParser::inheritRule() {
    return inheritSub() == 0 ? 0 : fail_i(__func__);
}

int VexaConfigFileParser::inheritSub() {
    return token_i(3) == "MODE" && inheritMode() == 0 ? 0 : fail_i(__func__);
}

int VexaConfigFileParser::inheritMode() {
    return token_i(4) == "VALUE" && inheritValue() == 0 ? 0 : fail_i(__func__);
}

int VexaConfigFileParser::inheritValue() {
    const std::string& value = token_i(5);
    if (value != "OVERRIDE" && value != "EXTEND") {
        pwLog(PW_ERROR,
              "ERROR: Invalid \"inherit\" value %s -- MUST be one of \"OVERRIDE\" or \"EXTEND\"\n",
              value.c_str());
        return fail_i(__func__);
    }
    prefixEntry_i().inherit = value;
    pwLog(PW_INFO, "INFO: prefix = %s, inherit value = %s\n", m_prefix.c_str(), value.c_str());
    return 0;
}

// ---------------------------------------------------------------------------
// Message rules

int VexaConfigFileParser::tag() {
    return isTagName_i(token_i(2)) && tagSub() == 0 ? 0 : fail_i(__func__);
}

int VexaConfigFileParser::tagSub() {
    PrefixEntry& entry = prefixEntry_i();
    const std::string& tagName = token_i(2);
    auto found = entry.byName.find(tagName);
    if (found == entry.byName.end()) {
        std::unique_ptr<MsgEntry> created(new MsgEntry());
        created->msg.reset(new InputMsg(tagName, m_prefix, m_platform->name));
        m_msg = created.get();
        entry.byName.emplace(tagName, m_msg);
        entry.messages.push_back(std::move(created));
    } else {
        m_msg = found->second;
    }
    const std::string& kind = token_i(3);
    int status = 0;
    if (kind == "MSG") {
        status = msgSub();
    } else if (kind == "CONSTANT") {
        status = constantSub();
    } else {
        status = hwMechRule();
    }
    return status == 0 ? 0 : fail_i(__func__);
}

int VexaConfigFileParser::msgSub() {
    const std::string& key = token_i(4);
    int status = 0;
    if (key == "GROUP") {
        status = msgGroup();
    } else if (key == "ID") {
        status = msgID();
    } else if (key == "READ-WHEN") {
        status = msgReadWhen();
    } else if (key == "READ-WHEN-MAX-DETAIL") {
        status = msgReadWhenMaxDetail();
    } else if (key == "READ-WHICH-CPU") {
        status = msgReadWhere();
    } else if (key == "WRITE-WHEN") {
        status = msgWriteWhen();
    } else if (key == "WRITE-WHEN-MAX-DETAIL") {
        status = msgWriteWhenMaxDetail();
    } else if (key == "WRITE-WHICH-CPU") {
        status = msgWriteWhere();
    } else {
        status = msgSource();
    }
    return status == 0 ? 0 : fail_i(__func__);
}

int VexaConfigFileParser::msgGroup() {
    return msgGroupList() == 0 ? 0 : fail_i(__func__);
}

int VexaConfigFileParser::msgGroupList() {
    InputMsg& msg = *m_msg->msg;
    for (const std::string& item : splitList_i(token_i(5))) {
        if (name(item) != 0) {
            return fail_i(__func__);
        }
        if (item == msg.getName() || item == msg.getFullName()) {
            pwLog(PW_DEBUG, "DEBUG: told to add a group %s to itself?!\n", item.c_str());
            continue;
        }
        MsgEntry* member = findMessage_i(*m_platform, m_prefix, item);
        if (member == nullptr || member->msg->getConfigfilePrefix() != m_prefix) {
            pwLog(PW_WARNING, "WARNING: couldn't append message %s to message %s!\n", item.c_str(),
                  msg.getFullName().c_str());
            return fail_i(__func__);
        }
        const std::string& memberTag = member->msg->getName();
        bool listed = false;
        for (const std::string& present : m_msg->group) {
            listed = listed || present == memberTag;
        }
        if (!listed) {
            m_msg->group.push_back(memberTag);
        }
        member->grouped = true;
        m_msg->grouped = true;
    }
    return 0;
}

int VexaConfigFileParser::name(const std::string& text) {
    // "<tag>" or "<prefix>_<tag>". Neither part can hold "_", which no token
    // of a line holds.
    const size_t cut = text.find('_');
    const std::string tagPart = cut == std::string::npos ? text : text.substr(cut + 1);
    const bool valid = (cut == std::string::npos || isName_i(text.substr(0, cut))) &&
                       isTagName_i(tagPart) && tagPart.find('_') == std::string::npos;
    return valid ? 0 : fail_i(__func__);
}

int VexaConfigFileParser::msgID() {
    return msgIDValue() == 0 ? 0 : fail_i(__func__);
}

int VexaConfigFileParser::msgIDValue() {
    uint64_t id = 0;
    if (!parseConfigNumber(token_i(5), id) || id > static_cast<uint64_t>(INT_MAX)) {
        return fail_i(__func__);
    }
    m_msg->msg->setMsgID(static_cast<int>(id));
    return 0;
}

int VexaConfigFileParser::msgReadWhen() {
    return triggers(VexaOpCommand::READ, false) == 0 ? 0 : fail_i(__func__);
}

int VexaConfigFileParser::msgReadWhenMaxDetail() {
    return triggers(VexaOpCommand::READ, true) == 0 ? 0 : fail_i(__func__);
}

int VexaConfigFileParser::msgReadWhere() {
    if (!isCpu_i(token_i(5))) {
        return fail_i(__func__);
    }
    m_msg->msg->setCPUString(token_i(5));
    return 0;
}

int VexaConfigFileParser::msgWriteWhen() {
    return triggers(VexaOpCommand::WRITE, false) == 0 ? 0 : fail_i(__func__);
}

int VexaConfigFileParser::msgWriteWhenMaxDetail() {
    return triggers(VexaOpCommand::WRITE, true) == 0 ? 0 : fail_i(__func__);
}

int VexaConfigFileParser::msgWriteWhere() {
    if (!isCpu_i(token_i(5))) {
        return fail_i(__func__);
    }
    m_msg->msg->setCPUString(token_i(5));
    return 0;
}

int VexaConfigFileParser::msgSource() {
    return token_i(4) == "SOURCE" && msgSourceRule() == 0 ? 0 : fail_i(__func__);
}

int VexaConfigFileParser::msgSourceRule() {
    const std::string& source = token_i(5);
    InputMsg& target = *m_msg->msg;
    if (name(source) != 0) {
        return fail_i(__func__);
    }
    const MsgEntry* from = nullptr;
    for (const Platform* level = m_platform; level != nullptr && from == nullptr;
         level = level->parent.empty() ? nullptr : findPlatform_i(level->parent)) {
        from = findMessage_i(*level, m_prefix, source);
    }
    if (from == m_msg) {
        pwLog(PW_WARNING, "WARNING: CANNOT self-source for message %s!\n",
              target.getFullName().c_str());
        return fail_i(__func__);
    }
    if (from == nullptr) {
        pwLog(PW_WARNING, "WARNING: CANNOT source from non-existant msg %s!\n", source.c_str());
        return fail_i(__func__);
    }
    const InputMsg& origin = *from->msg;
    if (target.getOperationCount() != 0) {
        pwLog(PW_WARNING, "WARNING: CANNOT source to non-empty message %s!\n",
              target.getFullName().c_str());
        return fail_i(__func__);
    }
    if (from->grouped) {
        pwLog(PW_WARNING, "WARNING: message %s cannot be sourced since it is part of a group!\n",
              origin.getFullName().c_str());
        return fail_i(__func__);
    }
    if (origin.getOperationCount() == 0) {
        pwLog(PW_WARNING,
              "WARNING: message %s cannot be sourced since it doesn't contain any supported "
              "operations!\n",
              origin.getFullName().c_str());
        return fail_i(__func__);
    }
    for (const Operation* op : origin.getOperations()) {
        std::unique_ptr<Operation> copy(op->clone());
        if (target.addOperation(copy.get()) != 0) {
            return fail_i(__func__);
        }
        copy.release();
    }
    return 0;
}

int VexaConfigFileParser::triggers(VexaOpCommand command, bool maxDetail) {
    for (const std::string& item : splitList_i(token_i(5))) {
        if (trigger(command, maxDetail, item) != 0) {
            return fail_i(__func__);
        }
    }
    return 0;
}

int VexaConfigFileParser::trigger(VexaOpCommand command, bool maxDetail, const std::string& text) {
    std::string rest;
    int status = -1;
    if (startsWith_i(text, "NOTIFIER:", rest)) {
        status = notifierTrigger(command, maxDetail, rest);
    } else if (startsWith_i(text, "TRACEPOINT:", rest)) {
        status = traceTrigger(command, maxDetail, rest);
    } else if (text == "INIT" || text == "BEGIN" || text == "POLL" || text == "END" ||
               text == "FINI" || text == "REQUIREMENTS") {
        status = m_msg->msg->addTrigger(command, text, maxDetail);
    }
    return status == 0 ? 0 : fail_i(__func__);
}

int VexaConfigFileParser::notifierTrigger(VexaOpCommand command, bool maxDetail,
                                          const std::string& text) {
    InputMsg& msg = *m_msg->msg;
    if (!isWord_i(text) || msg.addTrigger(command, "NOTIFIER", maxDetail) != 0) {
        return fail_i(__func__);
    }
    msg.addNotifierName(text, maxDetail);
    pwLog(PW_INFO, "INFO: OK, adding notifier name = %s to msg %s\n", text.c_str(),
          msg.getFullName().c_str());
    return 0;
}

int VexaConfigFileParser::traceTrigger(VexaOpCommand command, bool maxDetail,
                                       const std::string& text) {
    InputMsg& msg = *m_msg->msg;
    if (!isWord_i(text) || msg.addTrigger(command, "TRACEPOINT", maxDetail) != 0) {
        return fail_i(__func__);
    }
    msg.addTracepointName(text, maxDetail);
    pwLog(PW_INFO, "INFO: OK, adding tracepoint name = %s to msg %s\n", text.c_str(),
          msg.getFullName().c_str());
    return 0;
}

// ---------------------------------------------------------------------------
// Constant and hardware-mechanism rules

int VexaConfigFileParser::constantSub() {
    return constantAny() == 0 && constantAnyValue() == 0 ? 0 : fail_i(__func__);
}

int VexaConfigFileParser::constantAny() {
    if (!isWord_i(token_i(4))) {
        return fail_i(__func__);
    }
    m_op = findOperation_i(*m_msg->msg, CONSTANTOperation::kind());
    if (m_op == nullptr && addOperationFor_i(CONSTANTOperation::kind(), m_op) != 0) {
        return fail_i(__func__);
    }
    return 0;
}

int VexaConfigFileParser::constantAnyValue() {
    const std::string& key = token_i(4);
    const std::string& text = token_i(5);
    if (text.empty()) {
        pwLog(PW_ERROR, "ERROR creating packet with key = %s\n", key.c_str());
        return fail_i(__func__);
    }
    if (m_op->createPacket().set(key, text) != 0) {
        std::fprintf(stderr, "Couldn't add key %s, value %s\n", key.c_str(), text.c_str());
        std::fflush(stderr);
        return fail_i(__func__);
    }
    return 0;
}

int VexaConfigFileParser::hwMechRule() {
    const std::string& kind = token_i(3);
    if (m_registry.findPrototype(kind) == nullptr) {
        pwLog(PW_ERROR, "ERROR: unknown collector type %s\n", kind.c_str());
        return fail_i(__func__);
    }
    m_op = findOperation_i(*m_msg->msg, kind);
    if (m_op == nullptr && addOperationFor_i(kind, m_op) != 0) {
        return fail_i(__func__);
    }
    return hwCatRule() == 0 ? 0 : fail_i(__func__);
}

int VexaConfigFileParser::hwCatRule() {
    const std::string& category = token_i(4);
    if (category.empty() || !m_op->acceptsCategory(category)) {
        pwLog(PW_ERROR, "ERROR: unknown hardware category %s for operation %s\n", category.c_str(),
              m_op->getOperation().c_str());
        return fail_i(__func__);
    }
    return directValue() == 0 ? 0 : fail_i(__func__);
}

int VexaConfigFileParser::directValue() {
    const std::string& category = token_i(4);
    const std::string& text = token_i(5);
    if (text.empty()) {
        return fail_i(__func__);
    }
    if (category == "MASK" && !isMaskValid(text)) {
        pwLog(PW_ERROR, "ERROR: Invalid MASK entry. %s is invalid. Format expected as MSB:LSB\n",
              text.c_str());
        return fail_i(__func__);
    }
    QFormat format;
    if (category == "DATA-FORMAT" && !retrieveQFormat(text, format)) {
        return fail_i(__func__);
    }
    return value() == 0 ? 0 : fail_i(__func__);
}

int VexaConfigFileParser::value() {
    const std::string& key = token_i(4);
    const std::string& text = token_i(5);
    if (m_op->createPacket().set(key, text) != 0) {
        pwLog(PW_WARNING, "WARNING: Couldn't add key %s, value %s to operation %s\n", key.c_str(),
              text.c_str(), m_op->getName().c_str());
        return fail_i(__func__);
    }
    return 0;
}

// ---------------------------------------------------------------------------
// Queries

int VexaConfigFileParser::getPlatformList_i(const std::string& text,
                                            std::vector<const Platform*>& out, bool log) const {
    std::vector<const Platform*> found;
    bool valid = true;
    const bool list = text.find_first_of(",=") != std::string::npos;
    for (const std::string& entry : list ? splitList_i(text) : std::vector<std::string>{text}) {
        std::string platformName = entry;
        if (list) {
            const size_t equals = entry.find('=');
            if (equals == std::string::npos || equals == 0 || equals + 1 == entry.size()) {
                if (log) {
                    pwLog(PW_WARNING,
                          "WARNING: invalid platform name entry %s: MUST be of form "
                          "<TYPE>=<NAME>!\n",
                          entry.c_str());
                }
                valid = false;
                continue;
            }
            platformName = entry.substr(equals + 1);
        }
        const Platform* platform = findPlatform_i(platformName);
        if (platform == nullptr) {
            if (log) {
                pwLog(PW_ERROR, "ERROR: no platform \"%s\" defined in config file!\n",
                      platformName.c_str());
            }
            valid = false;
            continue;
        }
        bool present = false;
        for (const Platform* p : found) {
            present = present || p == platform;
        }
        if (!present) {
            found.push_back(platform);
        }
    }
    if (!valid || found.empty()) {
        if (log) {
            pwLog(PW_ERROR,
                  "ERROR: couldn't retrieve valid list of platforms from platform name string = "
                  "%s\n",
                  text.c_str());
        }
        return -1;
    }
    out.swap(found);
    return 0;
}

bool VexaConfigFileParser::collectMessages_i(const Platform* platform, const std::string& prefix,
                                             std::vector<InputMsg*>& out, bool log) const {
    // The levels that take part, the platform first.
    std::vector<const Platform*> levels;
    bool given = false;
    for (const Platform* level = platform; level != nullptr;
         level = level->parent.empty() ? nullptr : findPlatform_i(level->parent)) {
        levels.push_back(level);
        auto entry = level->prefixes.find(prefix);
        if (entry == level->prefixes.end()) {
            continue;
        }
        given = true;
        if (entry->second.inherit == "OVERRIDE") {
            if (log) {
                pwLog(PW_INFO, "INFO: OVERRIDE found for prefix %s\n", prefix.c_str());
            }
            break;
        }
    }
    // The nearest level keeps a name; emit the root's messages first.
    std::map<std::string, const Platform*> owners;
    std::vector<std::vector<InputMsg*>> chosen(levels.size());
    for (size_t i = 0; i < levels.size(); ++i) {
        auto entry = levels[i]->prefixes.find(prefix);
        if (entry == levels[i]->prefixes.end()) {
            continue;
        }
        for (const auto& msg : entry->second.messages) {
            const std::string& fullName = msg->msg->getFullName();
            auto owner = owners.find(fullName);
            if (owner == owners.end()) {
                owners.emplace(fullName, levels[i]);
                chosen[i].push_back(msg->msg.get());
            } else if (log) {
                pwLog(PW_WARNING, "WARNING: Parent message (%s) clashes with child message (%s)\n",
                      (levels[i]->name + "_" + fullName).c_str(),
                      (owner->second->name + "_" + fullName).c_str());
            }
        }
    }
    for (size_t i = levels.size(); i-- > 0;) {
        out.insert(out.end(), chosen[i].begin(), chosen[i].end());
    }
    return given;
}

int VexaConfigFileParser::getPlatformName(
    std::string& name, const std::pair<std::string, std::string>& specifier) const {
    const std::string& type = specifier.first;
    const std::string& wanted = specifier.second;
    const Platform* partial = nullptr;
    for (const Platform* platform : m_platformOrder) {
        for (const auto& specifier : platform->specifiers) {
            if (specifier->getType() != type) {
                continue;
            }
            const std::string text = specifier->toString();
            pwLog(PW_INFO, "INFO: getPlatformName_i::type:%s, valueOrRange:%s\n", type.c_str(),
                  text.c_str());
            const SpecifierMatch match = specifier->is_match(wanted);
            if (match == SpecifierMatch::EXACT) {
                pwLog(PW_INFO, "INFO: Found exact match for specifier: %s\n", wanted.c_str());
                name = platform->name;
                return 0;
            }
            if (match == SpecifierMatch::PARTIAL && partial == nullptr) {
                pwLog(PW_INFO,
                      "INFO: Found partial match for specifier: %s in Platform specifier %s\n",
                      wanted.c_str(), text.c_str());
                partial = platform;
            }
        }
    }
    if (partial == nullptr) {
        return -1;
    }
    name = partial->name;
    return 0;
}

bool VexaConfigFileParser::isPlatformPrefixSupported(const std::string& platform,
                                                     const std::string& prefix) const {
    std::vector<const Platform*> platforms;
    if (getPlatformList_i(platform, platforms, false) != 0) {
        return false;
    }
    for (const Platform* p : platforms) {
        std::vector<InputMsg*> msgs;
        collectMessages_i(p, prefix, msgs, false);
        if (!msgs.empty()) {
            return true;
        }
    }
    return false;
}

int VexaConfigFileParser::getMessagesFor(std::vector<InputMsg*>& out, const std::string& platform,
                                         const std::string& prefix,
                                         const std::vector<std::string>& names) const {
    std::vector<const Platform*> platforms;
    if (getPlatformList_i(platform, platforms, true) != 0) {
        return -1;
    }
    std::vector<InputMsg*> found;
    std::map<std::string, const InputMsg*> byFullName;
    for (const Platform* p : platforms) {
        std::vector<InputMsg*> msgs;
        if (!collectMessages_i(p, prefix, msgs, true)) {
            pwLog(PW_ERROR,
                  "ERROR: combination of name %s prefix %s was NOT specified in config file!\n",
                  p->name.c_str(), prefix.c_str());
            return -1;
        }
        for (InputMsg* msg : msgs) {
            auto known = byFullName.find(msg->getFullName());
            // Platforms of one list share their ancestors' messages.
            if (known != byFullName.end() && known->second == msg) {
                continue;
            }
            if (known != byFullName.end()) {
                pwLog(PW_ERROR, "ERROR: Duplicate messages found\n");
                return -1;
            }
            byFullName.emplace(msg->getFullName(), msg);
            bool wanted = names.empty();
            for (const std::string& n : names) {
                wanted = wanted || n == msg->getName() || n == msg->getFullName();
            }
            if (wanted) {
                found.push_back(msg);
            }
        }
    }
    out.insert(out.end(), found.begin(), found.end());
    return 0;
}

int VexaConfigFileParser::getCapabilitiesFor(std::vector<const ConfigCap*>& out,
                                             const std::string& platform) const {
    std::vector<const Platform*> platforms;
    if (getPlatformList_i(platform, platforms, true) != 0) {
        return -1;
    }
    std::map<std::string, const ConfigCap*> byPrefix;
    for (const Platform* p : platforms) {
        std::set<std::string> prefixes;
        for (const Platform* level = p; level != nullptr;
             level = level->parent.empty() ? nullptr : findPlatform_i(level->parent)) {
            for (const auto& entry : level->prefixes) {
                if (entry.second.cap) {
                    prefixes.insert(entry.first);
                }
            }
        }
        for (const std::string& prefix : prefixes) {
            if (byPrefix.count(prefix) != 0) {
                continue;
            }
            std::vector<InputMsg*> msgs;
            collectMessages_i(p, prefix, msgs, false);
            if (!msgs.empty()) {
                byPrefix.emplace(prefix, findCap_i(p, prefix));
            }
        }
    }
    for (const auto& entry : byPrefix) {
        out.push_back(entry.second);
    }
    return 0;
}

}  // namespace pwr
