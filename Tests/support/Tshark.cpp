#include "support/Tshark.h"

#include <cstdlib>
#include <sstream>

namespace support {

Outcome tshark(const std::filesystem::path& file, const std::vector<std::string>& fields, const std::string& filter) {
    Arguments words{"tshark", "-n", "-o", "udp.check_checksum:TRUE", "-o", "ip.check_checksum:TRUE", "-r", file, "-T", "fields"};
    for (const std::string& field : fields) {
        words.insert(words.end(), {"-e", field});
    }
    if (!filter.empty()) {
        words.insert(words.end(), {"-Y", filter});
    }
    return run(words);
}

std::string wrongPackets(const std::filesystem::path& file) {
    const Outcome shown = tshark(file, {"frame.time_delta", "_ws.malformed", "_ws.expert.message", "frame.protocols"});
    if (shown.status != 0) {
        return shown.err;
    }
    std::istringstream lines(shown.out);
    std::string wrong;
    for (std::string line; std::getline(lines, line);) {
        const bool isBack = std::strtod(line.c_str(), nullptr) < 0;
        const std::size_t notes = line.find('\t');
        if (isBack || line.compare(notes, 3, "\t\t\t") != 0 || line.find("gsmtap") == std::string::npos) {
            wrong += line + "\n";
        }
    }
    return wrong;
}

}  // namespace support
