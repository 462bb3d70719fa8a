#include <QLineEdit>
#include <QProgressBar>
#include <QPushButton>
#include <QTcpServer>
#include <QTcpSocket>

#include "SettingsRig.h"

namespace parlowen {
namespace {

using ::testing::IsEmpty;
using testing::waitFor;

class ResumeFlowTest : public SettingsRig {
protected:
    QString label() const { return card().updateLabel()->text(); }
    void clickCard() const { QTest::mouseClick(card().childAt(5, 5), Qt::LeftButton); }
    bool panelOpens() const {
        return waitFor([this] { return flow().panel() != nullptr && flow().panel()->isVisible(); });
    }
    /// Writes the path into the open panel and presses Enter.
    void choose(const QString& path) const {
        auto* field = flow().panel()->findChild<QLineEdit*>("fileNameEdit");
        field->setText(path);
        QTest::keyClick(field, Qt::Key_Return);
    }
    /// The targets of all requests, in order.
    QByteArrayList targets() const {
        QByteArrayList targets;
        for (const auto& request : server_.requests())
            targets << request.method + ' ' + request.target;
        return targets;
    }
};

TEST_F(ResumeFlowTest, AChosenFileIsUploadedBoundAndShownAlsoTheNextTime) {
    open();
    enqueue(R"({"code":0,"data":"credential"})");
    clickCard();
    ASSERT_TRUE(panelOpens());
    EXPECT_EQ(flow().panel()->windowTitle(), "选择简历文件");
    EXPECT_EQ(flow().panel()->windowModality(), Qt::NonModal);
    flow().panel()->reject();
    ASSERT_TRUE(waitFor([this] { return flow().panel() == nullptr; }));
    EXPECT_EQ(page_->updateToken(), "credential");
    EXPECT_EQ(label(), "上传简历");

    clickCard();
    ASSERT_TRUE(panelOpens());
    enqueue(R"({"id":"file-abc","filename":"CV.pdf"})");
    enqueue(R"({"code":0})");
    enqueue(R"({"code":0,"data":{"user":{"phone":"1","resume":{"resume_name":"CV.PDF"}}}})");
    choose(file("CV.PDF"));
    EXPECT_EQ(label(), "已选择文件：CV.PDF");
    ASSERT_TRUE(alerted());
    EXPECT_EQ(alerts_, QStringList{"上传成功|文件 CV.pdf 已成功上传"});
    EXPECT_EQ(label(), "已选择文件：CV.PDF");
    ASSERT_TRUE(waitFor([this] { return settings_.userInfo().has_value(); }));
    EXPECT_EQ(targets(), (QByteArrayList{"GET /ai/token", "GET /ai/token", "POST /files",
                                         "POST /user/bind_resume/file-abc", "GET /user/info"}));
    EXPECT_EQ(server_.requests()[2].header("Authorization"), "Bearer credential");
    reopen();
    EXPECT_EQ(label(), "已选择文件：CV.PDF");
}

TEST_F(ResumeFlowTest, EachFailureIsSaidInAnAlertAndOnTheCard) {
    open();
    const auto outcomeOf = [this](const QList<Reply>& replies) {
        alerts_.clear();
        for (const Reply& reply : replies)
            server_.enqueue(reply);
        dragOver({file("cv.docx")});
        drop();
        EXPECT_TRUE(alerted());
        EXPECT_EQ(label(), "上传简历");
        return alerts_.join(' ') + ' ' + card().title()->text();
    };
    const Reply token = Reply::json(200, R"({"code":0,"data":"t"})");
    EXPECT_EQ(outcomeOf({Reply::json(200, R"({"code":1,"message":"no"})")}),
              "请求失败|无法获取上传凭证 无法获取上传凭证，点击重试");
    EXPECT_EQ(outcomeOf({token, Reply::json(200, "<html>")}), "上传失败|请求失败 cv.docx 上传失败，点击重试");
    EXPECT_EQ(outcomeOf({token, Reply::json(400, R"({"error":{}})"), Reply::json(200, R"({"code":1})")}),
              "上传失败| cv.docx 上传失败，点击重试");
    EXPECT_EQ(lastRequest().target, "/user/bind_resume/") << "an answer that is no file's has an empty id";
}

TEST_F(ResumeFlowTest, OnlyOneFileOfAnAllowedTypeIsTaken) {
    open();
    EXPECT_FALSE(dragOver({file("cv.txt")}));
    EXPECT_TRUE(card().title()->text().startsWith("不支持这种文件")) << card().title()->text().toStdString();
    leave();
    EXPECT_TRUE(card().title()->text().startsWith("不支持这种文件")) << "it can be read at leisure";
    EXPECT_FALSE(dragOver({file("a.pdf"), file("b.pdf")}));
    drop();
    EXPECT_EQ(card().title()->text(), "一次只能上传一个文件");
    EXPECT_FALSE(dragOver({directory_.path()}));
    leave();
    EXPECT_TRUE(dragOver({file("a.JPEG")}));
    EXPECT_EQ(card().title()->text(), "松开即可上传");
    leave();
    EXPECT_TRUE(card().title()->text().startsWith("文件格式支持")) << card().title()->text().toStdString();
    EXPECT_THAT(server_.requests(), IsEmpty());
}

TEST_F(ResumeFlowTest, AnUploadShowsHowFarItIsAndCanBeCancelled) {
    QTcpServer deaf; // takes what the system buffers for it, and not one byte more
    ASSERT_TRUE(deaf.listen(QHostAddress::LocalHost));
    deaf.pauseAccepting();
    open();
    flow().fileService = [&deaf] {
        return FileService{QUrl(QString("http://127.0.0.1:%1").arg(deaf.serverPort())), {}};
    };
    enqueue(R"({"code":0,"data":"t"})");
    const auto& bar = *card().findChild<QProgressBar*>();
    auto& cancel = *card().findChild<QPushButton*>();
    for (const bool byKey : {false, true}) {
        dragOver({file("cv.pdf", 2'000'000)});
        drop();
        ASSERT_TRUE(waitFor([&bar] { return bar.isVisible() && bar.maximum() > 0 && bar.value() > 0; }));
        EXPECT_LT(bar.value(), bar.maximum());
        EXPECT_EQ(label(), "已选择文件：cv.pdf");
        if (byKey)
            QTest::keyClick(&cancel, Qt::Key_Escape);
        else
            QTest::mouseClick(&cancel, Qt::LeftButton);
        EXPECT_FALSE(bar.isVisible());
        EXPECT_EQ(label(), "上传简历");
    }
    EXPECT_EQ(log_.linesWith("⚠️ 已取消上传：cv.pdf").size(), 2);
    EXPECT_THAT(log_.linesWith("❌"), IsEmpty());
    EXPECT_THAT(alerts_, IsEmpty());
}

} // namespace
} // namespace parlowen
