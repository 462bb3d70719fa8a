#include "QuestionKind.h"

#include "Text.h"

#include <array>
#include <string>

namespace parlowen::service {

namespace {

/// Words that point to a kind. English ones are whole words in lower case without apostrophes; a "*" at the end stands
/// for any ending. The kind with the greatest sum wins, the earlier one in the enumeration on a tie.
struct Cue {
    QuestionKind kind;
    int weight;
    std::string_view words;
};

using Kind = QuestionKind;

constexpr Cue cues[] = {
    {Kind::Introduction, 6, "about yourself"},
    {Kind::Introduction, 6, "introduce yourself"},
    {Kind::Introduction, 4, "walk me through your resume"},
    {Kind::Introduction, 3, "your background"},
    {Kind::Introduction, 3, "who are you"},
    {Kind::Introduction, 6, "自我介绍"},
    {Kind::Introduction, 6, "介绍一下你自己"},
    {Kind::Introduction, 6, "介绍一下自己"},
    {Kind::Introduction, 3, "谈谈你自己"},
    {Kind::Motivation, 5, "why do you want"},
    {Kind::Motivation, 5, "why did you apply"},
    {Kind::Motivation, 5, "why this"},
    {Kind::Motivation, 5, "why our"},
    {Kind::Motivation, 4, "interested in"},
    {Kind::Motivation, 4, "interests you"},
    {Kind::Motivation, 4, "attract*"},
    {Kind::Motivation, 4, "motivat*"},
    {Kind::Motivation, 4, "leave your"},
    {Kind::Motivation, 4, "leaving your"},
    {Kind::Motivation, 5, "为什么想"},
    {Kind::Motivation, 5, "为什么选择"},
    {Kind::Motivation, 5, "为什么应聘"},
    {Kind::Motivation, 5, "为什么离职"},
    {Kind::Motivation, 4, "离开上一家"},
    {Kind::Motivation, 4, "吸引"},
    {Kind::Motivation, 4, "动机"},
    {Kind::Strength, 5, "strength*"},
    {Kind::Strength, 5, "strong points"},
    {Kind::Strength, 5, "hire you"},
    {Kind::Strength, 5, "good at"},
    {Kind::Strength, 4, "best quality"},
    {Kind::Strength, 4, "stand out"},
    {Kind::Strength, 5, "优点"},
    {Kind::Strength, 5, "优势"},
    {Kind::Strength, 5, "长处"},
    {Kind::Strength, 5, "擅长"},
    {Kind::Strength, 5, "录用你"},
    {Kind::Weakness, 6, "weakness*"},
    {Kind::Weakness, 6, "weak points"},
    {Kind::Weakness, 4, "shortcoming*"},
    {Kind::Weakness, 4, "need to improve"},
    {Kind::Weakness, 4, "want to improve"},
    {Kind::Weakness, 4, "areas of improvement"},
    {Kind::Weakness, 4, "areas for improvement"},
    {Kind::Weakness, 6, "缺点"},
    {Kind::Weakness, 6, "不足之处"},
    {Kind::Weakness, 6, "短板"},
    {Kind::Weakness, 6, "弱点"},
    {Kind::Weakness, 4, "需要改进"},
    {Kind::Behavioural, 6, "a time when"},
    {Kind::Behavioural, 6, "the time when"},
    {Kind::Behavioural, 6, "about a time"},
    {Kind::Behavioural, 6, "about the time"},
    {Kind::Behavioural, 5, "a time you"},
    {Kind::Behavioural, 5, "a situation"},
    {Kind::Behavioural, 4, "an example of"},
    {Kind::Behavioural, 4, "have you ever"},
    {Kind::Behavioural, 3, "conflict*"},
    {Kind::Behavioural, 3, "disagree*"},
    {Kind::Behavioural, 3, "difficult"},
    {Kind::Behavioural, 3, "challeng*"},
    {Kind::Behavioural, 3, "mistake*"},
    {Kind::Behavioural, 3, "fail*"},
    {Kind::Behavioural, 3, "deadline*"},
    {Kind::Behavioural, 3, "under pressure"},
    {Kind::Behavioural, 2, "team*"},
    {Kind::Behavioural, 5, "一次经历"},
    {Kind::Behavioural, 5, "举个例子"},
    {Kind::Behavioural, 5, "举一个例子"},
    {Kind::Behavioural, 4, "有没有遇到"},
    {Kind::Behavioural, 4, "遇到过"},
    {Kind::Behavioural, 3, "冲突"},
    {Kind::Behavioural, 3, "分歧"},
    {Kind::Behavioural, 3, "困难"},
    {Kind::Behavioural, 3, "挑战"},
    {Kind::Behavioural, 3, "失败"},
    {Kind::Behavioural, 3, "压力"},
    {Kind::Behavioural, 2, "团队"},
    {Kind::Technical, 5, "how would you design"},
    {Kind::Technical, 5, "how would you implement"},
    {Kind::Technical, 5, "how would you test"},
    {Kind::Technical, 5, "difference between"},
    {Kind::Technical, 3, "how does"},
    {Kind::Technical, 3, "explain"},
    {Kind::Technical, 3, "implement*"},
    {Kind::Technical, 3, "algorithm*"},
    {Kind::Technical, 3, "debug*"},
    {Kind::Technical, 3, "database*"},
    {Kind::Technical, 3, "programming"},
    {Kind::Technical, 3, "architecture"},
    {Kind::Technical, 3, "technical*"},
    {Kind::Technical, 2, "system*"},
    {Kind::Technical, 2, "code"},
    {Kind::Technical, 2, "slow"},
    {Kind::Technical, 2, "performance"},
    {Kind::Technical, 4, "怎么实现"},
    {Kind::Technical, 4, "如何实现"},
    {Kind::Technical, 4, "如何设计"},
    {Kind::Technical, 4, "怎么设计"},
    {Kind::Technical, 4, "原理"},
    {Kind::Technical, 4, "的区别"},
    {Kind::Technical, 3, "算法"},
    {Kind::Technical, 3, "数据库"},
    {Kind::Technical, 3, "架构"},
    {Kind::Technical, 3, "技术"},
    {Kind::Technical, 3, "代码"},
    {Kind::Technical, 3, "系统"},
    {Kind::Technical, 3, "性能"},
    {Kind::Plans, 6, "see yourself"},
    {Kind::Plans, 5, "career goal*"},
    {Kind::Plans, 5, "career plan*"},
    {Kind::Plans, 4, "in five years"},
    {Kind::Plans, 4, "long term"},
    {Kind::Plans, 5, "职业规划"},
    {Kind::Plans, 5, "职业目标"},
    {Kind::Plans, 5, "五年"},
    {Kind::Plans, 4, "未来规划"},
    {Kind::Plans, 4, "三年后"},
    {Kind::Salary, 7, "salary"},
    {Kind::Salary, 6, "compensation"},
    {Kind::Salary, 6, "pay expectation*"},
    {Kind::Salary, 5, "how much do you expect"},
    {Kind::Salary, 7, "薪资"},
    {Kind::Salary, 7, "薪水"},
    {Kind::Salary, 7, "薪酬"},
    {Kind::Salary, 7, "工资"},
    {Kind::Salary, 7, "待遇"},
    {Kind::Closing, 7, "any questions"},
    {Kind::Closing, 7, "questions for us"},
    {Kind::Closing, 7, "questions for me"},
    {Kind::Closing, 5, "anything to ask"},
    {Kind::Closing, 5, "anything else you"},
    {Kind::Closing, 5, "like to ask us"},
    {Kind::Closing, 7, "想问我们"},
    {Kind::Closing, 7, "想问的"},
    {Kind::Closing, 7, "有什么问题"},
    {Kind::Closing, 7, "要问我们"},
};

bool contains(const std::string& words, std::string_view plain, std::string_view cue) {
    if (hasChinese(cue))
        return plain.find(cue) != std::string_view::npos;
    const bool anyEnding = cue.back() == '*';
    const std::string wanted = " " + std::string(cue.substr(0, cue.size() - (anyEnding ? 1 : 0)));
    return words.find(anyEnding ? wanted : wanted + " ") != std::string::npos;
}

} // namespace

QuestionKind questionKind(std::string_view question) {
    const std::string words = spacedWords(question);
    std::array<int, static_cast<std::size_t>(Kind::General)> sums{};
    for (const Cue& cue : cues) {
        if (contains(words, question, cue.words))
            sums.at(static_cast<std::size_t>(cue.kind)) += cue.weight;
    }
    auto best = Kind::General;
    int most = 2; // two points alone are too little to tell
    for (std::size_t kind = 0; kind < sums.size(); ++kind) {
        if (sums.at(kind) > most) {
            most = sums.at(kind);
            best = static_cast<Kind>(kind);
        }
    }
    return best;
}

} // namespace parlowen::service
