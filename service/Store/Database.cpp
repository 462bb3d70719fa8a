#include "Database.h"

#include "Schema.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace parlowen::service {

namespace {

constexpr int busyMilliseconds = 5'000;

/// SQLITE_TRANSIENT, whose macro is an old-style cast: bound values are copied.
const auto copied = reinterpret_cast<sqlite3_destructor_type>(-1);

[[noreturn]] void fail(sqlite3& connection, const std::string& what) {
    const int code = sqlite3_extended_errcode(&connection);
    const bool cannotWrite = (code & 0xff) == SQLITE_FULL || code == SQLITE_IOERR_WRITE || code == SQLITE_IOERR_FSYNC ||
                             code == SQLITE_IOERR_TRUNCATE || code == SQLITE_IOERR_SHMSIZE;
    throw StoreError(what + ": " + sqlite3_errmsg(&connection), cannotWrite);
}

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

} // namespace

Statement::Statement(sqlite3& connection, std::string_view sql)
    : connection_(connection) {
    sqlite3_stmt* statement = nullptr;
    const int result = sqlite3_prepare_v2(&connection_, sql.data(), static_cast<int>(sql.size()), &statement, nullptr);
    statement_.reset(statement);
    checked(result);
}

Statement& Statement::checked(int result) {
    if (result != SQLITE_OK)
        fail(connection_, "database");
    return *this;
}

Statement& Statement::bind(std::int64_t value) {
    return checked(sqlite3_bind_int64(statement_.get(), ++bound_, value));
}

Statement& Statement::bind(std::string_view text) {
    return checked(sqlite3_bind_text(statement_.get(), ++bound_, text.data(), static_cast<int>(text.size()), copied));
}

Statement& Statement::bindBlob(std::string_view bytes) {
    return checked(sqlite3_bind_blob(statement_.get(), ++bound_, bytes.data(), static_cast<int>(bytes.size()), copied));
}

bool Statement::step() {
    const int result = sqlite3_step(statement_.get());
    if (result != SQLITE_ROW && result != SQLITE_DONE)
        fail(connection_, "database");
    return result == SQLITE_ROW;
}

std::int64_t Statement::integer(int column) const { return sqlite3_column_int64(statement_.get(), column); }

std::string Statement::text(int column) const {
    const void* bytes = sqlite3_column_blob(statement_.get(), column);
    const int size = sqlite3_column_bytes(statement_.get(), column);
    return bytes == nullptr ? std::string() : std::string(static_cast<const char*>(bytes), static_cast<size_t>(size));
}

Database::Database(const std::filesystem::path& file) {
    makePrivate(file);
    sqlite3* connection = nullptr;
    const int flags = SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOMUTEX;
    const int opened = sqlite3_open_v2(file.c_str(), &connection, flags, nullptr);
    connection_.reset(connection);
    try {
        if (opened != SQLITE_OK)
            fail(*connection_, "open");
        sqlite3_extended_result_codes(connection_.get(), 1);
        sqlite3_busy_timeout(connection_.get(), busyMilliseconds);
        requireOwnFile(*this);
        execute("PRAGMA journal_mode=WAL; PRAGMA synchronous=FULL; PRAGMA foreign_keys=ON;");
        migrate(*this);
    } catch (const StoreError& problem) {
        throw StoreError("cannot use the database " + file.string() + ": " + problem.what(), problem.cannotWrite);
    }
}

void Database::execute(const std::string& sql) {
    if (sqlite3_exec(connection_.get(), sql.c_str(), nullptr, nullptr, nullptr) != SQLITE_OK)
        fail(*connection_, "database");
}

Transaction::Transaction(Database& database)
    : database_(database) {
    database_.execute("BEGIN IMMEDIATE");
}

Transaction::~Transaction() {
    if (!open_)
        return;
    try {
        database_.execute("ROLLBACK");
    } catch (const StoreError&) {
        // SQLite has rolled back by itself: that is what it does when the disk is full.
        return;
    }
}

void Transaction::commit() {
    database_.execute("COMMIT");
    open_ = false;
}

} // namespace parlowen::service
