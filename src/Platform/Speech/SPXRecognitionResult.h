#pragma once

#include <QMap>
#include <QString>
#include <functional>
#include <optional>

namespace parlowen {

/// What was heard: a sentence in progress or a finished one.
struct SPXRecognitionResult {
    std::optional<QString> text;         ///< none when nothing was recognized, such as after silence
    QMap<QString, QString> translations; ///< by target language as it was asked for; plain recognition has none
};

struct SPXRecognitionEvent {
    SPXRecognitionResult result;
};

struct SPXCanceledEvent {
    std::optional<QString> errorDetails; ///< plain English: the code and what to check
};

using SPXRecognitionEventHandler = std::function<void(const SPXRecognitionEvent&)>;
using SPXCanceledEventHandler = std::function<void(const SPXCanceledEvent&)>;

} // namespace parlowen
