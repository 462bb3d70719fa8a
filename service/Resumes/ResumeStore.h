#pragma once

#include "Store/Database.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace parlowen::service {

/// A file that a user uploaded: what is kept of it beside its text.
struct Resume {
    std::string id;
    std::string name;           ///< of the file
    std::int64_t createdAt = 0; ///< seconds since 1970, UTC
};

/// The texts of uploaded files: at most one bound to each user, and for a while a few that are not. They go with their
/// user. All of it may throw StoreError. Thread-safe.
class ResumeStore {
public:
    static constexpr int unboundOfAUser = 3;              ///< a further one drops the oldest
    static constexpr std::int64_t unboundSeconds = 3'600; ///< after which one that was never bound is dropped

    explicit ResumeStore(Database& database)
        : database_(database) {}

    /// Keeps a text, not bound yet. `now` is in seconds since 1970.
    Resume add(std::int64_t userId, const std::string& name, const std::string& text, std::int64_t now);
    /// Makes an uploaded file the user's résumé, in place of another; none when it is not theirs or has been dropped.
    std::optional<Resume> bind(std::int64_t userId, std::string_view id, std::int64_t now);
    std::optional<Resume> boundTo(std::int64_t userId);
    /// The text of a user's résumé; empty where there is none.
    std::string textOf(std::int64_t userId);
    /// Drops what was never bound in its time.
    void dropOld(std::int64_t now);

private:
    Database& database_;
};

} // namespace parlowen::service
