#pragma once

#include "AccountStore.h"

#include <chrono>
#include <functional>
#include <map>
#include <mutex>
#include <variant>

namespace parlowen::service {

/// What a sign-in page sends.
struct Credentials {
    std::string countryCode;
    std::string phone;
    std::string password;
};

struct SignedIn {
    User user;
    std::string token; ///< the only time that it is known
};

struct Refused {
    enum class Reason { Input = 1001, WrongPassword = 1002, TooManyFailures = 1003 };
    Reason reason; ///< its number is the reply's code
    std::string message;
};

/// Slows down guessing: after a few failures in a row, the same name has to wait. Keeps little and forgets.
/// Thread-safe.
class FailureLimit {
public:
    using TimePoint = std::chrono::steady_clock::time_point;
    using Clock = std::function<TimePoint()>;

    static constexpr int freeFailures = 5;
    static constexpr std::chrono::seconds pause{60};
    static constexpr std::chrono::minutes memory{15}; ///< a name without a failure for that long begins anew
    static constexpr std::size_t names = 10'000;      ///< beyond these the one that failed longest ago is forgotten

    explicit FailureLimit(Clock clock = std::chrono::steady_clock::now);

    /// How long the name has to wait before its next try; 0 when it may try now.
    std::chrono::seconds waitFor(const std::string& name);
    void failed(const std::string& name);
    void succeeded(const std::string& name);

private:
    struct Failures {
        int count = 0;
        TimePoint last;
    };
    void makeRoom(TimePoint now);

    Clock clock_;
    std::mutex mutex_;
    std::map<std::string, Failures> failures_;
};

/// Sign-in by password and random bearer tokens. Thread-safe.
class Accounts {
public:
    explicit Accounts(Database& database, FailureLimit::Clock clock = std::chrono::steady_clock::now);

    /// Signs in; where `mayCreate` is set, a number that is not known yet gets its account by this. Blocks for the
    /// hashing. Throws StoreError.
    std::variant<SignedIn, Refused> signIn(const Credentials& credentials, bool mayCreate);
    /// The user that a token stands for. Throws StoreError.
    std::optional<User> userOf(std::string_view token);
    /// Keeps the type of interviews that the token's user prepares for: 1 to 3. False when the token stands for nobody.
    /// Throws StoreError.
    bool setType(std::string_view token, std::int64_t type);
    /// Makes a token worthless. Throws StoreError.
    void signOut(std::string_view token);

private:
    std::variant<SignedIn, Refused> checkPassword(const PhoneNumber& phone, const AccountStore::KnownUser& known,
                                                  const std::string& password);
    Refused wrongPassword(const PhoneNumber& phone);

    AccountStore store_;
    FailureLimit limit_;
};

} // namespace parlowen::service
