// What libGLESv2.so.2 holds: the names alone. It is a filter over libEGL.so.1, where the functions and their
// one state are: the loader takes each name from there. Linkers find the names here.

#include "wire/api.h"

#include <cstdio>
#include <cstdlib>

extern "C" __attribute__((used)) void zelvar_name_without_function();

void zelvar_name_without_function()
{
    std::fputs("FATAL [SHIM] libGLESv2.so.2 was loaded without libEGL.so.1 of the same folder.\n", stderr);
    std::abort();
}

// The type is no matter, since none is ever called.
#define ZELVAR_MESSAGE(id, name, group, function)                                                            \
    asm(".globl " #function "\n\t.type " #function ", @function\n\t.set " #function                          \
        ", zelvar_name_without_function");
#include "wire/messages_gles.inc"
#undef ZELVAR_MESSAGE
