#include "support/BackendFixture.h"
#include "support/FakeCapture.h"
#include "support/WidgetTest.h"
#include <Foundation/NotificationCenter.h>
#include <Main/HomeLeftView.h>
#include <Main/TopBarView.h>
#include <Main/ViewController.h>
#include <Page/AIInterviewPages/AISettingViewController.h>
#include <Page/AIInterviewPages/SetupNotices.h>
#include <Page/View/InterviewTypeView.h>
#include <Page/View/SettingFields.h>
#include <PulseAudio/PulseClient.h>
#include <Tools/AudioRouting.h>
#include <Tools/PopView/CommonTipView.h>
#include <Tools/PopView/Popover.h>

namespace parlowen::testing {
namespace {

const LanguageListModel spanish{105, "西班牙语（西班牙）", "es-ES", "es", "X"};
const LanguageListModel english{135, "英语（美国）", "en-US", "en", "Y"};
const QByteArray lists =
    R"({"code":0,"data":[{"ID":105,"name":"西班牙语（西班牙）","original_key":"es-ES","translation_key":"es",)"
    R"("first_letters":"X"},{"ID":135,"name":"英语（美国）","original_key":"en-US","translation_key":"en",)"
    R"("first_letters":"Y"}]})";
const QByteArray nobody = R"({"code":0,"data":{"user":{}}})";

/// The setup page in its window, with real clicks and keys.
struct SetupPageTest : BackendFixture {
    struct NotedRouting : AudioRouting {
        void setupSystemAudio() override { asked << "system"; }
        void switchInput(bool useMicrophone) override { asked << (useMicrophone ? "microphone" : "loopback"); }
        void restoreDevices() override {}
        QStringList asked;
    };

    void open(const QByteArray& spoken = lists, const QByteArray& targets = lists) {
        const std::size_t before = server_.requests().size();
        for (const QByteArray& body : {nobody, spoken, targets})
            server_.enqueue(Reply::json(200, body));
        window_.showPage(setupPage);
        window_.show();
        window_.activateWindow();
        ASSERT_TRUE(waitForRequests(before + 3));
    }
    InterviewSettingViewController& page() const {
        return *qobject_cast<InterviewSettingViewController*>(window_.page());
    }
    void choose(PopUpButton* popup, int row) const {
        popup->setFocus();
        for (int i = 0; i < row; ++i)
            QTest::keyClick(popup, Qt::Key_Down);
    }
    bool said(const QString& line) const { return log_.lines().contains(line); }
    /// Opens the picker by a key and takes the first language that holds the text.
    void pick(ChoiceBox* box, const QString& text) {
        server_.enqueue(Reply::json(200, lists));
        box->setFocus();
        QTest::keyClick(box, Qt::Key_Return);
        auto* picker = qobject_cast<LanguageListViewController*>(page().popover()->contentView());
        ASSERT_TRUE(waitFor([picker] { return !picker->countryModels().empty(); }));
        picker->searchField()->setText(text);
        QTest::keyClick(picker->searchField(), Qt::Key_Return);
        EXPECT_FALSE(page().popover()->isVisible());
    }
    InterviewTypeView& types() { return *window_.topBar()->interviewTypeView(); }
    void openTypes() {
        window_.activateWindow();
        QTest::mouseClick(window_.topBar()->modeSwithButton(), Qt::LeftButton);
        ASSERT_TRUE(waitFor([this] { return types().isVisible(); }));
    }
    std::vector<bool> selected() {
        std::vector<bool> result;
        for (const InterviewContentView* option : types().options())
            result.push_back(option->isSelected() && option->selectImageView()->isVisible());
        return result;
    }
    void closeTypes(QPushButton* button) {
        QTest::mouseClick(button, Qt::LeftButton);
        ASSERT_TRUE(waitFor([this] { return !types().isVisible(); }));
    }
    CommonTipView* question() const { return window_.findChild<CommonTipView*>(); }
    LanguageNotice* notice(int number) const { return page().findChildren<LanguageNotice*>().at(number); }
    PageContext context() {
        SetupServices setup{&settings_, &http_, [this]() -> AudioRouting& { return routing_; },
                            [this](const SessionSound& sound) -> SessionWindow* {
                                started_.push_back(sound);
                                return nullptr;
                            }};
        setup.mayStart = [this] { return mayStart_; };
        setup.capture = [this](InputObserver observer) -> CaptureSourceFactory {
            meter_ = observer.meter;
            changed_ = observer.changed;
            return
                [input = input_]() -> std::unique_ptr<CaptureSource> { return std::make_unique<FakeCapture>(input); };
        };
        return {settings_, http_, setup};
    }

    std::shared_ptr<FakeInput> input_ = std::make_shared<FakeInput>();
    std::shared_ptr<InputMeter> meter_;
    std::function<void(const InputStatus&)> changed_;
    bool mayStart_ = true;
    NotedRouting routing_;
    std::vector<SessionSound> started_;
    HttpDatas http_{settings_, {}, {}};
    ViewController window_{context()};
};

TEST_F(SetupPageTest, TheFirstUseStoresDefaultsAndEachChoiceIsStoredAtOnce) {
    ASSERT_NO_FATAL_FAILURE(open());
    ASSERT_TRUE(waitFor([this] { return page().voiceLabel()->text() == "麦克风声音"; }));
    EXPECT_EQ(page().lelfLanguageLabel()->text(), "中文（简体）");
    EXPECT_EQ(page().rightLanguageLabel()->text(), "英语（美国）");
    EXPECT_EQ(settings_.aiInterviewSetModel(), AIInterviewModel());
    const LanguageListModel chinese{128, "中文（简体）", "zh-CN", "zh-Hans", "Z"};
    EXPECT_EQ(settings_.aiLangChinaModel(), chinese);
    EXPECT_EQ(settings_.aiLangLeftModel(), chinese);
    EXPECT_EQ(settings_.aiLangRightModel(), english);

    choose(page().stylePopup(), 1);
    choose(page().modePopup(), 1);
    EXPECT_EQ(settings_.aiInterviewSetModel(), (AIInterviewModel{{}, 0, 1, 1, 0, 14}));
    QTest::keyClick(page().modePopup(), Qt::Key_Return);
    EXPECT_TRUE(page().modePopup()->view()->isVisible()) << "a list opens by Enter as by Space";
    page().modePopup()->hidePopup();
    EXPECT_TRUE(said("回答风格选择：详细风格") && said("回答模式选择：手动回答"));
    ASSERT_NO_FATAL_FAILURE(pick(page().lelfLanguageLabel(), "英"));
    ASSERT_NO_FATAL_FAILURE(pick(page().rightLanguageLabel(), "西"));
    EXPECT_EQ(settings_.aiLangLeftModel(), english);
    EXPECT_EQ(settings_.aiLangRightModel(), spanish);
    EXPECT_EQ(settings_.aiLangChinaModel(), chinese) << "another type's";

    settings_.setAiInterviewType(1);
    ASSERT_NO_FATAL_FAILURE(open());
    EXPECT_EQ(page().stylePopup()->currentText(), "详细风格");
    EXPECT_FALSE(page().rightLanguageLabel()->isVisible() || page().outputLabel()->isVisible());
    ASSERT_NO_FATAL_FAILURE(pick(page().lelfLanguageLabel(), "西"));
    EXPECT_EQ(settings_.aiLangChinaModel(), spanish);
    EXPECT_EQ(settings_.aiLangLeftModel(), english);
}

TEST_F(SetupPageTest, ATypeIsStoredAndToldOnceTheBackendTookIt) {
    ASSERT_NO_FATAL_FAILURE(open());
    EXPECT_EQ(window_.topBar()->modeSwithButton()->text(), "AI面试");
    ASSERT_NO_FATAL_FAILURE(openTypes());
    EXPECT_THAT(selected(), ElementsAre(false, false, false));
    const std::size_t before = server_.requests().size();
    ASSERT_NO_FATAL_FAILURE(closeTypes(types().sureButton()));
    ASSERT_NO_FATAL_FAILURE(openTypes());
    QTest::mouseClick(types().options()[1], Qt::LeftButton);
    EXPECT_THAT(selected(), ElementsAre(false, true, false));
    ASSERT_NO_FATAL_FAILURE(closeTypes(types().skipButton()));
    EXPECT_EQ(server_.requests().size(), before) << "nothing was chosen, or it was skipped";

    for (const auto& [reply, stored] : {std::pair(R"({"code":0})", std::optional<qint64>()),
                                        {R"({"code":3,"message":"no"})", std::optional<qint64>()},
                                        {R"({"code":0,"message":"好"})", std::optional<qint64>(1)}}) {
        server_.enqueue(Reply::json(200, reply));
        const std::size_t asked = server_.requests().size();
        ASSERT_NO_FATAL_FAILURE(openTypes());
        EXPECT_THAT(selected(), ElementsAre(false, false, false)) << "a click that was skipped is forgotten";
        types().options()[0]->setFocus();
        QTest::keyClick(types().options()[0], Qt::Key_Return);
        ASSERT_NO_FATAL_FAILURE(closeTypes(types().sureButton()));
        ASSERT_TRUE(waitForRequests(asked + 1));
        EXPECT_TRUE(waitFor([&] { return settings_.aiInterviewType() == stored; }));
    }
    EXPECT_EQ(lastRequest().method + ' ' + lastRequest().target, "PUT /user/change_user_type/1");
    EXPECT_EQ(lastRequest().body, "");
    EXPECT_EQ(window_.topBar()->modeSwithButton()->text(), "国内面试AI");
    EXPECT_FALSE(page().rightLanguageLabel()->isVisible()) << "the page was told";
    EXPECT_TRUE(said("收到通知内容：1") && said("📤 模型切换"));
    ASSERT_NO_FATAL_FAILURE(openTypes());
    EXPECT_THAT(selected(), ElementsAre(true, false, false));
}

TEST_F(SetupPageTest, WhatTheBackendDoesNotOfferIsMarkedAndAskedAboutBeforeAStart) {
    ASSERT_NO_FATAL_FAILURE(open(lists, R"({"code":0,"data":[{"name":"法语","translation_key":"fr"}]})"));
    QTest::mouseClick(page().startButton(), Qt::LeftButton); // the lists are still on their way
    ASSERT_TRUE(waitFor([this] { return question() != nullptr || !started_.empty(); }));
    ASSERT_TRUE(started_.empty());
    page().startInterview(); // by the tray or a shortcut
    EXPECT_EQ(window_.findChildren<CommonTipView*>().size(), 1) << "it is asked once";
    EXPECT_TRUE(notice(0)->isVisible() && notice(1)->isVisible());
    EXPECT_TRUE(question()->contentLabel()->text().contains("不需要译文时"));
    QTest::keyClick(question(), Qt::Key_Escape);
    ASSERT_TRUE(waitFor([this] { return question() == nullptr; }));
    EXPECT_TRUE(started_.empty());
    QTest::mouseClick(notice(1)->insteadButton(), Qt::LeftButton);
    EXPECT_EQ(settings_.aiLangRightModel()->translation_key, "fr");
    EXPECT_FALSE(notice(1)->isVisible());
    settings_.setAiLangLeftModel(english); // that the translation is missing is enough
    settings_.setAiLangRightModel(english);
    ASSERT_NO_FATAL_FAILURE(open(lists, R"({"code":0,"data":[{"name":"法语","translation_key":"fr"}]})"));
    QTest::mouseClick(page().startButton(), Qt::LeftButton);
    ASSERT_TRUE(waitFor([this] { return question() != nullptr; }));
    QTest::mouseClick(question()->sureButton(), Qt::LeftButton);
    EXPECT_EQ(started_.size(), 1U);
    EXPECT_EQ(settings_.aiLangRightModel()->translation_key + settings_.aiLangLeftModel()->original_key, "fren-US");
}

TEST_F(SetupPageTest, AStartDoesNotWaitForAListThatDoesNotCome) {
    for (const Reply& reply : {Reply::json(200, nobody), Reply::silence()})
        server_.enqueue(reply);
    window_.showPage(setupPage);
    window_.show();
    ASSERT_TRUE(waitForRequests(3));
    QTest::mouseClick(page().startButton(), Qt::LeftButton);
    EXPECT_TRUE(started_.empty()) << "it may still come";
    EXPECT_TRUE(waitFor([this] { return started_.size() == 1; }));
    EXPECT_EQ(question(), nullptr);
}

TEST_F(SetupPageTest, AStartThatHearsNothingIsAskedAbout) {
    settings_.setAiLangLeftModel(english);
    ASSERT_NO_FATAL_FAILURE(open());
    InputStatus none;
    none.state = InputStatus::State::NoInput;
    changed_(none);
    const auto ask = [this] {
        QTest::mouseClick(page().startButton(), Qt::LeftButton);
        return waitFor([this] { return question() != nullptr; });
    };
    ASSERT_TRUE(ask());
    window_.showPage(setupPage);
    EXPECT_TRUE(waitFor([this] { return question() == nullptr; })) << "it goes with its page";
    ASSERT_NO_FATAL_FAILURE(open());
    changed_(none);
    for (const bool isAlone : {false, true}) {
        mayStart_ = true;
        ASSERT_TRUE(ask());
        mayStart_ = isAlone;
        QTest::mouseClick(question()->cancelButton(), Qt::LeftButton);
        EXPECT_EQ(started_.size(), isAlone ? 1U : 0U) << "all the same, but not beside another one";
        ASSERT_TRUE(waitFor([this] { return question() == nullptr; }));
    }
    ASSERT_TRUE(ask());
    QTest::mouseClick(question()->sureButton(), Qt::LeftButton);
    EXPECT_NE(qobject_cast<AISettingViewController*>(window_.page()), nullptr) << "where the source is chosen";
    EXPECT_EQ(settings_.aiInterviewSetModel()->deviceType, 1) << "and it has been";
}

TEST_F(SetupPageTest, AStartAsksTheRouterForTheStoredSourceOnceTheLanguageIsUnderstood) {
    ASSERT_NO_FATAL_FAILURE(open());
    QTest::mouseClick(page().startButton(), Qt::LeftButton);
    ASSERT_TRUE(waitFor([this] { return question() != nullptr; }));
    question()->sureButton()->setFocus();
    QTest::keyClick(question()->sureButton(), Qt::Key_Return);
    EXPECT_EQ(settings_.aiLangLeftModel(), english);
    EXPECT_THAT(started_, ElementsAre(SessionSound{}));
    EXPECT_FALSE(page().soundStrip()->isListening());
    EXPECT_EQ(routing_.asked, QStringList{"microphone"});
    EXPECT_TRUE(said("开始面试"));
    AIInterviewModel model;
    model.deviceType = 1;
    settings_.setAiInterviewSetModel(model);
    ASSERT_NO_FATAL_FAILURE(open());
    ASSERT_TRUE(waitFor([this] { return page().voiceLabel()->text() == "系统声音"; }));
    QTest::keyClick(page().startButton(), Qt::Key_Space);
    EXPECT_TRUE(waitFor([this] { return started_.size() == 2; }));
    EXPECT_EQ(started_.back(), (SessionSound{true, {}}));
    EXPECT_EQ(routing_.asked, (QStringList{"microphone", "system"}));
}

TEST_F(SetupPageTest, TheSoundIsMeteredWhileItIsInSightAlone) {
    AIInterviewModel model;
    model.deviceType = 1;
    settings_.setAiInterviewSetModel(model);
    settings_.setHeardProgram(QString("Firefox"));
    ASSERT_NO_FATAL_FAILURE(open());
    ASSERT_TRUE(waitFor([this] { return page().voiceLabel()->text() == "系统声音"; }));
    SoundStrip& strip = *page().soundStrip();
    EXPECT_EQ(strip.sound(), (SessionSound{true, "Firefox"}));
    EXPECT_EQ(strip.programPopup()->currentText(), "Firefox（未播放）");
    meter_->note(0.4F);
    EXPECT_TRUE(waitFor([&] { return strip.meter()->litBars() == LevelMeter::bars; }));
    EXPECT_TRUE(waitFor([&] { return strip.meter()->litBars() == 0; })) << "it falls when it is quiet";
    choose(strip.programPopup(), 0);
    QTest::keyClick(strip.programPopup(), Qt::Key_Up);
    EXPECT_EQ(settings_.heardProgram(), std::nullopt);
    EXPECT_EQ(strip.sound(), (SessionSound{true, {}}));
    EXPECT_EQ(PulseClient::shared()->route()->choice()->name, "") << "all is heard now";
    window_.hide();
    EXPECT_EQ(input_->alive, 0);
    settings_.setAiInterviewSetModel(AIInterviewModel());
    const int starts = input_->starts;
    window_.show();
    EXPECT_EQ(input_->alive, 1);
    EXPECT_TRUE(waitFor([&] { return input_->starts == starts + 2; })) << "anew for the microphone";
}

TEST_F(SetupPageTest, TheSettingsTakeItsPlaceAndTheSidebarShowsSo) {
    ASSERT_NO_FATAL_FAILURE(open());
    const auto* hint = page().findChild<PersonalNotice*>();
    ASSERT_TRUE(waitFor([hint] { return hint->isVisible(); })) << "nothing personal is there";
    NotificationCenter::shared().post("AiSettingNotification", nullptr, {{"message", 1}});
    ASSERT_NE(qobject_cast<InterviewSettingViewController*>(window_.page()), nullptr) << "that is no text";
    QTest::mouseClick(page().settingsButton(), Qt::LeftButton);
    EXPECT_NE(qobject_cast<AISettingViewController*>(window_.page()), nullptr);
    EXPECT_TRUE(said("打开设置") && said("收到通知内容：打开设置"));
    HomeLeftView& column = *window_.sidebar()->leftView();
    EXPECT_TRUE(column.settingBtn()->isHighlighted());
    EXPECT_FALSE(column.toolBtn()->isHighlighted());
    settings_.remove("aiInterviewSetModel");
    window_.showPage(aiSettingsPage);
    EXPECT_EQ(settings_.aiInterviewSetModel(), AIInterviewModel()) << "so that choices made there first are kept";
}

} // namespace
} // namespace parlowen::testing
