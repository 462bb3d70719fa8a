#include <Network/ImageLoader.h>
#include <gmock/gmock.h>

#include <QTemporaryDir>

#include "support/ScriptedHttpServer.h"
#include "support/TlsFiles.h"
#include "support/WaitFor.h"

namespace parlowen::testing {
namespace {

using Reply = ScriptedHttpServer::Reply;

class ImageLoaderTest : public ::testing::Test {
protected:
    /// A picture that may be kept for an hour.
    static Reply picture() {
        const QByteArray ppm = "P6 3 2 255 " + QByteArray("\xff\0\0", 3).repeated(6); // red
        return {"HTTP/1.1 200 OK\r\nContent-Type: image/x-portable-pixmap\r\nCache-Control: "
                "max-age=3600\r\nContent-Length: " +
                QByteArray::number(ppm.size()) + "\r\n\r\n" + ppm};
    }
    void load(const QString& url, QObject* context) {
        loader_->load(QUrl(url), context, [this](const Result<QImage>& result) { results_.push_back(result); });
    }
    /// The size of the picture, or what is said in its place.
    std::string outcomeOf(const QString& url) {
        results_.clear();
        load(url, &stays_);
        EXPECT_TRUE(results_.empty()) << "later";
        EXPECT_TRUE(waitFor([this] { return !results_.empty(); }));
        const Result<QImage> result = results_.empty() ? failure("nothing came") : results_.front();
        return result ? std::to_string(result->width()) + "x" + std::to_string(result->height())
                      : result.error().toStdString();
    }

    QTemporaryDir cache_;
    std::unique_ptr<ImageLoader> loader_ = std::make_unique<ImageLoader>(cache_.path());
    std::vector<Result<QImage>> results_;
    QObject stays_;
    ScriptedHttpServer server_;
};

TEST_F(ImageLoaderTest, ThoseWhoWaitForOnePictureShareARequestAndTheNextStartFindsItOnTheDisk) {
    server_.enqueue(picture());
    auto goes = std::make_unique<QObject>();
    load(server_.baseUrl() + "/a.png", goes.get());
    load(server_.baseUrl() + "/a.png", &stays_);
    load(server_.baseUrl() + "/a.png", &stays_);
    goes.reset();
    ASSERT_TRUE(waitFor([this] { return results_.size() == 2; }));
    EXPECT_EQ(results_.front().value().pixelColor(2, 1), QColor(Qt::red));
    loader_ = std::make_unique<ImageLoader>(cache_.path());
    EXPECT_EQ(outcomeOf(server_.baseUrl() + "/a.png"), "3x2");
    EXPECT_EQ(server_.requests().size(), 1U);
    EXPECT_EQ(outcomeOf(server_.baseUrl() + "/b.png"), "3x2");
    EXPECT_EQ(server_.requests().size(), 2U);
    loader_ = std::make_unique<ImageLoader>(cache_.path(), 10); // there is no room for it
    EXPECT_EQ(outcomeOf(server_.baseUrl() + "/c.png"), "3x2");
    EXPECT_EQ(outcomeOf(server_.baseUrl() + "/c.png"), "3x2");
    EXPECT_EQ(server_.requests().size(), 4U);
}

TEST_F(ImageLoaderTest, SaysWhyThereIsNoPicture) {
    server_.enqueue(Reply::json(404, "{}"));
    server_.enqueue(Reply::json(200, "{}"));
    EXPECT_EQ(outcomeOf(server_.baseUrl() + "/gone.png"), "图片无法下载：HTTP 404");
    EXPECT_EQ(outcomeOf(server_.baseUrl() + "/text.png"), "图片无法识别");
    EXPECT_EQ(outcomeOf("file:///etc/passwd"), "图片地址无效");
    EXPECT_THAT(outcomeOf(ScriptedHttpServer::refusingUrl()), ::testing::StartsWith("图片无法下载："));
}

TEST_F(ImageLoaderTest, TrustsTheLocalAuthorityForItsHostAlone) {
    ScriptedHttpServer server(ScriptedHttpServer::Scheme::https);
    server.enqueue(picture());
    loader_->setLocalTrust({"127.0.0.1", tlsFile("authority.pem")});
    EXPECT_EQ(outcomeOf(server.baseUrl()), "3x2");
    EXPECT_THAT(outcomeOf(server.baseUrl("localhost")), ::testing::StartsWith("图片无法下载："));
}

} // namespace
} // namespace parlowen::testing
