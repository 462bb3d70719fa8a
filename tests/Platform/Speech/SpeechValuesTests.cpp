#include <Speech/SpeechConnection.h>
#include <gmock/gmock.h>

#include <array>
#include <string>

namespace parlowen {
namespace {

using namespace std::chrono_literals;

TEST(SpeechEndpointTest, RegionsAndBaseUrls) {
    const std::vector<std::pair<const char*, std::string>> cases = {
        {"eastasia", "wss://eastasia.stt.speech.microsoft.com"},
        {"chinaeast2", "wss://chinaeast2.stt.speech.azure.cn"},
        {"usgovvirginia", "wss://usgovvirginia.stt.speech.azure.us"},
        {"ws://localhost:80/speech/", "ws://localhost:80/speech"},
    };
    for (const auto& [area, base] : cases) {
        const SpeechEndpoint endpoint = SpeechEndpoint::make(area).value();
        const std::string path = base + "/stt/speech/universal/v2";
        EXPECT_EQ(endpoint.recognitionUrl("a&b=c+d#e").toEncoded().toStdString(),
                  path + "?language=a%26b%3Dc%2Bd%23e&format=simple");
        const QUrl translation = endpoint.translationUrl("zh-CN", {"en", "es"});
        EXPECT_EQ(translation.toEncoded(QUrl::RemoveQuery).toStdString(), path);
        EXPECT_EQ(translation.query(QUrl::FullyDecoded), "from=zh-CN&to=en,es&scenario=conversation");
    }
}

TEST(SpeechConfigurationTest, SaysWhatIsWrong) {
    const std::vector<std::array<const char*, 3>> cases = {
        {"", "eastasia", "token is missing"},    {"two\r\nlines", "eastasia", "character"},
        {"token", "", "region is missing"},      {"token", "east.example.com/", "no region"},
        {"token", "-east", "no region"},         {"token", "https://127.0.0.1", "no ws or wss URL"},
        {"token", "wss://", "no ws or wss URL"}, {"token", "wss://host?query=1", "no ws or wss URL"},
    };
    for (const auto& [token, region, expected] : cases) {
        EXPECT_THAT(SPXSpeechTranslationConfiguration::make(token, region).error().toStdString(),
                    ::testing::HasSubstr(expected));
    }
}

TEST(SpeechVerdictTest, SaysWhatHappenedAndWhatToCheckAndWhetherItMayPass) {
    const std::vector<std::tuple<SpeechVerdict, const char*, bool, SPXTrouble>> cases = {
        {afterClose(1006, {}), "1006", true, SPXTrouble::NoConnection},
        {afterClose(1007, {}), "1007", false, SPXTrouble::BadSettings},
        {afterClose(4000, {}), "4000", false, SPXTrouble::SessionRefused},
        {afterHttpStatus(401), "401", false, SPXTrouble::TokenRefused},
        {afterHttpStatus(403), "403", false, SPXTrouble::Denied},
        {afterHttpStatus(404), "404", false, SPXTrouble::NoSuchService},
        {afterHttpStatus(503), "503", true, SPXTrouble::Busy},
        {afterRecognitionStatus("Error", "why"), "why", true, SPXTrouble::ServiceFailed},
        {afterRecognitionStatus("Forbidden", {}), "Forbidden", false, SPXTrouble::Denied},
    };
    for (const auto& [verdict, what, mayPass, trouble] : cases) {
        EXPECT_EQ(verdict.reconnect, mayPass) << what;
        EXPECT_EQ(verdict.trouble, trouble) << what;
        for (const Language language : {Language::English, Language::Chinese})
            EXPECT_THAT(verdict.details.in(language).toStdString(), ::testing::HasSubstr(what));
        EXPECT_THAT(verdict.details.english.toStdString(), ::testing::ContainsRegex("check|tried again"));
        EXPECT_THAT(verdict.details.chinese.toStdString(), ::testing::ContainsRegex("请|会再次尝试"));
    }
}

TEST(SpeechPacingTest, FiveSecondsAtOnceThenTwiceRealTime) {
    const auto start = SpeechPacing::Clock::time_point(1h);
    auto now = start;
    SpeechPacing pacing(now);
    std::size_t sent = 0;
    for (; sent < 160'000; sent += 3200) {
        ASSERT_EQ(pacing.wait(3200, now), 0ms) << sent;
        pacing.sent(3200);
    }
    EXPECT_EQ(pacing.wait(3200, now), 50ms);
    EXPECT_EQ(pacing.wait(3200, now + 49ms), 1ms);
    for (; sent < 160'000 + 640'000; sent += 3200) {
        for (auto wait = pacing.wait(3200, now); wait > 0ms; wait = pacing.wait(3200, now))
            now += wait;
        pacing.sent(3200);
    }
    EXPECT_NEAR(std::chrono::duration<double>(now - start).count(), 10.0, 0.01);

    now += 60s; // a long pause gives no right to another burst
    std::size_t burst = 0;
    for (; pacing.wait(3200, now) == 0ms; burst += 3200)
        pacing.sent(3200);
    EXPECT_LE(burst, 6400U);
}

TEST(SpeechReconnectTest, PausesGrowToTenSecondsAndStayThere) {
    std::vector<std::chrono::milliseconds> pauses;
    for (const int attempts : {0, 1, 2, 5, 6, 100'000})
        pauses.push_back(SpeechConnection::pauseAfter(attempts, 250ms));
    EXPECT_THAT(pauses, ::testing::ElementsAre(250ms, 500ms, 1s, 8s, 10s, 10s));
}

TEST(PushStreamTest, WakesItsReaderWhenItHasFoundTooLittleAndEndsWithTheClose) {
    SPXPushAudioInputStream stream;
    int woken = 0;
    ASSERT_TRUE(stream.attach([&woken] { ++woken; }));
    EXPECT_FALSE(stream.attach([] {}));
    stream.write("a");
    stream.write("b");
    EXPECT_EQ(woken, 1) << "it has not looked yet";
    EXPECT_TRUE(stream.read(3).bytes.empty());
    stream.write("c");
    EXPECT_EQ(woken, 2);
    EXPECT_EQ(stream.read(3).bytes, "abc");
    stream.write("d");
    stream.close();
    stream.write("after");
    const SPXPushAudioInputStream::Piece last = stream.read(3);
    EXPECT_EQ(last.bytes, "d");
    EXPECT_EQ(last.position, 3U);
    EXPECT_TRUE(last.atEnd);
    EXPECT_FALSE(stream.isRecognized());
    stream.release(4);
    EXPECT_TRUE(stream.isRecognized());
}

constexpr std::size_t second = SpeechBacklog::bytesPerSecond;

void writeSeconds(SPXPushAudioInputStream& stream, int from, int to) {
    for (int i = from; i < to; ++i)
        stream.write(std::string(second, static_cast<char>(i)));
}

TEST(PushStreamTest, KeepsSixtySecondsForWhoeverReadsNextAndTellsWhatItDropped) {
    SPXPushAudioInputStream stream;
    ASSERT_TRUE(stream.attach([] {}));
    writeSeconds(stream, 0, 10);
    ASSERT_EQ(stream.read(10 * second).bytes.size(), 10 * second);
    EXPECT_EQ(stream.waitingSeconds(), 0);
    stream.release(3 * second);
    stream.detach();
    EXPECT_EQ(stream.waitingSeconds(), 7) << "another reader has to begin where the results end";
    stream.noteGap(5); // behind second 10
    writeSeconds(stream, 10, 75);
    EXPECT_EQ(stream.waitingSeconds(), 60);
    ASSERT_TRUE(stream.attach([] {}));
    EXPECT_EQ(stream.rewind(), 15 * second);
    EXPECT_EQ(stream.takeGaps(15 * second), 12 + 5) << "seconds 3 to 15, and the gap among them";
    EXPECT_EQ(stream.takeGaps(75 * second), 0);
    EXPECT_EQ(stream.read(second).bytes, std::string(second, 15));
    // A reader that is too slow skips, and hears of it where it goes on.
    writeSeconds(stream, 75, 95);
    const SPXPushAudioInputStream::Piece piece = stream.read(second);
    EXPECT_EQ(piece.position, 35 * second);
    EXPECT_EQ(piece.bytes, std::string(second, 35));
    EXPECT_EQ(stream.takeGaps(35 * second - 1), 0);
    EXPECT_EQ(stream.takeGaps(35 * second), 19);
    EXPECT_EQ(stream.rewind(), 35 * second);
    EXPECT_EQ(stream.takeGaps(35 * second), 1) << "second 15 was read, and had no result";
}

TEST(PushStreamTest, WhatTheServiceFoundSilentIsNoLossAndSentAgainForItsLastFifteenSecondsAlone) {
    SPXPushAudioInputStream stream;
    writeSeconds(stream, 0, 50);
    stream.settle(40 * second);
    EXPECT_EQ(stream.rewind(), 25 * second);
    EXPECT_EQ(stream.waitingSeconds(), 10);
    writeSeconds(stream, 50, 110);
    EXPECT_EQ(stream.rewind(), 50 * second);
    EXPECT_EQ(stream.takeGaps(50 * second), 10) << "seconds 40 to 50";
}

} // namespace
} // namespace parlowen
