#include "Answers/Outline.h"

#include "Answers/QuestionKind.h"

#include <gtest/gtest.h>

using namespace parlowen::service;
using Kind = QuestionKind;

namespace {

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

} // namespace

TEST(Outline, SpeaksTheQuestionsLanguageAndSaysWhatItIs) {
    const std::string chinese = outlineFor({.text = "你的缺点是什么？", .position = "后端工程师"});
    for (const char* part : {"提纲", "未使用语言模型", "不足类问题", "“后端工程师”岗位"})
        EXPECT_TRUE(has(chinese, part)) << chinese;
    const std::string english = outlineFor({.text = "What is your weakness?", .position = "backend engineer"});
    for (const char* part : {"Outline", "no language model", "the backend engineer role"})
        EXPECT_TRUE(has(english, part)) << english;
    for (const char* text : {"Tell me about a time when you failed.", "请讲一次失败的经历，举个例子。"})
        EXPECT_GT(outlineFor({.type = 2, .text = text}).size(), outlineFor({.type = 1, .text = text}).size() * 3 / 2);
}

TEST(Outline, IsWordedWithAndWithoutAPosition) {
    for (const char* text : {"hello there", "你好"}) {
        const std::string nameless = outlineFor({.type = 2, .text = text});
        EXPECT_FALSE(has(nameless, "{")) << nameless;
        const std::string odd = outlineFor({.type = 2, .text = text, .position = "{role}{position}"});
        EXPECT_TRUE(has(odd, "{role}{position}")) << odd;
    }
}

TEST(Outline, EndsWithQuotationsThatNothingIsPutInto) {
    const std::string quoted = outlineFor({.text = "Why you?", .position = "cook", .quotes = {"a {role}", "b"}});
    EXPECT_TRUE(quoted.ends_with("\nFrom your resume:\n   \"a {role}\"\n   \"b\"")) << quoted;
    EXPECT_TRUE(outlineFor({.text = "你好", .quotes = {"甲"}}).ends_with("简历中的相关内容：\n   “甲”"));
}

TEST(QuestionKind, IsToldByTheWords) {
    for (const Example& example : examples)
        EXPECT_EQ(questionKind(example.question), example.kind) << example.question;
}
