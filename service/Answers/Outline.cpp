#include "Outline.h"

#include "OutlineTexts.h"
#include "Text.h"

#include <algorithm>
#include <span>

namespace parlowen::service {

namespace {

constexpr std::int64_t detailedType = 2;
constexpr std::size_t mostQuotes = 3;

struct Wording {
    std::string_view heading; ///< with the kind's title
    std::string_view position;
    std::string_view positionOrNone;
    std::string_view noPosition;
    std::string_view opening;
    std::string_view detail;
    std::string_view caution;
    std::string_view quotes; ///< before those of the résumé
    std::string_view quoted; ///< one of them, as "{quote}"
};

constexpr Wording chinese{"【提纲】{title}（按固定模板整理，未使用语言模型）\n",
                          "应聘岗位：{position}\n",
                          "“{position}”岗位",
                          "目标岗位",
                          "开场：",
                          "   · ",
                          "注意：",
                          "简历中的相关内容：\n",
                          "   “{quote}”\n"};
constexpr Wording english{"[Outline] {title} (from a fixed template, no language model)\n",
                          "Position: {position}\n",
                          "the {position} role",
                          "the role",
                          "Opening: ",
                          "   - ",
                          "Mind: ",
                          "From your resume:\n",
                          "   \"{quote}\"\n"};

std::string numberedPoints(const OutlineText& text, const Wording& wording, bool detailed) {
    std::string lines;
    int number = 0;
    for (const OutlinePoint& point : text.points) {
        lines.append(std::to_string(++number)).append(". ").append(point.brief).append("\n");
        if (detailed)
            lines.append(wording.detail).append(point.detail).append("\n");
    }
    return lines;
}

/// Nothing where there are none. The résumé's words stay as they are.
std::string quotations(const std::vector<std::string>& quotes, const Wording& wording) {
    std::string lines(quotes.empty() ? std::string_view() : wording.quotes);
    for (const std::string& quote : std::span(quotes).first(std::min(quotes.size(), mostQuotes)))
        lines.append(replaced(std::string(wording.quoted), "{quote}", quote));
    return lines;
}

} // namespace

std::string outlineFor(const Question& question) {
    const bool inChinese = hasChinese(question.text);
    const bool detailed = question.type == detailedType;
    const Wording& wording = inChinese ? chinese : english;
    const OutlineText& text = outlineText(questionKind(question.text), inChinese);

    std::string outline = replaced(std::string(wording.heading), "{title}", text.title);
    if (!question.position.empty())
        outline.append(wording.position);
    if (detailed)
        outline.append(wording.opening).append(text.opening).append("\n");
    outline.append(numberedPoints(text, wording, detailed));
    if (detailed)
        outline.append(wording.caution).append(text.caution).append("\n");
    outline = replaced(outline, "{role}", question.position.empty() ? wording.noPosition : wording.positionOrNone);
    outline = replaced(outline, "{position}", question.position);
    outline.append(quotations(question.quotes, wording));
    outline.pop_back(); // an answer does not end with an empty line
    return outline;
}

boost::asio::awaitable<void> Outline::answer(const Question& question, AnswerSink& sink) {
    const std::string outline = outlineFor(question);
    for (std::size_t start = 0; start < outline.size();) {
        const std::size_t end = std::min(outline.find('\n', start), outline.size() - 1) + 1;
        const bool wanted = co_await sink.piece(std::string_view(outline).substr(start, end - start));
        if (!wanted)
            co_return;
        start = end;
    }
}

} // namespace parlowen::service
