#include "support/BackendFixture.h"
#include <Foundation/BackgroundQueue.h>
#include <Network/ResumeUpload.h>
#include <sys/resource.h>

namespace parlowen::testing {
namespace {

struct ResumeUploadTest : BackendFixture {
    QString file(const QString& name, qint64 size, const QByteArray& start = {}) {
        QFile file(directory_.filePath(name));
        EXPECT_TRUE(file.open(QIODevice::WriteOnly) && file.write(start) >= 0 && file.resize(size));
        return file.fileName();
    }
    void start(const QString& path, const FileService& service) {
        outcome_.clear();
        sent_ = 0;
        upload_ = std::make_unique<ResumeUpload>(service);
        upload_->onProgress = [this](qint64 sent, qint64 total) {
            sent_ = sent;
            total_ = total;
        };
        upload_->uploadResumeFile(
            QUrl::fromLocalFile(path), "credential",
            [this](FResponseStatus status, const std::optional<JSON>& json, const QString& text) {
                outcome_ = QString("%1 %2 %3").arg(int(status)).arg(json ? json->rawString() : "-").arg(text);
            });
    }
    void startAndWait(const QString& path, const FileService& service) {
        start(path, service);
        ASSERT_TRUE(waitFor([this] { return sent_ > 0; }));
    }
    QString outcome() {
        EXPECT_TRUE(waitFor([this] { return !outcome_.isEmpty(); }));
        return outcome_;
    }
    QString outcomeOf(const QString& path, const FileService& service) {
        start(path, service);
        return outcome();
    }
    FileService here() const { return {QUrl(server_.baseUrl() + "/files"), {}}; }
    static FileService at(const DeafServer& deaf, int sendingBound = 60'000) {
        return {deaf.url(), {}, sendingBound, 60'000};
    }

    std::unique_ptr<ResumeUpload> upload_;
    QString outcome_;
    qint64 sent_ = 0, total_ = 0;
};

const QString failed = "2 - 请求失败";

TEST_F(ResumeUploadTest, TheFormHoldsTheFileUnderItsNameAndAnyJsonAnswerCounts) {
    server_.enqueue(Reply::json(413, R"({"id":"file-abc"})"));
    const QString path = file("简 \"历\".PDF", 1234, "%PDF-1.7");
    EXPECT_EQ(outcomeOf(path, here()), R"(0 {"id":"file-abc"} )");
    EXPECT_EQ(lastRequest().method + lastRequest().target, "POST/files");
    EXPECT_EQ(lastRequest().header("Authorization"), "Bearer credential");
    EXPECT_EQ(lastRequest().header("platform"), std::nullopt);
    const QByteArray type = lastRequest().header("Content-Type").value_or("");
    const QByteArray boundary = "--" + type.mid(type.indexOf("boundary=\"") + 10).chopped(1);
    EXPECT_TRUE(type.startsWith("multipart/form-data;")) << type.toStdString();
    // Qt 6.8 writes the names of fields in small letters, which mean the same.
    const QByteArray body = QByteArray(lastRequest().body)
                                .replace("content-", "Content-")
                                .replace("Content-disposition", "Content-Disposition")
                                .replace("Content-type", "Content-Type");
    const QByteArray content = "%PDF-1.7" + QByteArray(1226, '\0');
    EXPECT_EQ(body,
              boundary +
                  "\r\nContent-Disposition: form-data; name=\"file\"; filename=\"简 %22历%22.PDF\"\r\n"
                  "Content-Type: application/vnd.openxmlformats-officedocument.wordprocessingml.document\r\n\r\n" +
                  content + "\r\n" + boundary +
                  "\r\nContent-Disposition: form-data; name=\"purpose\"\r\n\r\nfile-extract\r\n" + boundary + "--\r\n");
    EXPECT_EQ(sent_, lastRequest().body.size());
    EXPECT_EQ(total_, sent_);
    EXPECT_EQ(log_.lines(), (QStringList{"📤 准备上传文件：简 \"历\".PDF", "📦 文件大小：1.2 kB (1234 字节)",
                                         R"(✅ 上传成功：{"id":"file-abc"})"}));
}

TEST_F(ResumeUploadTest, WhatGoesWrongIsLoggedAndTold) {
    const QString path = file("cv.pdf", 10);
    EXPECT_EQ(outcomeOf(path, {QUrl(ScriptedHttpServer::refusingUrl()), {}}), failed);
    for (const Reply& reply : {Reply::json(200, "<html>"), Reply::cut(R"({"id":"file-abc"})", 5)}) {
        server_.enqueue(reply);
        EXPECT_EQ(outcomeOf(path, here()), failed);
    }
    EXPECT_EQ(log_.linesWith("❌ 上传失败：").size(), 3);
    EXPECT_THAT(log_.linesWith("❌ 无法读取文件内容"), IsEmpty());
    EXPECT_EQ(outcomeOf(directory_.filePath("gone.pdf"), here()), failed);
    EXPECT_EQ(log_.lines().mid(log_.lines().size() - 2).front(), "❌ 无法读取文件内容");
    EXPECT_EQ(server_.requests().size(), 2U);
}

TEST_F(ResumeUploadTest, NothingHangsWhenTheServiceOrTheFileStopsInTheMiddle) {
    const QString path = file("cv.pdf", 64'000'000);
    DeafServer deaf;
    EXPECT_EQ(outcomeOf(path, at(deaf, 300)), failed) << "not one byte more goes out";
    EXPECT_EQ(log_.lines().back(), "❌ 上传失败：请求超时");
    EXPECT_GT(sent_, 0);
    EXPECT_LT(sent_, total_);
    startAndWait(path, at(deaf));
    file("cv.pdf", 0); // the file gets shorter, as when its disk has gone
    deaf.resumeAccepting();
    EXPECT_EQ(outcome(), failed);
    deaf.pauseAccepting();
    startAndWait(file("cv.pdf", 64'000'000), at(deaf));
    deaf.close();
    EXPECT_EQ(outcome(), failed);
    server_.enqueue(Reply::silence());
    EXPECT_EQ(outcomeOf(file("small.pdf", 10), {here().url, {}, 60'000, 100}), failed) << "no answer comes";
}

/// The most memory that this process has stood in so far, in bytes.
qint64 peakMemory() {
    rusage usage{};
    ::getrusage(RUSAGE_SELF, &usage);
    return usage.ru_maxrss * 1024;
}

TEST_F(ResumeUploadTest, AFileOfAnySizeIsStreamedAndTheUploadEndsWithItsObject) {
    constexpr qint64 size = 256'000'000;
    const QString path = file("huge.pdf", size);
    const qint64 before = peakMemory();
    DeafServer deaf;
    startAndWait(path, at(deaf));
    EXPECT_LT(peakMemory() - before, size / 4);
    deaf.resumeAccepting();
    ASSERT_TRUE(waitFor([&] { return deaf.hasPendingConnections(); }));
    const std::unique_ptr<QTcpSocket> connection(deaf.nextPendingConnection());
    upload_.reset();
    EXPECT_TRUE(waitFor([&] { return connection->state() == QAbstractSocket::UnconnectedState; }));
    start(path, at(deaf));
    upload_.reset(); // while the file is read through
    waitForBackground();
    QCoreApplication::processEvents();
    EXPECT_EQ(log_.lines().size(), 2) << log_.lines().join('\n').toStdString();
}

TEST_F(ResumeUploadTest, TheCredentialGoesToTheServicesOwnHostAloneWhichMovesWithTheBackendInUse) {
    ScriptedHttpServer other;
    const QString path = file("cv.pdf", 10);
    server_.enqueue({"HTTP/1.1 307 Elsewhere\r\nLocation: " + other.baseUrl("localhost").toUtf8() +
                     "/files\r\nContent-Length: 0\r\n\r\n"});
    EXPECT_EQ(outcomeOf(path, here()), failed);
    EXPECT_THAT(other.requests(), IsEmpty());
    EXPECT_EQ(FileService::builtIn("https://backend.example:8443/api/v1", {}).url,
              QUrl("https://backend.example:8443/compatible-mode/v1/files"));
}

} // namespace
} // namespace parlowen::testing
