#pragma once
// Names of the exported functions. The libraries that stand in front of applications export the published
// names; a program that links the shim beside a real driver gets them with `target_` in front.

#include "shim/target_names.h"

#ifdef ZELVAR_SHIM_PREFIX
#define SHIM_NAME(function) target_##function
#else
#define SHIM_NAME(function) function
#endif

#define SHIM_EXPORT __attribute__((visibility("default")))

/// Exports `function` as `implementation`, a function of the same type. The loader takes the address from a
/// resolver, which lets a template instance bear a published name without its parameter list being written
/// again.
#define SHIM_EXPORT_AS(function, implementation)                                                             \
    static decltype(&::function) resolve_##function() asm("shim_resolve_" #function) __attribute__((used));  \
    static decltype(&::function) resolve_##function()                                                        \
    {                                                                                                        \
        return &implementation;                                                                              \
    }                                                                                                        \
    extern "C" SHIM_EXPORT decltype(::function) SHIM_NAME(function)                                          \
        __attribute__((ifunc("shim_resolve_" #function)));
