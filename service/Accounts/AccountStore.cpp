#include "AccountStore.h"

#include <SQLiteCpp/VariadicBind.h>
#include <ctime>

namespace parlowen::service {

namespace {

#define USER_COLUMNS "id, country_code, phone, nick_name, type, last_login_at"

User userFrom(SQLite::Statement& row) {
    return {row.getColumn(0).getInt64(),
            {row.getColumn(1), row.getColumn(2)},
            row.getColumn(3),
            row.getColumn(4).getInt64(),
            row.getColumn(5).getInt64()};
}

void bindHash(SQLite::Statement& statement, int index, std::string_view hash) {
    statement.bind(index, hash.data(), static_cast<int>(hash.size()));
}

std::string firstNickName(const PhoneNumber& phone) {
    const std::string& number = phone.number;
    return "用户" + number.substr(number.size() > 4 ? number.size() - 4 : 0);
}

std::optional<AccountStore::KnownUser> select(SQLite::Database& database, const PhoneNumber& phone) {
    SQLite::Statement row(database,
                          "SELECT " USER_COLUMNS ", password_hash FROM users WHERE country_code = ? AND phone = ?");
    SQLite::bind(row, phone.countryCode, phone.number);
    if (!row.executeStep())
        return std::nullopt;
    return AccountStore::KnownUser{userFrom(row), row.getColumn(6)};
}

void insertSession(SQLite::Database& database, std::int64_t userId, std::string_view tokenHash, std::int64_t now) {
    SQLite::Statement insert(database, "INSERT INTO sessions (token_hash, user_id, created_at) VALUES (?, ?, ?)");
    bindHash(insert, 1, tokenHash);
    insert.bind(2, userId);
    insert.bind(3, now);
    insert.exec();
    SQLite::Statement forget(
        database,
        "DELETE FROM sessions WHERE user_id = ?1 AND token_hash != ?2 AND token_hash NOT IN (SELECT "
        "token_hash FROM sessions WHERE user_id = ?1 AND token_hash != ?2 ORDER BY created_at DESC LIMIT ?3)");
    forget.bind(1, userId);
    bindHash(forget, 2, tokenHash);
    forget.bind(3, AccountStore::sessionsOfAUser - 1);
    forget.exec();
}

} // namespace

std::optional<AccountStore::KnownUser> AccountStore::find(const PhoneNumber& phone) {
    return database_.use([&](SQLite::Database& database) { return select(database, phone); });
}

std::optional<User> AccountStore::findByToken(std::string_view tokenHash) {
    return database_.use([&](SQLite::Database& database) -> std::optional<User> {
        SQLite::Statement row(database, "SELECT " USER_COLUMNS
                                        " FROM users WHERE id = (SELECT user_id FROM sessions WHERE token_hash = ?)");
        bindHash(row, 1, tokenHash);
        return row.executeStep() ? std::optional(userFrom(row)) : std::nullopt;
    });
}

std::optional<User> AccountStore::create(const PhoneNumber& phone, const std::string& passwordHash,
                                         std::string_view tokenHash) {
    return database_.use([&](SQLite::Database& database) -> std::optional<User> {
        const std::int64_t now = std::time(nullptr);
        SQLite::Transaction transaction(database, SQLite::TransactionBehavior::IMMEDIATE);
        SQLite::Statement insert(database,
                                 "INSERT INTO users (country_code, phone, nick_name, password_hash, "
                                 "created_at, last_login_at) VALUES (?, ?, ?, ?, ?, ?) ON CONFLICT DO NOTHING");
        SQLite::bind(insert, phone.countryCode, phone.number, firstNickName(phone), passwordHash, now, now);
        if (insert.exec() == 0)
            return std::nullopt;
        insertSession(database, database.getLastInsertRowid(), tokenHash, now);
        auto created = select(database, phone);
        transaction.commit();
        return created->user;
    });
}

User AccountStore::openSession(const PhoneNumber& phone, std::string_view tokenHash) {
    return database_.use([&](SQLite::Database& database) {
        const std::int64_t now = std::time(nullptr);
        SQLite::Transaction transaction(database, SQLite::TransactionBehavior::IMMEDIATE);
        SQLite::Statement update(database, "UPDATE users SET last_login_at = ? WHERE country_code = ? AND phone = ?");
        SQLite::bind(update, now, phone.countryCode, phone.number);
        update.exec();
        auto known = select(database, phone);
        if (!known)
            throw StoreError("the user is gone");
        insertSession(database, known->user.id, tokenHash, now);
        transaction.commit();
        return known->user;
    });
}

void AccountStore::addAddress(std::int64_t userId, const std::string& address) {
    database_.use([&](SQLite::Database& database) {
        SQLite::Transaction transaction(database, SQLite::TransactionBehavior::IMMEDIATE);
        SQLite::Statement insert(database, "INSERT OR REPLACE INTO addresses (user_id, address) VALUES (?, ?)");
        SQLite::bind(insert, userId, address);
        insert.exec();
        SQLite::Statement forget(database, "DELETE FROM addresses WHERE user_id = ?1 AND rowid NOT IN (SELECT rowid "
                                           "FROM addresses WHERE user_id = ?1 ORDER BY rowid DESC LIMIT ?2)");
        SQLite::bind(forget, userId, addressesOfAUser);
        forget.exec();
        transaction.commit();
    });
}

bool AccountStore::knowsAddress(const PhoneNumber& phone, const std::string& address) {
    return database_.use([&](SQLite::Database& database) {
        SQLite::Statement row(database, "SELECT 1 FROM addresses WHERE address = ? AND user_id = (SELECT id FROM users "
                                        "WHERE country_code = ? AND phone = ?)");
        SQLite::bind(row, address, phone.countryCode, phone.number);
        return row.executeStep();
    });
}

void AccountStore::remove(std::int64_t userId) {
    database_.use([&](SQLite::Database& database) {
        SQLite::Statement remove(database, "DELETE FROM users WHERE id = ?");
        SQLite::bind(remove, userId);
        remove.exec();
        // The journal still has the old pages.
        SQLite::Statement(database, "PRAGMA wal_checkpoint(TRUNCATE)").executeStep();
    });
}

void AccountStore::setType(std::int64_t userId, std::int64_t type) {
    database_.use([&](SQLite::Database& database) {
        SQLite::Statement update(database, "UPDATE users SET type = ? WHERE id = ?");
        SQLite::bind(update, type, userId);
        update.exec();
    });
}

void AccountStore::endSession(std::string_view tokenHash) {
    database_.use([&](SQLite::Database& database) {
        SQLite::Statement remove(database, "DELETE FROM sessions WHERE token_hash = ?");
        bindHash(remove, 1, tokenHash);
        remove.exec();
    });
}

} // namespace parlowen::service
