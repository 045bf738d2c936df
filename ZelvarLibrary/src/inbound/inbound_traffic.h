#pragma once
// The first step of the inbound road: framing checks on a complete message.

#include <cstdint>
#include <sys/types.h>

/// The type of a message, or 0xffffffff for null, for a length of exactly 4 and for types above 601.
uint32_t sidechannel_message_header_get_type(const void* message, uint32_t length);
/// Fills both outputs when the header is whole; leaves them as they were otherwise.
void sidechannel_message_header_get_process_and_thread_id(const void* message, uint32_t length, int* pid,
                                                          unsigned long* tid);
