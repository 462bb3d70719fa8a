#pragma once

#include "SessionRig.h"
#include "support/WidgetTest.h"
#include <Foundation/MainQueue.h>
#include <Page/AIInterviewPages/SessionWindow.h>
#include <Page/View/ReadingList.h>

namespace parlowen {

/// The same session, shown in its window.
struct WindowRig : SessionRig {
    ~WindowRig() override { window_.reset(); }
    void start() override {
        window_.reset();
        waitForBackground();
        window_ = std::make_unique<SessionWindow>(makeSession());
        window_->show();
        bool settled = false; // a page takes the focus away a moment after it was loaded
        onMainAfter(0.1, [&settled] { settled = true; });
        ASSERT_TRUE(testing::waitFor([&settled] { return settled; }));
    }
    void close() override {
        window_->end();
        waitForBackground();
    }
    void openActive(int answerType = 0) {
        single();
        settings_.setAiInterviewSetModel(interview(answerType));
        open();
        becomeActive();
    }
    void becomeActive() {
        window_->activateWindow();
        ASSERT_TRUE(testing::waitFor([this] { return window_->isActiveWindow(); }));
    }
    void press(Qt::Key key, Qt::KeyboardModifiers modifiers = Qt::NoModifier) {
        QWidget* focused = QApplication::focusWidget();
        QTest::keyClick(focused != nullptr ? focused : window_.get(), key, modifiers);
    }
    AIInterviewDetailController& page() override { return *window_->controller(); }
    template<class Widget = QWidget>
    Widget& part(const char* name) {
        return *window_->findChild<Widget*>(name);
    }
    ReadingList& transcript() { return part<ReadingList>("topTableView"); }
    ReadingList& answers() { return part<ReadingList>("bottomTableView"); }
    QPlainTextEdit& box() { return part<QPlainTextEdit>("textView"); }
    QPushButton& answerButton() { return part<QPushButton>("aiResponseButton"); }
    static std::string shown(const ReadingList& list, int row, int role = Qt::DisplayRole) {
        return list.model()->index(row, 0).data(role).toString().toStdString();
    }

    std::unique_ptr<SessionWindow> window_;
};

} // namespace parlowen
