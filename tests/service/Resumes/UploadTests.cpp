#include "Resumes/ResumeRoutes.h"
#include "support/RunningService.h"
#include "support/Testing.h"
#include <unistd.h>

using namespace parlowen::service;
using namespace parlowen::testing;
namespace fs = std::filesystem;

namespace {

constexpr const char* filesPath = "/compatible-mode/v1/files";

/// The files of make_samples.py, made once.
struct Samples : ::testing::Test {
    static void SetUpTestSuite() {
        folder.emplace();
        const std::string command =
            "python3 '" PARLOWEN_SOURCE_DIR "/tests/service/Resumes/make_samples.py' '" + folder->path().string() + "'";
        ASSERT_EQ(std::system(command.c_str()), 0);
    }
    static void TearDownTestSuite() { folder.reset(); }
    static std::string sample(const std::string& name) { return contentsOf(folder->path() / name); }
    inline static std::optional<TemporaryDirectory> folder;
};

std::string form(const std::string& name, const std::string& contents) {
    return "--cut\r\nContent-Disposition: form-data; name=\"purpose\"\r\n\r\nfile-extract\r\n"
           "--cut\r\nContent-Disposition: form-data; name=\"file\"; filename=\"" +
           name +
           "\"\r\nContent-Type: application/vnd.openxmlformats-officedocument.wordprocessingml.document\r\n\r\n" +
           contents + "\r\n--cut--\r\n";
}

const std::multimap<std::string, std::string> formHeader{{"Content-Type", "multipart/form-data; boundary=\"cut\""}};

/// A service with a user who may upload.
struct Uploader {
    RunningService service;
    const ServiceClient client = service.client();
    const std::string token = service.token();
    const std::string grant = client.get("/api/v1/ai/token", token).data();

    Reply upload(const std::string& name, const std::string& contents) const {
        return client.send("POST", filesPath, form(name, contents), grant, formHeader);
    }
    Reply bind(const std::string& id, const std::string& signInToken) const {
        return client.send("POST", "/api/v1/user/bind_resume/" + id, {}, signInToken);
    }
    nlohmann::json profile() const { return client.get("/api/v1/user/info", token).data().at("user"); }
    bool isClean() const { return fs::is_empty(service.data() / "uploads"); }
    std::ptrdiff_t filesOfAtLeast(std::uintmax_t bytes) const {
        const fs::directory_iterator files(service.data() / "uploads");
        return std::count_if(begin(files), end(files), [&](const auto& file) { return file.file_size() >= bytes; });
    }
    std::string text() const {
        Database database(service.data() / "parlowen.db");
        return database.use([](SQLite::Database& store) -> std::string {
            SQLite::Statement row(store, "SELECT text FROM resumes WHERE bound = 1");
            return row.executeStep() ? row.getColumn(0).getString() : "";
        });
    }
};

std::string errorOf(const Reply& reply) { return reply.json().at("error").at("code"); }

} // namespace

TEST_F(Samples, OfEveryTypeAreReadWhateverTheirNames) {
    const Uploader user;
    const std::string english = "Jane Doe\nSenior Backend Engineer\nMoved the billing service to Kubernetes\n";
    const std::string chinese = "张三 后端工程师\n负责订单系统的架构设计\n接口耗时降低 40%\n";
    const std::pair<const char*, std::string> expected[] = {
        {"english.pdf", english},        {"chinese.docx", chinese}, {"chinese.doc", chinese + english},
        {"picture.png", english},        {"picture.jpeg", english}, {"large.pdf", english},
        {"scan.pdf", english + english},
    };
    for (const auto& [name, text] : expected) {
        const Reply reply = user.upload("/home/me/我的简历.docx", sample(name));
        ASSERT_EQ(reply.status, 200) << name << reply.body;
        const auto record = reply.json();
        EXPECT_EQ(record.at("filename"), "我的简历.docx") << "without folders";
        EXPECT_EQ(record.at("bytes"), sample(name).size());
        EXPECT_EQ(record.at("object").get<std::string>() + record.at("purpose").get<std::string>(), "filefile-extract");
        EXPECT_EQ(user.bind(record.at("id"), user.token).code(), 0);
        EXPECT_EQ(user.text(), text) << name;
        EXPECT_TRUE(user.isClean()) << name;
        EXPECT_EQ(user.profile().at("resume").at("resume_id"), record.at("id"));
        EXPECT_EQ(user.profile().at("resume").at("resume_name"), "我的简历.docx");
    }
}

TEST_F(Samples, ThatAreNoneAreRefusedWithAReasonThatBindingRepeats) {
    const Uploader user;
    const std::pair<const char*, const char*> expected[] = {
        {"empty.pdf", "empty_file"},     {"text.pdf", "wrong_type"}, {"other.docx", "wrong_type"},
        {"cut.docx", "unreadable_file"}, {"blank.pdf", "no_text"},   {"entity.docx", "unreadable_file"},
        {"bomb.docx", "limit_exceeded"},
    };
    for (const auto& [name, code] : expected) {
        const Reply reply = user.upload(name, sample(name));
        EXPECT_EQ(errorOf(reply), code) << name;
        const Reply bound = user.bind("", user.token);
        EXPECT_EQ(bound.code(), 1004);
        EXPECT_EQ(bound.message(), reply.json().at("error").at("message").get<std::string>()) << name;
        EXPECT_TRUE(user.isClean()) << name;
    }
    EXPECT_TRUE(user.profile().at("resume").is_null());
}

TEST_F(Samples, ThatTakeTooLongOrHaveNoReaderAreToldApart) {
    const auto* const longest = "bomb.pdf";
    const auto codeOf = [&](const char* name, FileKind kind, const std::stop_token& stop = {}) {
        const TextExtraction extraction({.time = std::chrono::milliseconds(name == longest ? 500 : 60'000)});
        const auto text = extraction.read(folder->path() / name, kind, stop);
        return text ? *text : text.error().code + " " + text.error().message;
    };
    EXPECT_THAT(codeOf(longest, FileKind::Pdf), StartsWith("limit_exceeded"));
    const TextExtraction curt({.textBytes = 20});
    EXPECT_EQ(curt.read(folder->path() / "english.pdf", FileKind::Pdf, {}).error().code, "limit_exceeded");
    std::stop_source stopped;
    stopped.request_stop();
    EXPECT_THAT(codeOf("english.pdf", FileKind::Pdf, stopped.get_token()), StartsWith("unavailable"));
    const std::string path = std::getenv("PATH");
    ::setenv("PATH", folder->path().c_str(), 1);
    EXPECT_THAT(codeOf("english.pdf", FileKind::Pdf), AllOf(StartsWith("tool_missing"), HasSubstr("poppler-utils")));
    EXPECT_EQ(codeOf("chinese.docx", FileKind::Docx).substr(0, 6), "张三") << "needs no tool";
    ::setenv("PATH", path.c_str(), 1);
}

TEST_F(Samples, ThatAreStillReadHoldUpNeitherOtherUsersNorTheServicesEnd) {
    Uploader user;
    const std::string bomb = sample("bomb.pdf");
    Reply replies[2];
    std::vector<std::jthread> uploading;
    for (Reply& reply : replies) {
        uploading.emplace_back([&] { reply = user.upload("cv.pdf", bomb); });
        EXPECT_TRUE(eventually([&] { return user.filesOfAtLeast(bomb.size()) == std::ssize(uploading); }))
            << "with the whole body";
    }
    const Reply third = user.upload("cv.docx", sample("chinese.docx"));
    EXPECT_TRUE(third.status == 503 && errorOf(third) == "busy" && third.headers.contains("retry-after"));
    const std::string other = user.service.signIn("13800000002").data().at("token");
    const std::string grant = user.client.get("/api/v1/ai/token", other).data();
    EXPECT_EQ(user.client.send("POST", filesPath, form("cv", sample("chinese.docx")), grant, formHeader).status, 200);
    user.service.stop();
    uploading.clear();
    for (const Reply& reply : replies)
        EXPECT_EQ(errorOf(reply), "unavailable") << "one was read, one waited for it";
}

TEST_F(Samples, AreQuotedInTheirOwnersAnswersOnceTheyAreBound) {
    const Uploader user;
    const std::string other = user.service.signIn("13800000002").data().at("token");
    const auto answer = [&](const std::string& token) {
        return user.client.post("/api/v1/ai/meeting", {{"txt", "你设计过什么架构？"}}, token).body;
    };
    const std::string id = user.upload("cv.docx", sample("chinese.docx")).json().at("id");
    const auto quotes = HasSubstr("“负责订单系统的架构设计”");
    EXPECT_THAT(answer(user.token), Not(quotes)) << "not bound yet";
    user.bind(id, user.token);
    EXPECT_THAT(answer(user.token), quotes);
    EXPECT_THAT(answer(other), Not(quotes));
}

TEST_F(Samples, GoToTheirOwnersAlone) {
    const Uploader user;
    const std::string other = user.service.signIn("13800000002").data().at("token");
    std::vector<std::string> ids;
    for (int i = 0; i < ResumeStore::unboundOfAUser + 1; ++i)
        ids.push_back(user.upload("cv.docx", sample("chinese.docx")).json().at("id"));
    EXPECT_EQ(user.bind(ids.back(), other).code(), 1004);
    EXPECT_TRUE(user.profile().at("resume").is_null());
    EXPECT_EQ(user.bind(ids.front(), user.token).code(), 1004) << "the oldest one has gone";
    EXPECT_EQ(user.bind(ids.back(), user.token).code(), 0);
    EXPECT_EQ(user.bind(ids.at(1), user.token).code(), 0) << "replaces the other";
    EXPECT_EQ(user.bind(ids.back(), user.token).code(), 1004);
    EXPECT_EQ(user.bind(ids.at(1), "unknown").status, 401);
    EXPECT_EQ(user.client.get("/api/v1/user/info", user.grant).status, 401) << "it opens uploads alone";
    const Reply refused = user.client.send("POST", filesPath, form("cv", "x"), user.token, formHeader);
    EXPECT_TRUE(refused.status == 401 && errorOf(refused) == "invalid_upload_token") << "nor the other way round";
    user.client.post("/api/v1/user/logout", {}, user.token);
    EXPECT_EQ(user.upload("cv.docx", sample("chinese.docx")).status, 401) << "for as long as one is signed in";
}

TEST(Upload, IsRefusedByItsHeaderAndLeavesNothingWhenItIsCut) {
    const Uploader user;
    const auto head = [&](const std::string& grant, std::size_t length) {
        return "POST " + std::string(filesPath) + " HTTP/1.1\r\nHost: localhost\r\nAuthorization: Bearer " + grant +
               "\r\nContent-Type: multipart/form-data; boundary=cut\r\nContent-Length: " + std::to_string(length) +
               "\r\n\r\n";
    };
    for (const auto& [request, status] : {std::pair(head("unknown", 100), "401"), {head(user.grant, 33 << 20), "413"}})
        EXPECT_EQ(user.client.connect(request)->receiveUntil("\r\n").substr(9, 3), status);
    EXPECT_THAT(user.bind("", user.token).message(), HasSubstr("32 MB"));

    const std::string half = form("cv.pdf", std::string(1 << 20, 'x'));
    std::vector<std::unique_ptr<Connection>> coming;
    for (std::size_t i = 0; i < Resumes::uploadsOfAUser; ++i) {
        coming.push_back(user.client.connect(head(user.grant, half.size() + 1) + half));
        EXPECT_TRUE(eventually([&] { return user.filesOfAtLeast(0) == std::ssize(coming); }));
    }
    EXPECT_EQ(user.client.connect(head(user.grant, 100))->receiveUntil("\r\n").substr(9, 3), "503");
    for (const auto& connection : coming)
        connection->cut();
    EXPECT_TRUE(eventually([&] { return user.isClean(); }));
    for (const std::string& body : {half.substr(0, half.size() - 9), std::string("no form"), std::string()})
        EXPECT_EQ(errorOf(user.client.send("POST", filesPath, body, user.grant, formHeader)), "invalid_form");
    EXPECT_EQ(errorOf(user.client.send("POST", filesPath, half, user.grant)), "invalid_form") << "no boundary";
    const FileSizeLimit full(1'000);
    EXPECT_EQ(errorOf(user.upload("cv.pdf", std::string(2'000, 'x'))), "disk_full");
    EXPECT_TRUE(user.isClean());
}

TEST(Upload, IsRefusedWhenItIsTooLargeOrTooManyWait) {
    const TemporaryDirectory directory;
    Upload large(directory.path(), "multipart/form-data; boundary=cut");
    large.take(form("cv.pdf", std::string(Upload::fileBytes + 1, 'x')));
    EXPECT_EQ(large.problem()->code, "file_too_large");

    Database database(directory.path() / "test.db");
    Accounts accounts(database);
    const auto user = std::get<SignedIn>(accounts.signIn({"86", "13800000001", "secret-1"}, true));
    const std::string old = ResumeStore(database).add(user.user.id, "never bound", "text", 0).id;
    Resumes resumes(database, directory.path() / "uploads");
    EXPECT_FALSE(resumes.store.bind(user.user.id, old, 0)) << "dropped at the start";
    Router router;
    addResumeRoutes(router, accounts, resumes);
    const RunningServer server(std::move(router));
    const auto upload = [&] {
        const std::string grant = resumes.tokens.issue({user.user.id, Accounts::sessionOf(user.token)});
        return server.client().send("POST", filesPath, form("cv", ""), grant, formHeader);
    };
    std::vector<std::shared_ptr<void>> others;
    for (std::size_t i = 0; i < Resumes::uploadsInAll; ++i)
        others.push_back(resumes.uploads.take(static_cast<std::int64_t>(1'000 + i)));
    EXPECT_TRUE(others.back());
    const Reply refused = upload();
    EXPECT_TRUE(refused.status == 503 && errorOf(refused) == "busy" && refused.headers.contains("retry-after"));
    EXPECT_EQ(resumes.bind(user.user.id, "").error(), refused.json().at("error").at("message").get<std::string>());
    others.pop_back();
    EXPECT_EQ(errorOf(upload()), "empty_file");
    EXPECT_EQ(errorOf(upload()), "empty_file") << "its place was given back";
}

TEST(TemporaryFiles, OfTheDeadAreRemovedAndThoseOfTheLivingAreNot) {
    const TemporaryDirectory directory;
    writeFile(directory.path() / "upload-dead", "left behind");
    const TemporaryFile living(directory.path());
    TemporaryFile::removeOrphans(directory.path());
    EXPECT_FALSE(fs::exists(directory.path() / "upload-dead"));
    EXPECT_TRUE(fs::exists(living.path()));
    EXPECT_EQ(modeOf(living.path()), 0600U);
    RunningService service;
    service.stop();
    writeFile(service.data() / "uploads" / "upload-dead", "of a service that was killed");
    service.start();
    EXPECT_TRUE(fs::is_empty(service.data() / "uploads"));
}
