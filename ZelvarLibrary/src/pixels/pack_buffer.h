#pragma once
// The application's pack buffer, which must be out of the way when pixels are read for the library itself.

#include "data_model/zelvar_data_model.h"
#include "registration/host_call.h"
#include "sidechannel_log.h"

/// Takes the application's pack buffer off the host for the length of a read-back.
class pack_buffer_off
{
public:
    explicit pack_buffer_off(const _zelvar_context_data& context, uint32_t target_buffer)
        : _context(context), _target_buffer(target_buffer)
    {
        if (!_target_buffer)
            return;
        auto unbound = host::gl<&sidechannel_gles_imports::glBindBuffer>(GL_PIXEL_PACK_BUFFER, 0);
        if (!unbound.ok())
            LOG_ERROR(
                "FAIL to unbind GL_PIXEL_PACK_BUFFER with error code [%#x], the later glReadPixels call may "
                "lead the Combiner to unexpected behavior.",
                unbound.error);
    }
    ~pack_buffer_off()
    {
        if (!_target_buffer)
            return;
        Autolock objects_lock{_context.data_shared->objects.section};
        auto found = _context.data_shared->buffers.find(_target_buffer);
        if (found == _context.data_shared->buffers.end()) {
            LOG_FATAL("Could not retrieve host-side bound buffer id. FAIL to bind the buffer back to "
                      "GL_PIXEL_PACK_BUFFER.");
            return;
        }
        auto bound =
            host::gl<&sidechannel_gles_imports::glBindBuffer>(GL_PIXEL_PACK_BUFFER, found->second.host_id);
        if (!bound.ok())
            LOG_ERROR(
                "FAIL to bind GL_PIXEL_PACK_BUFFER back with error code [%#x]. It's unlikely to restore the "
                "Host-side render state.",
                bound.error);
    }
    pack_buffer_off(const pack_buffer_off&) = delete;
    pack_buffer_off& operator=(const pack_buffer_off&) = delete;

private:
    const _zelvar_context_data& _context;
    uint32_t _target_buffer;
};
