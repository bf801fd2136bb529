// Option: one command-line option of the host, or one sub-option of a
// feature, with everything the usage text and the JSON form show about it.
//
// A name that begins with "-" ("--help") is a host option; a bare name
// ("gbe-int") is a feature's sub-option, which users give after "--option".
// The normal name (the name without its leading dashes) is the option's key.
// Options are plain values: copy them freely; nothing is shared and nothing is
// locked, so one object must not be changed while another thread reads it.
//
// The JSON form is built with nlohmann-json: code that includes this header
// needs its headers on the include path (only the forward declarations are
// included here).
#pragma once

#include <cstddef>
#include <cstdint>
#include <sstream>
#include <string>
#include <vector>

#include <nlohmann/json_fwd.hpp>

#include "common/runtime/Export.h"

namespace pwr::usage {

// How many tab characters indent an option's row of usage text.
enum class TabLevel : uint8_t {
    ZERO = 0,
    ONE = 1,
    TWO = 2,
    THREE = 3,
};

class PWR_API Option {
  public:
    // The fields that getAttribute selects, in the order of their JSON keys.
    enum class Attribute : uint8_t {
        NAME,
        DESCRIPTION,
        ABBREVIATION,
        NORMAL_NAME,
        ARG,
        ARG_DEFAULT,
        ARG_UNITS,
        ARG_TYPE,
        NOTES,
        ALIAS,
    };

    Option(const std::string& name, const std::string& description, TabLevel tabLevel);
    Option(const std::string& name, const std::string& description, TabLevel tabLevel,
           const std::string& abbreviation);
    Option(const Option&) = default;
    Option(Option&&) = default;
    Option& operator=(const Option&) = default;
    Option& operator=(Option&&) = default;
    ~Option();

    // The JSON key of an attribute ("name", ..., "normal name", "arg_default",
    // ...). Every attribute has one.
    static const char* getAttributeKey(Attribute attribute);

    const std::string& getName() const { return m_name; }
    const std::string& getNormalizedName() const { return m_normalName; }
    const std::string& getAttribute(Attribute attribute) const;
    TabLevel getTabLevel() const { return m_tabLevel; }
    const std::vector<std::string>& getValidArgs() const { return m_validArgs; }
    // Whether this is a feature's sub-option (its name has no leading "-").
    bool isSubOption() const;

    // Argument fields. Each returns the option so that tables of options
    // read as one expression per option.
    Option& setArg(const std::string& placeholder);
    Option& setArgDefault(const std::string& value);
    Option& setArgUnits(const std::string& units);
    Option& setArgType(const std::string& type);
    Option& setNotes(const std::string& notes);
    Option& setAlias(const std::string& alias);
    void appendValidArgs(const std::vector<std::string>& args);
    void setValidArgs(const std::vector<std::string>& args);

    // The text of the name column, without indentation: "-l, --log <filename>",
    // "    --print-fms" (an empty short column) or, for a sub-option,
    // "--option gbe-int <interval>".
    std::string getNameColumn() const;
    // Where the name column ends when the row is printed: the indentation
    // (a tab counts eight columns) plus the name column.
    size_t getNameColumnEnd() const;

    // The description with what else a reader needs after it, as one
    // paragraph: the valid arguments after "  Valid args: ", the notes after
    // "  Note: " and the alias after "  Alias: ".
    std::string getFormattedDescription() const;

    // The option's rows of usage text, each ended by a line feed. The
    // formatted description starts at descriptionColumn and is wrapped at
    // width columns without splitting words; when width leaves too little
    // room beside the name column, the description goes below the name.
    std::string format(size_t width, size_t descriptionColumn) const;

    // Puts the option's JSON object (every attribute under its key, and the
    // valid arguments under "valid args") into out: appended when out is an
    // array, its keys set when out is an object, and out replaced by it
    // otherwise (a null value becomes the object).
    void formatJson(nlohmann::json& out) const;
    // The same object as one line of text, keys in the order of Attribute.
    std::string formatJson() const;

  protected:
    std::string formatSubOption(size_t width, size_t descriptionColumn) const;
    const std::string& getAlias() const { return m_alias; }
    // The selected name field (NAME or ABBREVIATION) as the name column shows
    // it; empty unless that field begins with "-".
    std::string getNameColumnFormat(Attribute which) const;
    std::string getTabString() const;
    // Starts a row of an option at tab level 3: writes two tab characters
    // and sets out's field width to getFieldWidth(), left-aligned, so that
    // the name column written next is padded up to where the description
    // starts. At the other tab levels it writes nothing and leaves out as it
    // is.
    void formatWhitespace(std::stringstream& out) const;
    // Pads a row from column `used` to `column` (at least two blanks).
    static void formatWhitespace(std::stringstream& out, size_t used, size_t column);
    // The name column and the two blanks that separate it from the
    // description.
    size_t getFieldWidth() const;
    // Removes the listed characters from both ends of text and collapses each
    // run of them inside it to the run's first character:
    // stripChars("--print--fms", "-") is "print-fms".
    static std::string stripChars(const std::string& text, const std::string& chars);
    // The console width that rows are wrapped to when the caller has none.
    static size_t getWindowsConsoleWidth();

  private:
    std::string format_i(const std::string& nameColumn, size_t width,
                         size_t descriptionColumn) const;

    std::string m_name;
    std::string m_description;
    TabLevel m_tabLevel;
    std::string m_abbreviation;
    std::string m_normalName;
    std::string m_arg;
    std::string m_argDefault;
    std::string m_argUnits;
    std::string m_argType;
    std::string m_notes;
    std::string m_alias;
    std::vector<std::string> m_validArgs;
};

}  // namespace pwr::usage
