#include "Resumes/ResumeExcerpt.h"
#include "Resumes/ResumeLines.h"
#include "support/TemporaryDirectory.h"

#include <nlohmann/json.hpp>

#include "support/Testing.h"

using namespace parlowen::service;
using namespace parlowen::testing;

namespace {

constexpr std::size_t most = 3;

const std::filesystem::path cases = PARLOWEN_SOURCE_DIR "/tests/service/Resumes/relevance";

nlohmann::json questions() { return nlohmann::json::parse(contentsOf(cases / "questions.json")); }

std::string withoutBreaks(std::string text) {
    std::replace(text.begin(), text.end(), '\n', ' ');
    return text;
}

class RelevantLines : public ::testing::TestWithParam<const char*> {};

} // namespace

TEST_P(RelevantLines, OfAtLeastEightQuestionsInTenHoldOneThatAReaderNamed) {
    const std::string resume = contentsOf(cases / GetParam());
    int relevant = 0;
    std::string missed;
    const nlohmann::json all = questions();
    for (const auto& entry : all.at(GetParam())) {
        const std::string question = entry.at("question");
        const auto lines = relevantLines(resume, question, most);
        EXPECT_LE(lines.size(), entry.contains("alone") ? 1 : most) << question;
        const auto isNamed = [&](const std::string& line) {
            EXPECT_NE(withoutBreaks(resume).find(line), std::string::npos) << "a quotation: " << line;
            const auto& named = entry.at("relevant");
            return std::any_of(named.begin(), named.end(), [&](const nlohmann::json& part) {
                return line.find(part.get<std::string>()) != std::string::npos;
            });
        };
        if (std::count_if(lines.begin(), lines.end(), isNamed) > 0)
            ++relevant;
        else
            missed += question + " -> " + (lines.empty() ? "nothing" : lines.front()) + "\n";
    }
    EXPECT_GE(relevant, 8) << missed;
}

INSTANTIATE_TEST_SUITE_P(BothLanguages, RelevantLines, ::testing::Values("english.txt", "chinese.txt"));

TEST(RelevantLinesOfOthers, AreNone) {
    const nlohmann::json all = questions();
    for (const auto& entry : all.at("nothing fits")) {
        const std::string resume = contentsOf(cases / entry.at("resume").get<std::string>());
        EXPECT_THAT(relevantLines(resume, entry.at("question").get<std::string>(), most), ElementsAre())
            << entry.at("question");
    }
    EXPECT_THAT(relevantLines("", "Kubernetes", most), ElementsAre());
    EXPECT_THAT(relevantLines("Kubernetes", "\" OR ( * NEAR", most), ElementsAre()) << "nobody writes queries";
}

TEST(ResumeExcerpt, KeepsWhatWasDoneUnderWhereItWasDone) {
    const std::string resume =
        "Jane\n\nSummary\nCook of soups.\n\nExperience\nChef, Alpha, 2015 - 2019\n- Led a team of five in "
        "2018.\n- Baked bread.\nHead chef, Beta, 2019.07 - 至今\n- Mentored 12 apprentices.\n"
        "Room 120199 of house B.\n";
    const ResumeBearing bearing = bearingOn(resume, "How did you lead and mentor?");
    EXPECT_THAT(bearing.quotes, ElementsAre("- Mentored 12 apprentices.", "- Led a team of five in 2018."));
    EXPECT_THAT(bearing.excerpt,
                ElementsAre("Cook of soups.", "Chef, Alpha, 2015 - 2019", "- Led a team of five in 2018.",
                            "Head chef, Beta, 2019.07 - 至今", "- Mentored 12 apprentices."));
    EXPECT_THAT(
        linesBehind(bearing.excerpt, "How did you lead and mentor?", "How I mentor: with 12 apprentices, patience."),
        ElementsAre("- Mentored 12 apprentices."));
    EXPECT_THAT(linesBehind({"首屏时间由 42 秒降到 11 秒", "熟悉前端"}, "性能？", "我熟悉优化，把首屏时间降到 11 秒。"),
                ElementsAre("首屏时间由 42 秒降到 11 秒"));
}
