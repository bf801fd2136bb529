#include "common/plugins/PluginEnvironment.h"

#include "common/data/EntityHandle.h"
#include "common/messages/WriterMessage.h"
#include "common/plugins/WriterStream.h"

#include <algorithm>
#include <atomic>
#include <iterator>

#include "common/plugins/CorvexApi.h"
#include "common/runtime/VexaClock.h"

namespace {

std::atomic<PluginEnvironment*> g_currentEnvironment{nullptr};

// Room for the library's error text; longer texts are cut.
constexpr unsigned int kCorvexErrorTextSize = 1024;

template <typename Fn>
Fn findCorvexEntryPoint(pwr::ModuleHandle module, const char* name) {
    return reinterpret_cast<Fn>(pwr::findModuleSymbol(module, name));
}

}  // namespace

PluginEnvironment::PluginEnvironment() {
    g_currentEnvironment.store(this, std::memory_order_release);
    pwr::setLogContext(this);
}

void PluginEnvironment::setWriterStream(void* stream) {
    auto* ws = static_cast<WriterStream*>(stream);
    m_writerStream = stream;
    pwr::setDefaultMessageSink(ws);
    pwr::DataHandleProvider::addStream(ws);
}

PluginEnvironment::~PluginEnvironment() {
    if (m_writerStream != nullptr) {
        setWriterStream(nullptr);
    }
    // Another environment made later stays current; the earlier one is not
    // brought back, since it may be gone already.
    PluginEnvironment* self = this;
    g_currentEnvironment.compare_exchange_strong(self, nullptr);
    if (&pwr::logContext() == this) {
        pwr::setLogContext(nullptr);
    }
    if (m_defaultClock != nullptr && pwr::defaultClockSource() == m_defaultClock) {
        pwr::setDefaultClockSource(nullptr);
    }
}

PluginEnvironment* PluginEnvironment::current() {
    return g_currentEnvironment.load(std::memory_order_acquire);
}

pwr::Logger* PluginEnvironment::getFileOutputHandle(const char* /*name*/) const {
    return m_fileOutputLogger;
}

void PluginEnvironment::queueMessage(const char* text) {
    if (text != nullptr) {
        m_queuedMessages.emplace_back(text);
    }
}

std::deque<std::string>& PluginEnvironment::getQueuedMessages() {
    return m_queuedMessages;
}

// --- Host context.

bool PluginEnvironment::setVantryDirectory() {
    std::string path;
    std::string error;
    if (!pwr::getExecutablePath(path, error)) {
        return setVantryDirectory_i(false, error);
    }
    return setVantryDirectory_i(true, path);
}

bool PluginEnvironment::setVantryDirectory_i(bool ok, const std::string& pathOrError) {
    if (!ok) {
        pwr::pwLog(PW_ERROR, "ERROR: Cannot get full pathname for vantry executable. Error: %s\n",
                   pathOrError.c_str());
        return false;
    }
    m_vantryDirectory = toolDirectoryFromExecutable(pathOrError, nativePathSeparator());
    return true;
}

std::string PluginEnvironment::toolDirectoryFromExecutable(const std::string& exePath,
                                                           char separator) {
    const size_t lastSeparator = exePath.rfind(separator);
    if (lastSeparator == std::string::npos) {
        return std::string();
    }
    std::string directory = exePath.substr(0, lastSeparator + 1);
    const std::string plugins = std::string(1, separator) + "plugins" + separator;
    const size_t subdirectory = directory.rfind(plugins);
    if (subdirectory != std::string::npos) {
        directory.erase(subdirectory + 1);
    }
    return directory;
}

char PluginEnvironment::nativePathSeparator() {
#if defined(_WIN32)
    return '\\';
#else
    return '/';
#endif
}

void PluginEnvironment::setCsTraceEnable(bool registered) {
    m_featureBits =
        registered ? (m_featureBits | kCsTraceRegistered) : (m_featureBits & ~kCsTraceRegistered);
}

void PluginEnvironment::setCsFeatureEnabled(bool enabled) {
    m_featureBits =
        enabled ? (m_featureBits | kCsFeatureEnabled) : (m_featureBits & ~kCsFeatureEnabled);
}

// --- Default clock.

void PluginEnvironment::setDefaultClock(pwr::VexaClockSource* clock) {
    m_defaultClock = clock;
    pwr::setDefaultClockSource(clock);
}

void PluginEnvironment::setDefaultClockToTSCRatio(float clockMHz, float tscMHz) {
    m_defaultClockMHz = clockMHz;
    m_defaultClockToTSCRatio = clockMHz / tscMHz;
}

float PluginEnvironment::getSecFromTimestamp(uint64_t ts) const {
    // Kept in float on purpose: each step rounds to single precision.
    const float ticks = static_cast<float>(ts);
    const float microseconds = ticks / m_defaultClockMHz;
    return microseconds / 1e6f;
}

// --- System power-state events.

void PluginEnvironment::addSystemStateEvent(uint64_t ts, uint32_t state) {
    m_systemStates[ts] = state;
}

void PluginEnvironment::removeLastSystemStateEvent() {
    if (!m_systemStates.empty()) {
        m_systemStates.erase(std::prev(m_systemStates.end()));
    }
}

uint32_t PluginEnvironment::getCurrentSystemState(uint64_t ts) const {
    auto after = m_systemStates.lower_bound(ts);
    if (after == m_systemStates.begin()) {
        return kInitialSystemState;
    }
    return std::prev(after)->second;
}

// --- Reset detection.

bool PluginEnvironment::checkPendingSystemStateEvent(uint64_t since, uint64_t until,
                                                     uint64_t& eventTs) const {
    if (until <= since) {
        return false;
    }
    auto last = m_systemStates.lower_bound(until);
    if (last == m_systemStates.begin()) {
        return false;
    }
    --last;
    if (last->first <= since) {
        return false;
    }
    eventTs = last->first;
    return true;
}

bool PluginEnvironment::checkAndRecordReset(pwr::id_config_t key, uint64_t ts) {
    auto sighting = m_lastSighting.find(key);
    if (sighting == m_lastSighting.end()) {
        m_lastSighting.emplace(key, ts);
        return false;
    }
    const uint64_t previous = sighting->second;
    // The latest sighting is kept, so a late report of an earlier reading
    // cannot reopen an interval already checked.
    sighting->second = std::max(previous, ts);
    uint64_t eventTs = 0;
    if (!checkPendingSystemStateEvent(previous, ts, eventTs)) {
        return false;
    }
    ResetRecord record;
    record.state = getCurrentSystemState(ts);
    record.sightedAt = ts;
    if (m_resets[key].emplace(eventTs, record).second) {
        ++m_resetCount;
    }
    return true;
}

uint32_t PluginEnvironment::isSystemReset(uint8_t id, uint8_t config, uint8_t instance,
                                          uint64_t ts) const {
    pwr::id_config_t key;
    key.id = id;
    key.config = config;
    key.instance = instance;
    auto resets = m_resets.find(key);
    if (resets == m_resets.end()) {
        return 0;
    }
    auto reset = resets->second.lower_bound(ts);
    return reset != resets->second.end() ? reset->second.state : 0;
}

std::pair<uint64_t, uint64_t> PluginEnvironment::getLastResetEvent(uint64_t ts) const {
    std::pair<uint64_t, uint64_t> last(0, 0);
    bool found = false;
    for (const auto& source : m_resets) {
        auto after = source.second.upper_bound(ts);
        if (after == source.second.begin()) {
            continue;
        }
        --after;
        if (!found || after->first > last.first) {
            last = std::make_pair(after->first, static_cast<uint64_t>(after->second.state));
            found = true;
        }
    }
    return last;
}

// --- PMT endpoint registry.

bool PluginEnvironment::addLoadedPMT(pwr::_vexa_aggregator_info info) {
    return m_loadedPMT.emplace(info.endpoint, info).second;
}

const pwr::_vexa_aggregator_info* PluginEnvironment::getLoadedPMTEndpoint(uint16_t endpoint) const {
    auto found = m_loadedPMT.find(endpoint);
    return found != m_loadedPMT.end() ? &found->second : nullptr;
}

std::vector<pwr::_vexa_aggregator_info> PluginEnvironment::getLoadedPMTEndpoints(
    const std::string& name) const {
    std::vector<pwr::_vexa_aggregator_info> endpoints;
    for (const auto& entry : m_loadedPMT) {
        if (entry.second.name == name) {
            endpoints.push_back(entry.second);
        }
    }
    return endpoints;
}

std::vector<pwr::_vexa_aggregator_info> PluginEnvironment::getLoadedPMTEndpoints(
    uint32_t guid) const {
    std::vector<pwr::_vexa_aggregator_info> endpoints;
    for (const auto& entry : m_loadedPMT) {
        if (entry.second.guid == guid) {
            endpoints.push_back(entry.second);
        }
    }
    return endpoints;
}

size_t PluginEnvironment::getLoadedPMTNumberEndpoints(const std::string& name) const {
    return static_cast<size_t>(
        std::count_if(m_loadedPMT.begin(), m_loadedPMT.end(),
                      [&name](const auto& entry) { return entry.second.name == name; }));
}

size_t PluginEnvironment::getLoadedPMTNumberEndpoints(uint32_t guid) const {
    return static_cast<size_t>(
        std::count_if(m_loadedPMT.begin(), m_loadedPMT.end(),
                      [guid](const auto& entry) { return entry.second.guid == guid; }));
}

uint32_t PluginEnvironment::getLoadedPMTCollectionType(uint32_t guid) const {
    for (const auto& entry : m_loadedPMT) {
        if (entry.second.guid == guid) {
            return entry.second.collectionType;
        }
    }
    return kNoPMTCollectionType;
}

std::vector<uint32_t> PluginEnvironment::getLoadedPMTGUIDs() const {
    std::set<uint32_t> guids;
    for (const auto& entry : m_loadedPMT) {
        guids.insert(entry.second.guid);
    }
    return std::vector<uint32_t>(guids.begin(), guids.end());
}

void PluginEnvironment::addPMTPlatformGUID(const std::string& name, uint32_t guid) {
    std::vector<uint32_t>& guids = m_pmtPlatformGUIDs[name];
    if (std::find(guids.begin(), guids.end(), guid) == guids.end()) {
        guids.push_back(guid);
    }
}

uint32_t PluginEnvironment::getPMTPlatformGUID(const std::string& name, uint32_t index) const {
    auto platform = m_pmtPlatformGUIDs.find(name);
    if (platform == m_pmtPlatformGUIDs.end() || index >= platform->second.size()) {
        return 0;
    }
    return platform->second[index];
}

std::string PluginEnvironment::getPMTPlatformName(uint32_t guid) const {
    for (const auto& platform : m_pmtPlatformGUIDs) {
        const std::vector<uint32_t>& guids = platform.second;
        if (std::find(guids.begin(), guids.end(), guid) != guids.end()) {
            return platform.first;
        }
    }
    return std::string();
}

void PluginEnvironment::setPMTXMLParser(uint32_t guid, pwr::XMLParser* parser) {
    if (parser == nullptr) {
        m_pmtXMLParsers.erase(guid);
    } else {
        m_pmtXMLParsers[guid] = parser;
    }
}

pwr::XMLParser* PluginEnvironment::getPMTXMLParser(uint32_t guid) const {
    auto found = m_pmtXMLParsers.find(guid);
    return found != m_pmtXMLParsers.end() ? found->second : nullptr;
}

// --- Corvex driver library.

bool PluginEnvironment::configureCorvex() {
    if (m_corvexModule == nullptr || m_corvexConfigFileName.empty()) {
        return false;
    }
    auto configure =
        findCorvexEntryPoint<CORVEX_Config_Event_fn>(m_corvexModule, CORVEX_CONFIG_EVENT_NAME);
    if (configure == nullptr) {
        return false;
    }
    if (configure(m_corvexConfigFileName.c_str()) == 0) {
        pwr::pwLog(PW_DEBUG, "DEBUG: Reconfigured CORVEX interface (%s)!\n",
                   m_corvexConfigFileName.c_str());
        return true;
    }
    pwr::pwLog(PW_ERROR, "ERROR: System not configured to allow access to bandwidth data.\n");
    auto getErrorMessage = findCorvexEntryPoint<CORVEX_Get_Error_Message_fn>(
        m_corvexModule, CORVEX_GET_ERROR_MESSAGE_NAME);
    // Without the entry point there is no reason to report beyond the error.
    if (getErrorMessage != nullptr) {
        char text[kCorvexErrorTextSize] = {};
        // The text is shown even when the call fails: it is all there is.
        getErrorMessage(text, kCorvexErrorTextSize);
        text[kCorvexErrorTextSize - 1] = '\0';
        pwr::pwLogTagged("corvex", PW_WARNING, "WARNING: CORVEX configuration error: %s.\n", text);
    }
    m_corvexConfigFileName.clear();
    return false;
}

bool PluginEnvironment::getCorvexVersion(unsigned int* major, unsigned int* minor,
                                         unsigned int* patch) {
    if (m_corvexModule == nullptr || m_corvexConfigFileName.empty() || major == nullptr ||
        minor == nullptr || patch == nullptr) {
        return false;
    }
    auto getVersion =
        findCorvexEntryPoint<CORVEX_Get_Version_fn>(m_corvexModule, CORVEX_GET_VERSION_NAME);
    return getVersion != nullptr && getVersion(major, minor, patch) == 0;
}

bool PluginEnvironment::startCorvex() {
    return runCorvexCollection_i(CORVEX_START_COLLECTION_NAME,
                                 "WARNING: Error due to NULL corvexDllHandle or invalid address "
                                 "for CORVEX_Start_Collection function !\n !\n",
                                 "INFO: OK, starting CORVEX collection!\n",
                                 "WARNING: ERROR starting a CORVEX collection!\n");
}

bool PluginEnvironment::stopCorvex() {
    return runCorvexCollection_i(CORVEX_STOP_COLLECTION_NAME,
                                 "WARNING: Error due to NULL corvexDllHandle or invalid address "
                                 "for CORVEX_Stop_Collection function !\n",
                                 "INFO: OK, stopped CORVEX collection!\n",
                                 "WARNING: ERROR stopping a CORVEX collection!\n");
}

bool PluginEnvironment::runCorvexCollection_i(const char* entryPoint, const char* missingText,
                                              const char* okText, const char* failedText) {
    if (m_corvexConfigFileName.empty()) {
        return false;
    }
    // Start and stop take no arguments, so one type serves both.
    auto run = findCorvexEntryPoint<CORVEX_Start_Collection_fn>(m_corvexModule, entryPoint);
    if (run == nullptr) {
        pwr::pwLog(PW_WARNING, "%s", missingText);
        return false;
    }
    const int status = run();
    pwr::pwLogTagged("corvex", PW_INFO, "INFO: CORVEX: %s return status - %d\n", entryPoint,
                     status);
    if (status != 0) {
        pwr::pwLog(PW_WARNING, "%s", failedText);
        return false;
    }
    pwr::pwLogTagged("corvex", PW_INFO, "%s", okText);
    return true;
}
