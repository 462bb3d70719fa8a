#include "Accounts/Accounts.h"
#include "Accounts/Secrets.h"
#include "support/TemporaryDirectory.h"

#include <future>
#include <gtest/gtest.h>

using namespace parlowen::service;
using namespace parlowen::testing;
using namespace std::chrono_literals;

namespace {

using Reason = Refused::Reason;

/// Of "secret-1", at the least cost that there is.
constexpr const char* hashOfAnotherCost =
    "$argon2id$v=19$m=64,t=1,p=1$dme4soSjVkzFtDQB+PgR0w$1vG3vZDUUZmwm2bSboABHOL08r31wW+gJv5QKEKGL14";

class AccountRules : public ::testing::Test {
protected:
    std::optional<Reason> refusal(const Credentials& credentials, bool mayCreate = true) {
        const auto outcome = accounts.signIn(credentials, mayCreate);
        const auto* refused = std::get_if<Refused>(&outcome);
        return refused == nullptr ? std::nullopt : std::optional(refused->reason);
    }
    std::string tokenOf(const Credentials& credentials) {
        return std::get<SignedIn>(accounts.signIn(credentials, true)).token;
    }

    TemporaryDirectory directory;
    Database database{directory.path() / "test.db"};
    LimitTime now = LimitTime() + 1000h;
    Accounts accounts{database, [this] { return now; }};
    const Credentials known{"86", "13800001234", "secret-1"};
};

} // namespace

TEST_F(AccountRules, FirstSignInMakesTheAccountAndTheNextMustMatch) {
    EXPECT_EQ(refusal(known, false), Reason::WrongPassword) << "only this machine's clients make accounts";
    const auto first = std::get<SignedIn>(accounts.signIn(known, true));
    EXPECT_EQ(first.user.nickName, "用户1234");
    EXPECT_EQ(refusal({"86", "13800001234", "secret-2"}), Reason::WrongPassword);
    const auto second = std::get<SignedIn>(accounts.signIn({"+86", " 138-0000 1234", "secret-1"}, false));
    EXPECT_EQ(second.user.id, first.user.id) << "signs in numbers are for the eye";
    for (const char* copied : {"+86 138-0000-1234", "008613800001234", "(138) 0000.1234", "138\u00a000001234"})
        EXPECT_EQ(std::get<SignedIn>(accounts.signIn({"86", copied, "secret-1"}, false)).user.id, first.user.id)
            << copied;
    EXPECT_NE(second.token, first.token);
    const auto elsewhere = std::get<SignedIn>(accounts.signIn({"1", "13800001234", "secret-9"}, true));
    EXPECT_NE(elsewhere.user.id, first.user.id) << "the same number of another country";
    EXPECT_EQ(accounts.userOf(first.token)->id, first.user.id);
    accounts.signOut(first.token);
    EXPECT_FALSE(accounts.userOf(first.token));
    EXPECT_TRUE(accounts.userOf(second.token));
    EXPECT_FALSE(accounts.userOf(""));
    EXPECT_EQ(accounts.remove(elsewhere.token)->id, elsewhere.user.id);
    const auto next = std::get<SignedIn>(accounts.signIn({"1", "13800009999", "secret-9"}, true));
    EXPECT_GT(next.user.id, elsewhere.user.id) << "something of the one that has gone may still be under way";
}

TEST_F(AccountRules, TheOperatorGivesPasswords) {
    EXPECT_TRUE(accounts.setPassword(known).value()) << "with an account";
    const std::string token = std::get<SignedIn>(accounts.signIn(known, false)).token;
    const Credentials another{"86", "13800001234", "secret-2"};
    EXPECT_FALSE(accounts.setPassword(another).value());
    EXPECT_FALSE(accounts.userOf(token)) << "whoever knew the old one is out";
    EXPECT_EQ(refusal(known, false), Reason::WrongPassword);
    EXPECT_EQ(refusal(another, false), std::nullopt);
    EXPECT_FALSE(accounts.setPassword({"86", "13800001234", std::string(1'025, 'x')}));
}

TEST_F(AccountRules, AnAccountKnowsThePlacesItSignedInFromLast) {
    AccountStore store(database, 24h);
    const PhoneNumber phone{"86", "13800001234"};
    const auto user = store.create(phone, {}, "token");
    for (int i = 0; i <= AccountStore::addressesOfAUser; ++i)
        store.addAddress(user->id, "127.0.1." + std::to_string(i));
    EXPECT_FALSE(store.knowsAddress(phone, "127.0.1.0"));
    EXPECT_TRUE(store.knowsAddress(phone, "127.0.1.1"));
}

TEST_F(AccountRules, InputIsChecked) {
    for (const Credentials& credentials :
         {Credentials{"CN", "13800001234", "secret-1"}, Credentials{"12345", "13800001234", "secret-1"},
          Credentials{"86", "138", "secret-1"}, Credentials{"86", "1234567890123456", "secret-1"},
          Credentials{"86", "13800001234", "秘密秘密秘"}, Credentials{"86", "13800001234", std::string(1'025, 'x')}})
        EXPECT_EQ(refusal(credentials), Reason::Input) << credentials.phone << " " << credentials.secret;
    EXPECT_EQ(refusal({"86", "13800001234", "秘密秘密秘密"}), std::nullopt) << "six characters are enough";
}

TEST_F(AccountRules, GuessingANumberIsSlowedDownForLongerEachTime) {
    tokenOf(known);
    const Credentials guess{"86", known.phone, "guess-1"};
    EXPECT_EQ(refusal({"86", known.phone, ""}), Reason::Input) << "which counts as well";
    for (int i = 1; i < SignInLimits::byNumber.free; ++i)
        EXPECT_EQ(refusal(guess), Reason::WrongPassword);
    EXPECT_EQ(refusal(guess), Reason::TooManyFailures);
    EXPECT_EQ(refusal(known), Reason::TooManyFailures) << "also with the right password";
    now += SignInLimits::byNumber.pause;
    EXPECT_EQ(refusal(guess), Reason::WrongPassword);
    now += SignInLimits::byNumber.pause;
    EXPECT_EQ(refusal(known), Reason::TooManyFailures) << "each further failure costs twice as much";
    now += SignInLimits::byNumber.pause;
    EXPECT_EQ(refusal(known), std::nullopt);
    EXPECT_EQ(refusal(guess), Reason::WrongPassword) << "a success makes up for what was before";
    for (int i = 0; i < SignInLimits::byNumber.free; ++i)
        refusal(guess);
    now += SignInLimits::byNumber.memory + 1s;
    EXPECT_EQ(refusal(guess), Reason::WrongPassword);
    EXPECT_EQ(refusal(known), std::nullopt) << "failures are forgotten in time";
}

TEST_F(AccountRules, StrangersLockNobodyOutAndAnAddressIsSlowedDownOverAllNumbers) {
    Credentials owner = known;
    owner.address = "127.0.0.2";
    owner.device = "mine";
    tokenOf(owner);
    Credentials guess{"86", known.phone, "guess-1", "127.0.0.3"};
    for (int i = 0; i <= SignInLimits::byNumber.free; ++i)
        refusal(guess);
    EXPECT_EQ(refusal(guess), Reason::TooManyFailures);
    EXPECT_EQ(refusal(owner), std::nullopt) << "from where the number signed in before";
    guess.address = owner.address;
    for (int i = 0; i < SignInLimits::byPair.free; ++i)
        EXPECT_EQ(refusal(guess), Reason::WrongPassword);
    EXPECT_EQ(refusal(guess), Reason::TooManyFailures) << "which has a limit, too";
    EXPECT_EQ(refusal(owner), std::nullopt) << "on the device that it signed in from, beside somebody who guesses";

    SignInLimits limits([this] { return now; });
    const auto tryFor = [&](int number, const char* address) {
        return limits.begin({"86 1380000" + std::to_string(number), address, false}).count();
    };
    for (int i = 0; i < SignInLimits::byAddress.free; ++i)
        EXPECT_EQ(tryFor(1000 + i, "127.0.0.3"), 0);
    EXPECT_EQ(tryFor(2000, "127.0.0.3"), SignInLimits::byAddress.pause.count());
    EXPECT_EQ(tryFor(2000, "127.0.0.4"), 0) << "another address";
    for (int i = 0; i <= 2 * SignInLimits::byAddress.free; ++i) {
        now += 900s;
        tryFor(1000, "127.0.0.5");
    }
    EXPECT_EQ(tryFor(2000, "127.0.0.5"), 0) << "guesses at one number shut out nobody else there";
}

// What an observer could measure is the hashing and the words.
TEST_F(AccountRules, KnownAndUnknownNumbersCostAndSayTheSame) {
    tokenOf(known);
    std::set<std::string> words;
    for (const char* phone : {"13800001234", "13900000000"}) {
        for (const char* password : {"guess-1", "x"}) {
            const auto before = passwordsHashed();
            const auto outcome = accounts.signIn({"86", phone, password}, false);
            EXPECT_EQ(passwordsHashed() - before, 1U) << phone << " " << password;
            words.insert(std::get<Refused>(outcome).message);
        }
    }
    EXPECT_EQ(words.size(), 2U) << "a password that is too short is told, whatever the number";
    tokenOf({"86", "13700000000", "secret-1"});
    EXPECT_EQ(refusal({"86", "13600000000", "12345"}), Reason::Input) << "makes no account";

    AccountStore store(database, 24h);
    store.create({"86", "13600000000"}, hashOfAnotherCost, "token");
    EXPECT_EQ(refusal({"86", "13600000000", "guess-1"}, false), Reason::WrongPassword);
    EXPECT_EQ(store.find({"86", "13600000000"})->passwordHash, hashOfAnotherCost);
    for (int i = 0; i < 2; ++i)
        EXPECT_EQ(refusal({"86", "13600000000", "secret-1"}, false), std::nullopt);
    EXPECT_FALSE(isOfAnotherCost(store.find({"86", "13600000000"})->passwordHash)) << "is renewed at a sign-in";
}

TEST_F(AccountRules, CodesAreGoodOnceForAWhileAndAFewTries) {
    Credentials byCode{"86", "13800001234", "", "127.0.0.2"};
    const auto issue = [&] {
        now += LoginCodes::betweenTwo;
        return std::get<std::string>(accounts.issueCode(byCode));
    };
    const auto signsIn = [&](const std::string& code) {
        byCode.secret = code;
        return std::holds_alternative<SignedIn>(accounts.signInByCode(byCode));
    };
    std::string code = issue();
    EXPECT_EQ(code.size(), 6U);
    const std::string wrong = code == "000000" ? "000001" : "000000";
    EXPECT_EQ(std::get<Refused>(accounts.issueCode(byCode)).reason, Reason::TooManyFailures) << "one a minute";
    EXPECT_FALSE(signsIn(wrong));
    EXPECT_TRUE(signsIn(" " + code + " ")) << "and makes the account";
    EXPECT_FALSE(signsIn(code)) << "once";
    EXPECT_EQ(refusal({"86", "13800001234", "secret-1"}), Reason::WrongPassword) << "it has no password";

    code = issue();
    now += LoginCodes::lifetime;
    EXPECT_FALSE(signsIn(code)) << "too late";
    code = issue();
    byCode.address = "127.0.0.66";
    for (int i = 0; i < LoginCodes::tries; ++i)
        EXPECT_FALSE(signsIn(wrong));
    EXPECT_FALSE(signsIn(code)) << "a stranger's tries are used up";
    issue();
    for (int i = 0; i < LoginCodes::tries; ++i)
        EXPECT_FALSE(signsIn(wrong));
    byCode.address = "127.0.0.2";
    EXPECT_TRUE(signsIn(code)) << "but not those of whoever asked for it, whose code a stranger's stands beside";
    code = issue();
    for (int i = 0; i < LoginCodes::tries; ++i)
        EXPECT_FALSE(signsIn(wrong));
    EXPECT_FALSE(signsIn(code)) << "too many tries";

    accounts.takeCodeBack(byCode.number(), issue());
    EXPECT_TRUE(std::holds_alternative<std::string>(accounts.issueCode(byCode))) << "what was not delivered is free";
    byCode.address = "127.0.0.66";
    for (std::size_t i = 3; i <= LoginCodes::ofANumber; ++i)
        issue();
    now += LoginCodes::betweenTwo;
    EXPECT_TRUE(std::holds_alternative<Refused>(accounts.issueCode(byCode))) << "enough for a day";
    byCode.address = "127.0.0.2";
    EXPECT_TRUE(std::holds_alternative<std::string>(accounts.issueCode(byCode))) << "but for where it signed in from";
    LoginCodes codes([this] { return now; });
    const auto issuedTo = [&](int number, const char* address) {
        return codes.issue({"86", "1380000" + std::to_string(number)}, {address}).has_value();
    };
    for (std::size_t i = 0; i < LoginCodes::ofAnAddress; ++i) {
        EXPECT_TRUE(issuedTo(1000 + static_cast<int>(i), "127.0.0.2"));
        EXPECT_FALSE(issuedTo(1000, "127.0.0.2")) << "too soon, which costs the address nothing";
    }
    EXPECT_FALSE(issuedTo(2000, "127.0.0.2")) << "enough for an address";
    EXPECT_TRUE(issuedTo(2000, "127.0.0.3"));
}

TEST_F(AccountRules, AtASharedAddressNobodySpoilsTheCodeOfAKnownDevice) {
    Credentials owner{"86", "13800001234", "", "127.0.0.2", "mine"};
    const auto issue = [&](const Credentials& asker) {
        now += LoginCodes::betweenTwo;
        return std::get<std::string>(accounts.issueCode(asker));
    };
    const auto signsIn = [&](const Credentials& credentials) {
        return std::holds_alternative<SignedIn>(accounts.signInByCode(credentials));
    };
    owner.secret = issue(owner);
    EXPECT_TRUE(signsIn(owner));
    owner.secret = issue(owner);
    Credentials other = owner;
    other.device.clear();
    issue(other);
    other.secret = "none";
    for (int i = 0; i < LoginCodes::tries; ++i)
        EXPECT_FALSE(signsIn(other));
    EXPECT_TRUE(signsIn(owner));
}

TEST_F(AccountRules, AUserKeepsABoundedNumberOfSessionsAndOneThatIsNotUsedEnds) {
    const std::string oldest = tokenOf(known);
    database.use([](SQLite::Database& connection) {
        connection.exec("UPDATE sessions SET created_at = 1");
        for (int i = 0; i < AccountStore::sessionsOfAUser; ++i)
            connection.exec("INSERT INTO sessions VALUES (randomblob(32), 1, 2, unixepoch())");
    });
    const std::string last = tokenOf(known);
    EXPECT_FALSE(accounts.userOf(oldest));
    EXPECT_TRUE(accounts.userOf(last));
    EXPECT_EQ(
        database.use([](auto& connection) { return connection.execAndGet("SELECT count(*) FROM sessions").getInt(); }),
        AccountStore::sessionsOfAUser);
    database.use([](SQLite::Database& connection) { connection.exec("DELETE FROM sessions"); });
    const std::string token = tokenOf(known);
    const std::string session = Accounts::sessionOf(token);
    const auto usedAt = [&](const std::string& time) {
        database.use([&](SQLite::Database& connection) { connection.exec("UPDATE sessions SET used_at = " + time); });
    };
    const auto isNoted = [&] {
        return database.use([](SQLite::Database& connection) {
            return connection.execAndGet("SELECT unixepoch() - used_at < 60 FROM sessions").getInt() == 1;
        });
    };
    usedAt("unixepoch() - 29 * 86400");
    EXPECT_TRUE(accounts.sessionLasts(session) && !isNoted()) << "to look is no use";
    EXPECT_TRUE(accounts.userOf(token) && isNoted());
    usedAt("unixepoch() - 30 * 86400 - 1");
    EXPECT_FALSE(accounts.sessionLasts(session) || accounts.userOf(token));
}

TEST_F(AccountRules, FailuresOutliveARestart) {
    tokenOf(known);
    std::optional<Accounts> run;
    const auto restart = [&] {
        run.reset();
        run.emplace(database, [this] { return now; });
    };
    const auto outcome = [&](const Credentials& credentials) {
        const auto result = run->signIn(credentials, false);
        const auto* refused = std::get_if<Refused>(&result);
        return refused ? refused->reason : Reason();
    };
    const Credentials guess{"86", known.phone, "guess-1", "127.0.0.3"};
    restart();
    for (int i = 0; i < SignInLimits::byNumber.free; ++i)
        EXPECT_EQ(outcome(guess), Reason::WrongPassword);
    restart();
    EXPECT_EQ(outcome(guess), Reason::TooManyFailures);
    now += SignInLimits::byNumber.pause;
    EXPECT_EQ(outcome({"86", known.phone, known.secret, "127.0.0.4"}), Reason()) << "signs in";
    restart();
    EXPECT_FALSE(run->refusal(guess)) << "which is kept as well";
}

TEST(FailureJournal, NobodyWaitsWhileItWritesAndTheLatestIsKept) {
    std::promise<void> disk;
    std::vector<int> kept;
    {
        FailureJournal journal([&, ready = disk.get_future().share()](const std::vector<KeptFailures>& failures) {
            ready.wait();
            for (const KeptFailures& one : failures)
                kept.push_back(one.count);
        });
        for (int count = 1; count <= 100; ++count)
            journal.note({{"number", "86 1", count}});
        disk.set_value();
    }
    ASSERT_FALSE(kept.empty());
    EXPECT_LE(kept.size(), 2U);
    EXPECT_EQ(kept.back(), 100);
}

TEST(Limits, AFloodOfNamesDropsThoseWhoDoNotHaveToWait) {
    LimitTime now = LimitTime() + 1000h;
    FailureLimit limit({2, 1h, 1h}, [&] { return now; });
    limit.failed("locked");
    limit.failed("locked");
    for (std::size_t i = 0; i < 2 * limitedNames; ++i, now += 1ms)
        limit.failed("stranger " + std::to_string(i));
    EXPECT_GT(limit.waitFor("locked"), 30min);
}

TEST_F(AccountRules, SpeechTokensInUseAreKnownToTheNextRun) {
    const std::string token = tokenOf(known);
    AccountStore& store = accounts.store();
    store.noteSpeechToken("open", Accounts::sessionOf(token), true);
    store.noteSpeechToken("ended", Accounts::sessionOf(token), true);
    store.noteSpeechToken("ended", Accounts::sessionOf(token), false);
    store.noteSpeechToken("nobody's", Accounts::sessionOf("x"), true);
    using Tokens = std::vector<std::string>;
    EXPECT_EQ(store.speechTokensOfTheLastRun(), (Tokens{"ended", "open"}));
    const auto later = [this] {
        database.use([](SQLite::Database& connection) {
            connection.exec("UPDATE speech_tokens SET ended_at = ended_at - 61 WHERE ended_at IS NOT NULL");
        });
    };
    later();
    EXPECT_EQ(store.speechTokensOfTheLastRun(), Tokens{"open"});
    store.endSpeechTokens();
    EXPECT_EQ(store.speechTokensOfTheLastRun(), Tokens{"open"}) << "for its minute";
    later();
    EXPECT_EQ(store.speechTokensOfTheLastRun(), Tokens());
    store.noteSpeechToken("open", Accounts::sessionOf(token), true);
    accounts.signOut(token);
    EXPECT_EQ(store.speechTokensOfTheLastRun(), Tokens());
}

TEST_F(AccountRules, SimultaneousFirstSignInsMakeOneAccount) {
    std::vector<std::future<std::string>> attempts;
    attempts.reserve(4);
    for (int i = 0; i < 4; ++i)
        attempts.push_back(std::async(std::launch::async, [this] { return tokenOf(known); }));
    std::set<std::int64_t> users;
    for (auto& attempt : attempts)
        users.insert(accounts.userOf(attempt.get())->id);
    EXPECT_EQ(users.size(), 1U);
}
