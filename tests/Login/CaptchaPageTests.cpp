#include <Login/CaptchaProcess.h>
#include <Login/CaptchaViewController.h>
#include <Login/LoginViewController.h>
#include <Main/LocalService.h>
#include <Network/ImageLoader.h>

#include <QWebEngineView>

#include "support/BackendFixture.h"
#include "support/WidgetTest.h"

namespace parlowen::testing {
namespace {

/// The web engine's processes that have come of this one, told by a variable of its environment.
int engineProcesses() {
    static const QByteArray mark = "ENGINE_OF=" + QByteArray::number(QCoreApplication::applicationPid());
    qputenv("ENGINE_OF", QByteArray::number(QCoreApplication::applicationPid()));
    const QStringList ids = QDir("/proc").entryList({"[1-9]*"}, QDir::Dirs);
    return static_cast<int>(std::count_if(ids.begin(), ids.end(), [](const QString& id) {
        const auto contains = [&](const char* file, const QByteArray& what) {
            QFile content("/proc/" + id + file);
            return content.open(QFile::ReadOnly) && content.readAll().contains(what);
        };
        return contains("/cmdline", "QtWebEngineProcess") && contains("/environ", mark + '\0');
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

/// The real service with sign-in by code and its real page.
class CodeSignInTest : public CaptchaPageTest {
protected:
    void start() {
        service_.start(PARLOWEN_BINARY_DIR "/bin/parlowen-service",
                       {"--login-method", "code", "--listen", "127.0.0.1:0", "--captcha-listen", "127.0.0.1:0",
                        "--data", directory_.filePath("data"), "--exit-with-stdin"});
        service_.setReadChannel(QProcess::StandardOutput);
    }
    ~CodeSignInTest() override {
        service_.closeWriteChannel();
        service_.waitForFinished();
    }
    /// What the service prints in the place of the pattern's group.
    QString printed(const QString& pattern) {
        QRegularExpressionMatch match;
        EXPECT_TRUE(waitFor(
            [&] {
                output_ += service_.readAll();
                match = QRegularExpression(pattern).match(output_);
                return match.hasMatch();
            },
            40'000))
            << output_.toStdString();
        return match.captured(1).trimmed();
    }
    QString asked(const QString& script) const {
        std::optional<QString> answer;
        static_cast<QWebEngineView*>(captcha_->webView())->page()->runJavaScript(script, [&](const QVariant& value) {
            answer = value.toString();
        });
        EXPECT_TRUE(waitFor([&] { return answer.has_value(); }));
        return answer.value_or(QString());
    }
    /// What somebody types who reads "第2、1个数字：五、三": the digits at those places.
    static QString read(const QString& question) {
        const QString words = "零一二三四五六七八九";
        const QString places = question.section("：", 0, 0);
        QString shown;
        for (const QChar word : question.section("：", 1))
            if (words.contains(word))
                shown += QString::number(words.indexOf(word));
        QString typed;
        for (const QChar place : places)
            if (place.digitValue() > 0)
                typed += shown.at(place.digitValue() - 1);
        return typed;
    }

    QProcess service_;
    QString output_;
};

TEST_F(CodeSignInTest, ThePageIsSolvedByKeys) {
    start();
    captcha_ = CaptchaViewController::open(QUrl(printed("captcha on (.*)")));
    captcha_->onValidateReceived = [this](const QString& validate) { results_ << validate; };
    ASSERT_TRUE(waitFor([this] { return !asked("part('question').textContent").isEmpty(); }, 30'000));
    QWidget* const drawn = captcha_->webView()->focusProxy();
    asked("part('other').focus()");
    QTest::keyClick(drawn, Qt::Key_Space);
    ASSERT_TRUE(waitFor([this] { return asked("document.activeElement.id") == "text"; }));
    EXPECT_TRUE(holdsFor([this] { return results_.isEmpty(); }, 3'300)) << "the time to read it";
    QTest::keyClicks(drawn, read(asked("part('question').textContent")));
    QTest::keyClick(drawn, Qt::Key_Return);
    ASSERT_TRUE(waitFor([this] { return results_.size() == 1; }, 30'000))
        << asked("part('status').textContent").toStdString();
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
