#include "settings/settings_keys.h"

#include "frame_dump.h"
#include "sidechannel_log.h"
#include "zelvar/zelvar.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <limits>
#include <locale.h>

namespace {

using R = _runtime_settings;
using Z = _zelvar_settings;

struct setting_value
{
    const char* text;
    double number;
};

setting_value value_of(const char* text)
{
    // Numbers are written with a point whatever locale the simulator has chosen for its process.
    static const locale_t plain_locale = newlocale(LC_ALL_MASK, "C", nullptr);
    return {text, plain_locale ? strtod_l(text, nullptr, plain_locale) : std::strtod(text, nullptr)};
}

/// Truncates; what no 32-bit field can hold becomes its nearest bound, what is no number becomes 0.
int64_t integer_of(double number)
{
    if (std::isnan(number))
        return 0;
    constexpr double lowest = std::numeric_limits<int32_t>::min();
    constexpr double highest = std::numeric_limits<uint32_t>::max();
    return static_cast<int64_t>(std::clamp(number, lowest, highest));
}

void assign(bool& field, const setting_value& value)
{
    field = integer_of(value.number) != 0;
}

void assign(uint32_t& field, const setting_value& value)
{
    field = static_cast<uint32_t>(integer_of(value.number));
}

void assign(std::string& field, const setting_value& value)
{
    field = value.text;
}

template <class T>
T& field_of(settings_pair& pair, T R::*member)
{
    return pair.runtime.*member;
}

template <class T>
T& field_of(settings_pair& pair, T Z::*member)
{
    return pair.only.*member;
}

template <class T>
T& published_field(R& runtime, Z&, T R::*member)
{
    return runtime.*member;
}

template <class T>
T& published_field(R&, Z& only, T Z::*member)
{
    return only.*member;
}

template <class T>
void publish_field(T& field, T& fresh)
{
    if constexpr (std::is_trivially_copyable_v<T>)
        store_setting(field, fresh);
    else
        field.swap(fresh);
}

template <auto... Members>
void apply_to(settings_pair& pair, const setting_value& value)
{
    (assign(field_of(pair, Members), value), ...);
}

template <auto... Members>
void publish_to(settings_pair& fresh, R& runtime, Z& only)
{
    (publish_field(published_field(runtime, only, Members), field_of(fresh, Members)), ...);
}

void apply_call_on_target(settings_pair& pair, const setting_value& value)
{
    const int64_t mode = integer_of(value.number);
    if (mode < TARGET_GPU_NONE || mode > TARGET_GPU_REAL) {
        LOG_ALWAYS("WARN", "callOnTargetAPI option invalid. Must be between %d and %d", TARGET_GPU_NONE,
                   TARGET_GPU_REAL);
        return;
    }
    pair.runtime.callOnTargetAPI = static_cast<uint32_t>(mode);
    pair.runtime.callOnTarget = mode != TARGET_GPU_NONE;
}

uint32_t tpak_version_of(double number)
{
    struct known
    {
        double number;
        tpak_version_t version;
    };
    constexpr known versions[] = {{1.0, TPAK_VERSION_1_0}, {1.1, TPAK_VERSION_1_1}, {1.2, TPAK_VERSION_1_2}};
    for (const known& entry : versions) {
        if (std::fabs(number - entry.number) < std::numeric_limits<double>::epsilon())
            return entry.version;
    }
    return TPAK_VERSION_NONE;
}

void apply_tpak_version(settings_pair& pair, const setting_value& value)
{
    pair.only.tpakVersion = tpak_version_of(value.number);
    pair.only.tpakVersionLocked = pair.only.tpakVersion != TPAK_VERSION_NONE;
    if (!pair.only.tpakVersionLocked)
        LOG_ALWAYS("ERROR", "Incorrect TPAK version. Failed to set TPAK version.");
}

void apply_dump_count(settings_pair& pair, const setting_value& value)
{
    assign(pair.only.dumpNFrames, value);
    reset_zelvar_screenshot();
}

struct key_row
{
    settings_key_info info;
    void (*apply)(settings_pair& pair, const setting_value& value);
    void (*publish)(settings_pair& fresh, R& runtime, Z& only);
};

/// A row whose value goes into each of `Members` as it is.
template <auto... Members>
constexpr key_row row(settings_key_info info)
{
    return {info, &apply_to<Members...>, &publish_to<Members...>};
}

/// A row with an action of its own that writes `Members`.
template <auto Apply, auto... Members>
constexpr key_row action(settings_key_info info)
{
    return {info, Apply, &publish_to<Members...>};
}

constexpr key_row rows[] = {
    // Log.
    row<&R::shimLogLevel, &R::sidechannelLogLevel, &R::zelvarLogLevel>(
        {"LogLevel", "uint32", "2", "Sets the three log levels at once."}),
    row<&R::shimLogLevel>({"shimLogLevel", "uint32", "2", "Log level of the target's shim."}),
    row<&R::sidechannelLogLevel>({"sidechannelLogLevel", "uint32", "2",
                                  "Log level of this library: above 0 FATAL, 1 ERROR, 2 WARN, 6564 INFO, "
                                  "6565 DEBUG, 6566 TRACE, 6567 all."}),
    row<&R::zelvarLogLevel>({"zelvarLogLevel", "uint32", "2",
                             "Above 6565 frames are stamped with their number; from 6566 on the host's "
                             "display configs are listed."}),
    row<&Z::unbufferStdout>({"unbufferStdout", "bool", "0",
                             "Leaves standard output unbuffered; looked at when the library starts."}),
    row<&Z::printShaderSource>({"printShaderSource", "bool", "0", "Logs shader sources."}),

    // What runs on the target.
    action<&apply_call_on_target, &R::callOnTargetAPI, &R::callOnTarget>(
        {"callOnTargetAPI", "uint32", "0",
         "What stands on the target: 0 nothing, 1 a dummy driver, 2 a real driver over a GPU model."}),
    row<&R::ignoreTRV>(
        {"ignoreTRV", "bool", "0", "The shim uses the target's own results; implies calls on the target."}),
    row<&R::skipHostCalls>({"skipHostCalls", "bool", "1", "Read by the shim only."}),
    row<&R::requireKelvoEmulator>(
        {"requireKelvoEmulator", "bool", "1", "The host's EGL and OpenGL ES must be those of the emulator."}),

    // Batching.
    row<&R::batchCommands>({"batchCommands", "bool", "0", "The shim gathers calls into batches."}),
    row<&R::batchTargetCommands>({"batchTargetCommands", "bool", "0",
                                  "Requests to the target that need no answer are not waited for."}),
    row<&R::deferCommands>(
        {"deferCommands", "bool", "0", "State calls are held back until they are needed."}),

    // Error codes.
    row<&R::checkErrorCode>({"checkErrorCode", "bool", "0",
                             "Compares the error codes of target and host; needs callOnTargetAPI."}),
    row<&R::enableErrorCheckWhiteList>({"enableErrorCheckWhiteList", "bool", "0",
                                        "Compares only the entry points named in checkerrcode.ini."}),
    row<&R::dumpTargetErrorCalls>({"dumpTargetErrorCalls", "bool", "0", "Read by the shim only."}),
    row<&R::skipTargetErrorCalls>({"skipTargetErrorCalls", "bool", "0", "Read by the shim only."}),

    // Target memory.
    row<&Z::directTargetMemoryReads>({"directTargetMemoryReads", "bool", "0",
                                      "Target memory is read through the simulator, not through the shim."}),
    row<&Z::directTargetMemoryWrites>(
        {"directTargetMemoryWrites", "bool", "0",
         "Target memory is written through the simulator, not through the shim."}),

    // Host contexts, configs and shaders.
    row<&Z::skipeglDestroySurface>(
        {"skipeglDestroySurface", "bool", "0", "Surfaces of the host are not destroyed."}),
    row<&Z::forceHostContext2>(
        {"forceHostContext2", "bool", "0", "A context of major version 2 is version 2.0 on the host too."}),
    row<&Z::skipTargetGLVersionCheck>(
        {"skipTargetGLVersionCheck", "bool", "0", "A context version that the host lacks is tolerated."}),
    row<&Z::forceHostEGLConfigID>(
        {"forceHostEGLConfigID", "uint32", "0", "The host config of this id is used everywhere; 0 is off."}),
    row<&Z::forceHostDRM4CC>({"forceHostDRM4CC", "uint32", "0",
                              "Four-character code that replaces the format of host reads; 0 is off."}),
    row<&Z::shaderFilter>({"shaderFilter", "bool", "0", "Rewrites shader sources for the host."}),
    row<&Z::astcSaveImage>({"astcSaveImage", "bool", "0", "Stores each decoded ASTC image in a file."}),

    // Frame buffer and frame rate.
    row<&Z::fbWidth>({"fbWidth", "uint32", "0",
                      "Width in pixels that overrides the target's frame buffer; with fbHeight only."}),
    row<&Z::fbHeight>({"fbHeight", "uint32", "0",
                       "Height in pixels that overrides the target's frame buffer; with fbWidth only."}),
    row<&Z::cacheAndroidNativeBuffer>(
        {"cacheAndroidNativeBuffer", "bool", "0", "Frames that are not the screen are kept on the host."}),
    row<&Z::showFPS>({"showFPS", "bool", "0", "Draws the frame rate into the frames of the screen."}),
    row<&R::performanceProfile, &Z::performanceProfile>(
        {"performanceProfile", "bool", "0", "Counts the frame rate, on the host and in the shim."}),
    row<&Z::performanceProfileControl>(
        {"performanceProfileControl", "uint32", "0", "Stored, and read by nothing."}),

    // Compression.
    row<&Z::tpakForTRV>({"tpakForTRV", "bool", "0", "Compresses every frame for the target."}),
    row<&Z::tpakDecodeInPlace>(
        {"tpakDecodeInPlace", "bool", "0", "Decodes compressed frames again before they are written."}),
    action<&apply_tpak_version, &Z::tpakVersion, &Z::tpakVersionLocked>(
        {"tpakVersion", "version", "0", "Version of the compression, 1.0, 1.1 or 1.2; locks it."}),

    // GPU model.
    row<&Z::modelJobSlotLog>({"modelJobSlotLog", "bool", "0", "Asks the GPU model for its job slot log."}),
    row<&Z::modelAddrSpaceLog>(
        {"modelAddrSpaceLog", "bool", "0", "Asks the GPU model for its address space log."}),

    // Frame dumps.
    action<&apply_dump_count, &Z::dumpNFrames>(
        {"dumpNFrames", "uint32", "0", "Number of frames to dump for each application; 0 is off."}),
    row<&Z::skipDumpFrames>(
        {"skipDumpFrames", "uint32", "0", "Number of frames to skip before the first dump."}),
    row<&Z::loopDumpFrames>(
        {"loopDumpFrames", "bool", "0", "Dumps for ever, over the same dumpNFrames files."}),
    row<&Z::dumpFramesApp>(
        {"dumpFramesApp", "text", "", "Name of the only application to dump; empty means every one."}),
    row<&Z::dumpFramesDir>({"dumpFramesDir", "text", "", "Directory of the dumps; empty means frame_dumps."}),
    row<&Z::dumpFramesResolution>({"dumpFramesResolution", "text", "",
                                   "The only size to dump, as in 1280x720; empty means every size."}),
};

/// Fields that both presets turn off, in addition to those whose value depends on the preset.
void clear_preset_fields(settings_pair& pair)
{
    R& runtime = pair.runtime;
    Z& only = pair.only;
    runtime.batchTargetCommands = runtime.dumpTargetErrorCalls = runtime.skipTargetErrorCalls = false;
    runtime.deferCommands = runtime.callOnTarget = false;
    runtime.checkErrorCode = runtime.enableErrorCheckWhiteList = false;
    runtime.performanceProfile = runtime.ignoreTRV = false;
    only.directTargetMemoryReads = only.directTargetMemoryWrites = false;
    only.skipeglDestroySurface = only.forceHostContext2 = only.showFPS = false;
    only.performanceProfile = only.unbufferStdout = only.astcSaveImage = false;
    only.tpakForTRV = only.tpakDecodeInPlace = false;
    only.modelJobSlotLog = only.modelAddrSpaceLog = only.printShaderSource = false;
    only.forceHostDRM4CC = only.performanceProfileControl = only.forceHostEGLConfigID = 0;
    only.fbWidth = only.fbHeight = only.tpakVersion = 0;
}

void apply_preset(settings_pair& pair, bool fast)
{
    clear_preset_fields(pair);
    pair.runtime.skipHostCalls = true;
    pair.only.shaderFilter = true;
    pair.runtime.batchCommands = fast;
    pair.only.cacheAndroidNativeBuffer = fast;
}

constexpr auto key_infos = [] {
    std::array<settings_key_info, std::size(rows) + 1> infos{}; // ended by a null key
    for (size_t i = 0; i < std::size(rows); i++)
        infos[i] = rows[i].info;
    return infos;
}();

} // namespace

void apply_settings_defaults(settings_pair& pair)
{
    // The fields are zero already, and a zero must not set off a row's action.
    for (const key_row& row : rows) {
        if (const setting_value value = value_of(row.info.default_value); value.number != 0)
            row.apply(pair, value);
    }
}

void apply_settings_key(settings_pair& pair, const char* key, const char* value)
{
    for (const key_row& row : rows) {
        if (std::strcmp(row.info.key, key) == 0)
            return row.apply(pair, value_of(value));
    }
}

bool apply_settings_preset(settings_pair& pair, const char* key, const char* value)
{
    bool advanced = false;
    if (std::strcmp(key, "conformant") == 0) {
        LOG_INFO("conformant");
        apply_preset(pair, false);
    } else if (std::strcmp(key, "fast") == 0) {
        LOG_INFO("fast");
        apply_preset(pair, true);
    } else if (std::strcmp(key, "advanced") == 0) {
        assign(advanced, value_of(value));
    }
    return advanced;
}

void publish_settings_fields(settings_pair& fresh, _runtime_settings& runtime, _zelvar_settings& only)
{
    for (const key_row& row : rows)
        row.publish(fresh, runtime, only);
}

const settings_key_info* zelvar_settings_keys()
{
    return key_infos.data();
}
