#pragma once
// What a target may be shown that has a driver of its own: no more than both that and the host can do.

#include "wire/api.h"

/// A feature is on when both have it; a line for each that differs. `target` may be `result`.
void collect_union_feature(const VkPhysicalDeviceFeatures& target, const VkPhysicalDeviceFeatures& host,
                           VkPhysicalDeviceFeatures* result);
/// `result` starts as the target's answer. Limits of features that are off in `features` are 0.
void collect_union_properties(const VkPhysicalDeviceFeatures& features,
                              const VkPhysicalDeviceProperties& target,
                              const VkPhysicalDeviceProperties& host, VkPhysicalDeviceProperties* result);
/// Lowers the target's answer to the host's, a line for each value that changes. True when one did.
bool collect_union_image_format(VkFormat format, VkImageType type, VkImageTiling tiling,
                                const VkImageFormatProperties& host, VkImageFormatProperties* result);
