// The settings and the DIAG vocabulary are part of the tool though no command calls them: it is their common definition. Here
// stand a function of each source, so that the linker takes in all of it, and what only headers hold. When one is renamed, this
// doesn't compile.

#include "config/Capabilities.h"
#include "config/DiagConfig.h"
#include "config/RYNProperties.h"
#include "config/TraceType.h"

#include <tuple>

[[gnu::used, gnu::retain]] extern constexpr std::tuple kBuiltIn(
    &Capabilities::create, &diag::config::getDefaultEnabled, &ryn::trace::isAllowed, &RYNProperties::hostServer,
    &RYNProperties::kHostServer, &RYNProperties::kRFSFlushInterval, &RYNProperties::kRFSFlushTimeout,
    &RYNProperties::kBootBaseband, &RYNProperties::kLogScratchPath, &RYNProperties::kLogSnapshotPath,
    &RYNProperties::kCoreDumpOnSoftResetTimeout, &RYNProperties::kStackshotOnShutdownTimeout,
    &RYNProperties::kBlockBasebandResets, &RYNProperties::kTraceRYNEnabled, &RYNProperties::kTraceRYNHistory,
    &diag::config::kDIAGScratchDir, &ryn::trace::kTrashFolder, &ryn::trace::kDumpIndicationFilePath,
    &ryn::trace::kNumberOfLogsInSnapshotPath);
