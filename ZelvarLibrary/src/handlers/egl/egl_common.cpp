#include "handlers/egl/egl_common.h"

#include <cstring>

namespace {
/// Far beyond any real list; what claims more is rubbish.
constexpr uint32_t max_list_bytes = 1024 * 1024;
} // namespace

bool read_attribute_list(pid_t pid, tid_t tid, target_ptr address, attribute_pairs* pairs)
{
    pairs->clear();
    if (!address)
        return true;
    uint32_t bytes = 0; // with the terminator
    zelvar_shim_dispatch_get_egl_attribute_list_length(pid, tid, address, &bytes);
    if (bytes > max_list_bytes) {
        LOG_ERROR("Attribute list at target address [%#lx] claims to have %u bytes and is refused.",
                  address.address, bytes);
        return false;
    }
    std::vector<EGLint> list(bytes / sizeof(EGLint));
    if (list.empty() ||
        !zelvar_shim_dispatch_read_from_shim_address_space(
            pid, tid, static_cast<uint32_t>(list.size() * sizeof(EGLint)), address, list.data()))
        return false;
    for (size_t i = 0; i + 1 < list.size() && list[i] != EGL_NONE; i += 2)
        pairs->emplace_back(list[i], list[i + 1]);
    return true;
}

std::vector<EGLint> terminated(const attribute_pairs& pairs)
{
    std::vector<EGLint> list;
    list.reserve(pairs.size() * 2 + 1);
    for (auto [attribute, value] : pairs)
        list.insert(list.end(), {attribute, value});
    list.push_back(EGL_NONE);
    return list;
}

void zelvar_helpers_copy_aligned(const uint64_t* source, size_t count, uint32_t width, void* destination)
{
    auto* at = static_cast<char*>(destination);
    for (size_t i = 0; i < count; ++i, at += width)
        std::memcpy(at, &source[i], width);
}

void write_handles(const egl_handler& call, const std::vector<uint64_t>& handles, target_ptr address)
{
    if (!address || handles.empty())
        return;
    uint32_t width = 0;
    zelvar_shim_dispatch_get_target_pointer_size(call.pid, call.tid, &width);
    width = width == 4 ? 4 : 8;
    std::vector<char> bytes(handles.size() * width);
    zelvar_helpers_copy_aligned(handles.data(), handles.size(), width, bytes.data());
    zelvar_shim_dispatch_write_to_shim_address_space(call.pid, call.tid, static_cast<uint32_t>(bytes.size()),
                                                     bytes.data(), address);
}

target_ptr copy_string_to_target(const egl_handler& call, const char* text, size_t length)
{
    auto size = static_cast<uint32_t>(length + 1);
    target_ptr address;
    zelvar_shim_dispatch_allocate_memory_block(call.pid, call.tid, size, &address);
    if (address)
        zelvar_shim_dispatch_write_to_shim_address_space_force(call.pid, call.tid, size, text, address);
    return address;
}
