// The Corvex operations of the plug-in environment against stand-in libraries
// (tests/plugins/fake_corvex.cpp, controlled through FakeCorvex.h), loaded
// through the module loader:
// FAKE_CORVEX_PATH exports every entry point, FAKE_CORVEX_CONFIG_ONLY_PATH only
// CORVEX_Config_Event, FAKE_CORVEX_NONE_PATH none.
#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <utility>
#include <vector>

#include "common/plugins/CorvexApi.h"
#include "common/plugins/PluginEnvironment.h"
#include "common/runtime/Module.h"
#include "tests/plugins/FakeCorvex.h"
#include "tests/support/EnvironmentCapture.h"

namespace pwr {
namespace {

using Fake = FakeCorvexState;
using Operation = bool (PluginEnvironment::*)();
const Operation kConfigure = &PluginEnvironment::configureCorvex;
const Operation kStart = &PluginEnvironment::startCorvex;
const Operation kStop = &PluginEnvironment::stopCorvex;

const char* const kNotConfigured =
    "ERROR: System not configured to allow access to bandwidth data.\n";
const char* const kStartMissing =
    "WARNING: Error due to NULL corvexDllHandle or invalid address for "
    "CORVEX_Start_Collection function !\n !\n";
const char* const kStopMissing =
    "WARNING: Error due to NULL corvexDllHandle or invalid address for "
    "CORVEX_Stop_Collection function !\n";

std::string configurationError(const std::string& text) {
    return "WARNING: CORVEX configuration error: " + text + ".\n";
}

class CorvexTest : public ::testing::Test {
  protected:
    void SetUp() override {
        for (const Module* module : {&full, &configOnly, &none}) {
            ASSERT_TRUE(module->isLoaded()) << module->getError();
        }
        fake = stateOf(full);
        fakeConfigOnly = stateOf(configOnly);
        ASSERT_TRUE(fake != nullptr && fakeConfigOnly != nullptr);
        *fake = FakeCorvexState();
        *fakeConfigOnly = FakeCorvexState();
        env().setCorvexDllHandle(full.getHandle());
        env().setCorvexConfigFileName("bandwidth.cfg");
    }

    static FakeCorvexState* stateOf(const Module& module) {
        auto fn = reinterpret_cast<FakeCorvexStateFn>(module.findSymbol(FAKE_CORVEX_STATE_NAME));
        return fn != nullptr ? fn() : nullptr;
    }
    void setErrorText(const std::string& text) {
        std::snprintf(fake->errorText, sizeof fake->errorText, "%s", text.c_str());
    }

    PluginEnvironment& env() { return cap.env(); }

    // Runs one operation: its result and exactly the lines it logged.
    ::testing::AssertionResult runs(Operation op, bool expected,
                                    const std::vector<std::string>& lines) {
        const bool result = (env().*op)();
        ::testing::AssertionResult logged = cap.loggedExactly(lines);
        cap.clear();
        if (result != expected) {
            return ::testing::AssertionFailure() << "returned " << result;
        }
        return logged;
    }

    Module full{FAKE_CORVEX_PATH};
    Module configOnly{FAKE_CORVEX_CONFIG_ONLY_PATH};
    Module none{FAKE_CORVEX_NONE_PATH};
    FakeCorvexState* fake = nullptr;
    FakeCorvexState* fakeConfigOnly = nullptr;
    test::EnvironmentCapture cap;
};

TEST_F(CorvexTest, ConfigureSucceedsWithTheConfigurationFile) {
    EXPECT_TRUE(
        runs(kConfigure, true, {"DEBUG: Reconfigured CORVEX interface (bandwidth.cfg)!\n"}));
    EXPECT_STREQ(fake->lastConfig, "bandwidth.cfg");
    EXPECT_EQ(fake->calls[Fake::kConfig], 1);
    env().setVerbosity(PW_WARNING);
    EXPECT_TRUE(runs(kConfigure, true, {}));
}

TEST_F(CorvexTest, ConfigureFailureLogsTheLibrarysReasonAndForgetsTheConfiguration) {
    fake->status[Fake::kConfig] = 5;
    setErrorText("driver not loaded");
    EXPECT_TRUE(runs(kConfigure, false, {kNotConfigured, configurationError("driver not loaded")}));
    EXPECT_EQ(fake->calls[Fake::kError], 1);
    EXPECT_EQ(env().getCorvexConfigFileName(), "");
    // Not configured any more: a second attempt has nothing to configure with.
    EXPECT_TRUE(runs(kConfigure, false, {}));
    EXPECT_EQ(fake->calls[Fake::kConfig], 1);
}

TEST_F(CorvexTest, ConfigureFailureLinesFollowTheVerbosityAndTheCorvexTag) {
    fake->status[Fake::kConfig] = -1;
    env().setVerbosity(PW_FATAL);
    EXPECT_TRUE(runs(kConfigure, false, {}));
    EXPECT_EQ(env().getCorvexConfigFileName(), "");

    env().setCorvexConfigFileName("bandwidth.cfg");
    env().setVerbosity(PW_ERROR);
    EXPECT_TRUE(runs(kConfigure, false, {kNotConfigured}));

    env().setCorvexConfigFileName("bandwidth.cfg");
    env().addCondLogTagForDebugLogging("corvex");
    EXPECT_TRUE(runs(kConfigure, false, {kNotConfigured, configurationError("fake failure")}));
}

TEST_F(CorvexTest, ConfigureFailureShowsWhateverErrorTextTheLibraryGives) {
    // Shown even when fetching it fails.
    fake->status[Fake::kConfig] = 1;
    fake->status[Fake::kError] = 1;
    setErrorText("");
    EXPECT_TRUE(runs(kConfigure, false, {kNotConfigured, configurationError("")}));
    // An overlong text is cut.
    env().setCorvexConfigFileName("bandwidth.cfg");
    setErrorText(std::string(3000, 'x'));
    EXPECT_TRUE(
        runs(kConfigure, false, {kNotConfigured, configurationError(std::string(1023, 'x'))}));
}

TEST_F(CorvexTest, ConfigureFailureWithoutTheErrorEntryPointLogsOnlyTheError) {
    env().setCorvexDllHandle(configOnly.getHandle());
    fakeConfigOnly->status[Fake::kConfig] = 2;
    EXPECT_TRUE(runs(kConfigure, false, {kNotConfigured}));
    EXPECT_EQ(env().getCorvexConfigFileName(), "");
}

TEST_F(CorvexTest, ConfigureWithoutModuleNameOrEntryPointReturnsFalseQuietly) {
    env().setCorvexDllHandle(nullptr);
    EXPECT_TRUE(runs(kConfigure, false, {}));
    env().setCorvexDllHandle(full.getHandle());
    env().setCorvexConfigFileName("");
    EXPECT_TRUE(runs(kConfigure, false, {}));
    env().setCorvexDllHandle(none.getHandle());
    env().setCorvexConfigFileName("bandwidth.cfg");
    EXPECT_TRUE(runs(kConfigure, false, {}));
    // Nothing failed in the library, so the configuration is kept.
    EXPECT_EQ(env().getCorvexConfigFileName(), "bandwidth.cfg");
}

TEST_F(CorvexTest, VersionOfAConfiguredLibrary) {
    unsigned version[3] = {};
    EXPECT_TRUE(env().getCorvexVersion(&version[0], &version[1], &version[2]));
    EXPECT_EQ(std::vector<unsigned>(version, version + 3), std::vector<unsigned>({5, 4, 3}));
    fake->status[Fake::kVersion] = 4;
    EXPECT_FALSE(env().getCorvexVersion(&version[0], &version[1], &version[2]));
    EXPECT_EQ(fake->calls[Fake::kVersion], 2);
    fake->status[Fake::kVersion] = 0;
    // Without an output, a configuration, the entry point or the library.
    EXPECT_FALSE(env().getCorvexVersion(nullptr, &version[1], &version[2]));
    env().setCorvexConfigFileName("");
    EXPECT_FALSE(env().getCorvexVersion(&version[0], &version[1], &version[2]));
    env().setCorvexConfigFileName("bandwidth.cfg");
    for (const ModuleHandle module : {configOnly.getHandle(), ModuleHandle{}}) {
        env().setCorvexDllHandle(module);
        EXPECT_FALSE(env().getCorvexVersion(&version[0], &version[1], &version[2]));
    }
    EXPECT_TRUE(cap.loggedExactly({}));
}

TEST_F(CorvexTest, StartAndStopNeedASuccessfulConfiguration) {
    fake->status[Fake::kConfig] = 1;
    EXPECT_FALSE(env().configureCorvex());
    cap.clear();
    // Not even the missing-library warning.
    for (const ModuleHandle module : {full.getHandle(), ModuleHandle{}}) {
        env().setCorvexDllHandle(module);
        EXPECT_TRUE(runs(kStart, false, {}));
        EXPECT_TRUE(runs(kStop, false, {}));
    }
}

TEST_F(CorvexTest, StartAndStopReportTheLibrarysStatus) {
    ASSERT_TRUE(
        runs(kConfigure, true, {"DEBUG: Reconfigured CORVEX interface (bandwidth.cfg)!\n"}));
    EXPECT_TRUE(runs(kStart, true,
                     {"INFO: CORVEX: CORVEX_Start_Collection return status - 0\n",
                      "INFO: OK, starting CORVEX collection!\n"}));
    EXPECT_TRUE(runs(kStop, true,
                     {"INFO: CORVEX: CORVEX_Stop_Collection return status - 0\n",
                      "INFO: OK, stopped CORVEX collection!\n"}));
    fake->status[Fake::kStart] = -3;
    fake->status[Fake::kStop] = 17;
    EXPECT_TRUE(runs(kStart, false,
                     {"INFO: CORVEX: CORVEX_Start_Collection return status - -3\n",
                      "WARNING: ERROR starting a CORVEX collection!\n"}));
    EXPECT_TRUE(runs(kStop, false,
                     {"INFO: CORVEX: CORVEX_Stop_Collection return status - 17\n",
                      "WARNING: ERROR stopping a CORVEX collection!\n"}));
    // A failed start does not unconfigure the library.
    EXPECT_EQ(env().getCorvexConfigFileName(), "bandwidth.cfg");
}

TEST_F(CorvexTest, StartAndStopWithoutTheEntryPointOrTheLibrary) {
    for (const ModuleHandle module : {configOnly.getHandle(), ModuleHandle{}}) {
        env().setCorvexDllHandle(module);
        EXPECT_TRUE(runs(kStart, false, {kStartMissing}));
        EXPECT_TRUE(runs(kStop, false, {kStopMissing}));
    }
}

TEST_F(CorvexTest, StartAndStopLinesFollowTheVerbosityAndTheCorvexTag) {
    env().setVerbosity(PW_WARNING);
    EXPECT_TRUE(runs(kStart, true, {}));
    fake->status[Fake::kStop] = 1;
    EXPECT_TRUE(runs(kStop, false, {"WARNING: ERROR stopping a CORVEX collection!\n"}));

    env().addCondLogTagForDebugLogging("corvex");
    EXPECT_TRUE(runs(kStart, true,
                     {"INFO: CORVEX: CORVEX_Start_Collection return status - 0\n",
                      "INFO: OK, starting CORVEX collection!\n"}));
}

TEST(ModuleLoadTest, FailuresGiveTheSystemsReasonAndMovesKeepTheLibrary) {
    Module missing("no_such_corvex_library_here.bin");
    EXPECT_FALSE(missing.isLoaded());
    EXPECT_FALSE(missing.getError().empty());
    std::string error;
    EXPECT_EQ(loadModule(nullptr, &error), nullptr);
    EXPECT_FALSE(error.empty());
    EXPECT_FALSE(freeModule(nullptr));

    Module first(FAKE_CORVEX_PATH);
    ASSERT_TRUE(first.isLoaded()) << first.getError();
    Module second(std::move(first));
    EXPECT_FALSE(first.isLoaded());  // NOLINT(bugprone-use-after-move): moved-from state
    Module third;
    third = std::move(second);
    EXPECT_NE(third.findSymbol(CORVEX_STOP_COLLECTION_NAME), nullptr);
    EXPECT_FALSE(third.load("no_such_corvex_library_here.bin"));
    EXPECT_FALSE(third.isLoaded());
}

}  // namespace
}  // namespace pwr
