#pragma once
// The key table: one row per key of the settings file, from which reading, defaults, publishing and the
// documentation follow.

#include "settings/zelvar_settings.h"

/// A pass's own copy of both blocks, not yet seen by anyone else.
struct settings_pair
{
    _runtime_settings runtime{};
    _zelvar_settings only{};
};

/// Stores one setting so that readers on other threads see a whole value.
template <class T>
void store_setting(T& field, T value)
{
    static_assert(std::is_trivially_copyable_v<T>, "text settings are published under their lock");
    __atomic_store_n(&field, value, __ATOMIC_RELAXED);
}

/// Gives every field of a zeroed pair the default of its row.
void apply_settings_defaults(settings_pair& pair);
/// Applies one line of the file; unknown keys are ignored.
void apply_settings_key(settings_pair& pair, const char* key, const char* value);
/// The keys that are looked at outside of the advanced mode; returns whether the mode is advanced afterwards.
/// Files are read in the advanced mode from the start and nothing leaves it.
bool apply_settings_preset(settings_pair& pair, const char* key, const char* value);
/// Publishes all that the rows cover, so everything but the white list's pointers; texts are moved out of
/// `fresh`. The caller holds the lock of the texts.
void publish_settings_fields(settings_pair& fresh, _runtime_settings& runtime, _zelvar_settings& only);
