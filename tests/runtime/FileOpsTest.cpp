// File operations: new files under unique names, renamed only when complete;
// names that are links, folders or devices refused; regular files only for
// reading; one holder of an output lock at a time.
#include "common/runtime/FileOps.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#if !defined(_WIN32)
#include <sys/stat.h>
#include <unistd.h>
#endif

namespace pwr {
namespace {

namespace fs = std::filesystem;

class FileOpsTest : public ::testing::Test {
  protected:
    void SetUp() override {
        dir = "fileops-test-" +
              std::string(::testing::UnitTest::GetInstance()->current_test_info()->name());
        fs::remove_all(dir);
        fs::create_directories(dir);
    }
    void TearDown() override { fs::remove_all(dir); }

    static std::string read(const std::string& path) {
        std::ifstream in(path, std::ios::binary);
        return std::string(std::istreambuf_iterator<char>(in), {});
    }
    static void put(const std::string& path, const std::string& text) {
        std::ofstream(path, std::ios::binary) << text;
    }
    size_t entries() const {
        return static_cast<size_t>(std::distance(fs::directory_iterator(dir), {}));
    }

    std::string dir;
};

TEST_F(FileOpsTest, NewFileAppearsUnderItsNameOnlyWhenCommitted) {
    const std::string final = dir + "/report.txt";
    put(final, "an earlier report");
    NewFile file;
    std::string error;
    ASSERT_TRUE(file.create(final, ".tmp", error)) << error;
    // "<final>.<16 hex digits>.tmp", in the same folder.
    const std::string temp = file.tempPath();
    ASSERT_EQ(temp.size(), final.size() + 1 + 16 + 4) << temp;
    EXPECT_EQ(temp.compare(0, final.size() + 1, final + "."), 0);
    EXPECT_EQ(temp.substr(final.size() + 1, 16).find_first_not_of("0123456789abcdef"),
              std::string::npos);
    // Bigger than the buffer, so both paths of write() are taken.
    const std::string big(100000, 'x');
    ASSERT_TRUE(file.write("head ", error));
    ASSERT_TRUE(file.write(big, error));
    ASSERT_TRUE(file.flush(error));
    EXPECT_EQ(file.size(), 5 + big.size());
    EXPECT_EQ(read(final), "an earlier report");
    EXPECT_EQ(read(temp), "head " + big);
    ASSERT_TRUE(file.commit(error)) << error;
    EXPECT_EQ(read(final), "head " + big);
    EXPECT_FALSE(fs::exists(temp));
    EXPECT_EQ(entries(), 1u);

    // Two files for one name never share a temporary name.
    NewFile a;
    NewFile b;
    ASSERT_TRUE(a.create(final, ".tmp", error));
    ASSERT_TRUE(b.create(final, ".tmp", error));
    EXPECT_NE(a.tempPath(), b.tempPath());
    a.discard();
    b.keep();
    EXPECT_FALSE(fs::exists(a.tempPath()));
    EXPECT_EQ(entries(), 2u) << "the kept file stays";
}

TEST_F(FileOpsTest, FoldersAndLinksAreNeverReplaced) {
    const std::string folder = dir + "/taken.txt";
    fs::create_directories(folder);
    std::string why;
    EXPECT_FALSE(checkReplaceable(folder, why));
    EXPECT_EQ(why, "is a folder");
    EXPECT_TRUE(checkReplaceable(dir + "/free.txt", why));
    NewFile file;
    std::string error;
    ASSERT_TRUE(file.create(folder, ".tmp", error)) << error;
    ASSERT_TRUE(file.write("text", error));
    EXPECT_FALSE(file.commit(error));
    EXPECT_EQ(error, "cannot write " + folder + ": it is a folder");
    EXPECT_EQ(file.failureReason(), "it is a folder");
    EXPECT_TRUE(fs::is_directory(folder));
    file.discard();
    EXPECT_EQ(entries(), 1u);

    // A folder that does not exist: the system's reason.
    NewFile nowhere;
    EXPECT_FALSE(nowhere.create(dir + "/missing/out.txt", ".tmp", error));
    EXPECT_EQ(error.compare(0, 14, "cannot create "), 0) << error;
    EXPECT_FALSE(nowhere.failureReason().empty());
    EXPECT_FALSE(checkFolderWritable(dir + "/missing", error));
    EXPECT_EQ(error.compare(0, dir.size() + 10, dir + "/missing: "), 0) << error;
    put(dir + "/plain", "x");
    EXPECT_FALSE(checkFolderWritable(dir + "/plain", error));
    EXPECT_TRUE(checkFolderWritable(dir, error)) << error;
    EXPECT_EQ(entries(), 2u) << "the probe file is removed";
#if !defined(_WIN32)
    put(dir + "/victim", "not yours");
    fs::create_symlink("victim", dir + "/link.txt");
    EXPECT_FALSE(checkReplaceable(dir + "/link.txt", why));
    EXPECT_EQ(why, "is a symbolic link");
    EXPECT_EQ(fileKind(dir + "/link.txt"), FileKind::LINK);
    EXPECT_EQ(openForWriteNoFollow(dir + "/link.txt", error), nullptr);
    EXPECT_EQ(error, "is a symbolic link");
    EXPECT_EQ(read(dir + "/victim"), "not yours");
#endif
}

TEST_F(FileOpsTest, OnlyRegularFilesAreOpenedForReading) {
    std::string why;
    EXPECT_EQ(openRegularFile(dir, why), nullptr);
    EXPECT_EQ(why, "is a folder");
    EXPECT_EQ(openRegularFile(dir + "/missing", why), nullptr);
    EXPECT_FALSE(why.empty());
    put(dir + "/data", "0123456789");
    uint64_t size = 0;
    std::FILE* file = openRegularFile(dir + "/data", why, &size);
    ASSERT_NE(file, nullptr) << why;
    EXPECT_EQ(size, 10u);
    std::fclose(file);
    EXPECT_EQ(openRegularFile(dir + "/data", why, nullptr, 9), nullptr);
    EXPECT_EQ(why, "is larger than 9 bytes");
    std::vector<char> bytes;
    EXPECT_TRUE(readRegularFile(dir + "/data", 10, bytes, why)) << why;
    EXPECT_EQ(std::string(bytes.begin(), bytes.end()), "0123456789");
#if !defined(_WIN32)
    EXPECT_EQ(openRegularFile("/dev/zero", why), nullptr);
    EXPECT_EQ(why, "is not a regular file");
    // A FIFO without a writer: refused at once instead of waiting.
    ASSERT_EQ(mkfifo((dir + "/fifo").c_str(), 0600), 0);
    EXPECT_EQ(openRegularFile(dir + "/fifo", why), nullptr);
    EXPECT_EQ(why, "is not a regular file");
#endif
}

TEST_F(FileOpsTest, SameFileByIdentityOrByName) {
    put(dir + "/a", "a");
    put(dir + "/b", "b");
    EXPECT_TRUE(sameFile(dir + "/a", dir + "/./a"));
    EXPECT_FALSE(sameFile(dir + "/a", dir + "/b"));
    EXPECT_TRUE(sameFile(dir + "/new", dir + "/x/../new"));
    EXPECT_FALSE(sameFile(dir + "/new", dir + "/a"));
    EXPECT_EQ(folderOf("out"), ".");
    EXPECT_EQ(folderOf("d/e/out"), "d/e");
    EXPECT_EQ(folderOf("/out"), "/");
    EXPECT_EQ(baseNameOf("d/e/out.vtr"), "out.vtr");
}

TEST_F(FileOpsTest, OneHolderOfAnOutputAtATime) {
    const std::string output = dir + "/run";
    OutputLock first;
    std::string error;
    bool busy = true;
    ASSERT_TRUE(first.acquire(output, error, busy)) << error;
    EXPECT_FALSE(busy);
    EXPECT_TRUE(first.held());
    {
        OutputLock second;
        EXPECT_FALSE(second.acquire(output, error, busy));
        EXPECT_TRUE(busy);
        EXPECT_EQ(error, "another vantry is writing " + output);
    }
    OutputLock other;
    EXPECT_TRUE(other.acquire(dir + "/other", error, busy)) << error;
    first.release();
    EXPECT_FALSE(fs::exists(output + ".lock"));
    OutputLock third;
    EXPECT_TRUE(third.acquire(output, error, busy)) << error;
}

}  // namespace
}  // namespace pwr
