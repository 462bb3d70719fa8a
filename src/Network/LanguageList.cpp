#include "LanguageList.h"

#include "HttpDatas.h"

#include <Foundation/ChosenLanguage.h>

#include <QLocale>
#include <utility>

namespace parlowen {

void requestLanguages(HttpDatas& http, int source, QObject* context,
                      std::function<void(std::optional<std::vector<LanguageListModel>>)> received) {
    const auto decode = [received = std::move(received)](FResponseStatus status, const std::optional<JSON>& json,
                                                         const std::optional<QString>&) {
        if (status != FResponseStatus::success || !json) {
            received(std::nullopt);
            return;
        }
        std::vector<LanguageListModel> languages;
        for (const JSON& entry : (*json)["data"].arrayValue())
            languages.push_back(mapAccessors<LanguageListModel>(entry));
        received(std::move(languages));
    };
    http.requestData(QStringLiteral("/language/list"), HttpMethod::GET, QJsonObject{{QStringLiteral("source"), source}},
                     std::nullopt, context, decode);
}

QString languageName(const LanguageListModel& language) {
    const QString& key = language.original_key.isEmpty() ? language.translation_key : language.original_key;
    const QLocale locale(key);
    if (windowLanguage() != Language::English || locale.language() == QLocale::C)
        return language.name;
    const QString name = QLocale::languageToString(locale.language());
    if (!key.contains(u'-'))
        return name;
    QString which = QLocale::territoryToString(locale.territory());
    if (locale.language() == QLocale::Chinese && locale.territory() == QLocale::China)
        which = QStringLiteral("Simplified");
    else if (locale.language() == QLocale::Chinese && locale.territory() == QLocale::Taiwan)
        which = QStringLiteral("Traditional");
    else if (locale.territory() == QLocale::UnitedStates)
        which = QStringLiteral("US");
    else if (locale.territory() == QLocale::UnitedKingdom)
        which = QStringLiteral("UK");
    return QStringLiteral("%1 (%2)").arg(name, which);
}

} // namespace parlowen
