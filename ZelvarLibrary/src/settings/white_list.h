#pragma once
// The one white list of this process: filled at most once, looked at by every worker.

#include "settings/zelvar_settings.h"

/// Puts the address of the list into the shared block. The list lives as long as the process.
void publish_white_list();
/// Replaces all entries.
void replace_white_list(error_check_white_list&& entries);
/// The names that are switched on, each followed by a comma but the last.
std::string white_list_names();
