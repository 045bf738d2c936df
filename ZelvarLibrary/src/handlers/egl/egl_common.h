#pragma once
// What EGL handlers share besides their frame.

#include "handlers/egl/egl_handlers.h"
#include "handlers/handler.h"
#include "shim/zelvar_shim_dispatch.h"

#include <utility>
#include <vector>

using egl_table = sidechannel_egl_imports;

/// A config that is none: what "no config" is on the target.
inline constexpr uint64_t config_all_bits_set = ~uint64_t{0};

/// A target id for a format that takes a long.
inline long shown(uint64_t id)
{
    return static_cast<long>(id);
}

template <class Handle>
uint64_t number_of(Handle* handle)
{
    return reinterpret_cast<uint64_t>(handle);
}

/// An EGL attribute list without its terminator.
using attribute_pairs = std::vector<std::pair<EGLint, EGLint>>;

/// Reads a list out of target memory, up to EGL_NONE. A null address gives no pairs. False when the list
/// can't be had or is longer than any that makes sense. May throw bad_alloc.
bool read_attribute_list(pid_t pid, tid_t tid, target_ptr address, attribute_pairs* pairs);
/// The list as the host wants it, ended with EGL_NONE.
std::vector<EGLint> terminated(const attribute_pairs& pairs);

/// Narrows 64-bit handles to the `width` bytes (4 or 8) that they have on the target.
void zelvar_helpers_copy_aligned(const uint64_t* source, size_t count, uint32_t width, void* destination);
/// Writes handles to an array in target memory at the target's pointer width.
void write_handles(const egl_handler& call, const std::vector<uint64_t>& handles, target_ptr address);

/// The target's copy of a string: a new block of target memory; null when there is none to have.
target_ptr copy_string_to_target(const egl_handler& call, const char* text, size_t length);
