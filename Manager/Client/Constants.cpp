#include "platform/ryn/constants.h"

#include "Platform/CoreFoundation/Object.h"

namespace {

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
