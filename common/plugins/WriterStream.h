// WriterStream: hands every message for the writers to every writer plug-in.
//
// The host builds one stream from its set of writer plug-ins (ordered by
// pointer value, which is the delivery order) and gives it to the plug-in
// environment, which makes it the process's writer stream: new registered
// objects are then announced through it as id messages, and text messages
// deliver through it. A table message is reset once every writer has seen it,
// so the producer can refill the same table. The stream never stops at a
// failing writer. Destroying the stream lets every writer clean up.
//
// The plug-in set is owned by the host and must outlive the stream.
// Not thread-safe: the host serialises pushes.
#pragma once

#include <set>
#include <string>

#include "common/data/IdAnnouncer.h"
#include "common/messages/TableMessage.h"
#include "common/messages/WriterMessage.h"
#include "common/runtime/Export.h"

class WriterPlugin;

namespace pwr {
class Metric;
}

class PWR_API WriterStream : public pwr::MessageSink, public pwr::IdAnnouncer {
  public:
    using PluginSet = std::set<WriterPlugin*>;

    // plugins may be null (a stream without writers); the supported table
    // classes are those the writers' capabilities declare.
    explicit WriterStream(const PluginSet* plugins);
    WriterStream(const WriterStream&) = delete;
    WriterStream& operator=(const WriterStream&) = delete;
    ~WriterStream() override;

    // Every writer gets msg, in set order; a table is reset afterwards.
    // -1 without writers; 1 for a table-typed message that is no table.
    int pushMessage(pwr::WriterMessage& msg) override;
    // Every writer gets the metric; 1 when it is null, there are no writers
    // or a writer refused it.
    int pushMessage(const pwr::Metric* metric);
    // A new text message through the environment's writer stream (which
    // need not be this one). Throws std::runtime_error("ERROR: Writer stream
    // is not initialized") when the environment has none.
    int pushTextMessage(const std::string& text);

    bool isSupportedTableClass(pwr::TableClass tableClass) const;

    // The registry announces each new object as an id message.
    void announce(const pwr::UniqueId& object) override;

  private:
    void pushMessageToPlugin_i(pwr::WriterMessage& msg, WriterPlugin* plugin);

    const PluginSet* m_plugins;
    std::set<pwr::TableClass> m_supportedTables;
};
