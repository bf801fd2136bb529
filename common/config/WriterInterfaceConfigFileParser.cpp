#include "common/config/WriterInterfaceConfigFileParser.h"

#include <cstdio>
#include <utility>

#include "common/config/ConfigLineReader.h"
#include "common/runtime/Log.h"
#include "common/serialize/SystemMetadata.h"

namespace pwr {

namespace {

// Debug logging for this parser is switched on with this tag.
const char* const c_logTag = "outputconfig";

const char* const c_allPlatforms = "ALL";
const char* const c_outputOrder = "OUTPUT-ORDER";

const char* const c_tableKeys[] = {"TABLE",           "TITLE",  "TRANSPOSE",  "PRE-TABLE-TEXT",
                                   "POST-TABLE-TEXT", "STATES", "ATTRIBUTES", "SUPPRESS-TOTAL"};

bool isLetter(char c) {
    return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z');
}

bool isDigit(char c) {
    return c >= '0' && c <= '9';
}

bool isBlank(char c) {
    return c == ' ' || c == '\t';
}

// A feature, container or table-type name: not empty, no "=" (which would
// mean the line was cut in the wrong place) and no blanks at its ends (which
// would never match the name a program asks for). Blanks inside are fine:
// "Temperature Metrics" is a container.
bool isName(const std::string& name) {
    return !name.empty() && name.find('=') == std::string::npos && !isBlank(name.front()) &&
           !isBlank(name.back());
}

bool isTableKey(const std::string& key) {
    for (const char* known : c_tableKeys) {
        if (key == known) {
            return true;
        }
    }
    return false;
}

// Splits a comma-separated list into its names, trimmed of blanks; empty
// items are skipped. False when the list holds no name or a bad one.
bool splitOrderList(const std::string& value, std::vector<std::string>& names) {
    names.clear();
    size_t start = 0;
    while (start <= value.size()) {
        size_t comma = value.find(',', start);
        if (comma == std::string::npos) {
            comma = value.size();
        }
        size_t first = start;
        size_t last = comma;
        while (first < last && isBlank(value[first])) {
            ++first;
        }
        while (last > first && isBlank(value[last - 1])) {
            --last;
        }
        if (last > first) {
            names.emplace_back(value, first, last - first);
            if (!isName(names.back())) {
                return false;
            }
        }
        start = comma + 1;
    }
    return !names.empty();
}

std::string joinNames(const std::vector<std::string>& names) {
    std::string out;
    for (const auto& name : names) {
        out += name;
        out += ", ";
    }
    return out;
}

}  // namespace

WriterInterfaceConfigFileParser* WriterInterfaceConfigFileParser::s_instance = nullptr;

void WriterInterfaceConfigFileParser::OrderList::add(const std::string& name) {
    if (seen.insert(name).second) {
        names.push_back(name);
    }
}

WriterInterfaceConfigFileParser::WriterInterfaceConfigFileParser() : m_lineApplies(false) {}

WriterInterfaceConfigFileParser::~WriterInterfaceConfigFileParser() = default;

bool WriterInterfaceConfigFileParser::exists() {
    return s_instance != nullptr;
}

WriterInterfaceConfigFileParser* WriterInterfaceConfigFileParser::instance() {
    if (s_instance == nullptr) {
        s_instance = new WriterInterfaceConfigFileParser();
    }
    return s_instance;
}

void WriterInterfaceConfigFileParser::destroy() {
    if (s_instance != nullptr) {
        s_instance->destroy_i();
        delete s_instance;
        s_instance = nullptr;
    }
}

void WriterInterfaceConfigFileParser::destroy_i() {
    m_state = State();
    m_tokens.clear();
    m_prefix.clear();
    m_platformName.clear();
}

int WriterInterfaceConfigFileParser::parse(const std::vector<std::string>& paths,
                                           const SystemMetadata& sys) {
    destroy_i();
    m_platformName = sys.platformName;
    bool ok = true;
    for (const auto& path : paths) {
        if (parseFile_i(path) != 0) {
            ok = false;
        }
    }
    m_tokens.clear();
    if (!ok) {
        pwLog(PW_FATAL,
              "config file parser sanity checks did NOT pass -- config files are invalid!\n");
        return -1;
    }
    checkConsistency_i();
    dump_i();
    return 0;
}

int WriterInterfaceConfigFileParser::parseFile_i(const std::string& path) {
    pwLogTagged(c_logTag, PW_INFO, "INFO: Path is: %s\n", path.c_str());
    std::vector<ConfigLine> lines;
    if (readConfigLines(path, lines) != 0) {
        std::fprintf(stderr, "Error opening config file %s\n", path.c_str());
        std::fflush(stderr);
        return -1;
    }
    // A file counts whole or not at all, so keep what the earlier files set.
    State before = m_state;
    for (const auto& line : lines) {
        if (!parseLine_i(line)) {
            m_state = std::move(before);
            std::fprintf(stderr, "%s\n", configLineErrorText(path, line).c_str());
            std::fprintf(stderr, "ERROR parsing config file %s\n", path.c_str());
            std::fflush(stderr);
            return -1;
        }
    }
    return 0;
}

bool WriterInterfaceConfigFileParser::parseLine_i(const ConfigLine& line) {
    if (!tokenizeConfigLine(line.text, m_tokens)) {
        return false;
    }
    m_lineApplies = false;
    m_prefix.clear();
    return callRule_i(&WriterInterfaceConfigFileParser::platformRule, "platformRule");
}

bool WriterInterfaceConfigFileParser::callRule_i(bool (WriterInterfaceConfigFileParser::*rule)(),
                                                 const char* name) {
    if ((this->*rule)()) {
        return true;
    }
    pwLog(PW_WARNING, "WARNING: ERROR calling function \"%s\"\n", name);
    return false;
}

// HEAD_...: which platform the line is for, then what the line sets.
bool WriterInterfaceConfigFileParser::platformRule() {
    if (!callRule_i(&WriterInterfaceConfigFileParser::platformSub, "platformSub")) {
        return false;
    }
    if (m_tokens[1] == c_outputOrder) {
        return callRule_i(&WriterInterfaceConfigFileParser::featureOrderRule, "featureOrderRule");
    }
    return callRule_i(&WriterInterfaceConfigFileParser::prefixRule, "prefixRule") &&
           callRule_i(&WriterInterfaceConfigFileParser::metricRule, "metricRule");
}

// A platform name is a letter followed by letters, digits and "-".
bool WriterInterfaceConfigFileParser::platformSub() {
    if (!callRule_i(&WriterInterfaceConfigFileParser::platformHead, "platformHead") ||
        !callRule_i(&WriterInterfaceConfigFileParser::platformTail, "platformTail")) {
        return false;
    }
    const std::string& head = m_tokens[0];
    if (head == c_allPlatforms) {
        m_lineApplies = true;
    } else {
        // "ADL" is meant for every "ADL-..." platform, but not for "ADLX".
        const std::string& current = m_platformName;
        m_lineApplies = current.compare(0, head.size(), head) == 0 &&
                        (current.size() == head.size() ||
                         (!isLetter(current[head.size()]) && !isDigit(current[head.size()])));
    }
    return true;
}

bool WriterInterfaceConfigFileParser::platformHead() {
    return !m_tokens[0].empty() && isLetter(m_tokens[0][0]);
}

bool WriterInterfaceConfigFileParser::platformTail() {
    const std::string& head = m_tokens[0];
    for (size_t i = 1; i < head.size(); ++i) {
        if (!isLetter(head[i]) && !isDigit(head[i]) && head[i] != '-') {
            return false;
        }
    }
    return true;
}

// HEAD_OUTPUT-ORDER_TAG_FEATURE_ORDER=feature,...
bool WriterInterfaceConfigFileParser::featureOrderRule() {
    if (m_tokens[2] != "TAG" || m_tokens[3] != "FEATURE" || m_tokens[4] != "ORDER") {
        return false;
    }
    return callRule_i(&WriterInterfaceConfigFileParser::featureOrderValue, "featureOrderValue");
}

bool WriterInterfaceConfigFileParser::featureOrderValue() {
    std::vector<std::string> names;
    if (!splitOrderList(m_tokens[5], names)) {
        return false;
    }
    if (m_lineApplies) {
        for (const auto& name : names) {
            m_state.featureOrder.add(name);
        }
    }
    return true;
}

bool WriterInterfaceConfigFileParser::prefixRule() {
    if (!isName(m_tokens[1])) {
        return false;
    }
    m_prefix = m_tokens[1];
    if (m_lineApplies) {
        pwLogTagged(c_logTag, PW_INFO, "INFO: Prefix %s, value %s\n", m_prefix.c_str(),
                    m_tokens[5].c_str());
    }
    return true;
}

bool WriterInterfaceConfigFileParser::metricRule() {
    if (m_tokens[2] == "TAG") {
        return callRule_i(&WriterInterfaceConfigFileParser::metricOrderRule, "metricOrderRule");
    }
    return callRule_i(&WriterInterfaceConfigFileParser::tagSub, "tagSub");
}

// HEAD_<feature>_TAG_TABLE_ORDER=container,...
bool WriterInterfaceConfigFileParser::metricOrderRule() {
    if (m_tokens[3] != "TABLE" || m_tokens[4] != "ORDER") {
        return false;
    }
    return callRule_i(&WriterInterfaceConfigFileParser::metricOrderValue, "metricOrderValue");
}

bool WriterInterfaceConfigFileParser::metricOrderValue() {
    std::vector<std::string> names;
    if (!splitOrderList(m_tokens[5], names)) {
        return false;
    }
    if (m_lineApplies) {
        pwLogTagged(c_logTag, PW_INFO, "INFO: Feature prefix %s, value %s\n", m_prefix.c_str(),
                    m_tokens[5].c_str());
        m_state.featurePrefixes.insert(m_prefix);
        OrderList& order = m_state.metricOrder[m_prefix];
        for (const auto& name : names) {
            order.add(name);
        }
    }
    return true;
}

// HEAD_<feature>_<container>_<table type>_<key>=value
bool WriterInterfaceConfigFileParser::tagSub() {
    const std::string& container = m_tokens[2];
    const std::string& tableType = m_tokens[3];
    const std::string& key = m_tokens[4];
    const std::string& value = m_tokens[5];
    if (!isName(container) || !isName(tableType) || !isTableKey(key)) {
        return false;
    }
    if (!m_lineApplies) {
        return true;
    }
    // Built in a member so that its buffer is reused from line to line.
    m_key.assign(m_prefix).append(1, '_').append(container);
    auto& tables = m_state.tables[m_key];
    auto found = tables.find(tableType);
    if (found == tables.end()) {
        found = tables.emplace(tableType, TableInfo()).first;
        m_state.tableOrder[m_key].push_back(tableType);
    }
    m_state.featurePrefixes.insert(m_prefix);
    m_state.featuresWithTables.insert(m_prefix);
    if (found->second.isKeySet(key)) {
        pwLog(PW_WARNING,
              "WARNING: Config table info (%s) entry already present for metric table %s for "
              "metric container %s\n",
              key.c_str(), tableType.c_str(), container.c_str());
        return true;
    }
    pwLogTagged(c_logTag, PW_INFO, "INFO: key %s, table-type %s, value %s\n", key.c_str(),
                tableType.c_str(), value.c_str());
    found->second.setKeyValuePair(key, value);
    return true;
}

// Ordering gaps are legal but usually an oversight: name them.
void WriterInterfaceConfigFileParser::checkConsistency_i() const {
    std::vector<std::string> withoutContainerOrder;
    for (const auto& feature : m_state.featureOrder.names) {
        if (m_state.metricOrder.count(feature) == 0) {
            withoutContainerOrder.push_back(feature);
        }
    }
    if (!withoutContainerOrder.empty()) {
        pwLog(PW_WARNING,
              "\nWARNING: Output Config: Ordering requested for the following features, but "
              "corresponding metric container ordering entries "
              "(ALL_<FEATURE-SWITCH-TAG>_TAG_TABLE_ORDER) missing:\n%s\n",
              joinNames(withoutContainerOrder).c_str());
    }
    std::vector<std::string> unordered;
    for (const auto& feature : m_state.featuresWithTables) {
        if (m_state.featureOrder.seen.count(feature) == 0) {
            unordered.push_back(feature);
        }
    }
    if (!unordered.empty()) {
        pwLog(PW_WARNING,
              "\nWARNING: Output Config: Metric container table entries present for the "
              "following feature, but feature ordering not explicitly requested. Missing feature "
              "switch tags in 'ALL_OUTPUT-ORDER_TAG_FEATURE_ORDER=<FEATURE-SWITCH-TAG>,...'. "
              "(This may be acceptable for metrics that don't need to be in specific order):\n"
              "%s\n",
              joinNames(unordered).c_str());
    }
}

void WriterInterfaceConfigFileParser::dump_i() const {
    if (!logContext().admits(PW_INFO, c_logTag)) {
        return;
    }
    pwLogTagged(c_logTag, PW_INFO, "INFO: Feature order:\n");
    for (const auto& feature : m_state.featureOrder.names) {
        pwLogTagged(c_logTag, PW_INFO, "INFO: \tcurr Feature: %s\n", feature.c_str());
    }
    pwLogTagged(c_logTag, PW_INFO, "INFO: Metric order per Feature:\n");
    for (const auto& feature : m_state.metricOrder) {
        pwLogTagged(c_logTag, PW_INFO, "INFO: curr Feature: %s\n", feature.first.c_str());
        for (const auto& metric : feature.second.names) {
            pwLogTagged(c_logTag, PW_INFO, "INFO: \tcurr Metric: %s\n", metric.c_str());
        }
    }
    for (const auto& key : m_state.tables) {
        pwLogTagged(c_logTag, PW_INFO, "INFO: curr Key: %s\n", key.first.c_str());
        for (const auto& table : key.second) {
            pwLogTagged(c_logTag, PW_INFO, "INFO: \tcurr Table: %s\n", table.first.c_str());
            for (const auto& entry : table.second) {
                pwLogTagged(c_logTag, PW_INFO, "INFO: \t\tcurr Table-Info: %s, value: %s\n",
                            entry.first.c_str(), entry.second.c_str());
            }
        }
    }
}

bool WriterInterfaceConfigFileParser::getTableInfoFor(TableInfo& out,
                                                      const std::string& featurePrefix,
                                                      const std::string& metricContainer,
                                                      const std::string& tableType) const {
    const auto tables = m_state.tables.find(featurePrefix + "_" + metricContainer);
    if (tables == m_state.tables.end()) {
        return false;
    }
    const auto found = tables->second.find(tableType);
    if (found == tables->second.end()) {
        return false;
    }
    out = found->second;
    return true;
}

bool WriterInterfaceConfigFileParser::getTableOrderForMetric(std::deque<std::string>& out,
                                                             const std::string& name) const {
    const auto found = m_state.tableOrder.find(name);
    if (found == m_state.tableOrder.end()) {
        return false;
    }
    out = found->second;
    return true;
}

bool WriterInterfaceConfigFileParser::getMetricOrderForFeature(
    std::vector<std::string>& out, const std::string& featureTag) const {
    const auto found = m_state.metricOrder.find(featureTag);
    if (found == m_state.metricOrder.end()) {
        return false;
    }
    out = found->second.names;
    return true;
}

bool WriterInterfaceConfigFileParser::getFeatureOrder(std::vector<std::string>& out) const {
    if (m_state.featureOrder.names.empty()) {
        return false;
    }
    out = m_state.featureOrder.names;
    return true;
}

bool WriterInterfaceConfigFileParser::getAllFeaturePrefixes(std::vector<std::string>& out) const {
    if (m_state.featurePrefixes.empty()) {
        return false;
    }
    out.assign(m_state.featurePrefixes.begin(), m_state.featurePrefixes.end());
    return true;
}

}  // namespace pwr
