#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "common/serialize/CollectorMetadata.h"
#include "common/serialize/Metadata.h"
#include "common/serialize/MetricMetadata.h"
#include "common/serialize/MsgMetadata.h"
#include "common/serialize/OperationMetadata.h"
#include "common/serialize/Serializer.h"
#include "tests/serialize/RecordTestSupport.h"
#include "tests/support/LogCapture.h"

namespace pwr {
namespace {

using test::Bytes;
using test::cut;
using test::LogCapture;
using test::written;

std::unique_ptr<Metadata> readBack(const std::vector<char>& bytes) {
    Serializer in(bytes);
    return std::unique_ptr<Metadata>(Metadata::deserialize(in, 0));
}

OperationMetadata* operation(const char* name, unsigned size, const char* tag) {
    auto* op = new OperationMetadata(name, "MSR", size);
    op->setOrgMsgTag(tag);
    return op;
}

Bytes& operationBytes(Bytes& b, const char* name, uint32_t size, const char* tag) {
    return b.u32(3).str(name).str("MSR").u32(size).str(tag);
}

// Where each part of a record ends, and the one line a record cut before
// that end logs ("" for none).
using CutLog = std::vector<std::pair<size_t, std::string>>;

CutLog readErrors(const std::string& kind,
                  const std::vector<std::pair<size_t, std::string>>& ends) {
    CutLog out = {{4, ""}};  // the type code
    for (const auto& [end, field] : ends) {
        out.emplace_back(end, "WARNING: ERROR reading " + field + " while deserializing " + kind +
                                  " metadata message!\n");
    }
    return out;
}

struct GoldenCase {
    const char* name;
    std::function<Metadata*()> make;
    std::vector<char> bytes;
    int pluginID;
    // What reading the whole record logs.
    std::vector<std::string> readLog;
    // Readers accept a record cut at or after this length (an older record).
    size_t mandatoryLength;
    CutLog cutLog;  // empty: not pinned
};

std::vector<GoldenCase> goldenCases() {
    Bytes msg;
    msg.u32(0).u32(1).u32(2).u32(3).str("cap").u16(2).str("g1").str("g2").str("msg").u16(2);
    operationBytes(msg, "rd0", 8, "T0");
    operationBytes(msg, "rd1", 4, "T1");
    msg.u16(1).str("POLL").u16(1).str("tp");
    const Bytes metric = Bytes().u32(1).u32(5).u32(-2).u16(2).str("k").str("v").str("a").str("b");
    const Bytes collector = Bytes().u32(4).str("col").u16(1).str("x").str("1");
    Bytes op;
    operationBytes(op, "rd", 0x01020304, "TAG");
    const size_t untagged = op.data.size() - 5;
    return {
        {"msg",
         [] {
             auto* m = new MsgMetadata(1, 2, 3);
             m->setCapName("cap");
             m->setCapGroups({"g2", "g1"});
             m->setMsgName("msg");
             m->addMetaValue(operation("rd0", 8, "T0"));
             m->addMetaValue(operation("rd1", 4, "T1"));
             m->setTriggers({"POLL"});
             m->setTracepointNames({"tp"});
             return m;
         },
         msg.data,
         1,
         {"DEBUG: OK, read org msg tag = T0\n", "DEBUG: OK, read org msg tag = T1\n"},
         msg.data.size(),
         {}},
        {"metric",
         [] {
             auto* m = new MetricMetadata(5, -2);
             m->addValue("k", "v");
             m->addValue("a", "b");
             return m;
         },
         metric.data,
         5,
         {},
         metric.data.size(),
         readErrors("metric", {{8, "plugin ID"},
                               {12, "metric ID"},
                               {14, "map size"},
                               {17, "key"},
                               {20, "value"},
                               {23, "key"},
                               {26, "value"}})},
        {"collector",
         [] {
             auto* c = new CollectorMetadata("col");
             c->addValue("x", "1");
             return c;
         },
         collector.data,
         -1,
         {},
         collector.data.size(),
         readErrors("collector", {{9, "name"}, {11, "map size"}, {14, "key"}, {17, "value"}})},
        {"operation",
         [] { return operation("rd", 0x01020304, "TAG"); },
         op.data,
         -1,
         {"DEBUG: OK, read org msg tag = TAG\n"},
         untagged,
         {{untagged, ""}, {op.data.size(), "WARNING: couldn't extract org msg tag!\n"}}},
    };
}

class MetadataGoldenTest : public ::testing::TestWithParam<GoldenCase> {};

TEST_P(MetadataGoldenTest, LayoutIsPinnedAndReadsBackWhole) {
    const GoldenCase& c = GetParam();
    const std::unique_ptr<Metadata> record(c.make());
    EXPECT_EQ(written(*record), c.bytes);

    LogCapture log;
    const std::unique_ptr<Metadata> back = readBack(c.bytes);
    ASSERT_NE(back, nullptr);
    EXPECT_TRUE(log.loggedExactly(c.readLog));
    EXPECT_EQ(back->getType(), record->getType());
    EXPECT_EQ(back->getPluginID(), c.pluginID);
    // Writing the record read back gives the same bytes: every field was kept.
    EXPECT_EQ(written(*back), c.bytes);
}

TEST_P(MetadataGoldenTest, EveryTruncationIsRefusedOrAnOlderRecord) {
    const GoldenCase& c = GetParam();
    auto expected = c.cutLog.begin();
    for (size_t length = 0; length < c.bytes.size(); ++length) {
        LogCapture log;
        EXPECT_EQ(readBack(cut(c.bytes, length)) != nullptr, length >= c.mandatoryLength)
            << "length " << length;
        if (c.cutLog.empty()) {
            continue;
        }
        while (length >= expected->first) {
            ++expected;
        }
        EXPECT_TRUE(log.loggedExactly(expected->second.empty()
                                          ? std::vector<std::string>{}
                                          : std::vector<std::string>{expected->second}))
            << "length " << length;
    }
}

INSTANTIATE_TEST_SUITE_P(Kinds, MetadataGoldenTest, ::testing::ValuesIn(goldenCases()),
                         [](const ::testing::TestParamInfo<GoldenCase>& info) {
                             return std::string(info.param.name);
                         });

TEST(MetadataTest, MessageCopiesItsOperationsDeeply) {
    const std::vector<char> bytes = goldenCases()[0].bytes;
    LogCapture log;
    std::unique_ptr<Metadata> back = readBack(bytes);
    ASSERT_TRUE(back && back->getType() == Metadata::c_msgMetadataType);
    const MsgMetadata copy(static_cast<MsgMetadata&>(*back));
    back.reset();
    EXPECT_EQ(copy.getMetaValues().size(), 2u);
    EXPECT_EQ(written(copy), bytes);
}

TEST(MetadataTest, HostileInputIsRefused) {
    LogCapture log;
    ::testing::internal::CaptureStderr();
    EXPECT_EQ(readBack(Bytes().u32(9).data), nullptr);
    EXPECT_EQ(::testing::internal::GetCapturedStderr(),
              "ERROR: unsupported Metadata Data Type 9\n");

    // A message record nested in a message record: refused without recursing.
    Bytes nested;
    for (int i = 0; i <= 100000; ++i) {
        nested.u32(0).u32(1).u32(2).u32(3).str("cap").u16(0).str("msg").u16(1);
    }
    EXPECT_EQ(readBack(nested.data), nullptr);
    // A nested record of an unknown type is named like a top-level one; a
    // nested record of another known kind is read and refused.
    const auto oneNested = [](Bytes nestedRecord) {
        Bytes message;
        message.u32(0).u32(1).u32(2).u32(3).str("cap").u16(0).str("msg").u16(1);
        message.data.insert(message.data.end(), nestedRecord.data.begin(), nestedRecord.data.end());
        return message.data;
    };
    ::testing::internal::CaptureStderr();
    EXPECT_EQ(readBack(oneNested(Bytes().u32(1179800662))), nullptr);
    EXPECT_EQ(::testing::internal::GetCapturedStderr(),
              "ERROR: unsupported Metadata Data Type 1179800662\n");
    ::testing::internal::CaptureStderr();
    EXPECT_EQ(readBack(oneNested(Bytes().u32(4).str("col").u16(0).u16(0).u16(0))), nullptr);
    EXPECT_EQ(::testing::internal::GetCapturedStderr(), "");
    // Counts far beyond the bytes present.
    const Bytes manyPairs = Bytes().u32(4).str("col").u16(0xFFFF).str("x").str("1");
    EXPECT_EQ(readBack(manyPairs.data), nullptr);
}

TEST(MetadataTest, CountsAboveSixteenBitsAreCappedOnWriting) {
    LogCapture log;
    CollectorMetadata big("col");
    for (int i = 0; i < 0x10000; ++i) {
        big.addValue("k", "v");
    }
    const std::vector<char> bytes = written(big);
    EXPECT_TRUE(
        log.loggedExactly({"WARNING: only the first 65535 of 65536 entries are written; "
                           "the count field holds 16 bits!\n"}));
    const std::unique_ptr<Metadata> back = readBack(bytes);
    ASSERT_NE(back, nullptr);
    EXPECT_EQ(static_cast<CollectorMetadata&>(*back).getValues().size(), 0xFFFFu);
}

TEST(MetadataTest, DamagedRecordsNeverBreakTheReader) {
    LogCapture log;
    log.context().setVerbosity(PW_FATAL);
    ::testing::internal::CaptureStderr();  // unsupported type codes
    std::vector<std::vector<char>> valid;
    for (const GoldenCase& c : goldenCases()) {
        valid.push_back(c.bytes);
    }
    const int accepted = test::readDamaged(20240611u, valid, [](const std::vector<char>& bytes) {
        const std::unique_ptr<Metadata> back = readBack(bytes);
        if (back) {
            written(*back);
        }
        return back != nullptr;
    });
    ::testing::internal::GetCapturedStderr();
    EXPECT_GT(accepted, 0);
}

}  // namespace
}  // namespace pwr
