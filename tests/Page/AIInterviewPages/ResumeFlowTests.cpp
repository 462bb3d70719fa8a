
#include "SettingsRig.h"

namespace parlowen::testing {
namespace {

class ResumeFlowTest : public SettingsRig {
protected:
    QString label() const { return card().updateLabel()->text(); }
    QString notice() const { return card().title()->text(); }
    bool panelOpens() {
        server_.enqueue(token_);
        QTest::mouseClick(card().childAt(5, 5), Qt::LeftButton);
        return waitFor([this] { return flow().panel() != nullptr && flow().panel()->isVisible(); });
    }

    const Reply token_ = Reply::json(200, R"({"code":0,"data":"credential"})");
};

TEST_F(ResumeFlowTest, AChosenFileIsUploadedBoundAndShownAlsoTheNextTime) {
    open();
    ASSERT_TRUE(panelOpens());
    EXPECT_EQ(flow().panel()->windowTitle(), "选择简历文件");
    EXPECT_EQ(flow().panel()->windowModality(), Qt::NonModal);
    flow().panel()->reject();
    ASSERT_TRUE(waitFor([this] { return flow().panel() == nullptr; }));
    EXPECT_EQ(page_->updateToken() + label(), "credential上传简历");

    ASSERT_TRUE(panelOpens());
    for (const char* reply : {R"({"id":"file-abc","filename":"CV.pdf"})", R"({"code":0})",
                              R"({"code":0,"data":{"user":{"resume":{"resume_name":"CV.PDF"}}}})"})
        server_.enqueue(Reply::json(200, reply));
    auto* field = flow().panel()->findChild<QLineEdit*>("fileNameEdit");
    field->setText(file("CV.PDF"));
    QTest::keyClick(field, Qt::Key_Return);
    EXPECT_EQ(label(), "已选择文件：CV.PDF");
    ASSERT_TRUE(waitFor([this] { return settings_.userInfo().has_value(); }));
    EXPECT_EQ(alerts_, QStringList{"上传成功|文件 CV.pdf 已成功上传"});
    QByteArrayList targets;
    for (const auto& request : server_.requests())
        targets << request.method + request.target;
    EXPECT_EQ(targets, (QByteArrayList{"GET/ai/token", "GET/ai/token", "POST/files", "POST/user/bind_resume/file-abc",
                                       "GET/user/info"}));
    EXPECT_EQ(server_.requests()[2].header("Authorization"), "Bearer credential");
    EXPECT_EQ(label(), "已选择文件：CV.PDF");
    open();
    EXPECT_EQ(label(), "已选择文件：CV.PDF");
}

TEST_F(ResumeFlowTest, EachFailureIsSaidInAnAlertAndOnTheCard) {
    open();
    const auto failureOf = [this](const QList<Reply>& replies, qint64 size = 1000) {
        for (const Reply& reply : replies)
            server_.enqueue(reply);
        const QString alert = outcomeOf(file("cv.docx", size));
        return alert + ' ' + label() + ' ' + notice();
    };
    EXPECT_EQ(failureOf({Reply::json(200, R"({"code":1,"message":"no"})")}),
              "请求失败|无法获取上传凭证 上传简历 无法获取上传凭证，点击重试");
    EXPECT_EQ(failureOf({token_, Reply::json(200, "<html>")}), "上传失败|请求失败 上传简历 cv.docx 上传失败，点击重试");
    EXPECT_EQ(failureOf({token_, Reply::json(200, "<html>")}, 40'000'000),
              "上传失败|请求失败 上传简历 cv.docx 上传失败：文件可能太大（40.0 MB）");
    EXPECT_EQ(failureOf({token_, Reply::json(400, R"({"error":{}})"), Reply::json(200, R"({"code":1})")}),
              "上传失败| 上传简历 cv.docx 上传失败，点击重试");
    EXPECT_EQ(lastRequest().target, "/user/bind_resume/") << "an answer that is no file's has an empty id";
}

TEST_F(ResumeFlowTest, OnlyOneFileOfAnAllowedTypeIsTaken) {
    open();
    EXPECT_FALSE(dragOver({file("cv.txt")}));
    leave();
    EXPECT_TRUE(notice().startsWith("不支持这种文件")) << "it can be read at leisure";
    EXPECT_FALSE(dragOver({file("a.pdf"), file("b.pdf")}));
    EXPECT_FALSE(drag<QDropEvent>());
    EXPECT_EQ(notice(), "一次只能上传一个文件");
    EXPECT_FALSE(dragOver({directory_.path()}));
    leave();
    EXPECT_TRUE(dragOver({file("a.JPEG")}));
    EXPECT_EQ(notice(), "松开即可上传");
    leave();
    EXPECT_TRUE(notice().startsWith("文件格式支持")) << notice().toStdString();
    EXPECT_THAT(server_.requests(), IsEmpty());
}

TEST_F(ResumeFlowTest, AnUploadShowsHowFarItIsAndCanBeCancelled) {
    QTcpServer deaf; // takes what the system buffers for it
    ASSERT_TRUE(deaf.listen(QHostAddress::LocalHost));
    deaf.pauseAccepting();
    open();
    flow().fileService = [url = QUrl(QString("http://127.0.0.1:%1").arg(deaf.serverPort()))] {
        return FileService{url, {}};
    };
    server_.enqueue(token_);
    const auto& bar = *card().findChild<QProgressBar*>();
    auto& cancel = *card().findChild<QPushButton*>();
    for (const bool byKey : {false, true}) {
        EXPECT_TRUE(dragOver({file("cv.pdf", 20'000'000)}) && drag<QDropEvent>());
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
    EXPECT_THAT(flow().findChildren<ResumeUpload*>(), IsEmpty());
    EXPECT_THAT(log_.linesWith("❌") + alerts_, IsEmpty());

    server_.enqueue(Reply::eventStream()); // the credential comes too late
    const std::size_t before = server_.requests().size();
    QTest::mouseClick(card().childAt(5, 5), Qt::LeftButton);
    ASSERT_TRUE(waitForRequests(before + 1));
    QTest::keyClick(&cancel, Qt::Key_Escape);
    server_.sendPiece(R"({"code":0,"message":"late","data":"other"})");
    server_.endStream();
    ASSERT_TRUE(waitFor([this] { return log_.lines().back().contains("late"); }));
    EXPECT_EQ(page_->updateToken(), "credential");
    EXPECT_EQ(flow().panel(), nullptr);
}

} // namespace
} // namespace parlowen::testing
