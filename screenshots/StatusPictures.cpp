#include "Sheet.h"

#include <Page/AIInterviewPages/StatusChip.h>
#include <Page/AIInterviewPages/WindowRig.h>

namespace parlowen::screenshots {
namespace {

using parlowen::testing::waitFor;
using Cause = RecognitionStatus::Cause;
using Input = InputStatus::State;
using Recognition = RecognitionStatus::State;

struct Look {
    const char* caption;
    InputStatus input;
    RecognitionStatus recognition;
    float peak = 0;
};

InputStatus input(Input state, InputKind kind = InputKind::SystemSound, const char* name = "内置音频 模拟立体声") {
    InputStatus status;
    status.state = state;
    status.kind = kind;
    status.name = QString::fromUtf8(name);
    return status;
}

InputStatus with(const std::function<void(InputStatus&)>& change) {
    InputStatus status = input(Input::Listening);
    change(status);
    return status;
}

std::vector<Look> looks() {
    const RecognitionStatus runs{Recognition::Recognizing, Cause::None, {}, 0};
    return {
        {"opening", input(Input::Opening), {}},
        {"connecting", input(Input::Listening), {}, 0.01F},
        {"the computer's sound, loud", input(Input::Listening), runs, 0.5F},
        {"a microphone, soft", input(Input::Listening, InputKind::Microphone, "USB 耳机"), runs, 0.02F},
        {"one program", input(Input::Listening, InputKind::Application, "Firefox"), runs, 0.1F},
        {"quiet", with([](InputStatus& status) { status.quietSeconds = 34; }), runs},
        {"muted", with([](InputStatus& status) { status.muted = true; }), runs},
        {"too loud", with([](InputStatus& status) { status.clipping = true; }), runs, 1.0F},
        {"elsewhere", with([](InputStatus& status) {
             status.elsewhereUID = "sink.2";
             status.elsewhereName = "USB 耳机";
         }),
         runs},
        {"input lost", input(Input::InputLost), runs},
        {"no input", input(Input::NoInput, InputKind::Microphone, ""), runs},
        {"audio server lost", with([](InputStatus& status) {
             status.state = Input::ServerLost;
             status.problem = "Connection terminated";
         }),
         runs},
        {"refused", input(Input::Refused), runs},
        {"reconnecting",
         input(Input::Listening),
         {Recognition::Reconnecting, Cause::NoNetwork, {"Host not found", "找不到主机：请检查网络"}, 12},
         0.1F},
        {"local service", input(Input::Listening), {Recognition::Reconnecting, Cause::LocalServiceStarts, {}, 3}, 0.1F},
        {"stopped",
         input(Input::Listening),
         {Recognition::Stopped, Cause::TokenRefused, {"1006", "WebSocket 关闭代码 1006"}, 0},
         0.1F},
    };
}

class StatusPictures : public WindowRig {
protected:
    StatusPictures() {
        single();
        start();
        page().windowWillClose(); // what is so comes from here alone
        chip_ = window_->findChild<StatusChip*>("statusChip");
    }
    /// Waits until the meter shows the level.
    void put(const Look& look) {
        status_.setInput(look.input);
        status_.setRecognition(look.recognition);
        ASSERT_TRUE(waitFor([&] {
            status_.meter()->note(look.peak);
            return look.peak == 0 || !chip_->isMetering() || chip_->litBars() > 0;
        }));
        window_->resize(780, 500);
        Sheet::shared().add(look.caption, *window_, QRect(0, 0, 660, 56));
    }

    StatusChip* chip_ = nullptr;
};

TEST_F(StatusPictures, EachState) {
    Sheet::shared().section("Status of a session");
    for (const Look& look : looks())
        ASSERT_NO_FATAL_FAILURE(put(look));
}

TEST_F(StatusPictures, DetailsAndTheSmallestWindow) {
    Sheet::shared().section("Status of a session, its details");
    for (const Look& look : looks()) {
        if (sessionStatusText(look.input, look.recognition, Language::Chinese).advice.isEmpty())
            continue;
        status_.setInput(look.input);
        status_.setRecognition(look.recognition);
        chip_->click();
        auto* details = window_->findChild<QWidget*>("statusDetails");
        ASSERT_NE(details, nullptr);
        Sheet::shared().add(look.caption, *details);
        details->close();
        ASSERT_TRUE(waitFor([this] { return window_->findChild<QWidget*>("statusDetails") == nullptr; }));
    }
    window_->resize(window_->minimumSize());
    window_->activateWindow();
    chip_->setFocus(Qt::TabFocusReason);
    ASSERT_TRUE(waitFor([this] { return chip_->hasFocus(); }));
    Sheet::shared().add("the smallest window, with the keyboard on it", *window_, QRect(0, 0, 480, 56));
}

} // namespace
} // namespace parlowen::screenshots
