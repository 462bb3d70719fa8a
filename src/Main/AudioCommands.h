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
/// `finished` gets 0 when a session on the call's own sound can begin, else 1. What it returns ends the check early and
/// gives the devices back; it may be called at any time.
std::function<void()> check(const std::shared_ptr<AudioServer>& server, bool listen, Write write,
                            std::function<void(int)> finished);

/// Creates the loop-back device in the running session. Returns 0, or 1 when it cannot be made.
int setUp(const std::shared_ptr<AudioServer>& server, const Write& write);

/// Gives back what a session that crashed left behind; says so in the console log. Where the session could keep no
/// record, only its multi-output device can be removed: that is done `alsoWithoutRecord`, unless this program runs a
/// second time, which the device may belong to.
void recover(const std::shared_ptr<AudioServer>& server, bool alsoWithoutRecord);

} // namespace AudioCommands

} // namespace parlowen
