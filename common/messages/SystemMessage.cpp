// Defined here so that the class's vtable lives in the library (a class
// whose virtual functions are all inline would have none to import on Windows).
#include "common/messages/SystemMessage.h"

namespace pwr {

MessageType SystemMessage::getMessageType() const {
    return MessageType::SYSTEM;
}

}  // namespace pwr
