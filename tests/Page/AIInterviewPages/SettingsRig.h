#pragma once

#include "support/WidgetTest.h"
#include <Page/AIInterviewPages/AISettingViewController.h>
#include <Page/AIInterviewPages/ResumeFlow.h>
#include <Page/View/CardButton.h>
#include <Page/View/PositionView.h>
#include <Page/View/UpdateResumeView.h>
#include <Tools/PopView/ElidedLabel.h>
#include <support/BackendFixture.h>

namespace parlowen {

/// The settings page in a window of its own, against a scripted backend that is the file service too.
struct SettingsRig : testing::BackendFixture {
    void open(const std::optional<AIInterviewModel>& stored = AIInterviewModel(), QSize size = {640, 560}) {
        settings_.setAiInterviewSetModel(stored);
        window_ = std::make_unique<QWidget>();
        page_ = new AISettingViewController(settings_, http_, window_.get());
        window_->resize(size);
        page_->resize(size);
        window_->show();
        window_->activateWindow();
        ASSERT_TRUE(QTest::qWaitForWindowActive(window_.get()));
        flow().showAlert = [this](const QString& title, const QString& text) { alerts_ << title + "|" + text; };
        flow().fileService = [this] { return FileService{QUrl(server_.baseUrl() + "/files"), {}}; };
    }
    ResumeFlow& flow() const { return *page_->resumeFlow(); }
    UpdateResumeView& card() const { return *page_->updateResumeView(); }
    QString file(const QString& name, qint64 size = 1000) const {
        QFile file(directory_.filePath(name));
        EXPECT_TRUE(file.open(QIODevice::WriteOnly) && file.resize(size));
        return file.fileName();
    }
    template<class Event>
    bool drag() {
        Event event({20, 20}, Qt::CopyAction, &dragged_, Qt::LeftButton, {});
        QApplication::sendEvent(&card(), &event);
        return event.isAccepted();
    }
    /// Moves these files over the card; whether it would take them.
    bool dragOver(const QStringList& paths) {
        QList<QUrl> urls;
        for (const QString& path : paths)
            urls << QUrl::fromLocalFile(path);
        dragged_.setUrls(urls);
        return drag<QDragEnterEvent>() && drag<QDragMoveEvent>();
    }
    void leave() const {
        QDragLeaveEvent leave;
        QApplication::sendEvent(&card(), &leave);
    }
    QString outcomeOf(const QString& path) {
        alerts_.clear();
        EXPECT_TRUE(dragOver({path}) && drag<QDropEvent>());
        EXPECT_TRUE(testing::waitFor([this] { return !alerts_.isEmpty(); }, 60'000));
        return alerts_.join(' ');
    }

    HttpDatas http_{settings_, {}, {}};
    QStringList alerts_; ///< title|text
    QMimeData dragged_;
    std::unique_ptr<QWidget> window_;
    AISettingViewController* page_ = nullptr;
};

} // namespace parlowen
