#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <functional>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "common/serialize/CollectorMetadata.h"
#include "common/serialize/Metadata.h"
#include "common/serialize/MetricMetadata.h"
#include "common/serialize/MsgMetadata.h"
#include "common/serialize/OperationMetadata.h"
#include "common/serialize/Serializer.h"
#include "tests/support/LogCapture.h"

namespace pwr {
namespace {

using test::LogCapture;

// Expected byte streams, field by field, little-endian.
struct Bytes {
    std::vector<char> data;
    Bytes& u16(uint16_t v) { return put(v, 2); }
    Bytes& u32(uint32_t v) { return put(v, 4); }
    Bytes& str(const std::string& s) {
        u16(static_cast<uint16_t>(s.size()));
        data.insert(data.end(), s.begin(), s.end());
        return *this;
    }
    Bytes& put(uint64_t v, int width) {
        for (int i = 0; i < width; ++i) {
            data.push_back(static_cast<char>((v >> (8 * i)) & 0xFF));
        }
        return *this;
    }
};

std::vector<char> written(const Metadata& record) {
    Serializer out;
    record.serialize(out);
    return out.get_buffer();
}

// Reads a record from the first length bytes (all of them by default).
std::unique_ptr<Metadata> readBack(const std::vector<char>& bytes, size_t length = SIZE_MAX) {
    Serializer in(std::vector<char>(bytes.begin(), bytes.begin() + std::min(length, bytes.size())));
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

struct GoldenCase {
    const char* name;
    std::function<Metadata*()> make;
    std::vector<char> bytes;
    int pluginID;
    // Readers accept a record cut at or after this length (an older record).
    size_t mandatoryLength;
};

std::vector<GoldenCase> goldenCases() {
    Bytes msg;
    msg.u32(0).u32(1).u32(2).u32(3).str("cap").u16(2).str("g1").str("g2").str("msg").u16(2);
    operationBytes(msg, "rd0", 8, "T0");
    operationBytes(msg, "rd1", 4, "T1");
    msg.u16(1).str("POLL").u16(0);
    const Bytes metric = Bytes().u32(1).u32(5).u32(-2).u16(2).str("k").str("v").str("a").str("b");
    const Bytes collector = Bytes().u32(4).str("col").u16(1).str("x").str("1");
    Bytes op;
    operationBytes(op, "rd", 0x01020304, "TAG");
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
             return m;
         },
         msg.data, 1, msg.data.size()},
        {"metric",
         [] {
             auto* m = new MetricMetadata(5, -2);
             m->addValue("k", "v");
             m->addValue("a", "b");
             return m;
         },
         metric.data, 5, metric.data.size()},
        {"collector",
         [] {
             auto* c = new CollectorMetadata("col");
             c->addValue("x", "1");
             return c;
         },
         collector.data, -1, collector.data.size()},
        {"operation", [] { return operation("rd", 0x01020304, "TAG"); }, op.data, -1,
         op.data.size() - 5},
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
    EXPECT_EQ(back->getType(), record->getType());
    EXPECT_EQ(back->getPluginID(), c.pluginID);
    // Writing the record read back gives the same bytes: every field was kept.
    EXPECT_EQ(written(*back), c.bytes);
}

TEST_P(MetadataGoldenTest, EveryTruncationFailsCleanlyOrIsAnOlderRecord) {
    const GoldenCase& c = GetParam();
    LogCapture log;
    for (size_t length = 0; length < c.bytes.size(); ++length) {
        EXPECT_EQ(readBack(c.bytes, length) != nullptr, length >= c.mandatoryLength)
            << "length " << length;
    }
}

INSTANTIATE_TEST_SUITE_P(Kinds, MetadataGoldenTest, ::testing::ValuesIn(goldenCases()),
                         [](const ::testing::TestParamInfo<GoldenCase>& info) {
                             return std::string(info.param.name);
                         });

TEST(MetadataTest, MessageKeepsItsOperationsAndCopiesThemDeeply) {
    const std::vector<char> bytes = goldenCases()[0].bytes;
    LogCapture log;
    std::unique_ptr<Metadata> back = readBack(bytes);
    ASSERT_TRUE(back && back->getType() == Metadata::c_msgMetadataType);
    const MsgMetadata copy(static_cast<MsgMetadata&>(*back));
    back.reset();
    EXPECT_EQ(copy.getMetaValues().size(), 2u);
    EXPECT_EQ(written(copy), bytes);
}

TEST(MetadataTest, OperationTagIsOptional) {
    LogCapture log;
    const std::unique_ptr<Metadata> untagged(operation("rd", 4, ""));
    const std::unique_ptr<Metadata> tagged(operation("rd", 4, "PKG"));
    EXPECT_NE(readBack(written(*untagged)), nullptr);
    EXPECT_NE(readBack(written(*tagged)), nullptr);
    EXPECT_TRUE(log.loggedExactly(
        {"WARNING: couldn't extract org msg tag!\n", "DEBUG: OK, read org msg tag = PKG\n"}));
}

// The warning each cut of a metric or collector record logs, by the field it
// falls in.
TEST(MetadataTest, TruncatedSettingsNameTheMissingField) {
    struct Field {
        size_t end;
        const char* what;
    };
    const std::vector<GoldenCase> cases = goldenCases();
    // clang-format off
    const std::vector<std::pair<const GoldenCase*, std::vector<Field>>> layouts = {
        {&cases[1], {{8, "plugin ID"}, {12, "metric ID"}, {14, "map size"}, {17, "key"},
                     {20, "value"}, {23, "key"}, {26, "value"}}},
        {&cases[2], {{9, "name"}, {11, "map size"}, {14, "key"}, {17, "value"}}},
    };
    // clang-format on
    for (const auto& [golden, fields] : layouts) {
        const std::string kind = golden->name;
        size_t field = 0;
        for (size_t length = 4; length < golden->bytes.size(); ++length) {
            while (length >= fields[field].end) {
                ++field;
            }
            LogCapture log;
            EXPECT_EQ(readBack(golden->bytes, length), nullptr);
            EXPECT_TRUE(
                log.loggedExactly({std::string("WARNING: ERROR reading ") + fields[field].what +
                                   " while deserializing " + kind + " metadata message!\n"}))
                << kind << " length " << length;
        }
    }
}

TEST(MetadataTest, HostileInputIsRefused) {
    LogCapture log;
    ::testing::internal::CaptureStderr();
    EXPECT_EQ(readBack(Bytes().u32(9).data), nullptr);
    EXPECT_EQ(::testing::internal::GetCapturedStderr(),
              "ERROR: unsupported Metadata Data Type 9\n");

    // A message record nested in a message record: refused without recursing.
    Bytes nested;
    nested.u32(0).u32(1).u32(2).u32(3).str("cap").u16(0).str("msg").u16(1);
    for (int i = 0; i < 100000; ++i) {
        nested.u32(0).u32(1).u32(2).u32(3).str("cap").u16(0).str("msg").u16(1);
    }
    EXPECT_EQ(readBack(nested.data), nullptr);
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

TEST(MetadataTest, RandomBytesNeverCrashTheReader) {
    LogCapture log;
    log.context().setVerbosity(PW_FATAL);
    ::testing::internal::CaptureStderr();
    std::mt19937 rng(20240611u);
    const std::vector<GoldenCase> cases = goldenCases();
    size_t accepted = 0;
    for (int round = 0; round < 4000; ++round) {
        std::vector<char> bytes;
        if (round % 2 == 0) {
            // Valid records with a few bytes changed reach deep into the
            // readers.
            bytes = cases[rng() % cases.size()].bytes;
            for (int flips = 1 + static_cast<int>(rng() % 4); flips > 0; --flips) {
                bytes[rng() % bytes.size()] = static_cast<char>(rng());
            }
        } else {
            bytes.resize(rng() % 64);
            for (char& b : bytes) {
                b = static_cast<char>(rng() % 8);  // small values: plausible codes and counts
            }
        }
        const std::unique_ptr<Metadata> back = readBack(bytes);
        if (back) {
            ++accepted;
            written(*back);
        }
    }
    ::testing::internal::GetCapturedStderr();
    EXPECT_GT(accepted, 0u);
}

}  // namespace
}  // namespace pwr
