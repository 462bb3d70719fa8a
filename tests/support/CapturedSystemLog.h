#pragma once

#include <Foundation/SystemLog.h>

#include "CapturedLog.h"

namespace parlowen::testing {

using CapturedSystemLog = CapturedLines<SystemLogCapture>;

} // namespace parlowen::testing
