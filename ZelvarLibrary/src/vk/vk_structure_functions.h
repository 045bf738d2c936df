#pragma once
// One function per structure and family. Structures come as bytes of a target's message and stay in the
// message or in the reader's memory; all of it is valid for the handler's call alone.
//
//   receive_VkX       message to structure, with all that hangs from it
//   unpack_VkX        32-bit layout to the host's
//   pack_VkX          the host's layout to the 32-bit one
//   prepare_host_VkX  target handles to the host's, in place

#include "inbound/vk_reader.h"
#include "object_manager/vk_records.h"
#include "wire/vk_structures.h"

#include <cstdint>

/// A structure of a 32-bit target, at any alignment.
template <class S>
struct vk_structure32
{
    uint8_t bytes[vk_wire::layout<S, 32>::size];
};

// receive_ consumes bytes of `in` and returns how many. A null *structure is an absent argument. `top_level`:
// the structure itself stands next in the message, and *structure is aimed at it; otherwise it is placed
// already and only what hangs from it is walked. A count is cut to what the message holds, and what the
// message lacks is zero.
//
// unpack_ widens and returns the bytes of its source; pointers keep their bits as flags. pack_ narrows.
//
// prepare_host_ gives true if every handle was found. After the first that wasn't, no other is looked up;
// those left become null, so that no target's handle reaches the host. No extension chain does either. An
// array that isn't there has no elements.
#define VK_STRUCTURE(name, size32)                                                                           \
    using name##32 = vk_structure32<name>;                                                                   \
    uint64_t receive_##name(name** structure, vk_reader& in, bool top_level);                                \
    uint32_t unpack_##name(const name##32 * source, name * destination);                                     \
    void pack_##name(name##32 * destination, const name* source);                                            \
    bool prepare_host_##name(_zelvar_object_manager_data_vk_device* device, name** structure);
#include "wire/vk_structure_names.inc"
#undef VK_STRUCTURE

/// Extension chains don't travel: nothing is consumed and the field stays as it came.
uint64_t receive_pNext(VkStructureType type, void** next, vk_reader& in);
/// A null pointer has no characters.
uint64_t receive_string(char** string, vk_reader& in);
