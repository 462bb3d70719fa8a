#pragma once

#include <functional>

namespace parlowen {

/// Runs the work on some background thread, soon. No order is kept between pieces of work. Any thread.
void inBackground(std::function<void()> work);

/// Waits until all background work submitted so far has run; for tests and for the end of the program.
void waitForBackground();

} // namespace parlowen
