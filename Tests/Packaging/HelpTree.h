#pragma once

#include <map>
#include <string>

namespace packaging {

/// The tool's command tree as its own help pages show it: each leaf's path, such as "/trace/get", with its help text, and
/// each group's path with a slash behind it and no text.
std::map<std::string, std::string> helpTree();

/// The lines of the shared completion table, in the same form; group lines without their text.
std::map<std::string, std::string> completionTable();

}  // namespace packaging
