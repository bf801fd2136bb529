#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "common/runtime/Log.h"
#include "tests/support/LogCapture.h"

namespace pwr {
namespace {

using test::LogCapture;

TEST(LogTest, VerbosityAdmitsLevelsUpToItself) {
    LogCapture log;
    log.context().setVerbosity(PW_WARNING);
    pwLog(PW_FATAL, "fatal %d\n", 0);
    pwLog(PW_ERROR, "ERROR: e %s\n", "x");
    pwLog(PW_WARNING, "WARNING: w %llu\n", 18446744073709551615ull);
    pwLog(PW_DEBUG, "DEBUG: hidden\n");
    pwLog(PW_INFO, "INFO: hidden\n");
    EXPECT_TRUE(
        log.loggedExactly({"fatal 0\n", "ERROR: e x\n", "WARNING: w 18446744073709551615\n"}));

    log.clear();
    log.context().setVerbosity(PW_FATAL);
    pwLog(PW_ERROR, "ERROR: hidden\n");
    pwLog(PW_FATAL, "shown\n");
    EXPECT_TRUE(log.loggedExactly({"shown\n"}));
}

TEST(LogTest, DebugTagsOpenInfoLinesOfTheirComponentOnly) {
    LogCapture log;
    log.context().setVerbosity(PW_WARNING);
    pwLogTagged("vexathread", PW_INFO, "INFO: before\n");
    log.context().addCondLogTagForDebugLogging("vexathread");
    EXPECT_TRUE(log.context().isDebugLoggingEnabledFor("vexathread"));
    EXPECT_FALSE(log.context().isDebugLoggingEnabledFor("corvex"));
    pwLogTagged("vexathread", PW_INFO, "INFO: tagged %d\n", 1);
    pwLogTagged("corvex", PW_INFO, "INFO: other tag\n");
    pwLog(PW_INFO, "INFO: untagged\n");
    EXPECT_TRUE(log.loggedExactly({"INFO: tagged 1\n"}));
}

TEST(LogTest, LevelsGoToTheirLoggers) {
    LogCapture log;
    test::CapturingLogger errors;
    test::CapturingLogger debug;
    log.context().setErrorLogger(&errors);
    log.context().setDebugLogger(&debug);
    EXPECT_EQ(log.context().getLogger(PW_FATAL), &errors);
    EXPECT_EQ(log.context().getLogger(PW_ERROR), &errors);
    EXPECT_EQ(log.context().getLogger(PW_WARNING), &debug);
    EXPECT_EQ(log.context().getLogger(PW_INFO), &debug);
    pwLog(PW_ERROR, "ERROR: a\n");
    pwLog(PW_WARNING, "WARNING: b\n");
    EXPECT_EQ(errors.lines(), std::vector<std::string>{"ERROR: a\n"});
    EXPECT_EQ(debug.lines(), std::vector<std::string>{"WARNING: b\n"});

    EXPECT_STREQ(LogContext::getLoggerPrefix(PW_FATAL), "FATAL");
    EXPECT_STREQ(LogContext::getLoggerPrefix(PW_WARNING), "WARNING");
    EXPECT_STREQ(LogContext::getLoggerPrefix(PW_DEBUG), "DEBUG");
    EXPECT_STREQ(LogContext::getLoggerPrefix(static_cast<PWLogLevel>(7)), "INFO");
}

TEST(LogTest, LongLinesAreNotCut) {
    LogCapture log;
    std::string longText(3000, 'x');
    pwLog(PW_WARNING, "WARNING: %s\n", longText.c_str());
    EXPECT_TRUE(log.logged("WARNING: " + longText + "\n"));
}

TEST(LogTest, ContextGoesBackToBuiltinWhenCaptureEnds) {
    LogContext* builtin = &logContext();
    {
        LogCapture log;
        EXPECT_EQ(&logContext(), &log.context());
    }
    EXPECT_EQ(&logContext(), builtin);
    EXPECT_EQ(builtin->getVerbosity(), PW_WARNING);
}

}  // namespace
}  // namespace pwr
