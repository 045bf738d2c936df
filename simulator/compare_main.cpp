// zelvar-compare: compares two folders of frames, picture by picture and bit for bit.

#include "picture_file.h"

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <map>
#include <optional>
#include <set>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include <CLI/CLI.hpp>

namespace {

namespace fs = std::filesystem;

/// What makes two pictures of different runs the same frame: the process number is replaced by its rank among
/// the processes of the same application.
struct frame_key
{
    std::string application;
    size_t process_rank = 0;
    unsigned long window = 0;
    unsigned long number = 0;
    auto operator<=>(const frame_key&) const = default;
};

using folder_frames = std::map<frame_key, fs::path>;

struct verdict
{
    size_t identical = 0;
    size_t different = 0;
    size_t missing = 0;
};

struct file_parts
{
    std::string application;
    unsigned long process = 0;
    unsigned long window = 0;
    unsigned long number = 0;
};

/// Takes `prefix` and 1 to 9 digits off the end of the text.
std::optional<unsigned long> take_number(std::string& text, const std::string& prefix)
{
    const size_t digits = text.find_last_not_of("0123456789") + 1;
    const size_t count = text.size() - digits;
    if (count < 1 || count > 9 || digits < prefix.size() ||
        text.compare(digits - prefix.size(), prefix.size(), prefix) != 0)
        return std::nullopt;
    const unsigned long value = std::stoul(text.substr(digits));
    text.resize(digits - prefix.size());
    return value;
}

/// application_PROCESS[_wWINDOW]_NUMBER.png
std::optional<file_parts> parse_name(const fs::path& path)
{
    if (path.extension() != ".png")
        return std::nullopt;
    file_parts parts;
    parts.application = path.stem().string();
    const auto number = take_number(parts.application, "_");
    const auto window = take_number(parts.application, "_w");
    const auto process = take_number(parts.application, "_");
    if (!number || !process || parts.application.empty())
        return std::nullopt;
    parts.process = *process;
    parts.window = window.value_or(0);
    parts.number = *number;
    return parts;
}

folder_frames list_frames(const fs::path& folder)
{
    std::vector<std::pair<file_parts, fs::path>> files;
    std::map<std::string, std::set<unsigned long>> processes;
    for (const auto& entry : fs::directory_iterator(folder)) {
        const auto parts = parse_name(entry.path());
        if (!parts)
            continue;
        files.emplace_back(*parts, entry.path());
        processes[parts->application].insert(parts->process);
    }
    folder_frames frames;
    for (const auto& [parts, path] : files) {
        const auto& ranks = processes[parts.application];
        const auto rank = static_cast<size_t>(std::distance(ranks.begin(), ranks.find(parts.process)));
        frames[{parts.application, rank, parts.window, parts.number}] = path;
    }
    return frames;
}

struct loaded
{
    uint32_t width = 0, height = 0;
    std::vector<uint8_t> rgba;
};

loaded load(const fs::path& path)
{
    loaded picture;
    const std::string fault = read_picture_file(path.string(), picture.width, picture.height, picture.rgba);
    if (!fault.empty())
        throw std::runtime_error(fault);
    return picture;
}

/// Black where the pictures agree; elsewhere the distance per channel, made visible.
std::vector<uint8_t> difference(const loaded& a, const loaded& b)
{
    std::vector<uint8_t> rgb;
    for (size_t i = 0; i < a.rgba.size(); i += 4) {
        const int alpha = std::abs(a.rgba[i + 3] - b.rgba[i + 3]);
        for (size_t c = 0; c < 3; ++c) {
            const int distance = std::max(std::abs(a.rgba[i + c] - b.rgba[i + c]), alpha);
            rgb.push_back(distance ? static_cast<uint8_t>(std::min(255, 64 + distance)) : 0);
        }
    }
    return rgb;
}

void leave_evidence(const fs::path& folder, const fs::path& name, const fs::path& path_a,
                    const fs::path& path_b, const loaded& a, const loaded& b)
{
    fs::create_directories(folder);
    const std::string stem = (folder / name.stem()).string();
    fs::copy_file(path_a, stem + "_a.png", fs::copy_options::overwrite_existing);
    fs::copy_file(path_b, stem + "_b.png", fs::copy_options::overwrite_existing);
    if (a.width != b.width || a.height != b.height)
        return;
    const std::string fault =
        write_picture_file(stem + "_difference.png", a.width, a.height, 3, difference(a, b).data());
    if (!fault.empty())
        throw std::runtime_error(fault);
}

/// Whether both are the same; otherwise leaves both pictures and their difference behind.
bool same_frame(const fs::path& path_a, const fs::path& path_b, const fs::path& evidence)
{
    const loaded a = load(path_a);
    const loaded b = load(path_b);
    if (a.width == b.width && a.height == b.height && a.rgba == b.rgba)
        return true;
    leave_evidence(evidence, path_a.filename(), path_a, path_b, a, b);
    return false;
}

std::map<std::string, verdict> compare(const folder_frames& a, const folder_frames& b,
                                       const fs::path& evidence)
{
    std::map<std::string, verdict> table;
    for (const auto& [key, path] : a) {
        verdict& row = table[key.application];
        const auto partner = b.find(key);
        if (partner == b.end())
            ++row.missing;
        else
            ++(same_frame(path, partner->second, evidence) ? row.identical : row.different);
    }
    for (const auto& [key, path] : b) {
        if (!a.contains(key))
            ++table[key.application].missing;
    }
    return table;
}

int print(const std::map<std::string, verdict>& table, const fs::path& evidence)
{
    bool all_same = !table.empty();
    std::printf("%-24s %10s %10s %10s\n", "application", "identical", "different", "missing");
    for (const auto& [application, row] : table) {
        std::printf("%-24s %10zu %10zu %10zu\n", application.c_str(), row.identical, row.different,
                    row.missing);
        all_same = all_same && row.different == 0 && row.missing == 0;
        if (row.different)
            std::printf("  both pictures and their difference: %s\n", evidence.c_str());
    }
    if (table.empty())
        std::puts("no frames in either folder");
    return all_same ? 0 : 1;
}

} // namespace

int main(int argc, char** argv)
{
    CLI::App parser{
        "zelvar-compare DIR_A DIR_B\n\nCompares the frames of two runs bit for bit. Exit status 1 when "
        "one differs\nor is missing, 2 when the folders can't be compared."};
    std::string a, b, evidence;
    parser.add_option("DIR_A", a, "Frames of one run")->required()->check(CLI::ExistingDirectory);
    parser.add_option("DIR_B", b, "Frames of the other run")->required()->check(CLI::ExistingDirectory);
    parser.add_option("--differences", evidence, "Folder for what differs (default DIR_A/differences)");
    try {
        parser.parse(argc, argv);
        const fs::path folder = evidence.empty() ? fs::path(a) / "differences" : fs::path(evidence);
        return print(compare(list_frames(a), list_frames(b), folder), folder);
    } catch (const CLI::ParseError& fault) {
        return parser.exit(fault) == 0 ? 0 : 2;
    } catch (const std::exception& fault) {
        std::fprintf(stderr, "zelvar-compare: %s\n", fault.what());
        return 2;
    }
}
