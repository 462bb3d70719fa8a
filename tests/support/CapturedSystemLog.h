#pragma once

#include <Foundation/ConsoleLog.h>

#include "CapturedLog.h"

namespace parlowen::testing {

using CapturedSystemLog = CapturedLines<SystemLogCapture>;

} // namespace parlowen::testing
