#pragma once
// Rewrites shader text so that the host's compiler takes what was written for another one. Plain string work
// on any input; no GLSL parser. Whitespace is blank, form feed, horizontal and vertical tab, never a line
// end.

#include <string>

class StrLib
{
public:
    static bool isWhiteSpace(char c);
    /// Nothing but whitespace stands between the start of the line and `position`.
    static bool isLinePrefixWhiteSpace(const std::string& text, size_t position);
    /// Each run of whitespace becomes one blank; newlines stay.
    static std::string cleanWhiteSpace(std::string text);
    /// Removes blanks, and only those, from both ends.
    static std::string trim(std::string text);
    /// "\r\n" and "\r" become "\n".
    static std::string fixLineEndings(const std::string& text);
    /// Replaces each match. A replacement is searched again where it could complete a new match, unless it
    /// holds the pattern itself. An empty pattern matches nothing.
    static std::string replaceAll(std::string text, const std::string& pattern,
                                  const std::string& replacement);
    /// Deletes each backslash directly before a newline, and the newline.
    static std::string removeLineContinuations(const std::string& text);
};

/// Joins `count` strings with nothing between them: `lengths[i]` bytes where that is above 0, otherwise up to
/// the terminator. `lengths` may be null.
std::string mergeShaderSourceStrings(int count, const char* const* strings, const int* lengths);
/// Line numbers stay, apart from what a continuation removes. An unterminated block comment stays too.
std::string removeCommentsAndExcessWhiteSpace(std::string source);
/// Erases a version directive that isn't known, so that the driver's default applies. Changes `source` and
/// returns a copy. Only the first "#version" counts.
std::string fix_version(std::string& source);
/// Erases include directives, up to the first "#include" that doesn't begin its line. Changes `source` and
/// returns a copy.
std::string fix_include(std::string& source);
/// Comments, version, include.
std::string fix_shader_source(std::string source);
/// Warns of memory layouts that the two sides may see differently. Changes nothing; prints at every log
/// level.
void query_and_check_layout_type_in_shader_source(std::string source);
