#pragma once
// Declarations of the exported functions under the names that they have beside a real driver:
// target_eglInitialize, target_glClear and so on, each of its published prototype. Of Vulkan there are those
// that the loader finds by name; it gets all others from them.

#include "wire/api.h"

extern "C" {
#define ZELVAR_MESSAGE(id, name, group, function) decltype(::function) target_##function;
#include "wire/messages_egl.inc"
#include "wire/messages_gles.inc"
#undef ZELVAR_MESSAGE
decltype(::eglGetPlatformDisplay) target_eglGetPlatformDisplay;
decltype(::eglCreatePlatformWindowSurface) target_eglCreatePlatformWindowSurface;
decltype(::eglCreatePlatformPixmapSurface) target_eglCreatePlatformPixmapSurface;
decltype(::eglCreateSync) target_eglCreateSync;
decltype(::eglDestroySync) target_eglDestroySync;
decltype(::eglClientWaitSync) target_eglClientWaitSync;
decltype(::eglGetSyncAttrib) target_eglGetSyncAttrib;
decltype(::eglWaitSync) target_eglWaitSync;
decltype(::eglCreateImage) target_eglCreateImage;
decltype(::eglDestroyImage) target_eglDestroyImage;
VkResult target_vk_icdNegotiateLoaderICDInterfaceVersion(uint32_t* version);
PFN_vkVoidFunction target_vk_icdGetInstanceProcAddr(VkInstance instance, const char* name);
PFN_vkVoidFunction target_vk_icdGetPhysicalDeviceProcAddr(VkInstance instance, const char* name);
}
