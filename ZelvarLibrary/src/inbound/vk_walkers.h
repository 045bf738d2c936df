#pragma once
// What decoders and handlers ask of the structure walkers, by type.

#include "inbound/vk_reader.h"
#include "object_manager/vk_records.h"

/// Takes `count` structures that stand one behind the other, then what hangs from each. The result lies in
/// the message or in the reader's memory; null when `count`, which is cut to what the message holds, is 0.
template <class T>
T* vk_receive(vk_reader& in, uint32_t& count);

struct vk_prepared
{
    bool found;    // every target handle was known
    bool complete; // and nothing is null that the host follows without looking
};
/// Replaces every target handle inside by the host's, in place.
template <class T>
vk_prepared vk_prepare_host(_zelvar_object_manager_data_vk_device* device, T* structure);

/// Bytes of one T in the layout of a target of 32 or 64 bits.
template <class T>
uint32_t vk_target_size(int target_bits);
/// Lays `count` structures out for a target, at `destination` of count * vk_target_size bytes.
template <class T>
void vk_pack_for_target(int target_bits, const T* source, uint32_t count, void* destination);
