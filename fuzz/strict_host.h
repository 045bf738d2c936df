#pragma once
// A host that reads all that a driver would read through its arguments, and writes all that one would write.
// So a sanitizer sees where the library hands over a block that is too small, or one that is gone.

#include "hosttables/host_tables.h"

#include <cstddef>
#include <cstdint>

namespace strict_host {
/// Reads `size` bytes.
void touch(const void* bytes, uint64_t size);
/// The error that the next glGetError of this thread answers.
void fail(unsigned error);

/// What a program of this host has, whichever it is.
inline constexpr GLint attribute_count = 2, uniform_count = 3, block_count = 1;

/// A pixel store value of the current context; zero before it was set, and where none is current.
GLint pixel_store(GLenum name);
/// Whether pixels come from the caller's memory or go there: a context is current, and no buffer of its own
/// at the target, which would make pointers offsets.
bool moves_memory(GLenum target);

// strict_pixels.cpp
void add_pixels(sidechannel_gles_imports& table);
// strict_queries.cpp
void add_queries(sidechannel_gles_imports& table);
} // namespace strict_host
