#include "platform/ryn/constants.h"

#include "Platform/CoreFoundation/ConstantString.h"

namespace ryn {

const char* const kCommandGetCorvaneInfo = "GetCorvaneInfoCommand";
const char* const kCommandGetTraceProperty = "GetTracePropertyCommand";
const char* const kCommandSetTraceProperty = "SetTracePropertyCommand";
const char* const kCommandGetBasebandBootState = "GetBasebandBootStateCommand";
const char* const kCommandGetBasebandOperatingMode = "GetBasebandOperatingModeCommand";
const char* const kCommandSetBasebandOperatingMode = "SetBasebandOperatingModeCommand";
const char* const kCommandGetBasebandTime = "GetBasebandTimeCommand";
const char* const kCommandGetBasebandWakeReason = "GetBasebandWakeReasonCommand";
const char* const kCommandResetBaseband = "ResetBasebandCommand";
const char* const kCommandUnblockBasebandReset = "UnblockBasebandResetCommand";
const char* const kCommandGetStatistics = "GetStatisticsCommand";
const char* const kCommandReportingStatistics = "ReportingStatisticsCommand";
const char* const kCommandSimulatePowerNotification = "SimulatePowerNotificationCommand";
const char* const kCommandBasebandSyncFS = "BasebandSyncFSCommand";
const char* const kCommandBasebandNVData = "BasebandNVDataCommand";
const char* const kCommandGetTEMSProperty = "GetTEMSPropertyCommand";
const char* const kCommandSetTEMSProperty = "SetTEMSPropertyCommand";

const char* const kEventBasebandBootStateChange = "BasebandBootStateChangeNotification";
const char* const kEventBasebandOperatingModeChange = "BasebandOperatingModeChangeNotification";

const char* const kKeyErrorCode = "KeyErrorCode";
const char* const kKeyErrorString = "KeyErrorString";
const char* const kKeyTimeout = "KeyTimeout";
const char* const kKeyCorvaneVersion = "KeyCorvaneVersion";
const char* const kKeyBasebandVersion = "KeyBasebandVersion";
const char* const kKeyTraceName = "KeyTraceName";
const char* const kKeyTracePropertyName = "KeyTracePropertyName";
const char* const kKeyTracePropertyValue = "KeyTracePropertyValue";
const char* const kKeyTracePropertyWaitForCompletion = "KeyTracePropertyWaitForCompletion";
const char* const kKeyBasebandBootState = "KeyBasebandBootState";
const char* const kKeyBasebandOperatingMode = "KeyBasebandOperatingMode";
const char* const kKeyBasebandTimeAsString = "KeyBasebandTimeAsString";
const char* const kKeyBasebandWakeChannel = "KeyBasebandWakeChannel";
const char* const kKeyBasebandResetType = "KeyBasebandResetType";
const char* const kKeyBasebandResetSubType = "KeyBasebandResetSubType";
const char* const kKeyBasebandResetReason = "KeyBasebandResetReason";
const char* const kKeyReportingModuleType = "KeyReportingModuleType";
const char* const kKeyReportingData = "KeyReportingData";
const char* const kKeyBootModuleLastRecoveryTime = "KeyBootModuleLastRecoveryTime";
const char* const kKeyBootModuleLastHardResetTime = "KeyBootModuleLastHardResetTime";
const char* const kKeyPowerNotificationMessage = "KeyPowerNotificationMessage";
const char* const kKeyFSSyncWaitForCompletion = "KeyFSSyncWaitForCompletion";
const char* const kKeyBasebandNVDataAction = "KeyBasebandNVDataAction";
const char* const kKeyTEMSMode = "KeyTEMSMode";

const char* const kUnknown = "Unknown";
const char* const kTraceDiag = "DIAG";
const char* const kTraceRYN = "RYN";
const char* const kTraceCoreDump = "CoreDump";
const char* const kTraceKernelPCI = "KernelPCI";
const char* const kTraceFilterFreeSpacePercentage = "FreeSpacePercentage";
const char* const kTraceFilterMaxLogLimit = "MaxLogLimit";
const char* const kBasebandResetTypeSoft = "Soft reset";
const char* const kBasebandResetTypeHard = "Hard reset";
const char* const kBasebandResetSubTypeUserTriggered = "UserTriggered";
const char* const kBasebandNVDataErase = "Erase";

}  // namespace ryn

namespace {

using platform::ConstantString;

constinit const ConstantString npaPowerLog("NPA");
constinit const ConstantString f3PowerLog("F3");
constinit const ConstantString actionEnable("Enable");
constinit const ConstantString actionDisable("Disable");
constinit const ConstantString actionDumpLog("DumpLog");
constinit const ConstantString commandLogCollection("LogCollectionCommand");
constinit const ConstantString keyLogCollectionAction("KeyLogCollectionAction");

}  // namespace

const CFStringRef kNPAPowerLog = &npaPowerLog;
const CFStringRef kF3PowerLog = &f3PowerLog;
const CFStringRef kActionEnable = &actionEnable;
const CFStringRef kActionDisable = &actionDisable;
const CFStringRef kActionDumpLog = &actionDumpLog;
const CFStringRef kCommandLogCollection = &commandLogCollection;
const CFStringRef kKeyLogCollectionAction = &keyLogCollectionAction;
