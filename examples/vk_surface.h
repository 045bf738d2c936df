/* Surfaces for the Vulkan examples: windows of an X server, or headless ones. */
#ifndef EXAMPLES_VK_SURFACE_H
#define EXAMPLES_VK_SURFACE_H

#include "vk_common.h"

/* Where windows come from. The kind is "headless", "xcb" or "xlib"; NULL takes the first of these that the
 * instance has. */
struct windows
{
    const char* kind;
    const char* extension;
    void* connection; /* to the X server, for xcb */
    void* display;    /* the same for Xlib */
};
struct windows find_windows(const char* kind);
void close_windows(struct windows* windows);

struct window
{
    VkSurfaceKHR surface;
    VkExtent2D extent; /* as wanted; headless surfaces take any */
    uint32_t id;       /* of the X server */
};
struct window open_window(const struct windows* windows, VkInstance instance, uint32_t width,
                          uint32_t height);
void resize_window(const struct windows* windows, struct window* window, uint32_t width, uint32_t height);
void close_window(const struct windows* windows, VkInstance instance, struct window* window);

#endif
