#include "SessionRig.h"

#include <QJsonArray>
#include <support/FakeCapture.h>

namespace parlowen {

using namespace testing;

namespace {

LanguageListModel language(const char* name, const char* original, const char* translation) {
    return {0, name, original, translation, {}};
}

std::string body(const QJsonObject& object) {
    return QJsonDocument(object).toJson(QJsonDocument::Compact).toStdString();
}

QJsonObject phrase(const char* kind, const QString& text) {
    return {{"RecognitionStatus", "Success"}, {kind, text}, {"Offset", 0}, {"Duration", 0}};
}

std::string inWords(const SessionEvent& event) {
    const auto words = [](const char* kind, int number, const QString& text) {
        return QStringLiteral("%1 %2 %3").arg(kind).arg(number).arg(text).toStdString();
    };
    const auto sentence = [&](const char* kind, const auto& told) {
        const QString& result = told.row.resultText;
        return words(kind, told.number, told.row.sourceText + (result.isEmpty() ? result : '/' + result));
    };
    static constexpr std::array ends{"complete", "failed: ", "cut off", "dropped"};
    return std::visit(
        SessionHandler{[&](const session::Partial& told) { return sentence("partial", told); },
                       [&](const session::Sentence& told) { return sentence("row", told); },
                       [&](const session::Translated& told) { return sentence("translated", told); },
                       [&](const session::Missed& told) { return words("missed", told.seconds, "s"); },
                       [&](const session::Question& told) { return words("question", told.number, told.text); },
                       [&](const session::AnswerPiece& told) { return words("piece", told.number, told.piece); },
                       [&](const session::AnswerEnded& told) {
                           return words("end", told.number,
                                        ends.at(static_cast<std::size_t>(told.end.outcome)) +
                                            answerFailureText(told.end, Language::English));
                       },
                       [&](const session::Problem& told) { return words("problem", 0, told.text); },
                       [](const auto&) { return std::string(); }},
        event);
}

} // namespace

SessionRig::SessionRig() {
    const QJsonObject access{{"token", "t0"}, {"area", speechServer_.area()}};
    server_.enqueue(Reply::json(200, QJsonDocument(QJsonObject{{"code", 0}, {"data", access}}).toJson()));
    answerServer_.enqueue(Reply::eventStream());
    settings_.setAiInterviewSetModel(interview(0));
}

SessionRig::~SessionRig() {
    session_.reset();
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

std::unique_ptr<AIInterviewDetailController> SessionRig::makeSession() {
    timer_ = std::make_unique<TimerManager>(tick_);
    SessionServices services;
    services.settings = &settings_;
    services.http = &http_;
    services.timer = timer_.get();
    services.router = &router_;
    services.capture = [] {
        auto silence = std::make_shared<FakeInput>();
        silence->format = AVAudioFormat::make(AVAudioCommonFormat::Float32, 16'000, 1, true);
        silence->pace = [](std::chrono::milliseconds length) { std::this_thread::sleep_for(length); };
        return std::make_unique<testing::FakeCapture>(std::move(silence));
    };
    services.streaming.baseUrl = answerServer_.baseUrl();
    services.toast = [this](const QString& text) { toast_ = text; };
    services.status = &status_;
    auto session = std::make_unique<AIInterviewDetailController>(std::move(services));
    QObject::connect(session.get(), &AIInterviewDetailController::happened, [this](const SessionEvent& event) {
        if (const std::string words = inWords(event); !words.empty())
            told_.push_back(words);
    });
    return session;
}

void SessionRig::partial(const QString& text) {
    speech().send("speech.hypothesis", body({{"Text", text}}));
    ASSERT_TRUE(waitFor([&] { return page().centerModel() && page().centerModel()->sourceText == text; }));
}

void SessionRig::final(const QString& text) {
    const std::size_t before = page().topArr().size();
    speech().send("speech.phrase", body(phrase("DisplayText", text)));
    ASSERT_TRUE(waitFor([&] { return page().topArr().size() == before + 1; }));
}

void SessionRig::translated(const QString& member, const QString& text, const QString& translation) {
    const QJsonObject sentence = phrase(member == "SpeechPhrase" ? "DisplayText" : "Text", text);
    const QJsonObject target{{"Language", "es"}, {"DisplayText", translation}};
    const std::size_t before = told_.size();
    speech().send("translation.response",
                  body({{member, sentence}, {"TranslationStatus", "Success"}, {"Translations", QJsonArray{target}}}));
    ASSERT_TRUE(waitFor([&] { return told_.size() > before; }));
}

void SessionRig::answerPiece(const QString& text) {
    const QJsonObject event{{"data", QJsonObject{{"content", text}}}};
    answerServer_.sendPiece("data: " + QJsonDocument(event).toJson(QJsonDocument::Compact) + "\n\n");
}

} // namespace parlowen
