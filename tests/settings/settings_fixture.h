#pragma once
// A working directory of its own with the files that settings are read from, and a recording target.

#include "settings/zelvar_settings.h"
#include "zelvar_types.h"

#include <cstdint>
#include <filesystem>
#include <gtest/gtest.h>
#include <string>
#include <vector>

/// What the code under test asked of the registry, the target and the frame dumps.
struct fake_target
{
    struct write
    {
        pid_t pid;
        tid_t tid;
        uint64_t address;
        std::string bytes;
    };
    std::vector<write> writes;
    std::vector<uint32_t> allocations; // sizes
    uint64_t allocation_address = 0;   // answer; 0 is a failure
    uint32_t target_bits = 0;
    int leave_messages = 0;
    int screenshot_resets = 0;
    // The library as the target's bits were stored: the file must not have been read again by then.
    uint32_t log_level_when_bits_were_set = 0;
};
extern fake_target target;

class settings_files : public testing::Test
{
protected:
    void SetUp() override;
    void TearDown() override;

    void write_file(const std::string& name, const std::string& text);
    /// Reads `text` as the settings file; returns what was printed.
    std::string read(const std::string& text);
    /// Reads again whatever file there is.
    std::string read_again();

    std::filesystem::path directory;
};

inline bool contains(const std::string& text, const std::string& part)
{
    return text.find(part) != std::string::npos;
}
