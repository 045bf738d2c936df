#include "settings_file.h"

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <sstream>
#include <stdexcept>
#include <system_error>

#include <unistd.h>

namespace simulator {
namespace {

constexpr char defaults[] =
    "# Written by zelvar-sim: any OpenGL ES driver of the host will do.\nrequireKelvoEmulator 0\n";

std::string contents(const std::string& file)
{
    std::ifstream in(file, std::ios::binary);
    std::ostringstream text;
    if (!in || std::filesystem::is_directory(file) || !(text << in.rdbuf()))
        throw std::runtime_error("the settings file " + file + " can't be read");
    std::string result = text.str();
    if (!result.empty() && result.back() != '\n')
        result += '\n';
    return result;
}

void check(const std::string& line)
{
    std::istringstream words(line);
    std::string key, value;
    if (line.find('\n') != std::string::npos || !(words >> key >> value))
        throw std::runtime_error("--set wants \"key value\", not \"" + line + "\"");
}

std::string write_temporary(const std::string& text)
{
    std::string name = std::filesystem::temp_directory_path().string() + "/zelvar-settings-XXXXXX";
    const int file = mkstemp(name.data());
    if (file < 0)
        throw std::runtime_error("no temporary file for the settings can be made");
    const bool whole = write(file, text.data(), text.size()) == static_cast<ssize_t>(text.size());
    close(file);
    if (!whole)
        throw std::runtime_error(name + " can't be written");
    return name;
}

void for_each_setting(const std::string& path, const std::function<void(const std::string&, double)>& take)
{
    std::ifstream in(path);
    std::string line;
    while (std::getline(in, line)) {
        std::istringstream words(line);
        std::string key, text;
        if (words >> key >> text)
            take(key, std::strtod(text.c_str(), nullptr));
    }
}

} // namespace

settings_file::settings_file(const std::string& file, const std::vector<std::string>& extra)
{
    for (const std::string& line : extra)
        check(line);
    if (!file.empty() && extra.empty()) {
        contents(file);
        _path = std::filesystem::absolute(file).string();
        return;
    }
    std::string text = file.empty() ? defaults : contents(file);
    for (const std::string& line : extra)
        text += line + "\n";
    _path = write_temporary(text);
    _temporary = true;
}

settings_file::~settings_file()
{
    if (_temporary)
        unlink(_path.c_str());
}

talk_settings settings_file::shape() const
{
    talk_settings shape;
    for_each_setting(_path, [&](const std::string& key, double value) {
        if (key == "batchCommands")
            shape.batch_commands = value != 0;
        else if (key == "callOnTargetAPI" && value >= 0 && value < 3)
            shape.call_on_target_api = static_cast<uint32_t>(value);
    });
    return shape;
}

bool settings_file::compresses_frames() const
{
    bool compresses = false;
    bool decodes = false;
    for_each_setting(_path, [&](const std::string& key, double value) {
        if (key == "tpakForTRV")
            compresses = value != 0;
        else if (key == "tpakDecodeInPlace")
            decodes = value != 0;
    });
    return compresses && !decodes;
}

} // namespace simulator
