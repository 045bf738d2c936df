// Which entry points have the target's and the host's error codes compared.
#include "settings/white_list.h"
#include "sidechannel_log.h"
#include "sidechannel_primitives.h"

#include <cstdlib>
#include <cstring>
#include <memory>

namespace {

// Guards the entries and the pointer in the shared block; a leaf.
critical_section__*& white_list_lock()
{
    static critical_section__* cs = critical_section_create();
    return cs;
}

error_check_white_list& white_list()
{
    static auto* list = new error_check_white_list;
    return *list;
}

/// A copy of the block that was made on the target's side starts with an empty list and only the text.
void fill_from_text(error_check_white_list& list, const char* text)
{
    if (!list.empty() || !text || *text == '\0')
        return;
    if (std::unique_ptr<char, decltype(&std::free)> copy{strdup(text), &std::free})
        sidechannel_error_check_white_list_init(list, copy.get());
}

} // namespace

void publish_white_list()
{
    Autolock white_list_guard{white_list_lock()};
    __atomic_store_n(&zelvar_settings.white_list, &white_list(), __ATOMIC_RELAXED);
}

void replace_white_list(error_check_white_list&& entries)
{
    Autolock white_list_guard{white_list_lock()};
    white_list() = std::move(entries);
}

std::string white_list_names()
{
    Autolock white_list_guard{white_list_lock()};
    std::string names;
    for (const auto& [name, enabled] : white_list()) {
        if (enabled)
            names.append(names.empty() ? "" : ",").append(name);
    }
    return names;
}

void sidechannel_error_check_white_list_init(error_check_white_list& list, char* text)
{
    char* rest = nullptr;
    for (char* item = strtok_r(text, ",", &rest); item; item = strtok_r(nullptr, ",", &rest))
        list[item] = true;
}

void sidechannel_error_check_white_list_deinit(error_check_white_list& list)
{
    list.clear();
}

bool sidechannel_error_check_support(const _runtime_settings& settings, const char* name)
{
    if (name && *name != '\0')
        LOG_TRACE("sidechannel_error_check_support(%s)", name);
    if (!setting(settings.callOnTarget) || !setting(settings.checkErrorCode))
        return false;
    if (!setting(settings.enableErrorCheckWhiteList))
        return true;

    Autolock white_list_guard{white_list_lock()};
    error_check_white_list* list = setting(settings.white_list);
    if (!name || !list)
        return false;
    fill_from_text(*list, setting(settings.white_list_text));
    const auto entry = list->find(name);
    if (entry == list->end())
        return false;
    if (entry->second)
        LOG_DEBUG("ErrChk %s:%d", name, entry->second);
    return entry->second;
}

bool sidechannel_is_error_check_working(const _runtime_settings& settings)
{
    if (!setting(settings.callOnTarget) || !setting(settings.checkErrorCode))
        return false;
    if (!setting(settings.enableErrorCheckWhiteList))
        return true;
    const char* text = setting(settings.white_list_text);
    return text && *text != '\0';
}
