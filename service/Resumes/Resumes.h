#pragma once

#include "Http/TurnQueue.h"
#include "Http/UserPlaces.h"
#include "ResumeExcerpt.h"
#include "ResumeStore.h"
#include "Upload.h"
#include "UploadTokens.h"

#include <map>
#include <mutex>
#include <stop_token>
#include <vector>

namespace parlowen::service {

/// Everything that résumés need: where uploads lie while they are read, their credentials, and what is kept of them.
/// Outlives the server that its routes are in. Thread-safe.
class Resumes {
public:
    static constexpr std::size_t uploadsInAll = 16; ///< on their way, waiting or read; one more is refused
    static constexpr std::size_t uploadsOfAUser = 2;

    /// Makes the directory, and removes what a killed process left in it. Throws std::exception.
    Resumes(Database& database, std::filesystem::path directoryOfUploads, TextExtraction textExtraction = {});

    /// Ends the reading of files and the searches; later ones are refused.
    void stop();
    /// For a profile: resume_id, resume_name and created_at of a user's résumé, or null.
    nlohmann::json profileOf(std::int64_t userId);

    /// What a user's résumé says to a question. Searched on threads of its own, in turns by user. Throws StoreError.
    boost::asio::awaitable<ResumeBearing> bearingOn(std::int64_t userId, std::string question);

    /// Reads and keeps what was uploaded. Blocks. The error is why not; it is remembered for bind().
    tl::expected<Resume, UploadProblem> keep(std::int64_t userId, const Upload& upload);
    /// The résumé that a user's file has become, or why it has not: for an empty id what their last upload came to.
    tl::expected<Resume, std::string> bind(std::int64_t userId, std::string_view id);

    void remember(std::int64_t userId, const UploadProblem& problem);
    /// Ends the credentials of a user who is gone, and what is remembered of them here. Their texts go with them.
    void forget(std::int64_t userId);

    UploadTokens tokens;
    UserPlaces uploads{uploadsInAll, uploadsOfAUser};
    TurnQueue reading{2}; ///< where keep() is called
    ResumeStore store;
    const std::filesystem::path directory;

private:
    const TextExtraction extraction_;
    std::stop_source stopping_;
    TurnQueue searching_{2}; ///< apart from the files, so that no answer waits for them
    std::mutex mutex_;
    std::map<std::int64_t, std::string> lastProblems_; ///< messages, by user
};

} // namespace parlowen::service
