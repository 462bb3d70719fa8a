#include "AccountStore.h"

#include "Http/Log.h"

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
    SQLite::Statement insert(database,
                             "INSERT INTO sessions (token_hash, user_id, created_at, used_at) VALUES (?, ?, ?3, ?3)");
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

/// How often the use of a session is noted, in seconds.
constexpr std::int64_t useNotedEvery = 3'600;
constexpr std::int64_t speechGrace = 60;                     // seconds
constexpr std::int64_t failuresKept = std::int64_t{60} * 60; // seconds
constexpr auto failuresOfAll = static_cast<std::int64_t>(3 * limitedNames);

/// A session that is used is good whether that can be noted or not.
void noteUse(SQLite::Database& database, std::string_view tokenHash, std::int64_t now) {
    try {
        SQLite::Statement update(database, "UPDATE sessions SET used_at = ? WHERE token_hash = ?");
        update.bind(1, now);
        bindHash(update, 2, tokenHash);
        update.exec();
    } catch (const SQLite::Exception& problem) {
        logLine(std::string("the use of a session cannot be noted: ") + problem.what());
    }
}

/// In a transaction. False where the number is known already.
bool addUser(SQLite::Database& database, const PhoneNumber& phone, const std::string& passwordHash,
             std::int64_t lastLoginAt) {
    const std::int64_t now = std::time(nullptr);
    database.exec("UPDATE user_ids SET last = last + 1");
    SQLite::Statement insert(database, "INSERT INTO users (id, country_code, phone, nick_name, password_hash, "
                                       "created_at, last_login_at) VALUES ((SELECT last FROM user_ids), ?, ?, ?, ?, ?, "
                                       "?) ON CONFLICT DO NOTHING");
    SQLite::bind(insert, phone.countryCode, phone.number, firstNickName(phone), passwordHash, now, lastLoginAt);
    return insert.exec() != 0;
}

void dropSessionsOf(SQLite::Database& database, std::int64_t userId) {
    SQLite::Statement end(database, "DELETE FROM sessions WHERE user_id = ?");
    end.bind(1, userId);
    end.exec();
}

} // namespace

AccountStore::AccountStore(Database& database, std::chrono::seconds sessionLife)
    : database_(database)
    , sessionLife_(sessionLife) {}

std::optional<AccountStore::KnownUser> AccountStore::find(const PhoneNumber& phone) {
    return database_.use([&](SQLite::Database& database) { return select(database, phone); });
}

std::optional<User> AccountStore::findByToken(std::string_view tokenHash) {
    return database_.use([&](SQLite::Database& database) -> std::optional<User> {
        const std::int64_t now = std::time(nullptr);
        SQLite::Statement row(database, "SELECT " USER_COLUMNS ", used_at FROM users JOIN sessions ON user_id = id "
                                        "WHERE token_hash = ? AND used_at >= ?");
        bindHash(row, 1, tokenHash);
        row.bind(2, now - sessionLife_.count());
        if (!row.executeStep())
            return std::nullopt;
        if (now - row.getColumn(6).getInt64() >= useNotedEvery)
            noteUse(database, tokenHash, now);
        return userFrom(row);
    });
}

bool AccountStore::hasSession(std::string_view tokenHash) {
    return database_.use([&](SQLite::Database& database) {
        SQLite::Statement row(database, "SELECT 1 FROM sessions WHERE token_hash = ? AND used_at >= ?");
        bindHash(row, 1, tokenHash);
        row.bind(2, std::time(nullptr) - sessionLife_.count());
        return row.executeStep();
    });
}

std::optional<User> AccountStore::create(const PhoneNumber& phone, const std::string& passwordHash,
                                         std::string_view tokenHash) {
    return database_.use([&](SQLite::Database& database) -> std::optional<User> {
        const std::int64_t now = std::time(nullptr);
        SQLite::Transaction transaction(database, SQLite::TransactionBehavior::IMMEDIATE);
        if (!addUser(database, phone, passwordHash, now))
            return std::nullopt;
        insertSession(database, database.getLastInsertRowid(), tokenHash, now);
        auto created = select(database, phone);
        transaction.commit();
        return created->user;
    });
}

bool AccountStore::setPassword(const PhoneNumber& phone, const std::string& passwordHash) {
    return database_.use([&](SQLite::Database& database) {
        SQLite::Transaction transaction(database, SQLite::TransactionBehavior::IMMEDIATE);
        const bool isNew = addUser(database, phone, passwordHash, 0);
        if (!isNew) {
            SQLite::Statement update(database,
                                     "UPDATE users SET password_hash = ? WHERE country_code = ? AND phone = ?");
            SQLite::bind(update, passwordHash, phone.countryCode, phone.number);
            update.exec();
            dropSessionsOf(database, select(database, phone)->user.id);
        }
        transaction.commit();
        return isNew;
    });
}

bool AccountStore::hasUsers() {
    return database_.use([](SQLite::Database& database) {
        return SQLite::Statement(database, "SELECT 1 FROM users LIMIT 1").executeStep();
    });
}

bool AccountStore::has(std::int64_t userId) {
    return database_.use([&](SQLite::Database& database) {
        SQLite::Statement row(database, "SELECT 1 FROM users WHERE id = ?");
        row.bind(1, userId);
        return row.executeStep();
    });
}

std::vector<AccountStore::Listed> AccountStore::list() {
    return database_.use([&](SQLite::Database& database) {
        SQLite::Statement row(
            database, "SELECT country_code, phone, created_at, last_login_at, (SELECT count(*) FROM sessions WHERE "
                      "user_id = users.id AND used_at >= ?), EXISTS (SELECT 1 FROM resumes WHERE user_id = users.id "
                      "AND bound = 1) FROM users ORDER BY id");
        row.bind(1, std::time(nullptr) - sessionLife_.count());
        std::vector<Listed> listed;
        while (row.executeStep())
            listed.push_back({{row.getColumn(0), row.getColumn(1)},
                              row.getColumn(2).getInt64(),
                              row.getColumn(3).getInt64(),
                              row.getColumn(4).getInt(),
                              row.getColumn(5).getInt() != 0});
        return listed;
    });
}

void AccountStore::setPasswordHash(std::int64_t userId, const std::string& passwordHash) {
    database_.use([&](SQLite::Database& database) {
        SQLite::Statement update(database, "UPDATE users SET password_hash = ? WHERE id = ?");
        SQLite::bind(update, passwordHash, userId);
        update.exec();
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
        SQLite::Transaction transaction(database, SQLite::TransactionBehavior::IMMEDIATE);
        // Failed tries name the number as nameOf() does, those of a place with its address behind it.
        SQLite::Statement forget(
            database, "DELETE FROM failures WHERE kind IN ('number', 'pair') AND EXISTS (SELECT 1 FROM users WHERE "
                      "id = ? AND failures.name || ' ' LIKE country_code || ' ' || phone || ' %')");
        SQLite::bind(forget, userId);
        forget.exec();
        SQLite::Statement remove(database, "DELETE FROM users WHERE id = ?");
        SQLite::bind(remove, userId);
        remove.exec();
        transaction.commit();
        // The journal still has the old pages.
        SQLite::Statement(database, "PRAGMA wal_checkpoint(TRUNCATE)").executeStep();
    });
}

void AccountStore::noteSpeechToken(const std::string& token, std::string_view tokenHash, bool open) {
    database_.use([&](SQLite::Database& database) {
        const std::int64_t now = std::time(nullptr);
        SQLite::Transaction transaction(database, SQLite::TransactionBehavior::IMMEDIATE);
        SQLite::Statement forget(database, "DELETE FROM speech_tokens WHERE ended_at < ?");
        forget.bind(1, now - speechGrace);
        forget.exec();
        SQLite::Statement note(
            database, open ? "INSERT OR REPLACE INTO speech_tokens (token, session) SELECT ?1, token_hash FROM "
                             "sessions WHERE token_hash = ?2"
                           : "UPDATE speech_tokens SET ended_at = ?3 WHERE token = ?1 AND session = ?2");
        note.bind(1, token);
        bindHash(note, 2, tokenHash);
        if (!open)
            note.bind(3, now);
        note.exec();
        transaction.commit();
    });
}

std::vector<std::string> AccountStore::speechTokensOfTheLastRun() {
    return database_.use([](SQLite::Database& database) {
        SQLite::Statement row(database, "SELECT token FROM speech_tokens WHERE ended_at IS NULL OR ended_at >= ?");
        row.bind(1, std::int64_t{std::time(nullptr)} - speechGrace);
        std::vector<std::string> tokens;
        while (row.executeStep())
            tokens.push_back(row.getColumn(0));
        return tokens;
    });
}

void AccountStore::endSpeechTokens() {
    database_.use([](SQLite::Database& database) {
        SQLite::Statement end(database, "UPDATE speech_tokens SET ended_at = ? WHERE ended_at IS NULL");
        end.bind(1, std::int64_t{std::time(nullptr)});
        end.exec();
    });
}

void AccountStore::keepFailures(const std::vector<KeptFailures>& failures) {
    database_.use([&](SQLite::Database& database) {
        const std::int64_t now = std::time(nullptr);
        SQLite::Transaction transaction(database, SQLite::TransactionBehavior::IMMEDIATE);
        SQLite::Statement forget(database, "DELETE FROM failures WHERE last_at < ?");
        forget.bind(1, now - failuresKept);
        forget.exec();
        for (const KeptFailures& one : failures) {
            SQLite::Statement keep(database, one.count == 0
                                                 ? "DELETE FROM failures WHERE kind = ?1 AND name = ?2"
                                                 : "INSERT OR REPLACE INTO failures VALUES (?1, ?2, ?3, ?4)");
            SQLite::bind(keep, one.kind, one.name);
            if (one.count > 0) {
                keep.bind(3, one.count);
                keep.bind(4, now);
            }
            keep.exec();
        }
        SQLite::Statement trim(database, "DELETE FROM failures WHERE (kind, name) IN (SELECT kind, name FROM failures "
                                         "ORDER BY last_at LIMIT max(0, (SELECT count(*) FROM failures) - ?))");
        trim.bind(1, failuresOfAll);
        trim.exec();
        transaction.commit();
    });
}

std::vector<KeptFailures> AccountStore::keptFailures() {
    return database_.use([](SQLite::Database& database) {
        SQLite::Statement row(database, "SELECT kind, name, count, last_at FROM failures ORDER BY last_at DESC");
        std::vector<KeptFailures> failures;
        while (row.executeStep()) {
            // Of a clock that was ahead, a failure is of now.
            const std::int64_t ago = std::max<std::int64_t>(0, std::time(nullptr) - row.getColumn(3).getInt64());
            failures.push_back(
                {row.getColumn(0), row.getColumn(1), row.getColumn(2).getInt(), std::chrono::seconds(ago)});
        }
        return failures;
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
    database_.useWithReserve([&](SQLite::Database& database) {
        SQLite::Statement remove(database, "DELETE FROM sessions WHERE token_hash = ?");
        bindHash(remove, 1, tokenHash);
        remove.exec();
    });
}

void AccountStore::endSessionsOf(std::int64_t userId) {
    database_.use([&](SQLite::Database& database) { dropSessionsOf(database, userId); });
}

void AccountStore::endAllSessions() {
    database_.use([](SQLite::Database& database) { database.exec("DELETE FROM sessions"); });
}

} // namespace parlowen::service
