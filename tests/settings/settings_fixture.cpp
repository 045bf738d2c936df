#include "settings/settings_fixture.h"

#include "frame_dump.h"
#include "object_manager/zelvar_object_manager.h"
#include "shim/zelvar_shim_dispatch.h"
#include "sidechannel_log.h"

#include <cstdlib>
#include <fstream>

fake_target target;

bool zelvar_object_manager_set_target_bit(pid_t, tid_t, uint32_t bits)
{
    target.target_bits = bits;
    target.log_level_when_bits_were_set = sidechannel_log_level;
    return true;
}

void zelvar_shim_dispatch_write_to_shim_address_space_force(pid_t pid, tid_t tid, uint32_t size,
                                                            const void* source, target_ptr address)
{
    target.writes.push_back({pid, tid, address.address, std::string(static_cast<const char*>(source), size)});
}

void zelvar_shim_dispatch_allocate_memory_block(pid_t, tid_t, uint32_t size, target_ptr* address)
{
    target.allocations.push_back(size);
    address->address = target.allocation_address;
}

void zelvar_shim_dispatch_leave_message_processing_loop(pid_t, tid_t)
{
    target.leave_messages++;
}

void reset_zelvar_screenshot()
{
    target.screenshot_resets++;
}

void settings_files::SetUp()
{
    std::string pattern = (std::filesystem::temp_directory_path() / "zelvar-settings-XXXXXX").string();
    ASSERT_NE(mkdtemp(pattern.data()), nullptr);
    directory = pattern;
    std::filesystem::current_path(directory);
    unsetenv("TRV_ZELVAR_SETTINGS_PATH");
    target = {};
}

void settings_files::TearDown()
{
    std::filesystem::current_path("/");
    std::filesystem::remove_all(directory);
}

void settings_files::write_file(const std::string& name, const std::string& text)
{
    std::ofstream{directory / name, std::ios::binary} << text;
}

std::string settings_files::read(const std::string& text)
{
    write_file("settings.ini", text);
    return read_again();
}

std::string settings_files::read_again()
{
    testing::internal::CaptureStdout();
    zelvar_settings_init();
    return testing::internal::GetCapturedStdout();
}
