#include "AccountStore.h"

#include <ctime>

namespace parlowen::service {

namespace {

constexpr const char* userColumns = "id, country_code, phone, nick_name, type, last_login_at";

User userFrom(const Statement& row) {
    return {row.integer(0), {row.text(1), row.text(2)}, row.text(3), row.integer(4), row.integer(5)};
}

std::string firstNickName(const PhoneNumber& phone) {
    const std::string& number = phone.number;
    return "用户" + number.substr(number.size() > 4 ? number.size() - 4 : 0);
}

std::optional<AccountStore::KnownUser> select(Database& database, const PhoneNumber& phone) {
    Statement row = database.prepare(std::string("SELECT ") + userColumns +
                                     ", password_hash FROM users WHERE country_code = ? AND phone = ?");
    row.bind(phone.countryCode).bind(phone.number);
    if (!row.step())
        return std::nullopt;
    return AccountStore::KnownUser{userFrom(row), row.text(6)};
}

} // namespace

std::optional<AccountStore::KnownUser> AccountStore::find(const PhoneNumber& phone) {
    const auto lock = database_.lock();
    return select(database_, phone);
}

std::optional<User> AccountStore::findByToken(std::string_view tokenHash) {
    const auto lock = database_.lock();
    Statement row = database_.prepare(std::string("SELECT ") + userColumns +
                                      " FROM users WHERE id = (SELECT user_id FROM sessions WHERE token_hash = ?)");
    row.bindBlob(tokenHash);
    if (!row.step())
        return std::nullopt;
    return userFrom(row);
}

std::optional<User> AccountStore::create(const PhoneNumber& phone, const std::string& passwordHash,
                                         std::string_view tokenHash) {
    const auto lock = database_.lock();
    const std::int64_t now = std::time(nullptr);
    Transaction transaction(database_);
    database_
        .prepare("INSERT INTO users (country_code, phone, nick_name, password_hash, created_at, last_login_at) "
                 "VALUES (?, ?, ?, ?, ?, ?) ON CONFLICT DO NOTHING")
        .bind(phone.countryCode)
        .bind(phone.number)
        .bind(firstNickName(phone))
        .bind(passwordHash)
        .bind(now)
        .bind(now)
        .step();
    if (database_.changes() == 0)
        return std::nullopt;
    insertSession(database_.lastInsertId(), tokenHash, now);
    auto created = select(database_, phone);
    transaction.commit();
    return created->user;
}

User AccountStore::openSession(const PhoneNumber& phone, std::string_view tokenHash) {
    const auto lock = database_.lock();
    const std::int64_t now = std::time(nullptr);
    Transaction transaction(database_);
    database_.prepare("UPDATE users SET last_login_at = ? WHERE country_code = ? AND phone = ?")
        .bind(now)
        .bind(phone.countryCode)
        .bind(phone.number)
        .step();
    auto known = select(database_, phone);
    if (!known)
        throw StoreError("the user is gone");
    insertSession(known->user.id, tokenHash, now);
    transaction.commit();
    return known->user;
}

void AccountStore::insertSession(std::int64_t userId, std::string_view tokenHash, std::int64_t now) {
    database_.prepare("INSERT INTO sessions (token_hash, user_id, created_at) VALUES (?, ?, ?)")
        .bindBlob(tokenHash)
        .bind(userId)
        .bind(now)
        .step();
    database_
        .prepare("DELETE FROM sessions WHERE user_id = ?1 AND token_hash != ?2 AND token_hash NOT IN (SELECT "
                 "token_hash FROM sessions WHERE user_id = ?1 AND token_hash != ?2 ORDER BY created_at DESC LIMIT ?3)")
        .bind(userId)
        .bindBlob(tokenHash)
        .bind(sessionsOfAUser - 1)
        .step();
}

void AccountStore::endSession(std::string_view tokenHash) {
    const auto lock = database_.lock();
    database_.prepare("DELETE FROM sessions WHERE token_hash = ?").bindBlob(tokenHash).step();
}

} // namespace parlowen::service
