#include "Database.h"

#include <array>
#include <cerrno>
#include <fcntl.h>
#include <sqlite3.h>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>

namespace parlowen::service {

namespace {

constexpr int busyMilliseconds = 5'000;
constexpr off_t reserveBytes = 256 * 1024; // for the pages that a small change adds to the log
constexpr int applicationId = 0x5061'726c;

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
    R"(
CREATE TABLE resumes (
    id TEXT NOT NULL UNIQUE,
    user_id INTEGER NOT NULL REFERENCES users (id) ON DELETE CASCADE,
    name TEXT NOT NULL,
    text TEXT NOT NULL,
    bound INTEGER NOT NULL DEFAULT 0,
    created_at INTEGER NOT NULL
);
CREATE INDEX resumes_by_user ON resumes (user_id);
CREATE UNIQUE INDEX bound_resumes ON resumes (user_id) WHERE bound = 1;
)",
    R"(
CREATE TABLE addresses (
    user_id INTEGER NOT NULL REFERENCES users (id) ON DELETE CASCADE,
    address TEXT NOT NULL,
    UNIQUE (user_id, address)
);
)",
    R"(
ALTER TABLE sessions ADD COLUMN used_at INTEGER NOT NULL DEFAULT 0;
UPDATE sessions SET used_at = unixepoch();
CREATE TABLE speech_tokens (
    token TEXT PRIMARY KEY,
    session BLOB NOT NULL REFERENCES sessions (token_hash) ON DELETE CASCADE,
    ended_at INTEGER
) WITHOUT ROWID;
CREATE INDEX speech_tokens_by_session ON speech_tokens (session);
CREATE TABLE failures (
    kind TEXT NOT NULL,
    name TEXT NOT NULL,
    count INTEGER NOT NULL,
    last_at INTEGER NOT NULL,
    PRIMARY KEY (kind, name)
) WITHOUT ROWID;
CREATE INDEX failures_by_time ON failures (last_at);
)",
    // No user gets the number of one who has gone: something of theirs may still be under way.
    R"(
CREATE TABLE user_ids (last INTEGER NOT NULL);
INSERT INTO user_ids SELECT coalesce(max(id), 0) FROM users;
)",
};

/// Makes the file before SQLite does, since its side files get the same rights.
void makePrivate(const std::filesystem::path& file) {
    const int descriptor = ::open(file.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    if (descriptor < 0 || ::fchmod(descriptor, 0600) != 0) {
        const std::string why = std::generic_category().message(errno);
        if (descriptor >= 0)
            ::close(descriptor);
        throw StoreError("cannot open the database " + file.string() + ": " + why);
    }
    ::close(descriptor);
}

/// SQLite calls it an I/O error where its side files do not grow.
bool isWithoutSpace(const std::filesystem::path& file) {
    constexpr std::uintmax_t ofSideFiles = 64 * 1024;
    std::error_code unknown;
    const auto space = std::filesystem::space(file, unknown);
    return !unknown && space.available < ofSideFiles;
}

int number(SQLite::Database& database, const char* sql) { return database.execAndGet(sql).getInt(); }

/// Throws for a file that is no database, belongs to another program or to a newer version of this one. Writes nothing.
void requireOwnFile(SQLite::Database& database) {
    const bool empty = number(database, "SELECT count(*) FROM sqlite_master") == 0;
    if (!empty && number(database, "PRAGMA application_id") != applicationId)
        throw SQLite::Exception("it belongs to another program");
    if (number(database, "PRAGMA user_version") > static_cast<int>(migrations.size()))
        throw SQLite::Exception("it was written by a newer version of this program");
}

/// Brings an empty or older database to the newest schema.
void migrate(SQLite::Database& database) {
    SQLite::Transaction transaction(database, SQLite::TransactionBehavior::IMMEDIATE);
    const auto version = static_cast<std::size_t>(number(database, "PRAGMA user_version"));
    if (version == migrations.size())
        return;
    for (std::size_t step = version; step < migrations.size(); ++step)
        database.exec(migrations.at(step));
    database.exec("PRAGMA application_id=" + std::to_string(applicationId));
    database.exec("PRAGMA user_version=" + std::to_string(migrations.size()));
    transaction.commit();
}

} // namespace

Database::Database(const std::filesystem::path& file)
    : file_(file)
    , reserve_(file.string() + ".reserve") {
    makePrivate(file);
    try {
        connection_.emplace(file.string(), SQLite::OPEN_READWRITE | SQLite::OPEN_NOMUTEX, busyMilliseconds);
        sqlite3_extended_result_codes(connection_->getHandle(), 1);
        requireOwnFile(*connection_);
        if (const std::string found = connection_->execAndGet("PRAGMA quick_check(1)").getString(); found != "ok")
            throw SQLite::Exception("it is damaged (" + found + "); put back a copy, or try sqlite3's .recover");
        connection_->exec(
            "PRAGMA journal_mode=WAL; PRAGMA synchronous=FULL; PRAGMA foreign_keys=ON; PRAGMA secure_delete=ON;");
        migrate(*connection_);
    } catch (const SQLite::Exception& problem) {
        throw storeError("cannot use the database ", problem);
    }
    keepReserve();
}

void Database::keepReserve() const {
    std::error_code unknown;
    if (std::filesystem::file_size(reserve_, unknown) == static_cast<std::uintmax_t>(reserveBytes))
        return;
    const int descriptor = ::open(reserve_.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
    if (descriptor < 0)
        return;
    const bool isKept = ::posix_fallocate(descriptor, 0, reserveBytes) == 0;
    ::close(descriptor);
    if (!isKept)
        giveUpReserve();
}

bool Database::giveUpReserve() const { return ::unlink(reserve_.c_str()) == 0; }

StoreError Database::storeError(const std::string& doing, const SQLite::Exception& problem) const {
    const int code = problem.getExtendedErrorCode();
    const bool isFull = (code & 0xff) == SQLITE_FULL;
    const bool cannotWrite = isFull || code == SQLITE_IOERR_WRITE || code == SQLITE_IOERR_FSYNC ||
                             code == SQLITE_IOERR_TRUNCATE || code == SQLITE_IOERR_SHMSIZE;
    const std::string why = isFull || (cannotWrite && isWithoutSpace(file_)) ? "the disk is full" : problem.what();
    return {doing + file_.string() + ": " + why, cannotWrite};
}

} // namespace parlowen::service
