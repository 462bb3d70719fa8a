#pragma once

#include "SingleInstance.h"

namespace parlowen {

class AppDelegate;

/// Has the running program's windows do what a later start asks for, and tells its terminal as well as the person in
/// front of the windows what they do not: with another backend than the one in use nothing is begun, and a session
/// that goes on is neither ended nor joined by another. Main thread only.
LaunchAnswer answerLaterStart(AppDelegate& program, const Launch& launch);

} // namespace parlowen
