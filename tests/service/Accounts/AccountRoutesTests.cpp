#include "support/RunningService.h"

#include <gtest/gtest.h>

using namespace parlowen::testing;

namespace {

constexpr const char* loginPath = "/api/v1/user/account/login";
constexpr const char* infoPath = "/api/v1/user/info";

} // namespace

TEST(AccountRoutes, SignInGivesATokenAndAProfileKeepsTheTypeOfInterviewsAndRefusalsSayWhy) {
    const RunningService service;
    const ServiceClient client = service.client();
    const Reply signedIn = service.signIn("13800001234");
    ASSERT_EQ(signedIn.status, 200);
    const auto data = signedIn.data();
    const auto& user = data.at("user");
    EXPECT_EQ(user.at("user_code").get<std::string>() + user.at("nick_name").get<std::string>(), "10001用户1234");
    EXPECT_EQ(user.at("country_code").get<std::string>() + user.at("type").dump(), "861");
    const auto token = data.at("token").get<std::string>();
    EXPECT_EQ(client.get(infoPath, token).data(), nlohmann::json({{"rights", data.at("rights")}, {"user", user}}))
        << "without the token";

    const auto change = [&](const std::string& type) {
        return client.send("PUT", "/api/v1/user/change_user_type/" + type, {}, token);
    };
    EXPECT_FALSE(change("3").message().empty()) << "clients show the message";
    for (const char* type : {"0", "4", "12", "x"})
        EXPECT_EQ(change(type).code(), 1001) << type;
    EXPECT_EQ(client.get(infoPath, token).data().at("user").at("type"), 3);

    EXPECT_EQ(service.signIn("13800001234", "secret-2").message(), "手机号或密码错误");
    EXPECT_EQ(client.post(loginPath, {{"country_code", 86}, {"phone", nullptr}, {"password", {1}}}).code(), 1001);
    EXPECT_EQ(client.get(infoPath).status, 401);
}

TEST(AccountRoutes, AccountsAndTokensOutliveARestartAndSignOutEndsThem) {
    RunningService service;
    const std::string token = service.token();
    service.stop();
    std::string stored;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(service.data()))
        stored += entry.is_regular_file() ? contentsOf(entry.path()) : "";
    EXPECT_EQ(stored.find(token), std::string::npos) << "tokens are kept hashed";
    EXPECT_EQ(stored.find("secret-1"), std::string::npos);
    EXPECT_NE(stored.find("13800000001"), std::string::npos);
    EXPECT_NE(stored.find("$argon2id$"), std::string::npos);

    service.start();
    const ServiceClient client = service.client();
    EXPECT_EQ(client.get(infoPath, token).status, 200);
    EXPECT_EQ(service.signIn("13800000001", "another").code(), 1002);
    EXPECT_EQ(client.send("POST", "/api/v1/user/logout", {}, token).code(), 0);
    EXPECT_EQ(client.get(infoPath, token).status, 401);
}

TEST(AccountRoutes, AFullDiskIsSaidAndLosesNothing) {
    RunningService service;
    const std::string token = service.token();
    {
        const FileSizeLimit full(1);
        const Reply refused = service.signIn("13800000002");
        EXPECT_EQ(refused.status, 507);
        EXPECT_NE(refused.code(), 0);
        EXPECT_EQ(refused.message(), "磁盘空间不足或无法写入，数据没有保存");
        EXPECT_EQ(service.client().get(infoPath, token).status, 200);
        EXPECT_EQ(service.client().send("POST", "/api/v1/user/logout", {}, token).code(), 0);
        EXPECT_EQ(service.client().get(infoPath, token).status, 401) << "a sign-out needs no room";
    }
    EXPECT_EQ(service.signIn("13800000002", "other-secret").code(), 0) << "no half account is left";
    EXPECT_EQ(service.signIn().code(), 0);
    service.stop();
    service.start();
    EXPECT_EQ(service.client().get(infoPath, token).status, 401) << "and is stored later";
    EXPECT_EQ(RunningService({}, {}, {}).signIn().code(), 1002) << "accounts are made where that is asked for";
}
