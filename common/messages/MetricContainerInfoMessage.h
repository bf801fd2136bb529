// MetricContainerInfoMessage: follows the summary tables of a metric
// container and tells writers how to present the container: its header and
// tag, its notes, the table that describes its rows, and which timeline
// table to show. Pointed-to notes and tables are owned by the container.
#pragma once

#include <cstdint>
#include <string>

#include "common/messages/WriterMessage.h"
#include "common/runtime/Export.h"

namespace pwr {

class TableMessage;
class TextNotes;

// The timeline table a writer should show for a container. Only residency
// containers select one.
enum class TimelineTableType : uint8_t {
    NONE = 0,       // no timeline table
    RESIDENCY = 1,  // residency per state over time
    STATE = 2,      // the state in effect over time
};

class PWR_API MetricContainerInfoMessage : public WriterMessage {
  public:
    MessageType getMessageType() const override;

    int setContainerHeader(const std::string& header) {
        m_containerHeader = header;
        return 0;
    }
    const std::string& getContainerHeader() const { return m_containerHeader; }
    int setMetricContainerTag(const std::string& tag) {
        m_containerTag = tag;
        return 0;
    }
    const std::string& getMetricContainerTag() const { return m_containerTag; }
    int setTextInfo(const TextNotes* notes) {
        m_notes = notes;
        return 0;
    }
    const TextNotes* getTextInfo() const { return m_notes; }
    int addStaticTableRowInfo(const TableMessage* table) {
        m_staticRowInfo = table;
        return 0;
    }
    const TableMessage* getStaticTableRowInfo() const { return m_staticRowInfo; }
    int setTimelineTableToDisplay(TimelineTableType type) {
        m_timeline = type;
        return 0;
    }
    TimelineTableType getTimelineTableToDisplay() const { return m_timeline; }

  private:
    std::string m_containerHeader;
    std::string m_containerTag;
    const TextNotes* m_notes = nullptr;
    const TableMessage* m_staticRowInfo = nullptr;
    TimelineTableType m_timeline = TimelineTableType::NONE;
};

}  // namespace pwr
