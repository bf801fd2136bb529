// The result file: its frames, a collection streamed through the writer and
// read back while and after it is written, recovery of every cut and damaged
// variant (never a crash), and the first release's files.
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
        // A clock of one tick per millisecond; polls a second apart.
        system.clockFreqMHz = 0.001f;
        system.startTsc = 1000;
        system.pollingIntervalMsecs = 1000;
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
            sample.timestamp = 1000u * static_cast<uint64_t>(i + 2);
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

    // The wire bytes of some samples.
    static std::vector<uint8_t> wire(const std::vector<vexa_driver_msg>& msgs) {
        pwr::VexaBuffer buffer;
        for (const vexa_driver_msg& msg : msgs) {
            EXPECT_TRUE(pwr::appendDriverMessage(buffer, msg));
        }
        return std::vector<uint8_t>(buffer.data(), buffer.data() + buffer.size());
    }

    // A finished file: head, one SAMPLES frame per poll (samples 0 and 1,
    // then sample 2), end. frameEnds gets the offset after each frame.
    std::vector<uint8_t> wholeFile(std::vector<size_t>* frameEnds = nullptr) const {
        std::vector<char> bytes = encodeResultHead(metadata(), features, options);
        auto mark = [&]() {
            if (frameEnds != nullptr) {
                frameEnds->push_back(bytes.size());
            }
        };
        mark();
        for (const auto& poll : {std::vector<vexa_driver_msg>{samples[0], samples[1]},
                                 std::vector<vexa_driver_msg>{samples[2]}}) {
            const std::vector<uint8_t> records = wire(poll);
            std::vector<char> frame;
            EXPECT_TRUE(encodeSamplesFrame(records.data(), records.size(), frame));
            bytes.insert(bytes.end(), frame.begin(), frame.end());
            mark();
        }
        pwr::SystemMetadata final = system;
        final.stopTsc = system.startTsc + 3000;
        final.producedSamples = 7;
        const std::vector<char> end = encodeEndFrame(final, 2, 3, endOptions);
        bytes.insert(bytes.end(), end.begin(), end.end());
        mark();
        return std::vector<uint8_t>(bytes.begin(), bytes.end());
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

    static bool readAll(const std::string& path, ResultHead& head,
                        std::vector<vexa_driver_msg>& seen, std::string& error) {
        seen.clear();
        return readResultFile(
            path, head,
            [&](const vexa_driver_msg& m) {
                seen.push_back(m);
                return true;
            },
            error);
    }

    static bool sameSample(const vexa_driver_msg& a, const vexa_driver_msg& b) {
        return a.timestamp == b.timestamp && a.msgName == b.msgName && a.opName == b.opName &&
               a.values == b.values;
    }

    pwr::SystemMetadata system;
    std::vector<std::unique_ptr<pwr::Metadata>> records;
    std::vector<FeatureRecord> features;
    std::vector<std::pair<std::string, std::string>> options;
    // Known only when the collection ends.
    std::vector<std::pair<std::string, std::string>> endOptions{{"program-exit-status", "3"}};
    std::vector<vexa_driver_msg> samples;
};

TEST_F(ResultFileTest, FileIsMagicVersionThenCheckedFrames) {
    const std::vector<char> head = encodeResultHead(metadata(), features, options);
    ASSERT_GT(head.size(), 17u);
    EXPECT_EQ(std::string(head.data(), 4), "VTRF");
    EXPECT_EQ(std::vector<char>(head.begin() + 4, head.begin() + 8),
              (std::vector<char>{2, 0, 0, 0}));
    // Kind 1 (HEAD), its body length, the body, the CRC-32 of the rest.
    EXPECT_EQ(head[8], 1);
    const uint32_t length = static_cast<uint8_t>(head[9]) |
                            static_cast<uint32_t>(static_cast<uint8_t>(head[10])) << 8 |
                            static_cast<uint32_t>(static_cast<uint8_t>(head[11])) << 16 |
                            static_cast<uint32_t>(static_cast<uint8_t>(head[12])) << 24;
    EXPECT_EQ(length, head.size() - 8 - 5 - 4);
    // The body: the record count (the system record and three others), then
    // the system record's type code, 2.
    EXPECT_EQ(std::vector<char>(head.begin() + 13, head.begin() + 21),
              (std::vector<char>{4, 0, 0, 0, 2, 0, 0, 0}));
    // CRC-32 of "123456789" is the standard check value 0xCBF43926; the
    // frame of an empty body of kind 0x31 is that of the bytes 31 00 00 00 00.
    const std::vector<char> frame = encodeFrame(3, {});
    ASSERT_EQ(frame.size(), 9u);
    EXPECT_EQ(std::vector<char>(frame.begin(), frame.begin() + 5),
              (std::vector<char>{3, 0, 0, 0, 0}));
    // A samples frame: latest timestamp, record count, the records.
    const std::vector<uint8_t> records = wire({samples[0], samples[2]});
    std::vector<char> samplesFrame;
    ASSERT_TRUE(encodeSamplesFrame(records.data(), records.size(), samplesFrame));
    EXPECT_EQ(samplesFrame[0], 2);
    EXPECT_EQ(samplesFrame.size(), 5 + 12 + records.size() + 4);
    EXPECT_EQ(static_cast<uint8_t>(samplesFrame[5]), 4000 & 0xFF);  // latest: sample 2
    EXPECT_EQ(samplesFrame[13], 2);                                 // two records
    // Bytes that are not whole records are refused.
    EXPECT_FALSE(encodeSamplesFrame(records.data(), records.size() - 1, samplesFrame));
}

TEST_F(ResultFileTest, WriterStreamsAndRenamesOnlyWhenFinished) {
    const std::string path = "host-test-result.vtr";
    std::remove(path.c_str());
    {
        std::ofstream stale(path, std::ios::binary);
        stale << "an older collection";
    }
    pwr::SystemMetadata final = system;
    final.stopTsc = system.startTsc + 3000;
    final.producedSamples = 7;
    std::string partial;
    {
        ResultFileWriter writer;
        std::string error;
        ASSERT_TRUE(writer.create(path, error)) << error;
        partial = writer.partialPath();
        EXPECT_EQ(partial.compare(0, path.size() + 1, path + "."), 0) << partial;
        EXPECT_EQ(resultStem(partial), "host-test-result");
        ASSERT_TRUE(writer.writeHead(metadata(), features, options, error)) << error;
        const std::vector<uint8_t> first = wire({samples[0], samples[1]});
        const std::vector<uint8_t> second = wire({samples[2]});
        ASSERT_TRUE(writer.appendSamples(first.data(), first.size(), error)) << error;
        ASSERT_TRUE(writer.appendSamples(nullptr, 0, error)) << error;  // an empty poll
        // What is there already reads back, as a collection that did not
        // finish, while the old file keeps its name.
        ResultHead during;
        std::vector<vexa_driver_msg> seen;
        ASSERT_TRUE(readAll(partial, during, seen, error)) << error;
        EXPECT_FALSE(during.complete);
        EXPECT_EQ(seen.size(), 2u);
        EXPECT_EQ(during.recoveryNote, "recovered 2.0 s of a collection that did not finish");
        ASSERT_TRUE(writer.appendSamples(second.data(), second.size(), error)) << error;
        {
            std::ifstream in(path, std::ios::binary);
            EXPECT_EQ(std::string(std::istreambuf_iterator<char>(in), {}), "an older collection");
        }
        ASSERT_TRUE(writer.finish(final, endOptions, error)) << error;
        EXPECT_EQ(writer.sampleRecords(), 3u);
    }
    EXPECT_FALSE(std::ifstream(partial).good());
    std::ifstream in(path, std::ios::binary);
    const std::vector<uint8_t> onDisk((std::istreambuf_iterator<char>(in)), {});
    EXPECT_EQ(onDisk, wholeFile());

    ResultHead head;
    std::vector<vexa_driver_msg> seen;
    std::string error;
    ASSERT_TRUE(readAll(path, head, seen, error)) << error;
    EXPECT_TRUE(head.complete);
    EXPECT_EQ(head.recoveryNote, "");
    EXPECT_EQ(head.formatVersion, 2u);
    // The END frame's system record replaces the one of the start.
    ASSERT_NE(head.system(), nullptr);
    EXPECT_EQ(head.system()->producedSamples, 7u);
    EXPECT_EQ(head.system()->hostName, "bench-host");
    ASSERT_EQ(head.metadata.size(), 4u);
    EXPECT_NE(dynamic_cast<pwr::MsgMetadata*>(head.metadata[1].get()), nullptr);
    EXPECT_EQ(head.features[0].messages, features[0].messages);
    // The options of the end follow those of the head.
    std::vector<std::pair<std::string, std::string>> allOptions = options;
    allOptions.insert(allOptions.end(), endOptions.begin(), endOptions.end());
    EXPECT_EQ(head.options, allOptions);
    ASSERT_EQ(seen.size(), samples.size());
    for (size_t i = 0; i < seen.size(); ++i) {
        EXPECT_TRUE(sameSample(seen[i], samples[i])) << "sample " << i;
    }
    std::remove(path.c_str());

    // Abandoned before its head, a collection leaves nothing; a writer that
    // ends after its head keeps what it wrote.
    const std::string other = "host-test-abandoned.vtr";
    std::string kept;
    {
        ResultFileWriter abandoned;
        ASSERT_TRUE(abandoned.create(other, error));
        const std::string name = abandoned.partialPath();
        abandoned.abandon();
        EXPECT_FALSE(std::ifstream(name).good());
        ResultFileWriter dropped;
        ASSERT_TRUE(dropped.create(other, error));
        ASSERT_TRUE(dropped.writeHead(metadata(), features, options, error));
        kept = dropped.partialPath();
    }
    EXPECT_TRUE(std::ifstream(kept).good());
    EXPECT_FALSE(std::ifstream(other).good());
    EXPECT_TRUE(readResultFile(kept, head, SampleVisitor(), error)) << error;
    EXPECT_EQ(head.recoveryNote, "recovered 0.0 s of a collection that did not finish");
    std::remove(kept.c_str());
}

TEST_F(ResultFileTest, EveryCutKeepsTheWholeFramesBeforeIt) {
    std::vector<size_t> ends;
    const std::vector<uint8_t> whole = wholeFile(&ends);
    ASSERT_EQ(ends.size(), 4u);
    log.context().setVerbosity(PW_FATAL);
    for (size_t cut = 0; cut < whole.size(); ++cut) {
        const std::vector<uint8_t> part(whole.begin(), whole.begin() + static_cast<long>(cut));
        bool ok = false;
        std::string error;
        ResultHead head;
        const std::vector<vexa_driver_msg> seen = parse(part, ok, error, head);
        if (cut < ends[0]) {
            EXPECT_FALSE(ok) << "cut at " << cut;
            EXPECT_EQ(error, cut < 8 ? "not a Vantry result file" : "the file is cut short");
            continue;
        }
        ASSERT_TRUE(ok) << "cut at " << cut << ": " << error;
        // Cut at a frame boundary too: without the END frame the file is
        // known to be incomplete, and its system record ends at the last
        // reading that is there.
        EXPECT_FALSE(head.complete) << "cut at " << cut;
        const size_t expected = cut >= ends[2] ? 3 : cut >= ends[1] ? 2 : 0;
        EXPECT_EQ(seen.size(), expected) << "cut at " << cut;
        const char* seconds = expected == 3 ? "3.0" : expected == 2 ? "2.0" : "0.0";
        EXPECT_EQ(head.recoveryNote,
                  std::string("recovered ") + seconds + " s of a collection that did not finish");
        EXPECT_EQ(head.system()->stopTsc, expected == 3 ? 4000u : expected == 2 ? 3000u : 1000u);
    }
}

TEST_F(ResultFileTest, DamageEndsTheReadablePartWhereItIs) {
    std::vector<size_t> ends;
    const std::vector<uint8_t> whole = wholeFile(&ends);
    log.context().setVerbosity(PW_FATAL);
    auto read = [&](const std::vector<uint8_t>& bytes, ResultHead& head, size_t& records) {
        bool ok = false;
        std::string error;
        records = parse(bytes, ok, error, head).size();
        return ok ? std::string() : error;
    };
    ResultHead head;
    size_t records = 0;
    // A flipped byte in the second SAMPLES frame: the first is kept.
    std::vector<uint8_t> bytes = whole;
    bytes[ends[1] + 20] ^= 0x01;
    EXPECT_EQ(read(bytes, head, records), "");
    EXPECT_EQ(records, 2u);
    EXPECT_EQ(head.recoveryNote, "the file is damaged at byte " + std::to_string(ends[1]) +
                                     "; recovered 2.0 s of the collection");
    // A length that claims 4 GiB is refused without reading or allocating.
    bytes = whole;
    for (size_t i = 1; i <= 4; ++i) {
        bytes[ends[1] + i] = static_cast<uint8_t>(0xFF);
    }
    EXPECT_EQ(read(bytes, head, records), "");
    EXPECT_EQ(records, 2u);
    EXPECT_EQ(head.recoveryNote, "the file is damaged at byte " + std::to_string(ends[1]) +
                                     "; recovered 2.0 s of the collection");
    // Bytes after the END frame are left out, and said so.
    bytes = whole;
    bytes.insert(bytes.end(), whole.begin() + static_cast<long>(ends[0]),
                 whole.begin() + static_cast<long>(ends[1]));
    EXPECT_EQ(read(bytes, head, records), "");
    EXPECT_EQ(records, 3u);
    EXPECT_TRUE(head.complete);
    EXPECT_EQ(head.recoveryNote, "the file goes on after the end of its collection, at byte " +
                                     std::to_string(ends[3]) + "; it was left out");
    // So are a few stray bytes, too few for a frame.
    bytes = whole;
    bytes.insert(bytes.end(), {0x01, 0x02, 0x03});
    EXPECT_EQ(read(bytes, head, records), "");
    EXPECT_EQ(records, 3u);
    EXPECT_EQ(head.recoveryNote, "the file goes on after the end of its collection, at byte " +
                                     std::to_string(ends[3]) + "; it was left out");
    // An END frame whose counts disagree with the frames before it.
    bytes = std::vector<uint8_t>(whole.begin(), whole.begin() + static_cast<long>(ends[2]));
    const std::vector<char> end = encodeEndFrame(system, 5, 9);
    bytes.insert(bytes.end(), end.begin(), end.end());
    EXPECT_EQ(read(bytes, head, records), "");
    EXPECT_FALSE(head.complete);
    EXPECT_EQ(head.recoveryNote,
              "the file holds 3 of its 9 sample records; recovered 3.0 s of the collection");
    // The head itself damaged, and unknown versions.
    bytes = whole;
    bytes[20] ^= 0x40;
    EXPECT_EQ(read(bytes, head, records), "the metadata is damaged");
    bytes = whole;
    bytes[4] = 3;
    EXPECT_EQ(read(bytes, head, records),
              "written in result format 3, which this Vantry cannot read (it reads formats 1 to "
              "2)");
    bytes[4] = 0;
    EXPECT_EQ(read(bytes, head, records),
              "written in result format 0, which this Vantry cannot read (it reads formats 1 to "
              "2)");
    bytes = whole;
    bytes[0] = 'X';
    EXPECT_EQ(read(bytes, head, records), "not a Vantry result file");
    // The system record must come first.
    std::vector<const pwr::Metadata*> swapped = metadata();
    std::swap(swapped[0], swapped[2]);
    const std::vector<char> badHead = encodeResultHead(swapped, features, options);
    EXPECT_EQ(read(std::vector<uint8_t>(badHead.begin(), badHead.end()), head, records),
              "the first metadata record is not the system record");
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
            const size_t seen = parse(bytes, ok, error, head).size();
            EXPECT_TRUE(ok || !error.empty()) << "byte " << at;
            // Every frame is checked: a flip is never read as other data.
            EXPECT_TRUE(!ok || !head.complete || seen == samples.size()) << "byte " << at;
        }
    }
    ResultHead head;
    std::string error;
    EXPECT_FALSE(parseResultBuffer(nullptr, 100, head, SampleVisitor(), error));
    EXPECT_EQ(error, "not a Vantry result file");
}

TEST_F(ResultFileTest, FirstFormatFilesStillRead) {
    // A collection written by the first release: one head, bare records.
    const std::string path = std::string(VANTRY_TEST_DATA_DIR) + "/host/release1.vtr";
    ResultHead head;
    std::vector<vexa_driver_msg> seen;
    std::string error;
    ASSERT_TRUE(readAll(path, head, seen, error)) << error;
    EXPECT_EQ(head.formatVersion, 1u);
    EXPECT_TRUE(head.complete) << head.recoveryNote;
    EXPECT_EQ(seen.size(), 8u);
    ASSERT_NE(head.system(), nullptr);
    EXPECT_EQ(head.system()->hostName, "laptop");
    EXPECT_EQ(head.features.size(), 1u);

    // Cut at a record boundary halfway, it is known to be cut: its readings
    // end well before its recorded stop.
    std::ifstream in(path, std::ios::binary);
    std::vector<uint8_t> bytes((std::istreambuf_iterator<char>(in)), {});
    size_t offset = 12 + (bytes[8] | bytes[9] << 8 | bytes[10] << 16 | bytes[11] << 24);
    vexa_driver_msg msg;
    for (int i = 0; i < 3; ++i) {
        ASSERT_TRUE(pwr::readDriverMessage(bytes.data(), bytes.size(), offset, msg));
    }
    bytes.resize(offset);
    bool ok = false;
    log.context().setVerbosity(PW_FATAL);
    EXPECT_EQ(parse(bytes, ok, error, head).size(), 3u);
    EXPECT_TRUE(ok) << error;
    EXPECT_FALSE(head.complete);
    EXPECT_EQ(head.recoveryNote, "the file is cut; it holds 0.3 s of a 1.0 s collection");
    // And cut inside a record.
    bytes.resize(bytes.size() - 1);
    EXPECT_EQ(parse(bytes, ok, error, head).size(), 2u);
    EXPECT_TRUE(ok) << error;
    EXPECT_EQ(head.recoveryNote.compare(0, 23, "the file is cut at byte"), 0) << head.recoveryNote;
}

TEST_F(ResultFileTest, StemsOfResultNames) {
    EXPECT_EQ(resultStem("out.vtr"), "out");
    EXPECT_EQ(resultStem("dir/out.vtr.0123456789abcdef.partial"), "dir/out");
    EXPECT_EQ(resultStem("out.vtr.0123456789abcdeg.partial"), "out.vtr.0123456789abcdeg.partial");
    EXPECT_EQ(resultStem("out.partial"), "out.partial");
    EXPECT_EQ(resultStem("out"), "out");
}

}  // namespace
}  // namespace vantry
