#pragma once

#include <AVFoundation/InputReport.h>

#include <optional>

namespace parlowen::SessionInput {

/// What is wrong with the input of a session.
struct Problem {
    QString text;    ///< in English, for the terminal
    QString forUser; ///< in Chinese, for the session's window
};

/// Whether what befalls its input keeps a session from hearing what it should: on the computer's own sound the
/// loop-back device and nothing else, otherwise any input that does not give what is played. None when all is well.
std::optional<Problem> problem(bool systemAudio, const InputNotice& notice);

} // namespace parlowen::SessionInput
