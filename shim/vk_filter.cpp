// What libzelvar_vk.so holds: the names that the Vulkan loader asks for. Like libGLESv2.so.2 it is a filter
// over libEGL.so.1, so that a process which draws with both has one connection to the device.

#include <cstdio>
#include <cstdlib>

extern "C" {

__attribute__((used, visibility("default"))) void zelvar_vk_name_without_function()
{
    std::fputs("FATAL [SHIM] libzelvar_vk.so was loaded without libEGL.so.1 of the same folder.\n", stderr);
    std::abort();
}

#define ZELVAR_VK_FILTERED(function)                                                                         \
    asm(".globl " #function "\n\t.type " #function ", @function\n\t.set " #function                          \
        ", zelvar_vk_name_without_function");
ZELVAR_VK_FILTERED(vk_icdNegotiateLoaderICDInterfaceVersion)
ZELVAR_VK_FILTERED(vk_icdGetInstanceProcAddr)
ZELVAR_VK_FILTERED(vk_icdGetPhysicalDeviceProcAddr)
}
