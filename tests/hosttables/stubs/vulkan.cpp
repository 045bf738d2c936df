// A libvulkan.so for tests of the loader: every entry point is an object that holds its own name, so that a
// test can tell which one a table slot got. The version scripts beside this file hide some of them.

#define ZELVAR_MESSAGE(id, name, group, function)                                                            \
    extern "C" const char function[];                                                                        \
    const char function[] = #function;
#include "wire/messages_vk.inc"
#undef ZELVAR_MESSAGE
