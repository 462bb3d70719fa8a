#pragma once

#include "Engine.h"

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace parlowen::service {

/// What a client asks of a turn: the connection's path and query, and what the turn's `speech.context` says beyond it.
struct TurnSettings {
    std::string language;             ///< a recognition locale as it was asked for
    std::vector<std::string> targets; ///< translation codes as they were asked for, each once and no more than one
                                      ///< beyond `mostTargets`; empty: plain recognition
    bool olderTranslation = false;    ///< messages in the form of the older translation path
    bool detailed = false;            ///< phrases list alternatives instead of one text
    bool interimTranslation = true;   ///< translate while somebody speaks
    bool lateTranslation = false;     ///< a final may come again, with a translation that was not ready
    bool plainHypotheses = true;      ///< send `speech.hypothesis`
    bool plainPhrases = true;         ///< send `speech.phrase`
};

/// How many languages a turn can be translated into.
inline constexpr std::size_t mostTargets = 4;

/// The value of a query parameter of the upgrade request; empty when missing.
using QueryLookup = std::function<std::string(std::string_view)>;

/// What the upgrade request alone says.
TurnSettings settingsOfRequest(std::string_view path, const QueryLookup& query);

/// The same with what the body of a `speech.context` adds; none when that is no JSON object.
std::optional<TurnSettings> withContext(TurnSettings settings, std::string_view json);

/// What carries a turn out.
struct TurnEngines {
    std::shared_ptr<RecognitionEngine> recognition;
    struct Translation {
        std::string target; ///< as it was asked for
        LanguagePair pair;
        std::shared_ptr<Translator> translator;
    };
    std::vector<Translation> translations;
};

/// The engines for a turn, or why there are none: at most 123 bytes of plain English that name what is offered.
std::variant<TurnEngines, std::string> enginesFor(const TurnSettings& settings, const EngineSet& engines);

/// The text cut to what a close frame can carry (123 bytes), made plain ASCII.
std::string closeReason(std::string_view text);

} // namespace parlowen::service
