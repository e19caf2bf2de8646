#pragma once

#include "Corvane/support/Result.h"

#include <cstdint>
#include <map>
#include <string>
#include <string_view>

namespace corvane {

/// Failures that are made on purpose, for tests and for trying out how clients take them.
struct Fault {
    enum class Kind {
        Result,     ///< answer `result`, with the error dictionary unless `withoutDictionary`
        Drop,       ///< end the connection
        Hang,       ///< never answer
        Malformed,  ///< answer with bytes that are no packet
    };
    Kind kind = Kind::Result;
    std::int32_t result = 0;
    bool withoutDictionary = false;
};

/// Which command fails, and how.
class FaultRules {
public:
    /// @param rule COMMAND=RESULT[:nodict], COMMAND=drop, COMMAND=hang or COMMAND=malformed; RESULT is a number that is not 0
    /// and fits 32 bits, decimal or hexadecimal. A refusal is a clause.
    Result<void> add(std::string_view rule);

    /// nullptr when the command is to be served.
    const Fault* find(std::string_view command) const {
        if (rules_.empty()) {
            return nullptr;
        }
        const auto rule = rules_.find(command);
        return rule == rules_.end() ? nullptr : &rule->second;
    }
    bool empty() const { return rules_.empty(); }

private:
    std::map<std::string, Fault, std::less<>> rules_;
};

}  // namespace corvane
