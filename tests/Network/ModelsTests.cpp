#include "support/TemporaryDirectory.h"
#include "support/Testing.h"
#include "support/WaitFor.h"
#include <Foundation/UserDefaults.h>
#include <Network/ApiBase.h>
#include <Network/Models.h>
#include <Network/Settings.h>
#include <Network/Transport.h>
#include <QJsonArray>
#include <QTemporaryDir>

namespace parlowen::testing {
namespace {

TEST(JSONTest, MissingAndIllTypedValuesReadAsNothing) {
    const JSON json = JSON::parse(R"({"null":null,"list":[1],"object":{}})");
    for (const JSON& nothing : {json["gone"], json["null"], json["gone"]["deeper"][3], json["list"]["key"],
                                json["list"][1], json["list"][-1], json["object"][0], JSON()}) {
        EXPECT_TRUE(nothing.isNull() && nothing.arrayValue().empty());
        EXPECT_EQ(nothing.stringValue(), "");
        EXPECT_EQ(nothing.intValue(), 0);
    }
    EXPECT_TRUE(json["null"].exists() && !json["gone"].exists());
    EXPECT_EQ(json["list"].stringValue(), "");
    EXPECT_EQ(json["object"].intValue(), 0);
}

TEST(JSONTest, TextsAndNumbersStandInForEachOther) {
    const std::tuple<const char*, const char*, qint64> cases[] = {
        {"\"5\"", "5", 5},
        {"\" -12 \"", " -12 ", -12},
        {"\"3.9\"", "3.9", 3},
        {"\"many\"", "many", 0},
        {"2.0", "2", 2},
        {"2.75", "2.75", 2},
        {"true", "true", 1},
        {"9007199254740993", "9007199254740993", 9007199254740993},
        {"1e300", "1e+300", std::numeric_limits<qint64>::max()},
    };
    for (const auto& [text, string, number] : cases) {
        EXPECT_EQ(JSON::parse(text).stringValue(), string) << text;
        EXPECT_EQ(JSON::parse(text).intValue(), number) << text;
    }
}

TEST(JSONTest, OnlyOneWholeJsonTextIsRead) {
    const auto nested = [](int depth) { return QByteArray(depth, '[') + QByteArray(depth, ']'); };
    for (const QByteArray& text : {QByteArray(), QByteArray("{\"a\":1"), QByteArray("{}{}"), QByteArray("\"\xff\""),
                                   QByteArray("<html>"), nested(100'000)})
        EXPECT_FALSE(JSON::parse(text).exists()) << text.left(20).toStdString();
    EXPECT_TRUE(JSON::parse(nested(500)).isArray());
    EXPECT_TRUE(JSON::parse("null").exists());
}

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
}

struct SettingsTest : ::testing::Test {
    QTemporaryDir directory_;
    UserDefaults defaults_{directory_.filePath("settings.ini")};
    Settings settings_{defaults_};
};

TEST_F(SettingsTest, EveryValueLiesUnderItsOwnKeyAndIsSeenByTheNextStart) {
    const AIInterviewModel interview{"工程师", 1, 1, 1, 1, 18};
    settings_.setLoginToken("");
    settings_.setAiInterviewSetModel(interview);
    settings_.setAiInterviewType(3);
    settings_.setAiLangChinaModel(LanguageListModel{1, "中文", "zh-CN", "zh-Hans", "Z"});
    settings_.setAiLangLeftModel(LanguageListModel{2, "英语", "en-US", "en", "Y"});
    settings_.setAiLangRightModel(LanguageListModel{3, "西语", "es-ES", "es", "X"});
    UserDefaults nextStart(directory_.filePath("settings.ini"));
    EXPECT_EQ(Settings(nextStart).aiInterviewSetModel(), interview);
    EXPECT_EQ(nextStart.data("aiInterviewSetModel"), encodeStrict(interview));
    for (const auto& [key, id] : {std::pair("aiLangChinaModel", 1), {"aiLangLeftModel", 2}, {"aiLangRightModel", 3}})
        EXPECT_EQ(decodeStrict<LanguageListModel>(nextStart.data(key).value())->ID, id) << key;
    EXPECT_EQ(nextStart.string("aiInterviewType").value() + nextStart.string("LOGIN_TOKEN").value(), "3");
    QByteArray incomplete = encodeStrict(interview);
    incomplete.replace("\"answerFontSize\":18,", "");
    nextStart.setData("aiInterviewSetModel", incomplete);
    EXPECT_EQ(settings_.aiInterviewSetModel(), std::nullopt);
}

TEST_F(SettingsTest, SigningOutTakesTheUserAndARejectedSignInKeepsAutomaticSignIn) {
    EXPECT_FALSE(settings_.isAutoLogin());
    for (const bool rejected : {true, false}) {
        settings_.setLoginToken("token");
        settings_.setUserInfo(UserBaseModel());
        settings_.setAutoLogin(true);
        settings_.setAiInterviewType(2);
        if (rejected)
            settings_.clearRejectedSignIn();
        else
            settings_.clearSignIn();
        EXPECT_TRUE(!settings_.loginToken() && !settings_.userInfo());
        EXPECT_EQ(settings_.isAutoLogin(), rejected);
        EXPECT_EQ(settings_.aiInterviewType(), 2) << "the interview's settings stay";
    }
}

TEST_F(SettingsTest, ATokenIsTheBackendsThatGaveIt) {
    settings_.setLoginToken("of before"); // that was noted
    const auto tokenAt = [this](const char* base, bool isUsual = false) {
        Settings next(defaults_);
        next.useBackend(base, isUsual);
        return next.loginToken();
    };
    EXPECT_EQ(tokenAt("https://school.example/v1"), std::nullopt);
    EXPECT_EQ(tokenAt("https://127.0.0.1:1/v1", true), "of before");
    EXPECT_EQ(tokenAt("https://localhost:2/v1"), "of before") << "the same service, wherever it listens";
    settings_.useBackend("https://School.example:8443/v1", false);
    settings_.clearRejectedSignIn();
    EXPECT_EQ(tokenAt("https://localhost:2/v1"), "of before") << "another one refused nothing of it";
    settings_.setLoginToken("school's");
    EXPECT_EQ(tokenAt("https://school.example:8443/other"), "school's");
    for (const char* stranger : {"http://school.example:8443/v1", "https://school.example/v1", "https://127.0.0.1/v1"})
        EXPECT_EQ(tokenAt(stranger, true), std::nullopt) << stranger;
}

/// A keyring of the desktop, which outlives the programs that use it.
struct Keyring {
    enum class Mood { Serves, Refuses, Hangs };

    std::mutex mutex;
    std::condition_variable changed;
    Mood mood = Mood::Serves;
    int asked = 0;
    std::map<QString, QString> secrets;

    void be(Mood now) {
        const std::lock_guard lock(mutex);
        mood = now;
        changed.notify_all();
    }
};

class Keeper : public SecretKeeper {
public:
    explicit Keeper(Keyring& keyring)
        : keyring_(keyring) {}
    Result<std::optional<QString>> secret(const QString& owner) override {
        const auto serving = ask();
        if (!serving)
            return failure("no");
        const auto found = keyring_.secrets.find(owner);
        return found == keyring_.secrets.end() ? std::nullopt : std::optional(found->second);
    }
    Result<void> keep(const QString& owner, const QString& secret) override {
        const auto serving = ask();
        if (serving)
            keyring_.secrets[owner] = secret;
        return serving ? Result<void>() : failure("no");
    }
    void forget(const QString& owner) override {
        if (const auto serving = ask())
            keyring_.secrets.erase(owner);
    }
    void cancel() override {
        const std::lock_guard lock(keyring_.mutex);
        isCancelled_ = true;
        keyring_.changed.notify_all();
    }

private:
    /// Holds the keyring where it serves.
    std::unique_lock<std::mutex> ask() {
        std::unique_lock lock(keyring_.mutex);
        ++keyring_.asked;
        keyring_.changed.wait(lock, [this] { return isCancelled_ || keyring_.mood != Keyring::Mood::Hangs; });
        const bool serves = !isCancelled_ && keyring_.mood == Keyring::Mood::Serves;
        return serves ? std::move(lock) : std::unique_lock<std::mutex>();
    }

    Keyring& keyring_;
    bool isCancelled_ = false;
};

struct TokenStoreTest : ::testing::Test {
    /// The token that a new start of the program finds.
    std::optional<QString> nextStart() {
        settings_.reset();
        settings_ = std::make_unique<Settings>(defaults_, std::make_unique<Keeper>(keyring_));
        return settings_->loginToken();
    }
    void signIn(const QString& token) {
        settings_->setLoginToken(token);
        EXPECT_TRUE(settings_->synchronize());
    }
    bool isInFile(const std::string& token) const {
        return contentsOf(defaults_.filePath().toStdString()).find(token) != std::string::npos;
    }

    QTemporaryDir directory_;
    UserDefaults defaults_{directory_.filePath("settings.ini")};
    Keyring keyring_;
    std::unique_ptr<Settings> settings_;
};

TEST_F(TokenStoreTest, TheKeyringHasTheTokenAndTheFileOnlySaysWhichOne) {
    settings_ = std::make_unique<Settings>(defaults_);
    settings_->setLoginToken("secret-0");
    EXPECT_TRUE(isInFile("secret-0"));
    EXPECT_EQ(nextStart(), "secret-0"); // with a keyring from now on
    EXPECT_TRUE(waitFor([this] { return !isInFile("secret-0"); }));
    EXPECT_EQ(settings_->loginToken(), "secret-0");
    signIn("secret-1");
    EXPECT_FALSE(isInFile("secret-1"));
    EXPECT_EQ(nextStart(), "secret-1");
    EXPECT_EQ(Settings(defaults_).loginToken(), std::nullopt);
    keyring_.be(Keyring::Mood::Refuses);
    settings_->remove("LOGIN_TOKEN");
    settings_.reset();
    keyring_.be(Keyring::Mood::Serves);
    EXPECT_FALSE(keyring_.secrets.empty());
    EXPECT_EQ(nextStart(), std::nullopt) << "signed out, whatever is left in the keyring";
    signIn("secret-2");
    settings_->clearSignIn();
    EXPECT_EQ(nextStart(), std::nullopt);
    EXPECT_TRUE(keyring_.secrets.empty());
}

TEST_F(TokenStoreTest, AKeyringThatRefusesIsNotAskedAgainBeforeTheNextSignIn) {
    keyring_.be(Keyring::Mood::Refuses);
    nextStart();
    signIn("secret-1");
    EXPECT_TRUE(isInFile("secret-1"));
    EXPECT_EQ(nextStart(), "secret-1");
    EXPECT_EQ(keyring_.asked, 1);
    keyring_.be(Keyring::Mood::Serves);
    signIn("secret-2");
    EXPECT_FALSE(isInFile("secret"));
    EXPECT_EQ(settings_->loginToken(), "secret-2");
}

TEST_F(TokenStoreTest, AKeyringThatHangsLosesNoSignIn) {
    keyring_.be(Keyring::Mood::Hangs);
    nextStart();
    settings_->setLoginToken("secret-1");
    EXPECT_EQ(settings_->loginToken(), "secret-1");
    EXPECT_TRUE(settings_->synchronize());
    EXPECT_TRUE(isInFile("secret-1")) << "for a start before it answers";
    keyring_.be(Keyring::Mood::Serves);
    EXPECT_TRUE(waitFor([this] { return !isInFile("secret-1"); }));
    keyring_.be(Keyring::Mood::Hangs);
    EXPECT_EQ(nextStart(), std::nullopt);
    EXPECT_EQ(settings_->loginToken(), std::nullopt);
    bool arrived = false;
    EXPECT_TRUE(settings_->awaitLateToken([&] { arrived = true; }));
    EXPECT_EQ(nextStart(), std::nullopt) << "the last one ends while it is waited for";
    EXPECT_TRUE(settings_->awaitLateToken([&] { arrived = true; }));
    keyring_.be(Keyring::Mood::Serves);
    EXPECT_TRUE(waitFor([&] { return arrived; }));
    EXPECT_EQ(settings_->loginToken(), "secret-1");
    EXPECT_FALSE(settings_->awaitLateToken([] {}));
}

TEST(RequestEncodingTest, ParametersBecomeASortedQueryAndTheCaptchasPageIsBesideTheBackend) {
    EXPECT_EQ(encodedQuery({}), "");
    EXPECT_EQ(encodedQuery({{"half", 0.5}, {"c", false}}), "c=0&half=0.5");
    EXPECT_EQ(encodedQuery({{"list", QJsonArray{2, "x", true}}}), "list%5B%5D=2&list%5B%5D=x&list%5B%5D=1");
    EXPECT_EQ(encodedQuery({{"中", "a b&c=d+e"}}), "%E4%B8%AD=a%20b%26c%3Dd%2Be");
    EXPECT_EQ(encodedQuery({{"o", QJsonObject{{"k", "v"}}}}), "o%5Bk%5D=v");
    EXPECT_EQ(ApiBase::captchaPage("https://127.0.0.1:8443/api/v1").toString(), "http://127.0.0.1:8444/");
    EXPECT_EQ(ApiBase::captchaPage("https://[::1]:47615/api/v1").toString(), "http://[::1]:47616/");
    EXPECT_EQ(ApiBase::captchaPage("https://a.example/api/v1").toString(), "http://a.example/");
}

TEST(RequestEncodingTest, APathFollowsTheBaseAndAWholeUrlStandsAlone) {
    const auto text = [](const QString& base, const QString& path, const QByteArray& query) {
        const auto url = requestUrl(base, path, query);
        return url ? url->toString(QUrl::FullyEncoded) : QString("none");
    };
    EXPECT_EQ(text("https://a.example", "http://b.example/x?y=1", "a=1"), "http://b.example/x?y=1&a=1");
    EXPECT_EQ(text("https://a.example/v1", "/x", "list%5B%5D=a%26b%2Bc"),
              "https://a.example/v1/x?list%5B%5D=a%26b%2Bc");
    EXPECT_EQ(text("https://a.example", "/中 文", ""), "https://a.example/%E4%B8%AD%20%E6%96%87");
    for (const char* base : {"", "no url", "ftp://a.example", "https://", "https://a b.example", "https://a:port"})
        EXPECT_EQ(text(base, "/x", ""), "none") << base;
}

TEST(TransportErrorTest, EachKindOfFailureHasItsWords) {
    using Reply = QNetworkReply;
    const auto text = [](Reply::NetworkError error, bool online) {
        return transportAlertText(error, {"why", "why"}, online);
    };
    EXPECT_EQ(text(Reply::ConnectionRefusedError, false), "无法连接到服务器，请稍后再试");
    EXPECT_EQ(text(Reply::UnknownNetworkError, true), "无法连接到服务器，请稍后再试");
    EXPECT_EQ(text(Reply::UnknownNetworkError, false), "网络未连接，请检查你的网络设置");
    EXPECT_EQ(text(Reply::HostNotFoundError, false), "网络未连接，请检查你的网络设置");
    EXPECT_EQ(text(Reply::HostNotFoundError, true), "请求失败：why");
}

TEST(TransportErrorTest, ADefaultRouteOfAnyKindIsOnlineAndABridgeOfContainersIsNot) {
    // As the kernel of a machine with a running container and no network says.
    const QByteArray bridge = "Iface\tDestination\tGateway \tFlags\tRefCnt\tUse\tMetric\tMask\t\tMTU\tWindow\tIRTT\n"
                              "docker0\t000011AC\t00000000\t0001\t0\t0\t0\t0000FFFF\t0\t0\t0\n";
    const QByteArray zeros(32, '0'), local = "fe80" + QByteArray(28, '0');
    const QByteArray noIpv6 = local + " 40 " + zeros + " 00 " + zeros +
                              " 00000100 00000001 00000000 00000001 docker0\n" + zeros + " 00 " + zeros + " 00 " +
                              zeros + " ffffffff 00000001 00000000 00200200       lo\n";
    EXPECT_FALSE(hasRoute(bridge, noIpv6));
    EXPECT_FALSE(hasRoute({}, {}));
    EXPECT_FALSE(hasRoute(bridge + "eth0\t00000000\t00000000\t0201\t0\t0\t0\t00000000\t0\t0\t0\n", {})) << "it refuses";
    EXPECT_TRUE(hasRoute(bridge + "wlan0\t00000000\t0101A8C0\t0003\t0\t0\t600\t00000000\t0\t0\t0\n", {}));
    EXPECT_TRUE(hasRoute(bridge + "ppp0\t00000000\t00000000\t0001\t0\t0\t0\t00000000\t0\t0\t0\n", {}));
    EXPECT_TRUE(hasRoute({}, noIpv6 + zeros + " 00 " + zeros + " 00 " + local +
                                 " 00000400 00000001 00000000 00000003    wlan0\n"));
}

} // namespace
} // namespace parlowen::testing
