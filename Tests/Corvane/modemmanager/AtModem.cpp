#include "Corvane/modemmanager/AtModem.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cstring>
#include <map>
#include <stdexcept>
#include <string_view>

namespace support {
namespace {

constexpr const char* kOk = "\r\nOK\r\n";
constexpr const char* kError = "\r\nERROR\r\n";
constexpr const char* kSimNotInserted = "\r\n+CME ERROR: 10\r\n";
constexpr const char* kSimPinRequired = "\r\n+CME ERROR: 11\r\n";

std::string line(const std::string& text) {
    return "\r\n" + text + "\r\n" + kOk;
}

std::string uniquePort() {
    static std::atomic<int> count = 0;
    return "abstract:corvane-test-" + std::to_string(getpid()) + "-" + std::to_string(++count);
}

/// ModemManager keeps the word "abstract:" in the socket's name.
int listenOn(const std::string& port) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    port.copy(address.sun_path + 1, sizeof address.sun_path - 1);
    const int listener = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const auto length = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + 1 + port.size());
    if (bind(listener, reinterpret_cast<const sockaddr*>(&address), length) != 0 || listen(listener, 4) != 0) {
        throw std::runtime_error("can't listen on " + port + ": " + std::strerror(errno));
    }
    return listener;
}

}  // namespace

AtModem::AtModem(std::string imei)
    : imei_(std::move(imei)), port_(uniquePort()), listener_(listenOn(port_)), stop_(eventfd(0, EFD_CLOEXEC)), thread_([this] {
          serve();
      }) {}

AtModem::~AtModem() {
    eventfd_write(stop_, 1);
    thread_.join();
    close(listener_);
    close(stop_);
}

void AtModem::setSim(Sim sim) {
    const std::lock_guard lock(mutex_);
    sim_ = sim;
}

void AtModem::mute() {
    const std::lock_guard lock(mutex_);
    mute_ = true;
}

void AtModem::whenReset(std::function<void()> action) {
    const std::lock_guard lock(mutex_);
    whenReset_ = std::move(action);
}

void AtModem::serve() {
    std::map<int, std::string> connections;
    while (true) {
        std::vector<pollfd> waits = {{stop_, POLLIN, 0}, {listener_, POLLIN, 0}};
        for (const auto& [descriptor, buffer] : connections) {
            waits.push_back({descriptor, POLLIN, 0});
        }
        poll(waits.data(), waits.size(), -1);
        if (waits[0].revents != 0) {
            break;
        }
        if (waits[1].revents != 0) {
            connections.try_emplace(accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC));
        }
        for (std::size_t i = 2; i < waits.size(); ++i) {
            const int descriptor = waits[i].fd;
            if (waits[i].revents != 0 && !receive(descriptor, connections[descriptor])) {
                close(descriptor);
                connections.erase(descriptor);
            }
        }
    }
    for (const auto& [descriptor, buffer] : connections) {
        close(descriptor);
    }
}

/// @return false at the end of the connection.
bool AtModem::receive(int connection, std::string& buffer) {
    std::array<char, 4096> bytes{};
    const ssize_t count = read(connection, bytes.data(), bytes.size());
    if (count <= 0) {
        return false;
    }
    buffer.append(bytes.data(), static_cast<std::size_t>(count));
    for (std::size_t end = buffer.find('\r'); end != std::string::npos; end = buffer.find('\r')) {
        const std::size_t begin = std::min(end, buffer.find_first_not_of('\n'));
        const std::string command = buffer.substr(begin, end - begin);
        buffer.erase(0, end + 1);
        const std::string text = answer(command);
        if (send(connection, text.data(), text.size(), MSG_NOSIGNAL) != static_cast<ssize_t>(text.size())) {
            return false;
        }
    }
    return true;
}

std::string AtModem::answer(const std::string& command) {
    std::function<void()> reset;
    std::string text;
    {
        const std::lock_guard lock(mutex_);
        if (mute_) {
            return {};
        }
        text = change(command);
        if (command == "AT+CFUN=15") {
            reset = whenReset_;
        }
    }
    if (reset) {
        reset();
    }
    return text;
}

std::string AtModem::change(const std::string& command) {
    if (command == "AT+CPIN?") {
        return sim_ == Sim::Absent ? kSimNotInserted : line(sim_ == Sim::Locked ? "+CPIN: SIM PIN" : "+CPIN: READY");
    }
    if (command.starts_with("AT+CPIN=")) {
        const bool right = command.find(kPin) != std::string::npos;
        sim_ = right ? Sim::Ready : sim_;
        return right ? kOk : kError;
    }
    if (command.starts_with("AT+CRSM=") || command == "AT+CIMI") {
        // The SIM's elementary files; 12258 is its serial number (EF_ICCID).
        return sim_ == Sim::Absent                           ? kSimNotInserted
               : command.starts_with("AT+CRSM=176,12258,")   ? line("+CRSM: 144,0,\"98010000000000000010\"")
               : command == "AT+CIMI" && sim_ == Sim::Locked ? kSimPinRequired
               : command == "AT+CIMI"                        ? line("001010123456789")
                                                             : kError;
    }
    static const std::map<std::string_view, int> kFunctionalities = {
        {"AT+CFUN=1", 1}, {"AT+CFUN=15", 1}, {"AT+CFUN=4", 4}, {"AT+CFUN=0", 0}, {"AT+CPWROFF", 0}};
    if (const auto found = kFunctionalities.find(command); found != kFunctionalities.end()) {
        functionality_ = found->second;
        return kOk;
    }
    const bool registered = functionality_ == 1 && sim_ == Sim::Ready;
    const std::map<std::string_view, std::string> answers = {
        {"AT+GCAP", "+GCAP: +CGSM"},
        {"AT+CGMI", "Acme"},
        {"AT+CGMM", "Modem 1"},
        {"AT+CGMR", "Acme-1.2.3"},
        {"AT+CGSN", imei_},
        {"AT+CFUN?", "+CFUN: " + std::to_string(functionality_)},
        {"AT+CREG?", registered ? R"(+CREG: 2,1,"0001","0000ABCD",7)" : "+CREG: 2,0"},
        {"AT+CGREG?", registered ? R"(+CGREG: 2,1,"0001","0000ABCD",7)" : "+CGREG: 2,0"},
        {"AT+COPS?", registered ? R"(+COPS: 0,0,"Testnet",7)" : "+COPS: 0"},
        {"AT+CSQ", registered ? "+CSQ: 20,99" : "+CSQ: 99,99"},
        {"AT+CCLK?", R"(+CCLK: "26/11/21,08:55:01+04")"},
    };
    const auto found = answers.find(command);
    if (found != answers.end()) {
        return line(found->second);
    }
    // Settings and tests of settings that mean nothing to this modem are taken, questions for their values are not.
    return command.ends_with('?') && !command.ends_with("=?") ? kError : kOk;
}

}  // namespace support
