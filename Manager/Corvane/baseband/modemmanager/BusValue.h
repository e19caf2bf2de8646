#pragma once

#include "platform/xpc/Object.h"

#include <systemd/sd-bus.h>

namespace corvane::modemmanager {

/// The arguments of `message` that are still to be read, as an array; none when the message can't be read.
///
/// Every D-Bus type has its counterpart: a variant is what it holds, a structure an array, a dictionary's keys become texts.
/// What has none, a number with a fraction or an integer beyond int64, becomes the text of the number.
/// Texts are escaped: a modem may say anything.
xpc::Object readArguments(sd_bus_message* message);

}  // namespace corvane::modemmanager
