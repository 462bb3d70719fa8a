#pragma once

#include <functional>
#include <memory>

class QByteArray;

namespace parlowen {

class AudioServer;

/// What the command line offers beside sessions: the audio check. Main thread only.
namespace AudioCommands {

using Write = std::function<void(const QByteArray&)>;

/// Says what a session would hear and what is missing, and with `listen` whether a chirp that is played into the output
/// is heard from there. `finished` gets 0 when a session on the call's own sound can begin, else 1; never before this
/// returns.
void check(const std::shared_ptr<AudioServer>& server, bool listen, const Write& write,
           const std::function<void(int)>& finished);

} // namespace AudioCommands

} // namespace parlowen
