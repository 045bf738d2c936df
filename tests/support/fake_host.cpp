#include "support/fake_host.h"

#include "hosttables/table_slots.h"
#include "zelvar/test_support.h"

#include <array>
#include <deque>
#include <mutex>
#include <ostream>
#include <sstream>

namespace fake_host {
namespace {
constexpr size_t slot_count = host_egl_count + host_gles_count;

struct recorder
{
    std::mutex lock;
    std::vector<call> journal;
    std::array<std::shared_ptr<void>, slot_count> hooks;
    std::deque<unsigned> gl_errors;
    std::deque<unsigned> egl_errors;
};

recorder& the_recorder()
{
    static auto& instance = *new recorder;
    return instance;
}

const char* name_of(size_t slot)
{
    return slot < host_egl_count ? host_egl_names[slot] : host_gles_names[slot - host_egl_count];
}

template <class T>
value recorded(T argument, [[maybe_unused]] bool terminated)
{
    // Text with a length beside it need not end in a zero byte.
    if constexpr (std::is_same_v<T, const char*>) {
        if (!terminated)
            return static_cast<const void*>(argument);
    }
    return argument;
}

/// Notes the call and returns the function that a test has programmed for it, if any.
std::shared_ptr<void> record(size_t slot, std::vector<value> arguments)
{
    recorder& to = the_recorder();
    std::lock_guard guard{to.lock};
    to.journal.push_back({name_of(slot), std::move(arguments), std::this_thread::get_id()});
    return to.hooks[slot];
}

template <auto Field, class F = decltype(Field)>
struct recording;
template <auto Field, class Table, class R, class... P>
struct recording<Field, R (*Table::*)(P...)>
{
    static R call(P... arguments)
    {
        [[maybe_unused]] constexpr bool terminated = (!std::is_same_v<P, GLsizei> && ...);
        auto programmed = record(detail::slot_of<Field>(), {recorded(arguments, terminated)...});
        if (programmed)
            return (*static_cast<std::function<R(P...)>*>(programmed.get()))(arguments...);
        if constexpr (std::is_same_v<Table, sidechannel_egl_imports>)
            return (fake_driver::egl().*Field)(arguments...);
        else
            return (fake_driver::gles().*Field)(arguments...);
    }
};

sidechannel_egl_imports recording_egl()
{
    sidechannel_egl_imports table{};
    size_t slot = 0;
#define ZELVAR_HOST_EGL(name)                                                                                \
    set_table_slot(&table, slot++, reinterpret_cast<void*>(&recording<&sidechannel_egl_imports::name>::call));
#include "hosttables/egl.inc"
#undef ZELVAR_HOST_EGL
    return table;
}

sidechannel_gles_imports recording_gles()
{
    sidechannel_gles_imports table{};
    size_t slot = host_gles_optional_count;
#define ZELVAR_MESSAGE(id, name, group, function)                                                            \
    set_table_slot(&table, slot++,                                                                           \
                   reinterpret_cast<void*>(&recording<&sidechannel_gles_imports::function>::call));
#include "wire/messages_gles.inc"
#undef ZELVAR_MESSAGE
    return table;
}

unsigned next_error(std::deque<unsigned> recorder::*queue, unsigned none)
{
    recorder& from = the_recorder();
    std::lock_guard guard{from.lock};
    if ((from.*queue).empty())
        return none;
    unsigned error = (from.*queue).front();
    (from.*queue).pop_front();
    return error;
}

void add_errors(std::deque<unsigned> recorder::*queue, std::initializer_list<unsigned> errors)
{
    recorder& to = the_recorder();
    std::lock_guard guard{to.lock};
    (to.*queue).insert((to.*queue).end(), errors);
}

bool is_error_query(const std::string& name)
{
    return name == "glGetError" || name == "eglGetError";
}

std::string to_text(const value& argument)
{
    std::ostringstream out;
    switch (argument.kind) {
    case value::number:
        out << argument.integer;
        break;
    case value::real:
        out << argument.floating;
        break;
    case value::pointer:
        out << (argument.integer ? "pointer" : "null");
        break;
    case value::text:
        out << '"' << argument.characters << '"';
        break;
    case value::wildcard:
        out << "any";
        break;
    }
    return out.str();
}
} // namespace

bool value::operator==(const value& other) const
{
    if (kind == wildcard || other.kind == wildcard)
        return true;
    return kind == other.kind && integer == other.integer && floating == other.floating &&
           characters == other.characters;
}

bool call::operator==(const call& other) const
{
    return name == other.name && arguments == other.arguments;
}

std::string to_text(const call& made)
{
    std::string text = made.name + "(";
    for (const value& argument : made.arguments)
        text += (&argument == &made.arguments.front() ? "" : ", ") + to_text(argument);
    return text + ")";
}

void PrintTo(const call& made, std::ostream* out)
{
    *out << to_text(made);
}

void install()
{
    recorder& fresh = the_recorder();
    {
        std::lock_guard guard{fresh.lock};
        fresh.journal.clear();
        fresh.hooks = {};
        fresh.gl_errors.clear();
        fresh.egl_errors.clear();
    }
    hook<&sidechannel_gles_imports::glGetError>([] { return next_error(&recorder::gl_errors, GL_NO_ERROR); });
    hook<&sidechannel_egl_imports::eglGetError>(
        [] { return static_cast<EGLint>(next_error(&recorder::egl_errors, EGL_SUCCESS)); });
    auto egl = recording_egl();
    auto gles = recording_gles();
    zelvar_test_support_imports_init(&egl, &gles);
}

void install_quiet()
{
    zelvar_test_support_imports_init(&fake_driver::egl(), &fake_driver::gles());
}

std::vector<call> calls()
{
    recorder& from = the_recorder();
    std::lock_guard guard{from.lock};
    return from.journal;
}

std::vector<std::string> texts(error_queries queries)
{
    std::vector<std::string> all;
    for (const call& one : calls()) {
        if (queries == error_queries::keep || !is_error_query(one.name))
            all.push_back(to_text(one));
    }
    return all;
}

size_t count(const char* name)
{
    size_t found = 0;
    for (const call& one : calls())
        found += one.name == name;
    return found;
}

void clear()
{
    recorder& from = the_recorder();
    std::lock_guard guard{from.lock};
    from.journal.clear();
}

void gl_errors(std::initializer_list<unsigned> errors)
{
    add_errors(&recorder::gl_errors, errors);
}

void egl_errors(std::initializer_list<unsigned> errors)
{
    add_errors(&recorder::egl_errors, errors);
}

void detail::set_hook(size_t slot, std::shared_ptr<void> function)
{
    recorder& to = the_recorder();
    std::lock_guard guard{to.lock};
    to.hooks[slot] = std::move(function);
}

void detail::remove_slot(size_t slot)
{
    if (slot < host_egl_count)
        set_table_slot(&zelvar_imports_egl_ptrs, slot, nullptr);
    else
        set_table_slot(&zelvar_imports_gles_ptrs, slot - host_egl_count, nullptr);
    zelvar_test_support_imports_init(nullptr, nullptr); // the function map follows
}
} // namespace fake_host
