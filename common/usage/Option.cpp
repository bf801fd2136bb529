#include "common/usage/Option.h"

#include <algorithm>
#include <ios>

#include "common/usage/ConsoleWidth.h"

namespace pwr::usage {

namespace {

// Columns that one leading tab takes on a console.
constexpr size_t c_tabWidth = 8;
// "-h, ": an abbreviation, its comma and a blank.
constexpr size_t c_shortColumnWidth = 4;
// Fewer columns than this beside the name and the description goes below it.
constexpr size_t c_minDescriptionWidth = 30;
// How far a description below its name is indented past the name.
constexpr size_t c_hangingIndent = 8;
constexpr size_t c_minGap = 2;

// By Attribute: the order of the enumerators is the order of the keys.
const char* const c_attributeKeys[] = {
    "name",        "description", "abbreviation", "normal name", "arg",
    "arg_default", "arg_units",   "arg_type",     "notes",       "alias",
};
constexpr size_t c_attributeCount = sizeof(c_attributeKeys) / sizeof(c_attributeKeys[0]);

// One word of a paragraph with the blanks that preceded it. A bracketed
// group ("[default 100 ms]") is kept together as one word while it fits on a
// line; its parts are words of their own otherwise.
struct Word {
    std::string space;
    std::string text;
    std::vector<Word> parts;
};

std::vector<Word> splitWords(const std::string& text) {
    std::vector<Word> words;
    size_t pos = 0;
    while (pos < text.size()) {
        const size_t start = text.find_first_not_of(" \t\n", pos);
        if (start == std::string::npos) {
            break;
        }
        size_t end = text.find_first_of(" \t\n", start);
        if (end == std::string::npos) {
            end = text.size();
        }
        // Within a line, the blanks between words stay as written (two after
        // a full stop); tabs and line feeds would break the alignment.
        words.push_back({std::string(start - pos, ' '), text.substr(start, end - start), {}});
        pos = end;
    }
    return words;
}

std::vector<Word> groupBrackets(std::vector<Word> words) {
    std::vector<Word> out;
    for (size_t i = 0; i < words.size(); ++i) {
        const std::string& text = words[i].text;
        size_t close = i;
        if (text[0] == '[' && text.back() != ']') {
            while (close + 1 < words.size() && words[close].text.back() != ']') {
                ++close;
            }
        }
        if (close == i || words[close].text.back() != ']') {
            out.push_back(std::move(words[i]));
            continue;
        }
        Word group{words[i].space, std::string(), {}};
        for (size_t j = i; j <= close; ++j) {
            if (j > i) {
                group.text += words[j].space;
            }
            group.text += words[j].text;
            group.parts.push_back(std::move(words[j]));
        }
        out.push_back(std::move(group));
        i = close;
    }
    return out;
}

void addWord(std::vector<std::string>& lines, std::string& line, const Word& word, size_t width) {
    if (word.text.size() > width && !word.parts.empty()) {
        for (const Word& part : word.parts) {
            addWord(lines, line, part, width);
        }
        return;
    }
    if (line.empty()) {
        line = word.text;
    } else if (line.size() + word.space.size() + word.text.size() <= width) {
        line += word.space;
        line += word.text;
    } else {
        lines.push_back(line);
        line = word.text;
    }
}

// Breaks text into lines of at most width characters. A word longer than a
// line gets a line of its own rather than being cut.
std::vector<std::string> wrap(const std::string& text, size_t width) {
    std::vector<std::string> lines;
    std::string line;
    for (const Word& word : groupBrackets(splitWords(text))) {
        addWord(lines, line, word, width);
    }
    if (!line.empty() || lines.empty()) {
        lines.push_back(line);
    }
    return lines;
}

std::string join(const std::vector<std::string>& items, const char* separator) {
    std::string out;
    for (const std::string& item : items) {
        if (!out.empty()) {
            out += separator;
        }
        out += item;
    }
    return out;
}

}  // namespace

Option::Option(const std::string& name, const std::string& description, TabLevel tabLevel)
    : Option(name, description, tabLevel, std::string()) {}

Option::Option(const std::string& name, const std::string& description, TabLevel tabLevel,
               const std::string& abbreviation)
    : m_name(name),
      m_description(description),
      m_tabLevel(tabLevel),
      m_abbreviation(abbreviation),
      m_normalName(stripChars(name, "-")) {}

Option::~Option() = default;

const char* Option::getAttributeKey(Attribute attribute) {
    const auto index = static_cast<size_t>(attribute);
    if (index >= c_attributeCount) {
        return "";
    }
    return c_attributeKeys[index];
}

const std::string& Option::getAttribute(Attribute attribute) const {
    switch (attribute) {
        case Attribute::NAME:
            return m_name;
        case Attribute::DESCRIPTION:
            return m_description;
        case Attribute::ABBREVIATION:
            return m_abbreviation;
        case Attribute::NORMAL_NAME:
            return m_normalName;
        case Attribute::ARG:
            return m_arg;
        case Attribute::ARG_DEFAULT:
            return m_argDefault;
        case Attribute::ARG_UNITS:
            return m_argUnits;
        case Attribute::ARG_TYPE:
            return m_argType;
        case Attribute::NOTES:
            return m_notes;
        case Attribute::ALIAS:
            return m_alias;
    }
    return m_name;
}

bool Option::isSubOption() const {
    return m_name.empty() || m_name[0] != '-';
}

Option& Option::setArg(const std::string& placeholder) {
    m_arg = placeholder;
    return *this;
}

Option& Option::setArgDefault(const std::string& value) {
    m_argDefault = value;
    return *this;
}

Option& Option::setArgUnits(const std::string& units) {
    m_argUnits = units;
    return *this;
}

Option& Option::setArgType(const std::string& type) {
    m_argType = type;
    return *this;
}

Option& Option::setNotes(const std::string& notes) {
    m_notes = notes;
    return *this;
}

Option& Option::setAlias(const std::string& alias) {
    m_alias = alias;
    return *this;
}

void Option::appendValidArgs(const std::vector<std::string>& args) {
    m_validArgs.insert(m_validArgs.end(), args.begin(), args.end());
}

void Option::setValidArgs(const std::vector<std::string>& args) {
    m_validArgs = args;
}

std::string Option::getTabString() const {
    return std::string(static_cast<size_t>(m_tabLevel), '\t');
}

std::string Option::getNameColumnFormat(Attribute which) const {
    const std::string& text = getAttribute(which);
    if (text.empty() || text[0] != '-') {
        return std::string();
    }
    if (which == Attribute::ABBREVIATION) {
        return text + ", ";
    }
    return text;
}

std::string Option::getNameColumn() const {
    std::string column;
    if (isSubOption()) {
        column = "--option " + m_name;
    } else {
        // The short column keeps its width when empty so that the long names
        // line up.
        column = getNameColumnFormat(Attribute::ABBREVIATION);
        column.resize(std::max(column.size(), c_shortColumnWidth), ' ');
        column += getNameColumnFormat(Attribute::NAME);
    }
    if (!m_arg.empty()) {
        column += ' ';
        column += m_arg;
    }
    return column;
}

size_t Option::getNameColumnEnd() const {
    return static_cast<size_t>(m_tabLevel) * c_tabWidth + getNameColumn().size();
}

std::string Option::getFormattedDescription() const {
    std::string text = m_description;
    const auto append = [&text](const char* label, const std::string& value) {
        if (value.empty()) {
            return;
        }
        if (!text.empty()) {
            text += "  ";
        }
        text += label;
        text += value;
    };
    append("Valid args: ", join(m_validArgs, ", "));
    append("Note: ", m_notes);
    append("Alias: ", m_alias);
    return text;
}

void Option::formatWhitespace(std::stringstream& out) const {
    if (m_tabLevel != TabLevel::THREE) {
        return;
    }
    out << "\t\t";
    out.setf(std::ios_base::left, std::ios_base::adjustfield);
    out.width(static_cast<std::streamsize>(getFieldWidth()));
}

size_t Option::getFieldWidth() const {
    return getNameColumn().size() + c_minGap;
}

void Option::formatWhitespace(std::stringstream& out, size_t used, size_t column) {
    const size_t blanks = column > used + c_minGap ? column - used : c_minGap;
    out << std::string(blanks, ' ');
}

std::string Option::stripChars(const std::string& text, const std::string& chars) {
    const size_t first = text.find_first_not_of(chars);
    if (first == std::string::npos) {
        return std::string();
    }
    const size_t last = text.find_last_not_of(chars);
    std::string out;
    out.reserve(last - first + 1);
    bool inRun = false;
    for (size_t i = first; i <= last; ++i) {
        const bool listed = chars.find(text[i]) != std::string::npos;
        if (!listed || !inRun) {
            out += text[i];
        }
        inRun = listed;
    }
    return out;
}

size_t Option::getWindowsConsoleWidth() {
    return getConsoleWidth();
}

std::string Option::format(size_t width, size_t descriptionColumn) const {
    if (isSubOption()) {
        return formatSubOption(width, descriptionColumn);
    }
    return format_i(getNameColumn(), width, descriptionColumn);
}

std::string Option::formatSubOption(size_t width, size_t descriptionColumn) const {
    return format_i(getNameColumn(), width, descriptionColumn);
}

std::string Option::format_i(const std::string& nameColumn, size_t width,
                             size_t descriptionColumn) const {
    if (width == 0) {
        width = getWindowsConsoleWidth();
    }
    const std::string tabs = getTabString();
    const size_t indent = tabs.size() * c_tabWidth;
    const size_t nameEnd = indent + nameColumn.size();
    size_t column = std::max(descriptionColumn, nameEnd + c_minGap);
    // Too narrow to sit beside the name: hang the description below it.
    const bool below = width < column + c_minDescriptionWidth + 1;
    if (below) {
        column = indent + c_hangingIndent;
    }
    // Rows keep clear of the last column: a console that wraps by itself
    // there would add an empty line after a full row.
    const size_t textWidth = width > column + 1 ? width - column - 1 : 1;
    const std::string description = getFormattedDescription();

    std::stringstream out;
    out << tabs << nameColumn;
    if (description.empty()) {
        out << '\n';
        return out.str();
    }
    const std::string continuation = tabs + std::string(column - indent, ' ');
    bool first = true;
    for (const std::string& line : wrap(description, textWidth)) {
        if (first && !below) {
            formatWhitespace(out, nameEnd, column);
        } else {
            out << '\n' << continuation;
        }
        out << line;
        first = false;
    }
    out << '\n';
    return out.str();
}

}  // namespace pwr::usage
