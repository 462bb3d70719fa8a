#pragma once

#include "SignInLimits.h"
#include "Store/Database.h"

#include <chrono>
#include <cstdint>
#include <string_view>
#include <vector>

namespace parlowen::service {

/// How a user is known: dialling code without "+", and number, both digits.
struct PhoneNumber {
    std::string countryCode;
    std::string number;
};

/// Country code and number in one text, as a key.
inline std::string nameOf(const PhoneNumber& phone) { return phone.countryCode + " " + phone.number; }

struct User {
    std::int64_t id = 0;
    PhoneNumber phone;
    std::string nickName;
    std::int64_t type = 1;        ///< of interviews: 1 domestic, 2 foreign, 3 either
    std::int64_t lastLoginAt = 0; ///< seconds since 1970, UTC
};

/// Users and their sessions in the database. All of it may throw StoreError. Thread-safe.
class AccountStore {
public:
    /// A user's newest sessions; older ones end.
    static constexpr int sessionsOfAUser = 20;
    /// The addresses that a user signed in from last.
    static constexpr int addressesOfAUser = 20;

    /// Ends the sessions that were not used for `sessionLife`.
    AccountStore(Database& database, std::chrono::seconds sessionLife);

    struct KnownUser {
        User user;
        std::string passwordHash;
    };
    std::optional<KnownUser> find(const PhoneNumber& phone);
    /// Counts as a use of the session, noted once an hour.
    std::optional<User> findByToken(std::string_view tokenHash);
    /// Whether a session is good; a look alone, no use.
    bool hasSession(std::string_view tokenHash);
    /// Adds a user with a first session, or neither; none when the number is known already. An empty hash is of no
    /// password: the user signs in by other means.
    std::optional<User> create(const PhoneNumber& phone, const std::string& passwordHash, std::string_view tokenHash);
    /// Adds a user without a session, or gives one another password and ends their sessions; whether it was added.
    bool setPassword(const PhoneNumber& phone, const std::string& passwordHash);
    bool hasUsers();
    bool has(std::int64_t userId);
    /// What an operator sees of an account.
    struct Listed {
        PhoneNumber phone;
        std::int64_t createdAt = 0;   ///< seconds since 1970, UTC, as is the next one
        std::int64_t lastLoginAt = 0; ///< 0: never
        int openSessions = 0;
        bool hasResume = false;
    };
    /// All of them, the oldest first.
    std::vector<Listed> list();
    void setPasswordHash(std::int64_t userId, const std::string& passwordHash);
    /// Adds a session to a user.
    User openSession(const PhoneNumber& phone, std::string_view tokenHash);
    /// Remembers that a user has signed in from an address.
    void addAddress(std::int64_t userId, const std::string& address);
    bool knowsAddress(const PhoneNumber& phone, const std::string& address);
    /// Removes a user with all that belongs to them, from the file as well.
    void remove(std::int64_t userId);
    void setType(std::int64_t userId, std::int64_t type);
    void endSession(std::string_view tokenHash);
    void endSessionsOf(std::int64_t userId);
    void endAllSessions();

    /// That a speech token of a session has an open connection, or has lost its last one.
    void noteSpeechToken(const std::string& token, std::string_view tokenHash, bool open);
    /// The speech tokens that had one at the end of the last run, or in the minute before.
    std::vector<std::string> speechTokensOfTheLastRun();
    /// That no speech token has a connection any more, where a run was killed before it could say so.
    void endSpeechTokens();

    /// As many names as the limits know are kept; beyond these the oldest go.
    void keepFailures(const std::vector<KeptFailures>& failures);
    /// The latest first.
    std::vector<KeptFailures> keptFailures();

private:
    Database& database_;
    const std::chrono::seconds sessionLife_;
};

} // namespace parlowen::service
