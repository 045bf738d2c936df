// The OpenGL ES entry points.

#include "shim/call.h"
#include "shim/client_arrays.h"
#include "shim/configs.h"
#include "shim/exports.h"
#include "shim/oes_mapbuffer.h"
#include "shim/proc_address.h"

namespace shim {

template <>
struct entry<wire::inbound::gles30_unmap_buffer, decltype(glUnmapBuffer)>
{
    static GLboolean call(GLenum target)
    {
        // A target with a driver of its own unmaps between two stages; here the first is all.
        constexpr uint32_t first_stage = 1;
        const thread_state* self = this_thread();
        const bool surely_mapped = self && self->vertices && self->vertices->take_mapped(target);
        // The memory that was mapped stays as it is until the library has read and freed it.
        if (surely_mapped &&
            leave_answered<wire::inbound::gles30_unmap_buffer, GLboolean>(target, first_stage))
            return GL_TRUE;
        return send_message<wire::inbound::gles30_unmap_buffer, GLboolean>(target, first_stage);
    }
};

template <>
struct entry<wire::inbound::gles30_map_buffer_range, decltype(glMapBufferRange)>
{
    static void* call(GLenum target, GLintptr offset, GLsizeiptr length, GLbitfield access)
    {
        constexpr uint32_t id = wire::inbound::gles30_map_buffer_range;
        thread_state* self = this_thread();
        if (!self || !build_message<id, void*>(*self, nullptr, target, offset, length, access))
            return nullptr;
        const bool can_be_mapped = length > 0 && length <= INT32_MAX;
        void* const mapped =
            result_of<void*>(self->messages.send(can_be_mapped ? static_cast<uint32_t>(length) : 0));
        if (mapped && self->vertices)
            self->vertices->note_mapped(target);
        return mapped;
    }
};

template <>
struct entry<wire::inbound::gles20_get_string, decltype(glGetString)>
{
    static const GLubyte* call(GLenum name)
    {
        const auto text = send_message<wire::inbound::gles20_get_string, const GLubyte*>(name);
        return name == GL_EXTENSIONS ? with_mapbuffer_extension(text) : text;
    }
};

template <>
struct entry<wire::inbound::gles20_get_integerv, decltype(glGetIntegerv)>
{
    static void call(GLenum name, GLint* values)
    {
        send_message<wire::inbound::gles20_get_integerv, void>(name, values);
        if (name == GL_NUM_EXTENSIONS && values && *values > 0)
            ++*values;
    }
};

template <>
struct entry<wire::inbound::gles30_get_stringi, decltype(glGetStringi)>
{
    static const GLubyte* call(GLenum name, GLuint index)
    {
        GLint known = -1;
        if (name == GL_EXTENSIONS)
            send_message<wire::inbound::gles20_get_integerv, void>(GLenum{GL_NUM_EXTENSIONS}, &known);
        if (known > 0 && index == static_cast<GLuint>(known))
            return reinterpret_cast<const GLubyte*>(mapbuffer_extension);
        return send_message<wire::inbound::gles30_get_stringi, const GLubyte*>(name, index);
    }
};

template <>
struct entry<wire::inbound::gles20_clear, decltype(glClear)>
{
    static void call(GLbitfield mask)
    {
        const thread_state* self = this_thread();
        const bool clears_twin =
            self && self->vertices && self->current.draw_is_twin && self->vertices->draw_framebuffer == 0;
        send_message<wire::inbound::gles20_clear, void>(clears_twin ? twin_clear_mask(mask) : mask);
    }
};

template <>
struct entry<wire::inbound::gles20_draw_arrays, decltype(glDrawArrays)>
{
    static void call(GLenum mode, GLint first, GLsizei count)
    {
        const client_arrays copied{this_thread(), first, count};
        send_message<wire::inbound::gles20_draw_arrays, void>(mode, first, count);
    }
};

template <>
struct entry<wire::inbound::gles20_draw_elements, decltype(glDrawElements)>
{
    static void call(GLenum mode, GLsizei count, GLenum type, const void* indices)
    {
        const client_arrays copied{this_thread(), count, type, indices};
        send_message<wire::inbound::gles20_draw_elements, void>(mode, count, type, copied.indices());
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
