#pragma once
// Types of handler parameters that C types don't tell: they say where in a message a value stands.

#include "zelvar_types.h"

#include <cstddef>
#include <cstdint>

/// What the same call returned on the target; stands first in the message while the target runs calls. T
/// gives the width: GLboolean 1, EGLBoolean, enums and ints 4, handles and pointers 8 (use uint64_t).
template <class T>
struct result_of
{
    T value{};
};

/// The target's error code, behind the result where error checks are on; neutral otherwise.
struct gles_target_error
{
    unsigned code = 0; // GL_NO_ERROR
};
struct egl_target_error
{
    unsigned code = 0x3000; // EGL_SUCCESS
};

/// An array that stands inline, last in the message: everything that is left of it. `data` is aligned for T
/// and lives as long as the handler runs; null when nothing is left.
template <class T>
struct inline_array
{
    const T* data = nullptr;
    size_t count = 0;
};
