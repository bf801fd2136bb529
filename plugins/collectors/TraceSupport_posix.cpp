#include "plugins/collectors/TraceSupport.h"

namespace vantry {

bool systemTracesEvents() {
    return false;
}

}  // namespace vantry
