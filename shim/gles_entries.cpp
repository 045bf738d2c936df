// The OpenGL ES entry points.

#include "shim/call.h"
#include "shim/exports.h"
#include "shim/proc_address.h"

namespace shim {

template <>
struct entry<wire::inbound::gles30_unmap_buffer, decltype(glUnmapBuffer)>
{
    static GLboolean call(GLenum target)
    {
        // A target with a driver of its own unmaps between two stages; here the first is all.
        constexpr uint32_t first_stage = 1;
        return send_message<wire::inbound::gles30_unmap_buffer, GLboolean>(target, first_stage);
    }
};

#define ZELVAR_MESSAGE(id, name, group, function) using entry_##id = entry<id, decltype(::function)>;
#include "wire/messages_gles.inc"
#undef ZELVAR_MESSAGE

} // namespace shim

#define ZELVAR_MESSAGE(id, name, group, function) SHIM_EXPORT_AS(function, shim::entry_##id::call)
#include "wire/messages_gles.inc"
#undef ZELVAR_MESSAGE

namespace shim {

const named_entry_point gles_entry_points[] = {
#define ZELVAR_MESSAGE(id, name, group, function)                                                            \
    {#function, reinterpret_cast<entry_point>(&entry_##id::call)},
#include "wire/messages_gles.inc"
#undef ZELVAR_MESSAGE
    {nullptr, nullptr},
};

} // namespace shim
