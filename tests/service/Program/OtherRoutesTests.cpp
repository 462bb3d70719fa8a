#include "Program/OtherRoutes.h"
#include "support/RunningService.h"

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

TEST(OtherRoutes, CountriesHaveChineseNamesAndDiallingCodesAndAContactMustFitItsPicture) {
    Router router;
    addCountryRoute(router);
    addContactRoutes(router, {});
    const RunningServer server(std::move(router));
    const auto list = server.client().get("/api/v1/country/list").data();
    EXPECT_GT(list.size(), 240U);
    EXPECT_EQ(server.client().get("/api/v1/operation/contact").data(), "") << "no picture, which is no failure";
    const auto china = std::find_if(list.begin(), list.end(), [](const auto& entry) { return entry["code"] == "CN"; });
    EXPECT_EQ(*china, nlohmann::json({{"code", "CN"},
                                      {"name_en", "China"},
                                      {"country_code", "86"},
                                      {"first_letters", "Z"},
                                      {"name_zn", "中国"}}));
    EXPECT_TRUE(std::is_sorted(list.begin(), list.end(), [](const auto& left, const auto& right) {
        return left["first_letters"] < right["first_letters"];
    }));
    EXPECT_THROW(addContactRoutes(router, std::string(3'000, 'x')), std::runtime_error) << "fits no code";
}
