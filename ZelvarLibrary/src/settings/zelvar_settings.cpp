// Reading the settings file: each pass builds a fresh pair of blocks and publishes it at the end, so that no
// reader meets a half-read file.
#include "settings/zelvar_settings.h"

#include "settings/settings_keys.h"
#include "settings/white_list.h"
#include "sidechannel_log.h"
#include "sidechannel_primitives.h"
#include "zelvar/zelvar.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

constinit _runtime_settings zelvar_settings{};
constinit std::atomic<uint32_t> fb_xres{0};
constinit std::atomic<uint32_t> fb_yres{0};

namespace {

/// Keeps the destructors of the text settings away from the end of the process.
union host_settings
{
    host_settings() : value{} {}
    ~host_settings() {}
    _zelvar_settings value;
};
host_settings host_settings_storage;

critical_section__*& text_lock()
{
    static critical_section__* cs = critical_section_create();
    return cs;
}

struct file_closer
{
    void operator()(FILE* file) const { std::fclose(file); }
};
using file_handle = std::unique_ptr<FILE, file_closer>;

std::string working_directory()
{
    std::unique_ptr<char, decltype(&std::free)> path{getcwd(nullptr, 0), &std::free};
    return path ? std::string{path.get()} : std::string{};
}

std::string find_settings_file()
{
    if (const char* path = std::getenv("TRV_ZELVAR_SETTINGS_PATH")) {
        LOG_ALWAYS("INFO", "TRV_ZELVAR_SETTINGS_PATH is set.");
        return path;
    }
    if (const std::string directory = working_directory(); !directory.empty())
        LOG_ALWAYS("INFO", "Reading settings.ini from CWD: %s", directory.c_str());
    else
        LOG_ALWAYS("INFO", "Failed to get CWD.");
    return "settings.ini";
}

/// Null for a directory too: fopen takes it, but every read fails.
file_handle open_settings_file(const std::string& path)
{
    struct stat status;
    if (stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode))
        return nullptr;
    return file_handle{std::fopen(path.c_str(), "r")};
}

constexpr int line_capacity = 1024;
#define ZELVAR_WORD "%1023s" // a word of a line always fits

/// What one pass carries from line to line.
struct line_reader
{
    settings_pair& fresh;
    bool advanced = true;
    // A key without a value takes the value of the line before it: the buffer is not cleared.
    char value[line_capacity] = "";

    void apply(const char* line)
    {
        char key[line_capacity];
        if (std::sscanf(line, "#" ZELVAR_WORD, key) == 1)
            return;
        if (std::sscanf(line, ZELVAR_WORD " " ZELVAR_WORD, key, value) < 1)
            return;
        if (advanced)
            apply_settings_key(fresh, key, value);
        else
            advanced = apply_settings_preset(fresh, key, value);
    }
};

void read_settings_file(FILE* file, settings_pair& fresh)
{
    line_reader reader{fresh};
    char line[line_capacity];
    while (std::fgets(line, sizeof line, file)) {
        reader.apply(line);
        // The gate follows line by line, so that a file can make its own reading visible.
        sidechannel_set_log_level(static_cast<int>(fresh.runtime.sidechannelLogLevel));
    }
}

void resolve_error_check(_runtime_settings& runtime)
{
    if (runtime.callOnTarget) {
        if (runtime.checkErrorCode && runtime.enableErrorCheckWhiteList)
            load_error_check_white_list();
        if (!runtime.checkErrorCode && runtime.enableErrorCheckWhiteList) {
            runtime.enableErrorCheckWhiteList = false;
            LOG_ALWAYS("WARN",
                       "Failed to turn ON enableErrorCheckWhiteList option, since checkErrorCode is OFF.");
        }
        return;
    }
    if (runtime.checkErrorCode) {
        runtime.checkErrorCode = false;
        LOG_ALWAYS("WARN", "Failed to turn ON checkErrorCode option, since callOnTargetAPI is OFF.");
    }
    if (runtime.enableErrorCheckWhiteList) {
        runtime.enableErrorCheckWhiteList = false;
        LOG_ALWAYS("WARN",
                   "Failed to turn ON enableErrorCheckWhiteList option, since callOnTargetAPI is OFF.");
    }
}

void resolve_dependencies(_runtime_settings& runtime)
{
    if (runtime.ignoreTRV)
        runtime.callOnTarget = true;
    resolve_error_check(runtime);
    if (runtime.performanceProfile && runtime.batchCommands) {
        runtime.performanceProfile = false;
        LOG_ALWAYS("WARN",
                   "Part of performanceProfile functions will be turned OFF, since batchCommands is ON.");
    }
}

void publish(settings_pair& fresh)
{
    Autolock text_guard{text_lock()};
    publish_settings_fields(fresh, zelvar_settings, zelvar_only_settings);
    publish_white_list();
}

} // namespace

constinit _zelvar_settings& zelvar_only_settings = host_settings_storage.value;

void zelvar_settings_init()
{
    settings_pair fresh;
    apply_settings_defaults(fresh);

    const std::string path = find_settings_file();
    LOG_ALWAYS("INFO", "Reading settings from %s", path.c_str());
    if (const file_handle file = open_settings_file(path))
        read_settings_file(file.get(), fresh);
    else
        LOG_ALWAYS("WARN", "Failed to open settings file at %s.", path.c_str());

    resolve_dependencies(fresh.runtime);
    publish(fresh);

    static std::atomic<bool> first_pass{true};
    if (first_pass.exchange(false) && fresh.only.unbufferStdout) {
        std::fflush(stdout);
        std::setvbuf(stdout, nullptr, _IONBF, 0);
    }
}

void load_error_check_white_list()
{
    static std::atomic<bool> loaded{false};
    if (loaded.exchange(true))
        return;
    const file_handle file{std::fopen("checkerrcode.ini", "r")};
    if (!file) {
        LOG_ALWAYS("WARN", "Failed to open checkerrcode.ini file.");
        return;
    }
    error_check_white_list entries;
    char line[line_capacity];
    // A line that doesn't parse leaves both as the line before it set them.
    int enabled = 0;
    char name[line_capacity] = "";
    while (std::fgets(line, sizeof line, file.get())) {
        std::sscanf(line, "%d " ZELVAR_WORD, &enabled, name);
        if (enabled != 0 && name[0] != '\0')
            entries[name] = true;
    }
    replace_white_list(std::move(entries));
    if (const std::string directory = working_directory(); !directory.empty())
        LOG_ALWAYS("INFO", "Read checkerrcode.ini file at %s", directory.c_str());
}

std::string zelvar_text_setting(std::string _zelvar_settings::*field)
{
    Autolock text_guard{text_lock()};
    return zelvar_only_settings.*field;
}

bool zelvar_set_tpak_version(tpak_version_t version)
{
    if (setting(zelvar_only_settings.tpakVersionLocked))
        return false;
    store_setting(zelvar_only_settings.tpakVersion, static_cast<uint32_t>(version));
    return true;
}

uint32_t zelvar_getModelOptions()
{
    uint32_t options = uint32_t{1} << 31;
    if (setting(zelvar_only_settings.modelJobSlotLog))
        options |= 1;
    if (setting(zelvar_only_settings.modelAddrSpaceLog))
        options |= 2;
    if (zelvar_target_gpu() == TARGET_GPU_REAL)
        options |= 4;
    return options;
}
