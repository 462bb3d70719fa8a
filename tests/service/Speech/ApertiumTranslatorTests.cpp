#include "Speech/ApertiumTranslator.h"

#include <csignal>
#include <fstream>
#include <future>
#include <gmock/gmock.h>
#include <unistd.h>

using namespace parlowen::service;
using namespace std::chrono_literals;
using testing::HasSubstr;
using testing::Optional;

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
    EXPECT_EQ(translator.translate(toSpanish, "Good morning."), "Buenos días.");
    EXPECT_THAT(translator.translate({"es", "en"}, "¿Dónde está la casa?"), Optional(HasSubstr("house")));
    EXPECT_FALSE(translator.translate({"en", "de"}, "Good morning."));
    std::vector<std::future<std::optional<std::string>>> answers; // of several threads at the same time
    for (int i = 0; i < 10; ++i)
        answers.push_back(std::async(std::launch::async, [&translator, i] {
            return translator.translate(toSpanish, i % 2 == 0 ? "The house is red." : "The door is open.");
        }));
    for (std::size_t i = 0; i < answers.size(); ++i)
        EXPECT_EQ(answers[i].get(), i % 2 == 0 ? "La casa es roja." : "La puerta es abierta.");
    EXPECT_TRUE(ApertiumTranslator({.modes = "/nowhere"}).pairs().empty());
}

TEST(ApertiumTranslator, UnknownWordsMasksAndMarkupComeThroughUnmarked) {
    ApertiumTranslator translator;
    const std::string odd = R"(zorkish **** [x] {y} ^z$ a\b @ < > 𝜆)";
    EXPECT_EQ(translator.translate(toSpanish, "zorkish"), "zorkish");
    const auto answer = translator.translate(toSpanish, odd);
    ASSERT_TRUE(answer);
    for (const char* part : {"zorkish", "****", "[x]", "{", "}", "^z$", "@", "<", ">", "𝜆"})
        EXPECT_THAT(*answer, HasSubstr(part));
    EXPECT_EQ(translator.translate(toSpanish, std::string("good\0morning\n", 13)), "buenos días");
    EXPECT_EQ(translator.translate(toSpanish, ""), "");
}

TEST(ApertiumTranslator, APipelineThatWasKilledOrHangsIsReplaced) {
    ApertiumTranslator translator({.limit = 1s});
    while (!translator.translate(toSpanish, "one")) { // loading may take longer on a busy machine
    }
    signalPipelines(SIGKILL);
    while (!translator.translate(toSpanish, "one")) {
    }
    EXPECT_EQ(children().size(), 1U);
    signalPipelines(SIGSTOP);
    EXPECT_FALSE(translator.translate(toSpanish, "Good morning."));
    std::optional<std::string> answer;
    for (int attempt = 0; attempt < 20 && !answer; ++attempt)
        answer = translator.translate(toSpanish, "Good morning.");
    EXPECT_EQ(answer, "Buenos días.");
}
