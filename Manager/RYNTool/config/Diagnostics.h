#pragma once

/// The baseband diagnostics command, its notification, and the keys of both.
namespace ryn {

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

}  // namespace ryn
