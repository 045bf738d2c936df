#include "handlers/gles/shader_filter.h"

#include "sidechannel_log.h"

#include <algorithm>
#include <cstring>

bool StrLib::isWhiteSpace(char c)
{
    return c == ' ' || c == '\f' || c == '\t' || c == '\v';
}

bool StrLib::isLinePrefixWhiteSpace(const std::string& text, size_t position)
{
    for (size_t at = std::min(position, text.size()); at > 0; --at) {
        if (text[at - 1] == '\n')
            return true;
        if (!isWhiteSpace(text[at - 1]))
            return false;
    }
    return true;
}

std::string StrLib::cleanWhiteSpace(std::string text)
{
    std::string clean;
    clean.reserve(text.size());
    bool in_run = false;
    for (char c : text) {
        const bool white = isWhiteSpace(c);
        if (!white)
            clean.push_back(c);
        else if (!in_run)
            clean.push_back(' ');
        in_run = white;
    }
    return clean;
}

std::string StrLib::trim(std::string text)
{
    const size_t first = text.find_first_not_of(' ');
    if (first == std::string::npos)
        return {};
    return text.substr(first, text.find_last_not_of(' ') - first + 1);
}

std::string StrLib::fixLineEndings(const std::string& text)
{
    std::string fixed;
    fixed.reserve(text.size());
    for (size_t at = 0; at < text.size(); ++at) {
        if (text[at] != '\r') {
            fixed.push_back(text[at]);
            continue;
        }
        fixed.push_back('\n');
        if (at + 1 < text.size() && text[at + 1] == '\n')
            ++at;
    }
    return fixed;
}

std::string StrLib::replaceAll(std::string text, const std::string& pattern, const std::string& replacement)
{
    if (pattern.empty())
        return text;
    // What holds the pattern would be found in itself for ever.
    const size_t step = replacement.find(pattern) != std::string::npos ? replacement.size() : 0;
    for (size_t at = text.find(pattern); at != std::string::npos; at = text.find(pattern, at + step))
        text.replace(at, pattern.size(), replacement);
    return text;
}

std::string StrLib::removeLineContinuations(const std::string& text)
{
    std::string joined;
    joined.reserve(text.size());
    for (size_t at = 0; at < text.size(); ++at) {
        if (text[at] == '\\' && at + 1 < text.size() && text[at + 1] == '\n')
            ++at;
        else
            joined.push_back(text[at]);
    }
    return joined;
}

std::string mergeShaderSourceStrings(int count, const char* const* strings, const int* lengths)
{
    std::string merged;
    for (int i = 0; i < count; ++i) {
        if (!strings[i])
            continue;
        if (lengths && lengths[i] > 0)
            merged.append(strings[i], static_cast<size_t>(lengths[i]));
        else
            merged.append(strings[i]);
    }
    return merged;
}

namespace {
/// Quotes mean nothing: a comment mark is one wherever it stands.
std::string remove_comments(const std::string& text)
{
    std::string kept;
    kept.reserve(text.size());
    size_t at = 0;
    while (at < text.size()) {
        const size_t slash = std::min(text.find('/', at), text.size());
        kept.append(text, at, slash - at);
        at = slash;
        const char next = at + 1 < text.size() ? text[at + 1] : '\0';
        if (next == '/') {
            at = std::min(text.find('\n', at), text.size());
        } else if (next == '*') {
            const size_t end = text.find("*/", at + 2);
            if (end == std::string::npos) {
                kept.append(text, at);
                break;
            }
            at = end + 2;
        } else if (at < text.size()) {
            kept.push_back(text[at++]);
        }
    }
    return kept;
}

/// The line that begins a directive at `position`, without the line end, cleaned.
std::string directive_at(const std::string& source, size_t position, size_t* end)
{
    *end = std::min(source.find('\n', position), source.size());
    return StrLib::trim(StrLib::cleanWhiteSpace(source.substr(position, *end - position)));
}
} // namespace

std::string removeCommentsAndExcessWhiteSpace(std::string source)
{
    return StrLib::cleanWhiteSpace(
        remove_comments(StrLib::removeLineContinuations(StrLib::fixLineEndings(source))));
}

std::string fix_version(std::string& source)
{
    constexpr char directive[] = "#version";
    const size_t behind = sizeof(directive) - 1;
    const size_t at = source.find(directive);
    if (at == std::string::npos || !StrLib::isLinePrefixWhiteSpace(source, at) ||
        at + behind >= source.size() || !StrLib::isWhiteSpace(source[at + behind]))
        return source;
    size_t end = 0;
    const std::string line = directive_at(source, at, &end);
    if (line == "#version 320 es")
        LOG_WARN("Unrecognized shader language version: `%s`.", line.c_str());
    constexpr const char* known[] = {"#version 100", "#version 120", "#version 300 es", "#version 310 es",
                                     "#version 320 es"};
    if (std::find(std::begin(known), std::end(known), line) == std::end(known)) {
        LOG_WARN("Unrecognized shader language version: `%s`, use default version instead.", line.c_str());
        source.erase(at, end - at);
    }
    return source;
}

std::string fix_include(std::string& source)
{
    std::string kept;
    size_t from = 0;
    size_t at = source.find("#include");
    while (at != std::string::npos && StrLib::isLinePrefixWhiteSpace(source, at)) {
        size_t end = 0;
        const std::string line = directive_at(source, at, &end);
        LOG_WARN("Unsupported directive: `%s`, remove it.", line.c_str());
        kept.append(source, from, at - from);
        from = end;
        at = source.find("#include", from);
    }
    kept.append(source, from);
    source = std::move(kept);
    return source;
}

std::string fix_shader_source(std::string source)
{
    source = removeCommentsAndExcessWhiteSpace(std::move(source));
    fix_version(source);
    fix_include(source);
    return source;
}

void query_and_check_layout_type_in_shader_source(std::string source)
{
    constexpr const char* qualifiers[] = {"packed", "std140", "std430"};
    size_t found[3];
    for (size_t i = 0; i < 3; ++i)
        found[i] = source.find(qualifiers[i]);
    constexpr size_t step = 6; // of "layout"
    for (size_t at = source.find("layout"); at != std::string::npos; at = source.find("layout", at + step)) {
        const size_t open = source.find('(', at);
        const size_t close = open == std::string::npos ? open : source.find(')', open);
        if (close == std::string::npos) {
            LOG_ALWAYS("ERROR", "The shader source [%s] is not defined with the common syntax.",
                       source.c_str());
            continue;
        }
        for (size_t i = 0; i < 3; ++i) {
            if (found[i] == std::string::npos || found[i] <= open || found[i] >= close)
                continue;
            const size_t end = std::min(source.find('\n', close), source.size());
            LOG_ALWAYS(
                "ERROR",
                "The variable [%s] has the memory layout qualifier of [%s]. Target side graphic driver "
                "possiblly has some different optimizations with the host side graphic driver. "
                "Implementations may get some uncorrect images from host side draw.",
                StrLib::trim(source.substr(close + 1, end - close - 1)).c_str(), qualifiers[i]);
        }
    }
}
