#pragma once

// What nearly every test, fixture and helper in C++ includes.

#include "support/TempFolder.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <functional>
#include <future>
#include <limits>
#include <map>
#include <memory>
#include <mutex>
#include <numeric>
#include <optional>
#include <set>
#include <span>
#include <sstream>
#include <string>
#include <system_error>
#include <thread>
#include <tuple>
#include <variant>
#include <vector>

using namespace std::chrono_literals;

namespace support {

/// Longer than anything takes on a loaded machine under a sanitizer: a wait that reaches it has failed.
inline const std::chrono::seconds kPatience{
    std::atoi(std::getenv("TEST_PATIENCE") == nullptr ? "60" : std::getenv("TEST_PATIENCE"))};

}  // namespace support
