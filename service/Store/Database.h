#pragma once

#include <SQLiteCpp/Database.h>
#include <SQLiteCpp/Exception.h>
#include <SQLiteCpp/Statement.h>
#include <SQLiteCpp/Transaction.h>
#include <filesystem>
#include <mutex>
#include <optional>
#include <stdexcept>
#include <string>

namespace parlowen::service {

/// Something that the database could not do. `cannotWrite`: the disk is full or takes no more data; nothing of the
/// statement, or of the transaction around it, was stored.
struct StoreError : std::runtime_error {
    StoreError(const std::string& what, bool noWriting = false)
        : std::runtime_error(what)
        , cannotWrite(noWriting) {}
    bool cannotWrite;
};

/// One SQLite file: WAL, foreign keys, full synchronisation, brought to the newest schema. Thread-safe.
class Database {
public:
    /// Opens or makes the file with mode 0600. Throws StoreError, naming the file, when it is no database of this
    /// service or of a newer version; such a file is left as it is.
    explicit Database(const std::filesystem::path& file);

    /// Calls `work(SQLite::Database&)`, one call at a time, and gives its result. What SQLite reports becomes a
    /// StoreError.
    template<typename Work>
    auto use(Work work) {
        const std::lock_guard lock(mutex_);
        try {
            return work(*connection_);
        } catch (const SQLite::Exception& problem) {
            throw storeError("database ", problem);
        }
    }

    /// As use(), for what has to succeed on a full disk, too: where it takes no more data, a file that keeps room for
    /// this is given up, and made anew by the next call that has the room.
    template<typename Work>
    auto useWithReserve(Work work) {
        try {
            keepReserve();
            return use(work);
        } catch (const StoreError& problem) {
            if (!problem.cannotWrite || !giveUpReserve())
                throw;
            return use(work);
        }
    }

private:
    /// Makes the file that gives way, where it is not whole.
    void keepReserve() const;
    /// Whether there was one.
    bool giveUpReserve() const;
    StoreError storeError(const std::string& doing, const SQLite::Exception& problem) const;

    const std::filesystem::path file_;
    const std::filesystem::path reserve_;
    std::optional<SQLite::Database> connection_;
    std::mutex mutex_;
};

} // namespace parlowen::service
