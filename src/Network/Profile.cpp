#include "Profile.h"

#include "HttpDatas.h"
#include "Settings.h"

#include <utility>

namespace parlowen {

void refreshProfile(HttpDatas& http, Settings& settings, QObject* context,
                    std::function<void(const UserBaseModel&)> stored) {
    const auto store = [&settings, stored = std::move(stored)](FResponseStatus status, const std::optional<JSON>& json,
                                                               const std::optional<QString>&) {
        if (status != FResponseStatus::success || !json || !mapLenient<LoginUserModel>((*json)["data"].rawString()))
            return;
        const auto user = mapAccessors<UserBaseModel>((*json)["data"]["user"]);
        settings.setUserInfo(user);
        settings.synchronize();
        stored(user);
    };
    http.requestData(QStringLiteral("/user/info"), HttpMethod::GET, std::nullopt, std::nullopt, context, store);
}

QString heldResume(const Settings& settings) {
    const std::optional<UserBaseModel> user = settings.userInfo();
    return user && user->resume ? user->resume->resume_name : QString();
}

} // namespace parlowen
