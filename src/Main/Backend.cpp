#include "Backend.h"

#include <Foundation/Bundle.h>
#include <Foundation/MainQueue.h>
#include <Foundation/Phrase.h>
#include <Network/ApiBase.h>

#include <QUrl>

namespace parlowen {

namespace {

constexpr Phrase notAnAddress{"%1 is not the address of a backend, such as https://example.org/api/v1: %2",
                              "%1 不是后端的地址（例如 https://example.org/api/v1）：%2"};
constexpr Phrase theSetting{"the stored setting fuwuqi_key", "已保存的设置 fuwuqi_key"};
const QString variable = QStringLiteral("PARLOWEN_API_BASE_URL");
const QString option = QStringLiteral("--backend");

} // namespace

Backend::Backend(const QString& given, const std::optional<QString>& remembered, LocalService::Place place)
    : place_(std::move(place)) {
    const QString fromEnvironment = ApiBase::fromEnvironment();
    const auto choose = [this](const QString& address, const QString& source) {
        address_ = ApiBase::trimmed(address);
        source_ = source;
        return !address_.isEmpty();
    };
    isGiven_ = choose(given, option) || choose(fromEnvironment, variable);
    if (!isGiven_ && !choose(remembered.value_or(QString()), theSetting.here()))
        choose(Bundle::builtInApiBaseUrl(), {});
}

Result<void> Backend::checkAddress() const {
    const QUrl url(address_);
    const bool known = url.scheme() == QLatin1String("https") || url.scheme() == QLatin1String("http");
    if (!url.isValid() || !known || url.host().isEmpty())
        return failure(notAnAddress.here(source_, address_));
    return {};
}

bool Backend::isLocalService() const {
    return QUrl(address_) == QUrl(Bundle::builtInApiBaseUrl()) && isLoopbackHost(QUrl(address_).host());
}

void Backend::find(QObject* context, Found found) {
    waiting_.emplace_back(context, std::move(found));
    if (!access_ && !isLocalService())
        access_ = Access{address_, LocalService::trustFor(QUrl(address_).host(), place_.dataDirectory)};
    if (access_) {
        tell(*access_);
        return;
    }
    if (waiting_.size() > 1)
        return; // it is being started
    service_ = std::make_unique<LocalService>(place_);
    service_->onServing([this](bool serves) { Q_EMIT servingChanged(serves); });
    service_->onStranger([this](quint16 port) { Q_EMIT portTaken(port); });
    service_->start([this](const Result<Access>& started) {
        if (started)
            access_ = *started;
        tell(started);
    });
}

void Backend::tell(const Result<Access>& result) {
    for (const auto& [context, found] : std::exchange(waiting_, {}))
        onMain(context, [found = found, result] { found(result); });
}

} // namespace parlowen

#include "moc_Backend.cpp"
