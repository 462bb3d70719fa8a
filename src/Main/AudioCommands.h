#pragma once

#include <functional>
#include <memory>

class QByteArray;

namespace parlowen {

class AudioServer;

/// What the command line offers beside sessions: the audio check and the loop-back device. Main thread only.
namespace AudioCommands {

using Write = std::function<void(const QByteArray&)>;

/// Says what devices there are and what is missing, and with `listen` whether a chirp arrives on the loop-back input.
/// `finished` gets 0 when a session on the call's own sound can begin, else 1.
void check(const std::shared_ptr<AudioServer>& server, bool listen, Write write, std::function<void(int)> finished);

/// Creates the loop-back device in the running session. Returns 0, or 1 when it cannot be made.
int setUp(const std::shared_ptr<AudioServer>& server, const Write& write);

/// Gives back what a session that crashed left behind; says so in the console log.
void recover(const std::shared_ptr<AudioServer>& server);

} // namespace AudioCommands

} // namespace parlowen
