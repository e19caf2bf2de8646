#pragma once

#include "platform/xpc/Object.h"

#include <cstdint>
#include <string>
#include <utility>

namespace corvane {

/// Why the manager refuses a command. The numbers travel on the wire as signed 32-bit results.
enum class ResultCode : std::uint32_t {
    UnknownCommand = 0xE020E100,    ///< no such command
    InvalidArgument = 0xE020E101,   ///< a key is missing, of a wrong type or out of its range
    NotSupported = 0xE020E102,      ///< this device or baseband can't do it
    WrongState = 0xE020E103,        ///< not in this boot state or operating mode
    Busy = 0xE020E104,              ///< something that excludes it is under way
    Blocked = 0xE020E105,           ///< resets are blocked by a preference
    TimedOut = 0xE020E106,          ///< the baseband, or the caller's own KeyTimeout
    Aborted = 0xE020E107,           ///< begun, and ended before its time; the outcome may be unknown
    BasebandFailed = 0xE020E108,    ///< the baseband reported a failure
    StorageFailed = 0xE020E109,     ///< the change could not be written to disk
    LimitReached = 0xE020E10A,      ///< too many of something, or too full a disk
    NotPermitted = 0xE020E10B,      ///< the system refused the manager the right to do it
    NotAllowed = 0xE020E10C,        ///< this user may not use the manager
    VersionNotSpoken = 0xE020E10D,  ///< the client speaks no version of the protocol that the manager speaks
};

/// A refusal is a value. Only running out of memory throws, and Loop::withinMemory catches that.
///
/// Three words that differ: a refusal is the manager's own, a failure is what the client library reports about its connection,
/// and a fault is injected on purpose with --fault.
struct Refusal {
    ResultCode code;
    std::string sentence;      ///< a full sentence for the user, capital to full stop: what was wrong and what would be accepted
    xpc::Object details = {};  ///< a dictionary of what the client is told besides, or none

    static Refusal unknownCommand(std::string sentence) { return {ResultCode::UnknownCommand, std::move(sentence)}; }
    static Refusal invalidArgument(std::string sentence) { return {ResultCode::InvalidArgument, std::move(sentence)}; }
    static Refusal notSupported(std::string sentence) { return {ResultCode::NotSupported, std::move(sentence)}; }
    static Refusal wrongState(std::string sentence) { return {ResultCode::WrongState, std::move(sentence)}; }
    static Refusal busy(std::string sentence) { return {ResultCode::Busy, std::move(sentence)}; }
    static Refusal blocked(std::string sentence) { return {ResultCode::Blocked, std::move(sentence)}; }
    static Refusal timedOut(std::string sentence) { return {ResultCode::TimedOut, std::move(sentence)}; }
    static Refusal aborted(std::string sentence) { return {ResultCode::Aborted, std::move(sentence)}; }
    static Refusal basebandFailed(std::string sentence) { return {ResultCode::BasebandFailed, std::move(sentence)}; }
    static Refusal storageFailed(std::string sentence) { return {ResultCode::StorageFailed, std::move(sentence)}; }
    static Refusal limitReached(std::string sentence) { return {ResultCode::LimitReached, std::move(sentence)}; }
    static Refusal notPermitted(std::string sentence) { return {ResultCode::NotPermitted, std::move(sentence)}; }
    static Refusal notAllowed(std::string sentence) { return {ResultCode::NotAllowed, std::move(sentence)}; }
    static Refusal versionNotSpoken(std::string sentence) { return {ResultCode::VersionNotSpoken, std::move(sentence)}; }
    /// The same with these details.
    Refusal with(xpc::Object told) const { return {code, sentence, std::move(told)}; }

    /// As it travels, and as it stands under KeyErrorCode.
    std::int32_t result() const { return static_cast<std::int32_t>(code); }
};

}  // namespace corvane
