// PluginEnvironment: the one object through which the host and the plug-ins
// reach shared services: logging, the messages queued for the user, the writer
// stream, the default clock, the driver handles, the Corvex driver library, the
// PMT endpoint registry and the record of system power-state events.
//
// The host creates one environment before it loads plug-ins. While it lives it
// is the current environment of the process (current()) and the current
// logging context: the verbosity, the loggers and the debug-logging tags are
// those of its LogContext base, so every pwLog line of the library goes
// through the environment. Destroying it brings back the built-in context.
//
// Ownership: loggers, the writer stream, the topology objects, the default
// clock, the driver handles, the Corvex module and the PMT XML parsers are
// not owned; the host keeps them alive while the environment refers to them.
//
// Threads: the setters are called during start-up on one thread; afterwards
// the environment may be read from any thread. The message queue, the event
// map and the registries take no locks: the host serialises their use.
#pragma once

#include <cstdint>
#include <deque>
#include <map>
#include <set>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "common/runtime/Export.h"
#include "common/runtime/Log.h"
#include "common/runtime/Module.h"

namespace pwr {

class VexaClockSource;
class XMLParser;

// Names one source of counters whose values restart when the system goes
// through a power state that loses them (a sleep or hibernation). The three
// numbers are the caller's (for example a counter block's id, its
// configuration and its instance); the environment only compares them, in
// this order.
struct id_config_t {
    uint8_t id = 0;
    uint8_t config = 0;
    uint8_t instance = 0;

    friend bool operator<(const id_config_t& a, const id_config_t& b) {
        return std::tie(a.id, a.config, a.instance) < std::tie(b.id, b.config, b.instance);
    }
    friend bool operator==(const id_config_t& a, const id_config_t& b) {
        return a.id == b.id && a.config == b.config && a.instance == b.instance;
    }
};

// One loaded PMT (platform monitoring telemetry) endpoint.
struct _vexa_aggregator_info {
    // The endpoint's number; unique among the loaded endpoints.
    uint16_t endpoint = 0;
    // The GUID that names the layout of the endpoint's telemetry.
    uint32_t guid = 0;
    // How the endpoint is read (the collector's own code).
    uint32_t collectionType = 0;
    // The size of the endpoint's telemetry region, in bytes.
    uint32_t size = 0;
    // The name of the device or platform the endpoint belongs to.
    std::string name;
};

}  // namespace pwr

// Lets tests reach the private look-ups; defined by the tests only.
struct PluginEnvironmentInspector;

class PWR_API PluginEnvironment : public pwr::LogContext {
  public:
    // Enumerators rather than static data members: a data member of an
    // exported class would have to be imported from the DLL where used.
    enum : uint32_t {
        // What getLoadedPMTCollectionType answers for a GUID without endpoints.
        kNoPMTCollectionType = 0xFFFFFFFFu,
        // The state in effect before the first system-state event.
        kInitialSystemState = 1,
    };

    // The host creates one environment; while it lives it is the current
    // environment of the process and the current logging context.
    PluginEnvironment();
    ~PluginEnvironment() override;
    PluginEnvironment(const PluginEnvironment&) = delete;
    PluginEnvironment& operator=(const PluginEnvironment&) = delete;

    // The current environment, or null before the host made one.
    static PluginEnvironment* current();

    // --- Logging (verbosity, error/debug/null loggers and tags: LogContext).

    // Where data output (the rows a writer streams while collecting) goes.
    pwr::Logger* getDataOutputHandle() const { return m_dataOutputLogger; }
    void setDataOutputHandle(pwr::Logger* logger) { m_dataOutputLogger = logger; }
    // Where output meant for a file goes. There is one file-output logger; name
    // says what the caller is about to write and does not select another one.
    pwr::Logger* getFileOutputHandle(const char* name) const;
    void setFileOutputHandle(pwr::Logger* logger) { m_fileOutputLogger = logger; }

    // --- Messages for the user.

    // Appends a copy of text to the messages shown to the user (null is
    // ignored).
    void queueMessage(const char* text);
    // The host shows the queued messages and empties the queue.
    std::deque<std::string>& getQueuedMessages();

    // --- Host context.

    // The WriterStream (untyped, as the host hands it over). Setting it makes
    // it the writer stream of the process: new registered objects are
    // announced through it and text messages deliver through it. Null
    // detaches it again.
    void setWriterStream(void* stream);
    void* getWriterStream() const { return m_writerStream; }
    void setTopologyManager(void* manager) { m_topologyManager = manager; }
    void* getTopologyManager() const { return m_topologyManager; }
    void setPreCollectionTopology(void* topology) { m_preCollectionTopology = topology; }
    void* getPreCollectionTopology() const { return m_preCollectionTopology; }

    // Derives the tool's directory from the running executable's full path
    // (see toolDirectoryFromExecutable). On failure logs the ERROR line, keeps
    // the previous directory and returns false.
    bool setVantryDirectory();
    const std::string& getVantryDirectory() const { return m_vantryDirectory; }
    // The directory part of exePath, up to and including its last separator.
    // A program that runs from the tool's "plugins" subdirectory (the path
    // holds separator + "plugins" + separator) belongs to the tool in the
    // parent: the directory then ends just before the last such subdirectory.
    // Empty when exePath holds no separator.
    static std::string toolDirectoryFromExecutable(const std::string& exePath, char separator);
    // The separator of the platform's full path names: '\\' or '/'.
    static char nativePathSeparator();

    void setVantryDrvHandle(void* handle) { m_vantryDrvHandle = handle; }
    void* getVantryDrvHandle() const { return m_vantryDrvHandle; }
    void setVantryDrvVersion(uint32_t version) { m_vantryDrvVersion = version; }
    uint32_t getVantryDrvVersion() const { return m_vantryDrvVersion; }
    void setCstraceDrvHandle(void* handle) { m_cstraceDrvHandle = handle; }
    void* getCstraceDrvHandle() const { return m_cstraceDrvHandle; }

    // Feature bits: bit 0 the trace driver is registered, bit 1 the feature is
    // enabled.
    void setCsTraceEnable(bool registered = true);
    bool isCstraceRegister() const { return (m_featureBits & kCsTraceRegistered) != 0; }
    void setCsFeatureEnabled(bool enabled = true);
    bool isCsFeatureEnabled() const { return (m_featureBits & kCsFeatureEnabled) != 0; }

    void setResultFilePrefix(const std::string& prefix) { m_resultFilePrefix = prefix; }
    const std::string& getResultFilePrefix() const { return m_resultFilePrefix; }

    void setHybernationEventDetected() { m_hibernationDetected = true; }
    bool getHybernationEventDetected() const { return m_hibernationDetected; }

    // --- Default clock.

    // Also makes clock the default clock source of the runtime layer
    // (pwr::setDefaultClockSource), so that getVexaATimestamp reads it; the
    // environment's destructor clears that again if it is still this clock.
    void setDefaultClock(pwr::VexaClockSource* clock);
    pwr::VexaClockSource* getDefaultClock() const { return m_defaultClock; }
    // Stores clockMHz as the default clock's frequency and clockMHz / tscMHz
    // as its ratio to the TSC.
    void setDefaultClockToTSCRatio(float clockMHz, float tscMHz);
    float getDefaultClockMHz() const { return m_defaultClockMHz; }
    float getDefaultClockToTSCRatio() const { return m_defaultClockToTSCRatio; }
    // ts in seconds: float(ts) / MHz / 1e6, every step in single precision
    // (results files hold these values, so the rounding is part of the
    // output). The frequency must have been set: it starts at 0.
    float getSecFromTimestamp(uint64_t ts) const;

    // --- System power-state events.

    // Inserts the event, or overwrites the state of the event at ts.
    void addSystemStateEvent(uint64_t ts, uint32_t state);
    // Removes the event with the largest timestamp, if any.
    void removeLastSystemStateEvent();
    const std::map<uint64_t, uint32_t>& getSystemStateEvents() const { return m_systemStates; }

    // --- Reset detection.
    //
    // Counters restart when the system passes through a power-state event.
    // checkAndRecordReset remembers, per source, the timestamp of its last
    // sighting. When a source is sighted again and a system-state event lies
    // strictly between the two sightings, a reset is recorded for the source:
    // at the timestamp of the last such event, with the state in effect at the
    // new sighting (the last event below it). Each event yields at most one
    // reset per source.

    // Records the sighting of key at ts; true when it records a reset. A first
    // sighting, or one at or before the last, never does.
    bool checkAndRecordReset(pwr::id_config_t key, uint64_t ts);
    // Whether any reset has been recorded.
    bool checkResetOccurred() const { return m_resetCount != 0; }
    // The state of the key's first reset at or after ts, or 0.
    uint32_t isSystemReset(uint8_t id, uint8_t config, uint8_t instance, uint64_t ts) const;
    // The latest reset of any source at or before ts, as (timestamp of its
    // event, state); (0, 0) when there is none.
    std::pair<uint64_t, uint64_t> getLastResetEvent(uint64_t ts) const;

    // --- Metric switches.

    void insertMetricSwitch(const std::string& name) { m_metricSwitches.insert(name); }
    bool hasMetricSwitch(const std::string& name) const {
        return m_metricSwitches.count(name) != 0;
    }

    // --- PMT endpoint registry.
    //
    // Loaded endpoints are kept by endpoint number; every list below is in
    // ascending endpoint number. Platform GUIDs are kept per platform name in
    // the order they were added.

    // Adds an endpoint; false (keeping the first) when its number is loaded.
    bool addLoadedPMT(pwr::_vexa_aggregator_info info);
    // The endpoint with this number, or null.
    const pwr::_vexa_aggregator_info* getLoadedPMTEndpoint(uint16_t endpoint) const;
    // The endpoints of a device name, or of a GUID.
    std::vector<pwr::_vexa_aggregator_info> getLoadedPMTEndpoints(const std::string& name) const;
    std::vector<pwr::_vexa_aggregator_info> getLoadedPMTEndpoints(uint32_t guid) const;
    size_t getLoadedPMTNumberEndpoints(const std::string& name) const;
    size_t getLoadedPMTNumberEndpoints(uint32_t guid) const;
    // The collection type of the lowest-numbered endpoint with this GUID, or
    // kNoPMTCollectionType.
    uint32_t getLoadedPMTCollectionType(uint32_t guid) const;
    // The distinct GUIDs of the loaded endpoints, ascending.
    std::vector<uint32_t> getLoadedPMTGUIDs() const;
    // Adds guid to the platform's list; a GUID already in the list is ignored.
    void addPMTPlatformGUID(const std::string& name, uint32_t guid);
    // The platform's index-th GUID (its endpoints are numbered in the order
    // their GUIDs were added), or 0 (never a valid GUID).
    uint32_t getPMTPlatformGUID(const std::string& name, uint32_t index) const;
    // The first platform name (alphabetically) that lists guid, or "".
    std::string getPMTPlatformName(uint32_t guid) const;
    // One parser per GUID; null removes it.
    void setPMTXMLParser(uint32_t guid, pwr::XMLParser* parser);
    pwr::XMLParser* getPMTXMLParser(uint32_t guid) const;

    // --- Corvex driver library (see CorvexApi.h).
    //
    // The host loads the library and hands over its handle; the entry points
    // are looked up by name each time they are used. An empty configuration
    // name means "not configured": it is cleared whenever configuration fails.

    void setCorvexDllHandle(pwr::ModuleHandle module) { m_corvexModule = module; }
    pwr::ModuleHandle getCorvexDllHandle() const { return m_corvexModule; }
    void setCorvexConfigFileName(const std::string& name) { m_corvexConfigFileName = name; }
    const std::string& getCorvexConfigFileName() const { return m_corvexConfigFileName; }
    // Configures the library with the configuration file. False without a
    // module, a configuration name or the entry point, or when the library
    // refuses (then logs why and clears the configuration name).
    bool configureCorvex();
    // The library's version; false when not configured, without the entry
    // point, with a null output, or when the library fails.
    bool getCorvexVersion(unsigned int* major, unsigned int* minor, unsigned int* patch);
    // Start and stop a collection; false (silently) when not configured.
    bool startCorvex();
    bool stopCorvex();

  private:
    friend struct PluginEnvironmentInspector;

    enum : uint32_t {
        kCsTraceRegistered = 1u << 0,
        kCsFeatureEnabled = 1u << 1,
    };

    // A reset: the state in effect when the source was sighted again.
    struct ResetRecord {
        uint32_t state = 0;
        uint64_t sightedAt = 0;
    };

    // The state at ts: that of the last event below ts, or
    // kInitialSystemState when there is none.
    uint32_t getCurrentSystemState(uint64_t ts) const;
    // Whether a system-state event lies strictly between since and until; if
    // so, eventTs is the last one.
    bool checkPendingSystemStateEvent(uint64_t since, uint64_t until, uint64_t& eventTs) const;
    // The directory rule of setVantryDirectory once the path is known (or
    // failed to be: ok false and pathOrError the reason).
    bool setVantryDirectory_i(bool ok, const std::string& pathOrError);
    // Start and stop share everything but their texts.
    bool runCorvexCollection_i(const char* entryPoint, const char* missingText, const char* okText,
                               const char* failedText);

    pwr::Logger* m_dataOutputLogger = nullptr;
    pwr::Logger* m_fileOutputLogger = nullptr;
    void* m_writerStream = nullptr;
    void* m_topologyManager = nullptr;
    void* m_preCollectionTopology = nullptr;
    std::string m_vantryDirectory;
    void* m_vantryDrvHandle = nullptr;
    uint32_t m_vantryDrvVersion = 0;
    void* m_cstraceDrvHandle = nullptr;
    pwr::ModuleHandle m_corvexModule = nullptr;
    std::string m_corvexConfigFileName;
    uint32_t m_featureBits = 0;
    std::string m_resultFilePrefix;
    bool m_hibernationDetected = false;
    pwr::VexaClockSource* m_defaultClock = nullptr;
    float m_defaultClockMHz = 0.0f;
    float m_defaultClockToTSCRatio = 0.0f;
    std::map<uint64_t, uint32_t> m_systemStates;
    std::map<pwr::id_config_t, uint64_t> m_lastSighting;
    // Per source, its resets by the timestamp of the event behind each.
    std::map<pwr::id_config_t, std::map<uint64_t, ResetRecord>> m_resets;
    size_t m_resetCount = 0;
    std::deque<std::string> m_queuedMessages;
    std::set<std::string> m_metricSwitches;
    std::map<uint16_t, pwr::_vexa_aggregator_info> m_loadedPMT;
    std::map<std::string, std::vector<uint32_t>> m_pmtPlatformGUIDs;
    std::map<uint32_t, pwr::XMLParser*> m_pmtXMLParsers;
};
