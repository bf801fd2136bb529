// WriterPlugin: a plug-in that writes what the collection produced (tables,
// texts, id announcements, the system record, metric containers) to an
// output: a console, a CSV or JSON file. The writer stream hands every
// message to every writer through the writeMessage overload of the
// message's class; a writer overrides the ones it renders, the others accept
// the message and do nothing.
//
// When the writer stream is destroyed it calls cleanup() on each writer, so
// that a writer can flush and close its output while the messages it
// received and the registry's objects still exist; the destructor may come
// much later, when the host unloads the module.
//
// Ownership: messages are borrowed for the duration of the call.
// Threads: the writer stream calls writers from one thread at a time.
#pragma once

#include <deque>
#include <string>

#include "common/plugins/Plugin.h"
#include "common/runtime/Export.h"

namespace pwr {
class DataHandle;
class EntityHandle;
class IdMessage;
class Metric;
class MetricContainerInfoMessage;
class SystemMessage;
class SystemMetadata;
class TableMessage;
class TextMessage;
}  // namespace pwr

class PWR_API WriterPlugin : public Plugin {
  public:
    explicit WriterPlugin(const std::string& name, const std::string& uuid = std::string());
    ~WriterPlugin() override;

    // One overload per message class; 0 when the message was handled. The
    // defaults ignore the message and return 0. Header texts arrive through
    // the TextMessage overload.
    virtual int writeMessage(const pwr::MetricContainerInfoMessage& msg);
    virtual int writeMessage(const pwr::Metric& metric);
    virtual int writeMessage(const pwr::IdMessage& msg);
    virtual int writeMessage(const pwr::SystemMessage& msg);
    virtual int writeMessage(const pwr::TextMessage& msg);
    virtual int writeMessage(const pwr::TableMessage& msg);
    // Writes what a continuous collection produced so far. 0 on success.
    virtual int flushContinuousResults(const pwr::SystemMetadata& sys) = 0;

  protected:
    // As the base: writers register WriterPluginCapability objects here.
    void addCapability(pwr::PluginCapability* cap) override;

  public:
    // Called once by the writer stream when it is destroyed: flush and close
    // the output. The default does nothing.
    virtual void cleanup();
    // The column titles and the values of the rows of table, as the writer
    // renders them, appended to out. 0 on success.
    virtual int getColumnTitles(const pwr::TableMessage& table,
                                std::deque<std::string>& out) const = 0;
    virtual int getRowValues(const pwr::TableMessage& table,
                             std::deque<std::string>& out) const = 0;

    // The name a flat output gives the cell (entity, handle) of table: the
    // handle's name, below the entity's qualified name for a per-entity
    // column ("Package0/Core1/C6"). Empty when handle is null or not a
    // column of table.
    static std::string getFieldNameFromHandle(const pwr::TableMessage& table,
                                              const pwr::EntityHandle* entity,
                                              const pwr::DataHandle* handle);
    // The cell rendered with its formatter; empty when it is not set or the
    // table has no such cell (the table then logs why).
    static std::string getFieldValueFromHandle(const pwr::TableMessage& table,
                                               const pwr::EntityHandle* entity,
                                               const pwr::DataHandle* handle);
};
