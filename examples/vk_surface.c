#include "vk_surface.h"

#include <stdlib.h>
#include <string.h>

#ifdef EXAMPLES_X
#include <X11/Xlib.h>
#include <xcb/xcb.h>
/* Vulkan's own headers want those before them. */
#include <vulkan/vulkan_xcb.h>
#include <vulkan/vulkan_xlib.h>
#endif

static int has_extension(const char* name)
{
    VkExtensionProperties found[64];
    uint32_t count = COUNT(found);
    const VkResult result = vkEnumerateInstanceExtensionProperties(NULL, &count, found);
    check(result == VK_SUCCESS || result == VK_INCOMPLETE, "vkEnumerateInstanceExtensionProperties");
    for (uint32_t i = 0; i < count; ++i)
        if (strcmp(found[i].extensionName, name) == 0)
            return 1;
    return 0;
}

#ifdef EXAMPLES_X
static xcb_connection_t* connect(void)
{
    xcb_connection_t* const connection = xcb_connect(NULL, NULL);
    check(!xcb_connection_has_error(connection), "xcb_connect");
    return connection;
}

static void make_xcb_window(xcb_connection_t* connection, VkInstance instance, struct window* window)
{
    const xcb_screen_t* const screen = xcb_setup_roots_iterator(xcb_get_setup(connection)).data;
    window->id = xcb_generate_id(connection);
    xcb_create_window(connection, XCB_COPY_FROM_PARENT, window->id, screen->root, 0, 0,
                      (uint16_t)window->extent.width, (uint16_t)window->extent.height, 0,
                      XCB_WINDOW_CLASS_INPUT_OUTPUT, screen->root_visual, 0, NULL);
    xcb_map_window(connection, window->id);
    xcb_flush(connection);
    const VkXcbSurfaceCreateInfoKHR info = {.sType = VK_STRUCTURE_TYPE_XCB_SURFACE_CREATE_INFO_KHR,
                                            .connection = connection,
                                            .window = window->id};
    const PFN_vkCreateXcbSurfaceKHR create =
        (PFN_vkCreateXcbSurfaceKHR)vkGetInstanceProcAddr(instance, "vkCreateXcbSurfaceKHR");
    check(create != NULL, "vkCreateXcbSurfaceKHR");
    VK(create(instance, &info, NULL, &window->surface));
}

/* Requests stay in Xlib's buffer: the driver has to make them reach the server. */
static void make_xlib_window(Display* display, VkInstance instance, struct window* window)
{
    const Window id = XCreateSimpleWindow(display, DefaultRootWindow(display), 0, 0, window->extent.width,
                                          window->extent.height, 0, 0, 0);
    XMapWindow(display, id);
    window->id = (uint32_t)id;
    const VkXlibSurfaceCreateInfoKHR info = {
        .sType = VK_STRUCTURE_TYPE_XLIB_SURFACE_CREATE_INFO_KHR, .dpy = display, .window = id};
    const PFN_vkCreateXlibSurfaceKHR create =
        (PFN_vkCreateXlibSurfaceKHR)vkGetInstanceProcAddr(instance, "vkCreateXlibSurfaceKHR");
    check(create != NULL, "vkCreateXlibSurfaceKHR");
    VK(create(instance, &info, NULL, &window->surface));
}

static void resize_xlib_window(Display* display, const struct window* window)
{
    XResizeWindow(display, window->id, window->extent.width, window->extent.height);
    XWindowAttributes now;
    check(XGetWindowAttributes(display, window->id, &now) && now.width == (int)window->extent.width &&
              now.height == (int)window->extent.height,
          "the window's new size");
}
#endif

static void make_headless(VkInstance instance, struct window* window)
{
    const VkHeadlessSurfaceCreateInfoEXT info = {.sType = VK_STRUCTURE_TYPE_HEADLESS_SURFACE_CREATE_INFO_EXT};
    const PFN_vkCreateHeadlessSurfaceEXT create =
        (PFN_vkCreateHeadlessSurfaceEXT)vkGetInstanceProcAddr(instance, "vkCreateHeadlessSurfaceEXT");
    check(create != NULL, "vkCreateHeadlessSurfaceEXT");
    VK(create(instance, &info, NULL, &window->surface));
}

struct windows find_windows(const char* kind)
{
    struct windows windows = {.kind = kind};
    if (!kind)
        windows.kind = has_extension(VK_EXT_HEADLESS_SURFACE_EXTENSION_NAME) ? "headless" : "xcb";
    if (strcmp(windows.kind, "headless") == 0) {
        windows.extension = VK_EXT_HEADLESS_SURFACE_EXTENSION_NAME;
    } else {
#ifdef EXAMPLES_X
        if (strcmp(windows.kind, "xlib") == 0) {
            windows.extension = VK_KHR_XLIB_SURFACE_EXTENSION_NAME;
            windows.display = XOpenDisplay(NULL);
            check(windows.display != NULL, "XOpenDisplay");
        } else {
            windows.extension = VK_KHR_XCB_SURFACE_EXTENSION_NAME;
            windows.connection = connect();
        }
#else
        check(0, "windows of an X server, which this program was built without");
#endif
    }
    check(has_extension(windows.extension), windows.extension);
    return windows;
}

void close_windows(struct windows* windows)
{
#ifdef EXAMPLES_X
    if (windows->connection)
        xcb_disconnect(windows->connection);
    if (windows->display)
        XCloseDisplay(windows->display);
#endif
    windows->connection = windows->display = NULL;
}

struct window open_window(const struct windows* windows, VkInstance instance, uint32_t width, uint32_t height)
{
    struct window window = {.extent = {width, height}};
#ifdef EXAMPLES_X
    if (windows->display) {
        make_xlib_window(windows->display, instance, &window);
        return window;
    }
    if (windows->connection) {
        make_xcb_window(windows->connection, instance, &window);
        return window;
    }
#endif
    (void)windows;
    make_headless(instance, &window);
    return window;
}

void resize_window(const struct windows* windows, struct window* window, uint32_t width, uint32_t height)
{
    const VkExtent2D extent = {width, height};
    window->extent = extent;
#ifdef EXAMPLES_X
    if (windows->display)
        resize_xlib_window(windows->display, window);
    if (windows->connection) {
        const uint32_t sides[] = {width, height};
        xcb_configure_window(windows->connection, window->id,
                             XCB_CONFIG_WINDOW_WIDTH | XCB_CONFIG_WINDOW_HEIGHT, sides);
        /* An answer about the window comes when the server has done what was asked before. */
        xcb_get_geometry_reply_t* const reply = xcb_get_geometry_reply(
            windows->connection, xcb_get_geometry(windows->connection, window->id), NULL);
        check(reply != NULL && reply->width == width && reply->height == height, "the window's new size");
        free(reply);
    }
#endif
    (void)windows;
}

void close_window(const struct windows* windows, VkInstance instance, struct window* window)
{
    vkDestroySurfaceKHR(instance, window->surface, NULL);
#ifdef EXAMPLES_X
    if (windows->display)
        XDestroyWindow(windows->display, window->id);
    if (windows->connection) {
        xcb_destroy_window(windows->connection, window->id);
        xcb_flush(windows->connection);
    }
#endif
    (void)windows;
}
