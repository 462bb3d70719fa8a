#include "Resumes.h"

#include "Http/Log.h"
#include "Http/PrivateFiles.h"

namespace parlowen::service {

namespace {

constexpr std::size_t rememberedProblems = 1'000;

} // namespace

Resumes::Resumes(Database& database, std::filesystem::path directoryOfUploads, TextExtraction textExtraction)
    : store(database)
    , directory(std::move(directoryOfUploads))
    , extraction_(std::move(textExtraction)) {
    makePrivateDirectory(directory);
    TemporaryFile::removeOrphans(directory);
    store.dropOld(std::time(nullptr));
}

nlohmann::json Resumes::profileOf(std::int64_t userId) {
    const auto resume = store.boundTo(userId);
    if (!resume)
        return nullptr;
    return {{"resume_id", resume->id}, {"resume_name", resume->name}, {"created_at", localTime(resume->createdAt)}};
}

void Resumes::stop() {
    stopping_.request_stop();
    reading.stop();
    searching_.stop();
}

boost::asio::awaitable<ResumeBearing> Resumes::bearingOn(std::int64_t userId, std::string question) {
    auto search = searching_.run(userId, [this, userId, &question] {
        const std::string text = store.textOf(userId);
        return text.empty() ? ResumeBearing() : service::bearingOn(text, question);
    });
    auto found = co_await std::move(search);
    co_return found ? *std::move(found) : ResumeBearing();
}

tl::expected<Resume, UploadProblem> Resumes::keep(std::int64_t userId, const Upload& upload) {
    auto problem = upload.problem();
    auto text = problem ? tl::unexpected(*std::move(problem))
                        : extraction_.read(upload.file().path(), *upload.kind(), stopping_.get_token());
    if (!text) {
        remember(userId, text.error());
        return tl::unexpected(text.error());
    }
    {
        const std::lock_guard lock(mutex_);
        lastProblems_.erase(userId);
    }
    return store.add(userId, upload.name(), *text, std::time(nullptr));
}

tl::expected<Resume, std::string> Resumes::bind(std::int64_t userId, std::string_view id) {
    const auto refused = [](std::string why) {
        return tl::expected<Resume, std::string>(tl::unexpect, std::move(why));
    };
    if (!id.empty()) {
        auto bound = store.bind(userId, id, std::time(nullptr));
        return bound ? *std::move(bound) : refused("没有找到这个文件，请重新上传简历");
    }
    const std::lock_guard lock(mutex_);
    const auto known = lastProblems_.find(userId);
    return refused(known == lastProblems_.end() ? "没有收到简历文件，请重新上传" : known->second);
}

void Resumes::remember(std::int64_t userId, const UploadProblem& problem) {
    const std::lock_guard lock(mutex_);
    if (lastProblems_.size() >= rememberedProblems)
        lastProblems_.clear();
    lastProblems_[userId] = problem.message;
}

void Resumes::forget(std::int64_t userId) {
    tokens.forget(userId);
    const std::lock_guard lock(mutex_);
    lastProblems_.erase(userId);
}

} // namespace parlowen::service
