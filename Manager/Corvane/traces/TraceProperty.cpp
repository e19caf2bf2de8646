#include "Corvane/traces/TraceProperty.h"

#include "Corvane/support/Text.h"
#include "config/DiagConfig.h"
#include "config/RYNProperties.h"
#include "platform/vsk/SorvexUtil.h"

#include <fmt/format.h>
#include <strings.h>

#include <algorithm>
#include <climits>

namespace corvane {

namespace {

using ryn::trace::Type;
using Form = TraceProperty::Form;
using Keeping = TraceProperty::Keeping;
namespace diag = ::diag::config;

constexpr std::int64_t kKernelPCIHistory = 64;  // megabytes
constexpr std::int64_t kKernelPCIBuffers = 4;
constexpr std::int64_t kMaxKernelPCIBuffers = 64;
constexpr std::int64_t kRYNHistory = 5;  // megabytes

TraceProperty flag(Type trace, const char* name, bool byDefault, Keeping keeping = Keeping::Stored) {
    return {trace, name, Form::Flag, keeping, byDefault ? "true" : "false"};
}

TraceProperty number(Type trace, const char* name, std::int64_t lowest, std::int64_t highest, std::int64_t byDefault) {
    return {trace, name, Form::Number, Keeping::Stored, std::to_string(byDefault), lowest, highest};
}

TraceProperty choice(Type trace, const char* name, std::vector<std::string> choices, std::size_t byDefault,
                     Keeping keeping = Keeping::Stored) {
    const std::string text = choices[byDefault];
    return {trace, name, Form::Choice, keeping, text, 0, 0, std::move(choices)};
}

TraceProperty fileName(Type trace, const char* name, const char* byDefault, Keeping keeping = Keeping::Stored) {
    return {trace, name, Form::FileName, keeping, byDefault};
}

TraceProperty inPreferences(TraceProperty property, std::string (*read)(), bool (*write)(const std::string& value)) {
    property.keeping = Keeping::Preferences;
    property.read = read;
    property.write = write;
    return property;
}

/// The texts of an enumeration that counts from 0 to `last`.
template <typename Enumeration>
std::vector<std::string> textsUpTo(Enumeration last) {
    std::vector<std::string> texts;
    for (std::uint32_t value = 0; value <= static_cast<std::uint32_t>(last); ++value) {
        texts.emplace_back(diag::toString(Enumeration{value}));
    }
    return texts;
}

std::vector<TraceProperty> allTraceProperties() {
    const auto modes = textsUpTo(diag::Mode::PassiveOnAP);
    const auto defaultMode = static_cast<std::size_t>(diag::kDefaultMode);
    return {
        flag(Type::DIAG, diag::kEnabledKey, diag::getDefaultEnabled()),
        flag(Type::DIAG, diag::kTempEnabledKey, diag::getDefaultEnabled(), Keeping::Temporary),
        choice(Type::DIAG, diag::kModeKey, modes, defaultMode),
        choice(Type::DIAG, diag::kTempModeKey, modes, defaultMode, Keeping::Temporary),
        number(Type::DIAG, diag::kHistoryKey, 1, diag::kMaxHistory, diag::kDefaultHistory),
        fileName(Type::DIAG, diag::kPrimaryDMCFileKey, diag::kDefaultPrimaryDMCFile, Keeping::ReadOnly),
        fileName(Type::DIAG, diag::kSecondaryDMCFileKey, diag::kDefaultSecondaryDMCFile),
        fileName(Type::DIAG, diag::kExtraDMCFileKey, diag::kDefaultExtraDMCFile),
        fileName(Type::DIAG, diag::kSleepDMCFileKey, diag::kDefaultSleepDMCFile),
        choice(Type::DIAG, diag::kEnabledDuringSleepKey, textsUpTo(diag::DuringAPSleep::Lite), 0),
        flag(Type::DIAG, diag::kUseThresholdKey, diag::kDefaultUseThreshold),
        number(Type::DIAG, diag::kHighWatermarkKey, 0, 100, diag::kDefaultHighWatermark),
        number(Type::DIAG, diag::kLowWatermarkKey, 0, 100, diag::kDefaultLowWatermark),
        flag(Type::DIAG, diag::kStopReaderKey, diag::kDefaultStopReader),
        flag(Type::DIAG, diag::kBufferingOnAPAwake, diag::kDefaultBufferingOnAPAwake),
        flag(Type::DIAG, diag::kStallDetectionKey, diag::kDefaultStallDetection),
        choice(Type::DIAG, diag::kStallDetectionRecoveryKey, textsUpTo(diag::Recovery::Reconfigure), 0),
        choice(Type::DIAG, diag::kDumpStateKey, {TraceProperty::kIdle, TraceProperty::kDumping}, 0, Keeping::ReadOnly),
        flag(Type::CoreDump, diag::kEnabledKey, false),
        flag(Type::EURCoreDump, diag::kEnabledKey, false),
        flag(Type::IPCTrace, diag::kEnabledKey, false),
        flag(Type::BasebandIPC, diag::kEnabledKey, false),
        choice(Type::TEMS, diag::kModeKey, {"OFF", "HW"}, 0),
        inPreferences(
            flag(Type::RYN, diag::kEnabledKey, ryn::trace::isAllowed()),
            [] { return std::string(RYNProperties::traceRYNEnabled() ? "true" : "false"); },
            [](const std::string& value) { return RYNProperties::setTraceRYNEnabled(value == "true"); }),
        inPreferences(
            number(Type::RYN, diag::kHistoryKey, 1, diag::kMaxHistory, kRYNHistory),
            [] { return std::to_string(RYNProperties::traceRYNHistory()); },
            [](const std::string& value) {
                return RYNProperties::setTraceRYNHistory(static_cast<unsigned long>(parseNumber(value).value_or(kRYNHistory)));
            }),
        flag(Type::RYN, TraceProperty::kKeepScratchLogs, false),
        flag(Type::SYSLOG, diag::kEnabledKey, false),
        flag(Type::KernelPCI, diag::kEnabledKey, false),
        number(Type::KernelPCI, diag::kHistoryKey, 1, diag::kMaxHistory, kKernelPCIHistory),
        number(Type::KernelPCI, TraceProperty::kBufferCount, 1, kMaxKernelPCIBuffers, kKernelPCIBuffers),
    };
}

/// Core dumps are collected wherever the radio can write them, whichever of the two kinds the name stands for.
bool isServed(Type trace) {
    return trace == Type::CoreDump ? SorvexCapabilitiesRadioCoreDumpGetPersonality() != 0 : ryn::trace::isSupported(trace);
}

bool equalIgnoringCase(std::string_view left, std::string_view right) {
    return left.size() == right.size() && strncasecmp(left.data(), right.data(), left.size()) == 0;
}

bool isPlainFileName(std::string_view name) {
    return !name.empty() && name.size() <= NAME_MAX && name != "." && name != ".." && name.find('/') == std::string_view::npos &&
           isPrintable(name);
}

/// What a property takes, for a sentence.
std::string acceptable(const TraceProperty& property) {
    switch (property.form) {
        case Form::Flag:
            return "true or false";
        case Form::Number:
            return fmt::format("a whole number from {} to {}", property.lowest, property.highest);
        case Form::Choice:
            return fmt::format("{}, or its number from 0 to {}", listed(property.choices, " or "), property.choices.size() - 1);
        case Form::FileName:
            return "the plain name of a DMC file, such as Default, Sleep, Tput or None";
    }
    return {};
}

}  // namespace

Result<std::string> TraceProperty::accept(std::string_view value) const {
    switch (form) {
        case Form::Flag:
            if (value == "true" || value == "false") {
                return std::string(value);
            }
            break;
        case Form::Number:
            if (const auto parsed = parseNumber(value); parsed && *parsed >= lowest && *parsed <= highest) {
                return std::to_string(*parsed);
            }
            break;
        case Form::Choice: {
            const auto position = parseNumber(value);
            for (std::size_t index = 0; index < choices.size(); ++index) {
                if (equalIgnoringCase(value, choices[index]) || position == static_cast<std::int64_t>(index)) {
                    return choices[index];
                }
            }
            break;
        }
        case Form::FileName:
            if (isPlainFileName(value)) {
                return std::string(value);
            }
            break;
    }
    return Refusal::invalidArgument("takes " + acceptable(*this));
}

std::vector<TraceProperty> supportedTraceProperties() {
    std::vector<TraceProperty> properties = allTraceProperties();
    std::erase_if(properties, [](const TraceProperty& property) { return !isServed(property.trace); });
    return properties;
}

}  // namespace corvane
