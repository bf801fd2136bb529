#include "common/config/Operation.h"

#include <gtest/gtest.h>

#include <cctype>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "common/config/InputMsg.h"
#include "common/config/OperationValue.h"
#include "common/config/ModelMatch.h"
#include "common/config/VexaConfigFileParser.h"
#include "common/serialize/SystemMetadata.h"
#include "tests/config/FakeCollector.h"
#include "tests/support/LogCapture.h"

namespace pwr {
namespace {

const char* const c_mixedOthers =
    "ERROR: Trying to add Trigger %s to message CORE_C6 which already has other triggers; "
    "\"INIT\", \"FINI\" and \"REQUIREMENTS\" messages CANNOT be mixed with other messages!\n";
const char* const c_mixedInit =
    "ERROR: Trying to add Trigger %s to message CORE_C6 which already has an \"INIT\" or "
    "\"REQUIREMENTS\" Trigger; \"INIT\" and \"REQUIREMENTS\" messages cannot be mixed with "
    "other messages!\n";

std::string format(const char* text, const std::string& trigger) {
    std::string out(text);
    out.replace(out.find("%s"), 2, trigger);
    return out;
}

// ---------------------------------------------------------------------------
// Bit masks and DATA-FORMAT

struct MaskCase {
    const char* mask;
    bool valid;
    uint8_t msb;
    uint8_t lsb;
};

class MaskTest : public ::testing::TestWithParam<MaskCase> {};

TEST_P(MaskTest, Fields) {
    const MaskCase& c = GetParam();
    EXPECT_EQ(isMaskValid(c.mask), c.valid);
    EXPECT_EQ(retrieveMsbFromMask(c.mask), c.msb);
    EXPECT_EQ(retrieveLsbFromMask(c.mask), c.lsb);
}

INSTANTIATE_TEST_SUITE_P(
    Masks, MaskTest,
    ::testing::Values(MaskCase{"7:4", true, 7, 4}, MaskCase{"63:0", true, 63, 0},
                      MaskCase{"7", false, 0, 0}, MaskCase{"7:4:1", false, 0, 0},
                      MaskCase{"a:4", false, 0, 0}, MaskCase{"7:", false, 0, 0},
                      // Any two numbers make a mask; each is read back as 8 bits.
                      MaskCase{"300:0", true, 300 % 256, 0}, MaskCase{"0x1FF:256", true, 0xFF, 0}));

TEST(BitRangeTest, ExtractsFieldsUpToTheTopBit) {
    EXPECT_EQ(extractBitRangeValue(0xAB, 7, 4), 0xAu);
    EXPECT_EQ(extractBitRangeValue(~uint64_t{0}, 63, 0), ~uint64_t{0});
    EXPECT_EQ(extractBitRangeValue(0x8000000000000001ull, 63, 63), 1u);
    EXPECT_EQ(extractBitRangeValue(0xFF, 3, 4), 0u);
    EXPECT_EQ(extractBitRangeValue(0xFF, 70, 64), 0u);
}

TEST(QFormatTest, UnsignedScalesSignedIsRefused) {
    test::LogCapture log;
    QFormat q;
    ASSERT_TRUE(retrieveQFormat("U8.8", q));
    EXPECT_DOUBLE_EQ(convertToFloatPoint(0x180, q), 1.5);
    ASSERT_TRUE(retrieveQFormat("U64.0", q));
    EXPECT_DOUBLE_EQ(convertToFloatPoint(0x180, q), 384.0);
    ASSERT_TRUE(retrieveQFormat("S8.8", q));
    EXPECT_DOUBLE_EQ(convertToFloatPoint(0x180, q), 384.0);
    q.sign = 'X';
    EXPECT_DOUBLE_EQ(convertToFloatPoint(7, q), 7.0);
    EXPECT_TRUE(log.loggedExactly(
        {"ERROR: Signed Qformat is currently not supported",
         "ERROR: Invalid DATA-FORMAT entry. X8.8 is invalid. Format expected as UX.Y or SX.Y"}));
}

class BadQFormatTest : public ::testing::TestWithParam<const char*> {};

TEST_P(BadQFormatTest, IsRefusedWithItsText) {
    test::LogCapture log;
    QFormat q;
    q.integerBits = 3;
    EXPECT_FALSE(retrieveQFormat(GetParam(), q));
    EXPECT_EQ(q.integerBits, 3);
    EXPECT_TRUE(log.loggedExactly({std::string("ERROR: Invalid DATA-FORMAT entry. ") + GetParam() +
                                   " is invalid. Format expected as UX.Y or SX.Y"}));
}

INSTANTIATE_TEST_SUITE_P(Texts, BadQFormatTest,
                         ::testing::Values("U8", "X8.8", "U8.8.1", "Ua.8", "8.8", "U8.", "U.8",
                                           "U300.1", ""));

// ---------------------------------------------------------------------------
// Triggers

struct TriggerCase {
    std::vector<std::string> accepted;  // read triggers that go in first
    std::string trigger;                // the read trigger tried last
    const char* refusal;                // its error format; null when accepted
};

class TriggerMixTest : public ::testing::TestWithParam<TriggerCase> {};

TEST_P(TriggerMixTest, ExclusiveTriggersRunAlone) {
    const TriggerCase& c = GetParam();
    InputMsg msg("C6", "CORE");
    for (const std::string& t : c.accepted) {
        ASSERT_EQ(msg.addReadTrigger(t), 0) << t;
    }
    test::LogCapture log;
    EXPECT_EQ(msg.addReadTrigger(c.trigger), c.refusal ? -1 : 0);
    InputMsg::StringSet expected(c.accepted.begin(), c.accepted.end());
    if (c.refusal != nullptr) {
        EXPECT_TRUE(log.loggedExactly({format(c.refusal, c.trigger)}));
    } else {
        expected.insert(c.trigger);
    }
    EXPECT_EQ(msg.getTriggers(), expected);
}

INSTANTIATE_TEST_SUITE_P(Sets, TriggerMixTest,
                         ::testing::Values(TriggerCase{{}, "INIT", nullptr},
                                           TriggerCase{{"INIT"}, "POLL", c_mixedInit},
                                           TriggerCase{{"REQUIREMENTS"}, "END", c_mixedInit},
                                           TriggerCase{{"POLL"}, "FINI", c_mixedOthers},
                                           TriggerCase{{"FINI"}, "POLL", c_mixedOthers},
                                           TriggerCase{{"INIT"}, "REQUIREMENTS", c_mixedOthers},
                                           TriggerCase{{"INIT"}, "INIT", nullptr},
                                           TriggerCase{{"BEGIN", "POLL"}, "END", nullptr}));

TEST(InputMsgTest, DirectionIsDecidedOnce) {
    InputMsg msg("C6", "CORE");
    ASSERT_EQ(msg.addReadTrigger("POLL"), 0);
    testing::internal::CaptureStderr();
    EXPECT_EQ(msg.addWriteTrigger("BEGIN"), -1);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "Commands are not compatible!\n");
    EXPECT_EQ(msg.getCommand(), VexaOpCommand::READ);

    // A constant can only be read: a message holding one cannot turn write.
    InputMsg constants("NAMES", "INFO");
    ASSERT_EQ(constants.addOperation(new CONSTANTOperation("INFO_NAMES_CONSTANT")), 0);
    testing::internal::CaptureStderr();
    EXPECT_EQ(constants.addWriteTrigger("BEGIN"), -1);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "Commands are not compatible!\n");
}

TEST(InputMsgTest, OperationsShareOneCollector) {
    test::FakeCollector a("a");
    test::FakeCollector b("b");
    InputMsg msg("C6", "CORE");
    auto* first = new Operation("CORE_C6_MSR", "MSR");
    first->setCollector(&a);
    ASSERT_EQ(msg.addOperation(first), 0);
    EXPECT_EQ(first->getOrgMsgTag(), "C6");
    std::unique_ptr<Operation> other(new Operation("CORE_C6_PMT", "PMT"));
    other->setCollector(&b);
    test::LogCapture log;
    EXPECT_EQ(msg.addOperation(other.get()), -1);
    EXPECT_TRUE(
        log.loggedExactly({"ERROR: Cannot add operation CORE_C6_PMT to message CORE_C6 "
                           "because the collectors are different!\n"}));

    InputMsg elsewhere("TEMP", "CORE");
    ASSERT_EQ(elsewhere.addOperation(other.release()), 0);
    log.clear();
    EXPECT_EQ(msg.appendMessage(elsewhere), -1);
    EXPECT_TRUE(
        log.loggedExactly({"ERROR appending messages CORE_C6 and CORE_TEMP; CANNOT append "
                           "messages if collectors are different!\n"}));
}

TEST(InputMsgTest, AppendNeedsTheSameReadCapabilities) {
    InputMsg group("ALL", "CORE");
    InputMsg member("C6", "CORE");
    ASSERT_EQ(member.addOperation(new Operation("CORE_C6_MSR", "MSR")), 0);
    ASSERT_EQ(member.addReadTrigger("POLL"), 0);
    test::LogCapture log;
    EXPECT_EQ(group.appendMessage(member), -1);
    EXPECT_TRUE(log.loggedExactly(
        {"ERROR: Msg CORE_ALL and CORE_C6 have incompatible read capabilities!\n"}));
    ASSERT_EQ(group.addReadTrigger("POLL"), 0);
    EXPECT_EQ(group.appendMessage(member), 0);
    ASSERT_EQ(group.getOperationCount(), 1u);
    // The copy remembers where it was declared.
    EXPECT_EQ(group.getMetadata().getMetaValues().at(0)->getOrgMsgTag(), "C6");
}

TEST(ConstantOperationTest, KeysAreKeptInOrderOnce) {
    test::LogCapture log;
    CONSTANTOperation op("INFO_NAMES_CONSTANT");
    EXPECT_EQ(op.set("VENDOR", "Vantry"), 0);
    EXPECT_EQ(op.set("SKU", "A=1_B=2"), 0);
    EXPECT_EQ(op.set("VENDOR", "Other"), -1);
    EXPECT_TRUE(log.loggedExactly({"ERROR: key VENDOR already set!\n"}));
    std::unique_ptr<CONSTANTOperation> copy(op.clone());
    const OperationPacket::Pairs pairs(copy->begin(), copy->end());
    EXPECT_EQ(pairs, (OperationPacket::Pairs{{"VENDOR", "Vantry"}, {"SKU", "A=1_B=2"}}));
    EXPECT_EQ(copy->getOperationMetadata().getSize(), 2u);
}

// ---------------------------------------------------------------------------
// Immediate execution through the registered collector

class DispatchTest : public ::testing::Test {
  protected:
    void TearDown() override { VexaConfigFileParser::destroy(); }
    void registerCollector() {
        hw.serve("MSR");
        ASSERT_EQ(VexaConfigFileParser::instance()->parse({}, {&hw}, sys), 0);
    }
    test::FakeCollector hw{"hw"};
    SystemMetadata sys;
    test::LogCapture log;
};

TEST_F(DispatchTest, OperationNeedsPacketParserAndKind) {
    Operation op("CORE_C6_MSR", "MSR");
    EXPECT_EQ(Operation::dispatchRead(&op, "0"), -1);
    op.createPacket().set("ADDRESS", "0x3FD");
    EXPECT_EQ(Operation::dispatchWrite(&op, "0"), -1);
    Operation unknown("CORE_C6_IO", "IO");
    unknown.createPacket();
    registerCollector();
    log.clear();
    EXPECT_EQ(Operation::dispatchRead(&unknown, "0"), -1);
    EXPECT_EQ(Operation::dispatchRead(&op, static_cast<const EntityHandle*>(nullptr)), -1);
    hw.status = 5;
    EXPECT_EQ(Operation::dispatchWrite(&op, "3"), 5);
    EXPECT_EQ(hw.calls, std::vector<std::string>{"write CORE_C6_MSR 3"});
    EXPECT_TRUE(log.loggedExactly(
        {"ERROR: Trying to do immediate read of operation CORE_C6_IO with invalid type IO?!\n",
         "WARNING: pwr::Operation::dispatchRead functionality is TODO!\n"}));
}

TEST_F(DispatchTest, ErrorsBeforeAParserExists) {
    Operation op("CORE_C6_MSR", "MSR");
    EXPECT_EQ(Operation::dispatchRead(&op, "0"), -1);
    op.createPacket();
    EXPECT_EQ(Operation::dispatchWrite(&op, "0"), -1);
    InputMsg msg("C6", "CORE");
    InputMsg::Results results;
    EXPECT_EQ(msg.execute(results), -1);
    msg.addOperation(op.clone());
    EXPECT_EQ(msg.execute(results), -1);
    EXPECT_TRUE(log.loggedExactly(
        {"ERROR: Trying to do immediate read of operation CORE_C6_MSR without a valid packet?!\n",
         "ERROR: Trying to do immediate write of operation CORE_C6_MSR without a valid parser?!\n",
         "WARNING: Message CORE_C6 has no operations defined!\n",
         "ERROR: Trying to do immediate read/write of operation CORE_C6_MSR with invalid type "
         "MSR?!\n"}));
}

TEST_F(DispatchTest, ExecuteReadsEachOperationOrWritesTheMessage) {
    registerCollector();
    InputMsg msg("C6", "CORE");
    msg.setCPUString("2");
    msg.addOperation(new Operation("CORE_C6_MSR", "MSR"));
    msg.addOperation(new Operation("CORE_C6_MSR2", "MSR"));
    msg.addReadTrigger("POLL");
    InputMsg::Results results;
    log.clear();
    EXPECT_EQ(msg.execute(results), 0);
    EXPECT_EQ(results, (InputMsg::Results{{"CORE_C6_MSR", "0"}, {"CORE_C6_MSR2", "0"}}));
    EXPECT_TRUE(log.loggedExactly(
        {"INFO: OK, found collector for operation CORE_C6_MSR; now dispatching!\n",
         "INFO: doing a READ (cmd = 0)\n"}));

    InputMsg write("LIMIT", "CTRL");
    write.addOperation(new Operation("CTRL_LIMIT_MSR", "MSR"));
    write.addWriteTrigger("BEGIN");
    hw.status = 3;
    EXPECT_EQ(write.execute(results), 3);
    EXPECT_EQ(hw.calls, (std::vector<std::string>{"read CORE_C6_MSR 2", "read CORE_C6_MSR2 2",
                                                  "write CTRL_LIMIT"}));
    EXPECT_TRUE(log.logged("INFO: doing a WRITE (cmd = 1)\n"));
}

// ---------------------------------------------------------------------------
// Model specifiers

struct MatchCase {
    std::function<Specifier*()> make;
    const char* value;
    SpecifierMatch expected;
    const char* line;  // the error line matching logs, or null
};

class SpecifierMatchTest : public ::testing::TestWithParam<MatchCase> {};

TEST_P(SpecifierMatchTest, Answers) {
    const MatchCase& c = GetParam();
    std::unique_ptr<Specifier> specifier(c.make());
    test::LogCapture log;
    log.context().setVerbosity(PW_ERROR);
    EXPECT_EQ(specifier->is_match(c.value), c.expected)
        << specifier->toString() << " vs " << c.value;
    EXPECT_TRUE(
        log.loggedExactly(c.line ? std::vector<std::string>{c.line} : std::vector<std::string>{}));
}

Specifier* fms(int f, int m, int s) {
    return new FMSSpecifier(f, m, s);
}

INSTANTIATE_TEST_SUITE_P(
    All, SpecifierMatchTest,
    ::testing::Values(
        MatchCase{[] { return fms(6, 0x97, 2); }, "6.0x97.2", SpecifierMatch::EXACT, nullptr},
        MatchCase{[] { return fms(6, 0x97, 2); }, "6/151/2", SpecifierMatch::EXACT, nullptr},
        MatchCase{[] { return fms(6, 0x97, 2); }, "6.0x97.3", SpecifierMatch::NONE, nullptr},
        MatchCase{[] { return fms(6, 0x9A, -1); }, "6.0x9A.3", SpecifierMatch::PARTIAL, nullptr},
        MatchCase{[] { return fms(6, 0x9A, -1); }, "6.0x9B.3", SpecifierMatch::NONE, nullptr},
        MatchCase{[] { return fms(6, 0x9A, -1); }, "6.0x9A", SpecifierMatch::NONE,
                  "ERROR: 6.0x9A is NOT a valid FMS specifier!\n"},
        MatchCase{[] { return new PCISpecifier("0x8086", "0x4680"); },
                  "VENDOR=0x8086,DEVICE=0x4680", SpecifierMatch::EXACT, nullptr},
        MatchCase{[] { return new PCISpecifier("0x8086", "0x4680"); },
                  "VENDOR=0x8086,DEVICE=0x4681", SpecifierMatch::NONE, nullptr},
        MatchCase{[] { return new PCISpecifier("0x8086", "0x4680"); }, "0x8086:0x4680",
                  SpecifierMatch::NONE, "ERROR: Invalid syntax for \"PCI\" model specifier\n"},
        MatchCase{[] { return new PMTSpecifier("0x1A2B3C4D"); }, "GUID=439041101",
                  SpecifierMatch::EXACT, nullptr},
        MatchCase{[] { return new PMTSpecifier("0x1A2B3C4D"); }, "0x1A2B3C4D", SpecifierMatch::NONE,
                  "ERROR: Invalid syntax for \"PMT\" GUID specifier\n"},
        MatchCase{[] { return new RangeSpecifier("PCH-ID", 0x51, 0x5F); }, "0x55",
                  SpecifierMatch::PARTIAL, nullptr},
        MatchCase{[] { return new RangeSpecifier("PCH-ID", 0x51, 0x5F); }, "0x60",
                  SpecifierMatch::NONE, nullptr},
        MatchCase{[] { return new RangeSpecifier("PCH-ID", 5, 5); }, "5", SpecifierMatch::EXACT,
                  nullptr},
        MatchCase{[] { return new RangeSpecifier("PCH-ID", 0x51, 0x5F); }, "high",
                  SpecifierMatch::NONE, "ERROR: range specifier MUST be a number!"},
        MatchCase{[] { return new ValueSpecifier("BOARD-ID", "0x42"); }, "66",
                  SpecifierMatch::EXACT, nullptr},
        MatchCase{[] { return new ValueSpecifier("BOARD-ID", "0x42"); }, "0x43",
                  SpecifierMatch::NONE, nullptr},
        MatchCase{[] { return new ValueSpecifier("SKU", "P-28W"); }, "P-28W", SpecifierMatch::EXACT,
                  nullptr}));

// A platform's own kind of value, matched whole by the subclass.
class AnyCaseSpecifier : public ValueSpecifier {
  public:
    using ValueSpecifier::ValueSpecifier;
    SpecifierMatch is_match(const std::string& value) const override {
        std::string upper = value;
        for (char& c : upper) {
            c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
        }
        return ValueSpecifier::is_match(upper);
    }
};

TEST(SpecifierTest, MatchIsVirtualAndClonesAnswerAlike) {
    const AnyCaseSpecifier sku("SKU", "P-28W");
    const Specifier& base = sku;
    EXPECT_EQ(base.is_match("p-28w"), SpecifierMatch::EXACT);

    const std::unique_ptr<Specifier> range(RangeSpecifier("PCH-ID", 0x51, 0x5F).clone());
    EXPECT_EQ(range->getType(), "PCH-ID");
    EXPECT_EQ(range->is_match("0x55"), SpecifierMatch::PARTIAL);
    const std::unique_ptr<Specifier> fms(FMSSpecifier(6, 0x9A, -1).clone());
    EXPECT_EQ(fms->toString(), "0x6.0x9a.-");
    EXPECT_EQ(fms->is_match("6.0x9A.3"), SpecifierMatch::PARTIAL);
}

TEST(SpecifierTest, BadIdsCannotBeBuilt) {
    EXPECT_THROW(PCISpecifier("0x18086", "1"), std::invalid_argument);
    EXPECT_THROW(PMTSpecifier("0x1FFFFFFFF"), std::invalid_argument);
    EXPECT_EQ(PCISpecifier("0x8086", "0x4680").toString(), "VENDOR=0x8086,DEVICE=0x4680");
    EXPECT_EQ(FMSSpecifier(6, 0x9A, -1).toString(), "0x6.0x9a.-");
}

}  // namespace
}  // namespace pwr
