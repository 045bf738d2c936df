// Messages of Vulkan queues, of what they wait for, of queries and command buffers, in the order of the
// message list.

#include "handlers/vk/queue_handlers.h"
#include "inbound/rows.h"
#include "inbound/vk_decoder.h"
#include "wire/wire.h"

constinit const built_row vk_queues_rows[] = {
    VK_ROW(vk_queue_submit, vk_vkQueueSubmit),
    VK_ROW(vk_queue_wait_idle, vk_vkQueueWaitIdle),
    VK_ROW(vk_device_wait_idle, vk_vkDeviceWaitIdle),
    VK_ROW(vk_queue_bind_sparse, vk_vkQueueBindSparse),
    VK_ROW(vk_create_fence, vk_vkCreateFence),
    VK_ROW(vk_destroy_fence, vk_vkDestroyFence),
    VK_ROW(vk_reset_fences, vk_vkResetFences),
    VK_ROW(vk_get_fence_status, vk_vkGetFenceStatus),
    VK_ROW(vk_wait_for_fences, vk_vkWaitForFences),
    VK_ROW(vk_create_semaphore, vk_vkCreateSemaphore),
    VK_ROW(vk_destroy_semaphore, vk_vkDestroySemaphore),
    VK_ROW(vk_create_event, vk_vkCreateEvent),
    VK_ROW(vk_destroy_event, vk_vkDestroyEvent),
    VK_ROW(vk_get_event_status, vk_vkGetEventStatus),
    VK_ROW(vk_set_event, vk_vkSetEvent),
    VK_ROW(vk_reset_event, vk_vkResetEvent),
    VK_ROW(vk_create_query_pool, vk_vkCreateQueryPool),
    VK_ROW(vk_destroy_query_pool, vk_vkDestroyQueryPool),
    VK_ROW(vk_get_query_pool_results, vk_vkGetQueryPoolResults),
    VK_ROW(vk_create_command_pool, vk_vkCreateCommandPool),
    VK_ROW(vk_destroy_command_pool, vk_vkDestroyCommandPool),
    VK_ROW(vk_reset_command_pool, vk_vkResetCommandPool),
    VK_ROW(vk_allocate_command_buffers, vk_vkAllocateCommandBuffers),
    VK_ROW(vk_free_command_buffers, vk_vkFreeCommandBuffers),
    VK_ROW(vk_begin_command_buffer, vk_vkBeginCommandBuffer),
    VK_ROW(vk_end_command_buffer, vk_vkEndCommandBuffer),
    VK_ROW(vk_reset_command_buffer, vk_vkResetCommandBuffer),
};
constinit const size_t vk_queues_row_count = sizeof(vk_queues_rows) / sizeof(vk_queues_rows[0]);
