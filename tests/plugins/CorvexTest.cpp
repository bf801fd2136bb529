// The Corvex operations of the plug-in environment against stand-in libraries
// (tests/plugins/fake_corvex.cpp), loaded through the module loader:
// FAKE_CORVEX_PATH exports every entry point, FAKE_CORVEX_CONFIG_ONLY_PATH only
// CORVEX_Config_Event, FAKE_CORVEX_NONE_PATH none.
#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "common/plugins/CorvexApi.h"
#include "common/plugins/PluginEnvironment.h"
#include "common/runtime/Module.h"
#include "tests/support/EnvironmentCapture.h"

namespace pwr {
namespace {

using test::EnvironmentCapture;

const char* const kStartMissing =
    "WARNING: Error due to NULL corvexDllHandle or invalid address for "
    "CORVEX_Start_Collection function !\n !\n";
const char* const kStopMissing =
    "WARNING: Error due to NULL corvexDllHandle or invalid address for "
    "CORVEX_Stop_Collection function !\n";

// The control functions of one loaded stand-in.
struct FakeCorvex {
    explicit FakeCorvex(const Module& module)
        : reset(find<void (*)()>(module, "fake_corvex_reset")),
          setStatus(find<int (*)(const char*, int)>(module, "fake_corvex_set_status")),
          setErrorText(find<void (*)(const char*)>(module, "fake_corvex_set_error_text")),
          setVersion(
              find<void (*)(unsigned, unsigned, unsigned)>(module, "fake_corvex_set_version")),
          calls(find<int (*)(const char*)>(module, "fake_corvex_calls")),
          lastConfig(find<const char* (*)()>(module, "fake_corvex_last_config")) {}

    bool complete() const {
        return reset && setStatus && setErrorText && setVersion && calls && lastConfig;
    }

    template <typename Fn>
    static Fn find(const Module& module, const char* name) {
        return reinterpret_cast<Fn>(module.findSymbol(name));
    }

    void (*reset)();
    int (*setStatus)(const char*, int);
    void (*setErrorText)(const char*);
    void (*setVersion)(unsigned, unsigned, unsigned);
    int (*calls)(const char*);
    const char* (*lastConfig)();
};

class CorvexTest : public ::testing::Test {
  protected:
    void SetUp() override {
        ASSERT_TRUE(full.isLoaded()) << FAKE_CORVEX_PATH << ": " << full.getError();
        ASSERT_TRUE(configOnly.isLoaded())
            << FAKE_CORVEX_CONFIG_ONLY_PATH << ": " << configOnly.getError();
        ASSERT_TRUE(none.isLoaded()) << FAKE_CORVEX_NONE_PATH << ": " << none.getError();
        ASSERT_TRUE(fake.complete());
        ASSERT_TRUE(fakeConfigOnly.complete());
        fake.reset();
        fakeConfigOnly.reset();
        env().setCorvexDllHandle(full.getHandle());
        env().setCorvexConfigFileName("bandwidth.cfg");
    }

    PluginEnvironment& env() { return cap.env(); }

    // Configures against the full stand-in and forgets the lines it logged.
    void configure() {
        ASSERT_TRUE(env().configureCorvex());
        cap.clear();
    }

    Module full{FAKE_CORVEX_PATH};
    Module configOnly{FAKE_CORVEX_CONFIG_ONLY_PATH};
    Module none{FAKE_CORVEX_NONE_PATH};
    FakeCorvex fake{full};
    FakeCorvex fakeConfigOnly{configOnly};
    EnvironmentCapture cap;
};

// --- The stand-ins themselves.

TEST_F(CorvexTest, EntryPointsAreFoundByNameOnlyWhereExported) {
    for (const char* name :
         {CORVEX_CONFIG_EVENT_NAME, CORVEX_GET_ERROR_MESSAGE_NAME, CORVEX_GET_VERSION_NAME,
          CORVEX_START_COLLECTION_NAME, CORVEX_STOP_COLLECTION_NAME}) {
        EXPECT_NE(full.findSymbol(name), nullptr) << name;
        EXPECT_EQ(none.findSymbol(name), nullptr) << name;
    }
    EXPECT_NE(configOnly.findSymbol(CORVEX_CONFIG_EVENT_NAME), nullptr);
    EXPECT_EQ(configOnly.findSymbol(CORVEX_START_COLLECTION_NAME), nullptr);
    EXPECT_EQ(full.findSymbol("CORVEX_No_Such_Entry"), nullptr);
    EXPECT_EQ(findModuleSymbol(nullptr, CORVEX_CONFIG_EVENT_NAME), nullptr);
}

// --- configureCorvex.

TEST_F(CorvexTest, ConfigureSucceedsWithTheConfigurationFile) {
    EXPECT_TRUE(env().configureCorvex());
    EXPECT_STREQ(fake.lastConfig(), "bandwidth.cfg");
    EXPECT_EQ(fake.calls(CORVEX_CONFIG_EVENT_NAME), 1);
    EXPECT_TRUE(cap.loggedExactly({"DEBUG: Reconfigured CORVEX interface (bandwidth.cfg)!\n"}));
    EXPECT_EQ(env().getCorvexConfigFileName(), "bandwidth.cfg");
}

TEST_F(CorvexTest, ConfigureSuccessLineIsADebugLine) {
    env().setVerbosity(PW_WARNING);
    EXPECT_TRUE(env().configureCorvex());
    EXPECT_TRUE(cap.loggedExactly({}));
}

TEST_F(CorvexTest, ConfigureFailureLogsTheLibrarysReasonAndForgetsTheConfiguration) {
    fake.setStatus(CORVEX_CONFIG_EVENT_NAME, 5);
    fake.setErrorText("driver not loaded");
    EXPECT_FALSE(env().configureCorvex());
    EXPECT_TRUE(cap.loggedExactly({
        "ERROR: System not configured to allow access to bandwidth data.\n",
        "WARNING: CORVEX configuration error: driver not loaded.\n",
    }));
    EXPECT_EQ(fake.calls(CORVEX_GET_ERROR_MESSAGE_NAME), 1);
    EXPECT_EQ(env().getCorvexConfigFileName(), "");
    // Not configured any more: a second attempt has nothing to configure with.
    cap.clear();
    EXPECT_FALSE(env().configureCorvex());
    EXPECT_EQ(fake.calls(CORVEX_CONFIG_EVENT_NAME), 1);
    EXPECT_TRUE(cap.loggedExactly({}));
}

TEST_F(CorvexTest, ConfigureFailureWarningNeedsWarningsOrTheCorvexTag) {
    fake.setStatus(CORVEX_CONFIG_EVENT_NAME, -1);
    env().setVerbosity(PW_ERROR);
    EXPECT_FALSE(env().configureCorvex());
    EXPECT_TRUE(
        cap.loggedExactly({"ERROR: System not configured to allow access to bandwidth data.\n"}));

    cap.clear();
    env().setCorvexConfigFileName("bandwidth.cfg");
    env().addCondLogTagForDebugLogging("corvex");
    EXPECT_FALSE(env().configureCorvex());
    EXPECT_TRUE(cap.loggedExactly({
        "ERROR: System not configured to allow access to bandwidth data.\n",
        "WARNING: CORVEX configuration error: fake failure.\n",
    }));
}

TEST_F(CorvexTest, ConfigureFailureAtFatalVerbosityIsSilentButStillForgets) {
    fake.setStatus(CORVEX_CONFIG_EVENT_NAME, 1);
    env().setVerbosity(PW_FATAL);
    EXPECT_FALSE(env().configureCorvex());
    EXPECT_TRUE(cap.loggedExactly({}));
    EXPECT_EQ(env().getCorvexConfigFileName(), "");
}

TEST_F(CorvexTest, ConfigureFailureShowsTheErrorTextEvenWhenFetchingItFails) {
    fake.setStatus(CORVEX_CONFIG_EVENT_NAME, 1);
    fake.setStatus(CORVEX_GET_ERROR_MESSAGE_NAME, 1);
    fake.setErrorText("");
    EXPECT_FALSE(env().configureCorvex());
    EXPECT_TRUE(cap.loggedExactly({
        "ERROR: System not configured to allow access to bandwidth data.\n",
        "WARNING: CORVEX configuration error: .\n",
    }));
}

TEST_F(CorvexTest, ConfigureFailureCutsAnOverlongErrorText) {
    fake.setStatus(CORVEX_CONFIG_EVENT_NAME, 1);
    const std::string longText(3000, 'x');
    fake.setErrorText(longText.c_str());
    EXPECT_FALSE(env().configureCorvex());
    const std::vector<std::string> lines = cap.lines();
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_EQ(lines[1], "WARNING: CORVEX configuration error: " + std::string(1023, 'x') + ".\n");
}

TEST_F(CorvexTest, ConfigureFailureWithoutTheErrorEntryPointLogsOnlyTheError) {
    env().setCorvexDllHandle(configOnly.getHandle());
    fakeConfigOnly.setStatus(CORVEX_CONFIG_EVENT_NAME, 2);
    EXPECT_FALSE(env().configureCorvex());
    EXPECT_TRUE(
        cap.loggedExactly({"ERROR: System not configured to allow access to bandwidth data.\n"}));
    EXPECT_EQ(env().getCorvexConfigFileName(), "");
}

TEST_F(CorvexTest, ConfigureWithoutModuleNameOrEntryPointReturnsFalseQuietly) {
    env().setCorvexDllHandle(nullptr);
    EXPECT_FALSE(env().configureCorvex());

    env().setCorvexDllHandle(full.getHandle());
    env().setCorvexConfigFileName("");
    EXPECT_FALSE(env().configureCorvex());
    EXPECT_EQ(fake.calls(CORVEX_CONFIG_EVENT_NAME), 0);

    env().setCorvexDllHandle(none.getHandle());
    env().setCorvexConfigFileName("bandwidth.cfg");
    EXPECT_FALSE(env().configureCorvex());
    // Nothing failed in the library, so the configuration is kept.
    EXPECT_EQ(env().getCorvexConfigFileName(), "bandwidth.cfg");
    EXPECT_TRUE(cap.loggedExactly({}));
}

// --- getCorvexVersion.

TEST_F(CorvexTest, VersionOfAConfiguredLibrary) {
    configure();
    fake.setVersion(7, 8, 9);
    unsigned major = 0;
    unsigned minor = 0;
    unsigned patch = 0;
    EXPECT_TRUE(env().getCorvexVersion(&major, &minor, &patch));
    EXPECT_EQ(major, 7u);
    EXPECT_EQ(minor, 8u);
    EXPECT_EQ(patch, 9u);
    EXPECT_TRUE(cap.loggedExactly({}));
}

TEST_F(CorvexTest, VersionNeedsAConfiguration) {
    // A configuration name is set but the library refused it.
    fake.setStatus(CORVEX_CONFIG_EVENT_NAME, 1);
    EXPECT_FALSE(env().configureCorvex());
    unsigned major = 0;
    unsigned minor = 0;
    unsigned patch = 0;
    EXPECT_FALSE(env().getCorvexVersion(&major, &minor, &patch));
    EXPECT_EQ(fake.calls(CORVEX_GET_VERSION_NAME), 0);

    env().setCorvexConfigFileName("bandwidth.cfg");
    env().setCorvexDllHandle(nullptr);
    EXPECT_FALSE(env().getCorvexVersion(&major, &minor, &patch));
}

TEST_F(CorvexTest, VersionFailuresLeaveTheOutputsAlone) {
    configure();
    unsigned major = 11;
    unsigned minor = 12;
    unsigned patch = 13;
    fake.setStatus(CORVEX_GET_VERSION_NAME, 4);
    EXPECT_FALSE(env().getCorvexVersion(&major, &minor, &patch));
    EXPECT_EQ(fake.calls(CORVEX_GET_VERSION_NAME), 1);
    EXPECT_FALSE(env().getCorvexVersion(nullptr, &minor, &patch));
    EXPECT_EQ(fake.calls(CORVEX_GET_VERSION_NAME), 1);

    env().setCorvexDllHandle(configOnly.getHandle());
    EXPECT_FALSE(env().getCorvexVersion(&major, &minor, &patch));
    EXPECT_EQ(major, 11u);
    EXPECT_EQ(minor, 12u);
    EXPECT_EQ(patch, 13u);
    EXPECT_TRUE(cap.loggedExactly({}));
}

// --- startCorvex and stopCorvex.

TEST_F(CorvexTest, StartBeforeConfigureSucceededReturnsFalseAndLogsNothing) {
    env().setCorvexConfigFileName("");
    EXPECT_FALSE(env().startCorvex());
    EXPECT_FALSE(env().stopCorvex());

    env().setCorvexConfigFileName("bandwidth.cfg");
    fake.setStatus(CORVEX_CONFIG_EVENT_NAME, 1);
    EXPECT_FALSE(env().configureCorvex());
    cap.clear();
    EXPECT_FALSE(env().startCorvex());
    EXPECT_FALSE(env().stopCorvex());
    // Not even the missing-library warning: without a module it is the same.
    env().setCorvexDllHandle(nullptr);
    EXPECT_FALSE(env().startCorvex());
    EXPECT_TRUE(cap.loggedExactly({}));
    EXPECT_EQ(fake.calls(CORVEX_START_COLLECTION_NAME), 0);
    EXPECT_EQ(fake.calls(CORVEX_STOP_COLLECTION_NAME), 0);
}

TEST_F(CorvexTest, StartAndStopSucceed) {
    configure();
    EXPECT_TRUE(env().startCorvex());
    EXPECT_TRUE(cap.loggedExactly({
        "INFO: CORVEX: CORVEX_Start_Collection return status - 0\n",
        "INFO: OK, starting CORVEX collection!\n",
    }));
    cap.clear();
    EXPECT_TRUE(env().stopCorvex());
    EXPECT_TRUE(cap.loggedExactly({
        "INFO: CORVEX: CORVEX_Stop_Collection return status - 0\n",
        "INFO: OK, stopped CORVEX collection!\n",
    }));
    EXPECT_EQ(fake.calls(CORVEX_START_COLLECTION_NAME), 1);
    EXPECT_EQ(fake.calls(CORVEX_STOP_COLLECTION_NAME), 1);
}

TEST_F(CorvexTest, StartAndStopFailWithTheLibrarysStatus) {
    configure();
    fake.setStatus(CORVEX_START_COLLECTION_NAME, -3);
    fake.setStatus(CORVEX_STOP_COLLECTION_NAME, 17);
    EXPECT_FALSE(env().startCorvex());
    EXPECT_TRUE(cap.loggedExactly({
        "INFO: CORVEX: CORVEX_Start_Collection return status - -3\n",
        "WARNING: ERROR starting a CORVEX collection!\n",
    }));
    cap.clear();
    EXPECT_FALSE(env().stopCorvex());
    EXPECT_TRUE(cap.loggedExactly({
        "INFO: CORVEX: CORVEX_Stop_Collection return status - 17\n",
        "WARNING: ERROR stopping a CORVEX collection!\n",
    }));
    // A failed start does not unconfigure the library.
    EXPECT_EQ(env().getCorvexConfigFileName(), "bandwidth.cfg");
}

TEST_F(CorvexTest, StartAndStopWithoutTheEntryPoint) {
    env().setCorvexDllHandle(configOnly.getHandle());
    ASSERT_TRUE(env().configureCorvex());
    cap.clear();
    EXPECT_FALSE(env().startCorvex());
    EXPECT_FALSE(env().stopCorvex());
    EXPECT_TRUE(cap.loggedExactly({kStartMissing, kStopMissing}));
}

TEST_F(CorvexTest, StartAndStopWithoutTheLibrary) {
    configure();
    env().setCorvexDllHandle(nullptr);
    EXPECT_FALSE(env().startCorvex());
    EXPECT_FALSE(env().stopCorvex());
    EXPECT_TRUE(cap.loggedExactly({kStartMissing, kStopMissing}));
    EXPECT_EQ(fake.calls(CORVEX_START_COLLECTION_NAME), 0);
}

TEST_F(CorvexTest, StartAndStopLinesFollowTheVerbosityAndTheCorvexTag) {
    configure();
    env().setVerbosity(PW_WARNING);
    EXPECT_TRUE(env().startCorvex());
    fake.setStatus(CORVEX_STOP_COLLECTION_NAME, 1);
    EXPECT_FALSE(env().stopCorvex());
    EXPECT_TRUE(cap.loggedExactly({"WARNING: ERROR stopping a CORVEX collection!\n"}));

    cap.clear();
    env().addCondLogTagForDebugLogging("corvex");
    EXPECT_TRUE(env().startCorvex());
    EXPECT_TRUE(cap.loggedExactly({
        "INFO: CORVEX: CORVEX_Start_Collection return status - 0\n",
        "INFO: OK, starting CORVEX collection!\n",
    }));

    cap.clear();
    env().setVerbosity(PW_ERROR);
    env().setCorvexDllHandle(none.getHandle());
    EXPECT_FALSE(env().startCorvex());
    EXPECT_TRUE(cap.loggedExactly({}));
}

// --- The module loader's failures.

TEST(ModuleLoadTest, MissingLibraryFailsWithTheSystemsReason) {
    Module module("no_such_corvex_library_here.bin");
    EXPECT_FALSE(module.isLoaded());
    EXPECT_FALSE(module.getError().empty());
    EXPECT_EQ(module.findSymbol(CORVEX_CONFIG_EVENT_NAME), nullptr);
    std::string error;
    EXPECT_EQ(loadModule(nullptr, &error), nullptr);
    EXPECT_FALSE(error.empty());
    EXPECT_FALSE(freeModule(nullptr));
}

TEST(ModuleLoadTest, MovedModuleKeepsTheLibraryLoaded) {
    Module first(FAKE_CORVEX_PATH);
    ASSERT_TRUE(first.isLoaded()) << first.getError();
    Module second(std::move(first));
    EXPECT_FALSE(first.isLoaded());  // NOLINT(bugprone-use-after-move): moved-from state
    ASSERT_TRUE(second.isLoaded());
    EXPECT_NE(second.findSymbol(CORVEX_START_COLLECTION_NAME), nullptr);
    Module third;
    third = std::move(second);
    EXPECT_NE(third.findSymbol(CORVEX_STOP_COLLECTION_NAME), nullptr);
    EXPECT_FALSE(third.load("no_such_corvex_library_here.bin"));
    EXPECT_FALSE(third.isLoaded());
}

}  // namespace
}  // namespace pwr
