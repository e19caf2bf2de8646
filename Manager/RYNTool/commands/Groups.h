#pragma once

#include "commands/RYNCommandBase.h"

/// Makes the node of each group of commands, with all that is under it. Each is defined in the file of its class.
extern NodeFactory* const createRYNCommand;
extern NodeFactory* const createModemCommand;
extern NodeFactory* const createResetCommand;
extern NodeFactory* const createDiagnosticsCommand;
extern NodeFactory* const createCoredumpCommand;
extern NodeFactory* const createDIAGCommand;
extern NodeFactory* const createKernelPCICommand;
extern NodeFactory* const createPowerCommand;
extern NodeFactory* const createTEMSCommand;
extern NodeFactory* const createRemoteFSCommand;
extern NodeFactory* const createTraceCommand;
extern NodeFactory* const createTraceFilterCommand;
extern NodeFactory* const createStatsCommand;
