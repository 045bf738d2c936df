#pragma once
// A simulator by another hand. Nothing here or in its source comes from the library's headers.

#include <cstdint>
#include <string>
#include <vector>

struct ForeignRun
{
    int32_t written = 0;
    int32_t read = 0;
    std::vector<uint8_t> answer;
    std::vector<std::string> model_calls;
    bool same_plugin_twice = false;
};

/// Opens a channel, writes `message`, reads an answer of at most `length` bytes and closes the channel.
ForeignRun foreign_simulator_run(const std::vector<uint8_t>& message, uint32_t length);
