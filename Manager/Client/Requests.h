#pragma once

/// The requests that have an operation of their own in the client library, as they travel.
///
///     CollectTraceLogs   {kKeyTraceLogsReason: string}
///     AddTraceFilter     {kKeyTraceFilterName: string, kKeyTraceFilterValue: int64, or null for the filter's default}
///     RemoveTraceFilter  {kKeyTraceFilterName: string}
///     GetTraceFilters    null                            answered by {filter name: int64, ...}
namespace ryn::request {

inline constexpr const char* kCollectTraceLogs = "CollectTraceLogsCommand";
inline constexpr const char* kAddTraceFilter = "AddTraceFilterCommand";
inline constexpr const char* kRemoveTraceFilter = "RemoveTraceFilterCommand";
inline constexpr const char* kGetTraceFilters = "GetTraceFiltersCommand";

/// Works for minutes, as the collection does, so both wait longer than others.
inline constexpr const char* kBasebandDiagnostics = "BasebandDiagnosticsCommand";

inline constexpr const char* kKeyTraceLogsReason = "KeyTraceLogsReason";
inline constexpr const char* kKeyTraceFilterName = "KeyTraceFilterName";
inline constexpr const char* kKeyTraceFilterValue = "KeyTraceFilterValue";

}  // namespace ryn::request
