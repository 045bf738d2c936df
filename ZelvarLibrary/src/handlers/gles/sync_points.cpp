// glFinish and glFlush.

#include "handlers/gles/gles_handlers.h"
#include "handlers/handler.h"

using gles_table = sidechannel_gles_imports;

void gles20_glFinish(pid_t pid, tid_t tid, gles_target_error target_error)
{
    gles_handler call{"gles20_glFinish", pid, tid, target_error};
    call.trace();
    if (call.lock("glFinish"))
        call.host<&gles_table::glFinish>();
}

void gles20_glFlush(pid_t pid, tid_t tid, gles_target_error target_error)
{
    gles_handler call{"gles20_glFlush", pid, tid, target_error};
    call.trace();
    if (call.lock("glFlush"))
        call.host<&gles_table::glFlush>();
}
