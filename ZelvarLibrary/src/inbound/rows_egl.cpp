// The EGL rows whose handlers are built.

#include "handlers/egl/egl_handlers.h"
#include "inbound/decoder.h"
#include "inbound/rows.h"
#include "wire/wire.h"

#include <iterator>

const built_row egl_rows[] = {
    ROW(egl_client_wait_sync_khr, egl_eglClientWaitSyncKHR),
    ROW(egl_choose_config, egl_eglChooseConfig),
    ROW(egl_copy_buffers, egl_eglCopyBuffers),
    ROW(egl_create_context, egl_eglCreateContext),
    ROW(egl_create_pbuffer_surface, egl_eglCreatePbufferSurface),
    ROW(egl_create_pixmap_surface, egl_eglCreatePixmapSurface),
    ROW(egl_create_window_surface, egl_eglCreateWindowSurface),
    ROW(egl_destroy_context, egl_eglDestroyContext),
    ROW(egl_destroy_surface, egl_eglDestroySurface),
    ROW(egl_get_config_attrib, egl_eglGetConfigAttrib),
    ROW(egl_get_configs, egl_eglGetConfigs),
    ROW(egl_get_current_display, egl_eglGetCurrentDisplay),
    ROW(egl_get_current_surface, egl_eglGetCurrentSurface),
    ROW(egl_get_display, egl_eglGetDisplay),
    ROW(egl_get_error, egl_eglGetError),
    ROW(egl_get_proc_address, egl_eglGetProcAddress),
    ROW(egl_initialize, egl_eglInitialize),
    ROW(egl_make_current, egl_eglMakeCurrent),
    ROW(egl_query_context, egl_eglQueryContext),
    ROW(egl_query_string, egl_eglQueryString),
    ROW(egl_query_surface, egl_eglQuerySurface),
    ROW(egl_swap_buffers, egl_eglSwapBuffers),
    ROW(egl_terminate, egl_eglTerminate),
    ROW(egl_wait_gl, egl_eglWaitGL),
    ROW(egl_wait_native, egl_eglWaitNative),
    ROW(egl_bind_tex_image, egl_eglBindTexImage),
    ROW(egl_release_tex_image, egl_eglReleaseTexImage),
    ROW(egl_surface_attrib, egl_eglSurfaceAttrib),
    ROW(egl_swap_interval, egl_eglSwapInterval),
    ROW(egl_bind_api, egl_eglBindAPI),
    ROW(egl_query_api, egl_eglQueryAPI),
    ROW(egl_create_pbuffer_from_client_buffer, egl_eglCreatePbufferFromClientBuffer),
    ROW(egl_release_thread, egl_eglReleaseThread),
    ROW(egl_wait_client, egl_eglWaitClient),
    ROW(egl_get_current_context, egl_eglGetCurrentContext),
    ROW(egl_create_sync_khr, egl_eglCreateSyncKHR),
    ROW(egl_destroy_sync_khr, egl_eglDestroySyncKHR),
    ROW(egl_get_sync_attrib_khr, egl_eglGetSyncAttribKHR),
    ROW(egl_create_image_khr, egl_eglCreateImageKHR),
    ROW(egl_destroy_image_khr, egl_eglDestroyImageKHR),
    ROW(egl_signal_sync_khr, egl_eglSignalSyncKHR),
    ROW(egl_wait_sync_khr, egl_eglWaitSyncKHR),
    ROW(egl_dup_native_fence_fdandroid, egl_eglDupNativeFenceFDANDROID),
    ROW(egl_get_platform_display_ext, egl_eglGetPlatformDisplayEXT),
    ROW(egl_create_platform_window_surface_ext, egl_eglCreatePlatformWindowSurfaceEXT),
    ROW(eglwl_egl_window_create, egl_wl_egl_window_create),
    ROW(eglwl_egl_window_destroy, egl_wl_egl_window_destroy),
    ROW(egl_bind_wayland_display_wl, egl_eglBindWaylandDisplayWL),
    ROW(egl_unbind_wayland_display_wl, egl_eglUnbindWaylandDisplayWL),
    ROW(egl_query_wayland_buffer_wl, egl_eglQueryWaylandBufferWL),
    ROW(ubm_surface_create, ubm_ubm_surface_create),
};
const size_t egl_row_count = std::size(egl_rows);
