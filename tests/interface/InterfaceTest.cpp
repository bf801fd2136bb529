// Interface guard for the library's public classes.
//
// Every public operation of the data model, the writer messages, the metrics,
// the serialised records, the plug-in framework, the runtime support and the
// output configuration is bound here to a pointer of the exact type that
// plug-ins and hosts compile against, and every class gets a representative
// call on a real object. A changed parameter or return type, a lost overload
// or a dropped const fails to compile; an operation that the library stops
// exporting fails to link; the calls pin a few values that callers rely on.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <deque>
#include <initializer_list>
#include <map>
#include <nlohmann/json.hpp>
#include <memory>
#include <ostream>
#include <set>
#include <sstream>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "common/config/InputMsg.h"
#include "common/config/ModelMatch.h"
#include "common/config/Operation.h"
#include "common/config/OperationValue.h"
#include "common/config/TableInfo.h"
#include "common/config/VexaConfigFileParser.h"
#include "common/config/WriterInterfaceConfigFileParser.h"
#include "common/data/Attribute.h"
#include "common/data/AttributeValueManager.h"
#include "common/data/Data.h"
#include "common/data/DataDescriptor.h"
#include "common/data/DataElement.h"
#include "common/data/DataHandle.h"
#include "common/data/DataHelper.h"
#include "common/data/Description.h"
#include "common/data/EntityHandle.h"
#include "common/data/Event.h"
#include "common/data/Field.h"
#include "common/data/Formatter.h"
#include "common/data/Process.h"
#include "common/data/Quantity.h"
#include "common/data/State.h"
#include "common/data/UniqueId.h"
#include "common/etw/EtwProvider.h"
#include "common/etw/EtwSession.h"
#include "common/messages/IdMessage.h"
#include "common/messages/MetricContainerInfoMessage.h"
#include "common/messages/SystemMessage.h"
#include "common/messages/TableMessage.h"
#include "common/messages/TextMessage.h"
#include "common/messages/WriterMessage.h"
#include "common/metrics/Accumulator.h"
#include "common/metrics/Metric.h"
#include "common/metrics/SampleCountSummarizer.h"
#include "common/metrics/SampledDeltaAccumulator.h"
#include "common/metrics/SampledResidencyAccumulator.h"
#include "common/metrics/SampledValueAccumulator.h"
#include "common/metrics/ThermalSampleHandler.h"
#include "common/metrics/TracedEventAccumulator.h"
#include "common/metrics/TracedTransitionAccumulator.h"
#include "common/plugins/CollectionData.h"
#include "common/plugins/CollectorPlugin.h"
#include "common/plugins/ConfigCap.h"
#include "common/plugins/DriverRequirement.h"
#include "common/plugins/MetricPlugin.h"
#include "common/plugins/MetricPluginCapability.h"
#include "common/plugins/Plugin.h"
#include "common/plugins/PluginCapability.h"
#include "common/plugins/PluginEnvironment.h"
#include "common/plugins/PluginRequirement.h"
#include "common/plugins/PluginRequirementGroup.h"
#include "common/plugins/ResultFilePluginCapability.h"
#include "common/plugins/VexaBuffer.h"
#include "common/plugins/WriterPlugin.h"
#include "common/plugins/WriterPluginCapability.h"
#include "common/plugins/WriterStream.h"
#include "common/runtime/Log.h"
#include "common/runtime/VexaClock.h"
#include "common/runtime/VexaClockSync.h"
#include "common/runtime/VexaThread.h"
#include "common/serialize/CollectorMetadata.h"
#include "common/serialize/Metadata.h"
#include "common/serialize/MetricMetadata.h"
#include "common/serialize/MsgMetadata.h"
#include "common/serialize/OperationMetadata.h"
#include "common/serialize/Serializer.h"
#include "common/serialize/SystemMetadata.h"
#include "common/serialize/TopTree.h"
#include "common/usage/Option.h"
#include "common/usage/UsageText.h"
#include "tests/support/EnvironmentCapture.h"

namespace pwr {
namespace {

// Binds each function to a pointer of exactly type Fn (picking that overload
// from an overload set). Taking the address makes the linker look for it.
template <typename Fn>
void expectSignature(std::initializer_list<Fn> functions) {
    for (Fn f : functions) {
        EXPECT_TRUE(f != nullptr);
    }
}

// Short forms of the type traits used below.
template <typename T, typename U>
constexpr bool is = std::is_same_v<T, U>;
template <typename T, typename... Args>
constexpr bool makes = std::is_constructible_v<T, Args...>;
template <typename Base, typename... Derived>
constexpr bool derives = std::conjunction_v<std::is_base_of<Base, Derived>...>;
template <typename... T>
constexpr bool copies =
    std::conjunction_v<std::is_copy_constructible<T>..., std::is_copy_assignable<T>...>;
template <typename... T>
constexpr bool moves =
    std::conjunction_v<std::is_move_constructible<T>..., std::is_move_assignable<T>...>;
template <typename... T>
constexpr bool values =
    std::conjunction_v<std::bool_constant<copies<T...>>, std::bool_constant<moves<T...>>>;
template <typename... T>
constexpr bool virtualDestructors = std::conjunction_v<std::has_virtual_destructor<T>...>;
template <typename E>
constexpr int num(E value) {
    return static_cast<int>(value);
}

// A writer that records what reaches it: table titles with their valid cells
// (keyed "title|field name" as writers name them), data points, texts, and
// counts of the other messages.
class RecordingWriter : public WriterPlugin {
  public:
    RecordingWriter() : WriterPlugin("recorder") {
        addCapability(
            new WriterPluginCapability("rec", "records messages", ".rec", {TableClass::SUMMARY}));
    }
    ResetReturnCode reset(ResetReason, uint64_t, const SystemMetadata&) override {
        return ResetReturnCode::SUCCESS;
    }
    int writeMessage(const MetricContainerInfoMessage& m) override {
        infos.push_back(m.getContainerHeader());
        return 0;
    }
    int writeMessage(const Metric& m) override {
        points.emplace_back(m.getData().getTimestamp(), m.getData().size());
        return 0;
    }
    int writeMessage(const IdMessage& m) override {
        announced += m.size();
        return 0;
    }
    int writeMessage(const SystemMessage&) override {
        ++systems;
        return 0;
    }
    int writeMessage(const TextMessage& m) override {
        texts.push_back(m.getMessage());
        return 0;
    }
    int writeMessage(const TableMessage& t) override {
        titles.push_back(t.getTitle());
        for (auto e = t.entityBegin(); e != t.entityEnd(); ++e) {
            for (auto f = t.fieldBegin(); f != t.fieldEnd(); ++f) {
                const Data* cell = nullptr;
                bool valid = false;
                if (t.getFieldValue(*e, *f, cell, valid) == 0 && valid) {
                    cells[t.getTitle() + "|" + getFieldNameFromHandle(t, *e, *f)] = *cell;
                }
            }
        }
        return 0;
    }
    int flushContinuousResults(const SystemMetadata&) override { return 0; }
    void cleanup() override {}
    int getColumnTitles(const TableMessage&, std::deque<std::string>&) const override { return 0; }
    int getRowValues(const TableMessage&, std::deque<std::string>&) const override { return 0; }

    std::vector<std::string> titles;
    std::map<std::string, Data> cells;
    std::vector<std::pair<uint64_t, size_t>> points;
    std::vector<std::string> texts;
    std::vector<std::string> infos;
    size_t announced = 0;
    int systems = 0;
};

class TestCollector : public CollectorPlugin {
  public:
    TestCollector() : CollectorPlugin("collector", "0b6f6a7e-0000-4000-8000-000000000001") {
        auto* cap = new PluginCapability("counters", "reads counters");
        cap->addGroupName("grp");
        addCapability(cap);
    }
    ResetReturnCode reset(ResetReason, uint64_t, const SystemMetadata&) override {
        return ResetReturnCode::NOT_NEEDED;
    }
    int getContinuousResult(VexaBuffer& buffer, CollectionData& data) override {
        data.setSamplesProduced(buffer.size());
        return 0;
    }
};

class TestMetricPlugin : public MetricPlugin {
  public:
    TestMetricPlugin() : MetricPlugin("metrics") {}
    ResetReturnCode reset(ResetReason, uint64_t, const SystemMetadata&) override {
        return ResetReturnCode::SUCCESS;
    }
    int processMetadata(const Metadata*) override { return 0; }
    int initializeCollection(const std::vector<const InputMsg*>&,
                             const std::vector<const Metadata*>&, const std::string&,
                             const AttributePairs&, const SystemMetadata&) override {
        return 0;
    }
    int getDynamicHelpDisplayType(const std::string&, const AttributePairs&,
                                  const SystemMetadata&) override {
        return 0;
    }
    int finalizeCollection(const std::string&, const AttributePairs&,
                           const SystemMetadata&) override {
        return 0;
    }
    bool getOrgMsgTag(const vexa_driver_msg*, std::string& out) const override {
        out = "tag";
        return true;
    }
    bool getOrgMsgPayload(const vexa_driver_msg*, std::string&) const override { return false; }
};

class FixedDriver : public DriverInterface {
  public:
    uint64_t getInstalledVersion() const override {
        return DriverRequirement::makeVersion(2, 1, 0);
    }
};

class EchoActor : public VexaThreadActor {
  public:
    int handleRequest(int command, uint32_t, const void*, int* result) override {
        *result = command;
        return 0;
    }
    int onDie() override { return 7; }
    int initialize() override {
        ++initialized;
        return 0;
    }
    int initialized = 0;
};

// A formatter built through the base's width-only constructor.
class PaddedStringFormatter : public Formatter {
  public:
    PaddedStringFormatter() : Formatter(6) {}
    int format(std::string& out, const Data& value) const override {
        return formatString(*this, out, value);
    }
    Formatter* clone() const override { return new PaddedStringFormatter(*this); }
};

double realOf(const Data& d) {
    double out = -1.0;
    const Data real = Data::convertToReal(&d);
    real.toReal(out);
    return out;
}

// A fresh registry, a plug-in environment whose writer stream holds one
// recording writer, and a system record that starts at TSC 1000.
class InterfaceTest : public ::testing::Test {
  protected:
    InterfaceTest() : writers{&writer}, stream(&writers) {}
    void SetUp() override {
        UniqueId::initialize();
        system.startTsc = 1000;
        system.clockFreqMHz = 1.0f;
        cap.env().setVerbosity(PW_WARNING);
        cap.env().setWriterStream(&stream);
        cap.clear();
    }
    void TearDown() override {
        cap.env().setWriterStream(nullptr);
        WriterInterfaceConfigFileParser::destroy();
        UniqueId::destroy();
    }
    int parseOutputConfig() {
        return WriterInterfaceConfigFileParser::instance()->parse(
            {VANTRY_TEST_DATA_DIR "/metrics_output.cfg"}, system);
    }

    test::EnvironmentCapture cap;
    RecordingWriter writer;
    WriterStream::PluginSet writers;
    WriterStream stream;
    SystemMetadata system;
};

// Data values and value formatters.
TEST_F(InterfaceTest, DataValueInterfaces) {
    static_assert(sizeof(DataType) == 1 && num(DataType::NONE) == 0 && num(DataType::INT) == 1 &&
                  num(DataType::UINT) == 2 && num(DataType::REAL) == 3 &&
                  num(DataType::INT_RANGE) == 4 && num(DataType::UINT_RANGE) == 5 &&
                  num(DataType::REAL_RANGE) == 6 && num(DataType::HANDLE) == 7 &&
                  num(DataType::STRING) == 8);
    static_assert(makes<Data>);
    static_assert(makes<Data, DataType>);
    static_assert(makes<Data, const int64_t&>);
    static_assert(makes<Data, const uint64_t&>);
    static_assert(makes<Data, const double&>);
    static_assert(makes<Data, const std::string&>);
    static_assert(makes<Data, const DataHandle&>);
    static_assert(makes<Data, int64_t, int64_t>);
    static_assert(makes<Data, const std::pair<int64_t, int64_t>&>);
    static_assert(makes<Data, uint64_t, uint64_t>);
    static_assert(makes<Data, const std::pair<uint64_t, uint64_t>&>);
    static_assert(makes<Data, double, double>);
    static_assert(makes<Data, const std::pair<double, double>&>);
    static_assert(values<Data>);

    expectSignature<DataType (Data::*)() const>({&Data::getType});
    expectSignature<bool (Data::*)() const>({&Data::isSet, &Data::isValid, &Data::isNumeric});
    expectSignature<void (Data::*)()>({&Data::invalidate});
    expectSignature<int (Data::*)(const int64_t&)>({&Data::setValue});
    expectSignature<int (Data::*)(const uint64_t&)>({&Data::setValue});
    expectSignature<int (Data::*)(const double&)>({&Data::setValue});
    expectSignature<int (Data::*)(const std::string&)>({&Data::setValue});
    expectSignature<int (Data::*)(const std::pair<int64_t, int64_t>&)>({&Data::setValue});
    expectSignature<int (Data::*)(const std::pair<uint64_t, uint64_t>&)>({&Data::setValue});
    expectSignature<int (Data::*)(const std::pair<double, double>&)>({&Data::setValue});
    expectSignature<int (Data::*)(const DataHandle&)>({&Data::setValue});
    expectSignature<int (Data::*)(const Data&)>({&Data::setValue, &Data::addValue});
    expectSignature<int (Data::*)(const Formatter&)>({&Data::setCustomFormatter});
    expectSignature<int (Data::*)(int64_t&) const>({&Data::toInt});
    expectSignature<int (Data::*)(uint64_t&) const>({&Data::toUInt});
    expectSignature<int (Data::*)(double&) const>({&Data::toReal});
    expectSignature<int (Data::*)(std::pair<int64_t, int64_t>&) const>({&Data::toIntRange});
    expectSignature<int (Data::*)(std::pair<uint64_t, uint64_t>&) const>({&Data::toUIntRange});
    expectSignature<int (Data::*)(std::pair<double, double>&) const>({&Data::toRealRange});
    expectSignature<int (Data::*)(std::string&) const>({&Data::toString, &Data::toFormattedString});
    expectSignature<int (Data::*)(const DataHandle*&) const>({&Data::toHandle});
    expectSignature<int (Data::*)()>({&Data::initZero, &Data::initMin, &Data::initMax});
    expectSignature<int (Data::*)(double)>({&Data::multiplyValue});
    expectSignature<const Data (*)(const Data*)>({&Data::convertToReal});
    expectSignature<bool (Data::*)(const Data&) const>({&Data::operator==, &Data::operator!=,
                                                        &Data::operator<, &Data::operator<=,
                                                        &Data::operator>, &Data::operator>=});

    // The per-type helpers stay inside the library; only their slots are
    // checked.
    static_assert(
        std::is_same_v<decltype(&DataHelper::initZero), int (DataHelper::*)(Data&) const>);
    static_assert(std::is_same_v<decltype(&DataHelper::initMax), int (DataHelper::*)(Data&) const>);
    static_assert(std::is_same_v<decltype(&DataHelper::initMin), int (DataHelper::*)(Data&) const>);
    static_assert(std::is_same_v<decltype(&DataHelper::addValue),
                                 int (DataHelper::*)(Data&, const Data&) const>);
    static_assert(std::is_same_v<decltype(&DataHelper::multiplyValue),
                                 int (DataHelper::*)(Data&, double) const>);
    static_assert(std::is_same_v<decltype(&DataHelper::lessThan),
                                 bool (DataHelper::*)(const Data&, const Data&) const>);
    static_assert(std::is_same_v<decltype(&DataHelper::isEqual),
                                 bool (DataHelper::*)(const Data&, const Data&) const>);
    static_assert(std::is_same_v<decltype(&DataHelper::getFormatter),
                                 const Formatter* (DataHelper::*)() const>);

    using Routine = int (*)(const Formatter&, std::string&, const Data&);
    expectSignature<Routine>({&Formatter::formatInt, &Formatter::formatUInt, &Formatter::formatReal,
                              &Formatter::formatIntRange, &Formatter::formatUIntRange,
                              &Formatter::formatRealRange, &Formatter::formatString,
                              &Formatter::formatHandle});
    expectSignature<int (*)(std::string&, int)>({&Formatter::widen});
    expectSignature<int (Formatter::*)(std::string&, const Data&) const>({&Formatter::format});
    expectSignature<Formatter* (Formatter::*)() const>({&Formatter::clone});
    static_assert(
        makes<IntFormatter, int, bool> && makes<IntFormatter, const std::string&, int, bool> &&
        makes<UIntFormatter, int, bool> && makes<UIntFormatter, const std::string&, int, bool> &&
        makes<RealFormatter, int, int> && makes<RealFormatter, const std::string&, int, int> &&
        makes<StringFormatter, int> && makes<HandleFormatter, int> && makes<VoidFormatter>);
    static_assert(values<IntFormatter, UIntFormatter, RealFormatter, StringFormatter,
                         HandleFormatter, VoidFormatter> &&
                  virtualDestructors<Formatter>);

    // Scalar setters adopt their type; getters never convert.
    Data value;
    EXPECT_EQ(value.setValue(int64_t{5}), 0);
    EXPECT_EQ(value.getType(), DataType::INT);
    int64_t i = 0;
    EXPECT_EQ(value.toInt(i), 0);
    EXPECT_EQ(i, 5);
    double d = -1.0;
    EXPECT_EQ(value.toReal(d), 1);
    EXPECT_EQ(d, -1.0);
    EXPECT_TRUE(Data(int64_t{100}) < Data(uint64_t{1}));  // the type decides first

    std::string text;
    EXPECT_EQ(Data(3.0).toFormattedString(text), 0);
    EXPECT_EQ(text, "3.0");
    Data sum(DataType::REAL);
    EXPECT_EQ(sum.initZero(), 0);
    EXPECT_EQ(sum.addValue(Data(2.0, 5.0)), 0);
    EXPECT_EQ(realOf(sum), 7.0);
    Data three(int64_t{3});
    EXPECT_EQ(three.multiplyValue(0.5), 0);
    EXPECT_EQ(three, Data(int64_t{2}));
    Data hex(int64_t{255});
    EXPECT_EQ(hex.setCustomFormatter(IntFormatter(0, true)), 0);
    EXPECT_EQ(hex.toFormattedString(text), 0);
    EXPECT_EQ(text, "0xff");

    EXPECT_EQ(IntFormatter(6, false).format(text, Data(int64_t{42})), 0);
    EXPECT_EQ(text, "    42");
    EXPECT_EQ(RealFormatter(8, 3).format(text, Data(3.14159)), 0);
    EXPECT_EQ(text, "   3.142");
    EXPECT_EQ(Formatter::formatIntRange(IntFormatter(), text, Data(int64_t{1}, int64_t{5})), 0);
    EXPECT_EQ(text, "1 -- 5");
    EXPECT_EQ(PaddedStringFormatter().format(text, Data(std::string("ab"))), 0);
    EXPECT_EQ(text, "    ab");
    std::unique_ptr<Formatter> copy(RealFormatter(0, 2).clone());
    EXPECT_EQ(copy->getPrecision(), 2);
    cap.clear();
    EXPECT_EQ(VoidFormatter().format(text, Data()), 1);
    EXPECT_EQ(text, "INVALID");
    EXPECT_TRUE(
        cap.loggedExactly({"WARNING: Data of type pwr::DataType::NONE can't be formatted\n"}));
}

// Quantities, descriptions, attributes and the registry's handles.
TEST_F(InterfaceTest, QuantityAndHandleInterfaces) {
    static_assert(derives<UniqueId, Quantity> && copies<Quantity> && moves<Quantity>);
    static_assert(num(QuantityType::NONE) == 0 && num(QuantityType::TIME) == 1 &&
                  num(QuantityType::FREQUENCY) == 2 && num(QuantityType::DATA) == 3 &&
                  num(QuantityType::BANDWIDTH) == 4 && num(QuantityType::POWER) == 5 &&
                  num(QuantityType::ENERGY) == 6 && num(QuantityType::TEMPERATURE) == 7 &&
                  num(QuantityType::CUSTOM1) == 8 && num(QuantityType::CUSTOM2) == 9 &&
                  num(QuantityType::VOLTAGE) == 10 && num(QuantityType::CURRENT) == 11 &&
                  num(QuantityType::OPERATIONS) == 12 && num(QuantityType::THROUGHPUT) == 13);
    expectSignature<const Quantity* (*)()>(
        {&Quantity::time, &Quantity::frequency, &Quantity::data, &Quantity::bandwidth,
         &Quantity::power, &Quantity::energy, &Quantity::temperature, &Quantity::voltage,
         &Quantity::current, &Quantity::operations, &Quantity::throughput});
    expectSignature<const Quantity* (*)(QuantityType, const std::string&, const std::string&,
                                        const Quantity*, double)>({&Quantity::create});
    expectSignature<const std::string& (Quantity::*)() const>(
        {&Quantity::toQuantityString, &Quantity::toUnitsString});
    expectSignature<QuantityType (Quantity::*)() const>({&Quantity::toQuantity});
    expectSignature<void (Quantity::*)(std::string&) const>({&Quantity::toTitleString});
    expectSignature<int (Quantity::*)(const Quantity*&, double&) const>(
        {&Quantity::getRateConversion});
    expectSignature<UniqueIdType (Quantity::*)() const>({&Quantity::getIdType});

    const Quantity* base = nullptr;
    double factor = 0.0;
    EXPECT_EQ(Quantity::energy()->getRateConversion(base, factor), 0);
    EXPECT_EQ(base, Quantity::power());
    EXPECT_EQ(factor, 1.0);
    EXPECT_EQ(Quantity::power()->getRateConversion(base, factor), 1);
    EXPECT_EQ(base, nullptr);
    std::string title;
    Quantity::power()->toTitleString(title);
    EXPECT_EQ(title, "Power (mW)");
    EXPECT_EQ(
        Quantity::create(QuantityType::TEMPERATURE, "Heat", "K", nullptr, 1.0)->toQuantityString(),
        "ERROR");
    EXPECT_TRUE(cap.loggedExactly({"WARNING: Can't create a custom quantity of specified type\n"}));
    Quantity::create(QuantityType::CUSTOM1, "Widgets", "", nullptr, 1.0)->toTitleString(title);
    EXPECT_EQ(title, "Widgets");

    // Registry and handles.
    static_assert(num(UniqueIdType::QUANTITY) == 0 && num(UniqueIdType::DATA_HANDLE) == 1 &&
                  num(DataHandleType::FIELD) == 1 && num(DataHandleType::STATE) == 2 &&
                  num(DataHandleType::PROCESS) == 3 && num(DataHandleType::THREAD) == 4 &&
                  num(DataHandleType::NAME_VALUE_PAIR) == 5 && num(DataHandleType::EVENT) == 6 &&
                  num(DataHandleType::ENTITY) == 7 && num(DataHandleType::DATA_DESCRIPTOR) == 9);
    static_assert(
        derives<DataHandle, EntityHandle, Field, State, Event, DataDescriptor, NameValuePair> &&
        derives<AttributeValueManager, EntityHandle>);
    expectSignature<void (*)()>({&UniqueId::initialize, &UniqueId::destroy});
    expectSignature<uint64_t (UniqueId::*)() const>({&UniqueId::getId});
    expectSignature<UniqueIdType (UniqueId::*)() const>({&UniqueId::getIdType});
    expectSignature<const std::string& (DataHandle::*)() const>(
        {&DataHandle::getName, &DataHandle::getShortName, &DataHandle::getFieldName,
         &DataHandle::getDescription, &DataHandle::getHeader});
    expectSignature<DataHandleType (DataHandle::*)() const>({&DataHandle::getHandleType});
    expectSignature<std::string (DataHandle::*)() const>({&DataHandle::getQualifiedName});
    expectSignature<std::string (EntityHandle::*)() const>({&EntityHandle::getQualifiedName});
    expectSignature<int (*)(uint64_t, const DataHandle*&)>({&DataHandle::get});
    expectSignature<EntityHandle* (*)(const Description&, const EntityHandle*)>(
        {&EntityHandle::create});
    expectSignature<EntityHandle* (*)(const std::string&, const EntityHandle*)>(
        {&EntityHandle::create});
    expectSignature<EntityHandle* (*)(const std::string&, const std::string&, const EntityHandle*)>(
        {&EntityHandle::create});
    expectSignature<const EntityHandle* (EntityHandle::*)() const>({&EntityHandle::getParent});
    expectSignature<const EntityHandle* (*)()>({&EntityHandle::getSystemHandle});
    expectSignature<const EntityHandle* (*)(const TNode*)>({&EntityHandle::getCPUEntityHandle});
    expectSignature<const EntityHandle* (*)(int)>(
        {&EntityHandle::getCPUPackageHandle, &EntityHandle::getCPUModuleHandle,
         &EntityHandle::getCPUCoreHandle, &EntityHandle::getCPUThreadHandle});
    expectSignature<int (*)()>({&EntityHandle::getCPUPackageCount, &EntityHandle::getCPUModuleCount,
                                &EntityHandle::getCPUCoreCount, &EntityHandle::getCPUThreadCount});
    expectSignature<int (*)(const SystemMetadata&)>(
        {&DataHandleProvider::initTopology, &DataHandleProvider::resetTopology});
    expectSignature<void (*)(WriterStream*)>({&DataHandleProvider::addStream});
    DataHandleProvider::addStream(&stream);  // a writer stream is accepted as it stands

    cap.clear();
    EXPECT_EQ(EntityHandle::getCPUThreadCount(), -1);
    EXPECT_TRUE(cap.loggedExactly(
        {"WARNING: Cannot retrieve a CPU Entity count until it has been initialized\n"}));
    system.cpuTopology.addNode(0, -1, 0, 0);
    system.cpuTopology.addNode(0, -1, 0, 1);
    system.cpuTopology.setUniqueID();
    const size_t announcedBefore = writer.announced;
    ASSERT_EQ(DataHandleProvider::initTopology(system), 0);
    EXPECT_GT(writer.announced, announcedBefore);  // every new entity reaches the writers
    EXPECT_EQ(EntityHandle::getCPUThreadCount(), 2);
    const EntityHandle* thread = EntityHandle::getCPUThreadHandle(1);
    ASSERT_NE(thread, nullptr);
    EXPECT_EQ(thread->getQualifiedName(), "CPU/Package 0/Core 0/Thread 1");
    EXPECT_EQ(EntityHandle::getSystemHandle()->getName(), "SYSTEM");
    std::vector<const TNode*> nodes;
    system.getCPUTopology().getAllThreads(nodes);
    EXPECT_EQ(EntityHandle::getCPUEntityHandle(nodes.at(1)), thread);
    EntityHandle* meter =
        EntityHandle::create("Meter", "a power meter", EntityHandle::getSystemHandle());
    EXPECT_EQ(meter->getParent(), EntityHandle::getSystemHandle());
    const DataHandle* found = nullptr;
    EXPECT_EQ(DataHandle::get(meter->getId(), found), 0);
    EXPECT_EQ(found, meter);
    cap.clear();
    EXPECT_EQ(DataHandle::get(Quantity::power()->getId(), found), 1);
    EXPECT_EQ(found, nullptr);
    EXPECT_TRUE(cap.loggedExactly({"WARNING: UniqueId isn't a DataHandle type\n"}));
    std::string text;
    EXPECT_EQ(Data(*thread).toFormattedString(text), 0);
    EXPECT_EQ(text, "CPU/Package 0/Core 0/Thread 1");

    // Descriptions and attributes.
    static_assert(num(DescriptionType::STATE) == 1);
    static_assert(derives<Description, FieldDescription, StateDescription, EventDescription,
                          DataDescriptorBuilder, ProcessDescription, ThreadDescription> &&
                  virtualDestructors<Description, UniqueId>);
    static_assert(!std::is_polymorphic_v<DataElement> && copies<DataElement> &&
                  makes<DataElement, const EntityHandle*, const DataDescriptor*>);
    expectSignature<const std::string& (Description::*)() const>(
        {&Description::getName, &Description::getShortName});
    expectSignature<DescriptionType (Description::*)() const>({&Description::getType});
    expectSignature<void (Description::*)(const std::string&)>(
        {&Description::setFieldName, &Description::setDescription, &Description::setHeader});
    expectSignature<int (FieldDescription::*)(const Attribute*)>({&FieldDescription::addAttribute});
    expectSignature<int (StateDescription::*)(const Attribute*, const Data&, bool)>(
        {&StateDescription::addAttributeValue});
    expectSignature<int (EventDescription::*)(const Attribute*, const Data&)>(
        {&EventDescription::addAttributeValue});
    expectSignature<int (DataDescriptorBuilder::*)(const Attribute*, const Data&)>(
        {&DataDescriptorBuilder::addAttributeValue});
    expectSignature<std::string (EventDescription::*)() const>({&EventDescription::getKey});
    expectSignature<std::string (DataDescriptorBuilder::*)() const>(
        {&DataDescriptorBuilder::getKey});
    expectSignature<const Attribute* (*)(const std::string&, const Quantity*, AttributeType)>(
        {&Attribute::create});
    expectSignature<const Attribute* (*)(AttributeType)>({&Attribute::get});
    expectSignature<const Quantity* (Attribute::*)() const>({&Attribute::getQuantity});
    expectSignature<AttributeType (Attribute::*)() const>({&Attribute::getAttributeType});
    using Values = AttributeValueManager;
    expectSignature<int (Values::*)(const Attribute*, const Data&)>({&Values::addAttributeValue});
    // Inherited from the value holder; State::create hands out const states, so
    // callers outside the library cannot reach it.
    expectSignature<int (State::*)(const Attribute*, const Data&)>({&State::addAttributeValue});
    expectSignature<const Data* (Values::*)(const Attribute*) const>({&Values::getAttributeValue});
    expectSignature<size_t (Values::*)() const>({&Values::getAttributeCount});
    expectSignature<Values::const_iterator (Values::*)() const>({&Values::begin, &Values::end});
    using Dynamic = DynamicAttributeValueManager;
    expectSignature<int (Dynamic::*)(const Attribute*, const Data&)>({&Dynamic::setAttributeValue});
    expectSignature<const Data* (Dynamic::*)(const Attribute*) const>(
        {&Dynamic::getAttributeValue});
    expectSignature<size_t (Dynamic::*)() const>({&Dynamic::getAttributeCount});
    expectSignature<Dynamic::const_iterator (Dynamic::*)() const>({&Dynamic::begin, &Dynamic::end});
    using Expected = ExpectedAttributeManager;
    expectSignature<size_t (Expected::*)() const>({&Expected::getAttributeCount});
    expectSignature<Expected::const_iterator (Expected::*)() const>(
        {&Expected::begin, &Expected::end});
    expectSignature<int (DataElement::*)(const EntityHandle*)>({&DataElement::setEntity});
    expectSignature<int (DataElement::*)(const DataDescriptor*)>({&DataElement::setDescriptor});
    expectSignature<int (DataElement::*)(const Dynamic*)>({&DataElement::setAdditionalInfo});
    expectSignature<const Data* (DataElement::*)() const>({&DataElement::getValue});
    expectSignature<const EntityHandle* (DataElement::*)() const>({&DataElement::getEntity});
    expectSignature<const DataDescriptor* (DataElement::*)() const>(
        {&DataElement::getDescriptor, &DataElement::getViewerDescriptor});
    expectSignature<const Dynamic* (DataElement::*)() const>({&DataElement::getAdditionalInfo});
    expectSignature<uint64_t (DataElement::*)() const>({&DataElement::getDuration});
    expectSignature<const Field* (*)(const Description&)>({&Field::create});
    expectSignature<const State* (*)(const StateDescription&)>({&State::create});
    expectSignature<const Event* (*)(const EventDescription&)>({&Event::create});
    expectSignature<const DataDescriptor* (*)(const DataDescriptorBuilder&)>(
        {&DataDescriptor::create});
    expectSignature<const NameValuePair* (*)(unsigned int, const std::string&, const std::string&)>(
        {&NameValuePair::create});
    expectSignature<unsigned int (NameValuePair::*)() const>({&NameValuePair::getValue});
    expectSignature<uint32_t (Process::*)() const>({&Process::getPid});
    expectSignature<uint32_t (Thread::*)() const>({&Thread::getTid});
    expectSignature<bool (Event::*)(const EventDescription&) const>({&Event::equal});
    expectSignature<bool (DataDescriptor::*)(const DataDescriptorBuilder&) const>(
        {&DataDescriptor::equal});

    const Description plain("Busy", "");
    EXPECT_EQ(plain.getShortName(), "Busy");
    EXPECT_EQ(Field::create(plain)->getFieldName(), "Busy");
    const Attribute* source = Attribute::create("Source", Quantity::power(), AttributeType::SOURCE);
    EXPECT_EQ(Attribute::get(AttributeType::SOURCE), source);
    cap.clear();
    EXPECT_EQ(Attribute::get(AttributeType::TARGET), nullptr);
    EXPECT_TRUE(cap.loggedExactly({"WARNING: No attribute of type 2 found\n"}));
    EventDescription wake("Wake", "W");
    EXPECT_EQ(wake.addAttributeValue(source, Data(uint64_t{3})), 0);
    EXPECT_EQ(Event::create(wake), Event::create(wake));
    StateDescription c6("C6", "");
    EXPECT_EQ(c6.addAttributeValue(source, Data(uint64_t{1}), true), 0);
    EXPECT_EQ(State::create(c6)->getAttributeValue(source)->getType(), DataType::UINT);
    FieldDescription counts("Counts", "");
    EXPECT_EQ(counts.addAttribute(source), 0);
    EXPECT_EQ(counts.getExpectedAttributes().getAttributeCount(), 1u);
    EXPECT_EQ(meter->addAttributeValue(source, Data(std::string("mains"))), 0);
    EXPECT_EQ(meter->getAttributeCount(), 1u);
    EXPECT_EQ(Data(*NameValuePair::create(3, "Reason", "Timer")).toFormattedString(text), 0);
    EXPECT_EQ(text, "3 - Timer");

    const DataDescriptor* level = DataDescriptor::create(DataDescriptorBuilder("Level", ""));
    EXPECT_EQ(DataDescriptor::create(DataDescriptorBuilder("Level", "")), level);
    DynamicAttributeValueManager info;
    EXPECT_EQ(info.setAttributeValue(source, Data(uint64_t{1})), 0);
    EXPECT_EQ(info.setAttributeValue(source, Data(uint64_t{2})), 0);
    EXPECT_EQ(info.getAttributeCount(), 1u);
    DataElement element(meter, level);
    EXPECT_EQ(element.getViewerDescriptor(), level);
    EXPECT_EQ(element.setAdditionalInfo(&info), 0);
    EXPECT_EQ(element.setValue(Data(uint64_t{40})), 0);
    EXPECT_EQ(*element.getValue(), Data(uint64_t{40}));
    EXPECT_EQ(element.getDuration(), 0u);
    cap.clear();
    EXPECT_EQ(element.setEntity(nullptr), 1);
    EXPECT_TRUE(cap.loggedExactly({"WARNING: Please provide a valid entity.\n"}));
}

// Table messages and the small writer messages.
TEST_F(InterfaceTest, MessageInterfaces) {
    static_assert(sizeof(MessageType) == 1 && num(MessageType::TABLE) == 0 &&
                  num(MessageType::ID) == 1 && num(MessageType::TEXT) == 2 &&
                  num(MessageType::SYSTEM) == 3 && num(MessageType::METRIC_CONTAINER_INFO) == 4 &&
                  num(MessageType::HEADER_TEXT) == 5 &&
                  num(TextLocation::PRE_TABLE) != num(TextLocation::POST_TABLE));
    static_assert(derives<WriterMessage, TableMessage, TextMessage, IdMessage, SystemMessage,
                          MetricContainerInfoMessage> &&
                  derives<TextMessage, HeaderTextMessage> && virtualDestructors<WriterMessage>);
    static_assert(makes<TableMessage, const std::string&, const Quantity*> &&
                  copies<TableMessage> &&
                  values<TextNotes, TextMessage, HeaderTextMessage, IdMessage, SystemMessage,
                         MetricContainerInfoMessage> &&
                  makes<HeaderTextMessage> && makes<SystemMessage, SystemMetadata&>);
    using T = TableMessage;
    expectSignature<int (T::*)(const std::string&, DataType, bool)>({&T::addField});
    expectSignature<int (T::*)(const std::string&, DataType, const Formatter&, bool)>(
        {&T::addField});
    expectSignature<int (T::*)(const Description&, DataType, bool)>({&T::addField});
    expectSignature<int (T::*)(const Description&, DataType, const Formatter&, bool)>(
        {&T::addField});
    expectSignature<int (T::*)(const Field*, DataType, bool)>({&T::addField});
    expectSignature<int (T::*)(const Field*, DataType, const Formatter&, bool)>({&T::addField});
    expectSignature<int (T::*)(const EntityHandle*)>({&T::addEntity});
    expectSignature<int (T::*)()>({&T::createTable, &T::resetData});
    expectSignature<int (T::*)(const EntityHandle*, const DataHandle*, const Data*&, bool&) const>(
        {&T::getFieldValue});
    expectSignature<int (T::*)(const DataHandle*, const Data*&, bool&) const>({&T::getFieldValue});
    expectSignature<int (T::*)(const EntityHandle*, const DataHandle*, std::string&, bool&) const>(
        {&T::getFieldAsString});
    expectSignature<int (T::*)(const DataHandle*, std::string&, bool&) const>(
        {&T::getFieldAsString});
    expectSignature<T::FieldIterator (T::*)() const>(
        {&T::sharedFieldBegin, &T::sharedFieldEnd, &T::fieldBegin, &T::fieldEnd,
         &T::sharedHandleBegin, &T::sharedHandleEnd, &T::handleBegin, &T::handleEnd});
    expectSignature<T::EntityIterator (T::*)() const>({&T::entityBegin, &T::entityEnd});
    expectSignature<T::ValidIterator (T::*)() const>({&T::validBegin, &T::validEnd});
    expectSignature<size_t (T::*)() const>({&T::getEntityCount, &T::getFieldCount,
                                            &T::getSharedFieldCount, &T::getHandleCount,
                                            &T::getSharedHandleCount});
    expectSignature<const std::string& (T::*)() const>({&T::getTitle});
    expectSignature<const Quantity* (T::*)() const>({&T::getQuantity});
    expectSignature<const EntityHandle* (T::*)() const>({&T::getRowEntity});
    expectSignature<bool (T::*)() const>({&T::hasFieldHeaders});
    expectSignature<TableMessageType (T::*)() const>({&T::getTableMessageType});
    expectSignature<TableClass (T::*)() const>({&T::getTableClass});
    expectSignature<MessageType (T::*)() const>({&T::getMessageType});
    expectSignature<const TextNotes* (T::*)() const>({&T::getTextNotes});
    expectSignature<int (T::*)(const TextNotes*)>({&T::setTextNotes});
    expectSignature<bool (*)(const Quantity*, std::string&, const std::string&,
                             const std::string&)>({&T::quantityToUnits});
    expectSignature<int (TextNotes::*)(const std::string&)>(
        {&TextNotes::addPreTableNote, &TextNotes::addPostTableNote});
    expectSignature<bool (TextNotes::*)(std::vector<std::string>&) const>(
        {&TextNotes::getPreTableNotes, &TextNotes::getPostTableNotes});

    expectSignature<unsigned int (WriterMessage::*)() const>(
        {&WriterMessage::getMessageId, &WriterMessage::getMetricContainerId});
    expectSignature<int (WriterMessage::*)(unsigned int)>({&WriterMessage::setMetricContainerId});
    expectSignature<void (WriterMessage::*)(unsigned int)>({&WriterMessage::addParentMessage});
    expectSignature<bool (WriterMessage::*)(unsigned int) const>({&WriterMessage::isChildOf});
    expectSignature<MessageType (WriterMessage::*)() const>({&WriterMessage::getMessageType});
    expectSignature<int (TextMessage::*)(const std::string&)>({&TextMessage::setMessage});
    expectSignature<const std::string& (TextMessage::*)() const>({&TextMessage::getMessage});
    expectSignature<void (IdMessage::*)(const UniqueId*)>({&IdMessage::addUniqueId});
    expectSignature<IdMessage::const_iterator (IdMessage::*)() const>(
        {&IdMessage::begin, &IdMessage::end});
    expectSignature<SystemMetadata* (SystemMessage::*)() const>(
        {&SystemMessage::getSystemMetadata});
    using Info = MetricContainerInfoMessage;
    expectSignature<int (Info::*)(const std::string&)>(
        {&Info::setContainerHeader, &Info::setMetricContainerTag});
    expectSignature<const std::string& (Info::*)() const>(
        {&Info::getContainerHeader, &Info::getMetricContainerTag});
    expectSignature<int (Info::*)(const TextNotes*)>({&Info::setTextInfo});
    expectSignature<const TextNotes* (Info::*)() const>({&Info::getTextInfo});
    expectSignature<int (Info::*)(const TableMessage*)>({&Info::addStaticTableRowInfo});
    expectSignature<const TableMessage* (Info::*)() const>({&Info::getStaticTableRowInfo});
    expectSignature<int (Info::*)(TimelineTableType)>({&Info::setTimelineTableToDisplay});
    expectSignature<TimelineTableType (Info::*)() const>({&Info::getTimelineTableToDisplay});

    // Rows run in ascending entity id, whatever order they were added in.
    const EntityHandle* first = EntityHandle::create("First", nullptr);
    const EntityHandle* second = EntityHandle::create("Second", nullptr);
    TableMessage table("Temperatures", Quantity::temperature());
    EXPECT_EQ(table.addField("Total", DataType::UINT, true), 0);
    EXPECT_EQ(table.addField("Max", DataType::REAL, RealFormatter(0, 2), false), 0);
    EXPECT_EQ(table.addEntity(second), 0);
    EXPECT_EQ(table.addEntity(first), 0);
    EXPECT_EQ(table.createTable(), 0);
    EXPECT_EQ(*table.entityBegin(), first);
    EXPECT_EQ(table.getFieldCount(), 1u);
    EXPECT_EQ(table.getSharedFieldCount(), 1u);
    EXPECT_EQ(table.getMessageType(), MessageType::TABLE);
    const Data* cell = nullptr;
    bool valid = true;
    cap.clear();
    EXPECT_EQ(table.getFieldValue(*table.sharedHandleBegin(), cell, valid), 1);
    EXPECT_TRUE(cap.loggedExactly({"WARNING: No data in table yet Temperatures\n"}));
    EXPECT_EQ(table.resetData(), 0);
    EXPECT_EQ(table.getFieldValue(second, *table.handleBegin(), cell, valid), 0);
    EXPECT_FALSE(valid);
    std::string text = "unchanged";
    EXPECT_EQ(table.getFieldAsString(second, *table.handleBegin(), text, valid), 0);
    EXPECT_EQ(text, "unchanged");
    EXPECT_TRUE(TableMessage::quantityToUnits(table.getQuantity(), text, " (", ")"));
    EXPECT_EQ(text, " (oC)");
    TextNotes notes;
    EXPECT_EQ(notes.addPreTableNote("before"), 0);
    EXPECT_EQ(table.setTextNotes(&notes), 0);
    std::vector<std::string> lines;
    EXPECT_TRUE(table.getTextNotes()->getPreTableNotes(lines));
    EXPECT_FALSE(table.getTextNotes()->getPostTableNotes(lines));
    EXPECT_EQ(stream.pushMessage(table), 0);
    EXPECT_EQ(writer.titles, std::vector<std::string>{"Temperatures"});

    TextMessage message;
    HeaderTextMessage header;
    EXPECT_EQ(header.getMessageId(), message.getMessageId() + 1);
    EXPECT_EQ(header.getMessageType(), MessageType::HEADER_TEXT);
    EXPECT_FALSE(message.isChildOf(0));
    message.addParentMessage(header.getMessageId());
    EXPECT_TRUE(message.isChildOf(header.getMessageId()));
    EXPECT_EQ(message.setMetricContainerId(9), 0);
    EXPECT_EQ(message.getMetricContainerId(), 9u);
    EXPECT_EQ(message.setMessage("hello"), 0);  // delivered at once
    EXPECT_EQ(header.setMessage("title"), 0);
    EXPECT_EQ(writer.texts, (std::vector<std::string>{"hello", "title"}));
    IdMessage ids;
    ids.addUniqueId(first);
    EXPECT_EQ(*ids.begin(), first);
    SystemMessage systemMessage(system);
    EXPECT_EQ(systemMessage.getSystemMetadata(), &system);
    EXPECT_EQ(stream.pushMessage(systemMessage), 0);
    EXPECT_EQ(writer.systems, 1);
    MetricContainerInfoMessage info;
    EXPECT_EQ(info.setContainerHeader("Header"), 0);
    EXPECT_EQ(info.setTimelineTableToDisplay(TimelineTableType::RESIDENCY), 0);
    EXPECT_EQ(info.getTimelineTableToDisplay(), TimelineTableType::RESIDENCY);
    EXPECT_EQ(info.getMessageType(), MessageType::METRIC_CONTAINER_INFO);
}

// Accumulators, the metric container and the shared temperature metric.
TEST_F(InterfaceTest, MetricInterfaces) {
    static_assert(sizeof(MetricType) == 1 && num(MetricType::SampledDelta) == 0 &&
                  num(MetricType::SampledResidency) == 1 && num(MetricType::SampledValue) == 2 &&
                  num(MetricType::TracedValueTransition) == 3 && num(MetricType::TracedEvent) == 4);
    static_assert(derives<Accumulator, SampleCountSummarizer, SampledValueAccumulator,
                          SampledResidencyAccumulator, SampledDeltaAccumulator,
                          TracedEventAccumulator, TracedTransitionAccumulator> &&
                  makes<SampleCountSummarizer, bool, bool, bool>);
    static_assert(
        makes<SampledValueAccumulator, const std::vector<SampledValueAccumulator::Summary>&> &&
        makes<SampledResidencyAccumulator,
              const std::vector<SampledResidencyAccumulator::Summary>&> &&
        makes<SampledDeltaAccumulator, const std::vector<SampledDeltaAccumulator::Summary>&> &&
        makes<TracedEventAccumulator, const std::vector<TracedEventAccumulator::Summary>&> &&
        makes<TracedTransitionAccumulator,
              const std::vector<TracedTransitionAccumulator::Summary>&>);
    static_assert(
        copies<SampleCountSummarizer, SampledValueAccumulator, SampledResidencyAccumulator,
               SampledDeltaAccumulator, TracedEventAccumulator, TracedTransitionAccumulator>);
    expectSignature<int (Accumulator::*)(const Metric&, const SystemMetadata&)>(
        {&Accumulator::initialize});
    expectSignature<int (Accumulator::*)(const Metric&)>(
        {&Accumulator::generateSummaries, &Accumulator::processDataPoint});
    EXPECT_STREQ(SampledValueAccumulator::Summary(SampledValueAccumulator::SummaryKind::MIN_MAX_AVG)
                     .toString(),
                 "MIN-MAX-AVG");
    SampledResidencyAccumulator::Summary residency;
    EXPECT_TRUE(SampledResidencyAccumulator::Summary::fromString("RESIDENCY-COMBINED", residency));
    EXPECT_EQ(residency.value(), SampledResidencyAccumulator::SummaryKind::RESIDENCY_COMBINED);
    EXPECT_EQ(SampledValueAccumulator::Summary::count(), 6u);
    EXPECT_EQ(SampledResidencyAccumulator::Summary::count(), 4u);
    EXPECT_EQ(SampledDeltaAccumulator::Summary::count(), 3u);
    EXPECT_EQ(TracedTransitionAccumulator::Summary::count(), 4u);
    EXPECT_EQ(TracedEventAccumulator::Summary::count(), 3u);

    static_assert(makes<Metric, const std::string&, MetricType, const std::string&,
                        const std::string&, const SystemMetadata&, const Quantity*>);
    expectSignature<int (Metric::*)(Accumulator*)>({&Metric::addAccumulator});
    expectSignature<int (Metric::*)(uint64_t, DataElement&, uint64_t)>({&Metric::setData});
    expectSignature<const Metric::DataPoint& (Metric::*)() const>({&Metric::getData});
    expectSignature<uint64_t (Metric::DataPoint::*)() const>({&Metric::DataPoint::getTimestamp});
    expectSignature<bool (Metric::*)() const>(
        {&Metric::isEmpty, &Metric::getSuppressEntityInfoInSummary});
    expectSignature<MetricType (Metric::*)() const>({&Metric::getMetricType});
    expectSignature<const std::vector<Metric::EntityDescCombo>& (Metric::*)() const>(
        {&Metric::getEntityDescriptorCombinations});
    expectSignature<int (Metric::*)(const std::vector<const DataDescriptor*>&)>(
        {&Metric::setFiniteSetValues});
    expectSignature<int (Metric::*)(const std::vector<Metric::EntityDescCombo>&)>(
        {&Metric::setEntityDescriptorCombinations});
    expectSignature<int (Metric::*)(const FieldDescription&)>(
        {&Metric::setValueGroupInfo, &Metric::setEntityGroupInfo, &Metric::setDescriptorGroupInfo});
    expectSignature<int (Metric::*)(RealTableClass)>({&Metric::setLegacyMetricType});
    expectSignature<int (Metric::*)(bool)>({&Metric::setSuppressEntityInfoInSummary});
    expectSignature<int (Metric::*)(TimelineTableType)>({&Metric::setTimelineTableToDisplay});
    expectSignature<int (Metric::*)(TableMessage*)>({&Metric::addStaticTableRowInfo});
    expectSignature<int (Metric::*)()>({&Metric::finalize});
    using Thermal = ThermalSampleHandler;
    expectSignature<Thermal* (*)(const SystemMetadata&, const MetricPlugin*)>(
        {&Thermal::getInstance});
    expectSignature<int (*)(const MetricPlugin*)>({&Thermal::release});
    expectSignature<void (*)()>({&Thermal::freeInstance});
    expectSignature<int (Thermal::*)(const EntityHandle*)>({&Thermal::addEntity});
    expectSignature<int (Thermal::*)(const EntityHandle*, uint64_t, uint16_t, bool)>(
        {&Thermal::setTemperature});
    expectSignature<int (Thermal::*)(std::vector<const EntityHandle*>&, uint64_t, uint16_t)>(
        {&Thermal::resetTemperatures});

    // Nothing that reports to writers exists without the writer stream.
    cap.env().setWriterStream(nullptr);
    const std::vector<SampledValueAccumulator::Summary> noSummaries;
    EXPECT_THROW(SampledValueAccumulator{noSummaries}, std::runtime_error);
    cap.env().setWriterStream(&stream);
    ASSERT_EQ(parseOutputConfig(), 0);
    EXPECT_THROW(
        Metric("Residency", MetricType::SampledResidency, "test", "RES", system, Quantity::power()),
        std::runtime_error);

    const EntityHandle* meter = EntityHandle::create("Meter", nullptr);
    Metric metric("Value", MetricType::SampledValue, "test", "VALUE", system, Quantity::power());
    EXPECT_TRUE(metric.isEmpty());
    EXPECT_EQ(metric.getMetricType(), MetricType::SampledValue);
    EXPECT_EQ(metric.addAccumulator(nullptr), 1);
    EXPECT_EQ(metric.addAccumulator(
                  new SampledDeltaAccumulator({SampledDeltaAccumulator::SummaryKind::TOTAL_DELTA})),
              0);
    metric.setTimelineTableToDisplay(TimelineTableType::STATE);
    EXPECT_EQ(metric.getTimelineTableToDisplay(), TimelineTableType::NONE);  // residency only
    DataElement element(meter, nullptr);
    element.setValue(Data(uint64_t{40}));
    EXPECT_EQ(metric.setData(1100, element, 0), 0);
    element.setValue(Data(uint64_t{44}));
    EXPECT_EQ(metric.setData(1200, element, 0), 0);
    EXPECT_EQ(metric.setData(1200, element, 0), 1);  // same timestamp again: dropped
    EXPECT_EQ(metric.getData().size(), 1u);          // the point at 1200 is still buffered
    TableMessage rows("Rows", nullptr);
    EXPECT_EQ(rows.addField("Name", DataType::STRING, false), 0);
    EXPECT_EQ(metric.addStaticTableRowInfo(&rows), 0);
    EXPECT_EQ(rows.getEntityCount(), 1u);
    EXPECT_EQ(metric.finalize(), 0);
    EXPECT_EQ(writer.points, (std::vector<std::pair<uint64_t, size_t>>{{1100, 1}, {1200, 1}}));
    EXPECT_EQ(writer.infos.size(), 1u);
    const auto avg = writer.cells.find("Value Summary - Sampled: Min/Max/Avg|Meter/Avg (mW)");
    ASSERT_NE(avg, writer.cells.end());
    EXPECT_EQ(realOf(avg->second), 42.0);
    const auto total = writer.cells.find("Value Summary: Total|Meter/Total (mW)");
    ASSERT_NE(total, writer.cells.end());
    EXPECT_EQ(realOf(total->second), 84.0);

    // Temperatures of several entities share one data point per cycle.
    TestMetricPlugin plugin;
    cap.clear();
    EXPECT_EQ(Thermal::release(&plugin), 1);
    EXPECT_TRUE(cap.loggedExactly(
        {"WARNING: Attempt to unregister a plugin from a non-existant ThermalSampleHandler\n"}));
    Thermal* thermal = Thermal::getInstance(system, &plugin);
    ASSERT_NE(thermal, nullptr);
    const EntityHandle* a = EntityHandle::create("Core A", nullptr);
    const EntityHandle* b = EntityHandle::create("Core B", nullptr);
    EXPECT_EQ(thermal->addEntity(a), 0);
    EXPECT_EQ(thermal->addEntity(b), 0);
    EXPECT_EQ(thermal->addEntity(a), 1);
    std::vector<const EntityHandle*> both{a, b};
    EXPECT_EQ(thermal->resetTemperatures(both, 2000, 30), 0);
    EXPECT_EQ(thermal->setTemperature(a, 2100, 40, false), 0);
    EXPECT_EQ(thermal->setTemperature(b, 2105, 50, false), 0);
    EXPECT_EQ(thermal->setTemperature(a, 2200, 42, false), 0);
    EXPECT_EQ(writer.points.back(), (std::pair<uint64_t, size_t>{2100, 2}));
    writer.titles.clear();
    EXPECT_EQ(Thermal::release(&plugin), 0);  // the last plug-in finalises the metric
    EXPECT_EQ(writer.titles.at(0), "Temperature Metrics Summary - Sampled: Min/Max/Avg");
    Thermal::freeInstance();
}

// The byte serialiser, metadata records, the system record and the topology tree.
TEST_F(InterfaceTest, SerialisationInterfaces) {
    static_assert(makes<Serializer, size_t> && makes<Serializer, const std::vector<char>&> &&
                  values<Serializer>);
    expectSignature<void (Serializer::*)(const void*, size_t)>({&Serializer::write_to});
    expectSignature<size_t (Serializer::*)(void*, size_t)>({&Serializer::read_from});
    expectSignature<void (Serializer::*)(size_t)>({&Serializer::rewind_read});
    expectSignature<size_t (Serializer::*)() const>({&Serializer::size});
    expectSignature<bool (Serializer::*)() const>({&Serializer::empty});
    expectSignature<const std::vector<char>& (Serializer::*)()>({&Serializer::get_buffer});
    expectSignature<char* (*)(const char*, size_t)>({&Serializer::read_string});
    expectSignature<void (Serializer::*)(uint32_t)>({&Serializer::write});
    expectSignature<size_t (Serializer::*)(uint32_t&)>({&Serializer::read});
    expectSignature<void (Serializer::*)(const std::string&)>({&Serializer::write});
    expectSignature<size_t (Serializer::*)(std::string&)>({&Serializer::read});

    Serializer out;
    EXPECT_TRUE(out.empty());
    out.write(uint32_t{7});
    out.write(std::string("abc"));
    EXPECT_EQ(out.size(), 9u);
    Serializer in(out.get_buffer());
    EXPECT_EQ(out.get_buffer().size(), 9u);
    uint32_t word = 0;
    std::string text;
    EXPECT_EQ(in.read(word), 4u);
    EXPECT_EQ(in.read(text), 3u);
    EXPECT_EQ(word, 7u);
    EXPECT_EQ(text, "abc");
    EXPECT_EQ(in.read(word), 0u);  // nothing left
    std::unique_ptr<char, void (*)(void*)> copied(Serializer::read_string("xyz", 2), std::free);
    EXPECT_STREQ(copied.get(), "xy");

    // Records share one framing.
    expectSignature<void (Metadata::*)(Serializer&) const>({&Metadata::serialize});
    expectSignature<Metadata* (*)(Serializer&, unsigned)>({&Metadata::deserialize});
    expectSignature<uint32_t (Metadata::*)() const>({&Metadata::getType});
    expectSignature<int (Metadata::*)() const>({&Metadata::getPluginID});
    static_assert(makes<MsgMetadata, int, int, int> && makes<MetricMetadata, int, int> &&
                  makes<OperationMetadata, const std::string&, const std::string&, unsigned> &&
                  makes<CollectorMetadata, std::string>);
    expectSignature<int (MsgMetadata::*)() const>(
        {&MsgMetadata::getPluginID, &MsgMetadata::getMetricID, &MsgMetadata::getMsgID});
    expectSignature<const std::string& (MsgMetadata::*)() const>(
        {&MsgMetadata::getCapName, &MsgMetadata::getMsgName});
    expectSignature<void (MsgMetadata::*)(const std::string&)>(
        {&MsgMetadata::setCapName, &MsgMetadata::setMsgName});
    using Strings = std::set<std::string>;
    expectSignature<const Strings& (MsgMetadata::*)() const>(
        {&MsgMetadata::getCapGroups, &MsgMetadata::getTriggers, &MsgMetadata::getTracepointNames});
    expectSignature<void (MsgMetadata::*)(const Strings&)>(
        {&MsgMetadata::setCapGroups, &MsgMetadata::setTriggers, &MsgMetadata::setTracepointNames});
    expectSignature<void (MsgMetadata::*)(const OperationMetadata*)>({&MsgMetadata::addMetaValue});
    expectSignature<const std::vector<const OperationMetadata*>& (MsgMetadata::*)() const>(
        {&MsgMetadata::getMetaValues});
    using Pairs = std::vector<std::pair<std::string, std::string>>;
    expectSignature<int (MetricMetadata::*)() const>(
        {&MetricMetadata::getPluginID, &MetricMetadata::getMetricID});
    expectSignature<void (MetricMetadata::*)(const std::string&, const std::string&)>(
        {&MetricMetadata::addValue});
    expectSignature<const Pairs& (MetricMetadata::*)() const>({&MetricMetadata::getValues});
    expectSignature<const std::string& (OperationMetadata::*)() const>(
        {&OperationMetadata::getName, &OperationMetadata::getOperation,
         &OperationMetadata::getOrgMsgTag});
    expectSignature<unsigned (OperationMetadata::*)() const>({&OperationMetadata::getSize});
    expectSignature<void (OperationMetadata::*)(const std::string&)>(
        {&OperationMetadata::setOrgMsgTag});
    expectSignature<const std::string& (CollectorMetadata::*)() const>(
        {&CollectorMetadata::getName});
    expectSignature<void (CollectorMetadata::*)(const std::string&, const std::string&)>(
        {&CollectorMetadata::addValue});
    expectSignature<const Pairs& (CollectorMetadata::*)() const>({&CollectorMetadata::getValues});

    MsgMetadata msg(1, 2, 3);
    msg.setCapName("cap");
    msg.setMsgName("msg");
    msg.addMetaValue(new OperationMetadata("first", "READ", 4));
    msg.addMetaValue(new OperationMetadata("second", "WRITE", 8));
    Serializer framed;
    msg.serialize(framed);
    CollectorMetadata collector("collector");
    collector.addValue("key", "value");
    collector.serialize(framed);
    Serializer back(framed.get_buffer());
    std::unique_ptr<Metadata> read(Metadata::deserialize(back, 0));
    ASSERT_NE(read, nullptr);
    EXPECT_EQ(read->getType(), Metadata::c_msgMetadataType);
    EXPECT_EQ(read->getPluginID(), 1);
    EXPECT_EQ(static_cast<MsgMetadata&>(*read).getMetaValues().size(), 2u);
    read.reset(Metadata::deserialize(back, 0));
    ASSERT_NE(read, nullptr);
    EXPECT_EQ(static_cast<CollectorMetadata&>(*read).getValues(), (Pairs{{"key", "value"}}));
    Serializer unknown;
    unknown.write(uint32_t{9});
    testing::internal::CaptureStderr();
    EXPECT_EQ(Metadata::deserialize(unknown, 0), nullptr);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "ERROR: unsupported Metadata Data Type 9\n");

    // The system record.
    using Sys = SystemMetadata;
    static_assert(derives<Metadata, SystemMetadata, MsgMetadata, MetricMetadata, OperationMetadata,
                          CollectorMetadata> &&
                  values<SystemMetadata> && virtualDestructors<Metadata>);
    static_assert(Metadata::c_msgMetadataType == 0 && Metadata::c_metricMetadataType == 1 &&
                  Metadata::c_systemMetadataType == 2 && Metadata::c_operationMetadataType == 3 &&
                  Metadata::c_collectorMetadataType == 4);
    static_assert(is<decltype(FMS::family), uint8_t> && is<decltype(FMS::model), uint8_t> &&
                  is<decltype(FMS::stepping), uint8_t> && num(cpu_action::OFFLINE) == 1 &&
                  num(cpu_action::ONLINE_PREPARE) == 2 && num(cpu_action::ONLINE) == 3);
    // Plug-ins read the record's fields directly.
    static_assert(
        is<decltype(Sys::sidToUuid), std::map<int32_t, std::string>> &&
        is<decltype(Sys::fms), FMS> && is<decltype(Sys::appVersion), uint32_t> &&
        is<decltype(Sys::driverVersion), uint32_t> && is<decltype(Sys::scuVersion), uint32_t> &&
        is<decltype(Sys::platformName), std::string> && is<decltype(Sys::hostName), std::string> &&
        is<decltype(Sys::osName), std::string> && is<decltype(Sys::osType), std::string> &&
        is<decltype(Sys::osVersion), std::string> && is<decltype(Sys::cpuTopology), TopTree> &&
        is<decltype(Sys::busFreqMHz), float> && is<decltype(Sys::clockFreqMHz), float> &&
        is<decltype(Sys::lfmFreqMHz), float> && is<decltype(Sys::hfmFreqMHz), float> &&
        is<decltype(Sys::cpuFreqMHz), float> && is<decltype(Sys::startTsc), uint64_t> &&
        is<decltype(Sys::stopTsc), uint64_t> && is<decltype(Sys::startTimeval), uint64_t> &&
        is<decltype(Sys::stopTimeval), uint64_t> &&
        is<decltype(Sys::pollingIntervalMsecs), uint16_t> &&
        is<decltype(Sys::maxDetail), uint8_t> &&
        is<decltype(Sys::commandLine), std::vector<std::string>> &&
        is<decltype(Sys::producedSamples), uint64_t> &&
        is<decltype(Sys::droppedSamples), uint64_t> && is<decltype(Sys::lowOverheadMode), bool> &&
        is<decltype(Sys::platformSpecifiers), Pairs> &&
        is<decltype(Sys::topologyChanges), std::vector<TopologyChange>> &&
        is<decltype(Sys::hyperVEnabled), bool> && is<decltype(Sys::vsmEnabled), bool> &&
        is<decltype(Sys::cpuNativeModelIds), std::vector<uint32_t>> &&
        is<decltype(Sys::platformId), uint32_t> && is<decltype(Sys::edramCap), uint8_t> &&
        is<decltype(Sys::igfxId), uint32_t> && is<decltype(Sys::driverBuildDate), std::string> &&
        is<decltype(Sys::programStartTimeval), uint64_t> &&
        is<decltype(Sys::programStopTimeval), uint64_t> &&
        is<decltype(Sys::exeBuildDate), std::string> &&
        is<decltype(Sys::continuousCollectionQuantum), uint32_t> &&
        is<decltype(Sys::clockSyncs), std::deque<VexaClockSync>> &&
        is<decltype(Sys::hvciEnabled), bool> && is<decltype(Sys::nonNumericVersion), std::string> &&
        is<decltype(Sys::buildRef), std::string> && is<decltype(Sys::packageType), std::string> &&
        is<decltype(Sys::vtioEnabled), bool>);
    expectSignature<void (Sys::*)(Serializer&) const>({&Sys::serialize_i});
    expectSignature<int (Sys::*)(Serializer&, unsigned)>({&Sys::deserialize_i});
    expectSignature<const TopTree& (Sys::*)() const>({&Sys::getCPUTopology});
    expectSignature<int (Sys::*)(const std::string&, size_t)>({&Sys::buildTopology});
    expectSignature<std::string (Sys::*)(uint64_t) const>({&Sys::formatTimevalAsString});
    expectSignature<std::string (Sys::*)() const>(
        {&Sys::getCollectionStartTime, &Sys::getProgramStartTime, &Sys::getCollectionHeader,
         &Sys::getSystemHWHeader, &Sys::getFormattedPCHDeviceName, &Sys::getFormattedCPUCodeName});
    expectSignature<double (Sys::*)() const>({&Sys::getCollectionDurationSec});
    expectSignature<std::string (Sys::*)(uint32_t) const>({&Sys::getCPUNativeModelName});
    expectSignature<std::string (Sys::*)(bool) const>(
        {&Sys::getOSVersionString, &Sys::getVersionHeader});
    expectSignature<bool (Sys::*)() const>({&Sys::isClientPlatform, &Sys::isServerPlatform,
                                            &Sys::isAtomPlatform, &Sys::isHybridPlatform});
    expectSignature<void (Sys::*)(std::vector<std::string>&, const std::string&) const>(
        {&Sys::getFormattedPCIDeviceNames, &Sys::getFormattedPMTDeviceNames});
    expectSignature<std::ostream& (*)(std::ostream&, const Sys&)>({&pwr::operator<<});
    expectSignature<uint64_t (TopologyChange::*)() const>({&TopologyChange::getTimestamp});
    expectSignature<void (TopologyChange::*)(uint64_t)>({&TopologyChange::resetTimestamp});
    expectSignature<cpu_action (TopologyChange::*)() const>({&TopologyChange::getActionType});
    expectSignature<const char* (TopologyChange::*)() const>({&TopologyChange::getActionName});
    expectSignature<uint16_t (TopologyChange::*)() const>({&TopologyChange::getLogicalProcessorID,
                                                           &TopologyChange::getCoreID,
                                                           &TopologyChange::getPackageID});
    expectSignature<int32_t (TopologyChange::*)() const>({&TopologyChange::getModuleID});

    EXPECT_EQ(system.formatTimevalAsString(0), "N/A");
    EXPECT_EQ(system.formatTimevalAsString(1000000000), "1970-01-01 00:00:01 GMT");
    EXPECT_STREQ(TopologyChange().getActionName(), "NOP");
    EXPECT_EQ(TopologyChange().getModuleID(), -1);
    system.fms = FMS{6, 0xAA, 4};
    system.appVersion = 0x07E40300;
    system.platformName = "MTL-P";
    system.hostName = "test-host";
    system.osName = "Windows";
    system.osType = "x64";
    system.osVersion = "10.0";
    system.commandLine = {"vantry", "-c"};
    system.igfxId = 0x7D45;
    system.exeBuildDate = "2024-05-01";
    system.nonNumericVersion = "1.0-test";
    system.buildRef = "abc123";
    system.packageType = "BGA";
    system.cpuTopology.addNode(0, -1, 0, 0);
    Serializer record;
    system.serialize(record);
    Serializer recordIn(record.get_buffer());
    std::unique_ptr<Metadata> copy(Metadata::deserialize(recordIn, 0));
    ASSERT_NE(copy, nullptr);
    const auto& restored = static_cast<const SystemMetadata&>(*copy);
    EXPECT_EQ(restored.getType(), Metadata::c_systemMetadataType);
    EXPECT_EQ(restored.hostName, "test-host");
    EXPECT_EQ(restored.fms, system.fms);
    EXPECT_EQ(restored.getCPUTopology().getNumThreads(), 1u);
    std::ostringstream dump;
    dump << restored;
    EXPECT_NE(dump.str().find("Host name: test-host"), std::string::npos);

    // The topology tree.
    expectSignature<void (TopTree::*)(std::vector<const TNode*>&) const>(
        {&TopTree::getAllPackages, &TopTree::getAllModules, &TopTree::getAllDies,
         &TopTree::getAllCores, &TopTree::getAllThreads});
    expectSignature<void (TopTree::*)(std::vector<const TNode*>&, top_node_type) const>(
        {&TopTree::getAllNodesOfType});
    expectSignature<size_t (TopTree::*)() const>({&TopTree::getNumPackages, &TopTree::getNumModules,
                                                  &TopTree::getNumDies, &TopTree::getNumCores,
                                                  &TopTree::getNumThreads});
    expectSignature<size_t (TopTree::*)(top_node_type) const>({&TopTree::getNumNodesOfType});
    expectSignature<int (TopTree::*)(int, int, int, int)>({&TopTree::addNode});
    expectSignature<int (TopTree::*)(const std::string&, size_t)>({&TopTree::buildTopology});
    expectSignature<void (TopTree::*)() const>({&TopTree::dumpPackages});
    expectSignature<int (TopTree::*)(Serializer&) const>(
        {&TopTree::serializeTree, &TopTree::serializeTreeDeprecated});
    expectSignature<int (TopTree::*)(Serializer&)>(
        {&TopTree::deserializeTree, &TopTree::deserializeTreeDeprecated});
    expectSignature<int (TNode::*)() const>({&TNode::getID, &TNode::getUniqueID});
    expectSignature<top_node_type (TNode::*)() const>({&TNode::getType});
    expectSignature<const TNode* (TNode::*)() const>({&TNode::getParent});
    expectSignature<std::string (TNode::*)() const>(
        {&TNode::getName, &TNode::getFullyQualifiedName});
    expectSignature<TNode::const_iterator (TNode::*)() const>({&TNode::begin, &TNode::end});
    expectSignature<uint32_t (TNodeCore::*)() const>({&TNodeCore::getCoreModelIDAndType});
    static_assert(TNodeCore::c_32BitMask == 0xFFFFFFFFu && derives<TNode, TNodeCore> &&
                  virtualDestructors<TNode> && num(top_node_type::Package) == 1 &&
                  num(top_node_type::Thread) == 4 && num(top_node_type::SOC) == 5 &&
                  num(top_node_type::Tile) == 7);

    TopTree tree;
    EXPECT_EQ(tree.addNode(0, -1, 0, 0), 0);
    EXPECT_EQ(tree.addNode(0, -1, 1, 0), 0);
    EXPECT_EQ(tree.addNode(0, -1, 1, 1), 0);
    Serializer treeOut;
    EXPECT_EQ(tree.serializeTree(treeOut), 0);
    Serializer treeIn(treeOut.get_buffer());
    TopTree readTree;
    ASSERT_EQ(readTree.deserializeTree(treeIn), 0);
    EXPECT_EQ(readTree.getNumPackages(), 1u);
    EXPECT_EQ(readTree.getNumNodesOfType(top_node_type::Core), 2u);
    std::vector<const TNode*> cores;
    readTree.getAllCores(cores);
    ASSERT_EQ(cores.size(), 2u);
    EXPECT_EQ(cores[1]->getFullyQualifiedName(), "Package 0/Core 1");
    EXPECT_EQ(cores[1]->getParent()->getType(), top_node_type::Package);
    const auto* core = dynamic_cast<const TNodeCore*>(cores[1]);
    ASSERT_NE(core, nullptr);
    EXPECT_EQ(core->getCoreModelIDAndType(), TNodeCore::c_32BitMask);
}

// Plug-in classes, capabilities, requirements, the environment and the writer stream.
TEST_F(InterfaceTest, PluginInterfaces) {
    static_assert(
        derives<Plugin, CollectorPlugin, MetricPlugin, WriterPlugin> &&
        derives<PluginCapability, MetricPluginCapability, WriterPluginCapability,
                ResultFilePluginCapability> &&
        derives<PluginRequirement, FMSPluginRequirement, SCUPluginRequirement,
                OSNamePluginRequirement, IGFXPresentPluginRequirement, PCHPluginRequirement,
                VTIODisablePluginRequirement, DriverRequirement, PluginRequirementGroup> &&
        virtualDestructors<Plugin, PluginCapability, PluginRequirement>);
    static_assert(PW_FATAL == 0 && PW_ERROR == 1 && PW_WARNING == 2 && PW_DEBUG == 3 &&
                  PW_INFO == 4);
    static_assert(num(PluginRequirementResult::NOT_SUITABLE) == 0 &&
                  num(PluginRequirementResult::SUITABLE) == 1 &&
                  num(PluginRequirementResult::SUITABLE_REQUIREMENTS_PASSED) == 2);
    expectSignature<ResetReturnCode (Plugin::*)(ResetReason, uint64_t, const SystemMetadata&)>(
        {&Plugin::reset});
    expectSignature<void (Plugin::*)(AttributePairs&)>({&Plugin::getVersion});
    expectSignature<void (Plugin::*)(const std::string&)>({&Plugin::handleBroadcastOption});
    expectSignature<int32_t (Plugin::*)() const>({&Plugin::getSID});
    expectSignature<void (Plugin::*)(int32_t)>({&Plugin::setSID});
    expectSignature<const std::string& (Plugin::*)() const>({&Plugin::getUUID, &Plugin::getName});
    expectSignature<const std::vector<std::string>& (Plugin::*)() const>(
        {&Plugin::getCommandlineParams});
    expectSignature<void (Plugin::*)(const std::vector<std::string>&)>(
        {&Plugin::setCommandlineParams});
    using Caps = std::vector<PluginCapability*>;
    expectSignature<void (Plugin::*)(Caps&, const std::string&, const SystemMetadata&,
                                     const AttributePairs&) const>({&Plugin::getCapabilitiesFor});
    expectSignature<void (Plugin::*)(Caps&, const std::string&, const SystemMetadata&) const>(
        {&Plugin::getCapabilitiesFor});
    expectSignature<void (Plugin::*)(Caps&, const SystemMetadata&) const>(
        {&Plugin::getAllCapabilities});
    using C = CollectorPlugin;
    expectSignature<bool (C::*)(const InputMsg*)>({&C::canCollectMessage});
    expectSignature<bool (C::*)() const>({&C::doesSupportLowOverhead});
    expectSignature<int (C::*)()>({&C::continuousCollectionTick});
    expectSignature<int (C::*)(VexaBuffer&, CollectionData&)>({&C::getContinuousResult});
    expectSignature<int (C::*)(Operation*, const std::string&)>(
        {&C::doImmediateRead, &C::doImmediateWrite});
    expectSignature<int (C::*)(Operation*, const EntityHandle*)>({&C::doImmediateRead});
    expectSignature<int (C::*)(const InputMsg*)>({&C::doImmediateWrite});
    expectSignature<void (C::*)(const Operation*)>({&C::addOperation});
    expectSignature<const std::vector<const Operation*>& (C::*)() const>(
        {&C::getSupportedOperations});
    expectSignature<VexaClockSource* (C::*)() const>({&C::getClockSource});
    using M = MetricPlugin;
    expectSignature<int (M::*)(const Metadata*)>({&M::processMetadata});
    expectSignature<int (M::*)(const std::vector<const InputMsg*>&,
                               const std::vector<const Metadata*>&, const std::string&,
                               const AttributePairs&, const SystemMetadata&)>(
        {&M::initializeCollection});
    expectSignature<int (M::*)(const std::string&, const AttributePairs&, const SystemMetadata&)>(
        {&M::getDynamicHelpDisplayType, &M::finalizeCollection});
    expectSignature<bool (M::*)(const vexa_driver_msg*, std::string&) const>(
        {&M::getOrgMsgTag, &M::getOrgMsgPayload});
    expectSignature<void (M::*)(const std::string&)>({&M::setConfigFileName});
    expectSignature<const std::string& (M::*)() const>({&M::getConfigFileName});
    using W = WriterPlugin;
    expectSignature<int (W::*)(const MetricContainerInfoMessage&)>({&W::writeMessage});
    expectSignature<int (W::*)(const Metric&)>({&W::writeMessage});
    expectSignature<int (W::*)(const IdMessage&)>({&W::writeMessage});
    expectSignature<int (W::*)(const SystemMessage&)>({&W::writeMessage});
    expectSignature<int (W::*)(const TextMessage&)>({&W::writeMessage});
    expectSignature<int (W::*)(const TableMessage&)>({&W::writeMessage});
    expectSignature<int (W::*)(const SystemMetadata&)>({&W::flushContinuousResults});
    expectSignature<int (W::*)(const TableMessage&, std::deque<std::string>&) const>(
        {&W::getColumnTitles, &W::getRowValues});
    expectSignature<std::string (*)(const TableMessage&, const EntityHandle*, const DataHandle*)>(
        {&W::getFieldNameFromHandle, &W::getFieldValueFromHandle});

    // Capabilities.
    using P = PluginCapability;
    expectSignature<const std::set<std::string>& (P::*)() const>({&P::getGroupNames});
    expectSignature<void (P::*)(const std::string&)>({&P::addGroupName});
    expectSignature<void (P::*)(bool)>({&P::setHidden, &P::setOrResetContinuousCollectionSupport});
    expectSignature<bool (P::*)() const>({&P::isHidden, &P::doesSupportContinuousCollection});
    expectSignature<bool (P::*)(PluginRequirement*)>({&P::addPluginRequirement});
    expectSignature<::Plugin* (P::*)() const>({&P::getOwner});
    expectSignature<void (P::*)(::Plugin*)>({&P::setOwner});
    expectSignature<bool (P::*)(const std::string&) const>({&P::operator==, &P::equals});
    expectSignature<PluginRequirementResult (P::*)(const SystemMetadata&, const AttributePairs&)
                        const>({&P::isCapabilitySuitableFor});
    using MP = MetricPluginCapability;
    expectSignature<const std::string& (MP::*)() const>({&MP::getConfigFilePrefix});
    expectSignature<const std::pair<FMS, FMS>& (MP::*)() const>({&MP::getFMSRange});
    expectSignature<void (MP::*)(const FMS&, const FMS&)>({&MP::setFMSRange});
    expectSignature<void (MP::*)(const FMS&)>({&MP::setFMS});
    expectSignature<bool (MP::*)(const FMS&) const>({&MP::doesRangeInclude});
    expectSignature<uint8_t (MP::*)() const>({&MP::getMetricID});
    expectSignature<void (MP::*)(uint8_t)>({&MP::setMetricID});
    expectSignature<void (MP::*)(uint32_t)>({&MP::addReadTrigger});
    expectSignature<uint32_t (MP::*)() const>({&MP::getReadTriggers});
    expectSignature<void (MP::*)(bool)>({&MP::setNoCollect, &MP::setDependent});
    expectSignature<bool (MP::*)() const>(
        {&MP::isNoCollect, &MP::isDependent, &MP::shouldCheckBeforeDisplaying});
    expectSignature<void (MP::*)()>({&MP::disableDynamicCheck});
    expectSignature<const std::string& (WriterPluginCapability::*)() const>(
        {&WriterPluginCapability::getFileSuffix});
    expectSignature<const std::set<TableClass>& (WriterPluginCapability::*)() const>(
        {&WriterPluginCapability::getSupportedTables});
    expectSignature<uint32_t (ResultFilePluginCapability::*)() const>(
        {&ResultFilePluginCapability::getVersion});
    expectSignature<const std::string& (ConfigCap::*)() const>(
        {&ConfigCap::getName, &ConfigCap::getDescription, &ConfigCap::getConfigfilePrefix});
    expectSignature<void (ConfigCap::*)(const std::string&)>(
        {&ConfigCap::setConfigfilePrefix, &ConfigCap::setDescription, &ConfigCap::addGroup});
    expectSignature<const std::set<std::string>& (ConfigCap::*)() const>({&ConfigCap::getGroups});
    expectSignature<bool (ConfigCap::*)() const>({&ConfigCap::isHidden});
    expectSignature<uint64_t (CollectionData::*)() const>(
        {&CollectionData::getStartTimestamp, &CollectionData::getStopTimestamp,
         &CollectionData::getStartTimeval, &CollectionData::getStopTimeval,
         &CollectionData::getSamplesProduced, &CollectionData::getSamplesDropped});
    expectSignature<const std::string& (CollectionData::*)() const>(
        {&CollectionData::getClockUUID, &CollectionData::getResultFile});
    expectSignature<void (CollectionData::*)()>({&CollectionData::reset});

    // Requirements: every kind is a copyable value.
    static_assert(makes<FMSPluginRequirement, const FMS&, bool> &&
                  makes<SCUPluginRequirement, uint32_t, bool> &&
                  makes<OSNamePluginRequirement, const std::string&, bool> &&
                  makes<IGFXPresentPluginRequirement, bool> &&
                  makes<PCHPluginRequirement, const std::string&, bool> &&
                  makes<VTIODisablePluginRequirement, const std::string&> &&
                  makes<DriverRequirement, uint64_t, const DriverInterface*> &&
                  makes<PluginRequirementGroup, bool>);
    static_assert(values<FMSPluginRequirement, SCUPluginRequirement, OSNamePluginRequirement,
                         IGFXPresentPluginRequirement, PCHPluginRequirement,
                         VTIODisablePluginRequirement, DriverRequirement, PluginRequirementGroup>);
    expectSignature<bool (PluginRequirement::*)(const SystemMetadata&, const AttributePairs&)
                        const>({&PluginRequirement::isPluginRequirementSatisfied});
    expectSignature<bool (PluginRequirementGroup::*)(PluginRequirement*)>(
        {&PluginRequirementGroup::addPluginRequirement});

    system.fms = FMS{6, 0x8A, 0};
    system.osName = "Windows";
    system.platformName = "ADL-P PCH-X";
    system.igfxId = 0x46A6;
    const AttributePairs none;
    FixedDriver driver;
    EXPECT_TRUE(FMSPluginRequirement(system.fms).isPluginRequirementSatisfied(system, none));
    EXPECT_FALSE(FMSPluginRequirement(system.fms, true).isPluginRequirementSatisfied(system, none));
    EXPECT_TRUE(PCHPluginRequirement("PCH-X").isPluginRequirementSatisfied(system, none));
    EXPECT_TRUE(IGFXPresentPluginRequirement().isPluginRequirementSatisfied(system, none));
    EXPECT_TRUE(VTIODisablePluginRequirement("feature").isPluginRequirementSatisfied(system, none));
    EXPECT_TRUE(DriverRequirement(DriverRequirement::makeVersion(2, 1, 0), &driver)
                    .isPluginRequirementSatisfied(system, none));
    PluginRequirementGroup all(true);
    EXPECT_TRUE(all.addPluginRequirement(new OSNamePluginRequirement("Windows")));
    EXPECT_TRUE(all.addPluginRequirement(new SCUPluginRequirement(5)));
    EXPECT_FALSE(all.isPluginRequirementSatisfied(system, none));
    EXPECT_FALSE(PluginRequirementGroup(false).isPluginRequirementSatisfied(system, none));

    PluginCapability plain("plain", "no requirements");
    EXPECT_EQ(plain.isCapabilitySuitableFor(system, none), PluginRequirementResult::SUITABLE);
    EXPECT_TRUE(plain.addPluginRequirement(new FMSPluginRequirement(system.fms)));
    EXPECT_EQ(plain.isCapabilitySuitableFor(system, none),
              PluginRequirementResult::SUITABLE_REQUIREMENTS_PASSED);
    EXPECT_TRUE(plain == "plain");
    MetricPluginCapability metricCap("metric", "a metric");
    metricCap.setFMS(FMS{0, 0, 1});
    EXPECT_TRUE(metricCap.doesRangeInclude(FMS{6, 0x8A, 0}));
    metricCap.setNoCollect();
    EXPECT_TRUE(metricCap.isNoCollect());
    metricCap.disableDynamicCheck();
    EXPECT_FALSE(metricCap.shouldCheckBeforeDisplaying());
    cap.clear();
    metricCap.addReadTrigger(4);
    EXPECT_TRUE(cap.loggedExactly({"WARNING: DEPRECATED API!\n"}));
    ConfigCap configCap("cstate", "C-states", "cstate_");
    configCap.addGroup("power");
    EXPECT_EQ(configCap.getGroups().count("power"), 1u);
    EXPECT_EQ(ResultFilePluginCapability("file", "result file", 3).getVersion(), 3u);

    TestCollector collector;
    collector.setSID(4);
    EXPECT_EQ(collector.getSID(), 4);
    EXPECT_TRUE(collector.canCollectMessage(nullptr));
    EXPECT_FALSE(collector.doesSupportLowOverhead());
    EXPECT_EQ(collector.continuousCollectionTick(), 1);
    EXPECT_EQ(collector.doImmediateRead(nullptr, std::string("x")), -1);
    EXPECT_EQ(collector.doImmediateWrite(nullptr), -1);
    EXPECT_EQ(collector.getClockSource(), nullptr);
    Caps found;
    collector.getCapabilitiesFor(found, "grp", system);
    ASSERT_EQ(found.size(), 1u);
    EXPECT_EQ(found[0]->getOwner(), &collector);
    CollectionData data;
    VexaBuffer buffer;
    buffer.append("abc", 3);
    EXPECT_EQ(collector.getContinuousResult(buffer, data), 0);
    EXPECT_EQ(data.getSamplesProduced(), 3u);
    data.reset();
    EXPECT_EQ(data.getSamplesProduced(), 0u);
    TestMetricPlugin metricPlugin;
    metricPlugin.setConfigFileName("platform.cfg");
    EXPECT_EQ(metricPlugin.getConfigFileName(), "platform.cfg");
    std::string tag;
    EXPECT_TRUE(metricPlugin.getOrgMsgTag(nullptr, tag));

    // The environment.
    using E = PluginEnvironment;
    expectSignature<PWLogLevel (E::*)() const>({&E::getVerbosity});
    expectSignature<void (E::*)(PWLogLevel)>({&E::setVerbosity});
    expectSignature<Logger* (E::*)(PWLogLevel) const>({&E::getLogger});
    expectSignature<Logger* (E::*)() const>(
        {&E::getErrorLogger, &E::getDebugLogger, &E::getNullLogger, &E::getDataOutputHandle});
    expectSignature<void (E::*)(Logger*)>({&E::setErrorLogger, &E::setDebugLogger,
                                           &E::setNullLogger, &E::setDataOutputHandle,
                                           &E::setFileOutputHandle});
    expectSignature<Logger* (E::*)(const char*) const>({&E::getFileOutputHandle});
    expectSignature<const char* (*)(PWLogLevel)>({&E::getLoggerPrefix});
    expectSignature<void (E::*)(const std::string&)>(
        {&E::addCondLogTagForDebugLogging, &E::insertMetricSwitch, &E::setResultFilePrefix,
         &E::setCorvexConfigFileName});
    expectSignature<bool (E::*)(const std::string&) const>(
        {&E::isDebugLoggingEnabledFor, &E::hasMetricSwitch});
    expectSignature<void (E::*)(const char*)>({&E::queueMessage});
    expectSignature<std::deque<std::string>& (E::*)()>({&E::getQueuedMessages});
    expectSignature<void (E::*)(VexaClockSource*)>({&E::setDefaultClock});
    expectSignature<VexaClockSource* (E::*)() const>({&E::getDefaultClock});
    expectSignature<void (E::*)(float, float)>({&E::setDefaultClockToTSCRatio});
    expectSignature<float (E::*)() const>({&E::getDefaultClockMHz, &E::getDefaultClockToTSCRatio});
    expectSignature<float (E::*)(uint64_t) const>({&E::getSecFromTimestamp});
    expectSignature<void (E::*)(uint64_t, uint32_t)>({&E::addSystemStateEvent});
    expectSignature<void (E::*)()>(
        {&E::removeLastSystemStateEvent, &E::setHybernationEventDetected});
    expectSignature<const std::map<uint64_t, uint32_t>& (E::*)() const>({&E::getSystemStateEvents});
    expectSignature<bool (E::*)() const>({&E::getHybernationEventDetected, &E::checkResetOccurred,
                                          &E::isCstraceRegister, &E::isCsFeatureEnabled});
    expectSignature<bool (E::*)(id_config_t, uint64_t)>({&E::checkAndRecordReset});
    expectSignature<uint32_t (E::*)(uint8_t, uint8_t, uint8_t, uint64_t) const>(
        {&E::isSystemReset});
    expectSignature<std::pair<uint64_t, uint64_t> (E::*)(uint64_t) const>({&E::getLastResetEvent});
    expectSignature<void (E::*)(void*)>({&E::setWriterStream, &E::setTopologyManager,
                                         &E::setPreCollectionTopology, &E::setVantryDrvHandle,
                                         &E::setCstraceDrvHandle});
    expectSignature<void* (E::*)() const>({&E::getWriterStream, &E::getTopologyManager,
                                           &E::getPreCollectionTopology, &E::getVantryDrvHandle,
                                           &E::getCstraceDrvHandle});
    expectSignature<void (E::*)(uint32_t)>({&E::setVantryDrvVersion});
    expectSignature<uint32_t (E::*)() const>({&E::getVantryDrvVersion});
    expectSignature<const std::string& (E::*)() const>(
        {&E::getResultFilePrefix, &E::getVantryDirectory});
    expectSignature<bool (E::*)()>(
        {&E::setVantryDirectory, &E::configureCorvex, &E::startCorvex, &E::stopCorvex});
    expectSignature<void (E::*)(bool)>({&E::setCsTraceEnable, &E::setCsFeatureEnabled});
    expectSignature<void (E::*)(ModuleHandle)>({&E::setCorvexDllHandle});
    expectSignature<bool (E::*)(unsigned*, unsigned*, unsigned*)>({&E::getCorvexVersion});
    expectSignature<bool (E::*)(_vexa_aggregator_info)>({&E::addLoadedPMT});
    expectSignature<const _vexa_aggregator_info* (E::*)(uint16_t) const>(
        {&E::getLoadedPMTEndpoint});
    expectSignature<std::vector<_vexa_aggregator_info> (E::*)(const std::string&) const>(
        {&E::getLoadedPMTEndpoints});
    expectSignature<std::vector<_vexa_aggregator_info> (E::*)(uint32_t) const>(
        {&E::getLoadedPMTEndpoints});
    expectSignature<size_t (E::*)(const std::string&) const>({&E::getLoadedPMTNumberEndpoints});
    expectSignature<size_t (E::*)(uint32_t) const>({&E::getLoadedPMTNumberEndpoints});
    expectSignature<uint32_t (E::*)(uint32_t) const>({&E::getLoadedPMTCollectionType});
    expectSignature<std::vector<uint32_t> (E::*)() const>({&E::getLoadedPMTGUIDs});
    expectSignature<void (E::*)(const std::string&, uint32_t)>({&E::addPMTPlatformGUID});
    expectSignature<uint32_t (E::*)(const std::string&, uint32_t) const>({&E::getPMTPlatformGUID});
    expectSignature<std::string (E::*)(uint32_t) const>({&E::getPMTPlatformName});
    expectSignature<void (E::*)(uint32_t, XMLParser*)>({&E::setPMTXMLParser});
    expectSignature<XMLParser* (E::*)(uint32_t) const>({&E::getPMTXMLParser});

    PluginEnvironment& env = cap.env();
    EXPECT_STREQ(PluginEnvironment::getLoggerPrefix(static_cast<PWLogLevel>(7)), "INFO");
    EXPECT_EQ(env.getLogger(PW_ERROR), env.getErrorLogger());
    EXPECT_EQ(env.getLogger(PW_WARNING), env.getDebugLogger());
    env.addCondLogTagForDebugLogging("vexathread");
    EXPECT_TRUE(env.isDebugLoggingEnabledFor("vexathread"));
    env.setDefaultClockToTSCRatio(10.0f, 2000.0f);
    EXPECT_FLOAT_EQ(env.getDefaultClockToTSCRatio(), 0.005f);
    EXPECT_FLOAT_EQ(env.getSecFromTimestamp(20000000), 2.0f);
    env.addSystemStateEvent(500, 3);
    env.addSystemStateEvent(900, 4);
    env.removeLastSystemStateEvent();
    EXPECT_EQ(env.getSystemStateEvents(), (std::map<uint64_t, uint32_t>{{500, 3}}));
    env.queueMessage("note");
    EXPECT_EQ(env.getQueuedMessages().back(), "note");
    env.insertMetricSwitch("power");
    EXPECT_TRUE(env.hasMetricSwitch("power"));
    env.setCsTraceEnable();
    EXPECT_TRUE(env.isCstraceRegister());
    EXPECT_FALSE(env.isCsFeatureEnabled());
    _vexa_aggregator_info pmt;
    pmt.endpoint = 2;
    pmt.guid = 0x1234;
    EXPECT_TRUE(env.addLoadedPMT(pmt));
    EXPECT_EQ(env.getLoadedPMTNumberEndpoints(uint32_t{0x1234}), 1u);
    cap.clear();
    EXPECT_FALSE(env.startCorvex());  // not configured: silent
    EXPECT_TRUE(cap.loggedExactly({}));

    // The writer stream.
    expectSignature<int (WriterStream::*)(WriterMessage&)>({&WriterStream::pushMessage});
    expectSignature<int (WriterStream::*)(const Metric*)>({&WriterStream::pushMessage});
    expectSignature<bool (WriterStream::*)(TableClass) const>(
        {&WriterStream::isSupportedTableClass});
    expectSignature<int (WriterStream::*)(const std::string&)>({&WriterStream::pushTextMessage});
    EXPECT_TRUE(stream.isSupportedTableClass(TableClass::SUMMARY));
    EXPECT_FALSE(stream.isSupportedTableClass(TableClass::TIMELINE));
    EXPECT_EQ(stream.pushTextMessage("from the stream"), 0);
    EXPECT_EQ(writer.texts, std::vector<std::string>{"from the stream"});
    cap.clear();
    EXPECT_EQ(stream.pushMessage(static_cast<const Metric*>(nullptr)), 1);
    EXPECT_TRUE(
        cap.loggedExactly({"WARNING: Error pushing null Metric object to Writer stream.\n"}));
    ASSERT_EQ(writer.getCapabilities().size(), 1u);
    EXPECT_EQ(writer.getCapabilities()[0]->getOwner(), &writer);
}

// The worker thread (without starting it) and the clock sources.
TEST_F(InterfaceTest, RuntimeInterfaces) {
    static_assert(num(VexaThreadState::RUNNING) == 2 && num(VexaThreadState::DEAD) == 3);
    static_assert(makes<VexaThread, VexaThreadActor&, const PROCESSOR_NUMBER*, void (*)()> &&
                  virtualDestructors<VexaThread, VexaThreadActor, VexaClockSource> &&
                  derives<VexaClockSource, VexaQPCClock, VexaNanoClock, VexaTSCClock>);
    expectSignature<int (VexaThreadActor::*)(int, uint32_t, const void*, int*)>(
        {&VexaThreadActor::handleRequest});
    expectSignature<int (VexaThreadActor::*)()>(
        {&VexaThreadActor::onDie, &VexaThreadActor::initialize});
    expectSignature<int (VexaThread::*)()>(
        {&VexaThread::init, &VexaThread::start, &VexaThread::kill, &VexaThread::join});
    expectSignature<int (VexaThread::*)(int, bool, bool)>({&VexaThread::signal});
    expectSignature<int (VexaThread::*)(int, size_t, const void*, bool, bool)>(
        {&VexaThread::signal});
    expectSignature<int (VexaThread::*)(int)>({&VexaThread::readResponse});
    expectSignature<int (VexaThread::*)(long)>({&VexaThread::timedJoin});
    expectSignature<bool (VexaThread::*)() const>({&VexaThread::isRunning, &VexaThread::isDead});

    EchoActor actor;
    VexaThread thread(actor, nullptr, nullptr);
    EXPECT_EQ(thread.kill(), -1);  // never started
    EXPECT_EQ(thread.init(), 0);
    EXPECT_EQ(actor.initialized, 1);
    EXPECT_EQ(thread.signal(3, false, false), 0);  // queued for a worker that is not there yet
    const int id = thread.signal(4, 0, nullptr, true, false);
    EXPECT_GT(id, 0);
    EXPECT_FALSE(thread.isRunning());
    EXPECT_FALSE(thread.isDead());
    EXPECT_EQ(thread.timedJoin(10), 0);

    expectSignature<float (VexaClockSource::*)() const>({&VexaClockSource::getFrequency});
    expectSignature<uint64_t (VexaClockSource::*)() const>({&VexaClockSource::getTimestamp});
    expectSignature<void (*)(const SystemMetadata&, std::vector<VexaClockSource*>&)>(
        {&getVexaSystemClockSources});
    expectSignature<void (*)(std::vector<VexaClockSource*>&)>({&freeVexaSystemClockSources});
    expectSignature<uint64_t (*)()>({&getVexaATimestamp});
    expectSignature<const std::string& (*)()>({&getVexaAClockUUID});
    expectSignature<bool (*)(const std::string&, const std::deque<VexaClockSync>&, VexaClockSync&)>(
        {&wasClockSynchronized});
    expectSignature<uint64_t (*)(const VexaClockSync&, uint64_t)>({&convertTimestamp});

    std::vector<VexaClockSource*> clocks;
    getVexaSystemClockSources(system, clocks);
    ASSERT_EQ(clocks.size(), 3u);
    EXPECT_EQ(clocks[0]->getName(), "QPC");
    EXPECT_EQ(clocks[1]->getUUID(), "8ad42930-517d-11e5-b970-0800200c9a66");
    EXPECT_EQ(clocks[1]->getFrequency(), 1000.0f);
    EXPECT_EQ(clocks[2]->getFrequency(), 0.0f);
    cap.env().setDefaultClock(clocks[1]);
    EXPECT_EQ(getVexaAClockUUID(), clocks[1]->getUUID());
    EXPECT_GT(getVexaATimestamp(), 0u);
    cap.env().setDefaultClock(nullptr);
    freeVexaSystemClockSources(clocks);

    // 1000 ns on a NANO clock are 10 counts of a 10 MHz performance counter.
    const VexaClockSync sync{"8ad42930-517d-11e5-b970-0800200c9a66", "NANO", 1000.0f, 5000,
                             "d3ad8390-29cc-11e6-bdf4-0800200c9a66", "QPC",  10.0f,   70};
    static_assert(is<decltype(VexaClockSync::clockUUID), std::string> &&
                  is<decltype(VexaClockSync::clockName), std::string> &&
                  is<decltype(VexaClockSync::clockFreqMHz), float> &&
                  is<decltype(VexaClockSync::clockValue), uint64_t> &&
                  is<decltype(VexaClockSync::defaultClockUUID), std::string> &&
                  is<decltype(VexaClockSync::defaultClockName), std::string> &&
                  is<decltype(VexaClockSync::defaultClockFreqMHz), float> &&
                  is<decltype(VexaClockSync::defaultClockValue), uint64_t>);
    VexaClockSync match;
    EXPECT_TRUE(wasClockSynchronized(sync.clockUUID, {sync}, match));
    EXPECT_EQ(match, sync);
    EXPECT_EQ(convertTimestamp(match, 6000), 80u);
}

// Output configuration: table settings and orders.
TEST_F(InterfaceTest, OutputConfigInterfaces) {
    static_assert(values<TableInfo>);
    expectSignature<bool (TableInfo::*)(const std::string&, const std::string&)>(
        {&TableInfo::setKeyValuePair});
    expectSignature<bool (TableInfo::*)(const std::string&) const>({&TableInfo::isKeySet});
    expectSignature<bool (TableInfo::*)() const>({&TableInfo::isEmpty, &TableInfo::isTableDisplayed,
                                                  &TableInfo::isTableTransposed,
                                                  &TableInfo::suppressTotal});
    expectSignature<bool (TableInfo::*)(std::string&) const>(
        {&TableInfo::getTableTitle, &TableInfo::getPreTableNote, &TableInfo::getPostTableNote});
    expectSignature<TableInfo::const_iterator (TableInfo::*)() const>(
        {&TableInfo::begin, &TableInfo::end});
    using Parser = WriterInterfaceConfigFileParser;
    expectSignature<Parser* (*)()>({&Parser::instance});
    expectSignature<void (*)()>({&Parser::destroy});
    expectSignature<int (Parser::*)(const std::vector<std::string>&, const SystemMetadata&)>(
        {&Parser::parse});
    expectSignature<bool (Parser::*)(TableInfo&, const std::string&, const std::string&,
                                     const std::string&) const>({&Parser::getTableInfoFor});
    expectSignature<bool (Parser::*)(std::deque<std::string>&, const std::string&) const>(
        {&Parser::getTableOrderForMetric});
    expectSignature<bool (Parser::*)(std::vector<std::string>&, const std::string&) const>(
        {&Parser::getMetricOrderForFeature});
    expectSignature<bool (Parser::*)(std::vector<std::string>&) const>(
        {&Parser::getFeatureOrder, &Parser::getAllFeaturePrefixes});

    TableInfo info;
    EXPECT_TRUE(info.isEmpty());
    EXPECT_TRUE(info.isTableDisplayed());
    EXPECT_TRUE(info.setKeyValuePair("TRANSPOSE", "yes"));
    EXPECT_FALSE(info.isTableTransposed());  // only "YES" counts
    cap.clear();
    EXPECT_FALSE(info.setKeyValuePair("TRANSPOSE", "YES"));
    EXPECT_TRUE(cap.loggedExactly(
        {"WARNING: Config table info (TRANSPOSE) entry already present for metric table\n"}));
    std::string title = "none";
    EXPECT_FALSE(info.getTableTitle(title));
    EXPECT_EQ(title, "none");

    ASSERT_EQ(parseOutputConfig(), 0);
    const Parser& parser = *Parser::instance();
    TableInfo entry;
    ASSERT_TRUE(parser.getTableInfoFor(entry, "test", "VALUE", "MIN-MAX-AVG"));
    EXPECT_TRUE(entry.isKeySet("TABLE"));
    EXPECT_TRUE(entry.isTableDisplayed());
    EXPECT_FALSE(parser.getTableInfoFor(entry, "test", "VALUE", "TOP-TEN-EVENT"));
    std::vector<std::string> prefixes;
    EXPECT_TRUE(parser.getAllFeaturePrefixes(prefixes));
    EXPECT_EQ(prefixes, (std::vector<std::string>{"ALL-THERMAL-DATA", "test"}));
}

// Platform configuration: parser queries, messages, operations, specifiers
// and the value helpers.
TEST_F(InterfaceTest, PlatformConfigInterfaces) {
    using Parser = VexaConfigFileParser;
    static_assert(std::is_copy_assignable_v<Parser>);
    expectSignature<Parser* (*)()>({&Parser::instance});
    expectSignature<void (*)()>({&Parser::destroy});
    expectSignature<int (Parser::*)(const std::vector<std::string>&,
                                    const std::vector<::CollectorPlugin*>&, const SystemMetadata&)>(
        {&Parser::parse});
    expectSignature<int (Parser::*)(std::string&, const std::pair<std::string, std::string>&)
                        const>({&Parser::getPlatformName});
    expectSignature<bool (Parser::*)(const std::string&, const std::string&) const>(
        {&Parser::isPlatformPrefixSupported});
    expectSignature<int (Parser::*)(std::vector<InputMsg*>&, const std::string&, const std::string&,
                                    const std::vector<std::string>&) const>(
        {&Parser::getMessagesFor});
    expectSignature<int (Parser::*)(std::vector<const ConfigCap*>&, const std::string&) const>(
        {&Parser::getCapabilitiesFor});

    expectSignature<int (InputMsg::*)(const std::string&)>(
        {&InputMsg::addReadTrigger, &InputMsg::addWriteTrigger});
    expectSignature<void (InputMsg::*)(const std::string&)>(
        {&InputMsg::addNotifierName, &InputMsg::addTracepointName});
    expectSignature<int (InputMsg::*)(Operation*)>({&InputMsg::addOperation});
    expectSignature<void (InputMsg::*)()>({&InputMsg::resetOperations});
    expectSignature<MsgMetadata (InputMsg::*)() const>({&InputMsg::getMetadata});
    expectSignature<int (*)(Operation*, const std::string&)>(
        {&Operation::dispatchRead, &Operation::dispatchWrite});
    expectSignature<int (*)(Operation*, const EntityHandle*)>(
        {&Operation::dispatchRead, &Operation::dispatchWrite});
    expectSignature<PluginRequirementResult (Operation::*)(const SystemMetadata&) const>(
        {&Operation::isOperationSuitableFor});
    expectSignature<int (CONSTANTOperation::*)(const std::string&, const std::string&)>(
        {&CONSTANTOperation::set});
    expectSignature<OperationMetadata (CONSTANTOperation::*)() const>(
        {&CONSTANTOperation::getOperationMetadata});
    expectSignature<SpecifierMatch (Specifier::*)(const std::string&) const>(
        {&Specifier::is_match});
    static_assert(derives<Specifier, ValueSpecifier, RangeSpecifier, FMSSpecifier, PCISpecifier,
                          PMTSpecifier>);
    expectSignature<bool (*)(const std::string&)>({&isMaskValid});
    expectSignature<uint8_t (*)(const std::string&)>({&retrieveMsbFromMask, &retrieveLsbFromMask});
    expectSignature<uint64_t (*)(uint64_t, uint8_t, uint8_t)>({&extractBitRangeValue});
    expectSignature<bool (*)(const std::string&, QFormat&)>({&retrieveQFormat});
    expectSignature<double (*)(uint64_t, const QFormat&)>({&convertToFloatPoint});

    EXPECT_TRUE(isMaskValid("300:0"));
    EXPECT_FALSE(isMaskValid("7"));
    EXPECT_EQ(retrieveMsbFromMask("15:8"), 15u);
    EXPECT_EQ(extractBitRangeValue(0xABCD, 15, 8), 0xABu);
    EXPECT_EQ(extractBitRangeValue(0xFFFFFFFFFFFFFFFFull, 63, 0), 0xFFFFFFFFFFFFFFFFull);
    CONSTANTOperation constant("FREQ");
    EXPECT_EQ(constant.set("BASE", "100"), 0);
    cap.clear();
    EXPECT_NE(constant.set("BASE", "200"), 0);
    EXPECT_TRUE(cap.loggedExactly({"ERROR: key BASE already set!\n"}));
}

// Usage text: options and their JSON.
TEST_F(InterfaceTest, UsageTextInterfaces) {
    using usage::Option;
    using usage::UsageText;
    static_assert(makes<Option, const std::string&, const std::string&, usage::TabLevel>);
    static_assert(
        makes<Option, const std::string&, const std::string&, usage::TabLevel, const std::string&>);
    static_assert(copies<Option> && std::is_copy_constructible_v<UsageText>);
    expectSignature<void (Option::*)(nlohmann::json&) const>({&Option::formatJson});
    expectSignature<void (Option::*)(const std::vector<std::string>&)>({&Option::appendValidArgs});
    expectSignature<std::string (Option::*)() const>({&Option::getFormattedDescription});
    expectSignature<const std::string& (Option::*)(Option::Attribute) const>(
        {&Option::getAttribute});
    expectSignature<void (UsageText::*)(nlohmann::json&) const>({&UsageText::formatJson});
    expectSignature<bool (*)(nlohmann::json&, const std::vector<std::string>&)>(
        {&UsageText::appendArgsJson});
    expectSignature<void (UsageText::*)(const std::string&)>({&UsageText::updatePchDeviceInfo});
    expectSignature<void (*)(const std::string&)>({&UsageText::updateTcssIpInfo});

    Option option("--time", "Collection time", usage::TabLevel::ONE, "-t");
    option.setArg("<seconds>");
    nlohmann::json json = nlohmann::json::array();
    option.formatJson(json);
    ASSERT_EQ(json.size(), 1u);
    EXPECT_EQ(json[0]["name"], "--time");
    EXPECT_EQ(json[0]["abbreviation"], "-t");
    EXPECT_EQ(json[0]["arg"], "<seconds>");
    nlohmann::json args;
    EXPECT_TRUE(UsageText::appendArgsJson(args, {"a", "b"}));
    EXPECT_EQ(args, nlohmann::json({"a", "b"}));
}

// Event tracing: sessions, providers and events (global scope).
TEST_F(InterfaceTest, EventTracingInterfaces) {
    static_assert(makes<::EtwSession, std::string, const std::string&, const std::string&,
                        const std::string&>);
    static_assert(std::is_default_constructible_v<::EtwSession> &&
                  std::is_copy_constructible_v<::EtwSession> &&
                  std::has_virtual_destructor_v<::EtwSession>);
    expectSignature<bool (::EtwSession::*)()>(
        {&::EtwSession::setEventTraceProperties, &::EtwSession::begin, &::EtwSession::flush,
         &::EtwSession::end, &::EtwSession::preparepostProcessLog, &::EtwSession::postProcessLog});
    expectSignature<bool (::EtwSession::*)(uint32_t, uint32_t, uint32_t)>(
        {&::EtwSession::setEventTraceProperties});
    expectSignature<bool (::EtwSession::*)(const EtwGuid&, uint64_t)>({&::EtwSession::addProvider});
    expectSignature<bool (::EtwSession::*)() const>({&::EtwSession::hasAnyProvider});
    expectSignature<void (*)(const std::string&)>({&::EtwSession::addMergeFile});
    expectSignature<bool (*)()>({&::EtwSession::isMergeRequired});
    expectSignature<bool (*)(const std::string&)>({&::EtwSession::mergeLogs});
    expectSignature<void (*)()>({&::EtwSession::waitForMergeComplete});
    expectSignature<bool (*)(const wchar_t*, EtwGuid*)>({&::EtwSession::getGuidForProvider});
    expectSignature<bool (::EtwProvider::*)(::EtwEvent&)>({&::EtwProvider::WriteEvent});
    expectSignature<bool (::EtwProvider::*)(const EtwEventDescriptor&, uint64_t)>(
        {&::EtwProvider::WriteIntEvent});
    expectSignature<const void* (*)(const EtwEventRecord*)>(
        {&::EtwProvider::ReadStructEvent, &::EtwProvider::ReadOrderedStructEvent});
    expectSignature<uint32_t (::EtwEvent::*)() const>({&::EtwEvent::Count, &::EtwEvent::Size});

    ::EtwEvent event(EtwEventDescriptor{});
    const uint32_t value = 7;
    event.add(&value, sizeof value);
    EXPECT_EQ(event.Count(), 1u);
    EXPECT_EQ(event.Size(), 4u);
    EXPECT_EQ(event.PackEvent().size(), 4u);
    ::EtwSession session("vantry-iface", "iface.etl", "", "interface");
    EXPECT_FALSE(session.hasAnyProvider());
    EXPECT_TRUE(session.addProvider(EtwGuid{}, 0xFF));
    EXPECT_TRUE(session.hasAnyProvider());
}

}  // namespace
}  // namespace pwr
