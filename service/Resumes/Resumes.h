#pragma once

#include "ResumeExcerpt.h"
#include "ResumeStore.h"
#include "Upload.h"
#include "UploadTokens.h"

#include <atomic>
#include <map>
#include <mutex>
#include <stop_token>
#include <vector>

namespace parlowen::service {

/// Everything that résumés need: where uploads lie while they are read, their credentials, and what is kept of them.
/// Outlives the server that its routes are in. Thread-safe.
class Resumes {
public:
    static constexpr int waitingFiles = 8; ///< that are read or wait for it; one more is refused

    /// Makes the directory, and removes what a killed process left in it. Throws std::exception.
    Resumes(Database& database, std::filesystem::path directoryOfUploads, TextExtraction textExtraction = {});

    /// Ends the reading of files; later ones are refused.
    void stop() { stopping_.request_stop(); }
    /// For a profile: resume_id, resume_name and created_at of a user's résumé, or null.
    nlohmann::json profileOf(std::int64_t userId);

    /// What a user's résumé says to a question. Throws StoreError.
    ResumeBearing bearingOn(std::int64_t userId, std::string_view question);

    /// Reads and keeps what was uploaded. Blocks. The error is why not; it is remembered for bind().
    tl::expected<Resume, UploadProblem> keep(std::int64_t userId, const Upload& upload);
    /// The résumé that a user's file has become, or why it has not: for an empty id what their last upload came to.
    tl::expected<Resume, std::string> bind(std::int64_t userId, std::string_view id);

    /// A place among the files that are read; false when there is none. Given back by leave().
    bool enter() { return ++waiting_ <= waitingFiles; }
    void leave() { --waiting_; }
    bool isFull() const { return waiting_ >= waitingFiles; }
    void remember(std::int64_t userId, const UploadProblem& problem);
    /// Ends the credentials of a user who is gone, and what is remembered of them here. Their texts go with them.
    void forget(std::int64_t userId);

    UploadTokens tokens;
    ResumeStore store;
    const std::filesystem::path directory;

private:
    const TextExtraction extraction_;
    std::stop_source stopping_;
    std::atomic<int> waiting_ = 0;
    std::mutex mutex_;
    std::map<std::int64_t, std::string> lastProblems_; ///< messages, by user
};

} // namespace parlowen::service
