#include "../Speech/ScriptedEngines.h"
#include "Cloud/RegionTokens.h"
#include "Cloud/TranscriptionEngine.h"
#include "Speech/Gateway.h"
#include "support/RecognitionAudio.h"
#include "support/RunningService.h"
#include "support/ScriptedEndpoint.h"
#include "support/Testing.h"
#include "support/ToldEvents.h"
#include <boost/asio/co_spawn.hpp>
#include <boost/asio/detached.hpp>
#include <httplib.h>
#include <set>

using namespace parlowen::service;
using namespace parlowen::testing;
using namespace std::chrono_literals;
using Kind = RecognitionEvent::Kind;

namespace {

const Samples sample = sampleInterview(PARLOWEN_SOURCE_DIR).samples;
const std::span<const std::int16_t> firstPassage(sample.data(), 9 * sampleRate);
const TranscriptionEngine::Pace quick{.retry = 5ms, .longestPause = 1'500ms};

std::string saying(const std::string& text) { return ScriptedEndpoint::reply(nlohmann::json({{"text", text}}).dump()); }

void waitForEnd(ScriptedEndpoint::Stream& stream) {
    stream << std::flush;
    while (stream.get() != EOF) {
    }
}

TranscriptionEndpoint at(const std::string& url) {
    return {.url = url, .key = "sk-secret", .model = "m", .languages = {"zh-CN"}, .streams = 1};
}

/// What comes of the first passage, or of other audio: its text, or the status and the words of a failure.
std::string heardBy(const std::string& url, std::chrono::milliseconds patience = 20s,
                    std::span<const std::int16_t> audio = firstPassage) {
    auto settings = at(url);
    settings.reply = patience;
    TranscriptionEngine engine(settings, quick);
    Told told;
    const auto stream = engine.open("zh-CN", told.sink());
    stream->accept(audio);
    stream->finish();
    told.waitUntil([](const auto& all) {
        return !all.empty() && (all.back().kind == Kind::SpeechEnd || all.back().kind == Kind::Failed);
    });
    const auto failures = told.all(Kind::Failed);
    return failures.empty() ? told.text() : failures.front().status + ", " + failures.front().text;
}

} // namespace

TEST(TranscriptionEngine, SendsPiecesOfSpeechAsFormsAndTellsWhatIsInThem) {
    httplib::Server server;
    std::vector<httplib::Request> requests;
    std::atomic<int> running = 0;
    bool alone = true;
    server.Post("/v1/audio/transcriptions", [&](const httplib::Request& request, httplib::Response& reply) {
        alone = ++running == 1 && alone;
        requests.push_back(request);
        std::this_thread::sleep_for(2ms);
        const auto number = std::to_string(requests.size());
        reply.set_content(R"({"text":" shit )" + number + "\\n\"}", "application/json");
        --running;
    });
    const int port = server.bind_to_any_port("127.0.0.1");
    std::thread serving([&] { server.listen_after_bind(); });
    Told told;
    {
        TranscriptionEngine engine(at("http://127.0.0.1:" + std::to_string(port) + "/v1"));
        EXPECT_THAT(engine.locales(), ElementsAre("zh-CN"));
        const auto stream = engine.open("zh-CN", told.sink());
        EXPECT_FALSE(engine.open("zh-CN", told.sink())) << "no place is left";
        EXPECT_FALSE(stream->accept(sample)) << "more than half a minute";
        stream->finish();
        ASSERT_TRUE(told.waitFor(Kind::SpeechEnd));
    }
    server.stop();
    serving.join();
    EXPECT_EQ(told.text(), "**** 1 **** 2 **** 3 **** 4 **** 5 **** 6 ");
    EXPECT_EQ(told.all(Kind::Drained).size(), 1U);
    EXPECT_TRUE(alone);
    const double begins[] = {1.19, 9.16, 15.88, 23.0, 29.47, 37.03};
    const double ends[] = {7.62, 14.45, 21.46, 28.01, 35.47, 41.64};
    const auto finals = told.all(Kind::Final);
    for (std::size_t i = 0; i < finals.size(); ++i) {
        EXPECT_NEAR(static_cast<double>(finals[i].offset), begins[i] * 1e7, 0.2e7) << i;
        EXPECT_NEAR(static_cast<double>(finals[i].offset + finals[i].duration), ends[i] * 1e7, 0.3e7) << i;
    }
    const std::string sound(reinterpret_cast<const char*>(sample.data()), sample.size() * 2);
    for (const auto& request : requests) {
        EXPECT_EQ(request.get_header_value("Authorization"), "Bearer sk-secret");
        EXPECT_EQ(request.files.size(), 4U);
        const auto file = request.get_file_value("file");
        EXPECT_EQ(file.filename + " " + file.content_type, "speech.wav audio/wav");
        EXPECT_EQ(request.get_file_value("model").content + request.get_file_value("language").content +
                      request.get_file_value("response_format").content,
                  "mzhjson");
        EXPECT_EQ(file.content.substr(0, 4) + file.content.substr(8, 8), "RIFFWAVEfmt ");
        EXPECT_EQ(file.content.substr(20, 16), std::string("\1\0\1\0\x80\x3e\0\0\0\x7d\0\0\2\0\x10\0", 16));
        EXPECT_NE(sound.find(file.content.substr(44)), std::string::npos);
    }
}

TEST(TranscriptionEngine, ShowsWhatIsBeingSaidButNeverWaitsForIt) {
    std::atomic<int> requests = 0;
    std::atomic<bool> left = false;
    const ScriptedEndpoint endpoint([&](ScriptedEndpoint::Stream& stream) {
        const int number = ++requests;
        if (number != 2)
            stream << saying(number == 1 ? "so far" : "whole");
        else
            waitForEnd(stream);
        left = left || number == 2;
    });
    auto settings = at(endpoint.url());
    settings.reply = 10min;
    TranscriptionEngine engine(settings);
    Told told;
    const auto stream = engine.open("zh-CN", told.sink());
    stream->accept(firstPassage.first(3 * sampleRate));
    ASSERT_TRUE(told.waitFor(Kind::Partial));
    EXPECT_EQ(told.all(Kind::Partial).front().text, "so far");
    std::size_t fed = 3 * sampleRate;
    for (; requests < 2 && fed < 6 * sampleRate; fed += sampleRate / 100, std::this_thread::sleep_for(20ms))
        stream->accept(firstPassage.subspan(fed, sampleRate / 100));
    ASSERT_EQ(requests, 2);
    stream->accept(firstPassage.subspan(fed));
    ASSERT_TRUE(told.waitFor(Kind::Final));
    EXPECT_EQ(told.text(), "whole ");
    EXPECT_TRUE(told.waitUntil([&](const auto&) { return left.load(); })) << "the request's connection is closed";
}

TEST(TranscriptionEngine, SendsWholeUtterancesAloneWhereTheEndpointIsSlowOrThatIsAskedFor) {
    for (const bool partials : {true, false}) {
        const ScriptedEndpoint endpoint([](ScriptedEndpoint::Stream& stream) { stream << saying("text"); });
        auto settings = at(endpoint.url());
        settings.partials = partials;
        TranscriptionEngine engine(settings, {.slowest = 0ms});
        Told told;
        const auto stream = engine.open("zh-CN", told.sink());
        for (std::size_t fed = 0; fed < firstPassage.size(); fed += sampleRate / 10, std::this_thread::sleep_for(10ms))
            stream->accept(firstPassage.subspan(fed, sampleRate / 10));
        ASSERT_TRUE(told.waitFor(Kind::Final));
        EXPECT_EQ(endpoint.requests().size(), partials ? 2U : 1U) << "the first of two tells how slow it is";
    }
}

TEST(TranscriptionEngine, TriesOnceMoreThenNamesEveryTrouble) {
    const auto status = [](const char* code, const char* headers = "") {
        return ScriptedEndpoint::reply(R"({"text":"secret"})", code, headers);
    };
    const auto sends = [](const std::string& bytes) {
        return [bytes](ScriptedEndpoint::Stream& stream) { stream << bytes; };
    };
    const auto endless = [](ScriptedEndpoint::Stream& stream) {
        stream << ScriptedEndpoint::opening() << R"({"text":")";
        while (stream << std::string(4'096, 'x')) {
        }
    };
    const auto cut = [](ScriptedEndpoint::Stream& stream) {
        stream << saying("whole").substr(0, saying("whole").size() - 3) << std::flush;
        stream.close();
    };
    const std::tuple<const char*, ScriptedEndpoint::Script, const char*> cases[] = {
        {"401", sends(status("401 No")), "Error, transcription endpoint: it does not accept the configured key"},
        {"404", sends(status("404 No")), "Error, transcription endpoint: it knows no such model, or is not there"},
        {"429", sends(status("429 No")), "TooManyRequests, transcription endpoint: it has too many requests"},
        {"long 429", sends(status("429 No", "Retry-After: 2\r\n")),
         "TooManyRequests, transcription endpoint: it has too many requests"},
        {"400", sends(status("400 No")), "Error, transcription endpoint: it does not take the audio"},
        {"500", sends(status("500 No")), "Error, transcription endpoint: it reports an error"},
        {"page", sends(ScriptedEndpoint::reply("<h1>secret</h1>")),
         "Error, transcription endpoint: its reply cannot be read"},
        {"number", sends(ScriptedEndpoint::reply(R"({"text":1})")),
         "Error, transcription endpoint: its reply cannot be read"},
        {"cut", cut, "Error, transcription endpoint: its reply broke off"},
        {"endless", endless, "Error, transcription endpoint: its reply has no end"},
        {"stall", waitForEnd, "Error, transcription endpoint: it did not reply in time"},
        {"loop", sends(saying("you you you you you")), "you "},
    };
    for (const auto& [name, script, expected] : cases) {
        const ScriptedEndpoint endpoint(script);
        EXPECT_EQ(heardBy(endpoint.url(), std::string(name) == "stall" ? 1s : 20s), expected) << name;
        const std::size_t tries = std::string(name) == "long 429" || std::string(name) == "loop" ? 1 : 2;
        EXPECT_EQ(endpoint.requests().size(), tries) << name;
    }
    EXPECT_THAT(heardBy("http://127.0.0.1:1/v1"), HasSubstr("cannot be reached"));
    std::atomic<int> requests = 0;
    const ScriptedEndpoint mends([&](ScriptedEndpoint::Stream& stream) {
        stream << (++requests == 1 ? status("429 No", "Retry-After: 1\r\n") : saying("whole"));
    });
    EXPECT_EQ(heardBy(mends.url()), "whole ");
    requests = 0;
    const ScriptedEndpoint picks([&](ScriptedEndpoint::Stream& stream) {
        const int number = ++requests;
        stream << (number == 2 || number == 3 ? status("413 No") : saying(std::to_string(number)));
    });
    EXPECT_EQ(heardBy(picks.url(), 20s, std::span(sample).first(22'500 * sampleRate / 1'000)), "1  4 ")
        << "one sentence";
}

TEST(TranscriptionEngine, OfTheServiceServesWhatNoModelHereDoesOrEverything) {
    for (const bool everything : {false, true}) {
        auto options = makingAccounts();
        options.transcription = at("http://127.0.0.1:1/v1");
        options.transcription.languages = {"en-US", "fr-FR"};
        options.transcription.everything = everything;
        SpeechService* speech = nullptr;
        const auto local = [&speech] {
            auto made = std::make_unique<SpeechService>();
            made->engines.add(std::make_shared<ScriptedEngine>());
            speech = made.get();
            return made;
        };
        const RunningService service({.speech = local}, {}, options);
        std::set<std::string> listed;
        const auto list = service.client().get("/api/v1/language/list?source=1", service.token()).data();
        for (const auto& language : list)
            listed.insert(language.at("original_key").get<std::string>());
        EXPECT_THAT(listed, ElementsAre("en-GB", "en-US", "fr-FR"));
        EXPECT_EQ(list.size(), 3U);
        EXPECT_EQ(speech->engines.engineFor("en-US") == speech->engines.engineFor("fr-FR"), everything);
    }
}

TEST(RegionTokens, AreFetchedOnceForAllAndRenewedBeforeTheyEnd) {
    std::atomic<bool> go = false;
    std::atomic<int> requests = 0;
    std::string next = ScriptedEndpoint::reply("first");
    const ScriptedEndpoint issuer([&](ScriptedEndpoint::Stream& stream) {
        ++requests;
        while (!go)
            std::this_thread::sleep_for(1ms);
        stream << next;
    });
    std::chrono::steady_clock::time_point now{1h};
    boost::asio::io_context io; // outlives the thread of the tokens, which may not have left it yet
    RegionTokens tokens({.name = "eastasia", .area = "eastasia", .tokenUrl = issuer.url(), .key = "key-secret"},
                        [&now] { return now; });
    const auto ask = [&](int askers) {
        io.restart();
        std::set<std::string> outcomes;
        const auto asking = [&]() -> boost::asio::awaitable<void> {
            const auto outcome = co_await tokens.token();
            outcomes.insert(outcome ? *outcome : outcome.error());
        };
        for (int i = 0; i < askers; ++i)
            boost::asio::co_spawn(io, asking(), boost::asio::detached);
        io.poll();
        go = true;
        io.run();
        return outcomes;
    };
    EXPECT_THAT(ask(5), ElementsAre("first"));
    EXPECT_EQ(requests, 1);
    EXPECT_THAT(issuer.requests().front(),
                AllOf(StartsWith("POST /v1 "), HasSubstr("Ocp-Apim-Subscription-Key: key-secret\r\n"),
                      HasSubstr("Content-Length: 0\r\n")));
    next = ScriptedEndpoint::reply("second");
    now += RegionTokens::freshFor - 1s;
    EXPECT_THAT(ask(1), ElementsAre("first"));
    now += 1s;
    EXPECT_THAT(ask(1), ElementsAre("second"));
    next = ScriptedEndpoint::reply("no", "429 No", "Retry-After: 30\r\n");
    now += RegionTokens::freshFor;
    EXPECT_THAT(ask(1), ElementsAre("second")) << "while the issuer fails";
    now += 29s;
    EXPECT_THAT(ask(1), ElementsAre("second"));
    EXPECT_EQ(requests, 3) << "it asked for a pause";
    now += RegionTokens::usableFor;
    const std::pair<std::string, const char*> troubles[] = {
        {ScriptedEndpoint::reply("key-secret", "401 No"), "不接受所配置的密钥"},
        {ScriptedEndpoint::reply("", "404 No"), "没有找到"},
        {ScriptedEndpoint::reply("", "500 No"), "出错"},
        {ScriptedEndpoint::reply("<h1>not a token</h1>"), "无法识别"},
        {ScriptedEndpoint::reply(std::string(5'000, 'x')), "无法识别"},
    };
    for (const auto& [reply, words] : troubles) {
        next = reply;
        EXPECT_THAT(ask(2), ElementsAre(HasSubstr(words)));
        now += RegionTokens::pauseAfterFailure;
    }
    EXPECT_EQ(requests, 8);
    tokens.stop();
    EXPECT_THAT(ask(1), ElementsAre(HasSubstr("无法连接")));
}

TEST(RegionTokens, OfTheServiceSendClientsToTheRegionWithItsLanguages) {
    const ScriptedEndpoint issuer([requests = 0](ScriptedEndpoint::Stream& stream) mutable {
        stream << (++requests == 1 ? ScriptedEndpoint::reply("", "401 No") : ScriptedEndpoint::reply("token"));
    });
    auto options = makingAccounts();
    options.region = {"eastasia", "eastasia", issuer.url(), "key", {"ja-JP"}, {"ko"}};
    const RunningService service({}, {}, options);
    const std::string path = "/api/v1/microsoft/get_token";
    EXPECT_EQ(service.client().get(path, "nobody").status, 401);
    const std::string user = service.token();
    const auto refused = service.client().get(path, user);
    EXPECT_EQ(refused.json().at("code"), 1008);
    EXPECT_THAT(refused.body, AllOf(HasSubstr("密钥"), Not(HasSubstr(issuer.url()))));
    nlohmann::json given;
    for (int look = 0; look < 1'000 && given.is_null(); ++look, std::this_thread::sleep_for(10ms))
        given = service.client().get(path, user).data();
    EXPECT_EQ(given, nlohmann::json({{"token", "token"}, {"area", "eastasia"}}));
    for (const auto& [source, key] : {std::pair("1", "ja-JP"), std::pair("2", "ko-KR")}) {
        const auto list = service.client().get(std::string("/api/v1/language/list?source=") + source, user).data();
        ASSERT_EQ(list.size(), 1U);
        EXPECT_EQ(list.front().at("original_key"), key);
    }
}
