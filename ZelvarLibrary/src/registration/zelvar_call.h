#pragma once
// Numbers of everything that the call registration counts: host EGL and OpenGL ES entry points and target
// services. Only `write_to_shim_address_space` has a fixed number.

#include "hosttables/host_tables.h"

#include <cstdint>

enum _zelvar_call : uint32_t
{
    zelvar_call_write_to_shim_address_space = 34,
    zelvar_call_count = 477,
};

/// Host EGL slots come first, around the fixed number.
constexpr _zelvar_call zelvar_call_of_egl_slot(size_t slot)
{
    return static_cast<_zelvar_call>(slot < zelvar_call_write_to_shim_address_space ? slot : slot + 1);
}

constexpr _zelvar_call zelvar_call_of_gles_slot(size_t slot)
{
    return static_cast<_zelvar_call>(host_egl_count + 1 + slot);
}

/// Services follow in the order of their outbound types, from 436 on.
constexpr _zelvar_call zelvar_call_of_service(uint32_t outbound_type)
{
    constexpr uint32_t write_type = 439;
    if (outbound_type == write_type)
        return zelvar_call_write_to_shim_address_space;
    uint32_t index = outbound_type - 436 - (outbound_type > write_type ? 1 : 0);
    return static_cast<_zelvar_call>(host_egl_count + 1 + host_gles_count + index);
}
static_assert(zelvar_call_of_service(469) < zelvar_call_count);

/// The number of a host function by its table field, e.g.
/// `zelvar_call_of<&sidechannel_egl_imports::eglInitialize>()`.
template <auto Field>
_zelvar_call zelvar_call_of();

namespace registration_detail {
template <class Table>
size_t slot_of(auto Table::*field)
{
    alignas(Table) static constexpr char nothing[sizeof(Table)] = {};
    const auto* table = reinterpret_cast<const Table*>(nothing);
    return static_cast<size_t>(reinterpret_cast<const char*>(&(table->*field)) - nothing) / sizeof(void*);
}
template <class T>
constexpr bool is_egl_field = false;
template <class F>
constexpr bool is_egl_field<F sidechannel_egl_imports::*> = true;
} // namespace registration_detail

template <auto Field>
_zelvar_call zelvar_call_of()
{
    size_t slot = registration_detail::slot_of(Field);
    if constexpr (registration_detail::is_egl_field<decltype(Field)>)
        return zelvar_call_of_egl_slot(slot);
    else
        return zelvar_call_of_gles_slot(slot);
}

/// Numbers of the object manager's operations for forced failures and forced results. An enumeration of its
/// own: no relation to `_zelvar_call`.
enum _zelvar_internal_call : uint32_t
{
    zelvar_internal_add_context = 2,
    zelvar_internal_add_display = 3,
    zelvar_internal_bind_context_to_thread = 6,
    zelvar_internal_delete_target_context = 7,
    zelvar_internal_delete_display = 10,
    zelvar_internal_get_bound_host_context = 11,
    zelvar_internal_get_bound_target_surfaces = 12,
    zelvar_internal_get_config_data = 13,
    zelvar_internal_get_display = 15,
    zelvar_internal_get_egl_error = 16,
    zelvar_internal_get_gles_error = 22,
    zelvar_internal_get_host_config = 23,
    zelvar_internal_get_host_config_data = 24,
    zelvar_internal_get_host_context = 25,
    zelvar_internal_get_host_display = 26,
    zelvar_internal_checkout_service_host_egl_context = 30,
    zelvar_internal_get_target_config_bpp = 32,
    zelvar_internal_get_target_context = 33,
    zelvar_internal_get_target_display = 35,
    zelvar_internal_lock_context_data = 37,
    zelvar_internal_set_egl_error = 38,
    zelvar_internal_set_gles_error = 43,
    zelvar_internal_unlock_context_data = 44,
};

/// Questions to the data model that can be answered by a fake.
enum _zelvar_data_model_call : uint32_t
{
    zelvar_data_model_is_gl_extension_supported = 0,
    zelvar_data_model_is_egl_extension_supported = 1,
};
