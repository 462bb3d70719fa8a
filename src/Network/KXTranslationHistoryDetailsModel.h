#pragma once

#include <QString>
#include <QtGlobal>
#include <optional>
#include <vector>

namespace parlowen {

/// A remark on a transcript row.
struct TranslationHistoryDetailsCommnetModel {
    QString commentText;
    QString timeText;
    std::optional<qint64> time;
    qint64 index = 0;
    std::optional<qint64> cellIndex;

    bool operator==(const TranslationHistoryDetailsCommnetModel&) const = default;
};

/// One transcript row: a recognised sentence and, in a two-language interview, its translation.
struct KXTranslationHistoryDetailsModel {
    double timeStr = 0;
    QString sourceText; ///< in the spoken language
    QString resultText; ///< the translation; empty in a single-language interview
    QString sourceColor = QStringLiteral("#f9f9f9");
    QString resultColor = QStringLiteral("#f9f9f9");
    std::optional<qint64> tagArea;
    std::optional<qint64> start; ///< session second at which the sentence began
    std::optional<qint64> end;   ///< session second at which it was finished; 0 while it is in progress
    std::optional<std::vector<QString>> images = std::vector<QString>();
    qint64 font = 14; ///< size; a list shows its own instead
    bool isPIP = false;
    bool isComment = false;
    std::vector<TranslationHistoryDetailsCommnetModel> commentList;
    std::optional<qint64> segId;
    std::optional<QString> isShowIndex;
    qint64 index = 0; ///< the list sets it to the row's number, from 1, in the copy that it shows
    qint64 surperIndex = 0;
    bool isCollect = false;
    bool isMine = true;
    bool isOne = true;

    bool operator==(const KXTranslationHistoryDetailsModel&) const = default;
};

} // namespace parlowen
