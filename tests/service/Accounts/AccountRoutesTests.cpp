#include "support/RunningService.h"
#include "support/TemporaryDirectory.h"

#include <gtest/gtest.h>

using namespace parlowen::testing;

namespace {

constexpr const char* loginPath = "/api/v1/user/account/login";
constexpr const char* infoPath = "/api/v1/user/info";

} // namespace

TEST(AccountRoutes, SignInGivesATokenAndAProfile) {
    const RunningService service;
    const ServiceClient client = service.client();
    EXPECT_EQ(client.get("/api/v1/user/get_login_method").data(), 1);
    const Reply signedIn = service.signIn("13800001234");
    ASSERT_EQ(signedIn.status, 200);
    const auto data = signedIn.data();
    EXPECT_TRUE(data.at("rights").is_array());
    const auto& user = data.at("user");
    EXPECT_EQ(user.at("user_code"), "10001");
    EXPECT_EQ(user.at("nick_name"), "用户1234");
    EXPECT_EQ(user.at("country_code"), "86");
    EXPECT_EQ(user.at("type"), 1);

    const Reply info = client.get(infoPath, data.at("token").get<std::string>());
    EXPECT_EQ(info.data(), nlohmann::json({{"rights", data.at("rights")}, {"user", user}})) << "without the token";
}

TEST(AccountRoutes, TheTypeOfInterviewsIsKept) {
    const RunningService service;
    const ServiceClient client = service.client();
    const std::string token = service.token();
    const auto change = [&](const std::string& type, const std::string& by) {
        return client.send("PUT", "/api/v1/user/change_user_type/" + type, {}, by);
    };
    const Reply changed = change("3", token);
    EXPECT_TRUE(changed.code() == 0 && !changed.message().empty()) << "clients show the message";
    for (const char* type : {"0", "4", "12", "x"})
        EXPECT_EQ(change(type, token).code(), 1001) << type;
    EXPECT_EQ(change("1", "unknown").status, 401);
    EXPECT_EQ(client.get(infoPath, token).data().at("user").at("type"), 3);
}

TEST(AccountRoutes, RefusalsSayWhy) {
    const RunningService service;
    const ServiceClient client = service.client();
    service.signIn("13800001234");
    const Reply wrong = service.signIn("13800001234", "secret-2");
    EXPECT_EQ(wrong.status, 200);
    EXPECT_EQ(wrong.message(), "手机号或密码错误");
    EXPECT_EQ(client.post(loginPath, {{"country_code", 86}, {"phone", nullptr}, {"password", {1}}}).code(), 1001);
    EXPECT_EQ(client.send("POST", loginPath, "{\"phone\":\"\xff\"}").status, 400);
    for (const char* token : {"", "unknown"})
        EXPECT_EQ(client.get(infoPath, token).status, 401) << token;
    EXPECT_EQ(client.send("POST", "/api/v1/user/logout").status, 401);
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
