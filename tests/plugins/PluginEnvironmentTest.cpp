#include <gtest/gtest.h>

#include <cstdint>
#include <deque>
#include <limits>
#include <map>
#include <memory>
#include <utility>
#include <string>
#include <vector>

#include "common/plugins/PluginEnvironment.h"
#include "common/runtime/Log.h"
#include "common/runtime/Module.h"
#include "common/runtime/VexaClock.h"
#include "tests/support/EnvironmentCapture.h"
#include "tests/support/LogCapture.h"

// Reaches the environment's private look-ups.
struct PluginEnvironmentInspector {
    static uint32_t currentState(const PluginEnvironment& env, uint64_t ts) {
        return env.getCurrentSystemState(ts);
    }
    static bool pendingEvent(const PluginEnvironment& env, uint64_t since, uint64_t until,
                             uint64_t& eventTs) {
        return env.checkPendingSystemStateEvent(since, until, eventTs);
    }
    static bool setDirectory(PluginEnvironment& env, bool ok, const std::string& pathOrError) {
        return env.setVantryDirectory_i(ok, pathOrError);
    }
};

namespace pwr {
namespace {

using test::CapturingLogger;
using test::EnvironmentCapture;
using Inspector = PluginEnvironmentInspector;

// --- Being the current environment and logging context.

TEST(PluginEnvironmentTest, IsCurrentEnvironmentAndLogContextWhileItLives) {
    EXPECT_EQ(PluginEnvironment::current(), nullptr);
    uintptr_t address = 0;
    {
        PluginEnvironment env;
        address = reinterpret_cast<uintptr_t>(&env);
        EXPECT_EQ(PluginEnvironment::current(), &env);
        EXPECT_EQ(&logContext(), static_cast<LogContext*>(&env));
    }
    EXPECT_EQ(PluginEnvironment::current(), nullptr);
    EXPECT_NE(reinterpret_cast<uintptr_t>(&logContext()), address);
}

TEST(PluginEnvironmentTest, AnEnvironmentThatIsNoLongerCurrentLeavesTheLaterOneInPlace) {
    auto first = std::make_unique<PluginEnvironment>();
    PluginEnvironment second;
    first.reset();
    EXPECT_EQ(PluginEnvironment::current(), &second);
    EXPECT_EQ(&logContext(), static_cast<LogContext*>(&second));
}

TEST(PluginEnvironmentTest, LibraryLinesGoThroughTheEnvironmentsLoggers) {
    EnvironmentCapture cap;
    CapturingLogger errors;
    cap.env().setErrorLogger(&errors);
    pwLog(PW_ERROR, "ERROR: to the error logger\n");
    pwLog(PW_WARNING, "WARNING: to the debug logger\n");
    EXPECT_EQ(errors.lines(), std::vector<std::string>{"ERROR: to the error logger\n"});
    EXPECT_TRUE(cap.loggedExactly({"WARNING: to the debug logger\n"}));
}

TEST(PluginEnvironmentTest, LoggerPrefixAndLoggerByLevel) {
    PluginEnvironment env;
    EXPECT_STREQ(PluginEnvironment::getLoggerPrefix(static_cast<PWLogLevel>(7)), "INFO");
    EXPECT_STREQ(PluginEnvironment::getLoggerPrefix(PW_WARNING), "WARNING");
    EXPECT_STREQ(PluginEnvironment::getLoggerPrefix(PW_FATAL), "FATAL");
    CapturingLogger errors;
    CapturingLogger debug;
    env.setErrorLogger(&errors);
    env.setDebugLogger(&debug);
    EXPECT_EQ(env.getLogger(PW_FATAL), &errors);
    EXPECT_EQ(env.getLogger(PW_ERROR), &errors);
    EXPECT_EQ(env.getLogger(PW_WARNING), &debug);
    EXPECT_EQ(env.getLogger(static_cast<PWLogLevel>(9)), &debug);
}

TEST(PluginEnvironmentTest, AtWarningVerbosityInfoLinesNeedTheirTag) {
    EnvironmentCapture cap;
    cap.env().setVerbosity(PW_WARNING);
    pwLogTagged("vexathread", PW_INFO, "INFO: not yet\n");
    EXPECT_FALSE(cap.env().isDebugLoggingEnabledFor("vexathread"));
    cap.env().addCondLogTagForDebugLogging("vexathread");
    EXPECT_TRUE(cap.env().isDebugLoggingEnabledFor("vexathread"));
    pwLogTagged("vexathread", PW_INFO, "INFO: tagged\n");
    pwLogTagged("corvex", PW_INFO, "INFO: other tag\n");
    pwLog(PW_INFO, "INFO: untagged\n");
    pwLog(PW_WARNING, "WARNING: admitted\n");
    EXPECT_TRUE(cap.loggedExactly({"INFO: tagged\n", "WARNING: admitted\n"}));
}

TEST(PluginEnvironmentTest, DataAndFileOutputLoggers) {
    PluginEnvironment env;
    EXPECT_EQ(env.getDataOutputHandle(), nullptr);
    EXPECT_EQ(env.getFileOutputHandle("summary.csv"), nullptr);
    CapturingLogger data;
    CapturingLogger file;
    env.setDataOutputHandle(&data);
    env.setFileOutputHandle(&file);
    EXPECT_EQ(env.getDataOutputHandle(), &data);
    EXPECT_EQ(env.getFileOutputHandle("summary.csv"), &file);
    EXPECT_EQ(env.getFileOutputHandle(nullptr), &file);
    // Neither takes over the log lines.
    EXPECT_NE(env.getLogger(PW_INFO), &data);
    EXPECT_NE(env.getLogger(PW_ERROR), &file);
}

// --- Queued messages.

TEST(PluginEnvironmentTest, QueuedMessagesAreCopiesInOrder) {
    PluginEnvironment env;
    std::string text = "first";
    env.queueMessage(text.c_str());
    text = "changed";
    env.queueMessage("second");
    env.queueMessage(nullptr);
    std::deque<std::string>& queue = env.getQueuedMessages();
    ASSERT_EQ(queue.size(), 2u);
    EXPECT_EQ(queue[0], "first");
    EXPECT_EQ(queue[1], "second");
    // The host empties the queue once it showed the messages.
    queue.clear();
    EXPECT_TRUE(env.getQueuedMessages().empty());
    PluginEnvironment::current()->queueMessage("third");
    EXPECT_EQ(env.getQueuedMessages().front(), "third");
}

// --- Host context.

TEST(PluginEnvironmentTest, HostContextIsKeptAsGiven) {
    PluginEnvironment env;
    int stream = 0;
    int topology = 0;
    int preTopology = 0;
    int drv = 0;
    int trace = 0;
    env.setWriterStream(&stream);
    env.setTopologyManager(&topology);
    env.setPreCollectionTopology(&preTopology);
    env.setVantryDrvHandle(&drv);
    env.setVantryDrvVersion(0x00030201u);
    env.setCstraceDrvHandle(&trace);
    env.setResultFilePrefix("run1_");
    EXPECT_EQ(env.getWriterStream(), &stream);
    EXPECT_EQ(env.getTopologyManager(), &topology);
    EXPECT_EQ(env.getPreCollectionTopology(), &preTopology);
    EXPECT_EQ(env.getVantryDrvHandle(), &drv);
    EXPECT_EQ(env.getVantryDrvVersion(), 0x00030201u);
    EXPECT_EQ(env.getCstraceDrvHandle(), &trace);
    EXPECT_EQ(env.getResultFilePrefix(), "run1_");
    EXPECT_FALSE(env.getHybernationEventDetected());
    env.setHybernationEventDetected();
    EXPECT_TRUE(env.getHybernationEventDetected());
}

TEST(PluginEnvironmentTest, FeatureBitsAreIndependent) {
    PluginEnvironment env;
    EXPECT_FALSE(env.isCstraceRegister());
    EXPECT_FALSE(env.isCsFeatureEnabled());
    env.setCsFeatureEnabled();
    EXPECT_FALSE(env.isCstraceRegister());
    EXPECT_TRUE(env.isCsFeatureEnabled());
    env.setCsTraceEnable();
    EXPECT_TRUE(env.isCstraceRegister());
    env.setCsFeatureEnabled(false);
    EXPECT_TRUE(env.isCstraceRegister());
    EXPECT_FALSE(env.isCsFeatureEnabled());
    env.setCsTraceEnable(false);
    EXPECT_FALSE(env.isCstraceRegister());
}

TEST(PluginEnvironmentTest, MetricSwitches) {
    PluginEnvironment env;
    EXPECT_FALSE(env.hasMetricSwitch("cpu-cstate"));
    env.insertMetricSwitch("cpu-cstate");
    env.insertMetricSwitch("cpu-cstate");
    EXPECT_TRUE(env.hasMetricSwitch("cpu-cstate"));
    EXPECT_FALSE(env.hasMetricSwitch("cpu"));
}

struct ToolDirectoryCase {
    const char* exePath;
    char separator;
    const char* directory;
};

class ToolDirectoryTest : public ::testing::TestWithParam<ToolDirectoryCase> {};

TEST_P(ToolDirectoryTest, DirectoryOfTheExecutableOrAbovePlugins) {
    const ToolDirectoryCase& c = GetParam();
    EXPECT_EQ(PluginEnvironment::toolDirectoryFromExecutable(c.exePath, c.separator), c.directory);
}

INSTANTIATE_TEST_SUITE_P(
    PluginEnvironmentTest, ToolDirectoryTest,
    ::testing::Values(
        ToolDirectoryCase{"C:\\Tools\\Vantry\\vantry.exe", '\\', "C:\\Tools\\Vantry\\"},
        ToolDirectoryCase{"C:\\Tools\\Vantry\\plugins\\helper.exe", '\\', "C:\\Tools\\Vantry\\"},
        // The last "plugins" subdirectory counts: the tool may sit below one.
        ToolDirectoryCase{"D:\\plugins\\Vantry\\plugins\\x64\\helper.exe", '\\',
                          "D:\\plugins\\Vantry\\"},
        // A name that merely starts with "plugins" is an ordinary directory.
        ToolDirectoryCase{"C:\\Vantry\\plugins2\\vantry.exe", '\\', "C:\\Vantry\\plugins2\\"},
        ToolDirectoryCase{"C:\\Vantry\\myplugins\\vantry.exe", '\\', "C:\\Vantry\\myplugins\\"},
        ToolDirectoryCase{"/opt/vantry/bin/vantry", '/', "/opt/vantry/bin/"},
        ToolDirectoryCase{"/opt/vantry/plugins/helper", '/', "/opt/vantry/"},
        // A Windows path read with the POSIX separator has no directory.
        ToolDirectoryCase{"C:\\Vantry\\vantry.exe", '/', ""},
        ToolDirectoryCase{"vantry", '/', ""}));

TEST(PluginEnvironmentTest, VantryDirectoryIsTheRunningProgramsDirectory) {
    PluginEnvironment env;
    EXPECT_TRUE(env.getVantryDirectory().empty());
    ASSERT_TRUE(env.setVantryDirectory());
    std::string exe;
    std::string error;
    ASSERT_TRUE(getExecutablePath(exe, error)) << error;
    const std::string& directory = env.getVantryDirectory();
    ASSERT_FALSE(directory.empty());
    EXPECT_EQ(directory.back(), PluginEnvironment::nativePathSeparator());
    EXPECT_EQ(exe.compare(0, directory.size(), directory), 0) << exe << " vs " << directory;
    // The test program lives in bin/, beside no "plugins" subdirectory.
    EXPECT_EQ(exe.find(PluginEnvironment::nativePathSeparator(), directory.size()),
              std::string::npos);
}

TEST(PluginEnvironmentTest, VantryDirectoryFailureLogsTheReasonAndKeepsTheOldOne) {
    EnvironmentCapture cap;
    const std::string sep(1, PluginEnvironment::nativePathSeparator());
    ASSERT_TRUE(Inspector::setDirectory(cap.env(), true, sep + "tools" + sep + "vantry.exe"));
    EXPECT_EQ(cap.env().getVantryDirectory(), sep + "tools" + sep);
    EXPECT_TRUE(cap.lines().empty());
    EXPECT_FALSE(Inspector::setDirectory(cap.env(), false, "Access is denied"));
    EXPECT_TRUE(cap.loggedExactly(
        {"ERROR: Cannot get full pathname for vantry executable. Error: Access is denied\n"}));
    EXPECT_EQ(cap.env().getVantryDirectory(), sep + "tools" + sep);
}

// --- Default clock.

TEST(PluginEnvironmentTest, DefaultClockIsTheRuntimesDefaultClockWhileTheEnvironmentLives) {
    VexaNanoClock clock;
    {
        PluginEnvironment env;
        EXPECT_EQ(env.getDefaultClock(), nullptr);
        env.setDefaultClock(&clock);
        EXPECT_EQ(env.getDefaultClock(), &clock);
        EXPECT_EQ(defaultClockSource(), &clock);
        EXPECT_EQ(getVexaAClockUUID(), "8ad42930-517d-11e5-b970-0800200c9a66");
    }
    EXPECT_EQ(defaultClockSource(), nullptr);
}

TEST(PluginEnvironmentTest, DefaultClockToTscRatio) {
    PluginEnvironment env;
    EXPECT_EQ(env.getDefaultClockMHz(), 0.0f);
    env.setDefaultClockToTSCRatio(10.0f, 2400.0f);
    EXPECT_EQ(env.getDefaultClockMHz(), 10.0f);
    EXPECT_EQ(env.getDefaultClockToTSCRatio(), 10.0f / 2400.0f);
    env.setDefaultClockToTSCRatio(2400.0f, 2400.0f);
    EXPECT_EQ(env.getDefaultClockToTSCRatio(), 1.0f);
}

// The conversion rounds to float at each step; a double computation rounded
// once at the end gives a different number for these inputs.
float singlePrecisionSeconds(uint64_t ts, float mhz) {
    volatile float ticks = static_cast<float>(ts);
    volatile float microseconds = ticks / mhz;
    return microseconds / 1e6f;
}

TEST(PluginEnvironmentTest, SecondsFromTimestampInSinglePrecision) {
    PluginEnvironment env;
    env.setDefaultClockToTSCRatio(10.0f, 2400.0f);
    EXPECT_EQ(env.getSecFromTimestamp(0), 0.0f);
    EXPECT_EQ(env.getSecFromTimestamp(10000000), 1.0f);
    const uint64_t ts = 16777217;  // 2^24 + 1: not a float
    const float seconds = env.getSecFromTimestamp(ts);
    EXPECT_EQ(seconds, singlePrecisionSeconds(ts, 10.0f));
    EXPECT_EQ(seconds, 1.67772162f);
    EXPECT_NE(seconds, static_cast<float>(static_cast<double>(ts) / 10.0 / 1e6));

    env.setDefaultClockToTSCRatio(1.0f, 1.0f);
    EXPECT_EQ(env.getSecFromTimestamp(123456789), 123.456795f);
    EXPECT_EQ(env.getSecFromTimestamp(123456789), singlePrecisionSeconds(123456789, 1.0f));
}

TEST(PluginEnvironmentTest, SecondsFromTimestampTreatsTheTimestampAsUnsigned) {
    PluginEnvironment env;
    env.setDefaultClockToTSCRatio(19.2f, 2400.0f);
    const uint64_t top = std::numeric_limits<uint64_t>::max();
    const uint64_t half = uint64_t{1} << 63;
    EXPECT_GT(env.getSecFromTimestamp(half), 0.0f);
    EXPECT_EQ(env.getSecFromTimestamp(half), singlePrecisionSeconds(half, 19.2f));
    EXPECT_EQ(env.getSecFromTimestamp(top), singlePrecisionSeconds(top, 19.2f));
    EXPECT_EQ(env.getSecFromTimestamp(top), 9.60767918e+11f);
}

// --- System-state events.

TEST(PluginEnvironmentTest, SystemStateEventsInsertOverwriteAndRemoveTheLast) {
    PluginEnvironment env;
    env.removeLastSystemStateEvent();  // nothing to remove
    env.addSystemStateEvent(300, 4);
    env.addSystemStateEvent(100, 3);
    env.addSystemStateEvent(300, 0);
    std::map<uint64_t, uint32_t> expected{{100, 3}, {300, 0}};
    EXPECT_EQ(env.getSystemStateEvents(), expected);
    env.removeLastSystemStateEvent();
    expected.erase(300);
    EXPECT_EQ(env.getSystemStateEvents(), expected);
    env.removeLastSystemStateEvent();
    EXPECT_TRUE(env.getSystemStateEvents().empty());
}

TEST(PluginEnvironmentTest, CurrentSystemStateIsThatOfTheLastEventBelowTs) {
    PluginEnvironment env;
    EXPECT_EQ(Inspector::currentState(env, 0), 1u);
    EXPECT_EQ(Inspector::currentState(env, std::numeric_limits<uint64_t>::max()), 1u);
    env.addSystemStateEvent(100, 3);
    env.addSystemStateEvent(200, 0);
    // No event lies before ts: the initial state.
    EXPECT_EQ(Inspector::currentState(env, 50), 1u);
    // An event at ts itself is not yet in effect.
    EXPECT_EQ(Inspector::currentState(env, 100), 1u);
    EXPECT_EQ(Inspector::currentState(env, 101), 3u);
    EXPECT_EQ(Inspector::currentState(env, 200), 3u);
    // A state of 0 is a state like any other, not "no event".
    EXPECT_EQ(Inspector::currentState(env, 201), 0u);
}

TEST(PluginEnvironmentTest, PendingEventMustLieStrictlyBetweenTheSightings) {
    PluginEnvironment env;
    uint64_t eventTs = 7;
    EXPECT_FALSE(Inspector::pendingEvent(env, 0, 1000, eventTs));
    env.addSystemStateEvent(100, 3);
    env.addSystemStateEvent(150, 4);
    EXPECT_FALSE(Inspector::pendingEvent(env, 150, 1000, eventTs));
    EXPECT_FALSE(Inspector::pendingEvent(env, 0, 100, eventTs));
    EXPECT_FALSE(Inspector::pendingEvent(env, 200, 100, eventTs));
    EXPECT_EQ(eventTs, 7u);
    ASSERT_TRUE(Inspector::pendingEvent(env, 99, 101, eventTs));
    EXPECT_EQ(eventTs, 100u);
    ASSERT_TRUE(Inspector::pendingEvent(env, 0, 1000, eventTs));
    EXPECT_EQ(eventTs, 150u);
}

// --- Reset detection.

id_config_t key(uint8_t id, uint8_t config, uint8_t instance) {
    id_config_t k;
    k.id = id;
    k.config = config;
    k.instance = instance;
    return k;
}

TEST(PluginEnvironmentTest, ResetIsRecordedWhenAnEventLiesBetweenTwoSightings) {
    PluginEnvironment env;
    EXPECT_FALSE(env.checkAndRecordReset(key(1, 2, 3), 100));
    EXPECT_FALSE(env.checkAndRecordReset(key(1, 2, 3), 200));
    EXPECT_FALSE(env.checkResetOccurred());

    env.addSystemStateEvent(250, 4);
    EXPECT_TRUE(env.checkAndRecordReset(key(1, 2, 3), 300));
    EXPECT_TRUE(env.checkResetOccurred());
    // The same event does not count twice.
    EXPECT_FALSE(env.checkAndRecordReset(key(1, 2, 3), 400));

    EXPECT_EQ(env.isSystemReset(1, 2, 3, 0), 4u);
    EXPECT_EQ(env.isSystemReset(1, 2, 3, 250), 4u);
    EXPECT_EQ(env.isSystemReset(1, 2, 3, 251), 0u);
    // Keys compare as whole triples.
    EXPECT_EQ(env.isSystemReset(1, 2, 4, 0), 0u);
    EXPECT_EQ(env.isSystemReset(3, 2, 1, 0), 0u);
}

TEST(PluginEnvironmentTest, FirstSightingAfterAnEventIsNoReset) {
    PluginEnvironment env;
    env.addSystemStateEvent(50, 4);
    EXPECT_FALSE(env.checkAndRecordReset(key(0, 0, 0), 100));
    EXPECT_FALSE(env.checkResetOccurred());
    EXPECT_EQ(env.getLastResetEvent(1000), std::make_pair(uint64_t{0}, uint64_t{0}));
}

TEST(PluginEnvironmentTest, ResetsAreKeptPerKey) {
    PluginEnvironment env;
    env.checkAndRecordReset(key(1, 0, 0), 10);
    env.checkAndRecordReset(key(2, 0, 0), 10);
    env.addSystemStateEvent(20, 3);
    EXPECT_TRUE(env.checkAndRecordReset(key(1, 0, 0), 30));
    EXPECT_EQ(env.isSystemReset(1, 0, 0, 0), 3u);
    // The second source has not been sighted again yet.
    EXPECT_EQ(env.isSystemReset(2, 0, 0, 0), 0u);
    EXPECT_TRUE(env.checkAndRecordReset(key(2, 0, 0), 40));
    EXPECT_EQ(env.isSystemReset(2, 0, 0, 0), 3u);
}

TEST(PluginEnvironmentTest, ResetCarriesTheStateInEffectAtTheNewSighting) {
    PluginEnvironment env;
    env.checkAndRecordReset(key(9, 9, 9), 100);
    env.addSystemStateEvent(110, 4);
    env.addSystemStateEvent(120, 0);
    env.addSystemStateEvent(130, 5);  // lies after the sighting below
    EXPECT_TRUE(env.checkAndRecordReset(key(9, 9, 9), 125));
    EXPECT_EQ(env.isSystemReset(9, 9, 9, 0), 0u);  // state 0 was in effect at 125
    EXPECT_EQ(env.getLastResetEvent(1000), std::make_pair(uint64_t{120}, uint64_t{0}));
    EXPECT_TRUE(env.checkAndRecordReset(key(9, 9, 9), 140));
    EXPECT_EQ(env.isSystemReset(9, 9, 9, 121), 5u);
    EXPECT_EQ(env.isSystemReset(9, 9, 9, 131), 0u);
}

TEST(PluginEnvironmentTest, LateSightingDoesNotReopenACheckedInterval) {
    PluginEnvironment env;
    env.checkAndRecordReset(key(1, 1, 1), 100);
    env.addSystemStateEvent(150, 4);
    EXPECT_TRUE(env.checkAndRecordReset(key(1, 1, 1), 200));
    // A reading taken before the last one, reported late.
    EXPECT_FALSE(env.checkAndRecordReset(key(1, 1, 1), 120));
    EXPECT_FALSE(env.checkAndRecordReset(key(1, 1, 1), 210));
}

TEST(PluginEnvironmentTest, LastResetEventIsTheLatestOfAnySourceAtOrBeforeTs) {
    PluginEnvironment env;
    env.checkAndRecordReset(key(1, 0, 0), 0);
    env.checkAndRecordReset(key(2, 0, 0), 0);
    env.addSystemStateEvent(100, 3);
    EXPECT_TRUE(env.checkAndRecordReset(key(1, 0, 0), 150));
    env.addSystemStateEvent(200, 4);
    EXPECT_TRUE(env.checkAndRecordReset(key(2, 0, 0), 250));
    EXPECT_EQ(env.getLastResetEvent(99), std::make_pair(uint64_t{0}, uint64_t{0}));
    EXPECT_EQ(env.getLastResetEvent(100), std::make_pair(uint64_t{100}, uint64_t{3}));
    EXPECT_EQ(env.getLastResetEvent(199), std::make_pair(uint64_t{100}, uint64_t{3}));
    EXPECT_EQ(env.getLastResetEvent(200), std::make_pair(uint64_t{200}, uint64_t{4}));
    EXPECT_EQ(env.getLastResetEvent(std::numeric_limits<uint64_t>::max()),
              std::make_pair(uint64_t{200}, uint64_t{4}));
}

// --- PMT registry.

_vexa_aggregator_info endpoint(uint16_t number, uint32_t guid, uint32_t type,
                               const std::string& name) {
    _vexa_aggregator_info info;
    info.endpoint = number;
    info.guid = guid;
    info.collectionType = type;
    info.size = 4096;
    info.name = name;
    return info;
}

std::vector<uint16_t> numbers(const std::vector<_vexa_aggregator_info>& endpoints) {
    std::vector<uint16_t> result;
    for (const auto& e : endpoints) {
        result.push_back(e.endpoint);
    }
    return result;
}

TEST(PluginEnvironmentTest, LoadedPmtEndpointsByNumberNameAndGuid) {
    PluginEnvironment env;
    EXPECT_TRUE(env.addLoadedPMT(endpoint(7, 0xB000, 2, "soc")));
    EXPECT_TRUE(env.addLoadedPMT(endpoint(3, 0xA000, 1, "soc")));
    EXPECT_TRUE(env.addLoadedPMT(endpoint(5, 0xA000, 9, "ioe")));
    // An endpoint number is loaded once; the first registration stays.
    EXPECT_FALSE(env.addLoadedPMT(endpoint(3, 0xC000, 1, "pch")));

    ASSERT_NE(env.getLoadedPMTEndpoint(3), nullptr);
    EXPECT_EQ(env.getLoadedPMTEndpoint(3)->guid, 0xA000u);
    EXPECT_EQ(env.getLoadedPMTEndpoint(3)->size, 4096u);
    EXPECT_EQ(env.getLoadedPMTEndpoint(4), nullptr);

    EXPECT_EQ(numbers(env.getLoadedPMTEndpoints(std::string("soc"))),
              (std::vector<uint16_t>{3, 7}));
    EXPECT_EQ(numbers(env.getLoadedPMTEndpoints(0xA000u)), (std::vector<uint16_t>{3, 5}));
    EXPECT_TRUE(env.getLoadedPMTEndpoints(0xC000u).empty());
    EXPECT_EQ(env.getLoadedPMTNumberEndpoints(std::string("soc")), 2u);
    EXPECT_EQ(env.getLoadedPMTNumberEndpoints(std::string("pch")), 0u);
    EXPECT_EQ(env.getLoadedPMTNumberEndpoints(0xA000u), 2u);
    // The lowest-numbered endpoint of a GUID decides its collection type.
    EXPECT_EQ(env.getLoadedPMTCollectionType(0xA000u), 1u);
    EXPECT_EQ(env.getLoadedPMTCollectionType(0xC000u), PluginEnvironment::kNoPMTCollectionType);
    EXPECT_EQ(env.getLoadedPMTGUIDs(), (std::vector<uint32_t>{0xA000u, 0xB000u}));
}

TEST(PluginEnvironmentTest, PmtPlatformGuidsKeepTheirOrderPerPlatform) {
    PluginEnvironment env;
    env.addPMTPlatformGUID("mtl", 0x30u);
    env.addPMTPlatformGUID("mtl", 0x10u);
    env.addPMTPlatformGUID("mtl", 0x30u);
    env.addPMTPlatformGUID("arl", 0x10u);
    EXPECT_EQ(env.getPMTPlatformGUID("mtl", 0), 0x30u);
    EXPECT_EQ(env.getPMTPlatformGUID("mtl", 1), 0x10u);
    EXPECT_EQ(env.getPMTPlatformGUID("mtl", 2), 0u);
    EXPECT_EQ(env.getPMTPlatformGUID("lnl", 0), 0u);
    EXPECT_EQ(env.getPMTPlatformName(0x30u), "mtl");
    // Shared by two platforms: the alphabetically first name.
    EXPECT_EQ(env.getPMTPlatformName(0x10u), "arl");
    EXPECT_EQ(env.getPMTPlatformName(0x99u), "");
}

TEST(PluginEnvironmentTest, PmtXmlParserPerGuid) {
    PluginEnvironment env;
    // The parser type is only forward-declared: any address stands in for one.
    int a = 0;
    int b = 0;
    auto* parserA = reinterpret_cast<XMLParser*>(&a);
    auto* parserB = reinterpret_cast<XMLParser*>(&b);
    EXPECT_EQ(env.getPMTXMLParser(1), nullptr);
    env.setPMTXMLParser(1, parserA);
    env.setPMTXMLParser(2, parserB);
    EXPECT_EQ(env.getPMTXMLParser(1), parserA);
    EXPECT_EQ(env.getPMTXMLParser(2), parserB);
    env.setPMTXMLParser(1, parserB);
    EXPECT_EQ(env.getPMTXMLParser(1), parserB);
    env.setPMTXMLParser(1, nullptr);
    EXPECT_EQ(env.getPMTXMLParser(1), nullptr);
    EXPECT_EQ(env.getPMTXMLParser(2), parserB);
}

}  // namespace
}  // namespace pwr
