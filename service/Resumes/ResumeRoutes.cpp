#include "ResumeRoutes.h"

#include "Accounts/AccountRoutes.h"
#include "Http/Log.h"
#include "Http/Workers.h"

#include <charconv>

namespace parlowen::service {

namespace {

namespace asio = boost::asio;

constexpr int notBound = 1004;

/// An error in the form of the OpenAI API.
HttpResponse refusal(const UploadProblem& problem) {
    const char* type = problem.status < 500 ? "invalid_request_error" : "server_error";
    HttpResponse response{
        .status = problem.status,
        .body = compactJson(
            {{"error", {{"message", problem.message}, {"type", type}, {"param", nullptr}, {"code", problem.code}}}})};
    if (problem.status == 503)
        response.headers.emplace_back("Retry-After", "5");
    return response;
}

UploadProblem busy() { return {503, "busy", "正在处理的简历过多，请稍后再试"}; }

UploadProblem unknownToken() { return {401, "invalid_upload_token", "上传凭证无效或已过期，请重新上传"}; }

std::size_t contentLength(const HttpRequest& request) {
    const std::string_view text = request.header("Content-Length");
    std::size_t length = 0;
    std::from_chars(text.data(), text.data() + text.size(), length);
    return length;
}

/// Whose upload it is; none when its credential, or the session of that, is over. Throws StoreError.
std::optional<std::int64_t> uploaderOf(Accounts& accounts, Resumes& resumes, const HttpRequest& request) {
    const auto owner = resumes.tokens.ownerOf(request.bearerToken());
    return owner && accounts.sessionLasts(owner->session) ? std::optional(owner->user) : std::nullopt;
}

/// Why an upload is refused, as far as its header tells.
std::optional<HttpResponse> refusalByHeader(Accounts& accounts, Resumes& resumes, const HttpRequest& request) {
    const auto userId = uploaderOf(accounts, resumes, request);
    if (!userId)
        return refusal(unknownToken());
    request.isOf(*userId);
    std::optional<UploadProblem> problem;
    if (contentLength(request) > Upload::formBytes)
        problem = fileTooLarge();
    else if (!resumes.uploads.hasRoomFor(*userId))
        problem = busy();
    if (!problem)
        return std::nullopt;
    resumes.remember(*userId, *problem);
    return refusal(*problem);
}

HttpResponse fileRecord(const Resume& resume, const Upload& upload) {
    return {.body = compactJson({{"id", resume.id},
                                 {"object", "file"},
                                 {"bytes", upload.file().size()},
                                 {"created_at", resume.createdAt},
                                 {"filename", resume.name},
                                 {"purpose", upload.purpose()},
                                 {"status", "processed"}})};
}

HttpResponse keep(Resumes& resumes, std::int64_t userId, const Upload& upload) {
    try {
        const auto kept = resumes.keep(userId, upload);
        return kept ? fileRecord(*kept, upload) : refusal(kept.error());
    } catch (const StoreError& problem) {
        logLine(problem.what());
        const UploadProblem reason = problem.cannotWrite
                                         ? UploadProblem{507, "disk_full", "磁盘空间不足或无法写入，文件没有保存"}
                                         : UploadProblem{500, "internal_error", "服务内部错误，请稍后再试"};
        resumes.remember(userId, reason);
        return refusal(reason);
    }
}

/// Where an upload goes, in a place that it keeps until it is read.
std::unique_ptr<Upload> uploadOf(Resumes& resumes, const HttpRequest& request) {
    const auto owner = resumes.tokens.ownerOf(request.bearerToken());
    auto place = owner ? resumes.uploads.take(owner->user) : nullptr;
    const bool hasPlace = place != nullptr;
    auto upload = std::make_unique<Upload>(resumes.directory, request.header("Content-Type"), std::move(place));
    if (!hasPlace)
        upload->refuse(busy()); // another one came first
    return upload;
}

asio::awaitable<HttpResponse> handleUpload(Accounts& accounts, Resumes& resumes, const HttpRequest& request) {
    auto look = [&] { return uploaderOf(accounts, resumes, request); };
    const auto userId = co_await onWorker(request.origin.workers, std::move(look));
    if (!userId)
        co_return refusal(unknownToken()); // it ended meanwhile
    auto work = [&] { return keep(resumes, *userId, static_cast<const Upload&>(*request.sink)); };
    auto reading = resumes.reading.run(*userId, std::move(work));
    auto reply = co_await std::move(reading);
    co_return reply ? *std::move(reply) : refusal(unavailable());
}

/// Calls `reply(user)` on a worker thread for the user whom a request's sign-in token stands for.
template<typename Reply>
asio::awaitable<HttpResponse> forUser(Accounts& accounts, const HttpRequest& request, Reply reply) {
    auto work = [&accounts, &request, reply] {
        try {
            const auto user = accounts.userOf(request.bearerToken());
            return user ? reply(*user) : unauthorized();
        } catch (const StoreError& problem) {
            return storeFailure(problem);
        }
    };
    co_return co_await onWorker(request.origin.workers, std::move(work));
}

asio::awaitable<HttpResponse> handleBind(Accounts& accounts, Resumes& resumes, const HttpRequest& request) {
    auto bind = [&](const User& user) {
        const auto bound = resumes.bind(user.id, request.rest);
        return bound ? success(resumes.profileOf(user.id), "简历已绑定") : failure(notBound, bound.error());
    };
    co_return co_await forUser(accounts, request, bind);
}

} // namespace

void addResumeRoutes(Router& router, Accounts& accounts, Resumes& resumes) {
    router.route(verb::get, apiPath("/ai/token"),
                 [&accounts, &resumes](const HttpRequest& request) {
                     return forUser(accounts, request, [&](const User& user) {
                         return success(resumes.tokens.issue({user.id, Accounts::sessionOf(request.bearerToken())}));
                     });
                 },
                 {.right = signedInOnly(accounts)});
    for (const char* path : {"/user/bind_resume/*", "/user/bind_resume/"}) {
        router.route(
            verb::post, apiPath(path),
            [&accounts, &resumes](const HttpRequest& request) { return handleBind(accounts, resumes, request); },
            {.right = signedInOnly(accounts), .bodyBytes = 1'024}); // of which nothing is read
    }
    router.route(verb::post, "/compatible-mode/v1/files",
                 [&accounts, &resumes](const HttpRequest& request) { return handleUpload(accounts, resumes, request); },
                 {.right = [&accounts, &resumes](
                               const HttpRequest& request) { return refusalByHeader(accounts, resumes, request); },
                  .bodyBytes = Upload::formBytes,
                  .sink = [&resumes](const HttpRequest& request) { return uploadOf(resumes, request); }});
}

} // namespace parlowen::service
