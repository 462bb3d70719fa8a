#include "ResumeLines.h"

#include "Answers/Text.h"
#include "QuestionTerms.h"
#include "Store/Database.h"

#include <algorithm>
#include <map>
#include <sstream>
#include <utility>

namespace parlowen::service {

namespace {

constexpr std::size_t longLine = 140;    ///< characters, beyond which a line is split into sentences
constexpr std::size_t leastWrapped = 20; ///< characters of the longest line in a text that was wrapped
constexpr double relatedWeight = 0.5;    ///< of a term that the question does not hold itself
constexpr double leastOfBest = 0.4;      ///< a line with less of the best one's score does not bear on the question
constexpr std::size_t mostLines = 400;   ///< that are ranked

constexpr std::string_view headings[] = {
    "education",
    "experience",
    "work experience",
    "professional experience",
    "employment",
    "employment history",
    "projects",
    "skills",
    "technical skills",
    "awards",
    "honors",
    "certifications",
    "certificates",
    "languages",
    "summary",
    "profile",
    "about me",
    "objective",
    "interests",
    "hobbies",
    "publications",
    "references",
    "contact",
    "volunteering",
    "volunteer experience",
    "教育背景",
    "教育经历",
    "工作经历",
    "工作经验",
    "项目经历",
    "项目经验",
    "实习经历",
    "校园经历",
    "专业技能",
    "技能",
    "技能特长",
    "获奖情况",
    "荣誉奖项",
    "证书",
    "资格证书",
    "自我评价",
    "个人简介",
    "个人总结",
    "语言能力",
    "兴趣爱好",
    "求职意向",
    "基本信息",
    "联系方式",
    "志愿经历",
};

bool isHeading(std::string_view line) {
    while (line.ends_with(":") || line.ends_with("：") || line.ends_with(" "))
        line.remove_suffix(line.ends_with("：") ? std::string_view("：").size() : 1);
    std::string lower(line);
    std::transform(lower.begin(), lower.end(), lower.begin(), [](unsigned char c) { return std::tolower(c); });
    return std::find(std::begin(headings), std::end(headings), lower) != std::end(headings);
}

/// An address, or nothing but numbers and signs.
bool isContact(std::string_view line) {
    const auto isLetter = [](char c) { return std::isalpha(static_cast<unsigned char>(c)) != 0 || (c & 0x80) != 0; };
    return line.find('@') != std::string_view::npos || std::none_of(line.begin(), line.end(), isLetter);
}

bool endsSentence(std::string_view line) {
    for (const char* end : {".", ";", ":", "!", "?", "。", "；", "：", "！", "？"})
        if (line.ends_with(end))
            return true;
    return false;
}

/// Where the lines of a text were wrapped: the margin is known by several lines that reach it.
class Wrapping {
public:
    explicit Wrapping(const std::vector<std::string>& lines) {
        for (const std::string& line : lines)
            longest_ = std::max(longest_, charactersOf(line).size());
        const auto reaching =
            std::count_if(lines.begin(), lines.end(), [this](const auto& line) { return reaches(line); });
        hasMargin_ = longest_ >= leastWrapped && reaching > 1;
    }

    /// Whether `next` goes on with the sentence of the line before it.
    bool joins(std::string_view line, std::string_view next) const {
        if (endsSentence(line) || isHeading(line) || isHeading(next) || isContact(line) || isContact(next))
            return false;
        if (next.front() >= 'a' && next.front() <= 'z')
            return true;
        const bool isWord =
            std::isalpha(static_cast<unsigned char>(next.front())) != 0 || hasChinese(next.substr(0, 3));
        return hasMargin_ && isWord && reaches(line);
    }

private:
    bool reaches(std::string_view line) const { return charactersOf(line).size() * 10 >= longest_ * 9; }

    std::size_t longest_ = 0;
    bool hasMargin_ = false;
};

std::vector<std::string> unwrapped(std::string_view text) {
    std::istringstream stream{std::string(text)};
    std::vector<std::string> lines;
    for (std::string line; std::getline(stream, line);)
        if (line = tidied(line, line.size()); !line.empty())
            lines.push_back(line);
    const Wrapping wrapping(lines);
    std::vector<std::string> joinedLines;
    for (std::size_t i = 0; i < lines.size(); ++i) {
        if (i == 0 || !wrapping.joins(lines[i - 1], lines[i])) {
            joinedLines.push_back(lines[i]);
            continue;
        }
        const bool inChinese = hasChinese(lines[i].substr(0, 3));
        joinedLines.back().append(inChinese ? "" : " ").append(lines[i]);
    }
    return joinedLines;
}

/// A long line as its sentences.
std::vector<std::string> sentences(const std::string& line) {
    if (charactersOf(line).size() <= longLine)
        return {line};
    std::vector<std::string> parts;
    std::string part;
    const auto characters = charactersOf(line);
    for (std::size_t i = 0; i < characters.size(); ++i) {
        part += characters[i];
        const bool blankFollows = i + 1 < characters.size() && characters[i + 1] == " ";
        const bool isChineseEnd = characters[i] == "。" || characters[i] == "；";
        if (isChineseEnd || ((characters[i] == "." || characters[i] == ";") && blankFollows))
            parts.push_back(tidied(std::exchange(part, {}), longLine * 10));
    }
    if (const std::string last = tidied(part, longLine * 10); !last.empty())
        parts.push_back(last);
    return parts;
}

/// Characters apart, so that the trigrams of the tokenizer are pairs of neighbours: "a|b" for each.
std::string apart(std::string_view run) {
    std::string text;
    for (const std::string& character : charactersOf(run))
        text.append(text.empty() ? "" : "|").append(character);
    return text;
}

std::string joined(const std::vector<std::string>& words) {
    std::string text;
    for (const std::string& word : words)
        text.append(word).append(" ");
    return text;
}

/// The lines of one résumé at a time in two full-text tables: English words by their stems, Chinese characters by
/// pairs. Making the tables takes longer than all the rest, so each thread keeps its own; the lines go with their
/// transaction.
class LineIndex {
public:
    LineIndex()
        : database_(withTables()) {}

    /// What each line is worth for the terms.
    std::vector<double> scores(const std::vector<ResumeLine>& lines, const QuestionTerms& terms) {
        const SQLite::Transaction untilRolledBack(database_);
        for (std::size_t i = 0; i < lines.size(); ++i) {
            const SplitText line = splitByWriting(lines[i].text);
            const SplitText heading = splitByWriting(lines[i].heading);
            insert(newWords_, i, joined(line.words), joined(heading.words));
            insert(newPairs_, i, pairsOf(line.runs), pairsOf(heading.runs));
        }
        std::vector<double> scores(lines.size(), 0.0);
        score(terms.asked, 1.0, scores);
        score(terms.related, relatedWeight, scores);
        return scores;
    }

private:
    static SQLite::Database withTables() {
        SQLite::Database database(":memory:", SQLite::OPEN_READWRITE | SQLite::OPEN_CREATE | SQLite::OPEN_NOMUTEX);
        database.exec(
            "CREATE VIRTUAL TABLE words USING fts5 (line, heading, content = '', tokenize = 'porter unicode61');"
            "CREATE VIRTUAL TABLE pairs USING fts5 (line, heading, content = '', tokenize = 'trigram')");
        return database;
    }

    void score(const SearchTerms& terms, double weight, std::vector<double>& scores) {
        std::string words;
        for (const std::string& word : terms.words)
            words.append(words.empty() ? "\"" : " OR \"").append(word).append("\"");
        std::string pairs;
        for (const std::string& pair : terms.pairs)
            pairs.append(pairs.empty() ? "\"" : " OR \"").append(apart(pair)).append("\"");
        add(rankedWords_, words, weight, scores);
        add(rankedPairs_, pairs, weight, scores);
    }

    static std::string pairsOf(const std::vector<std::string>& runs) {
        std::string text;
        for (const std::string& run : runs)
            text.append(apart(run)).append("||");
        return text;
    }

    static void insert(SQLite::Statement& statement, std::size_t line, const std::string& text,
                       const std::string& heading) {
        statement.tryReset();
        statement.bind(1, static_cast<std::int64_t>(line));
        statement.bind(2, text);
        statement.bind(3, heading);
        statement.exec();
    }

    static void add(SQLite::Statement& rows, const std::string& query, double weight, std::vector<double>& scores) {
        if (query.empty())
            return;
        rows.tryReset();
        rows.bind(1, query);
        while (rows.executeStep()) // the better a match, the more negative its rank
            scores.at(static_cast<std::size_t>(rows.getColumn(0).getInt64())) -= weight * rows.getColumn(1).getDouble();
    }

    SQLite::Database database_;
    SQLite::Statement newWords_{database_, "INSERT INTO words (rowid, line, heading) VALUES (?, ?, ?)"};
    SQLite::Statement newPairs_{database_, "INSERT INTO pairs (rowid, line, heading) VALUES (?, ?, ?)"};
    SQLite::Statement rankedWords_{database_, "SELECT rowid, bm25(words, 1.0, 0.4) FROM words WHERE words MATCH ?"};
    SQLite::Statement rankedPairs_{database_, "SELECT rowid, bm25(pairs, 1.0, 0.4) FROM pairs WHERE pairs MATCH ?"};
};

} // namespace

std::vector<ResumeLine> resumeLines(std::string_view text) {
    std::vector<ResumeLine> lines;
    std::string heading;
    for (const std::string& line : unwrapped(text)) {
        if (isHeading(line)) {
            heading = line;
            continue;
        }
        if (isContact(line))
            continue;
        for (std::string& sentence : sentences(line))
            lines.push_back({std::move(sentence), heading});
    }
    return lines;
}

std::vector<std::string> relevantLines(std::string_view resume, std::string_view question, std::size_t most) {
    std::vector<ResumeLine> lines = resumeLines(resume);
    lines.resize(std::min(lines.size(), mostLines));
    thread_local LineIndex index;
    const std::vector<double> scores = index.scores(lines, questionTerms(question));

    std::multimap<double, std::size_t, std::greater<>> ranked;
    for (std::size_t i = 0; i < lines.size(); ++i)
        if (scores[i] > 0)
            ranked.emplace(scores[i], i);
    std::vector<std::string> relevant;
    for (const auto& [score, line] : ranked) {
        if (relevant.size() == most || score < leastOfBest * ranked.begin()->first)
            break;
        relevant.push_back(lines[line].text);
    }
    return relevant;
}

} // namespace parlowen::service
