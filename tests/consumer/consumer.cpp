// Uses the installed headers and library: registry, quantities, entities.
#include <cstdio>
#include <string>

#include "common/data/EntityHandle.h"
#include "common/data/Quantity.h"

int main() {
    pwr::UniqueId::initialize();
    const pwr::EntityHandle* system = pwr::EntityHandle::create("SYSTEM", nullptr);
    const pwr::EntityHandle* cpu = pwr::EntityHandle::create("CPU", system);
    std::string title;
    pwr::Quantity::power()->toTitleString(title);
    std::printf("%s %s\n", cpu->getQualifiedName().c_str(), title.c_str());
    bool ok = cpu->getQualifiedName() == "CPU" && title == "Power (mW)";
    pwr::UniqueId::destroy();
    return ok ? 0 : 1;
}
