#include "shim/client_arrays.h"

#include "shim/call.h"

#include <algorithm>
#include <bit>
#include <cerrno>
#include <sys/uio.h>
#include <unistd.h>

namespace shim {

namespace {

namespace in = wire::inbound;

/// Most of the memory that a batch has. A draw that is sent at once costs no copy, but the application stands
/// still until the library has done all that was sent before it, a frame among it.
constexpr uint64_t most_copied = 768 * 1024;
/// For the messages around a draw: two pointers for each attribute, and what is bound.
constexpr uint64_t room_for_messages = 4096;

/// Bytes of one vertex of an attribute, 0 when it can't be told.
uint64_t element_size(const attribute_pointer& attribute)
{
    if (attribute.size < 1 || attribute.size > 4)
        return 0;
    const auto components = static_cast<uint64_t>(attribute.size);
    switch (attribute.type) {
    case GL_BYTE:
    case GL_UNSIGNED_BYTE:
        return components;
    case GL_SHORT:
    case GL_UNSIGNED_SHORT:
    case GL_HALF_FLOAT:
    case GL_HALF_FLOAT_OES:
        return 2 * components;
    case GL_INT:
    case GL_UNSIGNED_INT:
    case GL_FLOAT:
    case GL_FIXED:
        return 4 * components;
    case GL_INT_2_10_10_10_REV:
    case GL_UNSIGNED_INT_2_10_10_10_REV:
        return 4;
    default:
        return 0;
    }
}

/// Vertices that a draw reads.
struct vertex_range
{
    uint64_t first = 0;
    uint64_t count = 0;
};

/// A piece of the application's memory.
struct span
{
    uint64_t begin = 0;
    uint64_t end = 0;
};

/// What an attribute reads. False when that can't be told, or is too much.
bool find_span(const attribute_pointer& attribute, const vertex_range& range, span& read)
{
    const uint64_t size = element_size(attribute);
    if (!size || !attribute.pointer || attribute.stride < 0)
        return false;
    const uint64_t stride = attribute.stride ? static_cast<uint64_t>(attribute.stride) : size;
    if (range.first + range.count > most_copied || stride > most_copied)
        return false;
    read.begin = reinterpret_cast<uintptr_t>(attribute.pointer) + stride * range.first;
    read.end = read.begin + stride * (range.count - 1) + size;
    return true;
}

struct piece : span
{
    uint64_t copy = 0;
};

struct pieces
{
    piece list[tracked_attributes];
    uint32_t count = 0;

    /// Interleaved attributes share one piece.
    void add(uint64_t begin, uint64_t end)
    {
        for (uint32_t i = 0; i < count; ++i) {
            piece& known = list[i];
            if (begin > known.end || end < known.begin)
                continue;
            known.begin = std::min(known.begin, begin);
            known.end = std::max(known.end, end);
            return;
        }
        list[count++] = {{begin, end}, 0};
    }
    uint64_t bytes() const
    {
        uint64_t total = 0;
        for (uint32_t i = 0; i < count; ++i)
            total += list[i].end - list[i].begin + 16;
        return total;
    }
    const piece& with(uint64_t begin, uint64_t end) const
    {
        return *std::find_if(list, list + count,
                             [&](const piece& p) { return begin >= p.begin && end <= p.end; });
    }
};

/// False where an attribute is read in a way that isn't known here, or too much is read.
bool find_pieces(const vertex_array& array, uint32_t attributes, const vertex_range& range, pieces& found)
{
    if (attributes & (~array.set_by_pointer | array.ever_divided))
        return false;
    for (uint32_t left = attributes; left != 0; left &= left - 1) {
        span read;
        if (!find_span(array.pointers[static_cast<uint32_t>(std::countr_zero(left))], range, read))
            return false;
        found.add(read.begin, read.end);
    }
    return found.bytes() <= most_copied;
}

/// Reads this process's own memory in a way that survives pointers into nowhere: of enabled attributes only
/// those matter that the program reads, and the others may be of long ago.
bool copy_pieces(thread_state& self, pieces& all)
{
    iovec from[tracked_attributes];
    iovec to[tracked_attributes];
    uint64_t total = 0;
    for (uint32_t i = 0; i < all.count; ++i) {
        piece& one = all.list[i];
        const auto length = static_cast<size_t>(one.end - one.begin);
        uint8_t* copy = self.messages.take_block(length);
        if (!copy)
            return false;
        one.copy = reinterpret_cast<uintptr_t>(copy);
        from[i] = {reinterpret_cast<void*>(static_cast<uintptr_t>(one.begin)), length};
        to[i] = {copy, length};
        total += length;
    }
    const int saved_errno = errno;
    const ssize_t copied = process_vm_readv(getpid(), to, all.count, from, all.count, 0);
    errno = saved_errno;
    return copied >= 0 && static_cast<uint64_t>(copied) == total;
}

/// Puts a call into the batch that is none of the application's.
template <uint32_t Id, class... A>
void add_call(thread_state& self, A... arguments)
{
    if (build_message<Id, void>(self, nullptr, arguments...))
        self.messages.keep();
}

void point(thread_state& self, GLuint index, const attribute_pointer& at, const void* pointer)
{
    if (at.is_integer)
        add_call<in::gles30_vertex_attrib_ipointer>(self, index, at.size, at.type, at.stride, pointer);
    else
        add_call<in::gles20_vertex_attrib_pointer>(self, index, at.size, at.type, at.normalized, at.stride,
                                                   pointer);
}

/// Pointers are set with no buffer bound.
template <class Change>
void change_pointers(thread_state& self, Change change)
{
    const GLuint bound = self.vertices->array_buffer;
    if (bound)
        add_call<in::gles20_bind_buffer>(self, GLenum{GL_ARRAY_BUFFER}, GLuint{0});
    change();
    if (bound)
        add_call<in::gles20_bind_buffer>(self, GLenum{GL_ARRAY_BUFFER}, bound);
}

/// Has the attributes point at copies of what `range` reads, which is `needed`. False, with nothing done,
/// where they can't.
bool copy_arrays(thread_state& self, uint32_t attributes, const vertex_range& range, pieces& needed)
{
    const vertex_array& array = self.vertices->bound();
    if (!copy_pieces(self, needed))
        return false;
    change_pointers(self, [&] {
        for (uint32_t left = attributes; left != 0; left &= left - 1) {
            const auto index = static_cast<GLuint>(std::countr_zero(left));
            const attribute_pointer& own = array.pointers[index];
            span read;
            find_span(own, range, read);
            const piece& with = needed.with(read.begin, read.end);
            const uint64_t moved = with.copy - with.begin + reinterpret_cast<uintptr_t>(own.pointer);
            point(self, index, own, reinterpret_cast<const void*>(static_cast<uintptr_t>(moved)));
        }
    });
    return true;
}

uint64_t index_size(GLenum type)
{
    return type == GL_UNSIGNED_BYTE ? 1 : type == GL_UNSIGNED_SHORT ? 2 : type == GL_UNSIGNED_INT ? 4 : 0;
}

template <class T>
vertex_range range_of(const uint8_t* indices, uint64_t count, bool restarts)
{
    uint64_t least = UINT64_MAX;
    uint64_t most = 0;
    for (uint64_t i = 0; i < count; ++i) {
        T index;
        std::memcpy(&index, indices + i * sizeof index, sizeof index);
        if (restarts && index == static_cast<T>(-1))
            continue;
        least = std::min<uint64_t>(least, index);
        most = std::max<uint64_t>(most, index);
    }
    return least > most ? vertex_range{} : vertex_range{least, most - least + 1};
}

vertex_range range_of(const uint8_t* indices, uint64_t count, GLenum type, bool restarts)
{
    switch (type) {
    case GL_UNSIGNED_BYTE:
        return range_of<uint8_t>(indices, count, restarts);
    case GL_UNSIGNED_SHORT:
        return range_of<uint16_t>(indices, count, restarts);
    default:
        return range_of<uint32_t>(indices, count, restarts);
    }
}

bool find_arrays(thread_state& self, uint32_t attributes, const vertex_range& range, pieces& found)
{
    return range.count != 0 && find_pieces(self.vertices->bound(), attributes, range, found);
}

/// Copies the arrays of a draw whose indices have been copied. `full`: the batch has no room for both.
bool copy_arrays_beside_indices(thread_state& self, uint32_t attributes, const vertex_range& range,
                                bool& full)
{
    pieces needed;
    if (!find_arrays(self, attributes, range, needed))
        return false;
    full = !self.messages.fits(needed.bytes() + room_for_messages);
    return !full && copy_arrays(self, attributes, range, needed);
}

/// Vertex array objects take no pointers of the application.
bool can_copy(const thread_state* self)
{
    return self && self->batching && self->vertices && self->vertices->bound_array == 0;
}

} // namespace

client_arrays::client_arrays(thread_state* self, GLint first, GLsizei count)
{
    if (!can_copy(self) || first < 0 || count <= 0)
        return;
    const uint32_t attributes = self->vertices->bound().client_attributes();
    const vertex_range range{static_cast<uint64_t>(first), static_cast<uint64_t>(count)};
    pieces needed;
    if (!attributes || !find_arrays(*self, attributes, range, needed) ||
        !self->messages.reserve(needed.bytes() + room_for_messages) ||
        !copy_arrays(*self, attributes, range, needed))
        return;
    self_ = self;
    moved_ = attributes;
    self->vertices->arrays_are_copied = true;
}

client_arrays::client_arrays(thread_state* self, GLsizei count, GLenum type, const void* indices)
    : indices_{indices}
{
    const uint64_t bytes = count > 0 ? static_cast<uint64_t>(count) * index_size(type) : 0;
    if (!can_copy(self) || !bytes || bytes > most_copied || !indices || self->vertices->bound().elements != 0)
        return;
    bool full = false;
    if (copy_elements(*self, static_cast<uint64_t>(count), type, full) || !full)
        return;
    self->messages.flush();
    copy_elements(*self, static_cast<uint64_t>(count), type, full);
}

/// Which vertices are read shows in the indices, so those are copied first. False where not all can be
/// copied; `full`: it may yet be in another batch.
bool client_arrays::copy_elements(thread_state& self, uint64_t count, GLenum type, bool& full)
{
    const uint64_t bytes = count * index_size(type);
    pieces own;
    const uint64_t address = reinterpret_cast<uintptr_t>(indices_);
    own.add(address, address + bytes);
    if (!self.messages.reserve(bytes + 2 * room_for_messages) || !copy_pieces(self, own))
        return false;
    const auto* copy = reinterpret_cast<const uint8_t*>(static_cast<uintptr_t>(own.list[0].copy));
    const uint32_t attributes = self.vertices->bound().client_attributes();
    const bool restarts = self.vertices->restarts_primitives;
    if (attributes &&
        !copy_arrays_beside_indices(self, attributes, range_of(copy, count, type, restarts), full))
        return false;
    self_ = &self;
    moved_ = attributes;
    indices_ = copy;
    self.vertices->arrays_are_copied = attributes != 0;
    self.vertices->elements_are_copied = true;
    return true;
}

client_arrays::~client_arrays()
{
    if (!self_)
        return;
    vertex_state& state = *self_->vertices;
    state.arrays_are_copied = false;
    state.elements_are_copied = false;
    if (!moved_)
        return;
    change_pointers(*self_, [&] {
        for (uint32_t left = moved_; left != 0; left &= left - 1) {
            const auto index = static_cast<GLuint>(std::countr_zero(left));
            const attribute_pointer& own = state.bound().pointers[index];
            point(*self_, index, own, own.pointer);
        }
    });
}

} // namespace shim
