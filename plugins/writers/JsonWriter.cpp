#include "plugins/writers/JsonWriter.h"

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <exception>

#include <nlohmann/json.hpp>

#include "common/messages/SystemMessage.h"
#include "common/plugins/WriterPluginCapability.h"
#include "common/runtime/Log.h"
#include "common/serialize/SystemMetadata.h"

namespace vantry::writers {

using Json = nlohmann::ordered_json;

struct JsonWriter::Document {
    Json system;  // null until a system record arrives
    Json tables = Json::array();
};

namespace {

// The float's shortest decimal form as a double: 2.4f is written 2.4, not
// 2.4000000953674316, which is what widening the float would print.
Json floatNumber(float value) {
    if (!std::isfinite(value)) {
        return Json();
    }
    char text[32];
    for (int digits = 1; digits <= 9; ++digits) {
        std::snprintf(text, sizeof text, "%.*g", digits, static_cast<double>(value));
        const double parsed = std::strtod(text, nullptr);
        if (static_cast<float>(parsed) == value) {
            return parsed;
        }
    }
    return static_cast<double>(value);
}

std::string versionText(uint32_t packed) {
    return std::to_string(packed >> 16) + "." + std::to_string((packed >> 8) & 0xFF) + "." +
           std::to_string(packed & 0xFF);
}

Json cellValue(const GridCell& cell) {
    if (!cell.isNumeric()) {
        return Json();
    }
    const pwr::Data& v = cell.value;
    switch (v.getType()) {
        case pwr::DataType::INT: {
            int64_t i = 0;
            v.toInt(i);
            return i;
        }
        case pwr::DataType::UINT: {
            uint64_t u = 0;
            v.toUInt(u);
            return u;
        }
        case pwr::DataType::REAL: {
            double d = 0.0;
            v.toReal(d);
            return std::isfinite(d) ? Json(d) : Json();
        }
        case pwr::DataType::INT_RANGE: {
            std::pair<int64_t, int64_t> r;
            v.toIntRange(r);
            return Json::array({r.first, r.second});
        }
        case pwr::DataType::UINT_RANGE: {
            std::pair<uint64_t, uint64_t> r;
            v.toUIntRange(r);
            return Json::array({r.first, r.second});
        }
        case pwr::DataType::REAL_RANGE: {
            std::pair<double, double> r;
            v.toRealRange(r);
            return Json::array({std::isfinite(r.first) ? Json(r.first) : Json(),
                                std::isfinite(r.second) ? Json(r.second) : Json()});
        }
        default:
            return Json();
    }
}

Json textArray(const std::vector<std::string>& texts) {
    Json out = Json::array();
    for (const std::string& t : texts) {
        out.push_back(t);
    }
    return out;
}

Json tableJson(const TableGrid& grid) {
    Json rows = Json::array();
    Json values = Json::array();
    for (const auto& row : grid.rows) {
        Json texts = Json::array();
        Json numbers = Json::array();
        for (const GridCell& cell : row) {
            texts.push_back(cell.text);
            numbers.push_back(cellValue(cell));
        }
        rows.push_back(std::move(texts));
        values.push_back(std::move(numbers));
    }
    Json table;
    table["title"] = grid.title;
    table["type"] = TableGrid::typeKeyword(grid.type);
    table["transposed"] = grid.transposeRequested;
    table["preTableText"] = textArray(grid.preNotes);
    table["postTableText"] = textArray(grid.postNotes);
    table["columns"] = textArray(grid.columns);
    table["rows"] = std::move(rows);
    table["values"] = std::move(values);
    return table;
}

Json systemObject(const pwr::SystemMetadata& sys) {
    Json s;
    s["appVersion"] =
        sys.nonNumericVersion.empty() ? versionText(sys.appVersion) : sys.nonNumericVersion;
    s["exeBuildDate"] = sys.exeBuildDate;
    s["buildRef"] = sys.buildRef;
    s["driverVersion"] = versionText(sys.driverVersion);
    s["driverBuildDate"] = sys.driverBuildDate;
    s["scuVersion"] = sys.scuVersion;
    s["hostName"] = sys.hostName;
    s["osName"] = sys.osName;
    s["osType"] = sys.osType;
    s["osVersion"] = sys.osVersion;
    s["platformName"] = sys.platformName;
    s["packageType"] = sys.packageType;
    s["cpuCodeName"] = sys.getFormattedCPUCodeName();
    s["fms"] = {
        {"family", sys.fms.family}, {"model", sys.fms.model}, {"stepping", sys.fms.stepping}};
    s["platformId"] = sys.platformId;
    s["edramCap"] = sys.edramCap;
    s["igfxId"] = sys.igfxId;
    const pwr::TopTree& topology = sys.getCPUTopology();
    s["topology"] = {{"packages", topology.getNumPackages()},
                     {"modules", topology.getNumModules()},
                     {"cores", topology.getNumCores()},
                     {"logicalProcessors", topology.getNumThreads()}};
    s["busFreqMHz"] = floatNumber(sys.busFreqMHz);
    s["clockFreqMHz"] = floatNumber(sys.clockFreqMHz);
    s["lfmFreqMHz"] = floatNumber(sys.lfmFreqMHz);
    s["hfmFreqMHz"] = floatNumber(sys.hfmFreqMHz);
    s["cpuFreqMHz"] = floatNumber(sys.cpuFreqMHz);
    s["programStartTime"] = sys.getProgramStartTime();
    s["collectionStartTime"] = sys.getCollectionStartTime();
    s["collectionDurationSec"] = sys.getCollectionDurationSec();
    s["startTsc"] = sys.startTsc;
    s["stopTsc"] = sys.stopTsc;
    s["startTimeval"] = sys.startTimeval;
    s["stopTimeval"] = sys.stopTimeval;
    s["programStartTimeval"] = sys.programStartTimeval;
    s["programStopTimeval"] = sys.programStopTimeval;
    s["pollingIntervalMsecs"] = sys.pollingIntervalMsecs;
    s["continuousCollectionQuantum"] = sys.continuousCollectionQuantum;
    s["maxDetail"] = sys.maxDetail;
    s["commandLine"] = textArray(sys.commandLine);
    s["producedSamples"] = sys.producedSamples;
    s["droppedSamples"] = sys.droppedSamples;
    s["lowOverheadMode"] = sys.lowOverheadMode;
    s["hyperVEnabled"] = sys.hyperVEnabled;
    s["vsmEnabled"] = sys.vsmEnabled;
    s["hvciEnabled"] = sys.hvciEnabled;
    s["vtioEnabled"] = sys.vtioEnabled;
    Json specifiers = Json::array();
    for (const auto& p : sys.platformSpecifiers) {
        specifiers.push_back({{"name", p.first}, {"value", p.second}});
    }
    s["platformSpecifiers"] = std::move(specifiers);
    Json changes = Json::array();
    for (const pwr::TopologyChange& c : sys.topologyChanges) {
        changes.push_back({{"timestamp", c.getTimestamp()},
                           {"action", c.getActionName()},
                           {"logicalProcessor", c.getLogicalProcessorID()},
                           {"core", c.getCoreID()},
                           {"module", c.getModuleID()},
                           {"package", c.getPackageID()}});
    }
    s["topologyChanges"] = std::move(changes);
    Json syncs = Json::array();
    for (const pwr::VexaClockSync& c : sys.clockSyncs) {
        syncs.push_back({{"clockUUID", c.clockUUID},
                         {"clockName", c.clockName},
                         {"clockFreqMHz", floatNumber(c.clockFreqMHz)},
                         {"clockValue", c.clockValue},
                         {"defaultClockUUID", c.defaultClockUUID},
                         {"defaultClockName", c.defaultClockName},
                         {"defaultClockFreqMHz", floatNumber(c.defaultClockFreqMHz)},
                         {"defaultClockValue", c.defaultClockValue}});
    }
    s["clockSyncs"] = std::move(syncs);
    Json sids = Json::object();
    for (const auto& e : sys.sidToUuid) {
        sids[std::to_string(e.first)] = e.second;
    }
    s["sidToUuid"] = std::move(sids);
    return s;
}

std::string dump(const Json& json) {
    // Bad UTF-8 in a name must not cost the whole document.
    return json.dump(-1, ' ', false, Json::error_handler_t::replace);
}

// Whether a value goes on one line: scalars, empty objects and arrays of
// such values (a row of cells, a range, a list of names).
bool isInline(const Json& json) {
    if (json.is_object()) {
        return json.empty();
    }
    if (json.is_array()) {
        for (const Json& element : json) {
            if (!isInline(element)) {
                return false;
            }
        }
    }
    return true;
}

void printInline(const Json& json, std::string& out) {
    if (!json.is_array()) {
        out += dump(json);
        return;
    }
    out += '[';
    for (size_t i = 0; i < json.size(); ++i) {
        if (i != 0) {
            out += ", ";
        }
        printInline(json[i], out);
    }
    out += ']';
}

// Indented by two blanks per level like the usual pretty print, except that
// arrays of plain values stay on one line, and a table's rows and values have
// one line per row: a table of a thousand cells then reads as rows, not as a
// column of a thousand lines.
void print(const Json& json, size_t indent, std::string& out, bool linePerElement = false) {
    if (json.empty() || (!linePerElement && isInline(json))) {
        printInline(json, out);
        return;
    }
    const std::string pad(indent + 2, ' ');
    const bool object = json.is_object();
    out += object ? "{\n" : "[\n";
    bool first = true;
    for (auto it = json.begin(); it != json.end(); ++it) {
        out += first ? "" : ",\n";
        first = false;
        out += pad;
        bool rows = false;
        if (object) {
            out += dump(Json(it.key())) + ": ";
            rows = it.key() == "rows" || it.key() == "values";
        }
        print(it.value(), indent + 2, out, rows);
    }
    out += '\n';
    out.append(indent, ' ');
    out += object ? '}' : ']';
}

std::string pretty(const Json& json) {
    std::string out;
    print(json, 0, out);
    return out;
}

}  // namespace

JsonWriter::JsonWriter()
    : TableWriterBase("JSON writer", "7d3c2a10-5b1e-4c6f-9a2d-0e8b4f1c6a04", true),
      m_file(".json"),
      m_document(std::make_unique<Document>()) {
    addCapability(new pwr::WriterPluginCapability(
        "json", "All summary tables and the system record as one JSON document, <output>.json",
        ".json", {pwr::TableClass::GENERIC, pwr::TableClass::SUMMARY}, true));
}

JsonWriter::~JsonWriter() {
    JsonWriter::cleanup();
}

std::string JsonWriter::systemJson(const pwr::SystemMetadata& sys) {
    return pretty(systemObject(sys));
}

int JsonWriter::writeMessage(const pwr::SystemMessage& msg) {
    flushPendingTable_i();
    if (msg.getSystemMetadata() == nullptr || !m_file.open()) {
        return 0;
    }
    try {
        m_document->system = systemObject(*msg.getSystemMetadata());
    } catch (const std::exception&) {
        return 1;
    }
    return 0;
}

void JsonWriter::emitTable_i(const TableGrid& grid) {
    if (!m_file.open()) {
        return;
    }
    try {
        m_document->tables.push_back(tableJson(grid));
    } catch (const std::exception&) {
        // Nothing may leave a plug-in; a table that cannot be built is left out.
    }
}

std::vector<std::string> JsonWriter::renderRows_i(const TableGrid& grid) const {
    std::vector<std::string> out;
    for (const auto& row : tableJson(grid)["rows"]) {
        std::string line;
        printInline(row, line);
        out.push_back(line);
    }
    return out;
}

void JsonWriter::finish_i() {
    if (!m_file.isOpen()) {
        return;
    }
    try {
        Json document;
        document["system"] = std::move(m_document->system);
        document["tables"] = std::move(m_document->tables);
        m_file.write(pretty(document) + "\n");
    } catch (const std::exception&) {
        pwr::pwLog(PW_ERROR, "ERROR: Cannot write result file %s: the document cannot be built\n",
                   m_file.getName().c_str());
        return;
    }
    m_file.commit();
}

void JsonWriter::flushFiles_i() {
    // The document is written whole at the end.
}

}  // namespace vantry::writers
