#include "common/config/ConfigLineReader.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>
#include <string>
#include <system_error>
#include <thread>
#include <vector>

#if !defined(_WIN32)
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#endif

namespace {

using pwr::ConfigLine;

// Writes bytes exactly as given (no newline translation) to a file in the
// working directory and removes it again.
class TempFile {
  public:
    TempFile(const std::string& name, const std::string& bytes) : m_path(name) {
        std::FILE* f = std::fopen(m_path.c_str(), "wb");
        EXPECT_NE(f, nullptr);
        if (f != nullptr) {
            std::fwrite(bytes.data(), 1, bytes.size(), f);
            std::fclose(f);
        }
    }
    ~TempFile() { std::remove(m_path.c_str()); }
    const std::string& path() const { return m_path; }

  private:
    std::string m_path;
};

struct TokenCase {
    std::string line;
    std::vector<std::string> tokens;  // empty: the line is refused
};

class TokenizeTest : public ::testing::TestWithParam<TokenCase> {};

TEST_P(TokenizeTest, SplitsIntoSixTokensOrRefuses) {
    std::vector<std::string> tokens{"stale"};
    const bool ok = pwr::tokenizeConfigLine(GetParam().line, tokens);
    EXPECT_EQ(ok, !GetParam().tokens.empty());
    EXPECT_EQ(tokens, GetParam().tokens);
}

INSTANTIATE_TEST_SUITE_P(
    Lines, TokenizeTest,
    ::testing::Values(TokenCase{"ALL_CORE_STATES_TABLE_TITLE=Core C-states",
                                {"ALL", "CORE", "STATES", "TABLE", "TITLE", "Core C-states"}},
                      // The value keeps every "_" and "=" after the first "=".
                      TokenCase{"ALL_X_Y_Z_TITLE=a_b=c_d==",
                                {"ALL", "X", "Y", "Z", "TITLE", "a_b=c_d=="}},
                      TokenCase{"ALL_X_Y_Z_KEY=", {"ALL", "X", "Y", "Z", "KEY", ""}},
                      TokenCase{"A____=", {"A", "", "", "", "", ""}},
                      // An "=" before the fourth "_" belongs to the token it falls in.
                      TokenCase{"A=B_C_D_E_F=v", {"A=B", "C", "D", "E", "F", "v"}},
                      TokenCase{"ALL_X_Y_Z_KEY", {}}, TokenCase{"ALL_X_Y_Z=v", {}},
                      TokenCase{"A=B_C_D_E_F", {}}, TokenCase{"", {}}, TokenCase{"=", {}}));

struct StripCase {
    std::string raw;
    std::string stripped;
};

class StripTest : public ::testing::TestWithParam<StripCase> {};

TEST_P(StripTest, RemovesCommentAndBlanks) {
    std::string line = GetParam().raw;
    pwr::stripConfigLine(line);
    EXPECT_EQ(line, GetParam().stripped);
}

INSTANTIATE_TEST_SUITE_P(Lines, StripTest,
                         ::testing::Values(StripCase{" \t A_B_C_D_E=v \r\n", "A_B_C_D_E=v"},
                                           StripCase{"A_B_C_D_E=v # note", "A_B_C_D_E=v"},
                                           StripCase{"A_B_C_D_E=v#x=y", "A_B_C_D_E=v"},
                                           StripCase{"# whole line", ""}, StripCase{"  #", ""},
                                           StripCase{"\r\t \n", ""}, StripCase{"a b", "a b"}));

TEST(ConfigLineReaderTest, KeepsMeaningfulLinesWithTheirNumbers) {
    TempFile file("config_line_reader_numbers.cfg",
                  "# header\r\n"
                  "\r\n"
                  "  ALL_A_B_C_D=1  # trailing\r\n"
                  "\t\n"
                  "ALL_A_B_C_D=2\n"
                  "ALL_A_B_C_D=3");  // no final line feed
    std::vector<ConfigLine> lines{{99, "stale"}};
    ASSERT_EQ(pwr::readConfigLines(file.path(), lines), 0);
    ASSERT_EQ(lines.size(), 3u);
    EXPECT_EQ(lines[0].number, 3u);
    EXPECT_EQ(lines[0].text, "ALL_A_B_C_D=1");
    EXPECT_EQ(lines[1].number, 5u);
    EXPECT_EQ(lines[1].text, "ALL_A_B_C_D=2");
    EXPECT_EQ(lines[2].number, 6u);
    EXPECT_EQ(lines[2].text, "ALL_A_B_C_D=3");
}

TEST(ConfigLineReaderTest, MissingFileFailsSilently) {
    std::vector<ConfigLine> lines{{1, "stale"}};
    testing::internal::CaptureStderr();
    EXPECT_EQ(pwr::readConfigLines("no_such_dir/no_such_file.cfg", lines), -1);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    EXPECT_TRUE(lines.empty());
}

// Binary content, NUL bytes, lone carriage returns and a line far longer
// than any read block are read through once, without hanging.
TEST(ConfigLineReaderTest, ReadsAnyBytes) {
    std::string bytes(300000, 'x');
    bytes += std::string("\0\r\r\x1b\xff", 5) + "\nA_B\rC_D_E=v\r\r\n";
    for (int i = 0; i < 256; ++i) {
        bytes += static_cast<char>(i);
    }
    TempFile file("config_line_reader_binary.cfg", bytes);
    std::vector<ConfigLine> lines;
    ASSERT_EQ(pwr::readConfigLines(file.path(), lines), 0);
    ASSERT_GE(lines.size(), 2u);
    EXPECT_EQ(lines[0].number, 1u);
    EXPECT_EQ(lines[0].text.size(), 300005u);
    EXPECT_EQ(lines[1].text, "A_B\rC_D_E=v");
}

// Only a regular file within the size limit is read; anything else fails
// before a read could block or run for ever, and leaves no stale lines.
TEST(ConfigLineReaderTest, RefusesFoldersAndFilesOverTheLimit) {
    const std::string folder = "config_line_reader_folder.cfg";
    std::error_code ec;
    std::filesystem::create_directory(folder, ec);
    std::vector<ConfigLine> lines{{1, "stale"}};
    EXPECT_EQ(pwr::readConfigLines(folder, lines), -1);
    EXPECT_TRUE(lines.empty());
    std::filesystem::remove(folder, ec);

    const std::string text = "ALL_A_B_C_D=1\nALL_A_B_C_D=2\n";  // 28 bytes
    TempFile file("config_line_reader_limit.cfg", text);
    ASSERT_EQ(pwr::readConfigLines(file.path(), lines, text.size()), 0);
    EXPECT_EQ(lines.size(), 2u);
    lines.assign(1, ConfigLine{1, "stale"});
    EXPECT_EQ(pwr::readConfigLines(file.path(), lines, text.size() - 1), -1);
    EXPECT_TRUE(lines.empty());
}

#if !defined(_WIN32)
TEST(ConfigLineReaderTest, RefusesDevicesAndFifosWithoutReading) {
    std::vector<ConfigLine> lines{{1, "stale"}};
    EXPECT_EQ(pwr::readConfigLines("/dev/zero", lines), -1);
    EXPECT_TRUE(lines.empty());

    // A writer waits on the FIFO, so that a reader that wrongly opens it
    // gets an empty file and fails the test rather than waiting for ever.
    // Opening the reading end here lets the writer finish.
    const std::string fifo = "config_line_reader.fifo";
    ::unlink(fifo.c_str());
    ASSERT_EQ(::mkfifo(fifo.c_str(), 0600), 0);
    std::thread writer([&fifo] {
        const int fd = ::open(fifo.c_str(), O_WRONLY);
        if (fd >= 0) {
            ::close(fd);
        }
    });
    lines.assign(1, ConfigLine{1, "stale"});
    EXPECT_EQ(pwr::readConfigLines(fifo, lines), -1);
    EXPECT_TRUE(lines.empty());
    const int reader = ::open(fifo.c_str(), O_RDONLY | O_NONBLOCK);
    writer.join();
    if (reader >= 0) {
        ::close(reader);
    }
    ::unlink(fifo.c_str());
}
#endif

}  // namespace
