// Fuzz target: the platform configuration parser, VexaConfigFileParser::parse,
// on one file holding the input, followed by the host's queries for the
// platforms, prefixes and models that the input names. The parser
// is a singleton: each input gets a fresh one (destroy() in between).
//
// Two collectors serve the operation kinds that configuration files use, one
// of them with categories (so that unknown categories are refused) and one
// that accepts any key. Checks, besides the sanitizers: queries answer the
// same twice in a row; a refused file leaves nothing to query.
#include <cstdio>
#include <memory>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "common/config/ConfigLineReader.h"
#include "common/config/InputMsg.h"
#include "common/config/Operation.h"
#include "common/config/VexaConfigFileParser.h"
#include "common/plugins/CollectorPlugin.h"
#include "common/plugins/ConfigCap.h"
#include "common/serialize/SystemMetadata.h"
#include "fuzz/FuzzSupport.h"

namespace {

// Relative: the replay also runs under Wine, which takes no Unix paths.
const char* const c_path = "platform_config_fuzz.cfg";

class FuzzCollector : public CollectorPlugin {
  public:
    explicit FuzzCollector(const std::string& name) : CollectorPlugin(name) {}
    pwr::ResetReturnCode reset(pwr::ResetReason, uint64_t, const pwr::SystemMetadata&) override {
        return pwr::ResetReturnCode::SUCCESS;
    }
    int getContinuousResult(pwr::VexaBuffer&, CollectionData&) override { return 0; }

    void serve(const std::string& kind, std::initializer_list<const char*> categories) {
        m_prototypes.emplace_back(new pwr::Operation(kind, kind));
        for (const char* category : categories) {
            m_prototypes.back()->addCategory(category);
        }
        addOperation(m_prototypes.back().get());
    }

  private:
    std::vector<std::unique_ptr<pwr::Operation>> m_prototypes;
};

struct Names {
    std::set<std::string> platforms{"ALL"};
    std::set<std::string> prefixes;
    std::set<std::pair<std::string, std::string>> models;  // type, value
};

// The names the input's own lines use, a few of each.
Names namesIn(const std::string& text) {
    Names names;
    size_t start = 0;
    while (start < text.size() && names.platforms.size() + names.prefixes.size() < 16) {
        size_t end = text.find('\n', start);
        if (end == std::string::npos) {
            end = text.size();
        }
        std::string line = text.substr(start, end - start);
        start = end + 1;
        pwr::stripConfigLine(line);
        std::vector<std::string> tokens;
        if (!pwr::tokenizeConfigLine(line, tokens)) {
            continue;
        }
        names.platforms.insert(tokens[0].substr(0, tokens[0].find('-')));
        if (tokens[1] == "MODEL") {
            names.models.emplace(tokens[2], tokens[5]);
        } else {
            names.prefixes.insert(tokens[1]);
        }
    }
    return names;
}

// Everything the parser answers for these names, as text.
std::string answers(const pwr::VexaConfigFileParser& parser, const Names& names) {
    std::string out;
    std::vector<std::string> platformLists(names.platforms.begin(), names.platforms.end());
    std::string typed;
    for (const auto& model : names.models) {
        std::string name;
        out += std::to_string(parser.getPlatformName(name, model)) + name + ";";
        typed += (typed.empty() ? "" : ",") + model.first + "=" + name;
    }
    platformLists.push_back(typed);
    for (const std::string& platform : platformLists) {
        std::vector<const pwr::ConfigCap*> caps;
        out += std::to_string(parser.getCapabilitiesFor(caps, platform)) + ":" +
               std::to_string(caps.size()) + ";";
        for (const std::string& prefix : names.prefixes) {
            out += parser.isPlatformPrefixSupported(platform, prefix) ? "+" : "-";
            std::vector<pwr::InputMsg*> messages;
            out += std::to_string(parser.getMessagesFor(messages, platform, prefix, {})) + ":";
            std::vector<std::string> some;
            for (const pwr::InputMsg* msg : messages) {
                out += msg->getPlatformName() + "/" + msg->getFullName() + "/" +
                       std::to_string(msg->getOperationCount()) + ",";
                if (some.size() < 2) {
                    some.push_back(msg->getName());
                }
            }
            messages.clear();
            out += std::to_string(parser.getMessagesFor(messages, platform, prefix, some)) + ":" +
                   std::to_string(messages.size()) + ";";
        }
    }
    return out;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    pwr::fuzz::quietLogging();
    static FuzzCollector* hw = nullptr;
    static FuzzCollector* any = nullptr;
    if (hw == nullptr) {
        hw = new FuzzCollector("hw");
        hw->serve("MSR", {"ADDRESS", "MASK", "DATA-FORMAT"});
        hw->serve("MMIO", {"BAR", "OFFSET"});
        hw->serve("PCI", {"BUS", "DEVICE", "FUNCTION", "OFFSET"});
        any = new FuzzCollector("any");
        any->serve("CONSTANT", {});
        any->serve("PMT", {});
        any->serve("ETW", {});
    }
    FUZZ_CHECK(pwr::fuzz::writeFile(c_path, data, size));
    pwr::SystemMetadata sys;
    sys.fms = {6, 0x9A, 3};
    sys.platformName = "ADL-P";

    pwr::VexaConfigFileParser* parser = pwr::VexaConfigFileParser::instance();
    const int rc = parser->parse({c_path}, {hw, any}, sys);
    const Names names = namesIn(std::string(reinterpret_cast<const char*>(data), size));
    const std::string first = answers(*parser, names);
    FUZZ_CHECK(answers(*parser, names) == first);
    if (rc != 0) {
        std::vector<const pwr::ConfigCap*> caps;
        parser->getCapabilitiesFor(caps, "ALL");
        FUZZ_CHECK(caps.empty());
    }
    pwr::VexaConfigFileParser::destroy();
    std::remove(c_path);
    return 0;
}
