#pragma once

#include "RouterJournal.h"

#include <memory>

namespace parlowen {

/// What of a record is still to be given back, after all that could be done; none when no audio server answers.
/// A multi-output device that is left is removed whatever the record says.
std::optional<RouterRecord> giveBack(const std::shared_ptr<AudioServer>& server, const RouterRecord& record,
                                     bool* changedSomething);

} // namespace parlowen
