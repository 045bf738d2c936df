#pragma once
// Images that the host can read, one per size of a swapchain's images, for the life of the device.

#include "handlers/vk/vk_handler.h"

/// The device's linear image for frames of `image`, made when there is none; null, with a line and the
/// reason in the call's result, when it can't be. The caller holds the device. `made` tells that nothing was
/// ever copied into it.
vk_linear_image* vk_linear_image_for(vk_handler& call, vk_device_record* data, const vk_image_data& image,
                                     bool* made);
