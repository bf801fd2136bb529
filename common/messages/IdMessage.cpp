// Defined here so that the class's vtable lives in the library (a class
// whose virtual functions are all inline would have none to import on Windows).
#include "common/messages/IdMessage.h"

namespace pwr {

MessageType IdMessage::getMessageType() const {
    return MessageType::ID;
}

}  // namespace pwr
