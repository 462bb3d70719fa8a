#include "ResumeStore.h"

#include "Accounts/Secrets.h"

#include <SQLiteCpp/VariadicBind.h>

namespace parlowen::service {

namespace {

constexpr std::size_t idCharacters = 24;

void dropUnboundBefore(SQLite::Database& database, std::int64_t time) {
    SQLite::Statement drop(database, "DELETE FROM resumes WHERE bound = 0 AND created_at < ?");
    drop.bind(1, time);
    drop.exec();
}

std::optional<Resume> boundResume(SQLite::Database& database, std::int64_t userId) {
    SQLite::Statement row(database, "SELECT id, name, created_at FROM resumes WHERE user_id = ? AND bound = 1");
    row.bind(1, userId);
    if (!row.executeStep())
        return std::nullopt;
    return Resume{row.getColumn(0), row.getColumn(1), row.getColumn(2).getInt64()};
}

} // namespace

Resume ResumeStore::add(std::int64_t userId, const std::string& name, const std::string& text, std::int64_t now) {
    Resume added{"file-" + randomToken().substr(0, idCharacters), name, now};
    database_.use([&](SQLite::Database& database) {
        SQLite::Transaction transaction(database, SQLite::TransactionBehavior::IMMEDIATE);
        dropUnboundBefore(database, now - unboundSeconds);
        SQLite::Statement insert(database,
                                 "INSERT INTO resumes (id, user_id, name, text, created_at) VALUES (?, ?, ?, ?, ?)");
        SQLite::bind(insert, added.id, userId, name, text, now);
        insert.exec();
        SQLite::Statement forget(database,
                                 "DELETE FROM resumes WHERE user_id = ?1 AND bound = 0 AND id NOT IN (SELECT id FROM "
                                 "resumes WHERE user_id = ?1 AND bound = 0 ORDER BY rowid DESC LIMIT ?2)");
        SQLite::bind(forget, userId, unboundOfAUser);
        forget.exec();
        transaction.commit();
    });
    return added;
}

std::optional<Resume> ResumeStore::bind(std::int64_t userId, std::string_view id, std::int64_t now) {
    return database_.use([&](SQLite::Database& database) -> std::optional<Resume> {
        const std::string wanted(id);
        SQLite::Transaction transaction(database, SQLite::TransactionBehavior::IMMEDIATE);
        dropUnboundBefore(database, now - unboundSeconds);
        SQLite::Statement known(database, "SELECT 1 FROM resumes WHERE id = ? AND user_id = ?");
        SQLite::bind(known, wanted, userId);
        if (!known.executeStep())
            return std::nullopt;
        SQLite::Statement replaceOther(database, "DELETE FROM resumes WHERE user_id = ? AND bound = 1 AND id != ?");
        SQLite::bind(replaceOther, userId, wanted);
        replaceOther.exec();
        SQLite::Statement update(database, "UPDATE resumes SET bound = 1 WHERE id = ?");
        SQLite::bind(update, wanted);
        update.exec();
        auto bound = boundResume(database, userId);
        transaction.commit();
        return bound;
    });
}

std::optional<Resume> ResumeStore::boundTo(std::int64_t userId) {
    return database_.use([&](SQLite::Database& database) { return boundResume(database, userId); });
}

std::string ResumeStore::textOf(std::int64_t userId) {
    return database_.use([&](SQLite::Database& database) -> std::string {
        SQLite::Statement row(database, "SELECT text FROM resumes WHERE user_id = ? AND bound = 1");
        row.bind(1, userId);
        return row.executeStep() ? row.getColumn(0).getString() : std::string();
    });
}

void ResumeStore::dropOld(std::int64_t now) {
    database_.use([&](SQLite::Database& database) { dropUnboundBefore(database, now - unboundSeconds); });
}

} // namespace parlowen::service
