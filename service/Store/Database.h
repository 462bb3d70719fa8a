#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <mutex>
#include <optional>
#include <sqlite3.h>
#include <stdexcept>
#include <string>
#include <string_view>

namespace parlowen::service {

/// Something that the database could not do. `cannotWrite`: the disk is full or takes no more data; nothing of the
/// statement, or of the transaction around it, was stored.
struct StoreError : std::runtime_error {
    StoreError(const std::string& what, bool noWriting = false)
        : std::runtime_error(what)
        , cannotWrite(noWriting) {}
    bool cannotWrite;
};

/// A prepared statement. Parameters are bound in their order, columns are read by index, both from the left.
class Statement {
public:
    Statement(sqlite3& connection, std::string_view sql);

    Statement& bind(std::int64_t value);
    Statement& bind(std::string_view text);
    Statement& bindBlob(std::string_view bytes);

    /// Goes to the next row; false after the last one. Throws StoreError.
    bool step();
    std::int64_t integer(int column) const;
    std::string text(int column) const;

private:
    struct Finalize {
        void operator()(sqlite3_stmt* statement) const { sqlite3_finalize(statement); }
    };
    Statement& checked(int result);

    sqlite3& connection_;
    std::unique_ptr<sqlite3_stmt, Finalize> statement_;
    int bound_ = 0;
};

/// One SQLite file: WAL, foreign keys, full synchronisation, brought to the newest schema. Each use holds `lock()`.
class Database {
public:
    /// Opens or makes the file with mode 0600. Throws StoreError, naming the file, when it is no database of this
    /// service or of a newer version; such a file is left as it is.
    explicit Database(const std::filesystem::path& file);

    std::unique_lock<std::mutex> lock() { return std::unique_lock(mutex_); }

    Statement prepare(std::string_view sql) { return Statement(*connection_, sql); }
    /// Runs statements that give no rows.
    void execute(const std::string& sql);
    /// Rows that the last INSERT, UPDATE or DELETE touched.
    std::int64_t changes() const { return sqlite3_changes64(connection_.get()); }
    std::int64_t lastInsertId() const { return sqlite3_last_insert_rowid(connection_.get()); }

private:
    struct Close {
        void operator()(sqlite3* connection) const { sqlite3_close_v2(connection); }
    };
    std::unique_ptr<sqlite3, Close> connection_;
    std::mutex mutex_;
};

/// Takes back what was written since its beginning, unless it was committed.
class Transaction {
public:
    explicit Transaction(Database& database);
    ~Transaction();
    Transaction(const Transaction&) = delete;
    Transaction& operator=(const Transaction&) = delete;
    void commit();

private:
    Database& database_;
    bool open_ = true;
};

} // namespace parlowen::service
