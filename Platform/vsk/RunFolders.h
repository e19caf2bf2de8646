#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace vsk {

/// The pid files that may announce the process `name`, in the order of their authority; none for a name that is no file name.
std::vector<std::string> pidFiles(std::string_view name);

/// The process id that a pid file holds; 0 when there is none or it is no process id.
int readPidFile(const std::string& path);

}  // namespace vsk
