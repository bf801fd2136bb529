#include "common/usage/UsageText.h"

#include <algorithm>
#include <cctype>
#include <mutex>
#include <set>
#include <sstream>
#include <utility>

#include "common/usage/ConsoleWidth.h"

namespace pwr::usage {

namespace {

constexpr size_t c_minGap = 2;

const char* const c_defaultRow = "DEFAULT";
const char* const c_pchFeature = "pch-ip-lat-limit";
const char* const c_pchOption = "lat-limit-ip";
const char* const c_tcssFeature = "tcss-pm-dbg";
const char* const c_tcssOption = "tcss-ip";

struct IpRow {
    const char* platform;
    std::vector<std::string> names;
};

// PCH IPs whose latency limits can be watched, by platform family. The first
// row serves every platform without a row of its own.
const std::vector<IpRow>& pchRows() {
    static const std::vector<IpRow> rows = {
        {c_defaultRow, {"SPA", "SPB", "SPC"}},
        {"TGL",
         {"SPA", "SPB", "SPC", "SPD", "SPE", "XHCI", "XDCI", "SATA", "GBE", "HDA", "ISH", "EMMC"}},
        {"ADL",
         {"SPA", "SPB", "SPC", "SPD", "SPE", "XHCI", "XDCI", "SATA", "GBE", "HDA", "ISH", "THC0",
          "THC1"}},
        {"RPL",
         {"SPA", "SPB", "SPC", "SPD", "SPE", "XHCI", "XDCI", "SATA", "GBE", "HDA", "ISH", "THC0",
          "THC1"}},
        {"MTL",
         {"SPA", "SPB", "SPC", "SPD", "XHCI", "XDCI", "GBE", "HDA", "ISH", "THC0", "THC1", "UFS"}},
    };
    return rows;
}

// IPs of the Type-C subsystem, by platform family; the first row as above.
const std::vector<IpRow>& tcssRows() {
    static const std::vector<IpRow> rows = {
        {c_defaultRow, {"PCIE0", "PCIE1", "TBT0"}},
        {"TGL", {"PCIE0", "PCIE1", "PCIE2", "PCIE3", "TBT0", "TBT1", "XHCI", "XDCI"}},
        {"ADL", {"PCIE0", "PCIE1", "PCIE2", "PCIE3", "TBT0", "TBT1", "XHCI", "XDCI"}},
        {"RPL", {"PCIE0", "PCIE1", "PCIE2", "PCIE3", "TBT0", "TBT1", "XHCI", "XDCI"}},
        {"MTL", {"PCIE0", "PCIE1", "PCIE2", "PCIE3", "TBT0", "TBT1", "TBT2", "XHCI", "XDCI"}},
        {"ARL", {"PCIE0", "PCIE1", "PCIE2", "PCIE3", "TBT0", "TBT1", "TBT2", "XHCI", "XDCI"}},
        {"LNL", {"PCIE0", "PCIE1", "PCIE2", "TBT0", "TBT1", "TBT2", "XHCI", "XDCI"}},
    };
    return rows;
}

bool equalsIgnoreCase(const std::string& text, size_t length, const char* key) {
    for (size_t i = 0; i < length; ++i) {
        if (key[i] == '\0' || std::toupper(static_cast<unsigned char>(text[i])) !=
                                  std::toupper(static_cast<unsigned char>(key[i]))) {
            return false;
        }
    }
    return key[length] == '\0';
}

// A row's key names a platform family: it matches the platform name itself
// and the family's variants ("MTL-P", "mtl_m"), not "MTLX".
bool rowMatches(const char* key, const std::string& platform) {
    const size_t keyLength = std::char_traits<char>::length(key);
    if (platform.size() < keyLength || !equalsIgnoreCase(platform, keyLength, key)) {
        return false;
    }
    return platform.size() == keyLength ||
           !std::isalnum(static_cast<unsigned char>(platform[keyLength]));
}

const std::vector<std::string>& findRow(const std::vector<IpRow>& rows,
                                        const std::string& platform) {
    for (const IpRow& row : rows) {
        if (rowMatches(row.platform, platform)) {
            return row.names;
        }
    }
    return rows.front().names;
}

// The TCSS IP row is one for the process (UsageText::updateTcssIpInfo), so
// the UsageTexts that show it are known here. Never destroyed: a UsageText
// with static storage may outlive any static of this file.
struct TcssState {
    std::mutex mutex;
    std::set<UsageText*> texts;
    std::vector<std::string> names;
};

TcssState& tcssState() {
    static TcssState& state = *new TcssState{{}, {}, findRow(tcssRows(), c_defaultRow)};
    return state;
}

// The column where the descriptions of these options start: two blanks past
// the longest name column.
size_t descriptionColumn(const std::vector<const Option*>& options) {
    size_t column = 0;
    for (const Option* option : options) {
        column = std::max(column, option->getNameColumnEnd() + c_minGap);
    }
    return column;
}

}  // namespace

UsageText::UsageText(const std::string& programName) : m_programName(programName) {
    addHostOptions_i();
    addFeatureOptions_i();
    register_i();
}

UsageText::UsageText(const UsageText& other)
    : m_programName(other.m_programName),
      m_groups(other.m_groups),
      m_featureOptions(other.m_featureOptions) {
    register_i();
}

UsageText::UsageText(UsageText&& other)
    : m_programName(std::move(other.m_programName)),
      m_groups(std::move(other.m_groups)),
      m_featureOptions(std::move(other.m_featureOptions)) {
    register_i();
}

UsageText::~UsageText() {
    TcssState& state = tcssState();
    std::lock_guard<std::mutex> lock(state.mutex);
    state.texts.erase(this);
}

void UsageText::register_i() {
    TcssState& state = tcssState();
    std::lock_guard<std::mutex> lock(state.mutex);
    if (Option* option = findFeatureOption(c_tcssFeature, c_tcssOption)) {
        option->setValidArgs(state.names);
    }
    state.texts.insert(this);
}

void UsageText::addHostOptions_i() {
    const TabLevel level = TabLevel::ONE;
    m_groups.push_back(
        {"General Options",
         {
             Option("--help", "Display text describing options and usage", level, "-h"),
             Option("--version", "Display tool version info", level, "-v"),
             Option("--log", "Save console output to the specified file", level, "-l")
                 .setArg("<filename>"),
             Option("--print-fms", "Display CPU ID as Family.Model.Stepping", level),
         }});
    m_groups.push_back(
        {"Post-processing Options",
         {
             Option("--no-post-processing",
                    "Do not automatically summarize data and do not generate any reports at the "
                    "end of collection.  Use options --input and --result to generate reports "
                    "from the intermediate files at a later time.",
                    level),
             Option("--input",
                    "Specify the collection name (with full path) of an existing collection to "
                    "generate reports",
                    level, "-i")
                 .setArg("<collection-name>"),
             Option("--output", "Specify output collection name [default \"VantryOutput\"]", level,
                    "-o")
                 .setArg("<collection-name>"),
             Option("--result", "Specify output file format from list below", level, "-r")
                 .setArg("<format>")
                 .setArgType("file format")
                 .setArgDefault("sum"),
         }});
    m_groups.push_back(
        {"Collection Options",
         {
             Option("--feature",
                    "Specify data to collect using Individual Feature or Feature Group name "
                    "listed below",
                    level, "-f")
                 .setArg("<feature>"),
             Option("--max-detail", "Collect over-time data for every feature specified", level,
                    "-m"),
             Option("--interval", "Change minimum time between collection points [default 100 ms]",
                    level, "-n")
                 .setArg("<milliseconds>")
                 .setArgDefault("100")
                 .setArgUnits("milliseconds"),
             Option("--output", "Specify output file name prefix [default \"VantryOutput\"]", level,
                    "-o")
                 .setArg("<filename>")
                 .setArgDefault("VantryOutput"),
             Option("--program",
                    "Specify executable to be started prior to collection, all characters "
                    "following executable name are given it as arguments",
                    level, "-p")
                 .setArg("<executable>")
                 .setArgType("executable"),
             Option("--startdelay", "Time to wait before starting collection", level, "-s")
                 .setArg("<seconds>")
                 .setArgType("time")
                 .setArgUnits("seconds"),
             Option("--time", "Collection duration (if omitted will collect until Ctrl-C entered)",
                    level, "-t")
                 .setArg("<seconds>")
                 .setArgType("time")
                 .setArgUnits("seconds"),
             Option("--auto-connected-standby",
                    "Automatically enter Connected Standby for the duration of the collection",
                    level, "-z"),
             Option("--program-delay",
                    "Time to wait before starting a program specified by \"-p\" option", level)
                 .setArg("<seconds>")
                 .setArgType("time")
                 .setArgUnits("seconds"),
             Option("--polling",
                    "Collect data at timed intervals rather than context switch points", level),
         }});
}

void UsageText::addFeatureOptions_i() {
    const TabLevel level = TabLevel::TWO;
    addFeatureOption(
        "pcie-lpm",
        Option("gbe-int",
               "Wait time (milliseconds) between collecting GbE counters. [default 1000]", level)
            .setArg("<interval>")
            .setArgType("time")
            .setArgUnits("milliseconds")
            .setArgDefault("1000")
            .setNotes("interval values < default may reduce entry to low power states."));
    addFeatureOption("pch-ip-active",
                     Option("pch-lvl", "Specify additional groups of PCH IPs [default 1]", level)
                         .setArg("<arg, arg, ...>")
                         .setArgType("level")
                         .setArgDefault("1"));
    addFeatureOption("pch-ip-active",
                     Option("pch-int",
                            "Wait time (milliseconds) between collecting PCH activity counters. "
                            "[default 5000]",
                            level)
                         .setArg("<interval>")
                         .setArgType("time")
                         .setArgUnits("milliseconds")
                         .setArgDefault("5000"));
    Option latLimit =
        Option(c_pchOption, "Specify three PCH IPs to monitor [default SPA, SPB, SPC]", level)
            .setArg("<arg, arg, arg>")
            .setArgDefault("SPA, SPB, SPC");
    latLimit.setValidArgs(getPchDeviceNames(c_defaultRow));
    addFeatureOption(c_pchFeature, latLimit);
    addFeatureOption("acpi-dstate",
                     Option("no-device-filter", "Display all devices (turn off filtering)", level));
    // Its valid arguments are those of the process's TCSS row (register_i).
    addFeatureOption(c_tcssFeature, Option(c_tcssOption,
                                           "Specify three IPs to monitor [default PCIE0, PCIE1, "
                                           "TBT0]",
                                           level)
                                        .setArg("<arg, arg, arg>")
                                        .setArgDefault("PCIE0, PCIE1, TBT0"));
}

Option* UsageText::findOption(const std::string& groupTitle, const std::string& name) {
    for (OptionGroup& group : m_groups) {
        if (group.title != groupTitle) {
            continue;
        }
        for (Option& option : group.options) {
            if (option.getName() == name ||
                option.getAttribute(Option::Attribute::ABBREVIATION) == name) {
                return &option;
            }
        }
    }
    return nullptr;
}

void UsageText::addFeatureOption(const std::string& feature, const Option& option) {
    m_featureOptions[feature].push_back(option);
}

Option* UsageText::findFeatureOption(const std::string& feature, const std::string& name) {
    const auto found = m_featureOptions.find(feature);
    if (found == m_featureOptions.end()) {
        return nullptr;
    }
    for (Option& option : found->second) {
        if (option.getNormalizedName() == name) {
            return &option;
        }
    }
    return nullptr;
}

std::vector<std::string> UsageText::getPchDeviceNames(const std::string& platform) {
    return findRow(pchRows(), platform);
}

std::vector<std::string> UsageText::getTcssIpNames(const std::string& platform) {
    return findRow(tcssRows(), platform);
}

void UsageText::updatePchDeviceInfo(const std::string& platform) {
    if (Option* option = findFeatureOption(c_pchFeature, c_pchOption)) {
        option->setValidArgs(getPchDeviceNames(platform));
    }
}

void UsageText::updateTcssIpInfo(const std::string& platform) {
    TcssState& state = tcssState();
    std::lock_guard<std::mutex> lock(state.mutex);
    state.names = getTcssIpNames(platform);
    for (UsageText* text : state.texts) {
        if (Option* option = text->findFeatureOption(c_tcssFeature, c_tcssOption)) {
            option->setValidArgs(state.names);
        }
    }
}

std::string UsageText::formatText(size_t width) const {
    if (width == 0) {
        width = getConsoleWidth();
    }
    std::vector<const Option*> hostOptions;
    for (const OptionGroup& group : m_groups) {
        for (const Option& option : group.options) {
            hostOptions.push_back(&option);
        }
    }
    std::vector<const Option*> subOptions;
    for (const auto& feature : m_featureOptions) {
        for (const Option& option : feature.second) {
            subOptions.push_back(&option);
        }
    }

    std::ostringstream out;
    out << "Usage: " << m_programName << " [options]\n";
    const size_t hostColumn = descriptionColumn(hostOptions);
    for (const OptionGroup& group : m_groups) {
        out << '\n' << group.title << ":\n";
        for (const Option& option : group.options) {
            out << option.format(width, hostColumn);
        }
    }
    if (!m_featureOptions.empty()) {
        const size_t subColumn = descriptionColumn(subOptions);
        out << "\nIndividual Feature Options:\n";
        for (const auto& feature : m_featureOptions) {
            out << '\t' << feature.first << '\n';
            for (const Option& option : feature.second) {
                out << option.format(width, subColumn);
            }
        }
    }
    return out.str();
}

}  // namespace pwr::usage
