// VexaConfigFileParser: reads the platform configuration files once at
// start-up and answers the host's questions about them: which platform this
// is, which capabilities (feature switches) it offers, and which input
// messages a capability prefix yields.
//
// Every line has the shape HEAD_A_B_C_D=VALUE (see ConfigLineReader.h):
//
//   NAME[-PARENT]_MODEL_<type>_CONSTANT_VALUE=<value>   how the platform is
//   NAME_MODEL_<type>_CONSTANT_RANGE=<first>-<last>     recognised (Specifier.h)
//   NAME_<prefix>_CAPABILITY_<key>_VALUE=<text>         COMMAND-LINE,
//                                                       HELP-STRING, GROUP, HIDDEN
//   NAME_<prefix>_INHERIT_MODE_VALUE=OVERRIDE|EXTEND    how the prefix's messages
//                                                       combine with the parent's
//   NAME_<prefix>_<tag>_MSG_<key>=<value>               GROUP, ID, READ-WHEN,
//                                                       READ-WHEN-MAX-DETAIL,
//                                                       READ-WHICH-CPU, the same
//                                                       for WRITE, SOURCE
//   NAME_<prefix>_<tag>_CONSTANT_<key>=<value>          a constant of the message
//   NAME_<prefix>_<tag>_<mechanism>_<category>=<value>  a packet entry of the
//                                                       operation of that kind
//
// A platform without a parent part has the parent "ALL", the root, which
// always exists. A parent may be named before it is defined; a parent that
// no file defines fails the checks after parsing. Triggers are a comma list
// of INIT, BEGIN, POLL, END, FINI, REQUIREMENTS, NOTIFIER:<name> and
// TRACEPOINT:<name>. A GROUP lists messages of the same platform and prefix,
// declared on earlier lines, whose operations join this message's. SOURCE
// names a message ("<tag>" of the same prefix, or "<prefix>_<tag>") of the
// platform or its ancestors, declared on earlier lines, whose operations
// are copied into this still empty message.
//
// The operations are made from the prototypes of the collector plug-ins
// given to parse (see Operation.h), which are kept in a registry by
// operation string. After all files are read, operations whose requirements
// the system does not meet are dropped, groups are joined, and messages left
// without operations are dropped.
//
// A bad line refuses the whole parse: the parser names the line, its number
// and its file on standard error, the rules that failed log their names, and
// parse returns non-zero with everything that was read forgotten.
//
// Platform strings given to the queries are a platform name, or a comma
// list of <TYPE>=<NAME> entries (as getPlatformName finds them per type).
//
// One process-wide instance: instance() creates it, destroy() frees it and
// everything it built. It is filled on one thread at start-up and only read
// afterwards; the queries take no locks. Messages and capabilities handed
// out stay owned by the parser.
#pragma once

#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "common/config/InputMsg.h"
#include "common/config/Operation.h"
#include "common/plugins/ConfigCap.h"
#include "common/runtime/Export.h"

class CollectorPlugin;

namespace pwr {

class SystemMetadata;
struct ConfigLine;

// The collectors by the operation strings they serve.
class PWR_API CollectorRegistry {
  public:
    // Registers the prototypes each collector supports, in order. When a
    // later collector serves an operation string already registered, it
    // takes over only when its prototype suits sys.
    void build(const std::vector<::CollectorPlugin*>& collectors, const SystemMetadata& sys);
    void clear() { m_entries.clear(); }
    // Null when no collector serves the operation string.
    ::CollectorPlugin* findCollector(const std::string& operation) const;
    const Operation* findPrototype(const std::string& operation) const;

  private:
    struct Entry {
        ::CollectorPlugin* collector;
        const Operation* prototype;
    };
    std::map<std::string, Entry> m_entries;
};

class PWR_API VexaConfigFileParser {
  public:
    // The parser of this process, created on first use.
    static VexaConfigFileParser* instance();
    // Frees the parser and everything it built.
    static void destroy();
    // The collectors of the parser of this process; null when there is no
    // parser.
    static const CollectorRegistry* getCollectorRegistry();

    VexaConfigFileParser(const VexaConfigFileParser&) = delete;
    // Replaces what this parser read with a deep copy of what other read:
    // platforms, specifiers, capabilities, messages and their operations.
    // The messages and capabilities this parser handed out before are freed;
    // self-assignment changes nothing. Collectors are borrowed by both.
    VexaConfigFileParser& operator=(const VexaConfigFileParser& other);

    // Reads every file (a bad file does not stop the others from being
    // checked), then binds the operations for sys. 0, or -1 after printing
    // "config file parser sanity checks did NOT pass -- config files are
    // invalid!" on standard error. A second parse without destroy() is
    // refused with "ERROR initializing parser".
    int parse(const std::vector<std::string>& paths,
              const std::vector<::CollectorPlugin*>& collectors, const SystemMetadata& sys);

    // The platform with a specifier of specifier.first that matches the
    // value specifier.second: the first exact match, else the first partial
    // one, in the order the platforms were defined. 0 when one matched.
    int getPlatformName(std::string& name,
                        const std::pair<std::string, std::string>& specifier) const;
    // Whether the platforms yield at least one message for the prefix.
    bool isPlatformPrefixSupported(const std::string& platform, const std::string& prefix) const;
    // Appends the messages of the prefix, from the platforms and their
    // ancestors (root first; a child's message replaces a parent's of the
    // same name; an OVERRIDE level hides its ancestors). When names is not
    // empty, only messages whose name or full name it lists. 0, or -1 with
    // out untouched.
    int getMessagesFor(std::vector<InputMsg*>& out, const std::string& platform,
                       const std::string& prefix, const std::vector<std::string>& names) const;
    // Appends the capabilities whose prefix yields messages on the
    // platforms, by prefix; a child's capability replaces its parent's. 0, or
    // -1 with out untouched.
    int getCapabilitiesFor(std::vector<const ConfigCap*>& out, const std::string& platform) const;

  private:
    struct Platform;
    struct PrefixEntry;
    struct MsgEntry;

    VexaConfigFileParser();
    ~VexaConfigFileParser();
    void destroy_i();
    void reset_i();

    int parseFile_i(const std::string& path);
    int parseLine_i(const ConfigLine& line);
    int bind_i(const SystemMetadata& sys);
    int checkParents_i() const;
    int joinGroups_i();
    void dropEmptyMessages_i();

    // Helpers of the rules and the queries.
    int fail_i(const char* rule) const;
    const std::string& token_i(size_t index) const { return m_tokens[index]; }
    Platform* findPlatform_i(const std::string& name) const;
    int setParent_i(Platform& platform, const std::string& parent);
    PrefixEntry& prefixEntry_i();
    MsgEntry* findMessage_i(const Platform& platform, const std::string& prefix,
                            const std::string& name) const;
    const ConfigCap* findCap_i(const Platform* platform, const std::string& prefix) const;
    int getPlatformList_i(const std::string& text, std::vector<const Platform*>& out,
                          bool log) const;
    bool collectMessages_i(const Platform* platform, const std::string& prefix,
                           std::vector<InputMsg*>& out, bool log) const;
    int addOperationFor_i(const std::string& kind, Operation*& op);

    // The rules of the grammar. Each reads the tokens of the current line,
    // returns 0 or -1, and logs its own name when it fails.
    int platformRule();
    int platformSub();
    int platformHead();
    int platformTail();
    int modelRule();
    int modelFMSRule();
    int modelPCIRule();
    int modelPMTRule();
    int modelOtherRule();
    int modelSpec();
    int modelValue();
    int modelRange();
    int modelRangeSub();
    int fmsValues();
    int fmsValue(const std::string& part, int& out);
    int pciValue();
    int PMTValue();
    int prefixRule();
    int metricRule();
    int tag();
    int tagSub();
    int capRule();
    int capSub();
    int capSubCmdline();
    int capSubHelp();
    int capSubGroup();
    int capSubHidden();
    int capValue();
    int inheritRule();
    int inheritSub();
    int inheritMode();
    int inheritValue();
    int msgSub();
    int msgGroup();
    int msgGroupList();
    int name(const std::string& text);
    int msgID();
    int msgIDValue();
    int msgReadWhen();
    int msgReadWhenMaxDetail();
    int msgReadWhere();
    int msgWriteWhen();
    int msgWriteWhenMaxDetail();
    int msgWriteWhere();
    int msgSource();
    int msgSourceRule();
    int triggers(VexaOpCommand command, bool maxDetail);
    int trigger(VexaOpCommand command, bool maxDetail, const std::string& text);
    int notifierTrigger(VexaOpCommand command, bool maxDetail, const std::string& text);
    int traceTrigger(VexaOpCommand command, bool maxDetail, const std::string& text);
    int constantSub();
    int constantAny();
    int constantAnyValue();
    int hwMechRule();
    int hwCatRule();
    int directValue();
    int value();

    static VexaConfigFileParser* s_instance;

    CollectorRegistry m_registry;
    // Platforms by name, and in the order they were defined ("ALL" first).
    std::map<std::string, std::unique_ptr<Platform>> m_platforms;
    std::vector<Platform*> m_platformOrder;
    // Parents named before they were defined, with their waiting children.
    std::map<std::string, std::vector<std::string>> m_orphans;
    bool m_parsed;

    // The cursor of the current line.
    std::vector<std::string> m_tokens;
    std::string m_headName;
    std::string m_headParent;
    Platform* m_platform;
    std::string m_modelType;
    std::string m_prefix;
    MsgEntry* m_msg;
    Operation* m_op;
};

}  // namespace pwr
