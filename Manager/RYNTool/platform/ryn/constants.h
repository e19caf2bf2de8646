#pragma once

#include "platform/CoreFoundation/CoreFoundation.h"

/// Names of the manager protocol, supplied by the client library by symbol.
namespace ryn {

extern const char* const kCommandGetCorvaneInfo;
extern const char* const kCommandGetTraceProperty;
extern const char* const kCommandSetTraceProperty;
extern const char* const kCommandGetBasebandBootState;
extern const char* const kCommandGetBasebandOperatingMode;
extern const char* const kCommandSetBasebandOperatingMode;
extern const char* const kCommandGetBasebandTime;
extern const char* const kCommandGetBasebandWakeReason;
extern const char* const kCommandResetBaseband;
extern const char* const kCommandUnblockBasebandReset;
extern const char* const kCommandGetStatistics;
extern const char* const kCommandReportingStatistics;
extern const char* const kCommandSimulatePowerNotification;
extern const char* const kCommandBasebandSyncFS;
extern const char* const kCommandBasebandNVData;
extern const char* const kCommandGetTEMSProperty;
extern const char* const kCommandSetTEMSProperty;

extern const char* const kEventBasebandBootStateChange;
extern const char* const kEventBasebandOperatingModeChange;

extern const char* const kKeyErrorCode;
extern const char* const kKeyErrorString;
extern const char* const kKeyTimeout;
extern const char* const kKeyCorvaneVersion;
extern const char* const kKeyBasebandVersion;
extern const char* const kKeyTraceName;
extern const char* const kKeyTracePropertyName;
extern const char* const kKeyTracePropertyValue;
extern const char* const kKeyTracePropertyWaitForCompletion;
extern const char* const kKeyBasebandBootState;
extern const char* const kKeyBasebandOperatingMode;
extern const char* const kKeyBasebandTimeAsString;
extern const char* const kKeyBasebandWakeChannel;
extern const char* const kKeyBasebandResetType;
extern const char* const kKeyBasebandResetSubType;
extern const char* const kKeyBasebandResetReason;
extern const char* const kKeyReportingModuleType;
extern const char* const kKeyReportingData;
extern const char* const kKeyBootModuleLastRecoveryTime;
extern const char* const kKeyBootModuleLastHardResetTime;
extern const char* const kKeyPowerNotificationMessage;
extern const char* const kKeyFSSyncWaitForCompletion;
extern const char* const kKeyBasebandNVDataAction;
extern const char* const kKeyTEMSMode;

extern const char* const kUnknown;
extern const char* const kTraceDiag;
extern const char* const kTraceRYN;
extern const char* const kTraceCoreDump;
extern const char* const kTraceKernelPCI;
extern const char* const kTraceFilterFreeSpacePercentage;
extern const char* const kTraceFilterMaxLogLimit;
extern const char* const kBasebandResetTypeSoft;
extern const char* const kBasebandResetTypeHard;
extern const char* const kBasebandResetSubTypeUserTriggered;
extern const char* const kBasebandNVDataErase;

}  // namespace ryn

/// Power logs, the actions on them, and the command and key of a log request.
extern const CFStringRef kNPAPowerLog;
extern const CFStringRef kF3PowerLog;
extern const CFStringRef kActionEnable;
extern const CFStringRef kActionDisable;
extern const CFStringRef kActionDumpLog;
extern const CFStringRef kCommandLogCollection;
extern const CFStringRef kKeyLogCollectionAction;
