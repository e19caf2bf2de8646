#pragma once

#include <initializer_list>
#include <iosfwd>
#include <mutex>
#include <string>
#include <string_view>

/// What the tool prints. A line is composed whole before it is written, so that lines of the shell's thread and of the
/// dispatch queue never mix. May be called from any thread.
namespace output {

/// Writes the parts as one line and flushes it.
void printLine(std::ostream& stream, std::initializer_list<std::string_view> parts);

/// Writes the parts as the start of a line; they show with the line's end, or with a flush.
void print(std::ostream& stream, std::initializer_list<std::string_view> parts);

/// The number as `stream` would show it now, in the number base that was left on it.
std::string numberFor(const std::ostream& stream, int number);
std::string numberFor(const std::ostream& stream, unsigned number);

/// Keeps the lines of other threads from between this thread's while the lock is held.
std::unique_lock<std::recursive_mutex> hold();

}  // namespace output
