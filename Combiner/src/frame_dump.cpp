#include "frame_dump.h"

#include "settings/zelvar_settings.h"
#include "sidechannel_log.h"
#include "sidechannel_primitives.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <fstream>
#include <limits>
#include <map>
#include <sys/stat.h>
#include <unistd.h>

namespace {

// Guards the counters, and orders the dumps of one application; a leaf.
critical_section__*& dump_lock()
{
    static critical_section__* cs = critical_section_create();
    return cs;
}

std::map<std::string, uint32_t>& app_name_to_dump_image_counter_map()
{
    static auto* counters = new std::map<std::string, uint32_t>;
    return *counters;
}

/// Whether `text`, a number, one character, a number, names this size.
bool matches_resolution(const std::string& text, uint32_t width, uint32_t height)
{
    const auto low_16_bits = [](unsigned long long number) { return static_cast<uint32_t>(number & 0xffff); };
    char* end = nullptr;
    const uint32_t wanted_width = low_16_bits(std::strtoull(text.c_str(), &end, 10));
    if (*end != '\0')
        end++;
    const uint32_t wanted_height = low_16_bits(std::strtoull(end, nullptr, 10));
    return wanted_width == width && wanted_height == height;
}

std::string dump_directory()
{
    std::string directory = zelvar_text_setting(&_zelvar_settings::dumpFramesDir);
    if (directory.empty()) {
        LOG_INFO("dumpFramesDir setting is empty. Images will be dumped in directory 'frame_dumps'");
        directory = "./frame_dumps";
    }
    return directory;
}

bool make_directory(const std::string& directory)
{
    if (directory_exists(directory) || mkdir(directory.c_str(), 0755) == 0)
        return true;
    LOG_ERROR("Could not create directory %s. Failed with ERRNO %d.", directory.c_str(), errno);
    return false;
}

/// The product, or the largest number: no file can be that long, so the write fails.
uint64_t dump_size(uint32_t width, uint32_t height, uint32_t bits_per_pixel)
{
    uint64_t size = uint64_t{width} * height;
    if (__builtin_mul_overflow(size, bits_per_pixel / 8, &size))
        size = std::numeric_limits<uint64_t>::max();
    return size;
}

/// Writes what the block holds and lets the file grow with zeros to the length that the frame should have.
bool write_frame(const std::string& path, const uint8_t* pixels, uint64_t pixels_size, uint64_t size)
{
    if (size > static_cast<uint64_t>(std::numeric_limits<off_t>::max()))
        return false;
    if (!write_file_binary(path, pixels, std::min(size, pixels_size)))
        return false;
    return pixels_size >= size || truncate(path.c_str(), static_cast<off_t>(size)) == 0;
}

std::string dump_path(const std::string& directory, const std::string& app_name, uint32_t counter,
                      uint32_t width, uint32_t height)
{
    return directory + "/" + app_name + "_" + std::to_string(counter) + "_" + std::to_string(width) + "x" +
           std::to_string(height) + ".dump";
}

} // namespace

bool zelvar_screenshot_should_proceed(uint32_t width, uint32_t height, const std::string& app_name)
{
    if (setting(zelvar_only_settings.dumpNFrames) == 0)
        return false;
    const std::string wanted_app = zelvar_text_setting(&_zelvar_settings::dumpFramesApp);
    if (!wanted_app.empty() && wanted_app != app_name) {
        LOG_DEBUG("Zelvar screenshot will not proceed for app %s", app_name.c_str());
        return false;
    }
    const std::string resolution = zelvar_text_setting(&_zelvar_settings::dumpFramesResolution);
    if (!resolution.empty() && !matches_resolution(resolution, width, height)) {
        LOG_DEBUG("Zelvar screenshot will not proceed for resolution %dx%d", width, height);
        return false;
    }
    return true;
}

bool zelvar_screenshot_dump_frame_to_file(uint32_t bits_per_pixel, const uint8_t* pixels,
                                          uint64_t pixels_size, uint32_t width, uint32_t height,
                                          const std::string& app_name)
{
    const bool loop = setting(zelvar_only_settings.loopDumpFrames);
    const uint32_t skipped = loop ? 0 : setting(zelvar_only_settings.skipDumpFrames);
    const uint64_t limit = uint64_t{setting(zelvar_only_settings.dumpNFrames)} + skipped;

    Autolock dump_guard{dump_lock()};
    uint32_t& counter = app_name_to_dump_image_counter_map()[app_name];
    if (counter < skipped) {
        LOG_INFO("Skipping image dump %d", counter);
        counter++;
        return true;
    }
    if (counter >= limit)
        return true;
    if (width == 0 || height == 0) {
        LOG_ERROR("Cannot dump Size 0 frame. Requested size was %dx%d", width, height);
        return false;
    }
    const std::string directory = dump_directory();
    if (!make_directory(directory))
        return false;

    const uint64_t size = dump_size(width, height, bits_per_pixel);
    LOG_INFO("Dumping image %d of size %d bytes", counter, static_cast<int>(size));
    // A frame that can't be written counts all the same.
    if (!write_frame(dump_path(directory, app_name, counter, width, height), pixels, pixels_size, size))
        LOG_ERROR("Could not dump surface of %dx%d", width, height);
    counter = loop ? static_cast<uint32_t>((counter + uint64_t{1}) % limit) : counter + 1;
    return true;
}

void reset_zelvar_screenshot()
{
    Autolock dump_guard{dump_lock()};
    app_name_to_dump_image_counter_map().clear();
}

bool write_file_binary(const std::string& path, const void* data, uint64_t size)
{
    std::ofstream file{path, std::ios::binary};
    file.write(static_cast<const char*>(data), static_cast<std::streamsize>(size));
    file.close();
    return file.good();
}

bool directory_exists(const std::string& path)
{
    struct stat status;
    return stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}
