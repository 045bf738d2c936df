#pragma once
// The settings: one block whose first 56 bytes are copied into target memory as they stand, and one for the
// host alone. Read from any thread without a lock; rewritten by publishing whole values while the settings
// exchange runs.

#include "wire/wire.h"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <type_traits>

/// Who runs the API on the target.
enum target_gpu : uint32_t
{
    TARGET_GPU_NONE = 0,  // nobody: the host answers everything
    TARGET_GPU_DUMMY = 1, // a dummy driver runs each call too; frames still go to target memory
    TARGET_GPU_REAL = 2,  // a real driver over a GPU model runs each call too; frames stay on the host
};

/// Names of entry points whose error codes are compared, by key.
using error_check_white_list = std::map<std::string, bool>;

/// Shared with the shim: the first 56 bytes are a wire format.
struct _runtime_settings
{
    uint32_t shimLogLevel;
    uint32_t sidechannelLogLevel;
    uint32_t zelvarLogLevel;
    uint32_t reserved_12;
    error_check_white_list* white_list; // host pointer, meaningless on the target
    const char* white_list_text;        // on the target its own pointer to the comma-separated list
    bool batchCommands;
    bool batchTargetCommands;
    bool dumpTargetErrorCalls;
    bool skipTargetErrorCalls;
    bool deferCommands;
    bool callOnTarget; // derived: callOnTargetAPI is not 0, or ignoreTRV
    bool requireKelvoEmulator;
    uint8_t reserved_39;
    uint32_t callOnTargetAPI;
    bool checkErrorCode;
    bool enableErrorCheckWhiteList;
    bool performanceProfile;
    bool ignoreTRV;
    bool skipHostCalls;
    uint8_t reserved_49[7];
};
static_assert(sizeof(_runtime_settings) == wire::settings_offset::size);
static_assert(offsetof(_runtime_settings, white_list) == 16);
static_assert(offsetof(_runtime_settings, white_list_text) == wire::settings_offset::white_list_text);
static_assert(offsetof(_runtime_settings, batchCommands) == wire::settings_offset::batch_commands);
static_assert(offsetof(_runtime_settings, callOnTarget) == wire::settings_offset::call_on_target);
static_assert(offsetof(_runtime_settings, callOnTargetAPI) == wire::settings_offset::call_on_target_api);
static_assert(offsetof(_runtime_settings, checkErrorCode) == wire::settings_offset::check_error_code);
static_assert(offsetof(_runtime_settings, skipHostCalls) == 48);

/// Host only. Text settings are read as copies through `zelvar_text_setting`. All zero before the file is
/// read.
struct _zelvar_settings
{
    bool directTargetMemoryReads;
    bool directTargetMemoryWrites;
    bool skipeglDestroySurface;
    bool forceHostContext2;
    uint32_t forceHostDRM4CC;
    bool skipTargetGLVersionCheck;
    bool shaderFilter;
    bool cacheAndroidNativeBuffer;
    bool showFPS;
    bool performanceProfile;
    bool unbufferStdout;
    bool tpakForTRV;
    bool tpakDecodeInPlace;
    bool astcSaveImage;
    bool tpakVersionLocked; // the file has set tpakVersion
    bool modelJobSlotLog;
    bool modelAddrSpaceLog;
    bool printShaderSource;
    uint32_t fbWidth;
    uint32_t fbHeight;
    uint32_t tpakVersion;
    uint32_t performanceProfileControl;
    uint32_t forceHostEGLConfigID;
    uint32_t dumpNFrames;
    uint32_t skipDumpFrames;
    bool loopDumpFrames;
    std::string dumpFramesApp;
    std::string dumpFramesDir;
    std::string dumpFramesResolution;
};

extern _runtime_settings zelvar_settings;
/// Names an object that is never destroyed, since workers may outlive the exit handlers.
extern _zelvar_settings& zelvar_only_settings;

/// Reads one setting while another thread may publish new ones.
template <class T>
T setting(const T& field)
{
    static_assert(std::is_trivially_copyable_v<T>, "text settings are read with zelvar_text_setting");
    return __atomic_load_n(&field, __ATOMIC_RELAXED);
}

/// A copy of a text setting, taken under the leaf lock of the settings.
std::string zelvar_text_setting(std::string _zelvar_settings::*field);

/// The flag "call on target": the target runs each call as well and has its own results.
inline bool zelvar_call_on_target()
{
    return setting(zelvar_settings.callOnTarget);
}
/// The word: what stands on the target. Decoders and the branches for modes 1 and 2 test it.
inline target_gpu zelvar_target_gpu()
{
    return static_cast<target_gpu>(setting(zelvar_settings.callOnTargetAPI));
}

/// Frame buffer size in pixels that counts as the screen, 0 until known.
extern std::atomic<uint32_t> fb_xres;
extern std::atomic<uint32_t> fb_yres;

/// Reads the settings file afresh; keys that are not in it go back to their defaults.
void zelvar_settings_init();
/// Reads checkerrcode.ini, once per process.
void load_error_check_white_list();

/// One settings key as documentation: name, type, default, sentence.
struct settings_key_info
{
    const char* key;
    const char* type;
    const char* default_value;
    const char* sentence;
};
/// All keys, ended by a null key.
const settings_key_info* zelvar_settings_keys();

// The error check list.
/// Whether messages of the entry point `name` ("gles20_glClear") carry the target's error word.
bool sidechannel_error_check_support(const _runtime_settings& settings, const char* name);
bool sidechannel_is_error_check_working(const _runtime_settings& settings);
/// Splits `text` at commas in place and sets each item true.
void sidechannel_error_check_white_list_init(error_check_white_list& list, char* text);
void sidechannel_error_check_white_list_deinit(error_check_white_list& list);

/// The library's 40-digit revision.
extern const char zelvar_revision[];
