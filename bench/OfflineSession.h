#pragma once

#include <Foundation/ConsoleLog.h>
#include <Foundation/UserDefaults.h>
#include <Network/ApiBase.h>
#include <Network/HttpDatas.h>
#include <Network/Settings.h>
#include <Page/AIInterviewPages/AIInterviewDetailController.h>
#include <Page/AIInterviewPages/AnswersModel.h>
#include <Page/AIInterviewPages/SessionWindow.h>
#include <Page/AIInterviewPages/TranscriptModel.h>
#include <Page/View/ReadingList.h>
#include <Tools/AudioRouting.h>
#include <Tools/PopView/ProgressHUD.h>
#include <Tools/StreamModel.h>
#include <Tools/TimerManager.h>

#include <QTemporaryDir>
#include <QUrl>
#include <memory>

namespace parlowen::bench {

/// The real session window where nothing answers: what is said and answered comes from the benchmark.
class OfflineSession {
public:
    OfflineSession() {
        ApiBase::setBuiltIn(nobody);
        settings_.setAiInterviewSetModel(AIInterviewModel{});
        settings_.setAiInterviewType(1);
    }

    void open() {
        SessionServices services;
        services.settings = &settings_;
        services.http = &http_;
        services.timer = &timer_;
        services.router = &router_;
        services.capture = [] { return nullptr; };
        services.streaming.baseUrl = QStringLiteral("no URL"); // no question is sent, so no answer fails
        window_ = std::make_unique<SessionWindow>(std::make_unique<AIInterviewDetailController>(std::move(services)));
        hud_.containerView = window_.get();
        window_->show();
    }
    void close() {
        window_->end();
        window_.reset();
    }

    SessionWindow& window() { return *window_; }
    AIInterviewDetailController& page() { return *window_->controller(); }
    TranscriptModel& transcript() { return *window_->findChild<TranscriptModel*>(); }
    AnswersModel& answers() { return *window_->findChild<AnswersModel*>(); }
    ReadingList& transcriptList() { return *window_->findChild<ReadingList*>(QStringLiteral("topTableView")); }
    ReadingList& answerList() { return *window_->findChild<ReadingList*>(QStringLiteral("bottomTableView")); }

    void partial(const QString& text) {
        KXTranslationHistoryDetailsModel row;
        row.sourceText = text;
        transcriptList().keepPlace([&] { transcript().setCenterModel(row); });
    }
    void final(const QString& text) {
        KXTranslationHistoryDetailsModel row;
        row.sourceText = text;
        transcriptList().keepPlace([&] { transcript().finish(row); });
    }
    /// Asks for an answer, whose pieces the benchmark appends.
    std::shared_ptr<StreamModel> ask() {
        page().sendQuestion(QStringLiteral("问题"));
        return page().streamModels().back();
    }

private:
    // A port of the loopback interface where nothing listens.
    static inline const QString nobody = QStringLiteral("http://127.0.0.1:9/");

    ConsoleLogCapture quiet_{[](const QString&) {}};
    QTemporaryDir directory_;
    UserDefaults defaults_{directory_.filePath(QStringLiteral("settings.ini"))};
    Settings settings_{defaults_};
    HttpDatas http_{settings_, {}, {}};
    TimerManager timer_{std::chrono::hours(1)};
    NoAudioRouting router_;
    ProgressHUD hud_;
    std::unique_ptr<SessionWindow> window_;
};

} // namespace parlowen::bench
