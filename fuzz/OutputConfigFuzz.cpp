// Fuzz target: the output configuration parser,
// WriterInterfaceConfigFileParser::parse, on one file holding the input,
// followed by the queries of metric containers and writers for the features,
// containers and table types that the input names. The parser is a
// singleton: each input gets a fresh one (destroy() in between).
//
// Checks, besides the sanitizers: a refused file leaves nothing behind (it is
// read whole or not at all), and every table setting answers as its keys say
// ("YES" exactly, a missing TABLE key shows the table).
#include <cstdio>
#include <deque>
#include <set>
#include <string>
#include <vector>

#include "common/config/ConfigLineReader.h"
#include "common/config/TableInfo.h"
#include "common/config/WriterInterfaceConfigFileParser.h"
#include "common/serialize/SystemMetadata.h"
#include "fuzz/FuzzSupport.h"

namespace {

const char* const c_path = "output_config_fuzz.cfg";

struct Names {
    std::set<std::string> features;
    std::set<std::string> containers;
    std::set<std::string> tableTypes;
};

Names namesIn(const std::string& text) {
    Names names;
    size_t start = 0;
    while (start < text.size() && names.features.size() < 8 && names.containers.size() < 8) {
        size_t end = text.find('\n', start);
        if (end == std::string::npos) {
            end = text.size();
        }
        std::string line = text.substr(start, end - start);
        start = end + 1;
        pwr::stripConfigLine(line);
        std::vector<std::string> tokens;
        if (pwr::tokenizeConfigLine(line, tokens)) {
            names.features.insert(tokens[1]);
            names.containers.insert(tokens[2]);
            names.tableTypes.insert(tokens[3]);
        }
    }
    return names;
}

bool valueIs(const pwr::TableInfo& info, const char* key, const char* expected) {
    std::string value;
    return info.getValue(key, value) && value == expected;
}

void checkTableInfo(const pwr::TableInfo& info) {
    FUZZ_CHECK(info.isTableDisplayed() ==
               (!info.isKeySet("TABLE") || valueIs(info, "TABLE", "YES")));
    FUZZ_CHECK(info.isTableTransposed() == valueIs(info, "TRANSPOSE", "YES"));
    FUZZ_CHECK(info.suppressTotal() == valueIs(info, "SUPPRESS-TOTAL", "YES"));
    std::string text = "untouched";
    FUZZ_CHECK(info.getTableTitle(text) == info.isKeySet("TITLE"));
    FUZZ_CHECK(info.isKeySet("TITLE") || text == "untouched");
    info.getPreTableNote(text);
    info.getPostTableNote(text);
    size_t entries = 0;
    for (auto it = info.begin(); it != info.end(); ++it) {
        ++entries;
    }
    FUZZ_CHECK((entries == 0) == info.isEmpty());
    pwr::TableInfo copy(info);
    FUZZ_CHECK(!copy.setKeyValuePair("TABLE", "NO") || !info.isKeySet("TABLE"));
}

// Runs every query; returns how many found something.
size_t query(const pwr::WriterInterfaceConfigFileParser& parser, const Names& names) {
    size_t found = 0;
    std::vector<std::string> list;
    found += parser.getFeatureOrder(list);
    found += parser.getAllFeaturePrefixes(list);
    for (const std::string& feature : names.features) {
        found += parser.getMetricOrderForFeature(list, feature);
        for (const std::string& container : names.containers) {
            std::deque<std::string> tables;
            found += parser.getTableOrderForMetric(tables, feature + "_" + container);
            for (const std::string& type : names.tableTypes) {
                pwr::TableInfo info;
                if (parser.getTableInfoFor(info, feature, container, type)) {
                    ++found;
                    checkTableInfo(info);
                }
            }
        }
    }
    return found;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    pwr::fuzz::quietLogging();
    FUZZ_CHECK(pwr::fuzz::writeFile(c_path, data, size));
    pwr::SystemMetadata sys;
    sys.platformName = "ADL-P";
    pwr::WriterInterfaceConfigFileParser* parser = pwr::WriterInterfaceConfigFileParser::instance();
    const int rc = parser->parse({c_path}, sys);
    const size_t found =
        query(*parser, namesIn(std::string(reinterpret_cast<const char*>(data), size)));
    FUZZ_CHECK(rc == 0 || found == 0);
    pwr::WriterInterfaceConfigFileParser::destroy();
    std::remove(c_path);
    return 0;
}
