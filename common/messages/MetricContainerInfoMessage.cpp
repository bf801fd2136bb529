// Defined here so that the class's vtable lives in the library (a class
// whose virtual functions are all inline would have none to import on Windows).
#include "common/messages/MetricContainerInfoMessage.h"

namespace pwr {

MessageType MetricContainerInfoMessage::getMessageType() const {
    return MessageType::METRIC_CONTAINER_INFO;
}

}  // namespace pwr
