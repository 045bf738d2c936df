#pragma once
// All Vulkan structures that travel, and the proof that their descriptions leave nothing out.

#include "wire/vk_structures_devices.h"
#include "wire/vk_structures_pipelines.h"
#include "wire/vk_structures_resources.h"

namespace vk_wire {

// Fields put one behind the other must give the compiler's own size; padding can hide a field, which the test
// of every offset finds. The sizes of the 32-bit layout are a 32-bit ARM compiler's.
#define VK_STRUCTURE(name, size32)                                                                           \
    static_assert(!native_layout_travels || layout<name, 8 * sizeof(void*)>::size == sizeof(name),           \
                  "the description of " #name " lacks a field or has one too many");                         \
    static_assert(layout<name, 32>::size == size32, "the 32-bit layout of " #name " has another size");
#include "wire/vk_structure_names.inc"
#undef VK_STRUCTURE

} // namespace vk_wire
