#pragma once
// Uploads of ASTC blocks. The host's image is RGBA8, so the blocks in the source buffer are decoded first.

#include "handlers/vk/vk_handler.h"

/// When the copy is one of blocks that have been written since the last copy, decodes them and puts a buffer
/// with the texels in the source's place; the regions then tell of texels. The whole of the first region is
/// decoded from the start of the buffer's memory; regions that ask for more are left out. False when the copy
/// can't be recorded, as the host would read beyond the buffer.
bool vk_decode_astc_source(const vk_frame& call, vk_device_record* data, VkBuffer source, VkImage destination,
                           VkBufferImageCopy* regions, uint32_t* region_count);
