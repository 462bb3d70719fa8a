// What finding the lines of a résumé costs that bear on a question, the index made anew for each, against reading the
// résumé's text apart alone in the same run. The cases: the tests' two résumés, and each of them ten times over.
#include "Measure.h"

#include <Resumes/ResumeLines.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <string>

namespace {

using namespace parlowen;

constexpr double targetMilliseconds = 5;

std::string contentsOf(const std::string& name) {
    std::ifstream file(std::string(PARLOWEN_SOURCE_DIR "/tests/service/Resumes/relevance/") + name);
    return {std::istreambuf_iterator<char>(file), {}};
}

bool judgeResume(const char* what, const std::string& resume, const char* question) {
    constexpr int rounds = 100;
    constexpr std::size_t most = 3;
    const auto rank = [&] {
        if (service::relevantLines(resume, question, most).empty()) {
            std::puts("MISS nothing was found");
            std::exit(1);
        }
    };
    const auto split = [&] {
        if (service::resumeLines(resume).empty())
            std::exit(1);
    };
    const auto cost = bench::compare(rank, split, rounds, 1);
    std::printf("%s: %zu lines, ranking is %.1f times the splitting\n", what, service::resumeLines(resume).size(),
                cost.ratio);
    return bench::judge(what, cost.subject / 1'000, targetMilliseconds, "ms");
}

std::string tenTimes(const std::string& text) {
    std::string all;
    for (int i = 0; i < 10; ++i)
        all += text;
    return all;
}

} // namespace

int main() {
    const std::string english = contentsOf("english.txt");
    const std::string chinese = contentsOf("chinese.txt");
    const char* asked = "How would you make a slow API faster, and how did you use Kafka?";
    const char* askedInChinese = "请介绍一次你做性能优化和数据库分库分表的经历。";
    bool met = judgeResume("English resume", english, asked);
    met = judgeResume("Chinese resume", chinese, askedInChinese) && met;
    met = judgeResume("English resume of ten pages", tenTimes(english), asked) && met;
    met = judgeResume("Chinese resume of ten pages", tenTimes(chinese), askedInChinese) && met;
    return met ? 0 : 1;
}
