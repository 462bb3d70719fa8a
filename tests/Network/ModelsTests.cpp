#include <Network/Models.h>
#include <gtest/gtest.h>

#include <limits>

namespace parlowen {
namespace {

TEST(LenientMappingTest, ConvertsWhatItCanAndLeavesTheRest) {
    const auto country = mapLenient<CountryListModel>(R"({"country_code":86,"name_en":null,"code":["CN"]})");
    EXPECT_EQ(country, (CountryListModel{std::nullopt, std::nullopt, "86", std::nullopt, std::nullopt}));

    const auto version = mapLenient<CheckVersionModel>(
        R"({"build":"12","version":"1.2","content":"新","package_value":7,"min_build":[],"is_force":1,"other":0})");
    EXPECT_EQ(version, (CheckVersionModel{12, "1.2", "新", "7", 0, std::nullopt, 1}));

    const auto login = mapLenient<LoginUserModel>(
        R"({"token":"t","rights":["a",2,null,{}],"user":{"user_code":10,"nick_name":"小明"}})");
    ASSERT_TRUE(login);
    EXPECT_EQ(login->rights, (std::vector<QString>{"a", "2"}));
    EXPECT_EQ(login->user, (UserModel{"10", "小明", std::nullopt, std::nullopt, std::nullopt}));
    EXPECT_EQ(mapLenient<LoginUserModel>(R"({"rights":"all","user":"me"})"), LoginUserModel());
    const auto countries = mapLenientList<CountryListModel>(R"([{"code":"CN"},7])");
    ASSERT_EQ(countries.size(), 2U);
    EXPECT_EQ(countries[0]->code, "CN");
    EXPECT_EQ(countries[1], std::nullopt);
    for (const char* text : {"", "null", "[]", "\"text\"", "{"}) {
        EXPECT_EQ(mapLenient<UserModel>(text), std::nullopt) << text;
        EXPECT_TRUE(mapLenientList<CountryListModel>(text).empty()) << text;
    }
}

TEST(AccessorMappingTest, NeverFails) {
    const auto user = mapAccessors<UserBaseModel>(
        JSON::parse(R"({"user_code":7,"phone":"1","type":"2","resume":{"resume_id":5,"resume_name":"cv.pdf"}})"));
    EXPECT_EQ(user, (UserBaseModel{"7", "", "", "1", "", UserResumeInfo{"5", "cv.pdf", ""}, 2}));
    // Without a résumé there is one whose texts are empty.
    EXPECT_EQ(mapAccessors<UserBaseModel>(JSON()), (UserBaseModel{"", "", "", "", "", UserResumeInfo(), 0}));

    const auto language = mapAccessors<LanguageListModel>(JSON::parse(R"({"name":"英语","original_key":"en-US"})"));
    EXPECT_EQ(language, (LanguageListModel{0, "英语", "en-US", "", ""}));
    EXPECT_EQ(mapAccessors<LanguageListModel>(JSON::parse(R"({"ID":9007199254740993})")).ID, 9007199254740993);
}

TEST(StrictMappingTest, WhatIsWrittenReadsBack) {
    const UserBaseModel user{"1", "小明 \"x\"\n", "86", "138", "2026-11-24", UserResumeInfo{"r", "n", "c"}, 3};
    EXPECT_EQ(decodeStrict<UserBaseModel>(encodeStrict(user)), user);
    const AIInterviewModel settings{"C++ 工程师", 1, 1, 1, 1, std::numeric_limits<qint64>::max()};
    EXPECT_EQ(decodeStrict<AIInterviewModel>(encodeStrict(settings)), settings);

    UserBaseModel withoutResume = user;
    withoutResume.resume.reset();
    EXPECT_FALSE(encodeStrict(withoutResume).contains("resume"));
    EXPECT_EQ(decodeStrict<UserBaseModel>(encodeStrict(withoutResume)), withoutResume);
    QByteArray broken = encodeStrict(user);
    broken.replace("\"resume_id\":\"r\",", "");
    EXPECT_EQ(decodeStrict<UserBaseModel>(broken), std::nullopt);
}

TEST(StrictMappingTest, EveryRequiredMemberCounts) {
    const QByteArray whole = encodeStrict(LanguageListModel{128, "中文", "zh-CN", "zh-Hans", "Z"});
    EXPECT_EQ(whole, "{\"ID\":128,\"first_letters\":\"Z\",\"name\":\"中文\",\"original_key\":\"zh-CN\","
                     "\"translation_key\":\"zh-Hans\"}");
    for (const char* member : {"ID", "first_letters", "name", "original_key", "translation_key"}) {
        QByteArray without = whole;
        without.replace(QByteArray(member) + "\":", QByteArray("other\":"));
        EXPECT_EQ(decodeStrict<LanguageListModel>(without), std::nullopt) << member;
    }
    const std::pair<const char*, const char*> illTyped[] = {
        {"128", "1.5"}, {"128", "null"}, {"128", "18446744073709551615"}, {"\"Z\"", "1"}};
    for (const auto& [good, bad] : illTyped) {
        QByteArray changed = whole;
        changed.replace(good, bad);
        EXPECT_EQ(decodeStrict<LanguageListModel>(changed), std::nullopt) << changed.toStdString();
    }
    for (const char* text : {"", "[]", "null", "{}", "{\"ID\":128"})
        EXPECT_EQ(decodeStrict<LanguageListModel>(text), std::nullopt) << text;
}

} // namespace
} // namespace parlowen
