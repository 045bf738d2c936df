#include "handlers/handler.h"

#include <cinttypes>
#include <cstdio>
#include <string>

namespace handler_detail {
void print_trace(const char* handler, pid_t pid, tid_t tid, const trace_value* values, size_t count)
{
    std::string arguments;
    char text[64];
    for (size_t i = 0; i < count; ++i) {
        const trace_value& v = values[i];
        if (v.kind == trace_value::real)
            std::snprintf(text, sizeof(text), "=[%f]", v.fraction);
        else if (v.kind == trace_value::address)
            std::snprintf(text, sizeof(text), "=[%#" PRIx64 "]", v.number);
        else
            std::snprintf(text, sizeof(text), "=[%" PRId64 "]", v.number);
        arguments.append(" ").append(v.name).append(text);
    }
    LOG_DEBUG("%s(target_process_id=[%d] target_thread_id=[%ld]%s)", handler, pid, static_cast<long>(tid),
              arguments.c_str());
}
} // namespace handler_detail

_zelvar_context_data* handler_frame::lock(const char* function)
{
    if (_context)
        return _context;
    _context = zelvar_object_manager_lock_context_data(pid, tid);
    if (_context)
        return _context;
    if (function)
        LOG_FATAL("Could not acquire context data for <%d, %ld> pid/tid pair. %s() will not execute.", pid,
                  static_cast<long>(tid), function);
    else
        LOG_FATAL("Could not retrieve context data for <%d, %ld> pid/tid pair.", pid, static_cast<long>(tid));
    return nullptr;
}

void handler_frame::unlock()
{
    if (_context)
        zelvar_object_manager_unlock_context_data(_context);
    _context = nullptr;
}
