// What libnativewindow.so holds: the names of a phone's buffer service. Like libGLESv2.so.2 it is a filter
// over libEGL.so.1, which knows the buffers.

#include <cstdio>
#include <cstdlib>

extern "C" {

__attribute__((used, visibility("default"))) void zelvar_window_name_without_function()
{
    std::fputs("FATAL [SHIM] libnativewindow.so was loaded without libEGL.so.1 of the same folder.\n",
               stderr);
    std::abort();
}

#define ZELVAR_WINDOW_FILTERED(function)                                                                     \
    asm(".globl AHardwareBuffer_" #function "\n\t.type AHardwareBuffer_" #function                           \
        ", @function\n\t.set AHardwareBuffer_" #function ", zelvar_window_name_without_function");
ZELVAR_WINDOW_FILTERED(isSupported)
ZELVAR_WINDOW_FILTERED(allocate)
ZELVAR_WINDOW_FILTERED(acquire)
ZELVAR_WINDOW_FILTERED(release)
ZELVAR_WINDOW_FILTERED(describe)
ZELVAR_WINDOW_FILTERED(lock)
ZELVAR_WINDOW_FILTERED(unlock)
}
