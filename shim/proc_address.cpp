#include "shim/proc_address.h"

#include "shim/hardware_buffers.h"
#include "shim/oes_mapbuffer.h"

#include <cstring>
#include <initializer_list>

namespace shim {

namespace {

entry_point find_in(const named_entry_point* list, const char* name)
{
    for (; list->name; ++list)
        if (std::strcmp(list->name, name) == 0)
            return list->address;
    return nullptr;
}

} // namespace

entry_point find_entry_point(const char* name)
{
    if (std::strncmp(name, "gl", 2) == 0) {
        const entry_point found = find_in(gles_entry_points, name);
        return found ? found : find_in(mapbuffer_entry_points, name);
    }
    if (std::strncmp(name, "egl", 3) != 0)
        return nullptr;
    for (const named_entry_point* list : {egl_entry_points, egl15_entry_points, android_entry_points})
        if (const entry_point found = find_in(list, name))
            return found;
    return nullptr;
}

} // namespace shim
