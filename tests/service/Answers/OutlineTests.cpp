#include "Answers/Outline.h"

#include "Answers/OutlineTexts.h"

#include <boost/asio/co_spawn.hpp>
#include <boost/asio/detached.hpp>
#include <boost/asio/io_context.hpp>
#include <gtest/gtest.h>

using namespace parlowen::service;
using boost::asio::awaitable;
using namespace std::chrono_literals;

namespace {

bool has(const std::string& text, std::string_view part) { return text.find(part) != std::string::npos; }

/// Writes down what reaches it; wants so many pieces and no more.
class RecordingSink final : public AnswerSink {
public:
    explicit RecordingSink(std::size_t wanted)
        : wanted_(wanted) {}
    awaitable<bool> piece(std::string_view text) override {
        pieces.emplace_back(text);
        order.push_back('p');
        co_return pieces.size() < wanted_;
    }
    awaitable<bool> pause(std::chrono::milliseconds duration) override {
        EXPECT_EQ(duration, 7ms);
        order.push_back('-');
        co_return true;
    }

    std::vector<std::string> pieces;
    std::string order;

private:
    std::size_t wanted_;
};

void run(Outline& outline, const Question& question, AnswerSink& sink) {
    boost::asio::io_context context;
    boost::asio::co_spawn(context, outline.answer(question, sink), boost::asio::detached);
    context.run();
}

} // namespace

TEST(Outline, SpeaksTheQuestionsLanguageAndSaysWhatItIs) {
    const std::string chinese = outlineFor({.text = "你的缺点是什么？", .position = "后端工程师"});
    EXPECT_TRUE(has(chinese, "提纲")) << chinese;
    EXPECT_TRUE(has(chinese, "未使用语言模型")) << chinese;
    EXPECT_TRUE(has(chinese, "不足类问题")) << chinese;
    EXPECT_TRUE(has(chinese, "“后端工程师”岗位")) << chinese;

    const std::string english = outlineFor({.text = "What is your weakness?", .position = "backend engineer"});
    EXPECT_TRUE(has(english, "Outline")) << english;
    EXPECT_TRUE(has(english, "no language model")) << english;
    EXPECT_TRUE(has(english, "the backend engineer role")) << english;
}

TEST(Outline, IsConciseOrDetailedByType) {
    for (const char* text : {"Tell me about a time when you failed.", "请讲一次失败的经历，举个例子。"}) {
        const std::string concise = outlineFor({.type = 1, .text = text, .position = "QA"});
        const std::string detailed = outlineFor({.type = 2, .text = text, .position = "QA"});
        EXPECT_GT(detailed.size(), concise.size() * 3 / 2) << detailed;
        EXPECT_TRUE(has(concise, "3. "));
        EXPECT_TRUE(has(detailed, "3. "));
    }
}

TEST(Outline, EveryKindIsWordedWithAndWithoutAPosition) {
    for (int number = 0; number <= static_cast<int>(QuestionKind::General); ++number) {
        const auto kind = static_cast<QuestionKind>(number);
        EXPECT_EQ(outlineText(kind, true).kind, kind);
        EXPECT_EQ(outlineText(kind, false).kind, kind);
    }
    for (const char* text : {"hello there", "你好"}) {
        const std::string nameless = outlineFor({.type = 2, .text = text});
        EXPECT_FALSE(has(nameless, "{")) << nameless;
        const std::string odd = outlineFor({.type = 2, .text = text, .position = "{role}{position}"});
        EXPECT_TRUE(has(odd, "{role}{position}")) << odd;
    }
}

TEST(Outline, GoesOutInSmallPiecesTheFirstAtOnce) {
    const Question question{.text = "你好", .position = "QA"};
    Outline outline({.charactersEach = 5, .pause = 7ms});
    RecordingSink all(1'000);
    run(outline, question, all);
    std::string joined;
    for (const std::string& piece : all.pieces)
        joined += piece;
    EXPECT_EQ(joined, outlineFor(question));
    EXPECT_EQ(all.order.substr(0, 4), "p-p-");

    RecordingSink three(3);
    run(outline, question, three);
    EXPECT_EQ(three.pieces.size(), 3U) << "ends when nobody reads any more";
}
