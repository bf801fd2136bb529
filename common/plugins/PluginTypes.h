// Small types shared by the plug-in base classes, their capabilities and
// requirements: the attribute pairs of a request, the reasons and outcomes
// of a plug-in reset, and the driver's raw message record.
//
// Plain values without state; safe to use from any thread.
#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

// A raw record as the collection driver hands it over. Its layout belongs to
// the driver interface; the library only passes pointers to it along.
struct vexa_driver_msg;

namespace pwr {

// Name/value pairs that qualify a request for a feature (taken from the
// command line or the platform configuration), in the order they were given.
// Also the form in which a plug-in reports its version details.
using AttributePairs = std::vector<std::pair<std::string, std::string>>;

// Why the host asks a plug-in to reset its collection state.
enum class ResetReason : uint8_t {
    // The host starts another collection in the same process.
    NEW_COLLECTION = 0,
    // The platform went through a reset or a sleep state during the
    // collection: counters and last-seen values are no longer comparable.
    SYSTEM_RESET = 1,
    // The collection driver was restarted or reconfigured.
    DRIVER_RESET = 2,
};

// What a plug-in made of a reset request.
enum class ResetReturnCode : int8_t {
    // The plug-in dropped its state and can go on collecting.
    SUCCESS = 0,
    // The plug-in keeps no state that a reset would touch.
    NOT_NEEDED = 1,
    // The plug-in cannot go on; the host drops it from the collection.
    FAILED = -1,
};

}  // namespace pwr
