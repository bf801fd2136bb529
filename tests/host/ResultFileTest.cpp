// The result file: its byte layout, a full round trip through the writer and
// both readers, and refusal (never a crash) of every truncated or damaged
// variant.
#include "host/ResultFile.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "common/plugins/VexaBuffer.h"
#include "common/serialize/CollectorMetadata.h"
#include "common/serialize/MetricMetadata.h"
#include "common/serialize/MsgMetadata.h"
#include "common/serialize/OperationMetadata.h"
#include "tests/support/LogCapture.h"

namespace vantry {
namespace {

class ResultFileTest : public pwr::test::RegistryTest {
  protected:
    void SetUp() override {
        RegistryTest::SetUp();
        system.hostName = "bench-host";
        system.osName = "TestOS";
        system.appVersion = 0x00010203;
        system.commandLine = {"vantry", "-f", "ticks"};
        system.sidToUuid[0] = "collector-uuid";
        system.producedSamples = 3;
        auto* msg = new pwr::MsgMetadata(1, 7, 16);
        msg->setCapName("ticks");
        msg->setMsgName("FAKE_COUNT");
        msg->addMetaValue(new pwr::OperationMetadata("count", "FAKE", 8));
        msg->setTriggers({"BEGIN", "POLL"});
        records.emplace_back(msg);
        auto* metric = new pwr::MetricMetadata(1, 7);
        metric->addValue("feature", "ticks");
        records.emplace_back(metric);
        records.emplace_back(new pwr::CollectorMetadata("fake-collector"));
        features = {{"ticks", "FAKE", {"FAKE_COUNT", "FAKE_EDGES"}}};
        options = {{"interval-ms", "250"}, {"max-detail", "0"}};
        for (int i = 0; i < 3; ++i) {
            vexa_driver_msg sample;
            sample.timestamp = 1000u * static_cast<uint64_t>(i);
            sample.msgName = i == 1 ? "FAKE_EDGES" : "FAKE_COUNT";
            sample.opName = "count";
            sample.values = {{"reads", std::to_string(i + 1)}, {"value", std::to_string(i * 3)}};
            samples.push_back(sample);
        }
    }

    std::vector<const pwr::Metadata*> metadata() const {
        std::vector<const pwr::Metadata*> out{&system};
        for (const auto& record : records) {
            out.push_back(record.get());
        }
        return out;
    }

    // The bytes of a whole file, and where each sample record ends.
    std::vector<uint8_t> wholeFile(std::vector<size_t>* boundaries = nullptr) const {
        const std::vector<char> head = encodeResultHead(metadata(), features, options);
        std::vector<uint8_t> bytes(head.begin(), head.end());
        if (boundaries != nullptr) {
            boundaries->push_back(bytes.size());
        }
        for (const vexa_driver_msg& sample : samples) {
            pwr::VexaBuffer buffer;
            EXPECT_TRUE(pwr::appendDriverMessage(buffer, sample));
            bytes.insert(bytes.end(), buffer.data(), buffer.data() + buffer.size());
            if (boundaries != nullptr) {
                boundaries->push_back(bytes.size());
            }
        }
        return bytes;
    }

    static std::vector<vexa_driver_msg> parse(const std::vector<uint8_t>& bytes, bool& ok,
                                              std::string& error, ResultHead& head) {
        std::vector<vexa_driver_msg> seen;
        ok = parseResultBuffer(
            bytes.data(), bytes.size(), head,
            [&](const vexa_driver_msg& m) {
                seen.push_back(m);
                return true;
            },
            error);
        return seen;
    }

    static bool sameSample(const vexa_driver_msg& a, const vexa_driver_msg& b) {
        return a.timestamp == b.timestamp && a.msgName == b.msgName && a.opName == b.opName &&
               a.values == b.values;
    }

    pwr::SystemMetadata system;
    std::vector<std::unique_ptr<pwr::Metadata>> records;
    std::vector<FeatureRecord> features;
    std::vector<std::pair<std::string, std::string>> options;
    std::vector<vexa_driver_msg> samples;
};

TEST_F(ResultFileTest, PrefixLayoutIsMagicVersionAndHeadLength) {
    const std::vector<char> head = encodeResultHead(metadata(), features, options);
    ASSERT_GT(head.size(), 12u);
    EXPECT_EQ(std::string(head.data(), 4), "VTRF");
    EXPECT_EQ(std::vector<char>(head.begin() + 4, head.begin() + 8),
              (std::vector<char>{1, 0, 0, 0}));
    const uint32_t length = static_cast<uint8_t>(head[8]) |
                            static_cast<uint32_t>(static_cast<uint8_t>(head[9])) << 8 |
                            static_cast<uint32_t>(static_cast<uint8_t>(head[10])) << 16 |
                            static_cast<uint32_t>(static_cast<uint8_t>(head[11])) << 24;
    EXPECT_EQ(length, head.size() - 12);
    // The record count follows: the system record and three others.
    EXPECT_EQ(std::vector<char>(head.begin() + 12, head.begin() + 16),
              (std::vector<char>{4, 0, 0, 0}));
    // Then the system record's type code, 2.
    EXPECT_EQ(std::vector<char>(head.begin() + 16, head.begin() + 20),
              (std::vector<char>{2, 0, 0, 0}));
}

TEST_F(ResultFileTest, BufferRoundTripRestoresEveryPart) {
    bool ok = false;
    std::string error;
    ResultHead head;
    const std::vector<vexa_driver_msg> seen = parse(wholeFile(), ok, error, head);
    ASSERT_TRUE(ok) << error;
    EXPECT_EQ(head.formatVersion, 1u);
    ASSERT_NE(head.system(), nullptr);
    EXPECT_EQ(head.system()->hostName, "bench-host");
    EXPECT_EQ(head.system()->commandLine, system.commandLine);
    EXPECT_EQ(head.system()->sidToUuid, system.sidToUuid);
    ASSERT_EQ(head.metadata.size(), 4u);
    auto* msg = dynamic_cast<pwr::MsgMetadata*>(head.metadata[1].get());
    ASSERT_NE(msg, nullptr);
    EXPECT_EQ(msg->getMsgName(), "FAKE_COUNT");
    ASSERT_EQ(msg->getMetaValues().size(), 1u);
    EXPECT_EQ(msg->getMetaValues()[0]->getOperation(), "FAKE");
    EXPECT_NE(dynamic_cast<pwr::MetricMetadata*>(head.metadata[2].get()), nullptr);
    EXPECT_NE(dynamic_cast<pwr::CollectorMetadata*>(head.metadata[3].get()), nullptr);
    ASSERT_EQ(head.features.size(), 1u);
    EXPECT_EQ(head.features[0].name, "ticks");
    EXPECT_EQ(head.features[0].prefix, "FAKE");
    EXPECT_EQ(head.features[0].messages, features[0].messages);
    EXPECT_EQ(head.options, options);
    ASSERT_EQ(seen.size(), samples.size());
    for (size_t i = 0; i < seen.size(); ++i) {
        EXPECT_TRUE(sameSample(seen[i], samples[i])) << "sample " << i;
    }
}

TEST_F(ResultFileTest, EmptyTextsAreLeftOutRatherThanWrittenUnreadable) {
    features.push_back({"", "NONAME", {}});
    features.push_back({"noprefix", "", {}});
    features[0].messages.push_back("");
    options.emplace_back("empty", "");
    bool ok = false;
    std::string error;
    ResultHead head;
    parse(wholeFile(), ok, error, head);
    ASSERT_TRUE(ok) << error;
    ASSERT_EQ(head.features.size(), 1u);
    EXPECT_EQ(head.features[0].messages, (std::vector<std::string>{"FAKE_COUNT", "FAKE_EDGES"}));
    EXPECT_EQ(head.options.size(), 2u);
}

TEST_F(ResultFileTest, EveryTruncationIsRefusedUnlessItEndsOnARecord) {
    std::vector<size_t> boundaries;
    const std::vector<uint8_t> whole = wholeFile(&boundaries);
    log.context().setVerbosity(PW_FATAL);
    for (size_t cut = 0; cut < whole.size(); ++cut) {
        const std::vector<uint8_t> part(whole.begin(), whole.begin() + static_cast<long>(cut));
        bool ok = false;
        std::string error;
        ResultHead head;
        const std::vector<vexa_driver_msg> seen = parse(part, ok, error, head);
        size_t boundary = 0;
        while (boundary < boundaries.size() && boundaries[boundary] != cut) {
            ++boundary;
        }
        if (boundary < boundaries.size()) {
            EXPECT_TRUE(ok) << "cut at " << cut << ": " << error;
            EXPECT_EQ(seen.size(), boundary) << "cut at " << cut;
        } else {
            EXPECT_FALSE(ok) << "cut at " << cut << " was accepted";
            EXPECT_FALSE(error.empty());
        }
    }
}

TEST_F(ResultFileTest, DamageGetsItsOwnReason) {
    const std::vector<uint8_t> whole = wholeFile();
    log.context().setVerbosity(PW_FATAL);
    auto reason = [&](std::vector<uint8_t> bytes) {
        bool ok = true;
        std::string error;
        ResultHead head;
        parse(bytes, ok, error, head);
        EXPECT_FALSE(ok);
        return error;
    };
    std::vector<uint8_t> bytes = whole;
    bytes[0] = 'X';
    EXPECT_EQ(reason(bytes), "not a Vantry result file");
    bytes = whole;
    bytes[4] = 2;
    EXPECT_EQ(reason(bytes),
              "written in result format 2, which this Vantry cannot read (it reads formats 1 to "
              "1)");
    bytes = whole;
    bytes[4] = 0;
    EXPECT_EQ(reason(bytes),
              "written in result format 0, which this Vantry cannot read (it reads formats 1 to "
              "1)");
    bytes = whole;
    bytes[11] = 0x7F;
    EXPECT_EQ(reason(bytes), "the file is cut short");
    // A head one byte shorter than its contents: the option list loses its
    // last byte.
    bytes = whole;
    bytes[8] = static_cast<uint8_t>(bytes[8] - 1);
    EXPECT_EQ(reason(bytes), "option 2 is damaged");
    // A sample whose length runs past the end.
    bytes = whole;
    const size_t headEnd = encodeResultHead(metadata(), features, options).size();
    bytes[headEnd + 1] = 0x10;
    EXPECT_EQ(reason(bytes), "damaged sample record at byte " + std::to_string(headEnd));

    // The system record must come first.
    std::vector<const pwr::Metadata*> swapped = metadata();
    std::swap(swapped[0], swapped[2]);
    const std::vector<char> head = encodeResultHead(swapped, features, options);
    EXPECT_EQ(reason(std::vector<uint8_t>(head.begin(), head.end())),
              "the first metadata record is not the system record");
    const std::vector<char> none = encodeResultHead({}, features, options);
    EXPECT_EQ(reason(std::vector<uint8_t>(none.begin(), none.end())),
              "the file holds no system record");
}

TEST_F(ResultFileTest, FlippedBytesNeverCrashTheReader) {
    const std::vector<uint8_t> whole = wholeFile();
    log.context().setVerbosity(PW_FATAL);
    for (size_t at = 0; at < whole.size(); ++at) {
        for (uint8_t mask : {0x01, 0x80, 0xFF}) {
            std::vector<uint8_t> bytes = whole;
            bytes[at] ^= mask;
            bool ok = false;
            std::string error;
            ResultHead head;
            parse(bytes, ok, error, head);
            EXPECT_TRUE(ok || !error.empty()) << "byte " << at;
        }
    }
    ResultHead head;
    std::string error;
    EXPECT_FALSE(parseResultBuffer(nullptr, 100, head, SampleVisitor(), error));
    EXPECT_EQ(error, "not a Vantry result file");
}

TEST_F(ResultFileTest, WriterRenamesOnlyWhenCompleteAndReaderStreams) {
    const std::string path = "host-test-result.vtr";
    std::remove(path.c_str());
    {
        std::ofstream stale(path, std::ios::binary);
        stale << "an older collection";
    }
    ResultFileWriter writer;
    std::string error;
    ASSERT_TRUE(writer.open(path, error)) << error;
    for (const vexa_driver_msg& sample : samples) {
        pwr::VexaBuffer buffer;
        ASSERT_TRUE(pwr::appendDriverMessage(buffer, sample));
        ASSERT_TRUE(writer.appendSamples(buffer.data(), buffer.size(), error)) << error;
    }
    // Until finish() the old file keeps its name and contents.
    {
        std::ifstream in(path, std::ios::binary);
        EXPECT_EQ(std::string(std::istreambuf_iterator<char>(in), {}), "an older collection");
    }
    ASSERT_TRUE(writer.finish(metadata(), features, options, error)) << error;
    EXPECT_FALSE(std::ifstream(path + ".tmp").good());
    EXPECT_FALSE(std::ifstream(path + ".samples.tmp").good());

    std::ifstream in(path, std::ios::binary);
    const std::vector<uint8_t> onDisk((std::istreambuf_iterator<char>(in)), {});
    EXPECT_EQ(onDisk, wholeFile());

    ResultHead head;
    std::vector<vexa_driver_msg> seen;
    ASSERT_TRUE(readResultFile(
        path, head,
        [&](const vexa_driver_msg& m) {
            seen.push_back(m);
            return seen.size() < 2;
        },
        error))
        << error;
    EXPECT_EQ(seen.size(), 2u) << "the visitor stops the reading";

    // Abandoning leaves neither a result nor a side file.
    const std::string other = "host-test-abandoned.vtr";
    ResultFileWriter abandoned;
    ASSERT_TRUE(abandoned.open(other, error));
    abandoned.abandon();
    EXPECT_FALSE(std::ifstream(other).good());
    EXPECT_FALSE(std::ifstream(other + ".samples.tmp").good());
    std::remove(path.c_str());

    EXPECT_FALSE(readResultFile("host-test-missing.vtr", head, SampleVisitor(), error));
    EXPECT_FALSE(error.empty());
}

}  // namespace
}  // namespace vantry
