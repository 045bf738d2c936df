#pragma once
// Handlers of debug reports; the signature of each is the layout of its message.

#include "inbound/payload_types.h"
#include "inbound/vk_payload_types.h"

// Debug reports.
void vk_vkCreateDebugReportCallbackEXT(pid_t pid, tid_t tid, VkInstance instance,
                                       vk_struct<VkDebugReportCallbackCreateInfoEXT> pCreateInfo,
                                       vk_struct<VkAllocationCallbacks> pAllocator,
                                       vk_out<VkDebugReportCallbackEXT> pCallback,
                                       result_of<VkResult> target_result);
void vk_vkDestroyDebugReportCallbackEXT(pid_t pid, tid_t tid, VkInstance instance,
                                        VkDebugReportCallbackEXT callback,
                                        vk_struct<VkAllocationCallbacks> pAllocator);
void vk_vkDebugReportMessageEXT(pid_t pid, tid_t tid, VkInstance instance, VkDebugReportFlagsEXT flags,
                                VkDebugReportObjectTypeEXT objectType, uint64_t object, vk_size location,
                                int32_t messageCode, vk_string pLayerPrefix, vk_string pMessage);
