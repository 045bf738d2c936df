#include "host_tables.h"

#include <dlfcn.h>

namespace {
#ifdef ZELVAR_SANITIZED
// A sanitizer's interceptors must come first everywhere; it refuses deep binding.
constexpr int open_flags = RTLD_LAZY | RTLD_GLOBAL;
#else
// Deep binding keeps a driver on its own symbols when the simulator carries functions of the same names.
constexpr int open_flags = RTLD_LAZY | RTLD_DEEPBIND | RTLD_GLOBAL;
static_assert(open_flags == 265);
#endif
} // namespace

void* ldrOpen(const std::string& name)
{
    if (name.empty())
        return nullptr;
    return dlopen(name.c_str(), open_flags);
}

void* ldrSym(void* handle, const char* name)
{
    return dlsym(handle, name);
}

bool ldrClose(void* handle)
{
    return handle && dlclose(handle) == 0;
}
