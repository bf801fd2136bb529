// Name tables behind the hardware header of SystemMetadata: processor code
// names and hybrid core names by family and model, the platform-family model
// lists, and the PCH, IO-extender, PMT and PCI device names of the platforms
// the tool knows. Internal to the library (not exported); the tables are
// constant, so every function may be called from any thread.
//
// Look-ups answer null (or an empty list) for anything not in a table; the
// callers turn that into "N/A".
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace pwr::names {

// Processor family whose model numbers the tables hold.
constexpr uint8_t c_family6 = 6;

// "Alder Lake-S", "Tiger Lake-U", ... for a family 6 model.
const char* cpuCodeName(uint8_t family, uint8_t model);

// The three-letter microarchitecture of a hybrid processor's core, from the
// native model id that CPUID leaf 0x1A reports (core type in bits 31..24).
const char* nativeModelName(uint8_t family, uint8_t model, uint32_t nativeModelId);

// The IO extender tile of processors that have one.
const char* ioeName(uint8_t family, uint8_t model);

// The first PCH whose abbreviation ("ADP", "TGP", ...) occurs in the
// platform name.
const char* pchName(const std::string& platformName);

// Devices of a platform, by the abbreviation its name starts with ("MTL" for
// "MTL-P"). Empty for an unknown platform.
std::vector<std::string> pmtDeviceNames(const std::string& platformName);
std::vector<std::string> pciDeviceNames(const std::string& platformName);

// Platform families by family 6 model.
bool isClientModel(uint8_t family, uint8_t model);
bool isServerModel(uint8_t family, uint8_t model);
bool isAtomModel(uint8_t family, uint8_t model);
bool isHybridModel(uint8_t family, uint8_t model);

}  // namespace pwr::names
