// WriterInterfaceConfigFileParser: reads the output configuration files,
// which say how result tables are presented and in which order they are
// written, and answers the metric containers and writers that ask.
//
// Every line has the shape HEAD_FEATURE_CONTAINER_TABLETYPE_KEY=VALUE:
//
//   ALL_OUTPUT-ORDER_TAG_FEATURE_ORDER=feat1,feat2     order of the features
//   ALL_<feature>_TAG_TABLE_ORDER=cont1,cont2           order of a feature's
//                                                       metric containers
//   ALL_<feature>_<container>_<table type>_<key>=value  one table setting
//
// The keys of a table setting are TABLE, TITLE, TRANSPOSE, PRE-TABLE-TEXT,
// POST-TABLE-TEXT, STATES, ATTRIBUTES and SUPPRESS-TOTAL (see TableInfo).
// HEAD is "ALL", which applies on every platform, or a platform name, which
// applies when the collection's platform name is that name or starts with it
// followed by a character other than a letter or digit ("ADL" applies to
// "ADL-P", "ADL-P" does not apply to "ADL-PS"). Every line is checked
// whatever its head, so a mistake in another platform's lines is still
// found. Order lists are comma-separated; blanks around a name and empty
// items are ignored, and a name listed again is kept at its first place.
// Lines that repeat an order add their new names at the end.
//
// A file is read whole or not at all: at its first bad line the parser names
// the line and the file on standard error and forgets everything the file
// had set; parse then fails. A table setting given twice keeps its first
// value and only warns.
//
// One process-wide instance, created by instance() and freed by destroy().
// It is filled on one thread at start-up and only read afterwards; the const
// queries take no locks.
#pragma once

#include <deque>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "common/config/TableInfo.h"
#include "common/runtime/Export.h"

namespace pwr {

class SystemMetadata;
struct ConfigLine;

class PWR_API WriterInterfaceConfigFileParser {
  public:
    // The parser of this process, created on first use.
    static WriterInterfaceConfigFileParser* instance();
    // Frees the parser and everything it read; instance() makes a new one.
    static void destroy();
    // Whether the parser exists (instance() was called and destroy() was
    // not), without creating it. Metric containers need it to exist.
    static bool exists();

    WriterInterfaceConfigFileParser(const WriterInterfaceConfigFileParser&) = delete;
    WriterInterfaceConfigFileParser& operator=(const WriterInterfaceConfigFileParser&) = delete;

    // Replaces what an earlier call read with the lines of these files that
    // apply to the platform of sys. Returns 0, or -1 when a file could not be
    // read or holds a bad line (the other files are still read).
    int parse(const std::vector<std::string>& paths, const SystemMetadata& sys);

    // The settings of one table. False, with out untouched, when the files
    // set nothing for it.
    bool getTableInfoFor(TableInfo& out, const std::string& featurePrefix,
                         const std::string& metricContainer, const std::string& tableType) const;
    // The table types configured for a metric container, in the order of
    // their first line. The name is "<feature>_<container>", as a container
    // of a feature is named in the files.
    bool getTableOrderForMetric(std::deque<std::string>& out, const std::string& name) const;
    // The metric containers of a feature in their requested order.
    bool getMetricOrderForFeature(std::vector<std::string>& out,
                                  const std::string& featureTag) const;
    // The features in their requested order.
    bool getFeatureOrder(std::vector<std::string>& out) const;
    // Every feature prefix that a table setting or a container order named,
    // sorted.
    bool getAllFeaturePrefixes(std::vector<std::string>& out) const;

    // The list getters above return false, with out untouched, when they
    // have nothing to give.

  private:
    // Everything read so far; copied before each file so that a bad file
    // can be taken back.
    // Names in their first-listed order, each once.
    struct OrderList {
        std::vector<std::string> names;
        std::set<std::string> seen;
        void add(const std::string& name);
    };
    struct State {
        // "<feature>_<container>" -> table type -> settings.
        std::map<std::string, std::map<std::string, TableInfo>> tables;
        // "<feature>_<container>" -> table types in order of appearance.
        std::map<std::string, std::deque<std::string>> tableOrder;
        OrderList featureOrder;
        std::map<std::string, OrderList> metricOrder;
        std::set<std::string> featurePrefixes;
        std::set<std::string> featuresWithTables;
    };

    WriterInterfaceConfigFileParser();
    ~WriterInterfaceConfigFileParser();
    void destroy_i();

    int parseFile_i(const std::string& path);
    bool parseLine_i(const ConfigLine& line);
    void checkConsistency_i() const;
    void dump_i() const;

    // The rules of the grammar, one per part of a line. Each reads the
    // tokens of the current line; a failing rule logs its own name.
    bool callRule_i(bool (WriterInterfaceConfigFileParser::*rule)(), const char* name);
    bool platformRule();
    bool platformSub();
    bool platformHead();
    bool platformTail();
    bool featureOrderRule();
    bool featureOrderValue();
    bool prefixRule();
    bool metricRule();
    bool metricOrderRule();
    bool metricOrderValue();
    bool tagSub();

    static WriterInterfaceConfigFileParser* s_instance;

    State m_state;
    std::string m_platformName;
    // The cursor of the current line.
    std::vector<std::string> m_tokens;
    bool m_lineApplies;
    std::string m_prefix;
    std::string m_key;
};

}  // namespace pwr
