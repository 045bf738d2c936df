#pragma once
// The settings file that the library is pointed at.

#include "conversation.h"

#include <string>
#include <vector>

namespace simulator {

/// Decides on the file: the user's own, or a temporary one that holds the defaults of the simulator or a copy
/// of the user's file, and behind it the extra lines. Removes a temporary file with itself.
class settings_file
{
public:
    /// `file`: the user's file, empty if none; `extra`: lines "key value". Throws std::runtime_error.
    settings_file(const std::string& file, const std::vector<std::string>& extra);
    ~settings_file();
    settings_file(const settings_file&) = delete;
    settings_file& operator=(const settings_file&) = delete;

    const std::string& path() const { return _path; }
    /// What the library will make of it, as far as it changes the shape of messages.
    talk_settings shape() const;
    /// Whether the library leaves compressed frames in the targets' frame buffers.
    bool compresses_frames() const;

private:
    std::string _path;
    bool _temporary = false;
};

} // namespace simulator
