#include "common/config/WriterInterfaceConfigFileParser.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <random>
#include <string>
#include <vector>

#include "common/serialize/SystemMetadata.h"
#include "tests/support/LogCapture.h"

namespace {

using pwr::TableInfo;

const char* const c_sanity =
    "config file parser sanity checks did NOT pass -- config files are invalid!\n";
const char* const c_file = "output_config_test.cfg";

pwr::WriterInterfaceConfigFileParser& parser() {
    return *pwr::WriterInterfaceConfigFileParser::instance();
}

class OutputConfigTest : public ::testing::Test {
  protected:
    void SetUp() override { log.context().setVerbosity(PW_WARNING); }
    void TearDown() override {
        pwr::WriterInterfaceConfigFileParser::destroy();
        std::remove(c_file);
    }
    // Parses text as one file; what went to standard error lands in err.
    int parseText(const std::string& text, const std::string& platform = "MTL-P") {
        write(c_file, text);
        return parseFiles({c_file}, platform);
    }
    static void write(const char* path, const std::string& text) {
        std::FILE* f = std::fopen(path, "wb");
        ASSERT_NE(f, nullptr);
        std::fwrite(text.data(), 1, text.size(), f);
        std::fclose(f);
    }
    int parseFiles(const std::vector<std::string>& paths, const std::string& platform) {
        pwr::SystemMetadata sys;
        sys.platformName = platform;
        testing::internal::CaptureStderr();
        const int rc = parser().parse(paths, sys);
        err = testing::internal::GetCapturedStderr();
        return rc;
    }
    std::string info(const std::string& feature, const std::string& container,
                     const std::string& type, const std::string& key) {
        TableInfo table;
        std::string value = "<none>";
        if (parser().getTableInfoFor(table, feature, container, type)) {
            table.getValue(key, value);
        }
        return value;
    }
    pwr::test::LogCapture log;
    std::string err;
};

TEST_F(OutputConfigTest, ExampleFile) {
    ASSERT_EQ(parseFiles({VANTRY_TEST_DATA_DIR "/output_example.cfg"}, "MTL-P 682"), 0);
    EXPECT_EQ(err, "");
    EXPECT_TRUE(log.loggedExactly({}));
    std::vector<std::string> list;
    ASSERT_TRUE(parser().getFeatureOrder(list));
    EXPECT_EQ(list, (std::vector<std::string>{"core-cstate", "thermal", "power"}));
    ASSERT_TRUE(parser().getMetricOrderForFeature(list, "core-cstate"));
    EXPECT_EQ(list, (std::vector<std::string>{"Core C-State Residency", "Core C-State Counts"}));
    ASSERT_TRUE(parser().getMetricOrderForFeature(list, "power"));
    EXPECT_EQ(list, (std::vector<std::string>{"Package Power"}));
    ASSERT_TRUE(parser().getAllFeaturePrefixes(list));
    EXPECT_EQ(list, (std::vector<std::string>{"core-cstate", "power", "thermal"}));
    std::deque<std::string> types;
    ASSERT_TRUE(parser().getTableOrderForMetric(types, "core-cstate_Core C-State Residency"));
    EXPECT_EQ(types, (std::deque<std::string>{"RESIDENCY-PERCENTAGE", "RESIDENCY-MILLISECOND"}));

    TableInfo t;
    ASSERT_TRUE(parser().getTableInfoFor(t, "core-cstate", "Core C-State Residency",
                                         "RESIDENCY-PERCENTAGE"));
    std::string text;
    EXPECT_TRUE(t.getPreTableNote(text));
    EXPECT_EQ(text, "Residency_in=percent of wall time");
    EXPECT_TRUE(t.isTableTransposed() && t.isTableDisplayed() && !t.suppressTotal());
    EXPECT_EQ(info("core-cstate", "Core C-State Residency", "RESIDENCY-PERCENTAGE", "STATES"),
              "CC0,CC1,CC6,CC7");
    EXPECT_EQ(info("thermal", "Temperature Metrics", "MIN-MAX-AVG", "TITLE"), "Temperatures (C)");
    // MTL lines apply to MTL-P; ADL-P lines do not.
    EXPECT_EQ(info("thermal", "Temperature Metrics", "MIN-MAX-AVG", "TRANSPOSE"), "YES");
    EXPECT_EQ(info("power", "Package Power", "AVERAGE-RATE-TOTAL", "TABLE"), "<none>");
    EXPECT_FALSE(parser().getTableInfoFor(t, "thermal", "Temperature Metrics", "MIN-MAX"));
    EXPECT_FALSE(parser().getTableOrderForMetric(types, "Temperature Metrics"));
}

struct YesCase {
    std::string value;
    bool yes;
};

class TableInfoYesTest : public ::testing::TestWithParam<YesCase> {};

TEST_P(TableInfoYesTest, OnlyExactYesCounts) {
    for (const char* key : {"TABLE", "TRANSPOSE", "SUPPRESS-TOTAL"}) {
        TableInfo t;
        ASSERT_TRUE(t.setKeyValuePair(key, GetParam().value));
        const bool got = std::string(key) == "TABLE"       ? t.isTableDisplayed()
                         : std::string(key) == "TRANSPOSE" ? t.isTableTransposed()
                                                           : t.suppressTotal();
        EXPECT_EQ(got, GetParam().yes) << key;
    }
}

INSTANTIATE_TEST_SUITE_P(Values, TableInfoYesTest,
                         ::testing::Values(YesCase{"YES", true}, YesCase{"yes", false},
                                           YesCase{"Yes", false}, YesCase{"NO", false},
                                           YesCase{"YES ", false}, YesCase{"YESS", false},
                                           YesCase{"Y", false}, YesCase{"", false}));

TEST(TableInfoTest, DefaultsAndDuplicateKey) {
    pwr::test::LogCapture log;
    TableInfo t;
    std::string out = "untouched";
    EXPECT_TRUE(t.isEmpty() && t.isTableDisplayed() && !t.isTableTransposed());
    EXPECT_FALSE(t.getTableTitle(out) || t.getPreTableNote(out) || t.getPostTableNote(out));
    EXPECT_EQ(out, "untouched");
    EXPECT_TRUE(t.setKeyValuePair("TITLE", "first"));
    EXPECT_FALSE(t.setKeyValuePair("TITLE", "second"));
    EXPECT_TRUE(t.getTableTitle(out));
    EXPECT_EQ(out, "first");
    EXPECT_TRUE(log.loggedExactly(
        {"WARNING: Config table info (TITLE) entry already present for metric table\n"}));
}

TEST_F(OutputConfigTest, DuplicateTableKeyKeepsFirstValue) {
    ASSERT_EQ(parseText("ALL_OUTPUT-ORDER_TAG_FEATURE_ORDER=f\nALL_f_TAG_TABLE_ORDER=c\n"
                        "ALL_f_c_MIN-MAX_TITLE=one\nMTL_f_c_MIN-MAX_TITLE=two\n"),
              0);
    EXPECT_EQ(info("f", "c", "MIN-MAX", "TITLE"), "one");
    EXPECT_TRUE(
        log.loggedExactly({"WARNING: Config table info (TITLE) entry already present "
                           "for metric table MIN-MAX for metric container c\n"}));
}

TEST_F(OutputConfigTest, OrderingGapsWarn) {
    ASSERT_EQ(
        parseText("ALL_OUTPUT-ORDER_TAG_FEATURE_ORDER=a,b\nALL_OUTPUT-ORDER_TAG_FEATURE_"
                  "ORDER=c,a\nALL_b_TAG_TABLE_ORDER=x\nALL_d_x_T_TITLE=t\nALL_e_x_T_TITLE=t\n"),
        0);
    std::vector<std::string> order;
    ASSERT_TRUE(parser().getFeatureOrder(order));
    EXPECT_EQ(order, (std::vector<std::string>{"a", "b", "c"}));
    EXPECT_TRUE(log.loggedExactly(
        {"\nWARNING: Output Config: Ordering requested for the following features, but "
         "corresponding metric container ordering entries "
         "(ALL_<FEATURE-SWITCH-TAG>_TAG_TABLE_ORDER) missing:\na, c, \n",
         "\nWARNING: Output Config: Metric container table entries present for the following "
         "feature, but feature ordering not explicitly requested. Missing feature switch tags in "
         "'ALL_OUTPUT-ORDER_TAG_FEATURE_ORDER=<FEATURE-SWITCH-TAG>,...'. (This may be acceptable "
         "for metrics that don't need to be in specific order):\nd, e, \n"}));
}

TEST_F(OutputConfigTest, InfoDump) {
    log.context().setVerbosity(PW_INFO);
    ASSERT_EQ(parseText("ALL_OUTPUT-ORDER_TAG_FEATURE_ORDER=f\nALL_f_TAG_TABLE_ORDER=c\n"
                        "ALL_f_c_T_TITLE=x_y\nADL_f_c_T_TABLE=NO\n"),
              0);
    EXPECT_TRUE(log.loggedExactly(
        {"INFO: Path is: output_config_test.cfg\n", "INFO: Prefix f, value c\n",
         "INFO: Feature prefix f, value c\n", "INFO: Prefix f, value x_y\n",
         "INFO: key TITLE, table-type T, value x_y\n", "INFO: Feature order:\n",
         "INFO: \tcurr Feature: f\n", "INFO: Metric order per Feature:\n",
         "INFO: curr Feature: f\n", "INFO: \tcurr Metric: c\n", "INFO: curr Key: f_c\n",
         "INFO: \tcurr Table: T\n", "INFO: \t\tcurr Table-Info: TITLE, value: x_y\n"}));
}

TEST_F(OutputConfigTest, MissingFile) {
    EXPECT_EQ(parseFiles({"no_such_output.cfg"}, "MTL"), -1);
    EXPECT_EQ(err, "Error opening config file no_such_output.cfg\n");
    EXPECT_TRUE(log.loggedExactly({c_sanity}));
}

// A bad file takes back only its own lines; the other files still count.
TEST_F(OutputConfigTest, BadFileKeepsOtherFiles) {
    write("output_config_good.cfg", "ALL_f_c_T_TITLE=good\n");
    write(c_file, "ALL_g_c_T_TITLE=lost\nALL_g_c_T_COLOR=red\n");
    EXPECT_EQ(parseFiles({c_file, "output_config_good.cfg"}, "MTL"), -1);
    std::remove("output_config_good.cfg");
    EXPECT_EQ(info("f", "c", "T", "TITLE"), "good");
    EXPECT_EQ(info("g", "c", "T", "TITLE"), "<none>");
}

struct HeadCase {
    std::string head;
    std::string platform;
    bool applies;
};

class OutputConfigHeadTest : public OutputConfigTest,
                             public ::testing::WithParamInterface<HeadCase> {};

TEST_P(OutputConfigHeadTest, MatchesPlatformName) {
    ASSERT_EQ(parseText(GetParam().head + "_f_c_T_TITLE=t\n", GetParam().platform), 0);
    EXPECT_EQ(info("f", "c", "T", "TITLE") == "t", GetParam().applies);
}

INSTANTIATE_TEST_SUITE_P(
    Heads, OutputConfigHeadTest,
    ::testing::Values(HeadCase{"ALL", "", true}, HeadCase{"ALL", "MTL", true},
                      HeadCase{"MTL", "MTL", true}, HeadCase{"MTL", "MTL-P", true},
                      HeadCase{"MTL", "MTL 682", true}, HeadCase{"MTL", "MTLX", false},
                      HeadCase{"MTL", "MT", false}, HeadCase{"ADL-P", "ADL-PS", false},
                      HeadCase{"ADL-P", "ADL-P/ADP", true}, HeadCase{"mtl", "MTL", false}));

struct BadCase {
    std::string line;
    std::vector<std::string> rules;  // the failing rules, innermost first
};

class OutputConfigBadLineTest : public OutputConfigTest,
                                public ::testing::WithParamInterface<BadCase> {};

// A bad line names itself and its file, and nothing the file set is kept.
TEST_P(OutputConfigBadLineTest, RefusesWholeFile) {
    const std::string text = "ALL_OUTPUT-ORDER_TAG_FEATURE_ORDER=f\n# note\nALL_f_c_T_TITLE=t\n" +
                             GetParam().line + "\r\nALL_g_c_T_TITLE=t\n";
    EXPECT_EQ(parseText(text), -1);
    EXPECT_EQ(err, "ERROR parsing line " + GetParam().line + " (line 4 of " + c_file +
                       ")\nERROR parsing config file " + c_file + "\n");
    std::vector<std::string> expected;
    for (const auto& rule : GetParam().rules) {
        expected.push_back("WARNING: ERROR calling function \"" + rule + "\"\n");
    }
    expected.push_back(c_sanity);
    EXPECT_TRUE(log.loggedExactly(expected));
    std::vector<std::string> list;
    EXPECT_FALSE(parser().getFeatureOrder(list) || parser().getAllFeaturePrefixes(list));
}

const std::vector<std::string> c_tag = {"tagSub", "metricRule", "platformRule"};
INSTANTIATE_TEST_SUITE_P(
    Lines, OutputConfigBadLineTest,
    ::testing::Values(
        BadCase{"ALL_f_c_T_TITLE", {}}, BadCase{"ALL_f_c_TITLE=x_y", {}},
        BadCase{"ALL_f_c_T_TITEL=x", c_tag}, BadCase{"ALL_f_c_T_title=x", c_tag},
        BadCase{"ALL_f__T_TITLE=x", c_tag}, BadCase{"ALL_f_c_=T_TITLE=x", c_tag},
        BadCase{"ALL_f_c _T_TITLE=x", c_tag}, BadCase{"ALL_f_c_T_=x", c_tag},
        BadCase{"ALL__c_T_TITLE=x", {"prefixRule", "platformRule"}},
        BadCase{"1ALL_f_c_T_TITLE=x", {"platformHead", "platformSub", "platformRule"}},
        BadCase{"_f_c_T_TITLE=x", {"platformHead", "platformSub", "platformRule"}},
        BadCase{"MTL/P_f_c_T_TITLE=x", {"platformTail", "platformSub", "platformRule"}},
        BadCase{"ALL_OUTPUT-ORDER_TAG_FEATURE_LIST=a", {"featureOrderRule", "platformRule"}},
        BadCase{"ALL_OUTPUT-ORDER_TAG_TABLE_ORDER=a", {"featureOrderRule", "platformRule"}},
        BadCase{"ALL_OUTPUT-ORDER_TAG_FEATURE_ORDER= , ,",
                {"featureOrderValue", "featureOrderRule", "platformRule"}},
        BadCase{"ALL_OUTPUT-ORDER_TAG_FEATURE_ORDER=a,b=c",
                {"featureOrderValue", "featureOrderRule", "platformRule"}},
        BadCase{"ALL_f_TAG_TABLE_LIST=a", {"metricOrderRule", "metricRule", "platformRule"}},
        BadCase{"ADL_f_TAG_TABLE_ORDER=",
                {"metricOrderValue", "metricOrderRule", "metricRule", "platformRule"}}));

// Random and mutated lines must never crash or hang the parser, and a file
// is either taken whole or refused with its error.
TEST_F(OutputConfigTest, SurvivesRandomAndMutatedLines) {
    log.context().setVerbosity(PW_FATAL);
    const std::vector<std::string> seeds = {
        "ALL_OUTPUT-ORDER_TAG_FEATURE_ORDER=a, b,c", "ALL_f_TAG_TABLE_ORDER=x,y",
        "MTL-P_f_x_MIN-MAX_TITLE=T_1=2", "ALL_f_x_T_SUPPRESS-TOTAL=YES # c"};
    const std::string alphabet = "_=#,-AZaz09 \t\r\x01\xff";
    std::mt19937 rng(20240611u);
    int refused = 0;
    for (int file = 0; file < 1000; ++file) {
        std::string text;
        for (unsigned line = 1 + rng() % 6; line > 0; --line) {
            std::string s = seeds[rng() % seeds.size()];
            for (unsigned edits = rng() % 2 ? 0 : 1 + rng() % 3; edits > 0 && !s.empty(); --edits) {
                const size_t at = rng() % s.size();
                switch (rng() % 3) {
                    case 0:
                        s[at] = alphabet[rng() % alphabet.size()];
                        break;
                    case 1:
                        s.erase(at, 1 + rng() % 5);
                        break;
                    default:
                        s.insert(at, 1, alphabet[rng() % alphabet.size()]);
                }
            }
            if (rng() % 8 == 0) {
                s.resize(rng() % 40);
                for (char& c : s) {
                    c = static_cast<char>(rng());
                    // The file is read in binary on every platform, but the
                    // standard-error capture on Windows reads its own file in
                    // text mode, where Ctrl-Z ends it and hides the message.
                    if (c == '\x1a') {
                        c = '\x1b';
                    }
                }
            }
            text += s + "\n";
        }
        const int rc = parseText(text);
        ASSERT_TRUE(rc == 0 || rc == -1);
        refused += rc == -1 ? 1 : 0;
        EXPECT_EQ(rc == -1, err.find("ERROR parsing config file") != std::string::npos) << err;
        std::vector<std::string> list;
        parser().getFeatureOrder(list);
        parser().getAllFeaturePrefixes(list);
    }
    RecordProperty("refused", refused);
    // Both paths were taken.
    EXPECT_GT(refused, 100);
    EXPECT_LT(refused, 950);
}

}  // namespace
