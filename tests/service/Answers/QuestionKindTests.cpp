#include "Answers/QuestionKind.h"
#include "Answers/Text.h"

#include <gtest/gtest.h>

using namespace parlowen::service;
using Kind = QuestionKind;

namespace {

struct Example {
    Kind kind;
    const char* question;
};

// Recognised speech has no signs and little capitalisation; typed questions have both.
constexpr Example examples[] = {
    {Kind::Introduction, "Could you tell me about yourself?"},
    {Kind::Introduction, "please introduce yourself briefly"},
    {Kind::Introduction, "请先做一个简单的自我介绍吧。"},
    {Kind::Motivation, "Why do you want to work here?"},
    {Kind::Motivation, "what attracted you to our company"},
    {Kind::Motivation, "Why are you leaving your current job?"},
    {Kind::Motivation, "你为什么想加入我们公司？"},
    {Kind::Strength, "What are your greatest strengths?"},
    {Kind::Strength, "why should we hire you"},
    {Kind::Strength, "你最大的优点是什么？"},
    {Kind::Weakness, "What is your greatest weakness?"},
    {Kind::Weakness, "what would you say you need to improve"},
    {Kind::Weakness, "说说你的缺点。"},
    {Kind::Behavioural, "Tell me about a time when you disagreed with a colleague."},
    {Kind::Behavioural, "describe a difficult situation and how you handled it"},
    {Kind::Behavioural, "请讲一次你和同事发生冲突的经历，举个例子。"},
    {Kind::Technical, "How would you design a cache for a slow database?"},
    {Kind::Technical, "what's the difference between a process and a thread"},
    {Kind::Technical, "这个系统的架构你会怎么设计？"},
    {Kind::Plans, "Where do you see yourself in five years?"},
    {Kind::Plans, "谈谈你的职业规划。"},
    {Kind::Salary, "What are your salary expectations?"},
    {Kind::Salary, "你期望的薪资是多少？"},
    {Kind::Closing, "Do you have any questions for us?"},
    {Kind::Closing, "你还有什么问题想问我们吗？"},
    {Kind::General, "How was your trip this morning?"},
    {Kind::General, "今天天气不错。"},
    {Kind::General, ""},
};

} // namespace

TEST(QuestionKind, IsToldByTheWords) {
    for (const Example& example : examples)
        EXPECT_EQ(questionKind(example.question), example.kind) << example.question;
}

TEST(QuestionKind, TakesWholeWordsAlone) {
    EXPECT_EQ(questionKind("Was the salaryman there?"), Kind::General);
    EXPECT_EQ(questionKind("SALARY"), Kind::Salary);
    EXPECT_EQ(questionKind("What is your\nbiggest  weakness, then?"), Kind::Weakness);
}

TEST(Text, IsCutAtCharacters) {
    const std::string text = "a你好b😀";
    const auto cut = pieces(text, 2);
    EXPECT_EQ(cut, (std::vector<std::string_view>{"a你", "好b", "😀"}));
    EXPECT_TRUE(pieces("", 4).empty());
    EXPECT_EQ(tidied(" \n 你好 吗\t", 2), "你好");
    EXPECT_EQ(tidied("a\nb\x01", 10), "a b");
    EXPECT_EQ(tidied("  ", 10), "");
    EXPECT_EQ(spacedWords("What’s UP-now?"), " whats up now ");
    EXPECT_TRUE(hasChinese("abc 你"));
    EXPECT_FALSE(hasChinese("naïve “quotes” — ок"));
}
