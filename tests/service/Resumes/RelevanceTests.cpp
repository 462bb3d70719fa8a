#include "Resumes/ResumeLines.h"
#include "support/TemporaryDirectory.h"

#include <gmock/gmock.h>
#include <nlohmann/json.hpp>

using namespace parlowen::service;
using namespace parlowen::testing;
using ::testing::ElementsAre;

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
        EXPECT_LE(lines.size(), most);
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
