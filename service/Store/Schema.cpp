#include "Schema.h"

#include <array>

namespace parlowen::service {

namespace {

constexpr std::int64_t applicationId = 0x5061'726c;

/// Each entry leads from the version that is its index to the next one.
constexpr std::array migrations{
    R"(
CREATE TABLE users (
    id INTEGER PRIMARY KEY,
    country_code TEXT NOT NULL,
    phone TEXT NOT NULL,
    nick_name TEXT NOT NULL,
    password_hash TEXT NOT NULL,
    type INTEGER NOT NULL DEFAULT 1,
    created_at INTEGER NOT NULL,
    last_login_at INTEGER NOT NULL,
    UNIQUE (country_code, phone)
);
CREATE TABLE sessions (
    token_hash BLOB PRIMARY KEY,
    user_id INTEGER NOT NULL REFERENCES users (id) ON DELETE CASCADE,
    created_at INTEGER NOT NULL
) WITHOUT ROWID;
CREATE INDEX sessions_by_user ON sessions (user_id, created_at);
)",
};

std::int64_t number(Database& database, const char* sql) {
    Statement statement = database.prepare(sql);
    return statement.step() ? statement.integer(0) : 0;
}

} // namespace

void requireOwnFile(Database& database) {
    const bool empty = number(database, "SELECT count(*) FROM sqlite_master") == 0;
    if (!empty && number(database, "PRAGMA application_id") != applicationId)
        throw StoreError("it belongs to another program");
    if (number(database, "PRAGMA user_version") > static_cast<std::int64_t>(migrations.size()))
        throw StoreError("it was written by a newer version of this program");
}

void migrate(Database& database) {
    Transaction transaction(database);
    const auto version = static_cast<std::size_t>(number(database, "PRAGMA user_version"));
    if (version == migrations.size())
        return;
    for (std::size_t step = version; step < migrations.size(); ++step)
        database.execute(migrations.at(step));
    database.execute("PRAGMA application_id=" + std::to_string(applicationId));
    database.execute("PRAGMA user_version=" + std::to_string(migrations.size()));
    transaction.commit();
}

} // namespace parlowen::service
