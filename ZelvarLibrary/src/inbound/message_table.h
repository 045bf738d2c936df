#pragma once
// The decoder table and what is known of each message by its type.

#include "zelvar_types.h"

#include <cstdint>

/// Takes one message apart and runs its handler, on the worker of the target thread.
using inbound_decoder = void (*)(pid_t pid, tid_t tid, void* message, uint32_t size);

/// How an entry point returns on the target.
enum class result_form : uint8_t
{
    none,
    fixed,          // `result_width` bytes
    target_pointer, // the target's pointer size
    vk_result,      // 4 bytes; failure is not zero
};

struct message_info
{
    const char* name = nullptr; // snake name; null where there is no row
    const char* key = nullptr;  // of the error check, e.g. "gles20_glClear"
    result_form form = result_form::none;
    uint8_t result_width = 0; // of the result on the wire
    bool is_egl = false;
    bool is_vk = false;
};

/// Row t - 1 serves type t. Rows 4 and 5 are empty.
extern inbound_decoder zelvar_LUT[600];
extern inbound_decoder* const pZelvar_LUT;

/// The row of a type, null for an empty row and for any number outside the table.
inbound_decoder zelvar_row_of_type(uint32_t type);
/// What is known of a type; an empty record for any number outside the table.
const message_info& message_info_of_type(uint32_t type);
/// Whether the handler of a type is built.
bool message_is_built(uint32_t type);

/// One row whose handler is built.
struct built_row
{
    uint32_t type;
    inbound_decoder decoder;
};

void zelvar_inbound_traffic_init();
void zelvar_inbound_traffic_deinit();
/// Stores the table for the batch decoder.
void zelvar_register_callbacks(inbound_decoder* table);
