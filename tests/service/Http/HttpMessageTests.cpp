#include "Http/Certificates.h"
#include "Http/CountedLine.h"
#include "Http/HttpMessage.h"
#include "Http/PrivateFiles.h"
#include "Http/RequestHead.h"
#include "Http/TurnQueue.h"
#include "Http/Wording.h"
#include "support/TemporaryDirectory.h"
#include <future>
#include <gtest/gtest.h>
#include <semaphore>

using namespace parlowen::service;
using namespace parlowen::testing;

namespace {

HttpRequest from(const RawRequest& raw, const char* peer = "127.0.0.1") {
    return {raw, parsedTarget(raw.target()).value(), {boost::asio::ip::make_address(peer), {}}};
}

struct Certificates : ::testing::Test {
    std::string contents(const char* name) const { return contentsOf(tls / name); }

    TemporaryDirectory directory;
    const std::filesystem::path tls = directory.path() / "tls";
};

} // namespace

TEST(HttpMessage, TargetsAreTakenApart) {
    RawRequest raw(verb::get, "/a%20b/%E4%BD%A0?x=1&x=2&empty=&flag&sum=1+1&%62=c%26", 11);
    raw.set("Authorization", "bearer abc");
    const HttpRequest request = from(raw);
    EXPECT_EQ(request.path, "/a b/你");
    EXPECT_EQ(request.query("x") + request.query("empty") + request.query("flag") + request.query("none"), "1");
    EXPECT_EQ(request.query("sum"), "1 1");
    EXPECT_EQ(request.query("b"), "c&");
    EXPECT_EQ(request.header("AUTHORIZATION"), "bearer abc");
    EXPECT_EQ(request.bearerToken(), "abc");
    EXPECT_EQ(success("\xff").body, "{\"code\":0,\"message\":\"\",\"data\":\"\xEF\xBF\xBD\"}") << "no exception";
    for (const char* target : {"", "*", "x", "/%zz", "/?a=%4", "http://x/"})
        EXPECT_FALSE(parsedTarget(target)) << target;
}

TEST(HttpMessage, WhatIsSaidToPeopleIsSaidInTheirLanguage) {
    EXPECT_TRUE(prefersEnglish("en") && prefersEnglish("EN-us,zh;q=0.5") && prefersEnglish("en;q=1"));
    EXPECT_FALSE(prefersEnglish("") || prefersEnglish("e") || prefersEnglish("zh-Hans,en") || prefersEnglish("enm"));
    HttpResponse response = failure(1001, "面试类型应为 1、20 或 3");
    response.speakEnglish();
    EXPECT_EQ(response.body, R"({"code":1001,"message":"The interview type is 1, 20 or 3","data":null})");
    for (const char* other : {"", "\"", "别人的话 1"}) {
        response = failure(1, other);
        const std::string before = response.body;
        response.speakEnglish();
        EXPECT_EQ(response.body, before);
    }
}

TEST(HttpMessage, OnlyThisMachineIsLocal) {
    RawRequest raw(verb::get, "/", 11);
    for (const char* host : {"localhost:1", "[::1]", "127.0.0.1"}) {
        raw.set("Host", host);
        EXPECT_TRUE(from(raw).isLocal() && from(raw, "::1").isLocal()) << host;
    }
    EXPECT_FALSE(from(raw, "192.168.1.2").isLocal());
    for (const auto& [name, value] :
         {std::pair("Host", "parlowen.example"), {"Via", "1.1 x"}, {"X-Forwarded-For", ""}}) {
        RawRequest passedOn = raw;
        passedOn.set(name, value);
        EXPECT_FALSE(from(passedOn).isLocal()) << name;
    }
}

TEST(RequestHead, AKnownProxySaysWhoAsks) {
    const auto at = [](const char* address) { return boost::asio::ip::make_address(address); };
    const HeadRules rules{true, {"example.org"}, {at("127.0.0.1")}};
    RawRequest raw(verb::get, "/", 11);
    raw.set("Host", "localhost");
    const auto target = parsedTarget("/").value();
    EXPECT_EQ(originOf(raw, at("127.0.0.1"), rules).peer, at("127.0.0.1"));
    EXPECT_FALSE(HttpRequest(raw, target, originOf(raw, at("127.0.0.1"), rules)).isLocal()) << "without a word of it";
    raw.set("X-Forwarded-For", "198.51.100.1, 127.0.0.1, 203.0.113.9");
    EXPECT_EQ(originOf(raw, at("127.0.0.1"), rules).peer, at("203.0.113.9"));
    EXPECT_EQ(originOf(raw, at("127.0.0.2"), rules).peer, at("127.0.0.2"));
    for (const auto& [named, peer] :
         {std::pair("192.0.2.1:4711", "192.0.2.1"), {"[2001:db8::1]:4711", "2001:db8::1"}}) {
        raw.set("X-Forwarded-For", named);
        EXPECT_EQ(originOf(raw, at("127.0.0.1"), rules).peer, at(peer));
    }
    raw.insert("X-Forwarded-For", "nonsense");
    EXPECT_EQ(originOf(raw, at("127.0.0.1"), rules).peer, at("127.0.0.1"));
    EXPECT_TRUE(isAllowedHost("Example.ORG:443", rules) && isAllowedHost("[::1]:1", rules));
    EXPECT_FALSE(isAllowedHost("a.example.org", rules));
}

TEST(CountedLine, TellsOfAFloodOnceAMinute) {
    std::vector<std::string> said;
    CountedLine line("tries", {"wrong", "late"}, [&said](std::string_view text) { said.emplace_back(text); });
    const auto at = [](int second) { return CountedLine::Time(std::chrono::seconds(second)); };
    line.count(0, "192.0.2.1", at(0));
    for (int second = 1; second < 60; ++second)
        line.count(second % 2, "192.0.2.2", at(second));
    line.sayDue(at(59));
    line.sayDue(at(60));
    line.sayDue(at(200));
    line.countQuietly(1, "", at(200));
    line.sayRest(at(200));
    EXPECT_EQ(said, (std::vector<std::string>{"tries: 1 wrong, from 192.0.2.1",
                                              "tries: 29 wrong, 30 late in the last 59 s, the latest from 192.0.2.2",
                                              "tries: 1 late, from a proxy"}));
}

TEST_F(Certificates, AreMadeOnceForThisUserAlone) {
    prepareTls(tls);
    EXPECT_EQ(modeOf(tls), 0700U);
    for (const char* name : {"ca.pem", "ca.key", "server.pem", "server.key"})
        EXPECT_EQ(modeOf(tls / name), 0600U) << name;
    const std::string authority = contents("ca.pem");
    const std::string server = contents("server.pem");
    std::filesystem::permissions(tls / "ca.key", std::filesystem::perms(0644));
    prepareTls(tls);
    EXPECT_EQ(contents("ca.pem"), authority);
    EXPECT_EQ(contents("server.pem"), server);
    EXPECT_EQ(modeOf(tls / "ca.key"), 0600U) << "rights of others are taken away";
    EXPECT_NEAR(daysLeft(*certificateFromPem(authority)), 3650, 3);
}

TEST_F(Certificates, AFileThatCannotBeReadIsNotTakenForNone) {
    std::filesystem::create_directories(tls);
    EXPECT_EQ(readPrivateFile(tls / "none", 9), std::nullopt);
    writePrivateFile(tls / "large", "0123456789");
    std::filesystem::create_symlink("loop", tls / "loop");
    for (const char* name : {"large", "loop"})
        EXPECT_THROW(readPrivateFile(tls / name, 9), std::system_error) << name;
    prepareTls(tls);
    for (const char* name : {"server.key", "server.pem", "ca.pem"}) {
        writePrivateFile(tls / name, "garbage");
        std::string problem;
        try {
            prepareTls(tls);
        } catch (const TlsError& error) {
            problem = error.what();
        }
        EXPECT_EQ(problem.find((tls / name).string() + " cannot be used"), 0U) << problem;
    }
}

TEST_F(Certificates, ServerCertificateIsRenewedBeforeItEnds) {
    prepareTls(tls);
    const Identity authority{keyFromPem(contents("ca.key")), certificateFromPem(contents("ca.pem"))};
    const std::string known = contents("ca.pem");
    const Identity foreign = makeServerIdentity(makeAuthority());
    const Identity aged = makeServerIdentity(authority, 5);
    for (const Identity* pair : {&foreign, &aged}) {
        writePrivateFile(tls / "server.key", toPem(*pair->key));
        writePrivateFile(tls / "server.pem", toPem(*pair->certificate));
        prepareTls(tls);
    }
    EXPECT_EQ(contents("server.key.old") + contents("server.pem.old"),
              toPem(*foreign.key) + toPem(*foreign.certificate));
    EXPECT_EQ(contents("ca.pem"), known);
    const Identity renewed{keyFromPem(contents("server.key")), certificateFromPem(contents("server.pem"))};
    EXPECT_GT(daysLeft(*renewed.certificate), 300);
    EXPECT_TRUE(belongTogether(renewed));
    EXPECT_TRUE(isSignedBy(renewed, authority));
}

TEST(TurnQueue, RunsOnePieceOfAUserAtATimeAndTheOthersInTurns) {
    std::promise<void> longGoesOn;
    std::promise<void> firstGoesOn;
    std::promise<void> othersRan;
    std::binary_semaphore runs{0};
    std::mutex mutex;
    std::string order;
    TurnQueue queue(2);
    const auto add = [&](std::int64_t user, const std::string& name, std::promise<void>* waitsFor = nullptr) {
        queue.add(user, [&, name, waitsFor](bool run) {
            if (waitsFor != nullptr) {
                runs.release();
                waitsFor->get_future().wait();
            }
            const std::lock_guard lock(mutex);
            order += run ? name : "(" + name + ")";
            if (order.size() == 5)
                othersRan.set_value();
            if (name == "y")
                longGoesOn.set_value();
        });
    };
    add(9, "z", &longGoesOn);
    runs.acquire();
    add(9, "y");
    add(1, "a", &firstGoesOn);
    runs.acquire();
    for (const auto& [user, name] : {std::pair(1, "b"), {1, "c"}, {2, "d"}, {3, "e"}})
        add(user, name);
    firstGoesOn.set_value();
    othersRan.get_future().wait();
    queue.stop();
    add(1, "f");
    EXPECT_EQ(order, "adebc(y)z(f)");
}
