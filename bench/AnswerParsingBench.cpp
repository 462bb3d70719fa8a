// What taking an answer stream apart costs, against parsing its JSON texts alone in the same run. The case: an answer
// of 300 pieces, as one delivery, as a delivery an event, and cut into deliveries of 48 bytes.
#include "Measure.h"

#include <Tools/AnswerStreamParser.h>

#include <cstdlib>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

namespace {

using namespace parlowen;

constexpr int pieces = 300;
constexpr double target = 1.5;

std::vector<std::string> answerTexts() {
    const std::string words[] = {"我",       "在上一份工作中",           "负责",    "the build system, ", "用 C++20 ",
                                 "重写了\n", "，把构建时间缩短了一半。", "First, ", "\"situation\"; "};
    std::vector<std::string> texts;
    for (int i = 0; i < pieces; ++i) {
        const nlohmann::json event = {{"code", 0},
                                      {"message", ""},
                                      {"data", {{"content", words[static_cast<std::size_t>(i) % std::size(words)]}}}};
        texts.push_back(event.dump());
    }
    return texts;
}

std::string streamOf(const std::vector<std::string>& texts) {
    std::string stream;
    for (const std::string& text : texts)
        stream += "data: " + text + "\n\n";
    return stream;
}

std::vector<std::string> cutEvery(const std::string& stream, std::size_t bytes) {
    std::vector<std::string> deliveries;
    for (std::size_t start = 0; start < stream.size(); start += bytes)
        deliveries.push_back(stream.substr(start, bytes));
    return deliveries;
}

void parseStream(const std::vector<std::string>& deliveries) {
    AnswerStreamParser parser;
    std::size_t found = 0;
    for (const std::string& delivery : deliveries)
        found += parser.feed({delivery.data(), static_cast<qsizetype>(delivery.size())}).size();
    if (found != pieces) {
        std::puts("MISS the parser lost a piece");
        std::exit(1);
    }
}

void parseTexts(const std::vector<std::string>& texts) {
    for (const std::string& text : texts) {
        if (nlohmann::json::parse(text)["data"]["content"].get_ref<const std::string&>().empty())
            std::exit(1);
    }
}

bool judgeDeliveries(const char* what, const std::vector<std::string>& deliveries,
                     const std::vector<std::string>& texts) {
    constexpr int rounds = 200;
    constexpr int calls = 5;
    const auto cost = bench::compare([&] { parseStream(deliveries); }, [&] { parseTexts(texts); }, rounds, calls);
    std::printf("%s: stream %.1f us, its JSON alone %.1f us\n", what, cost.subject, cost.baseline);
    return bench::judge(what, cost.ratio, target, "x");
}

} // namespace

int main() {
    const std::vector<std::string> texts = answerTexts();
    const std::string stream = streamOf(texts);
    std::vector<std::string> byEvent;
    for (const std::string& text : texts)
        byEvent.push_back("data: " + text + "\n\n");
    bool met = judgeDeliveries("answer in one delivery", {stream}, texts);
    met = judgeDeliveries("answer in a delivery an event", byEvent, texts) && met;
    met = judgeDeliveries("answer in deliveries of 48 bytes", cutEvery(stream, 48), texts) && met;
    return met ? 0 : 1;
}
