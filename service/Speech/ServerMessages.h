#pragma once

#include "Engine.h"
#include "TurnSettings.h"

#include <Wire/SpeechMessage.h>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace parlowen::service {

/// One target's text, none when the translation failed.
struct Translation {
    std::string target;
    std::optional<std::string> text;
};

/// The gateway's messages of one turn, each with the turn's id.
class ServerMessages {
public:
    ServerMessages(std::string requestId, TurnSettings settings);

    wire::SpeechMessage turnStart() const;
    wire::SpeechMessage startDetected(Ticks offset) const;
    wire::SpeechMessage endDetected(Ticks offset) const;
    wire::SpeechMessage turnEnd() const;

    /// What goes out at once for a `Partial` or `Final`: the plain message, unless the client wants none.
    std::vector<wire::SpeechMessage> plain(const RecognitionEvent& event) const;
    /// What goes out for it once its translations are there.
    wire::SpeechMessage translated(const RecognitionEvent& event, const std::vector<Translation>& translations) const;
    /// A phrase without text whose `RecognitionStatus` is given, in the turn's form: "Error", "TooManyRequests", ….
    wire::SpeechMessage status(std::string_view recognitionStatus) const;

private:
    wire::SpeechMessage message(std::string_view path, std::string body) const;

    const std::string requestId_;
    const TurnSettings settings_;
};

} // namespace parlowen::service
