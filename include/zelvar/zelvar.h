#pragma once
// The functions that libZelvar.so exports for a simulator. All have C linkage, none throws.

#include "zelvar/sc_interfaces.h"

#define ZELVAR_EXPORT extern "C" __attribute__((visibility("default")))

/// Versions of the compressed frame buffer format.
enum tpak_version_t : uint32_t
{
    TPAK_VERSION_NONE = 0,
    TPAK_VERSION_1_0 = 3,
    TPAK_VERSION_1_1 = 4,
    TPAK_VERSION_1_2 = 5,
};

/// Brings the library up on the first call and returns the one plug-in object, on every call the same.
/// Callable from any thread.
ZELVAR_EXPORT scPluginInterface* scPluginEntryPoint();

/// Takes the library down: workers, plug-in object, host libraries, registry. No channel may be used
/// afterwards; a later `scPluginEntryPoint` starts afresh.
ZELVAR_EXPORT void zelvar_deinit();

/// Options for a GPU model: bit 31 always set, bit 0 job slot log, bit 1 address space log, bit 2 when the
/// target drives a real GPU model.
ZELVAR_EXPORT uint32_t zelvar_getModelOptions();

/// Sets the frame compression version unless the settings file has set one; returns whether it was set.
ZELVAR_EXPORT bool zelvar_set_tpak_version(tpak_version_t version);

/// Version of the host renderer interface: 3.1.
ZELVAR_EXPORT void hostRenderer_getAPIVersion(uint32_t* major, uint32_t* minor);

/// Name of an inbound message type and whether its handler is built. False for a number without a row. The
/// name is the library's.
ZELVAR_EXPORT bool zelvar_message_info(uint32_t type, const char** name, int* built);

/// How many objects of a kind the library holds for targets, for a check that nothing is left when they are
/// gone: kinds count from 0, false past the last. The name is the library's. Between start and
/// `zelvar_deinit`.
ZELVAR_EXPORT bool zelvar_live_objects(uint32_t kind, const char** name, uint64_t* count);

/// All settings keys, for help texts: fills the row of `index`, false past the end. The texts are the
/// library's.
ZELVAR_EXPORT bool zelvar_settings_key(uint32_t index, const char** key, const char** type,
                                       const char** default_value, const char** sentence);
