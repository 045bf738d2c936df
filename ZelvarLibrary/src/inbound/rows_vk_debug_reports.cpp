// Messages of Vulkan debug reports.

#include "handlers/vk/debug_report_handlers.h"
#include "inbound/rows.h"
#include "inbound/vk_decoder.h"
#include "wire/wire.h"

constinit const built_row vk_debug_reports_rows[] = {
    VK_ROW(vk_create_debug_report_callback_ext, vk_vkCreateDebugReportCallbackEXT),
    VK_ROW(vk_destroy_debug_report_callback_ext, vk_vkDestroyDebugReportCallbackEXT),
    VK_ROW(vk_debug_report_message_ext, vk_vkDebugReportMessageEXT),
};
constinit const size_t vk_debug_reports_row_count =
    sizeof(vk_debug_reports_rows) / sizeof(vk_debug_reports_rows[0]);
