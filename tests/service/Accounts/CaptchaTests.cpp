#include "Captcha/CaptchaRoutes.h"
#include "Http/Server.h"

#include <gtest/gtest.h>
#include <httplib.h>
#include <nlohmann/json.hpp>

using namespace parlowen::service;
using namespace std::chrono_literals;

namespace {

/// How a hand moves: quick at first, slower towards the place, never twice the same.
std::vector<DragStep> dragTo(double x) {
    std::vector<DragStep> trace{{100, 0}};
    for (int i = 1; i <= 20; ++i)
        trace.push_back({100 + i * 17.0 + i % 3, x * (1 - (1 - i / 20.0) * (1 - i / 20.0))});
    return trace;
}

class CaptchaJudging : public ::testing::Test {
protected:
    Captcha made(const std::string& address = "127.0.0.1") {
        auto captcha = captchas.make(address);
        now += 10s;
        return *std::move(captcha);
    }
    static CaptchaAnswer dragged(const Captcha& captcha, double off = 0) {
        const double x = captcha.puzzle.x + off;
        return {captcha.id, x, dragTo(x)};
    }
    /// What somebody types who reads the question.
    static std::string typed(const std::string& question) {
        const std::string words = "零一二三四五六七八九";
        const auto colon = question.find("：");
        std::string shown;
        for (std::size_t i = colon + 3; i + 3 <= question.size(); i += 3)
            if (const auto at = words.find(question.substr(i, 3)); at != std::string::npos)
                shown += static_cast<char>('0' + at / 3);
        std::string result;
        for (const char c : question.substr(0, colon))
            if (c >= '1' && c <= '9')
                result += shown.at(static_cast<std::size_t>(c - '1'));
        return result;
    }

    LimitTime now = LimitTime() + 1000h;
    Captchas captchas{[this] { return now; }};
};

} // namespace

TEST_F(CaptchaJudging, AHandIsToldFromAScript) {
    EXPECT_TRUE(captchas.solve(dragged(made())));
    EXPECT_TRUE(captchas.solve(dragged(made(), Captchas::tolerance)));
    EXPECT_FALSE(captchas.solve(dragged(made(), Captchas::tolerance + 1)));
    EXPECT_FALSE(captchas.solve(dragged(made(), -Captchas::tolerance - 1)));

    const double x = 150;
    const auto good = dragTo(x);
    std::vector<DragStep> keys{{0, 0}};
    for (int i = 1; i <= 15; ++i)
        keys.push_back({i * 90.0 + i * i % 7, i * 10.0});
    EXPECT_TRUE(isDrag(good, x, 1s) && isDrag(keys, x, 2s));
    const std::map<std::string, std::function<void(std::vector<DragStep>&)>> wrongs{
        {"none", [](auto& trace) { trace.clear(); }},
        {"too few", [](auto& trace) { trace.erase(trace.begin() + 3, trace.end() - 1); }},
        {"ends elsewhere", [](auto& trace) { trace.back().x += 3; }},
        {"begins elsewhere", [](auto& trace) { trace.erase(trace.begin(), trace.begin() + 8); }},
        {"goes back in time", [](auto& trace) { trace[5].time = 0; }},
        {"leaps", [](auto& trace) { trace[10].x = -60; }},
        {"too quick",
         [](auto& trace) {
             for (DragStep& step : trace)
                 step.time /= 3;
         }},
        {"longer than it could be", [](auto& trace) { trace.back().time += 2'000; }},
        {"all alike",
         [](auto& trace) {
             for (std::size_t i = 0; i < trace.size(); ++i)
                 trace[i] = {static_cast<double>(i) * 20, static_cast<double>(i) * 7.5};
         }},
        {"endless",
         [](auto& trace) {
             trace.insert(trace.begin(), 3'000, DragStep{0, 0});
         }},
        {"no number", [](auto& trace) { trace[4].x = std::nan(""); }},
    };
    for (const auto& [name, spoil] : wrongs) {
        auto trace = good;
        spoil(trace);
        EXPECT_FALSE(isDrag(trace, x, 1s)) << name;
    }
}

TEST_F(CaptchaJudging, AnAnswerAndAResultCountOnceAndForTheirOwnCaptcha) {
    const auto first = made();
    auto answer = dragged(first, 20);
    EXPECT_FALSE(captchas.solve(answer));
    EXPECT_FALSE(captchas.solve(dragged(first))) << "one try each";
    answer = dragged(made());
    const auto result = captchas.solve(answer);
    ASSERT_TRUE(result);
    EXPECT_FALSE(captchas.solve(answer)) << "a replay";
    EXPECT_FALSE(captchas.redeem(answer.id));
    EXPECT_TRUE(captchas.redeem(*result));
    EXPECT_FALSE(captchas.redeem(*result)) << "used up";
    EXPECT_FALSE(captchas.redeem(""));

    auto other = made();
    auto another = made();
    while (std::abs(another.puzzle.x - other.puzzle.x) <= 2 * Captchas::tolerance)
        another = made();
    answer = dragged(other);
    answer.id = another.id;
    EXPECT_FALSE(captchas.solve(answer)) << "an answer to another captcha";

    const auto late = captchas.solve(dragged(made()));
    now += Captchas::lifetime;
    EXPECT_FALSE(captchas.redeem(*late));
    answer = dragged(made());
    now += Captchas::lifetime;
    EXPECT_FALSE(captchas.solve(answer));
}

TEST_F(CaptchaJudging, WordsDoForThoseWhoCannotSee) {
    auto captcha = made();
    EXPECT_TRUE(captchas.solve({.id = captcha.id, .text = typed(captcha.question)})) << captcha.question;
    captcha = *captchas.make("127.0.0.1");
    EXPECT_FALSE(captchas.solve({.id = captcha.id, .text = typed(captcha.question)})) << "nobody reads that fast";
    captcha = made();
    EXPECT_FALSE(captchas.solve({.id = captcha.id, .text = typed(captcha.question) + "0"}));
}

TEST_F(CaptchaJudging, AnAddressAnswersInWordsAFewTimesAndMovesThePieceAllTheSame) {
    const auto inWords = [&](const std::string& address, const char* mistake = "") {
        const Captcha captcha = made();
        return captchas.solve({.id = captcha.id, .text = typed(captcha.question) + mistake, .address = address});
    };
    EXPECT_EQ(inWords("127.0.0.1", "0"), tl::unexpected(0s));
    for (std::size_t i = 1; i < Captchas::inWordsOfAnAddress; ++i)
        EXPECT_TRUE(inWords("127.0.0.1"));
    const auto refused = inWords("127.0.0.1");
    EXPECT_TRUE(!refused && refused.error() > 50min);
    EXPECT_TRUE(inWords("127.0.0.2"));
    CaptchaAnswer moved = dragged(made());
    moved.address = "127.0.0.1";
    EXPECT_TRUE(captchas.solve(moved));
    now += 1h;
    EXPECT_TRUE(inWords("127.0.0.1"));
}

TEST_F(CaptchaJudging, AnAddressGetsSoManyAndNoMore) {
    for (std::size_t i = 0; i < Captchas::ofAnAddress; ++i)
        EXPECT_TRUE(captchas.make("127.0.0.1"));
    EXPECT_EQ(captchas.make("127.0.0.1").error(), Captchas::lifetime);
    EXPECT_TRUE(captchas.make("127.0.0.2"));
    now += Captchas::lifetime;
    EXPECT_TRUE(captchas.make("127.0.0.1"));
}

TEST(ExpiringEntries, CrowdsPushOutNobodyElse) {
    LimitTime now;
    ExpiringEntries<int> entries(5min, 10);
    entries.add("first", 1, "127.0.0.1", now);
    for (int i = 0; i < 30; ++i)
        entries.add("of a crowd " + std::to_string(i), 2, "10.0.0." + std::to_string(i % 3), now += 1s);
    EXPECT_EQ(entries.take("of a crowd 2", now), std::nullopt);
    EXPECT_EQ(entries.take("first", now), 1);
    EXPECT_EQ(entries.take("of a crowd 29", now + 5min), std::nullopt);
}

TEST_F(CaptchaJudging, ThePieceIsWhatTheHoleLacks) {
    const SliderPuzzle puzzle = made().puzzle;
    const int middle = SliderPuzzle::pieceSize / 2;
    const auto brightness = [](const Pixel& pixel) { return pixel.red + pixel.green + pixel.blue; };
    EXPECT_LT(brightness(puzzle.background.at(puzzle.x + middle, puzzle.y + middle)),
              brightness(puzzle.piece.at(middle, middle)));
    EXPECT_EQ(puzzle.piece.at(0, 0).alpha, 0);
    EXPECT_NE(made().puzzle.x * 1'000 + made().puzzle.y, made().puzzle.x * 1'000 + made().puzzle.y);
}

// In plain HTTP, for the very same page alone.
TEST_F(CaptchaJudging, ThePageLetsNothingElseIn) {
    Router router;
    addCaptchaRoutes(router, captchas);
    Server server({}, std::nullopt, std::move(router));
    server.start();
    const std::string host = "127.0.0.1:" + std::to_string(server.port());
    httplib::Client client("127.0.0.1", server.port());
    const auto page = client.Get("/");
    ASSERT_TRUE(page);
    EXPECT_TRUE(page->body.find("<title>安全验证</title>") != std::string::npos);
    EXPECT_TRUE(page->get_header_value("Content-Security-Policy").starts_with("default-src 'none'; script-src 'self'"));
    for (const char* path : {"/page.js", "/page.css"})
        EXPECT_EQ(client.Get(path)->status, 200) << path;
    EXPECT_EQ(client.Get("/", {{"Host", "captcha.example"}})->status, 403) << "a foreign name that leads here";

    const auto post = [&](const char* path, const std::string& body, const httplib::Headers& headers = {}) {
        return client.Post(path, headers, body, "application/json");
    };
    const auto challenge = nlohmann::json::parse(post("/challenge", "{}", {{"Origin", "http://" + host}})->body);
    EXPECT_EQ(challenge.at("code"), 0);
    EXPECT_TRUE(challenge.at("data").at("picture").get<std::string>().starts_with("data:image/png;base64,iVBOR"));
    for (const char* origin : {"http://evil.example", "null", "https://127.0.0.1"})
        EXPECT_EQ(post("/challenge", "{}", {{"Origin", origin}})->status, 403) << origin;
    EXPECT_EQ(client.Post("/challenge", "{}", "text/plain")->status, 400) << "what a page may send without asking";

    for (const std::string& body : {std::string(), std::string("[]"), std::string(R"({"id":"\xff"})"),
                                    std::string(200, '['), std::string(R"({"x":1e999})")})
        EXPECT_EQ(post("/answer", body)->status, 400) << body;
    EXPECT_EQ(post("/answer", std::string(100'000, ' '))->status, 413);
    EXPECT_EQ(nlohmann::json::parse(post("/answer", R"({"id":5,"x":"1","trace":[[1],"x"]})")->body).at("code"), 1006);
    for (std::size_t i = 0; i < Captchas::inWordsOfAnAddress; ++i)
        captchas.solve({.id = made().id, .text = "x", .address = "127.0.0.1"});
    const nlohmann::json another{{"id", made().id}, {"text", "x"}};
    EXPECT_EQ(nlohmann::json::parse(post("/answer", another.dump())->body).at("code"), 1003);
}
