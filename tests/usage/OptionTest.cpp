#include <gtest/gtest.h>

#include <cstdlib>
#include <sstream>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "common/usage/ConsoleWidth.h"
#include "common/usage/Option.h"

#if !defined(_WIN32)
#include <unistd.h>
#endif

namespace pwr::usage {
namespace {

// Opens the protected helpers to the tests.
class OpenOption : public Option {
  public:
    using Option::formatWhitespace;
    using Option::getNameColumnFormat;
    using Option::getTabString;
    using Option::Option;
    using Option::stripChars;
};

std::vector<std::string> splitLines(const std::string& text) {
    std::vector<std::string> lines;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);) {
        lines.push_back(line);
    }
    return lines;
}

std::vector<std::string> words(const std::string& text) {
    std::vector<std::string> out;
    std::istringstream in(text);
    for (std::string word; in >> word;) {
        out.push_back(word);
    }
    return out;
}

// Console columns of a row: leading tabs count eight.
size_t visibleWidth(const std::string& line) {
    const size_t tabs = line.find_first_not_of('\t');
    return tabs == std::string::npos ? line.size() * 8 : tabs * 8 + line.size() - tabs;
}

TEST(OptionTest, WithoutAbbreviationTheShortColumnIsBlank) {
    const OpenOption polling("--polling", "Collect at timed intervals", TabLevel::ONE);
    EXPECT_EQ(polling.getNameColumnFormat(Option::Attribute::ABBREVIATION), "");
    EXPECT_EQ(polling.getNameColumn(), "    --polling");
    EXPECT_EQ(polling.format(100, 30), "\t    --polling         Collect at timed intervals\n");

    const OpenOption help("--help", "Show help", TabLevel::ONE, "-h");
    EXPECT_EQ(help.getNameColumnFormat(Option::Attribute::ABBREVIATION), "-h, ");
    EXPECT_EQ(help.format(100, 30), "\t-h, --help            Show help\n");
}

TEST(OptionTest, TabLevelZeroIndentsNothing) {
    const OpenOption zero("--log", "Save output", TabLevel::ZERO, "-l");
    EXPECT_EQ(zero.getTabString(), "");
    EXPECT_EQ(zero.format(80, 12), "-l, --log   Save output\n");
    EXPECT_EQ(OpenOption("x", "", TabLevel::THREE).getTabString(), "\t\t\t");
}

TEST(OptionTest, NarrowWidthWrapsWithoutLosingOrSplittingWords) {
    const std::string text =
        "Do not automatically summarize data and do not generate any reports at the end of "
        "collection.  Use options --input and --result to generate reports later.";
    const Option option("--no-post-processing", text, TabLevel::ONE);
    for (size_t width : {100u, 60u, 40u}) {
        const std::vector<std::string> lines = splitLines(option.format(width, 34));
        std::string rejoined;
        for (size_t i = 0; i < lines.size(); ++i) {
            EXPECT_LT(visibleWidth(lines[i]), width) << width << ": " << lines[i];
            if (i > 0 || width >= 70) {
                rejoined += lines[i] + " ";
            }
        }
        std::vector<std::string> expected = words(text);
        if (width < 70) {
            // The description moved below the name, which is the first row.
            EXPECT_EQ(lines[0], "\t    --no-post-processing") << width;
        } else {
            expected.insert(expected.begin(), "--no-post-processing");
        }
        EXPECT_EQ(words(rejoined), expected) << width;
    }
}

TEST(OptionTest, BracketedDefaultStaysOnOneLine) {
    const Option option("--interval", "Change minimum time between points [default 100 ms]",
                        TabLevel::ZERO, "-n");
    EXPECT_EQ(option.format(50, 16),
              "-n, --interval  Change minimum time between\n"
              "                points [default 100 ms]\n");
}

TEST(OptionTest, SubOptionShowsOptionSwitchValidArgsAndNote) {
    Option option("gbe-int", "Wait time.", TabLevel::TWO);
    option.setArg("<interval>").setNotes("may reduce residency.");
    option.appendValidArgs({"100", "1000"});
    EXPECT_TRUE(option.isSubOption());
    EXPECT_EQ(option.getNormalizedName(), "gbe-int");
    EXPECT_EQ(option.getFormattedDescription(),
              "Wait time.  Valid args: 100, 1000  Note: may reduce residency.");
    EXPECT_EQ(option.format(200, 45),
              "\t\t--option gbe-int <interval>  Wait time.  Valid args: 100, 1000  Note: may "
              "reduce residency.\n");
}

TEST(OptionTest, AttributesAndKeys) {
    Option option("--result", "Format", TabLevel::ONE, "-r");
    option.setArg("<format>").setArgDefault("sum").setArgType("file format");
    option.setArgUnits("u").setAlias("--res");
    using A = Option::Attribute;
    const std::vector<std::pair<A, std::string>> expected = {
        {A::NAME, "--result"},      {A::DESCRIPTION, "Format"},   {A::ABBREVIATION, "-r"},
        {A::NORMAL_NAME, "result"}, {A::ARG, "<format>"},         {A::ARG_DEFAULT, "sum"},
        {A::ARG_UNITS, "u"},        {A::ARG_TYPE, "file format"}, {A::NOTES, ""},
        {A::ALIAS, "--res"},
    };
    const char* keys[] = {"name",        "description", "abbreviation", "normal name", "arg",
                          "arg_default", "arg_units",   "arg_type",     "notes",       "alias"};
    for (size_t i = 0; i < expected.size(); ++i) {
        EXPECT_EQ(option.getAttribute(expected[i].first), expected[i].second) << i;
        EXPECT_STREQ(Option::getAttributeKey(expected[i].first), keys[i]);
    }
}

TEST(OptionTest, TabLevelThreeRowStartsWithTwoTabsAndAFieldWidth) {
    const OpenOption deep("leaf", "Deep", TabLevel::THREE);
    std::stringstream row;
    deep.formatWhitespace(row);
    EXPECT_EQ(row.str(), "\t\t");
    row << deep.getNameColumn() << "Deep";
    EXPECT_EQ(row.str(), "\t\t--option leaf  Deep");

    // Other levels leave the stream alone.
    const OpenOption shallow("leaf", "Shallow", TabLevel::TWO);
    std::stringstream other;
    shallow.formatWhitespace(other);
    other << "x";
    EXPECT_EQ(other.str(), "x");
}

TEST(OptionTest, JsonValueReceivesTheOption) {
    Option option("--log", "Save output", TabLevel::ONE, "-l");
    option.setArg("<filename>");
    option.appendValidArgs({"a.txt"});
    nlohmann::json object;
    option.formatJson(object);
    EXPECT_EQ(object, nlohmann::json::parse(option.formatJson()));
    EXPECT_EQ(object.at("abbreviation"), "-l");
    EXPECT_EQ(object.at("normal name"), "log");
    EXPECT_EQ(object.at("valid args"), nlohmann::json::array({"a.txt"}));
    EXPECT_EQ(object.size(), 11u);

    nlohmann::json options = nlohmann::json::array();
    option.formatJson(options);
    option.formatJson(options);
    ASSERT_EQ(options.size(), 2u);
    EXPECT_EQ(options[1], object);
}

TEST(OptionTest, StripCharsTrimsEndsAndCollapsesRuns) {
    EXPECT_EQ(OpenOption::stripChars("--print-fms", "-"), "print-fms");
    EXPECT_EQ(OpenOption::stripChars("--print--fms--", "-"), "print-fms");
    EXPECT_EQ(OpenOption::stripChars("  a \t b  ", " \t"), "a b");
    EXPECT_EQ(OpenOption::stripChars("---", "-"), "");
    EXPECT_EQ(OpenOption::stripChars("plain", ""), "plain");
}

#if !defined(_WIN32)
TEST(OptionTest, ConsoleWidthComesFromColumnsWhenNotATerminal) {
    if (isatty(STDOUT_FILENO)) {
        GTEST_SKIP() << "standard output is a terminal";
    }
    const char* saved = std::getenv("COLUMNS");
    const std::string restore = saved != nullptr ? saved : "";
    setenv("COLUMNS", "123", 1);
    EXPECT_EQ(getConsoleWidth(), 123u);
    setenv("COLUMNS", "wide", 1);
    EXPECT_EQ(getConsoleWidth(), c_defaultConsoleWidth);
    unsetenv("COLUMNS");
    EXPECT_EQ(getConsoleWidth(), c_defaultConsoleWidth);
    if (saved != nullptr) {
        setenv("COLUMNS", restore.c_str(), 1);
    }
}
#else
TEST(OptionTest, ConsoleWidthOfRedirectedOutputIsTheDefault) {
    // ctest captures standard output, so it is no console.
    EXPECT_EQ(getConsoleWidth(), c_defaultConsoleWidth);
}
#endif

}  // namespace
}  // namespace pwr::usage
