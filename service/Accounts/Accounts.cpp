#include "Accounts.h"

#include "Secrets.h"

#include <algorithm>

namespace parlowen::service {

namespace {

constexpr std::size_t leastPassword = 6; ///< characters
constexpr std::size_t longestPassword = 1024;

bool isDigits(std::string_view text, std::size_t least, std::size_t most) {
    return text.size() >= least && text.size() <= most &&
           std::all_of(text.begin(), text.end(), [](char c) { return c >= '0' && c <= '9'; });
}

/// Without what people put into numbers to read them more easily.
std::string bareNumber(std::string text) {
    std::erase_if(text, [](char c) { return c == ' ' || c == '-' || c == '+'; });
    return text;
}

std::size_t characters(std::string_view utf8) {
    return static_cast<std::size_t>(
        std::count_if(utf8.begin(), utf8.end(), [](char c) { return (static_cast<unsigned char>(c) & 0xc0) != 0x80; }));
}

std::optional<Refused> problemWith(const PhoneNumber& phone, const std::string& password) {
    using Reason = Refused::Reason;
    if (!isDigits(phone.countryCode, 1, 4))
        return Refused{Reason::Input, "国家/地区代码不正确"};
    if (!isDigits(phone.number, 4, 15))
        return Refused{Reason::Input, "手机号不正确"};
    if (password.empty() || password.size() > longestPassword)
        return Refused{Reason::Input, password.empty() ? "密码不能为空" : "密码过长"};
    return std::nullopt;
}

/// Checked for numbers that have no account, so that the time an answer takes does not tell which ones have.
const std::string& someHash() {
    static const std::string hash = hashedPassword(randomToken());
    return hash;
}

} // namespace

Accounts::Accounts(Database& database, FailureLimit::Clock clock)
    : store_(database)
    , limit_(std::move(clock)) {}

std::variant<SignedIn, Refused> Accounts::signIn(const Credentials& credentials, bool mayCreate) {
    const PhoneNumber phone{bareNumber(credentials.countryCode), bareNumber(credentials.phone)};
    if (auto problem = problemWith(phone, credentials.password))
        return *std::move(problem);
    const auto wait = limit_.waitFor(phone.countryCode + " " + phone.number);
    if (wait.count() > 0)
        return Refused{Refused::Reason::TooManyFailures,
                       "密码错误次数过多，请在 " + std::to_string(wait.count()) + " 秒后再试"};

    auto known = store_.find(phone);
    if (!known && !mayCreate) {
        passwordMatches(someHash(), credentials.password);
        return wrongPassword(phone);
    }
    if (!known) {
        if (characters(credentials.password) < leastPassword)
            return Refused{Refused::Reason::Input, "首次登录将创建账号，请输入至少6位的密码"};
        const std::string token = randomToken();
        if (auto user = store_.create(phone, hashedPassword(credentials.password), hashedToken(token)))
            return SignedIn{*std::move(user), token};
        known = store_.find(phone); // another first sign-in of this number came first
    }
    return known ? checkPassword(phone, *known, credentials.password) : wrongPassword(phone);
}

std::variant<SignedIn, Refused> Accounts::checkPassword(const PhoneNumber& phone, const AccountStore::KnownUser& known,
                                                        const std::string& password) {
    if (!passwordMatches(known.passwordHash, password))
        return wrongPassword(phone);
    limit_.succeeded(phone.countryCode + " " + phone.number);
    const std::string token = randomToken();
    return SignedIn{store_.openSession(phone, hashedToken(token)), token};
}

Refused Accounts::wrongPassword(const PhoneNumber& phone) {
    limit_.failed(phone.countryCode + " " + phone.number);
    return {Refused::Reason::WrongPassword, "手机号或密码错误"};
}

std::optional<User> Accounts::userOf(std::string_view token) {
    return token.empty() ? std::nullopt : store_.findByToken(hashedToken(token));
}

bool Accounts::setType(std::string_view token, std::int64_t type) {
    const auto user = userOf(token);
    if (user)
        store_.setType(user->id, type);
    return user.has_value();
}

void Accounts::signOut(std::string_view token) { store_.endSession(hashedToken(token)); }

FailureLimit::FailureLimit(Clock clock)
    : clock_(std::move(clock)) {}

std::chrono::seconds FailureLimit::waitFor(const std::string& name) {
    const std::lock_guard lock(mutex_);
    const auto known = failures_.find(name);
    if (known == failures_.end() || known->second.count < freeFailures)
        return {};
    const auto left = known->second.last + pause - clock_();
    return std::max(std::chrono::ceil<std::chrono::seconds>(left), std::chrono::seconds(0));
}

void FailureLimit::failed(const std::string& name) {
    const std::lock_guard lock(mutex_);
    const TimePoint now = clock_();
    if (!failures_.contains(name))
        makeRoom(now);
    Failures& failures = failures_[name];
    failures.count = now - failures.last > memory ? 1 : failures.count + 1;
    failures.last = now;
}

void FailureLimit::succeeded(const std::string& name) {
    const std::lock_guard lock(mutex_);
    failures_.erase(name);
}

void FailureLimit::makeRoom(TimePoint now) {
    if (failures_.size() < names)
        return;
    std::erase_if(failures_, [now](const auto& entry) { return now - entry.second.last > memory; });
    if (failures_.size() < names)
        return;
    failures_.erase(std::min_element(failures_.begin(), failures_.end(), [](const auto& left, const auto& right) {
        return left.second.last < right.second.last;
    }));
}

} // namespace parlowen::service
