#include "shim/buffer_records.h"

#include <utility>

namespace shim {

void buffer_records::note_size(GLuint buffer, GLsizeiptr size)
{
    const std::lock_guard<process_lock> guard{lock_};
    // New contents also end a mapping.
    if (buffer && size >= 0)
        records_[buffer] = {size, false};
}

void buffer_records::note_mapped(GLuint buffer)
{
    const std::lock_guard<process_lock> guard{lock_};
    if (const auto found = records_.find(buffer); found != records_.end())
        found->second.mapped = true;
}

bool buffer_records::take_mapped(GLuint buffer)
{
    const std::lock_guard<process_lock> guard{lock_};
    const auto found = records_.find(buffer);
    return found != records_.end() && std::exchange(found->second.mapped, false);
}

std::optional<GLsizeiptr> buffer_records::size_of(GLuint buffer)
{
    const std::lock_guard<process_lock> guard{lock_};
    const auto found = records_.find(buffer);
    return found == records_.end() ? std::nullopt : std::optional{found->second.size};
}

void buffer_records::forget(GLuint buffer)
{
    const std::lock_guard<process_lock> guard{lock_};
    records_.erase(buffer);
}

void buffer_records::forget_all()
{
    const std::lock_guard<process_lock> guard{lock_};
    records_.clear();
}

} // namespace shim
