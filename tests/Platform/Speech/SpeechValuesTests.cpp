#include <Speech/SPXPushAudioInputStream.h>
#include <Speech/SPXSpeechConfiguration.h>
#include <Speech/SpeechBacklog.h>
#include <Speech/SpeechEndpoint.h>
#include <Speech/SpeechPacing.h>
#include <gmock/gmock.h>

#include <array>
#include <string>
#include <thread>

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
        const SpeechEndpoint endpoint = SpeechEndpoint::make(area, nullptr).value();
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
        QString error;
        EXPECT_FALSE(SPXSpeechTranslationConfiguration::make(token, region, &error));
        EXPECT_THAT(error.toStdString(), ::testing::HasSubstr(expected));
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

TEST(SpeechBacklogTest, IsBoundedByTheOldestThatWasSent) {
    SpeechBacklog backlog;
    const std::string second(32'000, 'a');
    for (int i = 0; i < 200; ++i) {
        backlog.append(second);
        backlog.bound(backlog.end());
        ASSERT_LE(backlog.end() - backlog.begin(), SpeechBacklog::limit + 11 * second.size());
        ASSERT_GE(backlog.end() - backlog.begin(), std::min(backlog.end(), std::uint64_t{SpeechBacklog::limit}));
    }
    EXPECT_EQ(backlog.end(), 200U * second.size());
}

std::string readAll(SPXPushAudioInputStream& stream) {
    std::string bytes;
    stream.read(SPXPushAudioInputStream::maxWaiting, bytes);
    return bytes;
}

TEST(PushStreamTest, WakesItsReaderOnceForWhatItHasNotReadAndEndsWithTheClose) {
    SPXPushAudioInputStream stream;
    int woken = 0;
    ASSERT_TRUE(stream.attach([&woken] { ++woken; }));
    stream.write(std::string_view("a"));
    stream.write(std::string_view("b"));
    EXPECT_EQ(woken, 1);
    EXPECT_EQ(readAll(stream), "ab");
    stream.write(std::string_view("c"));
    EXPECT_EQ(woken, 2);
    stream.close();
    EXPECT_EQ(woken, 3);
    stream.write(std::string_view("after"));
    EXPECT_FALSE(stream.atEnd());
    EXPECT_EQ(readAll(stream), "c");
    EXPECT_TRUE(stream.atEnd());
}

TEST(PushStreamTest, IsBoundedAndWithoutItsReaderKeepsNothing) {
    SPXPushAudioInputStream stream;
    const std::string minute(60 * 32'000, 'a');
    for (int i = 0; i < 12; ++i)
        stream.write(minute);
    EXPECT_EQ(readAll(stream).size(), SPXPushAudioInputStream::maxWaiting);
    stream.write(std::string_view("left over"));
    ASSERT_TRUE(stream.attach([] { FAIL() << "it has gone"; }));
    stream.detach();
    stream.write(std::string_view("dropped"));
    EXPECT_EQ(readAll(stream), "");
    EXPECT_FALSE(stream.attach([] {}));
}

TEST(PushStreamTest, OneThreadWritesWhileAnotherReads) {
    SPXPushAudioInputStream stream;
    std::string written, read;
    for (int i = 0; i < 20'000; ++i)
        written.push_back(static_cast<char>(i % 251));
    std::thread writer([&] {
        for (std::size_t at = 0; at < written.size(); at += 7)
            stream.write(std::string_view(written).substr(at, 7));
        stream.close();
    });
    while (!stream.atEnd())
        stream.read(11, read);
    writer.join();
    EXPECT_EQ(read, written);
}

} // namespace
} // namespace parlowen
