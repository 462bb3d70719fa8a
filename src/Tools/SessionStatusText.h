#pragma once

#include "SessionStatus.h"

#include <Foundation/Phrase.h>

#include <QStringList>
#include <cstdint>

namespace parlowen {

/// What is said of a session's status: by its window and by the terminal, in the same words. A value.
struct SessionStatusText {
    enum class Severity : std::uint8_t {
        Plain,     ///< nothing to do
        Attention, ///< something keeps the session from hearing or writing, and passes or can be changed
        Problem,   ///< it does not go on as it is
    };

    QString text; ///< one short line
    Severity severity = Severity::Plain;
    QStringList details; ///< what is heard and what is recognised, a sentence each
    QStringList advice;  ///< what to do about it, a sentence each; empty where there is nothing to do
    QString action;      ///< "listen there"; empty where there is no other output to choose
    QString actionUID;   ///< of that output, for `SessionStatus::chooseOutput`
    bool hears = false;  ///< sound is recorded: its level says something

    bool operator==(const SessionStatusText&) const = default;
};

/// The words for what is heard and how recognition keeps up.
SessionStatusText sessionStatusText(const InputStatus& input, const RecognitionStatus& recognition, Language language);

/// Its line as a window shows it, where it stands alone: with a capital letter, unless a program's name is all of it.
QString headline(const SessionStatusText& words, const InputStatus& input);

/// So many seconds of quiet are worth a word.
inline constexpr int quietBeforeACall = 10;
inline constexpr int quietInACall = 30; ///< the candidate speaks for as long

} // namespace parlowen
