#include "Answers/AnswerRoutes.h"
#include "Answers/Outline.h"
#include "Answers/QuestionKind.h"
#include "support/RunningService.h"
#include <gtest/gtest.h>
#include <numeric>

using namespace parlowen::service;
using namespace parlowen::testing;
using boost::asio::awaitable;
using Kind = QuestionKind;

namespace {

constexpr const char* path = "/api/v1/ai/meeting";

/// The contents of a stream's events, in order; fails on anything else in it.
std::vector<std::string> contentsOfEvents(const std::string& body) {
    std::vector<std::string> contents;
    std::size_t start = 0;
    for (auto end = body.find("\n\n"); end != std::string::npos; end = body.find("\n\n", start)) {
        const std::string line = body.substr(start, end - start);
        if (line == R"(: grounds ["data: line\n","zeile"])" || line == ": failed") {
            contents.emplace_back(line.substr(2, 7));
            start = end + 2;
            continue;
        }
        EXPECT_EQ(line.rfind("data: {", 0), 0U) << line;
        EXPECT_EQ(line.find('\n'), std::string::npos) << line;
        EXPECT_EQ(line.find("data: ", 1), std::string::npos) << line;
        contents.push_back(nlohmann::json::parse(line.substr(6)).at("data").at("content").get<std::string>());
        start = end + 2;
    }
    EXPECT_EQ(start, body.size());
    return contents;
}

nlohmann::json question(const char* text, int type = 1) {
    return {{"type", type}, {"txt", text}, {"prompt", "后端工程师"}, {"original_language", "中文（简体）"}};
}

/// Sends what a stream could trip over, then fails.
struct AwkwardSource final : AnswerSource {
    awaitable<void> answer(const Question&, AnswerSink& sink) override {
        for (const char* text : {"data: x\n\"", "@@", ""})
            co_await sink.piece(text);
        const std::vector<std::string> lines{"data: line\n", "zeile"};
        co_await sink.grounds(lines);
        throw std::runtime_error("fails on purpose");
    }
};

TEST(AnswerRoutes, StreamTheAnswerAndTheEndMarkAndRefuseWhatTheyCannotAnswer) {
    const RunningService service;
    const ServiceClient client = service.client();
    const std::string token = service.token();
    const Reply reply = client.post(path, question("你为什么想加入我们？", 2), token);
    EXPECT_EQ(reply.headers.at("content-type"), "text/event-stream; charset=utf-8");
    const auto contents = contentsOfEvents(reply.body);
    ASSERT_EQ(contents.size(), 11U) << "line by line";
    EXPECT_EQ(contents.front().back(), '\n');
    EXPECT_EQ(std::accumulate(contents.begin(), contents.end(), std::string()),
              outlineFor({.type = 2, .text = "你为什么想加入我们？", .position = "后端工程师"}) + "@@");
    EXPECT_EQ(client.post(path, question("你好")).status, 401);
    EXPECT_EQ(client.send("POST", path, "[1]", token).status, 400);
    for (const nlohmann::json& body : {question(" \n"), nlohmann::json{{"type", "x"}, {"txt", 5}}})
        EXPECT_EQ(contentsOfEvents(client.post(path, body, token).body),
                  (std::vector<std::string>{"failed", "没有收到问题内容。", "@@"}));
    const nlohmann::json english = {{"original_language", "英语（美国）"}};
    EXPECT_EQ(contentsOfEvents(client.post(path, english, token).body).at(1), "There was no question.");
}

TEST(AnswerRoutes, EscapeWhatWouldReadAsPartOfTheStream) {
    AwkwardSource source;
    Router router;
    addAnswerRoutes(router, source, [](const HttpRequest&) { return std::nullopt; });
    const RunningServer server(std::move(router));
    const auto contents = contentsOfEvents(server.client().post(path, question("hello")).body);
    EXPECT_EQ(contents, (std::vector<std::string>{"data: x\n\"", "@", "@", "", "grounds", "failed",
                                                  "The answer broke off; please ask again.", "@@"}));
}

bool has(const std::string& text, std::string_view part) { return text.find(part) != std::string::npos; }

struct Example {
    Kind kind;
    const char* question;
};

// Recognised speech has no signs and little capitalisation; typed questions have both.
constexpr Example examples[] = {
    {Kind::Introduction, "Could you tell me about yourself?"},
    {Kind::Motivation, "what attracted you to our company"},
    {Kind::Motivation, "你为什么想加入我们公司？"},
    {Kind::Strength, "why should we hire you"},
    {Kind::Weakness, "What is your\nbiggest  weakness, then?"},
    {Kind::Behavioural, "Tell me about a time when you disagreed with a colleague."},
    {Kind::Behavioural, "请讲一次你和同事发生冲突的经历，举个例子。"},
    {Kind::Technical, "what's the difference between a process and a thread"},
    {Kind::Technical, "这个系统的架构你会怎么设计？"},
    {Kind::Plans, "Where do you see yourself in five years?"},
    {Kind::Salary, "SALARY"},
    {Kind::Salary, "你期望的薪资是多少？"},
    {Kind::Closing, "Do you have any questions for us?"},
    {Kind::General, "今天天气不错。"},
    {Kind::General, ""},
    {Kind::General, "Was the salaryman there?"},
};

TEST(Outline, SpeaksTheQuestionsLanguageSaysWhatItIsAndEndsWithQuotations) {
    const std::string chinese = outlineFor({.text = "你的缺点是什么？", .position = "后端工程师"});
    for (const char* part : {"提纲", "未使用语言模型", "不足类问题", "“后端工程师”岗位"})
        EXPECT_TRUE(has(chinese, part)) << chinese;
    const std::string english = outlineFor({.text = "What is your weakness?", .position = "backend engineer"});
    for (const char* part : {"Outline", "no language model", "the backend engineer role"})
        EXPECT_TRUE(has(english, part)) << english;
    for (const char* text : {"Tell me about a time when you failed.", "请讲一次失败的经历，举个例子。"})
        EXPECT_GT(outlineFor({.type = 2, .text = text}).size(), outlineFor({.type = 1, .text = text}).size() * 3 / 2);
    for (const char* text : {"hello there", "你好"}) {
        const std::string nameless = outlineFor({.type = 2, .text = text});
        EXPECT_FALSE(has(nameless, "{")) << nameless;
        const std::string odd = outlineFor({.type = 2, .text = text, .position = "{role}{position}"});
        EXPECT_TRUE(has(odd, "{role}{position}")) << odd;
    }
    const std::string quoted = outlineFor({.text = "Why you?", .position = "cook", .quotes = {"a {role}", "b"}});
    EXPECT_TRUE(quoted.ends_with("\nFrom your resume:\n   \"a {role}\"\n   \"b\"")) << quoted;
    EXPECT_EQ(outlineFor({.text = "Why?", .quotes = {"a", "b", "c", "fourth"}}).find("fourth"), std::string::npos);
    EXPECT_TRUE(outlineFor({.text = "你好", .quotes = {"甲"}}).ends_with("简历中的相关内容：\n   “甲”"));
}

TEST(QuestionKind, IsToldByTheWords) {
    for (const Example& example : examples)
        EXPECT_EQ(questionKind(example.question), example.kind) << example.question;
}

} // namespace
