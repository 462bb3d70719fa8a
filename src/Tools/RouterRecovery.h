#pragma once

#include "RouterJournal.h"

#include <memory>

namespace parlowen {

/// What of a record is still to be given back, after all that could be done; none when no audio server answers.
/// A multi-output device that is left is removed whatever the record says. Where it is gone although the record has it,
/// or the machine has restarted since, the present defaults are the server's choice and not the user's.
std::optional<RouterRecord> giveBack(const std::shared_ptr<AudioServer>& server, const RouterRecord& record,
                                     bool machineRestarted, bool* changedSomething);

} // namespace parlowen
