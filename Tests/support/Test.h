#pragma once

#include "support/Standard.h"

#include <gmock/gmock.h>

using support::TempFolder;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;
