#include <gtest/gtest.h>

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <utility>
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
    static bool setDirectory(PluginEnvironment& env, bool ok, const std::string& pathOrError) {
        return env.setVantryDirectory_i(ok, pathOrError);
    }
};

namespace pwr {
namespace {

using test::CapturingLogger;
using test::EnvironmentCapture;
using Inspector = PluginEnvironmentInspector;
using Event = std::pair<uint64_t, uint64_t>;
using Key = id_config_t;
using Endpoint = _vexa_aggregator_info;

TEST(PluginEnvironmentTest, IsTheCurrentEnvironmentAndLogContextWhileItLives) {
    LogContext* const builtIn = &logContext();
    EXPECT_EQ(PluginEnvironment::current(), nullptr);
    auto first = std::make_unique<PluginEnvironment>();
    EXPECT_EQ(PluginEnvironment::current(), first.get());
    EXPECT_EQ(&logContext(), static_cast<LogContext*>(first.get()));
    {
        // A later environment stays current when an earlier one goes.
        PluginEnvironment second;
        first.reset();
        EXPECT_EQ(PluginEnvironment::current(), &second);
        EXPECT_EQ(&logContext(), static_cast<LogContext*>(&second));
    }
    EXPECT_EQ(PluginEnvironment::current(), nullptr);
    EXPECT_EQ(&logContext(), builtIn);
}

TEST(PluginEnvironmentTest, LinesGoToItsLoggersByLevelAndTag) {
    EnvironmentCapture cap;
    CapturingLogger errors;
    cap.env().setErrorLogger(&errors);
    EXPECT_STREQ(PluginEnvironment::getLoggerPrefix(static_cast<PWLogLevel>(7)), "INFO");
    EXPECT_STREQ(PluginEnvironment::getLoggerPrefix(PW_WARNING), "WARNING");
    EXPECT_EQ(cap.env().getLogger(static_cast<PWLogLevel>(1)), &errors);
    EXPECT_EQ(cap.env().getLogger(static_cast<PWLogLevel>(2)), &cap.logger());
    pwLog(PW_ERROR, "ERROR: to the error logger\n");
    pwLog(PW_WARNING, "WARNING: to the debug logger\n");
    EXPECT_EQ(errors.lines(), std::vector<std::string>{"ERROR: to the error logger\n"});
    EXPECT_TRUE(cap.loggedExactly({"WARNING: to the debug logger\n"}));

    // At WARNING verbosity, INFO lines need their tag.
    cap.clear();
    cap.env().setVerbosity(PW_WARNING);
    pwLogTagged("vexathread", PW_INFO, "INFO: not yet\n");
    cap.env().addCondLogTagForDebugLogging("vexathread");
    pwLogTagged("vexathread", PW_INFO, "INFO: tagged\n");
    pwLogTagged("corvex", PW_INFO, "INFO: other tag\n");
    pwLog(PW_INFO, "INFO: untagged\n");
    pwLog(PW_WARNING, "WARNING: admitted\n");
    EXPECT_TRUE(cap.loggedExactly({"INFO: tagged\n", "WARNING: admitted\n"}));
}

TEST(PluginEnvironmentTest, ToolDirectoryIsTheExecutablesOrTheOneAbovePlugins) {
    const struct {
        const char* exePath;
        char separator;
        const char* directory;
    } cases[] = {
        {"C:\\Tools\\Vantry\\vantry.exe", '\\', "C:\\Tools\\Vantry\\"},
        // The last "plugins" subdirectory counts: the tool may sit below one.
        {"D:\\plugins\\Vantry\\plugins\\x64\\helper.exe", '\\', "D:\\plugins\\Vantry\\"},
        // A name that merely contains "plugins" is an ordinary directory.
        {"C:\\Vantry\\plugins2\\vantry.exe", '\\', "C:\\Vantry\\plugins2\\"},
        {"C:\\Vantry\\myplugins\\vantry.exe", '\\', "C:\\Vantry\\myplugins\\"},
        {"/opt/vantry/plugins/helper", '/', "/opt/vantry/"},
        // A Windows path read with the POSIX separator has no directory.
        {"C:\\Vantry\\vantry.exe", '/', ""},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(PluginEnvironment::toolDirectoryFromExecutable(c.exePath, c.separator),
                  c.directory);
    }
}

TEST(PluginEnvironmentTest, VantryDirectoryIsTheRunningProgramsDirectory) {
    EnvironmentCapture cap;
    PluginEnvironment& env = cap.env();
    ASSERT_TRUE(env.setVantryDirectory());
    std::string exe;
    std::string error;
    ASSERT_TRUE(getExecutablePath(exe, error)) << error;
    const std::string directory = env.getVantryDirectory();
    ASSERT_FALSE(directory.empty());
    EXPECT_EQ(directory.back(), PluginEnvironment::nativePathSeparator());
    // The test program lives in bin/, beside no "plugins" subdirectory.
    EXPECT_EQ(exe.rfind(PluginEnvironment::nativePathSeparator()) + 1, directory.size());
    EXPECT_EQ(exe.compare(0, directory.size(), directory), 0) << exe << " vs " << directory;

    // A failure logs the reason and keeps the directory.
    EXPECT_FALSE(Inspector::setDirectory(env, false, "Access is denied"));
    EXPECT_TRUE(cap.loggedExactly(
        {"ERROR: Cannot get full pathname for vantry executable. Error: Access is denied\n"}));
    EXPECT_EQ(env.getVantryDirectory(), directory);
}

TEST(PluginEnvironmentTest, DefaultClockIsTheRuntimesDefaultClockWhileTheEnvironmentLives) {
    VexaNanoClock clock;
    {
        PluginEnvironment env;
        env.setDefaultClock(&clock);
        EXPECT_EQ(defaultClockSource(), &clock);
        EXPECT_EQ(getVexaAClockUUID(), "8ad42930-517d-11e5-b970-0800200c9a66");
    }
    EXPECT_EQ(defaultClockSource(), nullptr);
}

TEST(PluginEnvironmentTest, SecondsFromTimestampInSinglePrecision) {
    PluginEnvironment env;
    env.setDefaultClockToTSCRatio(10.0f, 2400.0f);
    EXPECT_EQ(env.getDefaultClockToTSCRatio(), 10.0f / 2400.0f);
    EXPECT_EQ(env.getSecFromTimestamp(10000000), 1.0f);
    // Each step rounds to float: 2^24 + 1 is no float, and a double
    // computation rounded once at the end gives another number.
    EXPECT_EQ(env.getSecFromTimestamp(16777217), 1.67772162f);
    EXPECT_NE(static_cast<float>(16777217 / 10.0 / 1e6), 1.67772162f);
    // The timestamp is unsigned.
    env.setDefaultClockToTSCRatio(19.2f, 2400.0f);
    EXPECT_EQ(env.getSecFromTimestamp(UINT64_MAX), 9.60767918e+11f);
    EXPECT_GT(env.getSecFromTimestamp(uint64_t{1} << 63), 0.0f);
}

TEST(PluginEnvironmentTest, CurrentSystemStateIsThatOfTheLastEventBeforeTs) {
    PluginEnvironment env;
    EXPECT_EQ(Inspector::currentState(env, 0), 1u);
    EXPECT_EQ(Inspector::currentState(env, UINT64_MAX), 1u);
    env.addSystemStateEvent(200, 9);
    env.addSystemStateEvent(100, 3);
    env.addSystemStateEvent(200, 0);
    env.addSystemStateEvent(300, 5);
    env.removeLastSystemStateEvent();  // the latest, not the last added
    EXPECT_EQ(env.getSystemStateEvents(), (std::map<uint64_t, uint32_t>{{100, 3}, {200, 0}}));
    // An event at ts itself is not yet in effect.
    EXPECT_EQ(Inspector::currentState(env, 100), 1u);
    EXPECT_EQ(Inspector::currentState(env, 101), 3u);
    EXPECT_EQ(Inspector::currentState(env, 200), 3u);
    // A state of 0 is a state like any other, not "no event".
    EXPECT_EQ(Inspector::currentState(env, 201), 0u);
}

TEST(PluginEnvironmentTest, ResetIsRecordedWhenAnEventLiesBetweenTwoSightings) {
    PluginEnvironment env;
    // The first sighting after an event is no reset.
    env.addSystemStateEvent(50, 4);
    EXPECT_FALSE(env.checkAndRecordReset(Key{1, 2, 3}, 100));
    EXPECT_FALSE(env.checkAndRecordReset(Key{1, 2, 3}, 200));
    EXPECT_FALSE(env.checkAndRecordReset(Key{2, 0, 0}, 200));
    EXPECT_FALSE(env.checkResetOccurred());
    EXPECT_EQ(env.getLastResetEvent(1000), Event(0, 0));

    env.addSystemStateEvent(250, 4);
    EXPECT_TRUE(env.checkAndRecordReset(Key{1, 2, 3}, 300));
    EXPECT_TRUE(env.checkResetOccurred());
    // The same event does not count twice, and a late report of an earlier
    // reading does not reopen the interval already checked.
    EXPECT_FALSE(env.checkAndRecordReset(Key{1, 2, 3}, 400));
    EXPECT_FALSE(env.checkAndRecordReset(Key{1, 2, 3}, 240));
    EXPECT_FALSE(env.checkAndRecordReset(Key{1, 2, 3}, 410));

    EXPECT_EQ(env.isSystemReset(1, 2, 3, 0), 4u);
    EXPECT_EQ(env.isSystemReset(1, 2, 3, 250), 4u);
    EXPECT_EQ(env.isSystemReset(1, 2, 3, 251), 0u);
    // Keys compare as whole triples, and resets are kept per key.
    EXPECT_EQ(env.isSystemReset(1, 2, 4, 0), 0u);
    EXPECT_EQ(env.isSystemReset(2, 0, 0, 0), 0u);
}

TEST(PluginEnvironmentTest, ResetCarriesTheStateInEffectAtTheNewSighting) {
    PluginEnvironment env;
    env.checkAndRecordReset(Key{1, 0, 0}, 100);
    env.checkAndRecordReset(Key{2, 0, 0}, 100);
    env.addSystemStateEvent(110, 4);
    env.addSystemStateEvent(120, 0);
    env.addSystemStateEvent(130, 5);  // after the first source's sighting below
    EXPECT_TRUE(env.checkAndRecordReset(Key{1, 0, 0}, 125));
    EXPECT_EQ(env.getLastResetEvent(1000), Event(120, 0));
    EXPECT_TRUE(env.checkAndRecordReset(Key{2, 0, 0}, 140));
    EXPECT_EQ(env.isSystemReset(2, 0, 0, 0), 5u);
    // The latest reset of any source at or before ts.
    EXPECT_EQ(env.getLastResetEvent(119), Event(0, 0));
    EXPECT_EQ(env.getLastResetEvent(129), Event(120, 0));
    EXPECT_EQ(env.getLastResetEvent(130), Event(130, 5));
}

std::vector<uint16_t> numbers(const std::vector<Endpoint>& endpoints) {
    std::vector<uint16_t> result;
    for (const auto& e : endpoints) {
        result.push_back(e.endpoint);
    }
    return result;
}

TEST(PluginEnvironmentTest, PmtLookUps) {
    PluginEnvironment env;
    EXPECT_TRUE(env.addLoadedPMT(Endpoint{7, 0xB000, 2, 0, "soc"}));
    EXPECT_TRUE(env.addLoadedPMT(Endpoint{5, 0xA000, 9, 0, "ioe"}));
    EXPECT_TRUE(env.addLoadedPMT(Endpoint{3, 0xA000, 1, 0, "soc"}));
    // An endpoint number is loaded once; the first registration stays.
    EXPECT_FALSE(env.addLoadedPMT(Endpoint{3, 0xC000, 1, 0, "pch"}));
    ASSERT_NE(env.getLoadedPMTEndpoint(3), nullptr);
    EXPECT_EQ(env.getLoadedPMTEndpoint(3)->guid, 0xA000u);
    EXPECT_EQ(env.getLoadedPMTEndpoint(4), nullptr);
    // Endpoints by name or GUID come in endpoint order.
    EXPECT_EQ(numbers(env.getLoadedPMTEndpoints(std::string("soc"))),
              (std::vector<uint16_t>{3, 7}));
    EXPECT_EQ(numbers(env.getLoadedPMTEndpoints(0xA000u)), (std::vector<uint16_t>{3, 5}));
    EXPECT_EQ(env.getLoadedPMTNumberEndpoints(std::string("pch")), 0u);
    EXPECT_EQ(env.getLoadedPMTNumberEndpoints(0xA000u), 2u);
    // The lowest-numbered endpoint of a GUID decides its collection type.
    EXPECT_EQ(env.getLoadedPMTCollectionType(0xA000u), 1u);
    EXPECT_EQ(env.getLoadedPMTCollectionType(0xC000u), PluginEnvironment::kNoPMTCollectionType);
    EXPECT_EQ(env.getLoadedPMTGUIDs(), (std::vector<uint32_t>{0xA000u, 0xB000u}));

    // Platform GUIDs keep their order per platform, without repeats.
    env.addPMTPlatformGUID("mtl", 0x30u);
    env.addPMTPlatformGUID("mtl", 0x10u);
    env.addPMTPlatformGUID("mtl", 0x30u);
    env.addPMTPlatformGUID("arl", 0x10u);
    EXPECT_EQ(env.getPMTPlatformGUID("mtl", 1), 0x10u);
    EXPECT_EQ(env.getPMTPlatformGUID("mtl", 2), 0u);
    EXPECT_EQ(env.getPMTPlatformGUID("lnl", 0), 0u);
    // A GUID shared by two platforms names the alphabetically first.
    EXPECT_EQ(env.getPMTPlatformName(0x10u), "arl");
    EXPECT_EQ(env.getPMTPlatformName(0x99u), "");
}

}  // namespace
}  // namespace pwr
