#pragma once

#include <QString>
#include <functional>
#include <memory>
#include <optional>

namespace parlowen {

class AudioServer;

/// The device that lets the computer's own sound be recorded: a sink without hardware.
namespace LoopbackDevice {

struct Setup {
    enum class Outcome { AlreadyThere, Created, Failed } outcome = Outcome::Failed;
    QString problem; ///< when it failed, in English
};

/// Creates the device; returns none or an error text.
using Creator = std::function<std::optional<QString>()>;
/// Adds it to the session's audio server until that ends.
std::optional<QString> create();

/// Creates the device unless there is one, and makes sure that the server shows it. A few seconds at most.
Setup setUp(const std::shared_ptr<AudioServer>& server, const Creator& creator = create);

} // namespace LoopbackDevice

} // namespace parlowen
