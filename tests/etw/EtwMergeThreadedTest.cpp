// Merging trace files on the background thread with a scripted backend.
#include <gtest/gtest.h>

#include "common/etw/EtwSession.h"
#include "tests/etw/FakeEtwBackend.h"
#include "tests/support/LogCapture.h"

namespace {

class EtwMergeTest : public ::testing::Test {
  protected:
    void TearDown() override {
        EtwSession::waitForMergeComplete();
        EtwSession::clearMergeFiles();
    }
    pwr::test::LogCapture log;
    FakeEtwBackend fake;
};

TEST_F(EtwMergeTest, MergesListedFilesIntoCaptureFileAndJoinsOnce) {
    EtwSession::addMergeFile("a.etl");
    EtwSession::addMergeFile("b.etl");
    EXPECT_TRUE(EtwSession::isMergeRequired());
    ASSERT_TRUE(EtwSession::mergeLogs("out/run.etl"));
    EXPECT_FALSE(EtwSession::mergeLogs("out/other.etl"));  // one merge at a time
    EtwSession::waitForMergeComplete();
    EXPECT_FALSE(EtwSession::isMergeRequired());  // the merge took the files
    EXPECT_EQ(fake.calls(),
              (std::vector<std::string>{"load KernelTraceControl.dll",
                                        "merge out/run_Capture.etl a.etl b.etl", "unload"}));
    EXPECT_TRUE(log.logged("Merging ETW files to \"out/run_Capture.etl\" started.\n"));
    EXPECT_TRUE(log.logged("Waiting for merge to complete.\n"));
    EXPECT_EQ(log.lines().size(), 2u);

    log.clear();
    EtwSession::waitForMergeComplete();  // already joined
    EXPECT_TRUE(log.loggedExactly({}));
}

TEST_F(EtwMergeTest, ReportsLoadAndMergeFailures) {
    fake.loadOk = false;
    ASSERT_TRUE(EtwSession::mergeLogs("run.etl"));
    EtwSession::waitForMergeComplete();
    EXPECT_TRUE(log.logged("WARNING: Unable to merge trace files because LoadLibrary() failed.\n"));

    fake.loadOk = true;
    fake.answers["merge"] = {0x80004005ul};
    ASSERT_TRUE(EtwSession::mergeLogs("run.etl"));
    EtwSession::waitForMergeComplete();
    EXPECT_TRUE(
        log.logged("WARNING: Trace merge experienced an unknown error. (2147500037: "
                   "error 2147500037)\n"));
}

}  // namespace
