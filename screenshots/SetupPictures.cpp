#include "Sheet.h"

#include "support/BackendFixture.h"
#include "support/FakeCapture.h"
#include "support/SimulatedAudioServer.h"

#include <CoreAudio/AudioHardwareService.h>
#include <Main/TopBarView.h>
#include <Main/ViewController.h>
#include <Page/View/InterviewTypeView.h>
#include <Page/View/SettingFields.h>
#include <Tools/AudioRouting.h>
#include <Tools/PopView/CommonTipView.h>
#include <Tools/PopView/PopView.h>
#include <Tools/PopView/Popover.h>

#include <QApplication>
#include <QLabel>
#include <QPushButton>
#include <QTest>
#include <QToolButton>

namespace parlowen::screenshots {
namespace {

using namespace ::parlowen::testing;

const QByteArray bothLists =
    R"({"code":0,"data":[{"ID":105,"name":"西班牙语（西班牙）","original_key":"es-ES","translation_key":"es"},)"
    R"({"ID":135,"name":"英语（美国）","original_key":"en-US","translation_key":"en"}]})";
const QByteArray profile =
    R"({"code":0,"data":{"user":{"resume":{"resume_id":"7","resume_name":"简历.pdf","created_at":"2026-01-01"}}}})";

/// The setup page in the main window, against a scripted backend, hearing a made-up device.
class SetupPictures : public BackendFixture {
protected:
    SetupPictures() { AudioHardwareService::install(std::make_shared<SimulatedAudioServer>()); }

    /// `user` is the answer to the profile, `lists` to each list of languages.
    void open(const QByteArray& lists, const QByteArray& user = R"({"code":0,"data":{"user":{}}})") {
        for (const QByteArray& body : {user, lists, lists})
            server_.enqueue(Reply::json(200, body));
        window_.showPage(setupPage);
        window_.show();
        window_.activateWindow();
        ASSERT_TRUE(waitForRequests(3));
        ASSERT_TRUE(waitFor([this] { return page().lelfLanguageLabel()->isVisible(); }));
        QTest::qWait(300); // the replies, and the focus that is taken away
        level(0.1F);
    }
    InterviewSettingViewController& page() const {
        return *qobject_cast<InterviewSettingViewController*>(window_.page());
    }
    CaptureSourceFactory capture(InputObserver observer) {
        observer_ = std::move(observer);
        return [input = input_]() -> std::unique_ptr<CaptureSource> { return std::make_unique<FakeCapture>(input); };
    }
    void hears(InputKind kind, const QString& name) {
        InputStatus status;
        status.state = InputStatus::State::Listening;
        status.kind = kind;
        status.name = name;
        status.heardSound = true;
        tell(status);
    }
    void tell(const InputStatus& status) {
        observer_.changed(status);
        QTest::qWait(20);
    }
    void level(float peak) {
        ASSERT_TRUE(waitFor([&] {
            observer_.meter->note(peak);
            return page().soundStrip()->meter()->litBars() > 4;
        }));
    }
    void store(qint64 device, const QString& position = {}) {
        AIInterviewModel model;
        model.deviceType = device;
        model.positioname = position;
        settings_.setAiInterviewSetModel(model);
    }
    void take(const QString& caption, const QSize& size = {650, 470}) {
        Sheet::shared().section("Setup page");
        window_.resize(size);
        QTest::qWait(50);
        Sheet::shared().add(caption, window_);
    }
    PageContext context() {
        SetupServices setup{&settings_, &http_, [this]() -> AudioRouting& { return routing_; }, {}, {}};
        setup.capture = [this](InputObserver observer) { return capture(std::move(observer)); };
        return {settings_, http_, setup};
    }

    std::shared_ptr<FakeInput> input_ = std::make_shared<FakeInput>();
    InputObserver observer_;
    NoAudioRouting routing_;
    HttpDatas http_{settings_, {}, {}};
    ViewController window_{context()};
};

TEST_F(SetupPictures, FirstUse) {
    ASSERT_NO_FATAL_FAILURE(open(bothLists));
    hears(InputKind::Microphone, "USB Microphone");
    take("first use: a language that is not offered, nothing personal yet");
    take("the same in the smallest window", {600, 400});
    take("the same in a wide window", {1200, 700});
    page().startButton()->click();
    QTest::qWait(350);
    take("a start that would not be understood is asked about", {650, 470});
}

TEST_F(SetupPictures, AllSet) {
    settings_.setAiInterviewType(1);
    settings_.setAiLangChinaModel(LanguageListModel{135, "英语（美国）", "en-US", "en", "Y"});
    store(1, "后端工程师");
    ASSERT_NO_FATAL_FAILURE(open(bothLists, profile));
    hears(InputKind::SystemSound, "内置扬声器 Analog Stereo");
    level(0.2F);
    take("all is set: the computer's sound, one language");
    page().stylePopup()->setFocus();
    take("the keyboard on the style");
    InputStatus none;
    none.state = InputStatus::State::NoInput;
    tell(none);
    take("nothing to hear");
}

TEST_F(SetupPictures, PickerAndTypes) {
    ASSERT_NO_FATAL_FAILURE(open(bothLists));
    hears(InputKind::Microphone, "USB Microphone");
    page().lelfLanguageLabel()->setFocus();
    QTest::keyClick(page().lelfLanguageLabel(), Qt::Key_Return);
    QTest::qWait(200);
    Sheet::shared().section("Setup page");
    Sheet::shared().add("the picker, opened by a key", *page().popover());
    page().popover()->close();
    window_.activateWindow();
    settings_.setAiInterviewType(2);
    window_.topBar()->modeSwithButton()->click();
    QTest::qWait(350);
    take("the types of interviews");
    QTest::keyClick(QApplication::focusWidget(), Qt::Key_Tab);
    take("as low as it gets, by keys", {650, 400});
}

TEST_F(SetupPictures, DarkDesktopAndSettings) {
    const QPalette before = QApplication::palette();
    QApplication::setPalette(QPalette(QColor(45, 45, 48), QColor(32, 32, 34)));
    ASSERT_NO_FATAL_FAILURE(open(bothLists));
    hears(InputKind::Microphone, "USB Microphone");
    take("on a dark desktop");
    page().modePopup()->showPopup();
    QTest::qWait(100);
    Sheet::shared().add("an open pop-up button", *QApplication::activePopupWidget());
    page().modePopup()->hidePopup();
    page().soundStrip()->checkButton()->click();
    QTest::qWait(350);
    take("the sound check");
    QApplication::setPalette(before);
    closeCurrentPopView();
    QTest::qWait(400);
    page().settingsButton()->click();
    take("the settings");
}

} // namespace
} // namespace parlowen::screenshots
