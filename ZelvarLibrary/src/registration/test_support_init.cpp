// Brings the object manager up without a simulator and without a target.

#include "object_manager/zelvar_object_manager.h"
#include "zelvar_test_support.h"

namespace {
constexpr uint64_t made_up_context = 0xabcdefab;
constexpr pid_t process = 0;
constexpr tid_t thread = 0;
} // namespace

void zelvar_test_support_init()
{
    zelvar_object_manager_init(true);
    zelvar_object_manager_ensure_process_record(process);
    zelvar_object_manager_add_context(process, thread, reinterpret_cast<EGLContext>(made_up_context), nullptr,
                                      made_up_context, 0, 3, 1, 3, 1);
    // Not `created`: only a plain bind makes the context the thread's current one.
    zelvar_object_manager_bind_context_to_thread(process, made_up_context, thread, 0, 0, false);
}
