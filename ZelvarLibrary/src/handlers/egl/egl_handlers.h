#pragma once
// EGL entry points as executed on the host, on the worker of the calling target thread. A signature is the
// layout of its message: arguments in API order, then what the target's own call returned, then the target's
// error. Objects are the target's ids, pointers its addresses; what a handler reports goes back as the call's
// result.

#include "inbound/payload_types.h"
#include "wire/api.h"
#include "zelvar_types.h"

// Displays.
void egl_eglGetDisplay(pid_t pid, tid_t tid, uint64_t display_id, result_of<uint64_t> target_result,
                       egl_target_error target_error);
void egl_eglGetPlatformDisplayEXT(pid_t pid, tid_t tid, EGLenum platform, uint64_t native_display,
                                  target_ptr attrib_list, result_of<uint64_t> target_result,
                                  egl_target_error target_error);
void egl_eglInitialize(pid_t pid, tid_t tid, uint64_t dpy, target_ptr major, target_ptr minor,
                       result_of<EGLBoolean> target_result, egl_target_error target_error);
void egl_eglTerminate(pid_t pid, tid_t tid, uint64_t dpy, result_of<EGLBoolean> target_result,
                      egl_target_error target_error);
void egl_eglQueryString(pid_t pid, tid_t tid, uint64_t dpy, EGLint name, result_of<uint64_t> target_result,
                        egl_target_error target_error);

// Configs.
void egl_eglChooseConfig(pid_t pid, tid_t tid, uint64_t dpy, target_ptr attrib_list, target_ptr configs,
                         EGLint config_size, target_ptr num_config, result_of<EGLBoolean> target_result,
                         egl_target_error target_error);
void egl_eglGetConfigs(pid_t pid, tid_t tid, uint64_t dpy, target_ptr configs, EGLint config_size,
                       target_ptr num_config, result_of<EGLBoolean> target_result,
                       egl_target_error target_error);
void egl_eglGetConfigAttrib(pid_t pid, tid_t tid, uint64_t dpy, uint64_t config, EGLint attribute,
                            target_ptr value, result_of<EGLBoolean> target_result,
                            egl_target_error target_error);

// Contexts.
void egl_eglCreateContext(pid_t pid, tid_t tid, uint64_t dpy, uint64_t config, uint64_t share_context,
                          target_ptr attrib_list, result_of<uint64_t> target_result,
                          egl_target_error target_error);
void egl_eglDestroyContext(pid_t pid, tid_t tid, uint64_t dpy, uint64_t context,
                           result_of<EGLBoolean> target_result, egl_target_error target_error);
void egl_eglMakeCurrent(pid_t pid, tid_t tid, uint64_t dpy, uint64_t draw, uint64_t read, uint64_t context,
                        result_of<EGLBoolean> target_result, egl_target_error target_error);
void egl_eglQueryContext(pid_t pid, tid_t tid, uint64_t dpy, uint64_t context, EGLint attribute,
                         target_ptr value, result_of<EGLBoolean> target_result,
                         egl_target_error target_error);
void egl_eglGetCurrentContext(pid_t pid, tid_t tid, result_of<uint64_t> target_result,
                              egl_target_error target_error);
void egl_eglGetCurrentDisplay(pid_t pid, tid_t tid, result_of<uint64_t> target_result,
                              egl_target_error target_error);
void egl_eglGetCurrentSurface(pid_t pid, tid_t tid, EGLint readdraw, result_of<uint64_t> target_result,
                              egl_target_error target_error);

// Surfaces.
void egl_eglCreateWindowSurface(pid_t pid, tid_t tid, uint64_t dpy, uint64_t config, uint64_t window,
                                target_ptr attrib_list, result_of<uint64_t> target_result,
                                egl_target_error target_error);
void egl_eglCreatePlatformWindowSurfaceEXT(pid_t pid, tid_t tid, uint64_t dpy, uint64_t config,
                                           uint64_t native_window, target_ptr attrib_list,
                                           result_of<uint64_t> target_result, egl_target_error target_error);
void egl_eglCreatePbufferSurface(pid_t pid, tid_t tid, uint64_t dpy, uint64_t config, target_ptr attrib_list,
                                 result_of<uint64_t> target_result, egl_target_error target_error);
void egl_eglCreatePixmapSurface(pid_t pid, tid_t tid, uint64_t dpy, uint64_t config, uint64_t pixmap,
                                target_ptr attrib_list, result_of<uint64_t> target_result,
                                egl_target_error target_error);
void egl_eglCreatePbufferFromClientBuffer(pid_t pid, tid_t tid, uint64_t dpy, EGLenum buftype,
                                          uint64_t buffer, uint64_t config, target_ptr attrib_list,
                                          result_of<uint64_t> target_result, egl_target_error target_error);
void egl_eglDestroySurface(pid_t pid, tid_t tid, uint64_t dpy, uint64_t surface,
                           result_of<EGLBoolean> target_result, egl_target_error target_error);
void egl_eglSurfaceAttrib(pid_t pid, tid_t tid, uint64_t dpy, uint64_t surface, EGLint attribute,
                          EGLint value, result_of<EGLBoolean> target_result, egl_target_error target_error);
void egl_eglQuerySurface(pid_t pid, tid_t tid, uint64_t dpy, uint64_t surface, EGLint attribute,
                         target_ptr value, result_of<EGLBoolean> target_result,
                         egl_target_error target_error);
void egl_eglBindTexImage(pid_t pid, tid_t tid, uint64_t dpy, uint64_t surface, EGLint buffer,
                         result_of<EGLBoolean> target_result, egl_target_error target_error);
void egl_eglReleaseTexImage(pid_t pid, tid_t tid, uint64_t dpy, uint64_t surface, EGLint buffer,
                            result_of<EGLBoolean> target_result, egl_target_error target_error);
void egl_eglCopyBuffers(pid_t pid, tid_t tid, uint64_t dpy, uint64_t surface, uint64_t native_pixmap,
                        result_of<EGLBoolean> target_result, egl_target_error target_error);
/// The message carries the target's frame buffer behind the call's own arguments: its address, its size in
/// bytes, its format and attributes, bits a pixel, height, width and stride.
void egl_eglSwapBuffers(pid_t pid, tid_t tid, uint64_t dpy, uint64_t surface, uint64_t framebuffer,
                        uint32_t length, uint64_t format, uint64_t attributes, uint32_t bpp, uint32_t height,
                        uint32_t width, uint32_t stride, result_of<EGLBoolean> target_result,
                        egl_target_error target_error);
void egl_eglSwapInterval(pid_t pid, tid_t tid, uint64_t dpy, EGLint interval,
                         result_of<EGLBoolean> target_result, egl_target_error target_error);

// Threads.
void egl_eglBindAPI(pid_t pid, tid_t tid, EGLenum api, result_of<EGLBoolean> target_result,
                    egl_target_error target_error);
void egl_eglQueryAPI(pid_t pid, tid_t tid, result_of<EGLenum> target_result, egl_target_error target_error);
/// The message has no error word.
void egl_eglGetError(pid_t pid, tid_t tid, result_of<EGLint> target_result);
/// The message has no result of the target: the host always answers.
void egl_eglGetProcAddress(pid_t pid, tid_t tid, target_ptr procname, egl_target_error target_error);
void egl_eglReleaseThread(pid_t pid, tid_t tid, result_of<EGLBoolean> target_result,
                          egl_target_error target_error);
void egl_eglWaitClient(pid_t pid, tid_t tid, result_of<EGLBoolean> target_result,
                       egl_target_error target_error);
void egl_eglWaitGL(pid_t pid, tid_t tid, result_of<EGLBoolean> target_result, egl_target_error target_error);
void egl_eglWaitNative(pid_t pid, tid_t tid, EGLint engine, result_of<EGLBoolean> target_result,
                       egl_target_error target_error);

// Images.
void egl_eglCreateImageKHR(pid_t pid, tid_t tid, uint64_t dpy, uint64_t context, EGLenum target,
                           uint64_t buffer, target_ptr attrib_list, result_of<uint64_t> target_result,
                           egl_target_error target_error);
void egl_eglDestroyImageKHR(pid_t pid, tid_t tid, uint64_t dpy, uint64_t image,
                            result_of<EGLBoolean> target_result, egl_target_error target_error);

// Sync objects.
void egl_eglCreateSyncKHR(pid_t pid, tid_t tid, uint64_t dpy, EGLenum type, target_ptr attrib_list,
                          result_of<uint64_t> target_result, egl_target_error target_error);
void egl_eglDestroySyncKHR(pid_t pid, tid_t tid, uint64_t dpy, uint64_t sync,
                           result_of<EGLBoolean> target_result, egl_target_error target_error);
/// Called twice for a wait: first with the address of a word that tells the shim whether to wait, then, when
/// it has waited, with address 0.
void egl_eglClientWaitSyncKHR(pid_t pid, tid_t tid, uint64_t dpy, uint64_t sync, EGLint flags,
                              uint64_t timeout, target_ptr target_execute_call_control,
                              result_of<EGLint> target_result, egl_target_error target_error);
void egl_eglSignalSyncKHR(pid_t pid, tid_t tid, uint64_t dpy, uint64_t sync, EGLenum mode,
                          result_of<EGLBoolean> target_result, egl_target_error target_error);
void egl_eglGetSyncAttribKHR(pid_t pid, tid_t tid, uint64_t dpy, uint64_t sync, EGLint attribute,
                             target_ptr value, result_of<EGLBoolean> target_result,
                             egl_target_error target_error);
void egl_eglWaitSyncKHR(pid_t pid, tid_t tid, uint64_t dpy, uint64_t sync, EGLint flags,
                        result_of<EGLint> target_result, egl_target_error target_error);
void egl_eglDupNativeFenceFDANDROID(pid_t pid, tid_t tid, uint64_t dpy, uint64_t sync,
                                    result_of<EGLint> target_result, egl_target_error target_error);

// Window systems of the target.
void egl_eglBindWaylandDisplayWL(pid_t pid, tid_t tid, uint64_t dpy, uint64_t wl_display,
                                 result_of<EGLBoolean> target_result, egl_target_error target_error);
void egl_eglUnbindWaylandDisplayWL(pid_t pid, tid_t tid, uint64_t dpy, uint64_t wl_display,
                                   result_of<EGLBoolean> target_result, egl_target_error target_error);
void egl_eglQueryWaylandBufferWL(pid_t pid, tid_t tid, uint64_t dpy, uint64_t wl_buffer, EGLint attribute,
                                 target_ptr value, result_of<EGLBoolean> target_result,
                                 egl_target_error target_error);
void egl_wl_egl_window_create(pid_t pid, tid_t tid, uint64_t wl_surface, EGLint width, EGLint height,
                              result_of<uint64_t> target_result, egl_target_error target_error);
void egl_wl_egl_window_destroy(pid_t pid, tid_t tid, uint64_t window, egl_target_error target_error);
/// The message has no error word.
void ubm_ubm_surface_create(pid_t pid, tid_t tid, uint64_t device, uint32_t width, uint32_t height,
                            uint32_t format, uint32_t flags, result_of<uint64_t> target_result);
