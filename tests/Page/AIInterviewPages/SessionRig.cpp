#include "SessionRig.h"

#include <Foundation/BackgroundQueue.h>
#include <Network/ApiBase.h>

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <atomic>
#include <condition_variable>
#include <mutex>
#include <thread>

namespace parlowen {

namespace {

using testing::waitFor;

/// Silence in real time, 16 kHz mono.
class Silence : public CaptureSource {
public:
    ~Silence() override { stop(); }

    std::optional<AVAudioFormat> format() override {
        return AVAudioFormat::make(AVAudioCommonFormat::Float32, 16'000, 1, true);
    }

    Result<void> start(std::uint32_t frames, Sink sink) override {
        worker_ = std::jthread([frames, sink = std::move(sink)](const std::stop_token& stop) {
            std::mutex mutex;
            std::condition_variable_any pause;
            std::unique_lock lock(mutex);
            while (!stop.stop_requested()) {
                const auto format = AVAudioFormat::make(AVAudioCommonFormat::Float32, 16'000, 1, true);
                auto buffer = AVAudioPCMBuffer::make(*format, frames);
                buffer->setFrameLength(frames);
                sink(std::move(buffer));
                pause.wait_for(lock, stop, std::chrono::milliseconds(frames / 16), [] { return false; });
            }
        });
        return {};
    }

    void stop() override { worker_ = {}; }

private:
    std::jthread worker_;
};

LanguageListModel language(const char* name, const char* original, const char* translation) {
    LanguageListModel model;
    model.name = name;
    model.original_key = original;
    model.translation_key = translation;
    return model;
}

std::string body(const QJsonObject& object) {
    return QJsonDocument(object).toJson(QJsonDocument::Compact).toStdString();
}

QJsonObject phrase(const char* kind, const QString& text) {
    return {{"RecognitionStatus", "Success"}, {kind, text}, {"Offset", 0}, {"Duration", 0}};
}

} // namespace

SessionRig::SessionRig() {
    ApiBase::setBuiltIn(tokenServer_.baseUrl());
    const QJsonObject access{{"token", "t0"}, {"area", speechServer_.area()}};
    tokenServer_.enqueue(Reply::json(200, QJsonDocument(QJsonObject{{"code", 0}, {"data", access}}).toJson()));
    answerServer_.enqueue(Reply::eventStream());
    settings_.setAiInterviewSetModel(interview(0));
}

SessionRig::~SessionRig() {
    window_.reset();
    waitForBackground();
}

AIInterviewModel SessionRig::interview(int answerType) {
    AIInterviewModel model;
    model.positioname = "后端工程师";
    model.antoAnswerType = answerType;
    model.generateAnswerType = 1;
    model.answerFontSize = 16;
    return model;
}

void SessionRig::single() {
    settings_.setAiInterviewType(1);
    settings_.setAiLangChinaModel(language("英语（美国）", "en-US", "en"));
}

void SessionRig::twoLanguages() {
    settings_.setAiInterviewType(2);
    settings_.setAiLangLeftModel(language("英语（美国）", "en-US", "en"));
    settings_.setAiLangRightModel(language("西班牙语", "es-ES", "es"));
}

void SessionRig::openWindow() {
    timer_ = std::make_unique<TimerManager>(tick_);
    SessionServices services;
    services.settings = &settings_;
    services.http = &http_;
    services.timer = timer_.get();
    services.router = &router_;
    services.capture = [] { return std::make_unique<Silence>(); };
    services.streaming.baseUrl = answerServer_.baseUrl();
    services.hud = &hud_;
    services.status = &status_;
    window_ = std::make_unique<SessionWindow>(std::move(services));
    hud_.containerView = window_.get();
    window_->show();
}

void SessionRig::open() {
    openWindow();
    ASSERT_TRUE(waitFor([this] { return !speechServer_.sessions.empty() && !speech().turns.empty(); }));
}

void SessionRig::close() {
    window_->close();
    waitForBackground();
}

void SessionRig::partial(const QString& text) {
    speech().send("speech.hypothesis", body({{"Text", text}}));
    ASSERT_TRUE(waitFor([&] { return page().centerModel() && page().centerModel()->sourceText == text; }));
}

void SessionRig::final(const QString& text) {
    const std::size_t before = page().topArr().size();
    speech().send("speech.phrase", body(phrase("DisplayText", text)));
    ASSERT_TRUE(rows(before + 1));
}

void SessionRig::translated(const QString& member, const QString& text, const QString& translation) {
    const bool isFinal = member == "SpeechPhrase";
    const QJsonObject sentence = phrase(isFinal ? "DisplayText" : "Text", text);
    const QJsonObject target{{"Language", "es"}, {"DisplayText", translation}};
    const std::size_t before = page().topArr().size();
    speech().send("translation.response",
                  body({{member, sentence}, {"TranslationStatus", "Success"}, {"Translations", QJsonArray{target}}}));
    ASSERT_TRUE(waitFor([&] {
        return isFinal ? page().topArr().size() == before + 1
                       : page().centerModel() && page().centerModel()->sourceText == text;
    }));
}

bool SessionRig::rows(std::size_t count) {
    return waitFor([&] { return page().topArr().size() == count; });
}

bool SessionRig::asked(std::size_t count) {
    return waitFor([&] { return answerServer_.requests().size() == count; });
}

QJsonObject SessionRig::question(std::size_t number) const {
    return QJsonDocument::fromJson(answerServer_.requests().at(number).body).object();
}

void SessionRig::answerPiece(const QString& text) {
    const QJsonObject event{{"data", QJsonObject{{"content", text}}}};
    answerServer_.sendPiece("data: " + QJsonDocument(event).toJson(QJsonDocument::Compact) + "\n\n");
}

std::string SessionRig::shown(const MeasuredList& list, int row) {
    return list.model()->index(row, 0).data(Qt::DisplayRole).toString().toStdString();
}

} // namespace parlowen
