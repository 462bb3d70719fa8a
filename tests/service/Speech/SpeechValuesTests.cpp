#include "Speech/ApertiumTranslator.h"
#include "Speech/DisplayText.h"
#include "Speech/RecogniserStream.h"
#include "Speech/SpeechSession.h"
#include "Speech/SpeechTokens.h"
#include "support/Testing.h"
#include <Wire/SpeechMessage.h>
#include <csignal>
#include <fstream>
#include <future>
#include <unistd.h>

using namespace parlowen::service;
using namespace parlowen::testing;
using namespace std::chrono_literals;
using parlowen::wire::waveHeader;
using testing::Optional;

TEST(DisplayText, SwearWordsAreMaskedAndAllElseStays) {
    EXPECT_EQ(withoutProfanity("Shit happens, it's fucking 42% \"BAD\"."), "**** happens, it's ******* 42% \"BAD\".");
    EXPECT_EQ(withoutProfanity("A shiitake assessment in Scunthorpe\xe2\x80\xa6"),
              "A shiitake assessment in Scunthorpe\xe2\x80\xa6");
    EXPECT_EQ(withoutProfanity(""), "");
}

TEST(PcmInput, IsReadWithAndWithoutHeaderCutAnywhere) {
    const std::string pcm("\x01\x00\xff\xff\x00\x80\xff\x7f\x34\x12", 10);
    for (const auto& bytes : {waveHeader() + pcm, pcm}) {
        for (std::size_t cut = 0; cut <= bytes.size(); ++cut) {
            PcmInput input;
            std::vector<std::int16_t> samples = input.feed(bytes.substr(0, cut)).value();
            const auto rest = input.feed(bytes.substr(cut)).value();
            samples.insert(samples.end(), rest.begin(), rest.end());
            EXPECT_EQ(samples, (std::vector<std::int16_t>{1, -1, -32'768, 32'767, 0x1234})) << "cut at " << cut;
        }
    }
}

TEST(RecogniserStream, TellsOfRoomOnceWhenHalfOfWhatWasTooMuchIsTaken) {
    int drained = 0;
    RecogniserStream stream(1, "en-US", [&drained](const RecognitionEvent& event) {
        drained += event.kind == RecognitionEvent::Kind::Drained ? 1 : 0;
    });
    EXPECT_TRUE(stream.arrived(RecogniserStream::mostBacklog));
    stream.onTaken(sampleRate, 0);
    EXPECT_FALSE(stream.arrived(2 * sampleRate));
    stream.onTaken(2 * sampleRate, 0);
    EXPECT_EQ(drained, 0);
    for (const auto taken : {25, 26})
        stream.onTaken(taken * std::int64_t{sampleRate}, 0);
    EXPECT_EQ(drained, 1);
}

struct SpeechTokensTest : testing::Test {
    SpeechTokens::TimePoint now{100'000h};
    SpeechTokens tokens{[this] { return now; }};
};

TEST_F(SpeechTokensTest, OpenForTenMinutesAndAsLongAsASessionAndAMinuteLonger) {
    auto token = tokens.issue();
    const auto other = tokens.issue();
    EXPECT_NE(other, token);
    EXPECT_FALSE(tokens.open("") || tokens.open(token.substr(1)));
    EXPECT_TRUE(tokens.open(token)); // a short session takes nothing from the ten minutes
    now += 10min - 1s;
    EXPECT_TRUE(tokens.open(token));
    now += 1s;
    EXPECT_FALSE(tokens.open(other));
    token = tokens.issue();
    {
        const auto first = tokens.open(token);
        ASSERT_TRUE(first);
        now += 60min;
        tokens.issue(); // which drops what has expired
        const auto second = tokens.open(token);
        EXPECT_TRUE(second);
    }
    now += 59s;
    EXPECT_TRUE(tokens.open(token)); // a reconnect, which drops at once
    now += 60s;
    EXPECT_FALSE(tokens.open(token));
}

TEST_F(SpeechTokensTest, TellWhatTheNextRunNeedsAndTakeNoOther) {
    tokens.useKey("the key");
    std::string changes;
    tokens.setHooks({.lasts = {}, .changed = [&](const std::string&, std::string_view session, bool open) {
                         changes += std::string(session.substr(0, 1)) + (open ? "+" : "-");
                     }});
    const auto token = tokens.issue({7, std::string(SpeechTokens::sessionBytes, 's')});
    const auto unused = tokens.issue();
    auto forged = token;
    forged[15] ^= 1; // another second
    {
        const auto first = tokens.open(token);
        EXPECT_EQ(first.value().user(), 7);
        const auto second = tokens.open(token);
        EXPECT_EQ(changes, "s+");
    }
    EXPECT_EQ(changes, "s+s-") << "when the last one is gone";
    now += 10min;
    const auto nextRun = [this](const char* key, const std::vector<std::string>& recalled) {
        auto next = std::make_unique<SpeechTokens>([this] { return now; });
        next->useKey(key);
        next->recall(recalled);
        return next;
    };
    EXPECT_FALSE(nextRun("another key", {token})->open(token));
    const auto next = nextRun("the key", {token, forged});
    EXPECT_FALSE(next->open(forged));
    EXPECT_FALSE(next->open(unused)) << "over also across a restart";
    const auto late = nextRun("the key", {token});
    now += 59s;
    const auto session = next->open(token);
    ASSERT_TRUE(session);
    now += 1h;
    EXPECT_TRUE(next->open(token)) << "the session goes on";
    EXPECT_FALSE(late->open(token));
    now += 11h;
    EXPECT_FALSE(next->open(token)) << "but not without end";
}

TEST_F(SpeechTokensTest, EndWithTheirSignInSession) {
    const auto sessionOf = [](char name) { return std::string(SpeechTokens::sessionBytes, name); };
    std::set<std::string> over;
    tokens.setHooks(
        {.lasts = [&](std::string_view session) { return !over.contains(std::string(session)); }, .changed = {}});
    const auto mine = tokens.issue({1, sessionOf('a')});
    const auto others = tokens.issue({2, sessionOf('b')});
    const auto first = tokens.open(mine);
    const auto second = tokens.open(others);
    std::string ended;
    first.value().whenEnded([&] { ended += "a"; });
    second.value().whenEnded([&] { ended += "b"; });
    over.insert(sessionOf('a'));
    tokens.endSession(sessionOf('a'));
    EXPECT_EQ(ended, "a");
    EXPECT_FALSE(tokens.open(mine));
    EXPECT_TRUE(tokens.open(others));
    first.value().whenEnded([&] { ended += "late"; });
    EXPECT_EQ(ended, "alate") << "at once";
    tokens.endLapsed();
    EXPECT_EQ(ended, "alate") << "the other one lasts";
    over.insert(sessionOf('b'));
    tokens.endLapsed();
    EXPECT_EQ(ended, "alateb");
    const auto third = tokens.open(tokens.issue({3, sessionOf('c')}));
    third.value().whenEnded([&] { ended += "c"; });
    tokens.endUser(3);
    EXPECT_EQ(ended, "alatebc");
}

namespace {

const LanguagePair toSpanish{"en", "es"};

/// The processes that this one started, of all its threads. Each heads a group of its own.
std::vector<pid_t> children() {
    std::vector<pid_t> result;
    for (const auto& task : std::filesystem::directory_iterator("/proc/self/task")) {
        std::ifstream list(task.path() / "children");
        for (pid_t child = 0; list >> child;)
            result.push_back(child);
    }
    return result;
}

void signalPipelines(int signal) {
    const auto running = children();
    ASSERT_FALSE(running.empty());
    for (const auto child : running)
        ASSERT_EQ(kill(-child, signal), 0);
}

} // namespace

TEST(ApertiumTranslator, TranslatesBothWaysAndOffersNothingElse) {
    ApertiumTranslator translator;
    EXPECT_THAT(translator.pairs(), testing::ElementsAre(toSpanish, LanguagePair{"es", "en"}));
    EXPECT_EQ(translator.translation(toSpanish, "Good morning."), "Buenos días.");
    EXPECT_THAT(translator.translation({"es", "en"}, "¿Dónde está la casa?"), Optional(HasSubstr("house")));
    EXPECT_FALSE(translator.translation({"en", "de"}, "Good morning."));
    std::vector<std::future<std::optional<std::string>>> answers; // of several threads at the same time
    for (int i = 0; i < 10; ++i)
        answers.push_back(std::async(std::launch::async, [&translator, i] {
            return translator.translation(toSpanish, i % 2 == 0 ? "The house is red." : "The door is open.");
        }));
    for (std::size_t i = 0; i < answers.size(); ++i)
        EXPECT_EQ(answers[i].get(), i % 2 == 0 ? "La casa es roja." : "La puerta es abierta.");
    EXPECT_TRUE(ApertiumTranslator({.modes = "/nowhere"}).pairs().empty());
}

TEST(ApertiumTranslator, UnknownWordsMasksAndMarkupComeThroughUnmarked) {
    ApertiumTranslator translator;
    const std::string odd = R"(zorkish **** [x] {y} ^z$ a\b @ < > 𝜆)";
    EXPECT_EQ(translator.translation(toSpanish, "zorkish"), "zorkish");
    const auto answer = translator.translation(toSpanish, odd);
    ASSERT_TRUE(answer);
    for (const char* part : {"zorkish", "****", "[x]", "{", "}", "^z$", "@", "<", ">", "𝜆"})
        EXPECT_THAT(*answer, HasSubstr(part));
    EXPECT_EQ(translator.translation(toSpanish, std::string("good\0morning\n", 13)), "buenos días");
    EXPECT_EQ(translator.translation(toSpanish, ""), "");
}

TEST(ApertiumTranslator, APipelineThatWasKilledOrHangsIsReplaced) {
    ApertiumTranslator translator({.limit = 1s});
    while (!translator.translation(toSpanish, "one")) { // loading may take longer on a busy machine
    }
    signalPipelines(SIGKILL);
    while (!translator.translation(toSpanish, "one")) {
    }
    EXPECT_EQ(children().size(), 1U);
    signalPipelines(SIGSTOP);
    EXPECT_FALSE(translator.translation(toSpanish, "Good morning."));
    std::optional<std::string> answer;
    for (int attempt = 0; attempt < 20 && !answer; ++attempt)
        answer = translator.translation(toSpanish, "Good morning.");
    EXPECT_EQ(answer, "Buenos días.");
}
