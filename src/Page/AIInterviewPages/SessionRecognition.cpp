#include "AIInterviewDetailController.h"
#include "TranscriptModel.h"

/// What a session does with recognised sentences.
namespace parlowen {

namespace {

using Row = KXTranslationHistoryDetailsModel;

/// Where the sentence in progress began, if that is known.
std::optional<qint64> centerStart(const TranscriptModel& transcript) {
    return transcript.centerModel() ? transcript.centerModel()->start : std::nullopt;
}

Row makeRow(const QString& text, const QString& translation, std::optional<qint64> start, std::optional<qint64> end) {
    Row row;
    row.sourceText = text;
    row.resultText = translation;
    row.start = start;
    row.end = end;
    return row;
}

} // namespace

void AIInterviewDetailController::partialSentence(const QString& text, const QString& translation) {
    const auto known = centerStart(*transcript_);
    const Row row = makeRow(text, translation, known ? known : useTimeCount_, 0);
    reloadTranscript([&] { transcript_->setCenterModel(row); });
    if (!isClosing_ && observer_.partial)
        observer_.partial(row, static_cast<int>(topArr().size()));
}

void AIInterviewDetailController::finalSentence(const QString& text, const QString& translation) {
    auto start = centerStart(*transcript_);
    if (!start && !topArr().empty())
        start = topArr().back().end;
    const Row row = makeRow(text, translation, start, useTimeCount_);
    reloadTranscript([&] { transcript_->finish(row); });
    if (!isClosing_ && observer_.final)
        observer_.final(row, static_cast<int>(topArr().size()) - 1);
    dispatchQuestion(text);
}

} // namespace parlowen
