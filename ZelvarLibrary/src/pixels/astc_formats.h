#pragma once
// ASTC formats of Vulkan, which a host needn't know: its objects are RGBA8 and blocks are decoded on the way.

#include <vulkan/vulkan_core.h>

/// Whether a format is one of the 28 of 2D blocks.
bool is_astc_format(VkFormat format);
/// Puts RGBA8 in the place of an ASTC format and leaves every other one as it is.
void zelvar_helper_convert_format(VkFormat* format);
/// The sides of a format's blocks in texels; 0 by 0 and an ERROR line for a format that isn't ASTC.
void get_astc_blockdim(VkFormat format, unsigned char* width, unsigned char* height);
/// 0 for the UNORM member of a pair, 1 for the SRGB one; -1 and an ERROR line for a format that isn't ASTC.
int get_srgb_transform(VkFormat format);

/// Decodes an image of `width` x `height` texels from blocks in raster order to 4 bytes a texel, rows without
/// gaps. Source and destination may be the same memory. Of an image that is grey all over, green and blue
/// come out as 0. Any thread.
void zelvar_helpers_decodeASTCtoRGBA8888(VkFormat format, int width, int height, void* source,
                                         void* destination);
