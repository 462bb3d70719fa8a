#include "Program/OtherRoutes.h"
#include "support/RunningService.h"

#include <algorithm>
#include <gtest/gtest.h>

using namespace parlowen::service;
using namespace parlowen::testing;

TEST(OtherRoutes, LanguagesAreThoseOffered) {
    Router router;
    addLanguageRoutes(router,
                      [] {
                          return LanguageOffer{{"zh-CN", "en-IN", "en-US", "tlh"}, {"es", "zh-Hans", "en"}};
                      },
                      {});
    const RunningServer server(std::move(router));
    const auto names = [](const Reply& reply) {
        std::vector<std::string> all;
        for (const auto& entry : reply.data())
            all.push_back(entry.at("name"));
        return all;
    };
    const Reply recognised = server.client().get("/api/v1/language/list?source=1");
    EXPECT_EQ(names(recognised),
              (std::vector<std::string>{"克林贡语", "英语（美国）", "英语（印度）", "中文（简体）"}));
    EXPECT_EQ(recognised.data().at(0).at("first_letters"), "K") << "in pinyin, also where the table has no entry";
    EXPECT_EQ(recognised.data().at(0).at("original_key"), "tlh");
    EXPECT_EQ(recognised.data().at(0).at("ID"), 239'560'407) << "stays";
    EXPECT_EQ(recognised.data().at(1), nlohmann::json({{"ID", 135},
                                                       {"name", "英语（美国）"},
                                                       {"original_key", "en-US"},
                                                       {"translation_key", "en"},
                                                       {"first_letters", "Y"}}));
    const Reply targets = server.client().get("/api/v1/language/list?source=2");
    EXPECT_EQ(names(targets), (std::vector<std::string>{"西班牙语（西班牙）", "英语（美国）", "中文（简体）"}));
    EXPECT_EQ(targets.data().at(0).at("translation_key"), "es");
    EXPECT_EQ(server.client().get("/api/v1/language/list").status, 400);
}

TEST(OtherRoutes, SpeechTokensComeWithTheHostThatWasAsked) {
    Router router;
    addSpeechTokenRoute(router, [](std::string_view) { return std::string("speech-token"); }, {});
    const RunningServer server(std::move(router));
    const Reply reply = server.client().get("/api/v1/microsoft/get_token");
    EXPECT_EQ(reply.data(), nlohmann::json({{"token", "speech-token"},
                                            {"area", "wss://127.0.0.1:" + std::to_string(server.port())}}));
    const auto nameless = server.client().connect("GET /api/v1/microsoft/get_token HTTP/1.0\r\n\r\n");
    EXPECT_EQ(nameless->receiveUntil("\r\n"), "HTTP/1.0 400 Bad Request\r\n");
}

TEST(OtherRoutes, TheWholeServiceAnswersEveryKnownPath) {
    const RunningService service;
    const ServiceClient client = service.client();
    const std::string token = service.token();
    const auto version = client.get("/api/v1/operation/version").data();
    EXPECT_EQ(version.at("version"), version.at("min_version")) << "nothing newer to offer";
    EXPECT_EQ(version.at("version"), serviceVersion());
    EXPECT_TRUE(version.at("build").is_number_integer() && version.at("is_force") == 0);

    for (const char* path : {"/language/list?source=1", "/language/list?source=2"}) {
        EXPECT_EQ(client.get(std::string("/api/v1") + path).status, 401) << path;
        EXPECT_TRUE(client.get(std::string("/api/v1") + path, token).data().is_array()) << path;
    }
    for (const char* path : {"/user/send_sms_code", "/user/login"}) {
        const Reply missing = client.send("POST", std::string("/api/v1") + path, "{}");
        EXPECT_TRUE(missing.status == 200 && missing.code() == 501 && !missing.message().empty()) << path;
    }
    EXPECT_EQ(client.get("/api/v1/operation/contact").code(), 501) << "no text is set";
    EXPECT_TRUE(service.captchaUrl().empty()) << "no port more than needed";
}

TEST(OtherRoutes, CountriesHaveChineseNamesAndDiallingCodes) {
    Router router;
    addCountryRoute(router);
    const RunningServer server(std::move(router));
    const auto list = server.client().get("/api/v1/country/list").data();
    EXPECT_GT(list.size(), 240U);
    const auto china = std::find_if(list.begin(), list.end(), [](const auto& entry) { return entry["code"] == "CN"; });
    EXPECT_EQ(*china, nlohmann::json({{"code", "CN"},
                                      {"name_en", "China"},
                                      {"country_code", "86"},
                                      {"first_letters", "Z"},
                                      {"name_zn", "中国"}}));
    EXPECT_TRUE(std::is_sorted(list.begin(), list.end(), [](const auto& left, const auto& right) {
        return left["first_letters"] < right["first_letters"];
    }));
}

TEST(OtherRoutes, ContactLeadsToAPictureOfTheText) {
    Router router;
    addContactRoutes(router, "https://example.org/帮助");
    const RunningServer server(std::move(router));
    const std::string url = server.client().get("/api/v1/operation/contact").data();
    const std::string base = "https://127.0.0.1:" + std::to_string(server.port());
    ASSERT_TRUE(url.starts_with(base)) << url;
    const Reply picture = server.client().get(url.substr(base.size()));
    EXPECT_EQ(picture.headers.at("content-type"), "image/png");
    EXPECT_TRUE(picture.body.starts_with("\x89PNG"));
    EXPECT_THROW(addContactRoutes(router, std::string(3'000, 'x')), std::runtime_error) << "fits no code";
}
