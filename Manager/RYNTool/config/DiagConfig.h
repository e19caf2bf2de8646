#pragma once

#include <cstdint>

/// The vocabulary of the DIAG trace (the baseband's diagnostic-message log): its modes, property names and defaults.
namespace diag::config {

/// Who drives the trace and where its messages go; AP is the application processor.
enum class Mode : std::uint32_t {
    ActiveOnAP = 0,
    ActiveExternalThroughDock = 1,
    PassiveExternalThroughDock = 2,
    PassiveExternalThroughSoftware = 3,
    PassiveOnAP = 4,
};

enum class DuringAPSleep : std::uint32_t { Off, Full, Lite };

/// What to do about a stalled trace. The values are stored and sent: their order is fixed.
enum class Recovery : std::uint32_t { None = 0, ResetBaseband = 1, Reconfigure = 2 };

/// A constant text, never nullptr; "Unknown" for a value that the enumeration doesn't have.
const char* toString(Mode mode);
const char* toString(DuringAPSleep behaviour);
const char* toString(Recovery recovery);

inline constexpr const char* kEnabledKey = "Enabled";
inline constexpr const char* kTempEnabledKey = "Enabled_Temp";
inline constexpr const char* kModeKey = "Mode";
inline constexpr const char* kTempModeKey = "Mode_Temp";
inline constexpr const char* kHistoryKey = "History";
inline constexpr const char* kPrimaryDMCFileKey = "File";
inline constexpr const char* kSecondaryDMCFileKey = "File_Secondary";
inline constexpr const char* kExtraDMCFileKey = "File_Extra";
inline constexpr const char* kSleepDMCFileKey = "File_Sleep";
inline constexpr const char* kEnabledDuringSleepKey = "Enabled_During_Sleep";
inline constexpr const char* kUseThresholdKey = "Use_Threshold";
inline constexpr const char* kHighWatermarkKey = "High_Watermark";
inline constexpr const char* kLowWatermarkKey = "Low_Watermark";
inline constexpr const char* kStopReaderKey = "Stop_Reader";
inline constexpr const char* kBufferingOnAPAwake = "Buffering_On_AP_Awake";
inline constexpr const char* kStallDetectionKey = "Stall_Detection";
inline constexpr const char* kStallDetectionRecoveryKey = "Stall_Detection_Recovery";
inline constexpr const char* kDumpStateKey = "Status";

/// DMC files tell the baseband which messages to log.
inline constexpr const char* kDefaultPrimaryDMCFile = "Default";
inline constexpr const char* kDefaultSecondaryDMCFile = "None";
inline constexpr const char* kDefaultExtraDMCFile = "None";
inline constexpr const char* kDefaultSleepDMCFile = "Sleep";
inline constexpr const char* kThroughputDMCFile = "Tput";
inline constexpr const char* kNoneDMCFile = "None";
inline constexpr const char* kDIAGScratchDir = "DIAG.scratch/";

inline constexpr Mode kDefaultMode = Mode::ActiveOnAP;
inline constexpr std::uint32_t kDefaultHistory = 256;  ///< megabytes
inline constexpr std::uint32_t kMaxHistory = 2048;     ///< megabytes
inline constexpr bool kDefaultUseThreshold = true;
inline constexpr std::uint32_t kDefaultHighWatermark = 95;  ///< percent
inline constexpr std::uint32_t kDefaultLowWatermark = 1;    ///< percent
inline constexpr bool kDefaultStopReader = true;
inline constexpr bool kDefaultBufferingOnAPAwake = false;
inline constexpr bool kDefaultStallDetection = true;

/// Whether the trace runs on a fresh device: on carrier builds that are not internal ones.
bool getDefaultEnabled();
/// Whether messages are always filtered: on builds for customers only.
bool getShouldAlwaysFilter();

}  // namespace diag::config
