#include "LanguageList.h"

#include "HttpDatas.h"

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

} // namespace parlowen
