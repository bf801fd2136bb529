#include "common/runtime/Module.h"

#include <utility>

namespace pwr {

Module::Module(const std::string& path) {
    load(path);
}

Module::~Module() {
    unload();
}

Module::Module(Module&& other) noexcept
    : m_handle(std::exchange(other.m_handle, nullptr)), m_error(std::move(other.m_error)) {}

Module& Module::operator=(Module&& other) noexcept {
    if (this != &other) {
        unload();
        m_handle = std::exchange(other.m_handle, nullptr);
        m_error = std::move(other.m_error);
    }
    return *this;
}

bool Module::load(const std::string& path) {
    unload();
    m_error.clear();
    m_handle = loadModule(path.c_str(), &m_error);
    return m_handle != nullptr;
}

void Module::unload() {
    if (m_handle != nullptr) {
        freeModule(m_handle);
        m_handle = nullptr;
    }
}

}  // namespace pwr
