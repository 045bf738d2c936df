#include "object_manager/vk_command_memory.h"

#include <atomic>

namespace {
std::atomic<uint64_t> change_count{0};
thread_local zelvar_object_manager_vk_command_memory* memory_of_thread = nullptr;
} // namespace

zelvar_object_manager_vk_command_memory::zelvar_object_manager_vk_command_memory() : _outer(memory_of_thread)
{
    memory_of_thread = this;
}

zelvar_object_manager_vk_command_memory::~zelvar_object_manager_vk_command_memory()
{
    memory_of_thread = _outer;
}

zelvar_object_manager_vk_command_memory* zelvar_object_manager_vk_command_memory::of_thread()
{
    return memory_of_thread;
}

uint64_t zelvar_object_manager_vk_command_memory::changes()
{
    return change_count.load(std::memory_order_acquire);
}

void zelvar_object_manager_vk_command_memory::note_change()
{
    change_count.fetch_add(1, std::memory_order_release);
}

void zelvar_object_manager_vk_command_memory::keep(pid_t pid, VkCommandBuffer target, uint64_t changes,
                                                   found_command_buffer found)
{
    _command_buffer = std::move(found);
    _buffer_pid = pid;
    _target = target;
    _buffer_changes = changes;
}

void zelvar_object_manager_vk_command_memory::keep(pid_t pid, tid_t tid, uint64_t changes, found_layout found)
{
    _layout = found;
    _layout_pid = pid;
    _layout_tid = tid;
    _layout_changes = changes;
}
