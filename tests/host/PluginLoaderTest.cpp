// Which plug-in modules the loader skips, and the one line it gives for each.
#include "host/PluginLoader.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <ostream>
#include <string>
#include <system_error>

#include "tests/support/LogCapture.h"

namespace vantry {
namespace {

namespace fs = std::filesystem;

struct BrokenModule {
    const char* name;
    const char* built;  // the module as the build made it
    std::string line;   // the warning, "@" standing for the module's path
};

void PrintTo(const BrokenModule& module, std::ostream* os) {
    *os << module.name;
}

class PluginLoaderTest : public ::testing::TestWithParam<BrokenModule> {
  protected:
    void SetUp() override {
        std::error_code ec;
        fs::remove_all(m_folder, ec);
        fs::create_directory(m_folder, ec);
        ASSERT_FALSE(ec) << ec.message();
    }
    void TearDown() override {
        std::error_code ec;
        fs::remove_all(m_folder, ec);
    }

    const fs::path m_folder = "plugin_loader_test";
};

// The module alone in a plug-in folder: it is skipped with exactly one
// warning and nothing of it is kept, so the folder holds no plug-in.
TEST_P(PluginLoaderTest, BrokenModuleIsSkippedWithOneWarning) {
    const fs::path module = m_folder / fs::path(GetParam().built).filename();
    std::error_code ec;
    fs::copy_file(GetParam().built, module, ec);
    ASSERT_FALSE(ec) << GetParam().built << ": " << ec.message();

    pwr::test::LogCapture log;
    std::string error;
    {
        PluginLoader loader;
        EXPECT_FALSE(loader.loadFolder(m_folder.string(), error));
        EXPECT_TRUE(loader.all().empty());
    }
    EXPECT_EQ(error, "no plug-in modules in \"plugin_loader_test\"");
    std::string line = GetParam().line;
    line.replace(line.find('@'), 1, module.string());
    EXPECT_TRUE(log.loggedExactly({line}));
}

INSTANTIATE_TEST_SUITE_P(
    Modules, PluginLoaderTest,
    ::testing::Values(
        BrokenModule{"NoEntryPoint", BAD_MODULE_NO_ENTRY_PATH,
                     "WARNING: @ is not a Vantry plug-in module (no vantryGetPlugins); skipped\n"},
        BrokenModule{"NegativeCount", BAD_MODULE_NEGATIVE_PATH,
                     "WARNING: plug-in module @ reports -1 plug-ins, not a count from 0 to 1024; "
                     "skipped\n"},
        // Believed, this count would have the host reserve 16 GB for pointers.
        BrokenModule{"HugeCount", BAD_MODULE_HUGE_PATH,
                     "WARNING: plug-in module @ reports 2000000000 plug-ins, not a count from 0 "
                     "to 1024; skipped\n"}),
    [](const ::testing::TestParamInfo<BrokenModule>& info) { return info.param.name; });

}  // namespace
}  // namespace vantry
