#include "plugins/collectors/EtwCollector.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include "tests/collectors/CollectorTestSupport.h"
#include "tests/etw/FakeEtwBackend.h"
#include "tests/support/LogCapture.h"

namespace vantry {
namespace {

using test::makeMessage;

const EtwGuid c_guid = {
    0x0f67e49f, 0xfe51, 0x4e9f, {0xb4, 0x90, 0x6f, 0x29, 0x48, 0xcc, 0x60, 0x27}};

// A PROVIDER_ENUMERATION_INFO with one provider called name.
std::vector<uint8_t> providerInfo(const std::wstring& name) {
    std::vector<uint8_t> info(8 + 24, 0);
    const uint32_t count = 1;
    const uint32_t offset = static_cast<uint32_t>(info.size());
    std::memcpy(info.data(), &count, 4);
    std::memcpy(info.data() + 8, &c_guid, sizeof(c_guid));
    std::memcpy(info.data() + 8 + 20, &offset, 4);
    for (wchar_t c : name + L'\0') {
        info.push_back(static_cast<uint8_t>(c & 0xFF));
        info.push_back(static_cast<uint8_t>((c >> 8) & 0xFF));
    }
    return info;
}

bool called(const FakeEtwBackend& fake, const std::string& line) {
    const auto calls = fake.calls();
    return std::find(calls.begin(), calls.end(), line) != calls.end();
}

class EtwCollectorTest : public ::testing::Test {
  protected:
    pwr::test::LogCapture log;
    FakeEtwBackend fake;
    std::unique_ptr<pwr::InputMsg> ppm = makeMessage("ETW", "PPM", "EVENTS", "PPM");
};

TEST_F(EtwCollectorTest, BeginStartsTheSessionAndEndRecordsTheEvents) {
    fake.providerInfo = providerInfo(L"Microsoft-Windows-Kernel-Processor-Power");
    EtwCollector collector;
    const std::string guid = etwGuidToString(c_guid);

    // Available: a probe session starts and is stopped again, once.
    EXPECT_TRUE(collector.canCollectMessage(ppm.get()));
    EXPECT_TRUE(called(fake, "start Vantry PPM Probe"));
    EXPECT_TRUE(called(fake, "control 42 Vantry PPM Probe 1"));
    const size_t probeCalls = fake.calls().size();
    EXPECT_TRUE(collector.canCollectMessage(ppm.get()));
    EXPECT_EQ(fake.calls().size(), probeCalls);

    pwr::Operation* op = ppm->getOperations()[0];
    ASSERT_EQ(collector.doImmediateRead(op, ppm->getFullName()), 0);
    EXPECT_TRUE(collector.isTracing());
    EXPECT_TRUE(called(fake, "start Vantry PPM Session"));
    EXPECT_TRUE(called(fake, "enable 42 " + guid + " 1 4 18446744073709551615"));
    EXPECT_TRUE(called(fake, "enable 42 " + guid + " 2 4 18446744073709551615"));
    EXPECT_TRUE(collector.getPendingRecords().empty());

    fake.events = {{0x01, 0xAB, 0x00}, {}};
    ASSERT_EQ(collector.doImmediateRead(op, ppm->getFullName()), 0);
    EXPECT_FALSE(collector.isTracing());
    EXPECT_TRUE(called(fake, "open vantry_ppm.etl"));
    ASSERT_EQ(collector.getPendingRecords().size(), 2u);
    const vexa_driver_msg& first = collector.getPendingRecords().front();
    EXPECT_EQ(first.msgName, "PPM_EVENTS");
    EXPECT_EQ(first.opName, "PPM_EVENTS_ETW");
    EXPECT_EQ(
        first.values,
        (ReadingPairs{
            {"id", "0"}, {"task", "0"}, {"opcode", "0"}, {"version", "0"}, {"data", "01ab00"}}));
    EXPECT_EQ(collector.getPendingRecords().back().values.back(),
              (ReadingPairs::value_type{"data", ""}));

    // The next BEGIN starts over, with the keywords the packet gives.
    op->getPacket()->set("KEYWORDS", "0x30");
    ASSERT_EQ(collector.doImmediateRead(op, ppm->getFullName()), 0);
    EXPECT_TRUE(called(fake, "enable 42 " + guid + " 1 4 48"));
    // A reset stops a running session.
    collector.reset(pwr::ResetReason::NEW_COLLECTION, 0, pwr::SystemMetadata());
    EXPECT_FALSE(collector.isTracing());
    EXPECT_TRUE(collector.getPendingRecords().empty());
}

TEST_F(EtwCollectorTest, UnavailableWithoutTheProviderOrWhenTheSessionCannotStart) {
    fake.providerInfo = providerInfo(L"Some-Other-Provider");
    EtwCollector noProvider;
    EXPECT_FALSE(noProvider.canCollectMessage(ppm.get()));
    EXPECT_FALSE(called(fake, "start Vantry PPM Probe"));
    EXPECT_EQ(noProvider.doImmediateRead(ppm->getOperations()[0], ppm->getFullName()), -1);

    fake.providerInfo = providerInfo(L"Microsoft-Windows-Kernel-Power");
    fake.answers["start"] = {5};
    EtwCollector refused;
    EXPECT_FALSE(refused.canCollectMessage(ppm.get()));
    EXPECT_TRUE(log.logged("ERROR: Cannot start the trace Vantry PPM Probe. error 5\n"));
    // Only PPM messages of the ETW kind are this collector's.
    auto file = makeMessage("FILE", "PPM", "EVENTS", "PPM");
    auto other = makeMessage("ETW", "PPM", "EVENTS", "CPUIDLE");
    EXPECT_FALSE(refused.canCollectMessage(file.get()));
    EXPECT_FALSE(refused.canCollectMessage(other.get()));
}

TEST(EtwCollectorSystemTest, TheSystemsAnswerIsFoundOnceAndKept) {
    pwr::test::LogCapture log;
    EtwCollector collector;
    auto ppm = makeMessage("ETW", "PPM", "EVENTS", "PPM");
    const bool available = collector.canCollectMessage(ppm.get());
#if !defined(_WIN32)
    // Nothing to trace here, and nothing to say about it.
    EXPECT_FALSE(available);
    EXPECT_TRUE(log.lines().empty());
#endif
    // Asking again neither probes again nor logs.
    log.clear();
    EXPECT_EQ(collector.canCollectMessage(ppm.get()), available);
    EXPECT_TRUE(log.lines().empty());
    EXPECT_FALSE(collector.isTracing());
}

}  // namespace
}  // namespace vantry
