// The event readers of EtwProvider on the system's EVENT_RECORD: the payload
// is all they look at, so the record is reduced to it and read as every
// other record is.
#include "common/etw/EtwProvider.h"

#include <windows.h>
#include <evntcons.h>

namespace {

EtwEventRecord payloadOf(const EVENT_RECORD& record) {
    EtwEventRecord out;
    out.userData = record.UserData;
    out.userDataLength = record.UserDataLength;
    return out;
}

}  // namespace

const void* EtwProvider::ReadStructEvent(const _EVENT_RECORD* record) {
    if (record == nullptr) {
        return nullptr;
    }
    const EtwEventRecord payload = payloadOf(*record);
    return ReadStructEvent(&payload);
}

const void* EtwProvider::ReadOrderedStructEvent(const _EVENT_RECORD* record) {
    if (record == nullptr) {
        return nullptr;
    }
    const EtwEventRecord payload = payloadOf(*record);
    return ReadOrderedStructEvent(&payload);
}
