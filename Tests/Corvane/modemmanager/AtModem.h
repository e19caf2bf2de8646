#pragma once

#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace support {

/// A modem that speaks the AT commands of 3GPP TS 27.007 on an abstract Unix socket, from a thread of its own.
///
/// What one command changes another shows: power, SIM lock, registration, clock.
class AtModem {
public:
    enum class Sim { Ready, Locked, Absent };

    static constexpr const char* kPin = "1234";

    explicit AtModem(std::string imei = "490154203237518");
    ~AtModem();
    AtModem(const AtModem&) = delete;
    AtModem& operator=(const AtModem&) = delete;

    /// As SetProfile of ModemManager's test interface takes it, unique on this machine.
    const std::string& port() const { return port_; }

    void setSim(Sim sim);
    /// Takes commands and says nothing.
    void mute();
    /// Called on the modem's thread when it has taken a reset; its power is on then, and whatever muted it is gone.
    void whenReset(std::function<void()> action);

private:
    void serve();
    bool receive(int connection, std::string& buffer);
    std::string answer(const std::string& command);
    std::string change(const std::string& command);

    const std::string imei_;
    const std::string port_;
    int listener_ = -1;
    int stop_ = -1;

    std::mutex mutex_;  ///< guards what stands below
    Sim sim_ = Sim::Ready;
    int functionality_ = 1;  ///< of +CFUN: 1 full, 4 no radio, 0 off
    bool mute_ = false;
    std::function<void()> whenReset_;

    std::thread thread_;
};

}  // namespace support
