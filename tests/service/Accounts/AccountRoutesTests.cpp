#include "Accounts/SignInRoutes.h"
#include "support/RunningService.h"

#include <future>
#include <gtest/gtest.h>
#include <httplib.h>

using namespace parlowen::testing;
using namespace parlowen::service;
using namespace std::chrono_literals;

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

TEST(AccountRoutes, ConnectionsCountAsTheirUsers) {
    const RunningService service(
        {.limits = std::make_shared<const ServerLimits>(ServerLimits{.connectionsOfAUser = 0})});
    EXPECT_EQ(service.client().get(infoPath, service.token()).status, 503);
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

namespace {

constexpr const char* sendPath = "/api/v1/user/send_sms_code";
constexpr const char* codePath = "/api/v1/user/login";

nlohmann::json fields(const std::string& phone, const char* name, const std::string& value) {
    return {{"country_code", "86"}, {"phone", phone}, {name, value}};
}

/// Sign-in by code, with captchas that are solved in advance.
class SignInByCode : public ::testing::Test {
protected:
    Router routes() {
        Router router;
        addSignInRoutes(router, {accounts, hashing, LoginMethod::Code,
                                 [this](const CodeMessage& message) {
                                     sent[message.phone.number] = message.code;
                                     return delivers;
                                 },
                                 [this](const std::string& result) { return captchas.erase(result) == 1; },
                                 [this](const std::string& result, const std::string&) { captchas.insert(result); }});
        addAccountRoutes(router, accounts);
        return router;
    }
    Reply send(const std::string& phone, const std::string& captcha) const {
        return client.post(sendPath, fields(phone, "data", captcha));
    }

    TemporaryDirectory directory;
    Database database{directory.path() / "test.db"};
    Accounts accounts{database};
    HashingQueue hashing;
    std::set<std::string> captchas{"a", "b", "c", "d"};
    std::map<std::string, std::string> sent;
    bool delivers = true;
    RunningServer server{routes()};
    ServiceClient client = server.client();
};

} // namespace

TEST_F(SignInByCode, TheWholeWay) {
    EXPECT_EQ(client.get("/api/v1/user/get_login_method").data(), 2);
    EXPECT_EQ(send("13800001234", "never given").code(), 1006);
    EXPECT_TRUE(sent.empty());
    EXPECT_EQ(send("12", "a").code(), 1001);
    const Reply first = send("13800001234", "a");
    EXPECT_EQ(first.code(), 0) << "a mistyped number uses no captcha up";
    EXPECT_FALSE(first.message().empty()) << "clients show it";
    EXPECT_EQ(send("13900001234", "a").code(), 1006) << "a captcha counts once";
    EXPECT_EQ(send("13800001234", "b").code(), 1003);
    EXPECT_TRUE(captchas.contains("b")) << "not for a code that was not sent";
    const Reply signedIn = client.post(codePath, fields("13800001234", "code", sent.at("13800001234")));
    ASSERT_EQ(signedIn.code(), 0);
    EXPECT_EQ(signedIn.data().at("user").at("phone"), "13800001234");
    EXPECT_EQ(client.get("/api/v1/user/info", signedIn.data().at("token").get<std::string>()).status, 200);
    EXPECT_EQ(client.post(codePath, fields("13800001234", "code", sent.at("13800001234"))).code(), 1005);
    EXPECT_EQ(send("13900001234", "b").body, first.body) << "the same for a number without an account";

    EXPECT_EQ(client.post("/api/v1/user/account/login", fields("13700001234", "password", "secret-1")).code(), 1002)
        << "nobody takes a number by a password of their own";
    delivers = false;
    EXPECT_EQ(send("13700001234", "c").code(), 1007);
    EXPECT_EQ(client.post(codePath, fields("13700001234", "code", sent.at("13700001234"))).code(), 1005);
    delivers = true;
    EXPECT_EQ(send("13700001234", "d").code(), 0) << "at once";
}

TEST(SignInRoutes, TheCaptchasPageGoesByTheNamesOfTheServiceAndThroughItsProxies) {
    ServiceOptions options;
    options.loginByCode = true;
    options.hosts = {"parlowen.example"};
    options.proxies = {"127.0.0.1"};
    const RunningService service({}, {}, options);
    const std::string url = service.captchaUrl();
    httplib::Client client(url.substr(0, url.size() - 1));
    EXPECT_EQ(client.Get("/", {{"Host", "elsewhere.example"}})->status, 403);
    const auto statusFrom = [&](const char* origin) {
        return client.Post("/answer", {{"Host", "parlowen.example"}, {"Origin", origin}}, "[]", "text/plain")->status;
    };
    EXPECT_EQ(statusFrom("https://parlowen.example"), 400) << "let in, as the proxy speaks TLS";
    EXPECT_EQ(statusFrom("https://elsewhere.example"), 403);
}

TEST(SignInRoutes, ADeletedAccountLeavesNoRowAndNoFile) {
    RunningService service;
    const ServiceClient client = service.client();
    const std::string token = service.token();
    const std::string grant = client.get("/api/v1/ai/token", token).data();
    const std::string file = service.data() / "parlowen.db";
    Database(file).use([](SQLite::Database& database) {
        database.exec("INSERT INTO resumes VALUES ('file-1', 1, 'mine.txt', 'a text of mine', 1, 1)");
    });
    EXPECT_EQ(client.get("/api/v1/user/info", token).data().at("user").at("resume").at("resume_id"), "file-1");
    Database(file).use([](SQLite::Database& database) {
        database.exec("INSERT INTO failures SELECT 'pair', '86 ' || column1 || ' 127.0.0.1', 10, unixepoch() FROM "
                      "(VALUES ('13800000001'), ('13800000002'))");
    });
    const Reply deleted = client.send("POST", "/api/v1/user/logoff", {}, token);
    EXPECT_TRUE(deleted.code() == 0 && !deleted.message().empty()) << "clients show the message";
    EXPECT_EQ(client.get("/api/v1/user/info", token).status, 401);
    EXPECT_EQ(client.send("POST", "/compatible-mode/v1/files", "x", grant).status, 401)
        << "an upload may still be under way";
    std::string stored;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(service.data()))
        stored += entry.is_regular_file() ? contentsOf(entry.path()) : "";
    for (const char* trace : {"13800000001", "a text of mine", "mine.txt", "file-1"})
        EXPECT_EQ(stored.find(trace), std::string::npos) << trace;
    Database(file).use([](SQLite::Database& database) {
        for (const char* table : {"users", "sessions", "addresses", "resumes"})
            EXPECT_EQ(database.execAndGet(std::string("SELECT count(*) FROM ") + table).getInt(), 0) << table;
        EXPECT_NE(database.execAndGet("SELECT count(*) FROM failures WHERE kind = 'pair'").getInt(), 0) << "others'";
    });
}

TEST(CodeDelivery, ACommandGetsNumberAndTextOnItsInputAlone) {
    const TemporaryDirectory directory;
    const std::string file = directory.path() / "sent";
    const CodeMessage message{{"86", "13800001234"}, "123456"};
    EXPECT_TRUE(deliveryByCommand("{ cat; tr '\\0' ' ' < /proc/$$/cmdline; env; } > '" + file + "'")(message));
    const std::string seen = contentsOf(file);
    EXPECT_TRUE(seen.starts_with("+8613800001234\n")) << seen;
    EXPECT_NE(seen.find("123456"), std::string::npos);
    EXPECT_EQ(seen.find("123456"), seen.rfind("123456")) << "neither in arguments nor in the environment";
    EXPECT_TRUE(deliveryByCommand("cat > '" + file + "'")({message.phone, message.code, true}));
    EXPECT_NE(contentsOf(file).find("your sign-in code is 123456"), std::string::npos);
    EXPECT_FALSE(deliveryByCommand("exit 3")(message));
    EXPECT_TRUE(deliveryByCommand("sleep 600 & printf $! > '" + file + "'")(message));
    const std::string left = "/proc/" + contentsOf(file) + "/cmdline"; // empty once it ended
    EXPECT_TRUE(eventually([&left] { return contentsOf(left).empty(); })) << "what it started goes with it";
    EXPECT_FALSE(deliveryByCommand("sleep 600", 50ms)(message)) << "hangs";
}

TEST(HashingQueue, StrangersTakeTurnsAndTheKnownAreNeverInTheirWay) {
    HashingQueue queue;
    std::promise<void> open;
    std::promise<void> busy;
    queue.add({"first", "0"}, [&](bool) {
        busy.set_value();
        open.get_future().wait();
    });
    busy.get_future().wait();
    std::mutex mutex;
    std::vector<std::string> order;
    int dropped = 0;
    const auto job = [&](const std::string& name) {
        return [&, name](bool run) {
            const std::lock_guard lock(mutex);
            run ? order.push_back(name) : static_cast<void>(++dropped);
        };
    };
    for (int i = 0; i < 2; ++i)
        queue.add({"flood", "0"}, job("flood"));
    EXPECT_EQ(dropped, 1) << "one for each number";
    for (std::size_t i = 1; i < HashingQueue::placesOfStrangers; ++i)
        queue.add({"flood", std::to_string(i)}, job("flood"));
    queue.add({"flood", "99"}, job("flood"));
    EXPECT_EQ(dropped, 2) << "no place more";
    queue.add({"honest", "1"}, job("honest"));
    EXPECT_EQ(dropped, 3) << "whoever has most makes room";
    std::promise<bool> known;
    queue.add({"flood", "1", true}, [&](bool run) { known.set_value(run); });
    EXPECT_TRUE(known.get_future().get()) << "while strangers still wait";
    EXPECT_TRUE(order.empty());
    std::promise<void> last;
    open.set_value();
    queue.add({"zz", "1"}, [&](bool) { last.set_value(); });
    last.get_future().wait();
    queue.stop();
    EXPECT_TRUE(order.size() >= 2 && (order[0] == "honest" || order[1] == "honest")) << "in turns by peer";
    bool ran = true;
    queue.add({"first", "1"}, [&](bool run) { ran = run; });
    EXPECT_FALSE(ran) << "after the end";
}

TEST(HashingQueue, WhoFoundNoPlaceGoesBeforeThoseWhoAreNew) {
    HashingQueue queue;
    std::vector<std::string> ran; // by the thread of strangers, which alone adds after the first
    std::promise<void> done;
    const auto come = [&](
                          const std::string& peer, std::function<void()> then = [] {}) {
        queue.add({peer, "1"}, [&ran, peer, then = std::move(then)](bool run) {
            if (!run)
                return;
            ran.push_back(peer);
            then();
        });
    };
    const auto flood = [&](const std::string& name) {
        for (int i = 0; i < 400; ++i)
            come(name + std::to_string(i));
    };
    come("first", [&] {
        come("second", [&] {
            flood("new ");
            come("newcomer", [&] { done.set_value(); });
            flood("newer ");
        });
        flood("waits ");
        come("newcomer");
    });
    EXPECT_EQ(done.get_future().wait_for(10s), std::future_status::ready) << "kept out";
    queue.stop();
    EXPECT_EQ(ran.size(), 2 + HashingQueue::placesOfStrangers) << "after those who waited before alone";
}

TEST(HashingQueue, WhoHadATurnMakesRoomForWhoHadNone) {
    std::promise<void> open;
    std::atomic<std::size_t> ran = 0, dropped = 0;
    std::atomic<bool> held = false;
    HashingQueue queue;
    const auto come = [&](const std::string& peer) {
        queue.add({peer, "1"}, [&](bool run) { ++(run ? ran : dropped); });
    };
    constexpr std::size_t places = HashingQueue::placesOfStrangers;
    for (std::size_t i = 1; i <= places; ++i) {
        come(std::to_string(i));
        while (ran < i)
            std::this_thread::yield();
    }
    queue.add({"holds", "1"}, [&](bool) {
        held = true;
        open.get_future().wait();
    });
    while (!held)
        std::this_thread::yield();
    for (std::size_t i = 1; i <= places; ++i)
        come(std::to_string(i));
    EXPECT_EQ(dropped, 0U);
    come("newcomer");
    come("newcomer"); // waits already
    EXPECT_EQ(dropped, 2U);
    open.set_value();
    while (ran + dropped < 2 * places + 2)
        std::this_thread::yield();
    EXPECT_EQ(ran, 2 * places) << "all but the last one of those who had a turn";
}
