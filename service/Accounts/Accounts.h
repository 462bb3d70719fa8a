#pragma once

#include "AccountStore.h"
#include "FailureJournal.h"
#include "HashingQueue.h"
#include "LoginCodes.h"
#include "SignInLimits.h"

#include <mutex>
#include <set>
#include <tl/expected.hpp>
#include <variant>

namespace parlowen::service {

/// What a sign-in page sends.
struct Credentials {
    std::string countryCode;
    std::string phone;
    std::string secret;       ///< a password, or a login code
    std::string address = {}; ///< of the peer
    std::string device = {};  ///< a secret of the device's own, where its client sends one

    /// The number without what people put into one to read it more easily.
    PhoneNumber number() const;
};

struct SignedIn {
    User user;
    std::string token; ///< the only time that it is known
};

struct Refused {
    enum class Reason { Input = 1001, WrongPassword = 1002, TooManyFailures = 1003, WrongCode = 1005 };
    Reason reason; ///< its number is the reply's code
    std::string message;
};

/// Sign-in by password or code, and random bearer tokens. What is told of a refused sign-in, and the work it takes, are
/// the same for known and unknown numbers. Thread-safe.
class Accounts {
public:
    static constexpr std::size_t leastPassword = 6; ///< characters

    /// `sessionLife`: without a use, a session ends after it. `codesOfAnAddress`: see LoginCodes.
    explicit Accounts(Database& database, const LimitClock& clock = std::chrono::steady_clock::now,
                      std::chrono::seconds sessionLife = std::chrono::hours(24 * 30),
                      std::size_t codesOfAnAddress = LoginCodes::ofAnAddress);
    ~Accounts();
    Accounts(const Accounts&) = delete;
    Accounts& operator=(const Accounts&) = delete;

    /// Why a sign-in is refused at once, before anything is hashed for it. Throws StoreError.
    std::optional<Refused> refusal(const Credentials& credentials);
    /// Where the hashing for a sign-in waits. Throws StoreError.
    HashingQueue::Place placeOf(const Credentials& credentials);
    /// Signs in; where `mayCreate` is set, a number that is not known yet gets its account by this. Blocks for the
    /// hashing. Throws StoreError.
    std::variant<SignedIn, Refused> signIn(const Credentials& credentials, bool mayCreate);
    /// Signs in by a code that was sent to the number, which proves whose it is: a number that is not known yet gets
    /// its account. Throws StoreError.
    std::variant<SignedIn, Refused> signInByCode(const Credentials& credentials);
    /// What is wrong with the shape of a number or of its country's code; none when nothing is.
    static std::optional<Refused> problemOf(const PhoneNumber& phone);
    /// Gives a number its password: whether its account was made by that. The sign-ins of one that existed end. Throws
    /// StoreError.
    tl::expected<bool, Refused> setPassword(const Credentials& credentials);
    /// A code to send to a number.
    std::variant<std::string, Refused> issueCode(const Credentials& credentials);
    /// What was issued did not reach the number, which it costs nothing.
    void takeCodeBack(const PhoneNumber& phone, std::string_view code) { codes_.takeBack(phone, code); }

    /// The user that a token stands for. Throws StoreError.
    std::optional<User> userOf(std::string_view token);
    /// Keeps the type of interviews that the token's user prepares for: 1 to 3. False when the token stands for nobody.
    /// Throws StoreError.
    bool setType(std::string_view token, std::int64_t type);
    /// Makes a token worthless. Where the disk takes no more data it is worthless all the same, and stored as soon as
    /// that goes. Throws StoreError.
    void signOut(std::string_view token);
    /// What the session of a token is known by elsewhere.
    static std::string sessionOf(std::string_view token);
    /// Stores the sign-outs that a full disk did not take, as far as it takes them now.
    void storeEnded();
    /// Whether that session lasts, which to ask is no use of it. Throws StoreError.
    bool sessionLasts(std::string_view session);
    /// Deletes the token's user with all that the database holds of them; gives whose account it was. Throws
    /// StoreError.
    std::optional<User> remove(std::string_view token);

    /// For the speech tokens that were in use; see AccountStore.
    AccountStore& store() { return store_; }

private:
    SignInTry tryOf(const Credentials& credentials);
    std::variant<SignedIn, Refused> checkPassword(const PhoneNumber& phone, const std::string& password,
                                                  bool mayCreate);
    SignedIn admitted(const SignInTry& attempt, SignedIn signedIn);
    SignedIn newSession(const PhoneNumber& phone);

    AccountStore store_;
    std::mutex endedMutex_;
    std::set<std::string> ended_; ///< sessions whose end is not stored yet
    FailureJournal failures_;
    SignInLimits limits_;
    LoginCodes codes_;
};

} // namespace parlowen::service
