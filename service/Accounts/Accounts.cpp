#include "Accounts.h"

#include "Http/CountedLine.h"
#include "Http/Log.h"
#include "Secrets.h"

#include <algorithm>
#include <cctype>
#include <iterator>

namespace parlowen::service {

namespace {

using Reason = Refused::Reason;

constexpr std::size_t longestSecret = 1024;

bool isDigits(std::string_view text, std::size_t least, std::size_t most) {
    return text.size() >= least && text.size() <= most &&
           std::all_of(text.begin(), text.end(), [](char c) { return c >= '0' && c <= '9'; });
}

/// Without what is for the eye alone, and without the dialling code that copied numbers begin with ("+86138…",
/// "0086138…"), which is given beside.
std::string localNumber(const std::string& text, const std::string& countryCode) {
    std::string digits;
    std::copy_if(text.begin(), text.end(), std::back_inserter(digits),
                 [](char c) { return std::string_view(" -().\t\u00a0").find(c) == std::string_view::npos; });
    for (const std::string& prefix : {"+" + countryCode, "00" + countryCode})
        if (digits.starts_with(prefix))
            return digits.substr(prefix.size());
    return digits;
}

std::string bareNumber(std::string text) {
    std::erase_if(text, [](char c) { return c == ' ' || c == '-' || c == '+'; });
    return text;
}

std::size_t characters(std::string_view utf8) {
    return static_cast<std::size_t>(
        std::count_if(utf8.begin(), utf8.end(), [](char c) { return (static_cast<unsigned char>(c) & 0xc0) != 0x80; }));
}

Refused tooMany(const char* what, std::chrono::seconds wait) {
    return {Reason::TooManyFailures, std::string(what) + "，请在 " + std::to_string(wait.count()) + " 秒后再试"};
}

constexpr const char* manyFailures = "登录失败次数过多";
constexpr const char* shortPassword = "密码不正确，密码至少6位";
constexpr const char* longPassword = "密码过长";

} // namespace

PhoneNumber Credentials::number() const {
    const std::string code = bareNumber(countryCode);
    return {code, localNumber(phone, code)};
}

Accounts::Accounts(Database& database, const LimitClock& clock, std::chrono::seconds sessionLife,
                   std::size_t codesOfAnAddress)
    : store_(database, sessionLife)
    , failures_([this](const std::vector<KeptFailures>& failures) {
        try {
            store_.keepFailures(failures);
        } catch (const StoreError& problem) {
            static OnceAMinute pause;
            if (pause.isDue())
                logLine(problem.what()); // they are remembered until the end of the process
        }
    })
    , limits_(clock, [this](const std::vector<KeptFailures>& failures) { failures_.note(failures); })
    , codes_(clock, codesOfAnAddress) {
    limits_.restore(store_.keptFailures());
}

Accounts::~Accounts() { storeEnded(); }

std::optional<Refused> Accounts::problemOf(const PhoneNumber& phone) {
    if (!isDigits(phone.countryCode, 1, 4))
        return Refused{Reason::Input, "国家/地区代码不正确"};
    if (!isDigits(phone.number, 4, 15))
        return Refused{Reason::Input, "手机号不正确"};
    return std::nullopt;
}

SignInTry Accounts::tryOf(const Credentials& credentials) {
    const PhoneNumber phone = credentials.number();
    const std::string device = credentials.device.empty() ? "" : "device " + hashedToken(credentials.device);
    const bool isKnownDevice = !device.empty() && store_.knowsAddress(phone, device);
    const std::string& place = isKnownDevice ? device : credentials.address;
    return {.number = nameOf(phone),
            .address = place,
            .fromKnownPlace = isKnownDevice || store_.knowsAddress(phone, place),
            .device = device};
}

std::optional<Refused> Accounts::refusal(const Credentials& credentials) {
    if (auto problem = problemOf(credentials.number()))
        return problem;
    const auto wait = limits_.waitFor(tryOf(credentials));
    return wait.count() > 0 ? std::optional(tooMany(manyFailures, wait)) : std::nullopt;
}

HashingQueue::Place Accounts::placeOf(const Credentials& credentials) {
    const SignInTry attempt = tryOf(credentials);
    const bool isOnKnownDevice = attempt.fromKnownPlace && attempt.address == attempt.device;
    return {siteOf(credentials.address), attempt.number + (isOnKnownDevice ? " " + attempt.device : ""),
            attempt.fromKnownPlace};
}

std::variant<SignedIn, Refused> Accounts::signIn(const Credentials& credentials, bool mayCreate) {
    if (auto problem = problemOf(credentials.number()))
        return *std::move(problem);
    const SignInTry attempt = tryOf(credentials);
    if (const auto wait = limits_.begin(attempt); wait.count() > 0)
        return tooMany(manyFailures, wait);
    try {
        auto outcome = checkPassword(credentials.number(), credentials.secret, mayCreate);
        if (auto* signedIn = std::get_if<SignedIn>(&outcome))
            return admitted(attempt, std::move(*signedIn));
        limits_.failed(attempt);
        return outcome;
    } catch (const StoreError&) {
        limits_.takeBack(attempt); // the disk's failure, not the user's
        throw;
    }
}

/// Hashes once, whatever comes of it, also where there is no password or one that is too long; but for the right
/// password of a hash of another cost, which is renewed.
std::variant<SignedIn, Refused> Accounts::checkPassword(const PhoneNumber& phone, const std::string& password,
                                                        bool mayCreate) {
    const auto known = store_.find(phone);
    if (password.size() > longestSecret) {
        passwordMatches({}, password.substr(0, longestSecret));
        return Refused{Reason::Input, longPassword};
    }
    const bool longEnough = characters(password) >= leastPassword;
    if (!known && mayCreate && longEnough) {
        const std::string token = randomToken();
        if (auto user = store_.create(phone, hashedPassword(password), hashedToken(token)))
            return SignedIn{*std::move(user), token};
        return checkPassword(phone, password, false); // another first sign-in of this number came first
    }
    if (passwordMatches(known ? known->passwordHash : std::string(), password)) {
        if (isOfAnotherCost(known->passwordHash))
            store_.setPasswordHash(known->user.id, hashedPassword(password));
        return newSession(phone);
    }
    if (!longEnough)
        return Refused{Reason::Input, shortPassword};
    return Refused{Reason::WrongPassword, "手机号或密码错误"};
}

tl::expected<bool, Refused> Accounts::setPassword(const Credentials& credentials) {
    if (auto problem = problemOf(credentials.number()))
        return tl::unexpected(*std::move(problem));
    if (characters(credentials.secret) < leastPassword)
        return tl::unexpected(Refused{Reason::Input, shortPassword});
    if (credentials.secret.size() > longestSecret)
        return tl::unexpected(Refused{Reason::Input, longPassword});
    return store_.setPassword(credentials.number(), hashedPassword(credentials.secret));
}

std::variant<SignedIn, Refused> Accounts::signInByCode(const Credentials& credentials) {
    if (auto problem = problemOf(credentials.number()))
        return *std::move(problem);
    std::string code = credentials.secret;
    std::erase_if(code, [](unsigned char c) { return std::isspace(c) != 0; });
    if (code.empty())
        return Refused{Reason::Input, "验证码不能为空"};
    const PhoneNumber phone = credentials.number();
    SignInTry attempt = tryOf(credentials);
    attempt.askedForCode = codes_.isAskedFrom(phone, attempt.address);
    if (const auto wait = limits_.begin(attempt); wait.count() > 0)
        return tooMany(manyFailures, wait);
    if (!codes_.redeem(phone, code, attempt.address)) {
        limits_.failed(attempt);
        return Refused{Reason::WrongCode, "验证码错误或已失效"};
    }
    try {
        const std::string token = randomToken();
        auto created = store_.create(phone, {}, hashedToken(token));
        return admitted(attempt, created ? SignedIn{*std::move(created), token} : newSession(phone));
    } catch (const StoreError&) {
        limits_.takeBack(attempt);
        throw;
    }
}

std::variant<std::string, Refused> Accounts::issueCode(const Credentials& credentials) {
    const PhoneNumber phone = credentials.number();
    if (auto problem = problemOf(phone))
        return *std::move(problem);
    const SignInTry attempt = tryOf(credentials);
    auto code = codes_.issue(phone, {attempt.address, attempt.fromKnownPlace});
    if (!code)
        return tooMany("验证码发送过于频繁", code.error());
    return *std::move(code);
}

SignedIn Accounts::admitted(const SignInTry& attempt, SignedIn signedIn) {
    limits_.succeeded(attempt);
    try {
        if (!attempt.address.empty())
            store_.addAddress(signedIn.user.id, attempt.address); // also a known one: it is the latest now
        if (attempt.address != attempt.device && !attempt.device.empty())
            store_.addAddress(signedIn.user.id, attempt.device);
    } catch (const StoreError& problem) {
        logLine(problem.what()); // the sign-in is good all the same
    }
    return signedIn;
}

SignedIn Accounts::newSession(const PhoneNumber& phone) {
    storeEnded();
    const std::string token = randomToken();
    return {store_.openSession(phone, hashedToken(token)), token};
}

std::optional<User> Accounts::userOf(std::string_view token) {
    const std::string session = token.empty() ? std::string() : sessionOf(token);
    {
        const std::lock_guard lock(endedMutex_);
        if (session.empty() || ended_.contains(session))
            return std::nullopt;
    }
    return store_.findByToken(session);
}

bool Accounts::setType(std::string_view token, std::int64_t type) {
    const auto user = userOf(token);
    if (user)
        store_.setType(user->id, type);
    return user.has_value();
}

std::string Accounts::sessionOf(std::string_view token) { return hashedToken(token); }

bool Accounts::sessionLasts(std::string_view session) {
    const std::lock_guard lock(endedMutex_);
    return !ended_.contains(std::string(session)) && store_.hasSession(session);
}

void Accounts::signOut(std::string_view token) {
    const std::string session = sessionOf(token);
    try {
        store_.endSession(session);
    } catch (const StoreError& problem) {
        if (!problem.cannotWrite)
            throw;
        logLine(problem.what());
        const std::lock_guard lock(endedMutex_);
        ended_.insert(session);
    }
}

void Accounts::storeEnded() {
    std::unique_lock lock(endedMutex_);
    const std::set<std::string> ended = ended_;
    lock.unlock();
    try {
        for (const std::string& session : ended) {
            store_.endSession(session);
            lock.lock();
            ended_.erase(session);
            lock.unlock();
        }
    } catch (const StoreError&) {
        // The next time.
    }
}

std::optional<User> Accounts::remove(std::string_view token) {
    auto user = userOf(token);
    if (user) {
        failures_.forget(nameOf(user->phone));
        store_.remove(user->id);
        codes_.forget(user->phone);
    }
    return user;
}

} // namespace parlowen::service
