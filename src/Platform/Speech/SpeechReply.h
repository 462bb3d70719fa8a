#pragma once

#include <Wire/SpeechMessage.h>

#include <QString>
#include <cstdint>
#include <optional>
#include <utility>
#include <vector>

namespace parlowen {

/// One message of the service, read. A value.
struct SpeechReply {
    enum class Kind { Partial, Final, TurnEnd };

    Kind kind = Kind::TurnEnd;
    bool translated = false; ///< came as a translation message, newer or older form
    std::optional<QString> text;
    QString recognitionStatus;          ///< of Final; "Success" when the message has none
    QString translationStatus;          ///< "Success" when the message has none
    QString failureReason;              ///< often empty
    std::optional<std::uint64_t> begin; ///< offset, in the unit of `end`
    std::optional<std::uint64_t> end;   ///< offset and duration together, 100 ns from the turn's first audio byte
    std::vector<std::pair<QString, QString>> translations; ///< language as the service names it, text
};

/// None for a message that says nothing about results (turn.start, speech.startDetected, unknown ones) or whose body
/// is not what its path promises.
std::optional<SpeechReply> readReply(const wire::SpeechMessage& message);

} // namespace parlowen
