#include <Login/CaptchaProcess.h>
#include <Login/CaptchaViewController.h>

#include <QApplication>
#include <QDir>
#include <QFile>
#include <QPushButton>
#include <QTest>

#include "support/BackendFixture.h"

namespace parlowen::testing {
namespace {

/// The web engine's processes of this user's that run now.
int engineProcesses() {
    const QStringList ids = QDir("/proc").entryList({"[1-9]*"}, QDir::Dirs);
    return static_cast<int>(std::count_if(ids.begin(), ids.end(), [](const QString& id) {
        QFile line("/proc/" + id + "/cmdline");
        return line.open(QFile::ReadOnly) && line.readAll().contains("QtWebEngineProcess");
    }));
}

/// A real web engine on pages of the test's own.
class CaptchaPageTest : public BackendFixture {
protected:
    static Reply page(const QByteArray& html) {
        return {"HTTP/1.1 200 OK\r\nContent-Type: text/html\r\nContent-Length: " + QByteArray::number(html.size()) +
                "\r\n\r\n" + html};
    }
    QUrl url() const { return QUrl(server_.baseUrl() + "/"); }
    /// Opens the page in this process.
    void open(const QByteArray& html) {
        server_.enqueue(page("<!doctype html><meta charset=utf-8><body style='margin:0'>" + html));
        captcha_ = CaptchaViewController::open(url());
        captcha_->onValidateReceived = [this](const QString& validate) { results_ << validate; };
        ASSERT_NE(captcha_->webView(), nullptr);
        ASSERT_TRUE(
            waitFor([this] { return !log_.linesWith("✅ 页面加载完成: " + url().toString()).isEmpty(); }, 30'000));
    }

    QPointer<CaptchaViewController> captcha_;
    QStringList results_;
};

const QByteArray posting =
    "<script>const post = body => webkit.messageHandlers.captchaHandler.postMessage(body);</script>";

TEST_F(CaptchaPageTest, ARealDragSolvesThePageAndItsWindowGoes) {
    open(posting + R"(<div id=knob style="position:absolute;left:20px;top:200px;width:60px;height:60px"></div><script>
        post(undefined); // before the page stands
        let trace = null;
        knob.onmousedown = () => trace = [];
        onmousemove = event => trace && trace.push(event.clientX);
        onmouseup = event => post({type: "success", data: {validate: trace.length > 0 ? "at " + event.clientX : 5}});
    </script>)");
    ASSERT_TRUE(
        waitFor([this] { return log_.lines().contains("⚠️ 解析失败，数据格式不符合预期: null"); }));
    QWidget* const drawn = captcha_->webView()->focusProxy();
    ASSERT_NE(drawn, nullptr);
    // What happens before the page has been drawn for the first time reaches nothing of it.
    for (int attempt = 0; attempt < 60 && results_.isEmpty(); ++attempt) {
        QTest::mousePress(drawn, Qt::LeftButton, {}, {50, 230});
        for (int x = 50; x <= 250; x += 20)
            QTest::mouseMove(drawn, {x, 230}, 5);
        QTest::mouseRelease(drawn, Qt::LeftButton, {}, {250, 230});
        waitFor([this] { return !results_.isEmpty(); }, 500);
    }
    ASSERT_TRUE(waitFor([this] { return captcha_.isNull(); }, 30'000));
    EXPECT_EQ(results_, QStringList{"at 250"});
}

TEST_F(CaptchaPageTest, ThePageCannotLeaveItsHostOpenWindowsOrSave) {
    ScriptedHttpServer elsewhere;
    elsewhere.enqueue(page(posting + R"(<script>post({type: "success", data: {validate: "foreign"}})</script>)"));
    const QByteArray other = elsewhere.baseUrl().toUtf8();
    open(posting + R"(<img src=")" + other + R"(/picture"><iframe src=")" + other + R"(/frame"></iframe>
        <a id=save download="x" href="/file"></a><script>
        const opened = String(window.open(")" +
         other + R"(/window"));
        save.click();
        fetch(")" +
         other + R"(/fetch", {mode: "no-cors"}).catch(error => post({type: "fetch " + opened}));
        setTimeout(() => { location = ")" +
         other + R"(/page"; setTimeout(() => post({type: "still"}), 200); }, 200);
    </script>)");
    ASSERT_TRUE(waitFor([this] { return log_.linesWith("⚠️").join("").contains("still"); }, 30'000));
    EXPECT_TRUE(log_.linesWith("⚠️").join("").contains("fetch null"));
    EXPECT_TRUE(elsewhere.requests().empty());
    EXPECT_TRUE(results_.isEmpty());
    EXPECT_EQ(QApplication::topLevelWidgets().count(captcha_->window()), 1);
    EXPECT_TRUE(QDir(QDir::homePath()).entryList(QDir::Files).isEmpty());
    captcha_->window()->close();
    EXPECT_TRUE(waitFor([this] { return captcha_.isNull(); }));
}

/// In a process of its own, as the program shows it.
TEST_F(CaptchaPageTest, TheEngineRunsWhileTheWindowIsOpenAndNoLonger) {
    const int before = engineProcesses();
    server_.enqueue(page("<script>setTimeout(() => webkit.messageHandlers.captchaHandler.postMessage("
                         R"({type: "success", data: {validate: "abc"}}), 300)</script>)"));
    auto* captcha = new CaptchaProcess(CaptchaProcess::commandFor(url()), &server_);
    int during = 0;
    bool closed = false;
    captcha->onValidateReceived = [&](const QString& validate) {
        results_ << validate;
        during = engineProcesses();
    };
    captcha->onClosed = [&] { closed = true; };
    ASSERT_TRUE(waitFor([&] { return closed; }, 30'000));
    EXPECT_EQ(results_, QStringList{"abc"});
    EXPECT_GT(during, before);
    EXPECT_TRUE(waitFor([&] { return engineProcesses() == before; }));

    // The user gives up; then the sign-in page goes.
    server_.enqueue(page("nothing"));
    captcha = new CaptchaProcess(CaptchaProcess::commandFor(url()), &server_);
    ASSERT_TRUE(waitForRequests(2));
    delete captcha;
    EXPECT_TRUE(waitFor([&] { return engineProcesses() == before; }));
}

} // namespace
} // namespace parlowen::testing

int main(int argc, char** argv) {
    using parlowen::CaptchaProcess;
    if (const auto page = CaptchaProcess::pageOf(argc, argv))
        return CaptchaProcess::host(*page, argc, argv);
    ::testing::InitGoogleMock(&argc, argv);
    QCoreApplication::setAttribute(Qt::AA_ShareOpenGLContexts);
    const QApplication application(argc, argv);
    return RUN_ALL_TESTS();
}
