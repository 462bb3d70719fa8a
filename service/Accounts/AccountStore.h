#pragma once

#include "Store/Database.h"

#include <cstdint>
#include <string_view>

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

    explicit AccountStore(Database& database)
        : database_(database) {}

    struct KnownUser {
        User user;
        std::string passwordHash;
    };
    std::optional<KnownUser> find(const PhoneNumber& phone);
    std::optional<User> findByToken(std::string_view tokenHash);
    /// Adds a user with a first session, or neither; none when the number is known already. An empty hash is of no
    /// password: the user signs in by other means.
    std::optional<User> create(const PhoneNumber& phone, const std::string& passwordHash, std::string_view tokenHash);
    /// Adds a session to a user.
    User openSession(const PhoneNumber& phone, std::string_view tokenHash);
    /// Remembers that a user has signed in from an address.
    void addAddress(std::int64_t userId, const std::string& address);
    bool knowsAddress(const PhoneNumber& phone, const std::string& address);
    /// Removes a user with all that belongs to them, from the file as well.
    void remove(std::int64_t userId);
    void setType(std::int64_t userId, std::int64_t type);
    void endSession(std::string_view tokenHash);

private:
    Database& database_;
};

} // namespace parlowen::service
