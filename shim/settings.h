#pragma once
// The settings that the library hands to each target process, in the block that it writes them to.

#include <cstdint>

namespace shim {

/// What the shim goes by. Constant from the first exchange on.
struct settings
{
    bool batch_commands = false;
    bool batch_target_commands = false; // requests to run a call that have no output want no confirmation
    bool call_on_target = false;        // messages carry results and error words of the target's own driver
    bool check_error_code = false;
    bool error_white_list = false;
    uint32_t log_level = 2;
    uint64_t white_list_text = 0; // address of names with commas between, in this process

    /// Takes the fields out of the 56 bytes that the library wrote.
    static settings from_block(const uint8_t* block);

    /// Whether the message of the entry point with this key carries the target's error word.
    bool has_error_word(const char* error_key) const;
};

} // namespace shim
