#pragma once

#include "platform/console/StandardStreams.h"

#include <cstdint>
#include <initializer_list>
#include <mutex>
#include <string>
#include <string_view>

/// What the tool prints. A line is composed whole before it is written, so that lines of the shell's thread and of the
/// dispatch queue never mix. May be called from any thread.
///
/// On the descriptors themselves: setting up the streams of C++ would cost a one-shot run half as much again.
namespace output {

using platform::Stream;

using Parts = std::initializer_list<std::string_view>;

/// Writes the parts as one line.
void printLine(Parts parts, Stream stream = Stream::Output);
void printError(Parts parts);

/// The parts are the start of a line of standard output. They show with its end, with a line of another stream, or with `flush`.
void print(Parts parts);
void flush();

/// Whether something could not be written, on a full disk for instance. The user was told once, on standard error.
bool isLost();

/// The number as standard output shows it now: decimal at first.
std::string number(std::int64_t value);

/// From here on standard output shows numbers in lower-case hexadecimal, their low 32 bits.
void useHexadecimal();

/// Keeps the lines of other threads from between this thread's while the lock is held.
std::unique_lock<std::recursive_mutex> hold();

}  // namespace output
