#include "common/serialize/SystemMetadataNames.h"

#include <algorithm>
#include <cctype>
#include <cstring>
#include <iterator>

namespace pwr::names {

namespace {

struct ModelName {
    uint8_t model;
    const char* name;
};

// Family 6 processors by model number, as the processor makers publish them.
const ModelName c_codeNames[] = {
    {0x0F, "Merom"},
    {0x17, "Penryn"},
    {0x1A, "Nehalem-EP"},
    {0x1C, "Bonnell"},
    {0x1E, "Lynnfield"},
    {0x25, "Westmere"},
    {0x26, "Lincroft"},
    {0x2A, "Sandy Bridge"},
    {0x2C, "Westmere-EP"},
    {0x2D, "Sandy Bridge-E"},
    {0x2E, "Nehalem-EX"},
    {0x2F, "Westmere-EX"},
    {0x36, "Cedarview"},
    {0x37, "Bay Trail"},
    {0x3A, "Ivy Bridge"},
    {0x3C, "Haswell"},
    {0x3D, "Broadwell"},
    {0x3E, "Ivy Bridge-E"},
    {0x3F, "Haswell-E"},
    {0x45, "Haswell-ULT"},
    {0x46, "Haswell-H"},
    {0x47, "Broadwell-H"},
    {0x4A, "Merrifield"},
    {0x4C, "Cherry Trail"},
    {0x4D, "Avoton"},
    {0x4E, "Skylake-U/Y"},
    {0x4F, "Broadwell-E"},
    {0x55, "Skylake-SP"},
    {0x56, "Broadwell-DE"},
    {0x5A, "Moorefield"},
    {0x5C, "Apollo Lake"},
    {0x5E, "Skylake-S/H"},
    {0x5F, "Denverton"},
    {0x66, "Cannon Lake"},
    {0x6A, "Ice Lake-SP"},
    {0x6C, "Ice Lake-D"},
    {0x7A, "Gemini Lake"},
    {0x7D, "Ice Lake"},
    {0x7E, "Ice Lake-U/Y"},
    {0x86, "Snow Ridge"},
    {0x8A, "Lakefield"},
    {0x8C, "Tiger Lake-U"},
    {0x8D, "Tiger Lake-H"},
    {0x8E, "Kaby Lake-U/Y"},
    {0x8F, "Sapphire Rapids"},
    {0x96, "Elkhart Lake"},
    {0x97, "Alder Lake-S"},
    {0x9A, "Alder Lake-P"},
    {0x9C, "Jasper Lake"},
    {0x9E, "Kaby Lake/Coffee Lake"},
    {0xA5, "Comet Lake-S/H"},
    {0xA6, "Comet Lake-U"},
    {0xA7, "Rocket Lake"},
    {0xAA, "Meteor Lake"},
    {0xAC, "Meteor Lake-S"},
    {0xAD, "Granite Rapids"},
    {0xAE, "Granite Rapids-D"},
    {0xAF, "Sierra Forest"},
    {0xB5, "Arrow Lake-U"},
    {0xB6, "Grand Ridge"},
    {0xB7, "Raptor Lake-S"},
    {0xBA, "Raptor Lake-P"},
    {0xBD, "Lunar Lake"},
    {0xBE, "Alder Lake-N"},
    {0xBF, "Raptor Lake-S"},
    {0xC5, "Arrow Lake-H"},
    {0xC6, "Arrow Lake-S"},
    {0xCC, "Panther Lake"},
    {0xCF, "Emerald Rapids"},
};

const uint8_t c_clientModels[] = {0x1E, 0x25, 0x2A, 0x3A, 0x3C, 0x3D, 0x45, 0x46, 0x47, 0x4E, 0x5E,
                                  0x66, 0x7D, 0x7E, 0x8C, 0x8D, 0x8E, 0x9E, 0xA5, 0xA6, 0xA7};
const uint8_t c_serverModels[] = {0x1A, 0x2C, 0x2D, 0x2E, 0x2F, 0x3E, 0x3F, 0x4F,
                                  0x55, 0x56, 0x6A, 0x6C, 0x8F, 0xAD, 0xAE, 0xCF};
const uint8_t c_atomModels[] = {0x1C, 0x26, 0x36, 0x37, 0x4A, 0x4C, 0x4D, 0x5A, 0x5C,
                                0x5F, 0x7A, 0x86, 0x96, 0x9C, 0xAF, 0xB6, 0xBE};
const uint8_t c_hybridModels[] = {0x8A, 0x97, 0x9A, 0xAA, 0xAC, 0xB5, 0xB7,
                                  0xBA, 0xBD, 0xBF, 0xC5, 0xC6, 0xCC};

// Native model ids of hybrid cores: the core type in the top byte (0x20 the
// small core, 0x40 the big one), the generation below. Generation 0 exists
// on one processor only; generation 1 names differ by processor.
constexpr uint32_t c_smallCoreGen0 = 0x20000000;
constexpr uint32_t c_bigCoreGen0 = 0x40000000;
constexpr uint32_t c_smallCoreGen1 = 0x20000001;
constexpr uint32_t c_bigCoreGen1 = 0x40000001;

const uint8_t c_alderLakeModels[] = {0x97, 0x9A, 0xBE};
const uint8_t c_raptorLakeModels[] = {0xB7, 0xBA, 0xBF};
const uint8_t c_meteorLakeModels[] = {0xAA, 0xAC};

struct KeyName {
    const char* key;
    const char* name;
};

const KeyName c_pchNames[] = {
    {"SPT", "Sunrise Point"}, {"CNP", "Cannon Point"}, {"CMP", "Comet Point"}, {"ICP", "Ice Point"},
    {"TGP", "Tiger Point"},   {"ADP", "Alder Point"},  {"LBG", "Lewisburg"},
};

constexpr size_t c_maxDevices = 3;

struct PlatformDevices {
    const char* platform;
    // Unused places are null.
    const char* devices[c_maxDevices];
};

const PlatformDevices c_pmtDevices[] = {
    {"TGL", {"Tiger Lake CPU Telemetry"}},
    {"ADL", {"Alder Lake CPU Telemetry"}},
    {"RPL", {"Raptor Lake CPU Telemetry"}},
    {"MTL", {"Meteor Lake SOC Telemetry", "Meteor Lake IOE Telemetry"}},
    {"ARL", {"Arrow Lake SOC Telemetry"}},
    {"LNL", {"Lunar Lake SOC Telemetry"}},
};

const PlatformDevices c_pciDevices[] = {
    {"TGL", {"Thunderbolt 4 Controller", "IPU6 Imaging Unit", "GNA 2.0 Neural Accelerator"}},
    {"ADL", {"Thunderbolt 4 Controller", "IPU6 Imaging Unit", "GNA 3.0 Neural Accelerator"}},
    {"RPL", {"Thunderbolt 4 Controller", "IPU6 Imaging Unit", "GNA 3.0 Neural Accelerator"}},
    {"MTL", {"Thunderbolt 4 Controller", "IPU6 Imaging Unit", "NPU Neural Processing Unit"}},
    {"ARL", {"Thunderbolt 4 Controller", "IPU6 Imaging Unit", "NPU Neural Processing Unit"}},
    {"LNL", {"Thunderbolt 4 Controller", "IPU7 Imaging Unit", "NPU Neural Processing Unit"}},
};

template <size_t N>
bool contains(const uint8_t (&models)[N], uint8_t family, uint8_t model) {
    return family == c_family6 &&
           std::find(std::begin(models), std::end(models), model) != std::end(models);
}

// Whether name starts with the abbreviation key as a whole word ("MTL-P"
// and "MTL" match "MTL", "MTLX" does not).
bool startsWithWord(const std::string& name, const char* key) {
    const size_t length = std::strlen(key);
    if (name.compare(0, length, key) != 0) {
        return false;
    }
    return name.size() == length || !std::isalnum(static_cast<unsigned char>(name[length]));
}

template <size_t N>
std::vector<std::string> devicesOf(const PlatformDevices (&table)[N], const std::string& name) {
    for (const PlatformDevices& entry : table) {
        if (startsWithWord(name, entry.platform)) {
            std::vector<std::string> devices;
            for (const char* device : entry.devices) {
                if (device != nullptr) {
                    devices.emplace_back(device);
                }
            }
            return devices;
        }
    }
    return {};
}

}  // namespace

const char* cpuCodeName(uint8_t family, uint8_t model) {
    if (family != c_family6) {
        return nullptr;
    }
    for (const ModelName& entry : c_codeNames) {
        if (entry.model == model) {
            return entry.name;
        }
    }
    return nullptr;
}

const char* nativeModelName(uint8_t family, uint8_t model, uint32_t nativeModelId) {
    if (family != c_family6) {
        return nullptr;
    }
    switch (nativeModelId) {
        case c_smallCoreGen0:
            return "TNT";  // Tremont
        case c_bigCoreGen0:
            return "SNC";  // Sunny Cove
        case c_smallCoreGen1:
            if (contains(c_alderLakeModels, family, model) ||
                contains(c_raptorLakeModels, family, model)) {
                return "GRT";  // Gracemont
            }
            return contains(c_meteorLakeModels, family, model) ? "CMT" : nullptr;  // Crestmont
        case c_bigCoreGen1:
            if (contains(c_alderLakeModels, family, model)) {
                return "GLC";  // Golden Cove
            }
            if (contains(c_raptorLakeModels, family, model)) {
                return "RPC";  // Raptor Cove
            }
            return contains(c_meteorLakeModels, family, model) ? "RWC" : nullptr;  // Redwood Cove
        default:
            return nullptr;
    }
}

const char* ioeName(uint8_t family, uint8_t model) {
    return contains(c_meteorLakeModels, family, model) ? "Meteor Lake IOE" : nullptr;
}

const char* pchName(const std::string& platformName) {
    for (const KeyName& entry : c_pchNames) {
        if (platformName.find(entry.key) != std::string::npos) {
            return entry.name;
        }
    }
    return nullptr;
}

std::vector<std::string> pmtDeviceNames(const std::string& platformName) {
    return devicesOf(c_pmtDevices, platformName);
}

std::vector<std::string> pciDeviceNames(const std::string& platformName) {
    return devicesOf(c_pciDevices, platformName);
}

bool isClientModel(uint8_t family, uint8_t model) {
    return contains(c_clientModels, family, model);
}
bool isServerModel(uint8_t family, uint8_t model) {
    return contains(c_serverModels, family, model);
}
bool isAtomModel(uint8_t family, uint8_t model) {
    return contains(c_atomModels, family, model);
}
bool isHybridModel(uint8_t family, uint8_t model) {
    return contains(c_hybridModels, family, model);
}

}  // namespace pwr::names
