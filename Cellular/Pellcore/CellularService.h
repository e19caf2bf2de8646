#pragma once

#include "platform/dispatch/Queue.h"
#include "platform/ryn/client.h"

#include <memory>
#include <string>

namespace pellcore {

/// Brings the baseband online each time that it has booted. A mode that somebody asks for afterwards is left alone, also when the
/// service or the manager starts again: the manager's boot state says that there is one.
///
/// All its work is done on its own queue; the thread that is parked in the run loop receives for it.
class CellularService : public std::enable_shared_from_this<CellularService> {
public:
    /// Once, when a shared pointer owns the service.
    void start();

private:
    /// Calls the member, unless the service is gone.
    template <typename... Arguments>
    auto whileAlive(void (CellularService::*member)(Arguments...));
    void askBootState();
    void bootStateAnswered(int result, const xpc::Object& reply);
    void bootStateIs(const xpc::Object& payload);
    void bringOnline();
    void onlineAnswered(int result, const xpc::Object& reply);
    void report(const std::string& what, const xpc::Object& reply);

    const dispatch::Queue queue_{"pellcore.queue"};
    const ryn::client::ManagerPtr manager_ = ryn::client::CreateManager("Pellcore", queue_.get());
    bool asking_ = false;
    std::string bootState_;
    std::string lastProblem_;  ///< said once, not at each attempt
};

}  // namespace pellcore
