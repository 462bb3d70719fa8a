#include "QuestionTerms.h"

#include "Answers/Text.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <set>
#include <sstream>
#include <unicode/uchar.h>
#include <unicode/utf8.h>

namespace parlowen::service {

namespace {

/// Words of questions that say nothing about what is asked for.
constexpr std::string_view emptyWords =
    "a an the and or but of to in on at for with by from as is are was were be been being do does did done have has "
    "had "
    "will would can could should may might must you your yours yourself we our us i me my they their them he she his "
    "her "
    "it its this that these those what which who whom whose when where why how tell about describe explain give "
    "example "
    "time any some more most much many very so if than then there here please walk through talk say share like think "
    "feel work worked working job role company position question want know one thing something ever into between up "
    "out "
    "kind sort use used using make made go going get got take let lets well good best greatest biggest bring brings "
    "next "
    "ago years year last first after before current currently previous experience project projects";

/// The same in Chinese; longer ones go before those that they hold.
constexpr std::string_view emptyChinese = "举一个例子 举个例子 自我介绍 介绍一下 为什么 有没有 是不是 能不能 会不会 "
                                          "什么样 怎么样 请问 什么 怎么 怎样 如何 哪些 哪个 哪里 一下 一个 "
                                          "一次 一些 我们 你们 自己 可以 是否 曾经 遇到 觉得 认为 知道 介绍 谈谈 说说 "
                                          "讲讲 谈一 说一 讲一 例子 经历 经验 工作 公司 岗位 时候 情况 最大 "
                                          "主要 方面 之前 目前 过去 现在 以后 做过 用过 项目 的 了 吗 呢 你 我 他 她 "
                                          "它 们 是 请 吧 啊 么 这 那 很 最 过 和 与";

/// What belongs together. A question with one of the cues looks for all the words. Cues of English are whole words,
/// with
/// "*" for any ending; Chinese ones may stand anywhere.
struct Concept {
    std::string_view cues;
    std::string_view words;
};

constexpr Concept concepts[] = {
    {"yourself background resume 自我介绍 介绍一下你自己 介绍一下自己 介绍你自己",
     "summary profile years engineer led built cut award 经验 工程师 从业 毕业 负责 主导 带领"},
    {"stud* degree* universit* college* school* educat* graduat* major* 学历 毕业 学校 专业 大学 教育 学习背景",
     "education university college bachelor master phd degree bsc msc 大学 学院 本科 硕士 博士 学士"},
    {"lead* led manag* team* mentor* supervis* people 团队 管理 领导 带领 带人 下属",
     "led lead managed mentored team coordinated supervised hired 带领 团队 管理 组长 指导 负责人"},
    {"achiev* proud* accomplish* success* impact* result* 成就 自豪 骄傲 成绩 成果 贡献",
     "award won achieved increased reduced improved saved cut grew percent 提升 降低 增长 获奖 节省 缩短 优秀"},
    {"challeng* difficult* hard* problem* pressure* deadline* tough* 困难 挑战 难题 难点 压力 棘手",
     "incident outage migrated rebuilt solved deadline reduced 解决 故障 重构 攻克 并发 迁移 排查"},
    {"mistake* fail* wrong 失败 错误 失误", "incident outage postmortem rollback 故障 复盘 回滚"},
    {"strength* skill* hire strong* technolog* stack tool* 优点 优势 长处 擅长 技能 技术栈 掌握",
     "skills languages proficient fluent 熟练 精通 掌握 熟悉"},
    {"language* programming cod* 编程 编程语言 代码", "languages python java go rust javascript typescript sql 语言"},
    {"learn* course* certif* train* 学习 证书 培训 认证 自学",
     "learned certificate certified course training 证书 认证 课程 自学"},
    {"english fluent speak* foreign 英语 外语 口语 外国",
     "english fluent native ielts toefl cet 英语 流利 雅思 托福 六级"},
    {"perform* fast* slow* latenc* optimi* speed scal* 性能 优化 慢 提速 高并发 扩展",
     "latency throughput performance optimised optimized faster reduced cache scaled 优化 耗时 性能 缓存 并发 吞吐"},
    {"database* sql storage data 数据库 存储 数据",
     "database postgresql mysql sql redis mongodb index 数据库 索引 分库 缓存"},
    {"cloud deploy* devops infrastruct* operat* 云 部署 运维 上线 容器",
     "aws azure gcp cloud kubernetes docker terraform deployment ci 容器 部署 集群 云"},
    {"test* quality bug* debug* 测试 质量 缺陷", "tests testing coverage quality automated 测试 覆盖率 自动化 质量"},
    {"conflict* disagree* stakeholder* communicat* collaborat* cooperat* 冲突 分歧 沟通 合作 协作 协调",
     "stakeholders coordinated aligned partnered together agree agreed department departments 沟通 协调 协作 跨部门 "
     "配合"},
    {"customer* client* user* 客户 用户", "customers clients users support 客户 用户"},
    {"hobb* interest* free leisure volunteer* 爱好 兴趣 业余 志愿", "interests hobbies volunteer 爱好 兴趣 志愿者"},
    {"leave* left employer* career 离职 上一家 职业", "present 至今 任职"},
};

bool isChineseCue(std::string_view cue) { return hasChinese(cue); }

bool holdsCue(std::string_view question, const std::string& words, std::string_view cue) {
    if (isChineseCue(cue))
        return question.find(cue) != std::string_view::npos;
    const bool anyEnding = cue.back() == '*';
    const std::string wanted = " " + std::string(cue.substr(0, cue.size() - (anyEnding ? 1 : 0)));
    return words.find(anyEnding ? wanted : wanted + " ") != std::string::npos;
}

std::vector<std::string> listOf(std::string_view words) {
    std::istringstream stream{std::string(words)};
    std::vector<std::string> list;
    for (std::string word; stream >> word;)
        list.push_back(word);
    return list;
}

void addPairs(std::string_view run, std::vector<std::string>& pairs) {
    const auto characters = charactersOf(run);
    for (std::size_t i = 0; i + 1 < characters.size(); ++i)
        pairs.push_back(characters[i] + characters[i + 1]);
}

SearchTerms asked(std::string_view question) {
    static const auto chineseEmpty = listOf(emptyChinese);
    static const auto emptyList = listOf(emptyWords);
    static const std::set<std::string> empty(emptyList.begin(), emptyList.end());
    std::string rest(question);
    for (const std::string& word : chineseEmpty)
        rest = replaced(std::move(rest), word, " ");
    SplitText split = splitByWriting(rest);
    SearchTerms terms;
    std::copy_if(split.words.begin(), split.words.end(), std::back_inserter(terms.words),
                 [](const std::string& word) { return word.size() > 1 && !empty.contains(word); });
    for (const std::string& run : split.runs)
        addPairs(run, terms.pairs);
    return terms;
}

} // namespace

std::vector<std::string> charactersOf(std::string_view text) {
    std::vector<std::string> characters;
    const auto size = static_cast<std::int32_t>(text.size());
    for (std::int32_t at = 0; at < size;) {
        const std::int32_t start = at;
        U8_FWD_1(text.data(), at, size);
        characters.emplace_back(text.substr(static_cast<std::size_t>(start), static_cast<std::size_t>(at - start)));
    }
    return characters;
}

SplitText splitByWriting(std::string_view text) {
    SplitText split;
    std::string others;
    bool inRun = false;
    for (const std::string& character : charactersOf(text)) {
        if (!hasChinese(character)) {
            others += character;
            inRun = false;
            continue;
        }
        others += ' ';
        if (!inRun)
            split.runs.emplace_back();
        split.runs.back() += character;
        inRun = true;
    }
    split.words = listOf(spacedWords(others));
    return split;
}

QuestionTerms questionTerms(std::string_view question) {
    QuestionTerms terms{asked(question), {}};
    static const auto allCues = [] {
        std::array<std::vector<std::string>, std::size(concepts)> lists;
        std::transform(std::begin(concepts), std::end(concepts), lists.begin(),
                       [](const Concept& entry) { return listOf(entry.cues); });
        return lists;
    }();
    const std::string words = spacedWords(question);
    for (std::size_t i = 0; i < allCues.size(); ++i) {
        const auto& cues = allCues[i];
        if (std::none_of(cues.begin(), cues.end(), [&](const auto& cue) { return holdsCue(question, words, cue); }))
            continue;
        for (const std::string& word : listOf(concepts[i].words)) {
            if (hasChinese(word))
                addPairs(word, terms.related.pairs);
            else
                terms.related.words.push_back(word);
        }
    }
    return terms;
}

} // namespace parlowen::service
