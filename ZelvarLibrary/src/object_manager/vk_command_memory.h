#pragma once
// What spares the commands of a batch the search for their command buffer and for their target's width.

#include "object_manager/vk_records.h"

/// While one lives, its thread remembers what it has found last, until a command buffer, a device, a worker
/// or a width changes anywhere. What is remembered stays alive: it must not outlive a message. May be nested.
class zelvar_object_manager_vk_command_memory
{
public:
    struct found_command_buffer
    {
        VkCommandBuffer host = VK_NULL_HANDLE;
        std::shared_ptr<_zelvar_object_manager_data_vk_device> device;
    };
    struct found_layout
    {
        uint32_t bits = 0;
        void* arena = nullptr;
    };

    zelvar_object_manager_vk_command_memory();
    ~zelvar_object_manager_vk_command_memory();
    zelvar_object_manager_vk_command_memory(const zelvar_object_manager_vk_command_memory&) = delete;
    zelvar_object_manager_vk_command_memory&
    operator=(const zelvar_object_manager_vk_command_memory&) = delete;

    /// This thread's, null outside of batches.
    static zelvar_object_manager_vk_command_memory* of_thread();
    /// Changes so far. Read before a search, so that a change during it makes the next call search again.
    static uint64_t changes();
    /// To be called with every change, under the lock that guards what changes.
    static void note_change();

    /// What a search would find, null when it has to be made.
    const found_command_buffer* command_buffer(pid_t pid, VkCommandBuffer target) const
    {
        return _command_buffer.device && _buffer_pid == pid && _target == target &&
                       _buffer_changes == changes()
                   ? &_command_buffer
                   : nullptr;
    }
    void keep(pid_t pid, VkCommandBuffer target, uint64_t changes, found_command_buffer found);
    const found_layout* layout(pid_t pid, tid_t tid) const
    {
        return _layout.bits && _layout_pid == pid && _layout_tid == tid && _layout_changes == changes()
                   ? &_layout
                   : nullptr;
    }
    void keep(pid_t pid, tid_t tid, uint64_t changes, found_layout found);

private:
    found_command_buffer _command_buffer;
    VkCommandBuffer _target = VK_NULL_HANDLE;
    pid_t _buffer_pid = 0;
    uint64_t _buffer_changes = 0;
    found_layout _layout;
    pid_t _layout_pid = 0;
    tid_t _layout_tid = 0;
    uint64_t _layout_changes = 0;
    zelvar_object_manager_vk_command_memory* _outer;
};
