// Whether this process runs on a system whose event tracing really traces.
// Some compatibility layers that run Windows programs elsewhere answer the
// trace-session calls with success without tracing, and abort the process on
// the provider-list call; the ETW collector must not take them at their word.
//
// Stateless; safe from any thread.
#pragma once

namespace vantry {

// False outside Windows and under such a compatibility layer.
bool systemTracesEvents();

}  // namespace vantry
