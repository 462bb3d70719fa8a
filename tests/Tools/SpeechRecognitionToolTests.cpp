#include "support/CapturedLog.h"
#include "support/FakeCapture.h"
#include "support/ScriptedSpeechServer.h"
#include "support/Testing.h"
#include "support/WaitFor.h"
#include <Foundation/MainQueue.h>
#include <Tools/SpeechRecognitionTool.h>

namespace parlowen::testing {
namespace {

constexpr const char* started = "✅ 🎤AudioEngine 启动成功，监听语音中...";
constexpr const char* stopped = "[SpeechRecognitionTool] 停止识别";

struct SpeechRecognitionToolTest : ::testing::Test {
    using State = RecognitionStatus::State;
    using Cause = RecognitionStatus::Cause;

    SpeechRecognitionToolTest() {
        onMain([] {}); // as every program has done before, on its main thread
    }
    ~SpeechRecognitionToolTest() override {
        if (tool)
            tool->stopRecognition();
    }
    /// A callback that notes its name and what it is given.
    auto note(const char* name) {
        return [this, name](const auto&... texts) {
            const std::lock_guard lock(mutex);
            calls.append((QStringList{name} << QStringList{texts...}).join('|'));
        };
    }
    QStringList called() {
        const std::lock_guard lock(mutex);
        return calls;
    }
    void make(const QString& area) {
        tool = SpeechRecognitionTool::make("token-1", area,
                                           [input = input] { return std::make_unique<FakeCapture>(input); });
        tool->follow({[this](const RecognitionStatus& status) { statuses.push_back(status); },
                      [this] { ++tokensNeeded; },
                      [this](double seconds) { note("missed")(QString::number(seconds)); }});
    }
    void startPlain() { tool->startRecognition("en-US", note("result"), note("partial"), note("error")); }
    void startTranslating() {
        tool->startTranslation("en-US", "es", note("result"), note("partial"), note("error"), note("translation"));
    }
    SpeechSessionSeen& session(std::size_t index) {
        if (!waitFor([&] { return server.sessions.size() > index && !server.sessions[index]->turns.empty(); }))
            throw std::runtime_error("the session does not come");
        return *server.sessions[index];
    }
    SpeechSessionSeen& startedSession() {
        make(server.area());
        startPlain();
        return session(0);
    }

    ScriptedSpeechServer server;
    std::shared_ptr<FakeInput> input = std::make_shared<FakeInput>();
    std::vector<RecognitionStatus> statuses;
    int tokensNeeded = 0;
    std::mutex mutex;
    QStringList calls;
    CapturedLog log;
    std::shared_ptr<SpeechRecognitionTool> tool; ///< first to go
};

void sendFinal(SpeechSessionSeen& session, const char* text) {
    session.send("speech.phrase", std::string(R"({"DisplayText":")") + text + R"(","Offset":0,"Duration":10000000})");
}

TEST_F(SpeechRecognitionToolTest, PushesWhatIsCapturedAsSixteenKilohertzMono) {
    SpeechSessionSeen& seen = startedSession();
    EXPECT_EQ(log.lines(), QStringList{started});
    EXPECT_EQ(input->framesPerBuffer, 2048U);
    const auto other = AVAudioPCMBuffer::make(*AVAudioFormat::make(AVAudioCommonFormat::Float32, 44100, 1, false), 64);
    other->setFrameLength(64);
    input->sink(other);
    input->deliverTone(50);
    EXPECT_EQ(seen.header("Authorization"), "Bearer token-1");
    ASSERT_TRUE(waitFor([&] { return seen.turns[0].audio.size() == 50 * 1364 / 3200 * 3200; }))
        << "682 frames a buffer";
    EXPECT_EQ(log.linesWith("[SpeechRecognitionTool] ❌ 转换错误: ").size(), 1) << "it is lost, the next ones are not";
    tool->noteGap(7);
    input->deliverTone(5);
    ASSERT_TRUE(waitFor([&] { return called() == QStringList{"missed|7"}; })) << "behind the sound before it";
    EXPECT_TRUE(waitFor([&] { return seen.turns[0].audio.size() == 55 * 1364 / 3200 * 3200; }));
    seen.send("speech.hypothesis", R"({"Text":"o"})");
    ASSERT_TRUE(waitFor([&] { return called().size() == 2; }));
    input->deliverTone(50);
    tool->noteGap(9);
    ASSERT_TRUE(waitFor([&] { return seen.turns[0].audio.size() == 105 * 1364 / 3200 * 3200; }));
    for (const char* text : {"One.", "Two."})
        seen.send("speech.phrase",
                  QString(R"({"DisplayText":"%1","Offset":0,"Duration":44000000})").arg(text).toStdString());
    ASSERT_TRUE(waitFor([&] { return called().contains("result|Two."); }));
    EXPECT_EQ(called().mid(2), QStringList({"result|One.", "result|Two."})) << "nor before what is being converted";
    tool->endSound();
    input->deliverTone(50);
    ASSERT_TRUE(waitFor([&] { return seen.turns[0].audioEnded; }));
    EXPECT_EQ(seen.turns[0].audio.size(), 105 * 1364U) << "all that came before the end, and nothing behind it";
    EXPECT_EQ(statuses.back().state, State::Recognizing);
    seen.send("turn.end", "{}");
    EXPECT_TRUE(waitFor([&] { return statuses.back().state == State::Finished; }));
    EXPECT_EQ(tool->waitingSeconds(), 0);
}

TEST_F(SpeechRecognitionToolTest, PlainEventsCallTheirCallbacks) {
    SpeechSessionSeen& seen = startedSession();
    for (const char* text : {"", "hel"})
        seen.send("speech.hypothesis", std::string(R"({"Text":")") + text + "\"}");
    seen.send("speech.phrase", R"({"RecognitionStatus":"NoMatch","Offset":0,"Duration":0})");
    sendFinal(seen, "");
    sendFinal(seen, "Hello.");
    seen.send("speech.phrase", R"({"RecognitionStatus":"BadRequest"})");
    ASSERT_TRUE(waitFor([this] { return statuses.back().state == State::Stopped; }));
    EXPECT_EQ(called().mid(0, 2), QStringList({"partial|hel", "result|Hello."}));
    EXPECT_THAT(called()[2].toStdString(), ::testing::StartsWith("error|Recognition status BadRequest"));
    EXPECT_EQ(statuses.back().cause, Cause::BadSettings);
    EXPECT_THAT(statuses.back().details.chinese.toStdString(), HasSubstr("请检查识别语言"));
    EXPECT_TRUE(tool->isRecognizing()) << "until it is stopped";
}

TEST_F(SpeechRecognitionToolTest, TranslationEventsCallTheirCallbacks) {
    make(server.area());
    startTranslating();
    SpeechSessionSeen& seen = session(0);
    EXPECT_EQ(seen.url().query(), "from=en-US&to=es&scenario=conversation");
    const auto send = [&seen](const char* kind, const char* text, const char* language) {
        seen.send("translation.response", QString(R"({"%1":{"Text":"%2","DisplayText":"%2"},
                              "Translations":[{"Language":"%3","DisplayText":"tr-%2"}]})")
                                              .arg(kind, text, language)
                                              .toStdString());
    };
    for (const auto& [text, language] : {std::pair("hel", "es"), {"", "es"}, {"no entry", "fr"}})
        send("SpeechHypothesis", text, language);
    for (const auto& [text, language] : {std::pair("Hello.", "es"), {"Only source.", "fr"}, {"", "es"}, {"End.", "es"}})
        send("SpeechPhrase", text, language);
    ASSERT_TRUE(waitFor([&] { return called().contains("translation|End.|tr-End."); }));
    EXPECT_EQ(called(),
              (QStringList{"partial|hel|tr-hel", "partial||tr-", "result|Hello.", "translation|Hello.|tr-Hello.",
                           "result|Only source.", "result|End.", "translation|End.|tr-End."}));
}

TEST_F(SpeechRecognitionToolTest, AFailedSetUpIsReportedAndCaptureStartsAllTheSame) {
    make("no region");
    tool->stopRecognition(); // nothing runs
    startPlain();
    EXPECT_TRUE(tool->isRecognizing());
    EXPECT_EQ(statuses.back().cause, Cause::NoSuchService);
    input->deliverTone(3);
    startTranslating();
    tool->stopRecognition();
    tool->stopRecognition();
    EXPECT_FALSE(tool->isRecognizing());
    EXPECT_EQ(input->starts, 2);
    EXPECT_EQ(input->stops, 2);
    const QString noRegion = "\"no region\" is no region of the speech service";
    EXPECT_EQ(called(), (QStringList{"error|Recognizer setup failed: " + noRegion,
                                     "error|Translation recognizer setup failed: " + noRegion}));
    EXPECT_EQ(log.lines(), (QStringList{"[SpeechRecognitionTool] 设置识别器失败：" + noRegion, started, stopped,
                                        "[SpeechRecognitionTool] 设置翻译识别器失败：" + noRegion, started, stopped}));
}

TEST_F(SpeechRecognitionToolTest, WithoutInputOrAnEngineThatStartsTheRecognizerRunsAllTheSame) {
    const auto format = std::exchange(input->format, std::nullopt);
    startedSession();
    EXPECT_EQ(input->starts, 0);
    input->format = format;
    input->startError = "设备忙";
    startPlain();
    EXPECT_TRUE(tool->isRecognizing());
    EXPECT_TRUE(called().isEmpty());
    EXPECT_EQ(log.lines(), (QStringList{"[SpeechRecognitionTool] ❌ 音频格式转换器创建失败", stopped,
                                        "❌ AudioEngine 启动失败: 设备忙"}));
}

TEST_F(SpeechRecognitionToolTest, AStartOnARunningToolStopsItAndOnlyThenUsesTheNewToken) {
    SpeechSessionSeen& first = startedSession();
    tool->updateToken("token-2");
    first.drop();
    SpeechSessionSeen& again = session(1);
    EXPECT_EQ(again.header("Authorization"), "Bearer token-1") << "the running recognizer keeps its token";
    startTranslating();
    EXPECT_EQ(log.lines(), (QStringList{started, stopped, started}));
    EXPECT_EQ(session(2).header("Authorization"), "Bearer token-2");
    EXPECT_TRUE(waitFor([&] { return again.isClosed(); }));
    input->deliverTone(10);
    EXPECT_TRUE(waitFor([&] { return session(2).turns[0].audio.size() >= 12'800; }));
}

TEST_F(SpeechRecognitionToolTest, AfterARefusedTokenTheNewestOneGoesOnWithTheSameSoundAndElseANewOneIsAskedFor) {
    SpeechSessionSeen& first = startedSession();
    input->deliverTone(50);
    ASSERT_TRUE(waitFor([&] { return first.turns[0].audio.size() > 64'000; }));
    sendFinal(first, "One.");
    ASSERT_TRUE(waitFor([&] { return called() == QStringList{"result|One."}; }));
    tool->updateToken("token-2");
    server.refuseNext(401);
    server.refuseNext(403);
    first.drop();
    ASSERT_TRUE(waitFor([this] { return tokensNeeded == 1; }));
    EXPECT_EQ(server.connections, 3) << "the old token and the newest one are refused";
    EXPECT_EQ(statuses.back().cause, Cause::Denied);
    EXPECT_GE(tool->waitingSeconds(), 1);
    input->deliverTone(50);
    tool->updateToken("token-3");
    SpeechSessionSeen& second = session(1);
    EXPECT_EQ(second.header("Authorization"), "Bearer token-3");
    constexpr std::size_t captured = 100 * 1364 / 3200 * 3200; // bytes: 682 frames a buffer, in whole messages
    ASSERT_TRUE(waitFor([&] { return second.turns[0].audio.size() >= captured - 32'000; })) << "and what came since";
    EXPECT_EQ(second.turns[0].audio.substr(0, 32'000), first.turns[0].audio.substr(32'000, 32'000))
        << "from the end of the last final result";
    EXPECT_EQ(statuses.back().state, State::Recognizing);
    tool->updateToken("token-3"); // which nobody needs

    sendFinal(second, "Two.");
    ASSERT_TRUE(waitFor([&] { return called().contains("result|Two."); }));
    second.close(4000, "no such locale");
    ASSERT_TRUE(waitFor([this] { return tokensNeeded == 2; })) << "it may mean the token";
    tool->updateToken("token-4");
    session(2).close(4000, "no such locale");
    ASSERT_TRUE(waitFor([this] { return statuses.back().state == State::Stopped; }));
    EXPECT_EQ(statuses.back().cause, Cause::BadSettings);
    EXPECT_EQ(called().filter("error|").size(), 4);
}

TEST_F(SpeechRecognitionToolTest, AfterAStopNothingIsCalledAndNothingKeepsTheTool) {
    SpeechSessionSeen& seen = startedSession();
    input->deliverTone(20);
    for (int i = 0; i < 20; ++i)
        sendFinal(seen, "Hello.");
    ASSERT_TRUE(waitFor([&] { return !called().isEmpty(); }));
    std::thread([this] { tool->stopRecognition(); }).join();
    const QStringList before = called();
    const std::weak_ptr<SpeechRecognitionTool> weak = tool;
    tool.reset();
    ASSERT_TRUE(waitFor([&] { return seen.isClosed() && weak.expired(); }));
    EXPECT_EQ(called(), before);
}

} // namespace
} // namespace parlowen::testing
