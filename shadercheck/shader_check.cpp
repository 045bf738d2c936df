#include "shadercheck/shader_check.h"

#include <spirv-tools/libspirv.h>

#include <cstdio>
#include <cstring>
#include <memory>

namespace {
template <class T, void (*End)(T*)>
struct ender
{
    void operator()(T* object) const { End(object); }
};
template <class T, void (*End)(T*)>
using owned = std::unique_ptr<T, ender<T, End>>;

// Beyond what applications have, and little enough for the time and memory that it takes to look.
constexpr size_t most_words = 1 << 20;
constexpr uint32_t most_ids = 1 << 20;
constexpr uint32_t deepest_nesting = 256; // compilers call themselves for each level

/// What may pass: whatever any version of Vulkan and any of its features allows, since it isn't known here
/// what the application has asked for. Layouts of blocks are only read by the shader itself.
void be_tolerant(spv_validator_options options)
{
    spvValidatorOptionsSetRelaxStoreStruct(options, true);
    spvValidatorOptionsSetScalarBlockLayout(options, true);
    spvValidatorOptionsSetWorkgroupScalarBlockLayout(options, true);
    spvValidatorOptionsSetUniformBufferStandardLayout(options, true);
    spvValidatorOptionsSetAllowLocalSizeId(options, true);
}

int refused(char* text, size_t size, const char* reason)
{
    if (size > 0)
        std::snprintf(text, size, "%.*s", static_cast<int>(std::strcspn(reason, "\n")), reason);
    return -1;
}

int check(const uint32_t* words, size_t count, char* text, size_t size)
{
    const owned<spv_context_t, spvContextDestroy> context{spvContextCreate(SPV_ENV_VULKAN_1_3)};
    const owned<spv_validator_options_t, spvValidatorOptionsDestroy> options{spvValidatorOptionsCreate()};
    be_tolerant(options.get());
    spvValidatorOptionsSetUniversalLimit(options.get(), spv_validator_limit_max_id_bound, most_ids);
    spvValidatorOptionsSetUniversalLimit(options.get(), spv_validator_limit_max_control_flow_nesting_depth,
                                         deepest_nesting);
    spvValidatorOptionsSetFriendlyNames(options.get(), false); // costs more than the rest
    spv_const_binary_t module{words, count};
    spv_diagnostic said = nullptr;
    const spv_result_t result = spvValidateWithOptions(context.get(), options.get(), &module, &said);
    const owned<spv_diagnostic_t, spvDiagnosticDestroy> diagnostic{said};
    if (result == SPV_SUCCESS)
        return 0;
    return refused(text, size, said && said->error ? said->error : "it is no module");
}
} // namespace

int zelvar_shader_check(const uint32_t* words, size_t count, char* text, size_t size)
try {
    return count <= most_words ? check(words, count, text, size) : refused(text, size, "it is too long");
} catch (...) {
    return refused(text, size, "there is no memory to look at it");
}
