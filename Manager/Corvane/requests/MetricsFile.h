#pragma once

#include "Corvane/loop/Timer.h"

#include <filesystem>
#include <string>

namespace corvane {

class Services;

/// A file for the textfile collector of Prometheus' node exporter: written at the start and every 15 s, replaced as a whole, and
/// removed at the end, so that nobody takes the figures of a manager that is gone for today's.
class MetricsFile {
public:
    /// @param loop and @param services, which are started before this begins and stopped before it goes.
    /// @param socket the manager's
    MetricsFile(Loop& loop, Services& services, std::string socket, std::filesystem::path file);
    ~MetricsFile();

private:
    /// Asks the baseband, which may take its time.
    void collect();
    void write(const std::string& text);

    Services& services_;
    const std::string socket_;
    const std::filesystem::path file_;
    Timer timer_;
    bool isRefused_ = false;  ///< could not be written, which has been said
};

}  // namespace corvane
