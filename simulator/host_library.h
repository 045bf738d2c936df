#pragma once
// libZelvar.so, loaded as a simulator loads it.

#include "zelvar/sc_interfaces.h"

#include <cstdint>
#include <string>

namespace simulator {

class host_library
{
public:
    /// Throws std::runtime_error. The library stays loaded to the end of the process.
    explicit host_library(const std::string& file);

    /// Brings the library up; what its driver reads from the environment must be set before.
    scPluginInterface* plugin();

    /// Prints every message type: number, name, and whether its handler is built. False when the library
    /// can't tell.
    bool list_messages() const;
    /// Prints every key of the settings file. False when the library can't tell.
    bool list_settings() const;

    /// Prints what the library holds of targets. Nothing when the library can't tell, or isn't up.
    void print_live_objects() const;

    /// Takes the library down. No channel may be in use.
    void release();

private:
    void* symbol(const char* name) const;
    void* _handle;
    scPluginInterface* _plugin = nullptr;
};

} // namespace simulator
