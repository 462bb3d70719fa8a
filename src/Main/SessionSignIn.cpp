#include "SessionSignIn.h"

#include <Foundation/Phrase.h>
#include <Network/ApiBase.h>

#include <QCryptographicHash>
#include <QUrl>
#include <utility>

namespace parlowen {

namespace {

constexpr Phrase nobody{"nobody is signed in to %1; to sign in: parlowen --page login --backend %1",
                        "没有登录 %1；请先登录：parlowen --page login --backend %1"};
constexpr Phrase unreachable{"%1 does not answer as a backend does: %2", "%1 没有像后端那样应答：%2"};
constexpr Phrase notInTheClear{"nobody is signed in to %1, and nothing signs in by itself without https",
                               "没有登录 %1；不使用 https 时不会自动登录"};
constexpr Phrase noAccountHere{
    "the service has no account for this computer and makes none: start it with --create-accounts, or sign in "
    "(parlowen --page login)",
    "该服务没有本机的账号，也不会自动创建：请用 --create-accounts 启动它，或先登录（parlowen --page login）"};
constexpr Phrase signInFailed{"signing in to the local service failed. %1", "登录本地服务失败。%1"};

constexpr qint64 wrongNumberOrPassword = 1002;

struct Account {
    QString phone;
    QString password;
};

// Derived from the service's certificate, which only this user can read: every rehearsal on this service finds its
// account again, and nothing has to be stored for it.
Account ownAccount(const QByteArray& certificateAuthority) {
    const QByteArray hash =
        QCryptographicHash::hash("parlowen rehearsal" + certificateAuthority, QCryptographicHash::Sha256).toHex();
    const quint64 number = hash.left(12).toULongLong(nullptr, 16) % 10'000'000'000ULL;
    return {QStringLiteral("1%1").arg(number, 10, 10, QLatin1Char('0')), QString::fromLatin1(hash.mid(12, 32))};
}

} // namespace

SessionSignIn::SessionSignIn(HttpDatas& http, Settings& settings, LocalTrust trust)
    : http_(http)
    , settings_(settings)
    , trust_(std::move(trust)) {}

void SessionSignIn::run(Done done) {
    done_ = std::move(done);
    if (settings_.loginToken().value_or(QString()).isEmpty())
        useOwnAccount();
    else
        checkToken();
}

bool SessionSignIn::tokenRefused() {
    if (!done_)
        return false;
    useOwnAccount();
    return true;
}

void SessionSignIn::checkToken() {
    http_.requestData(
        QStringLiteral("/user/info"), HttpMethod::GET, std::nullopt, std::nullopt, &context_,
        [this](FResponseStatus status, const std::optional<JSON>&, const std::optional<QString>& message) {
            finish(status == FResponseStatus::failure ? failure(message.value_or(QString())) : Result<void>());
        });
}

void SessionSignIn::useOwnAccount() {
    // Over TLS alone: on this machine too, anybody may listen on a port.
    const QString base = settings_.fuwuqiKey().value_or(ApiBase::builtIn());
    const bool isSecure = QUrl(base).scheme() == QLatin1String("https");
    if (!isSecure || !trust_.covers(QUrl(base).host())) {
        tellWhy(base, isSecure ? nobody.here(base) : notInTheClear.here(base));
        return;
    }
    const Account account = ownAccount(trust_.certificateAuthority);
    const QJsonObject parameters{{QStringLiteral("country_code"), QStringLiteral("86")},
                                 {QStringLiteral("phone"), account.phone},
                                 {QStringLiteral("password"), account.password}};
    http_.requestData(
        QStringLiteral("/user/account/login"), HttpMethod::POST, parameters, std::nullopt, &context_,
        [this](FResponseStatus status, const std::optional<JSON>& json, const std::optional<QString>& message) {
            const QString token = json ? (*json)["data"]["token"].stringValue() : QString();
            if (status != FResponseStatus::success || token.isEmpty()) {
                const bool isUnknown = json && (*json)["code"].intValue() == wrongNumberOrPassword;
                finish(failure(signInFailed.here(isUnknown ? noAccountHere.here() : message.value_or(QString()))));
                return;
            }
            settings_.setLoginToken(token);
            settings_.setUserInfo(mapAccessors<UserBaseModel>((*json)["data"]["user"]));
            settings_.synchronize();
            finish({});
        });
}

/// What is no backend at all, or out of reach, comes first.
void SessionSignIn::tellWhy(const QString& base, const QString& reason) {
    http_.requestData(QStringLiteral("/user/get_login_method"), HttpMethod::GET, std::nullopt, std::nullopt, &context_,
                      [this, base, reason](FResponseStatus status, const std::optional<JSON>&,
                                           const std::optional<QString>& message) {
                          finish(failure(status == FResponseStatus::failure
                                             ? unreachable.here(base, message.value_or(QString()))
                                             : reason));
                      });
}

void SessionSignIn::finish(const Result<void>& result) {
    if (const Done done = std::exchange(done_, nullptr))
        done(result);
}

} // namespace parlowen
