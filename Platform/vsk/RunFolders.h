#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace vsk {

/// Offers the pid files that may announce the process `name`, in the order of their authority; none for a name that is no file
/// name.
/// @return the first one that is accepted; empty when none is.
///
/// Of several managers that systemd runs, each has a service of its own: CORVANE_SOCKET, as /run/corvane/INSTANCE/manager.sock,
/// tells whose is meant, and that one announces itself in `/run/<name in small letters>-INSTANCE` alone.
std::string findPidFile(std::string_view name, const std::function<bool(const std::string& file)>& accepts);

/// The pid files of the other managers' services.
std::vector<std::string> pidFilesOfOthers(std::string_view name);

/// What lies in a folder; nothing when it can't be read.
std::vector<std::string> namesIn(const char* folder);

/// The process id that a pid file holds; 0 when there is none or it is no process id.
int readPidFile(const std::string& path);

}  // namespace vsk
