#pragma once

#include "platform/CoreFoundation/CoreFoundation.h"

/// The names of the manager protocol: commands, events, the keys of their dictionaries, and fixed values.
namespace ryn {

inline constexpr const char* kCommandGetCorvaneInfo = "GetCorvaneInfoCommand";
inline constexpr const char* kCommandGetTraceProperty = "GetTracePropertyCommand";
inline constexpr const char* kCommandSetTraceProperty = "SetTracePropertyCommand";
inline constexpr const char* kCommandGetBasebandBootState = "GetBasebandBootStateCommand";
inline constexpr const char* kCommandGetBasebandOperatingMode = "GetBasebandOperatingModeCommand";
inline constexpr const char* kCommandSetBasebandOperatingMode = "SetBasebandOperatingModeCommand";
inline constexpr const char* kCommandGetBasebandTime = "GetBasebandTimeCommand";
inline constexpr const char* kCommandGetBasebandWakeReason = "GetBasebandWakeReasonCommand";
inline constexpr const char* kCommandResetBaseband = "ResetBasebandCommand";
inline constexpr const char* kCommandUnblockBasebandReset = "UnblockBasebandResetCommand";
inline constexpr const char* kCommandGetStatistics = "GetStatisticsCommand";
inline constexpr const char* kCommandReportingStatistics = "ReportingStatisticsCommand";
inline constexpr const char* kCommandSimulatePowerNotification = "SimulatePowerNotificationCommand";
inline constexpr const char* kCommandBasebandSyncFS = "BasebandSyncFSCommand";
inline constexpr const char* kCommandBasebandNVData = "BasebandNVDataCommand";
inline constexpr const char* kCommandGetTEMSProperty = "GetTEMSPropertyCommand";
inline constexpr const char* kCommandSetTEMSProperty = "SetTEMSPropertyCommand";

inline constexpr const char* kEventBasebandBootStateChange = "BasebandBootStateChangeNotification";
inline constexpr const char* kEventBasebandOperatingModeChange = "BasebandOperatingModeChangeNotification";

inline constexpr const char* kKeyErrorCode = "KeyErrorCode";
inline constexpr const char* kKeyErrorString = "KeyErrorString";
inline constexpr const char* kKeyTimeout = "KeyTimeout";
inline constexpr const char* kKeyProtocolVersion = "KeyProtocolVersion";
inline constexpr const char* kKeyProtocolVersions = "KeyProtocolVersions";
inline constexpr const char* kKeyFeatures = "KeyFeatures";
inline constexpr const char* kKeyCorvaneVersion = "KeyCorvaneVersion";
inline constexpr const char* kKeyBasebandVersion = "KeyBasebandVersion";
inline constexpr const char* kKeyTraceName = "KeyTraceName";
inline constexpr const char* kKeyTracePropertyName = "KeyTracePropertyName";
inline constexpr const char* kKeyTracePropertyValue = "KeyTracePropertyValue";
inline constexpr const char* kKeyTracePropertyWaitForCompletion = "KeyTracePropertyWaitForCompletion";
inline constexpr const char* kKeyBasebandBootState = "KeyBasebandBootState";
inline constexpr const char* kKeyBasebandOperatingMode = "KeyBasebandOperatingMode";
inline constexpr const char* kKeyBasebandTimeAsString = "KeyBasebandTimeAsString";
inline constexpr const char* kKeyBasebandWakeChannel = "KeyBasebandWakeChannel";
inline constexpr const char* kKeyBasebandWakeReason = "KeyBasebandWakeReason";
inline constexpr const char* kKeyBasebandWakeTime = "KeyBasebandWakeTime";
inline constexpr const char* kKeyBasebandWakeCount = "KeyBasebandWakeCount";
inline constexpr const char* kKeyBasebandWakeSleptMilliseconds = "KeyBasebandWakeSleptMilliseconds";
inline constexpr const char* kKeyBasebandResetType = "KeyBasebandResetType";
inline constexpr const char* kKeyBasebandResetSubType = "KeyBasebandResetSubType";
inline constexpr const char* kKeyBasebandResetReason = "KeyBasebandResetReason";
inline constexpr const char* kKeyReportingModuleType = "KeyReportingModuleType";
inline constexpr const char* kKeyReportingData = "KeyReportingData";
inline constexpr const char* kKeyBootModuleLastRecoveryTime = "KeyBootModuleLastRecoveryTime";
inline constexpr const char* kKeyBootModuleLastHardResetTime = "KeyBootModuleLastHardResetTime";
inline constexpr const char* kKeyPowerNotificationMessage = "KeyPowerNotificationMessage";
inline constexpr const char* kKeyFSSyncWaitForCompletion = "KeyFSSyncWaitForCompletion";
inline constexpr const char* kKeyBasebandNVDataAction = "KeyBasebandNVDataAction";
inline constexpr const char* kKeyTEMSMode = "KeyTEMSMode";

inline constexpr const char* kUnknown = "Unknown";
inline constexpr const char* kTraceDiag = "DIAG";
inline constexpr const char* kTraceRYN = "RYN";
inline constexpr const char* kTraceCoreDump = "CoreDump";
inline constexpr const char* kTraceKernelPCI = "KernelPCI";
inline constexpr const char* kTraceFilterFreeSpacePercentage = "FreeSpacePercentage";
inline constexpr const char* kTraceFilterMaxLogLimit = "MaxLogLimit";
inline constexpr const char* kBasebandResetTypeSoft = "Soft reset";
inline constexpr const char* kBasebandResetTypeHard = "Hard reset";
inline constexpr const char* kBasebandResetSubTypeUserTriggered = "UserTriggered";
inline constexpr const char* kBasebandNVDataErase = "Erase";

// The baseband diagnostics command, its notification, and the keys of both.
inline constexpr const char* kCommandBasebandDiagnostics = "BasebandDiagnosticsCommand";
inline constexpr const char* kEventBasebandDiagnostics = "BasebandDiagnosticsNotification";

inline constexpr const char* kKeyBasebandDiagnosticsAction = "KeyBasebandDiagnosticsAction";
inline constexpr const char* kBasebandDiagnosticsActionRun = "BasebandDiagnosticsActionRun";
inline constexpr const char* kBasebandDiagnosticsActionAbort = "BasebandDiagnosticsActionAbort";
inline constexpr const char* kKeyBasebandDiagnosticsType = "KeyBasebandDiagnosticsType";
inline constexpr const char* kBasebandDiagnosticsTypeRFSelfTest = "BasebandDiagnosticsTypeRFSelfTest";
inline constexpr const char* kKeyBasebandDiagnosticsOptions = "KeyBasebandDiagnosticsOptions";

/// Options of the RF self-test: two target powers, limits as arrays of 32 integers.
inline constexpr const char* kKeyRFSelfTestTargetTxPower3G4G = "KeyRFSelfTestTargetTxPower3G4G";
inline constexpr const char* kKeyRFSelfTestTargetTxPower2G = "KeyRFSelfTestTargetTxPower2G";
inline constexpr const char* kKeyRFSelfTestPowerRatioLimitLowList = "KeyRFSelfTestPowerRatioLimitLowList";
inline constexpr const char* kKeyRFSelfTestPowerRatioLimitHighList = "KeyRFSelfTestPowerRatioLimitHighList";
inline constexpr const char* kKeyRFSelfTestForwardPowerLimitLowList = "KeyRFSelfTestForwardPowerLimitLowList";
inline constexpr const char* kKeyRFSelfTestForwardPowerLimitHighList = "KeyRFSelfTestForwardPowerLimitHighList";

/// What the notification carries.
inline constexpr const char* kKeyBasebandDiagnosticsStatus = "KeyBasebandDiagnosticsStatus";
inline constexpr const char* kBasebandDiagnosticsStatusComplete = "BasebandDiagnosticsStatusComplete";
inline constexpr const char* kBasebandDiagnosticsStatusAborted = "BasebandDiagnosticsStatusAborted";
inline constexpr const char* kKeyBasebandDiagnosticsStatusData = "KeyBasebandDiagnosticsStatusData";
inline constexpr const char* kKeyBasebandDiagnosticsPercentage = "KeyBasebandDiagnosticsPercentage";
inline constexpr const char* kKeyBasebandDiagnosticsResult = "KeyBasebandDiagnosticsResult";
inline constexpr const char* kKeyBasebandDiagnosticsErrorCode = "KeyBasebandDiagnosticsErrorCode";
inline constexpr const char* kKeyBasebandDiagnosticsErrorString = "KeyBasebandDiagnosticsErrorString";
inline constexpr const char* kKeyRFSelfTestOverallStatus = "KeyRFSelfTestOverallStatus";
inline constexpr const char* kKeyRFSelfTestPowerRatioStatus = "KeyRFSelfTestPowerRatioStatus";
inline constexpr const char* kKeyRFSelfTestForwardPowerStatus = "KeyRFSelfTestForwardPowerStatus";
inline constexpr const char* kKeyRFSelfTestPowerRatioMeasurementPortAList = "KeyRFSelfTestPowerRatioMeasurementPortAList";
inline constexpr const char* kKeyRFSelfTestPowerRatioMeasurementPortBList = "KeyRFSelfTestPowerRatioMeasurementPortBList";
inline constexpr const char* kKeyRFSelfTestForwardPowerMeasurementPortAList = "KeyRFSelfTestForwardPowerMeasurementPortAList";
inline constexpr const char* kKeyRFSelfTestForwardPowerMeasurementPortBList = "KeyRFSelfTestForwardPowerMeasurementPortBList";
inline constexpr const char* kKeyRFSelfTestReversePowerMeasurementPortAList = "KeyRFSelfTestReversePowerMeasurementPortAList";
inline constexpr const char* kKeyRFSelfTestReversePowerMeasurementPortBList = "KeyRFSelfTestReversePowerMeasurementPortBList";
inline constexpr const char* kKeyRFSelfTestRSSIMeasurementPortAList = "KeyRFSelfTestRSSIMeasurementPortAList";
inline constexpr const char* kKeyRFSelfTestRSSIMeasurementPortBList = "KeyRFSelfTestRSSIMeasurementPortBList";

/// The requests that have an operation of their own in the client library, as they travel.
///
///     CollectTraceLogs   {kKeyTraceLogsReason: string}    answered by {kKeyTraceLogsFolder: string}
///     AddTraceFilter     {kKeyTraceFilterName: string, kKeyTraceFilterValue: int64, or null for the filter's default}
///     RemoveTraceFilter  {kKeyTraceFilterName: string}
///     GetTraceFilters    null                            answered by {filter name: int64, ...}
namespace request {

inline constexpr const char* kCollectTraceLogs = "CollectTraceLogsCommand";
inline constexpr const char* kAddTraceFilter = "AddTraceFilterCommand";
inline constexpr const char* kRemoveTraceFilter = "RemoveTraceFilterCommand";
inline constexpr const char* kGetTraceFilters = "GetTraceFiltersCommand";

inline constexpr const char* kKeyTraceLogsReason = "KeyTraceLogsReason";
inline constexpr const char* kKeyTraceLogsFolder = "KeyTraceLogsFolder";
inline constexpr const char* kKeyTraceFilterName = "KeyTraceFilterName";
inline constexpr const char* kKeyTraceFilterValue = "KeyTraceFilterValue";

}  // namespace request

}  // namespace ryn

/// Power logs, the actions on them, and the command and key of a log request.
extern const CFStringRef kNPAPowerLog;
extern const CFStringRef kF3PowerLog;
extern const CFStringRef kActionEnable;
extern const CFStringRef kActionDisable;
extern const CFStringRef kActionDumpLog;
extern const CFStringRef kCommandLogCollection;
extern const CFStringRef kKeyLogCollectionAction;
