// A first look at the library: set up logging, initialise the registry,
// build a small entity tree and print what it holds.
//
//   SYSTEM
//   `-- CPU
//       `-- Package 0
//           |-- Core 0
//           `-- Core 1
#include <cstdio>
#include <string>

#include "common/data/EntityHandle.h"
#include "common/data/Quantity.h"
#include "common/runtime/Log.h"

namespace {

void printTree(const pwr::EntityHandle* entity, int depth) {
    std::printf("%*s%-12s id %-3llu qualified name \"%s\"\n", depth * 2, "",
                entity->getName().c_str(), static_cast<unsigned long long>(entity->getId()),
                entity->getQualifiedName().c_str());
    for (const pwr::EntityHandle* child : entity->getChildren()) {
        printTree(child, depth + 1);
    }
}

}  // namespace

int main() {
    // Warnings and errors go to standard error; ask for everything up to DEBUG.
    pwr::StreamLogger console(stderr);
    pwr::LogContext& log = pwr::logContext();
    log.setErrorLogger(&console);
    log.setDebugLogger(&console);
    log.setVerbosity(PW_DEBUG);

    pwr::UniqueId::initialize();

    const pwr::EntityHandle* system = pwr::EntityHandle::create("SYSTEM", nullptr);
    const pwr::EntityHandle* cpu = pwr::EntityHandle::create("CPU", system);
    const pwr::EntityHandle* package = pwr::EntityHandle::create("Package 0", cpu);
    pwr::EntityHandle::create("Core 0", package);
    pwr::EntityHandle::create("Core 1", package);

    std::printf("Entity tree:\n");
    printTree(system, 1);

    std::printf("\nBuilt-in quantities:\n");
    const pwr::Quantity* builtins[] = {
        pwr::Quantity::frequency(),  pwr::Quantity::time(),       pwr::Quantity::bandwidth(),
        pwr::Quantity::data(),       pwr::Quantity::power(),      pwr::Quantity::energy(),
        pwr::Quantity::throughput(), pwr::Quantity::operations(), pwr::Quantity::temperature(),
        pwr::Quantity::voltage(),    pwr::Quantity::current(),
    };
    for (const pwr::Quantity* q : builtins) {
        std::string title;
        q->toTitleString(title);
        std::printf("  %-24s id %llu\n", title.c_str(),
                    static_cast<unsigned long long>(q->getId()));
    }

    pwr::UniqueId::destroy();
    return 0;
}
