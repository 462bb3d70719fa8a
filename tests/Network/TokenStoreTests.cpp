#include <Foundation/UserDefaults.h>
#include <Network/Settings.h>

#include <QFile>
#include <QTemporaryDir>

#include "support/Testing.h"
#include "support/WaitFor.h"

namespace parlowen::testing {
namespace {

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
        std::unique_lock lock(keyring_.mutex);
        if (!serves(lock))
            return failure("no");
        const auto found = keyring_.secrets.find(owner);
        return found == keyring_.secrets.end() ? std::nullopt : std::optional(found->second);
    }
    Result<void> keep(const QString& owner, const QString& secret) override {
        std::unique_lock lock(keyring_.mutex);
        if (!serves(lock))
            return failure("no");
        keyring_.secrets[owner] = secret;
        return {};
    }
    void forget(const QString& owner) override {
        std::unique_lock lock(keyring_.mutex);
        if (serves(lock))
            keyring_.secrets.erase(owner);
    }
    void cancel() override {
        const std::lock_guard lock(keyring_.mutex);
        isCancelled_ = true;
        keyring_.changed.notify_all();
    }

private:
    bool serves(std::unique_lock<std::mutex>& lock) {
        ++keyring_.asked;
        keyring_.changed.wait(lock, [this] { return isCancelled_ || keyring_.mood != Keyring::Mood::Hangs; });
        return !isCancelled_ && keyring_.mood == Keyring::Mood::Serves;
    }

    Keyring& keyring_;
    bool isCancelled_ = false;
};

class TokenStoreTest : public ::testing::Test {
protected:
    void start() {
        settings_.reset();
        settings_ = std::make_unique<Settings>(defaults_, std::make_unique<Keeper>(keyring_));
    }
    void signIn(const QString& token) {
        settings_->setLoginToken(token);
        EXPECT_TRUE(settings_->synchronize());
    }
    bool isInFile(const QByteArray& token) const {
        QFile file(defaults_.filePath());
        return file.open(QFile::ReadOnly) && file.readAll().contains(token);
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
    start(); // with a keyring from now on
    EXPECT_EQ(settings_->loginToken(), "secret-0");
    EXPECT_TRUE(waitFor([this] { return !isInFile("secret-0"); }));
    EXPECT_EQ(settings_->loginToken(), "secret-0");

    signIn("secret-1");
    EXPECT_FALSE(isInFile("secret-1"));
    start();
    EXPECT_EQ(settings_->loginToken(), "secret-1");
    EXPECT_EQ(Settings(defaults_).loginToken(), std::nullopt);

    keyring_.be(Keyring::Mood::Refuses);
    settings_->remove("LOGIN_TOKEN");
    start();
    keyring_.be(Keyring::Mood::Serves);
    EXPECT_FALSE(keyring_.secrets.empty());
    EXPECT_EQ(settings_->loginToken(), std::nullopt) << "signed out, whatever is left in the keyring";
    signIn("secret-2");
    settings_->clearSignIn();
    start();
    EXPECT_TRUE(keyring_.secrets.empty());
    EXPECT_EQ(settings_->loginToken(), std::nullopt);
}

TEST_F(TokenStoreTest, AKeyringThatRefusesIsNotAskedAgainBeforeTheNextSignIn) {
    keyring_.be(Keyring::Mood::Refuses);
    start();
    signIn("secret-1");
    EXPECT_TRUE(isInFile("secret-1"));
    start();
    EXPECT_EQ(settings_->loginToken(), "secret-1");
    EXPECT_EQ(keyring_.asked, 1);
    keyring_.be(Keyring::Mood::Serves);
    signIn("secret-2");
    EXPECT_FALSE(isInFile("secret"));
    EXPECT_EQ(settings_->loginToken(), "secret-2");
}

TEST_F(TokenStoreTest, AKeyringThatHangsLosesNoSignIn) {
    keyring_.be(Keyring::Mood::Hangs);
    start();
    settings_->setLoginToken("secret-1");
    EXPECT_EQ(settings_->loginToken(), "secret-1");
    EXPECT_TRUE(settings_->synchronize());
    EXPECT_TRUE(isInFile("secret-1")) << "for a start before it answers";
    keyring_.be(Keyring::Mood::Serves);
    EXPECT_TRUE(waitFor([this] { return !isInFile("secret-1"); }));

    keyring_.be(Keyring::Mood::Hangs);
    start();
    EXPECT_EQ(settings_->loginToken(), std::nullopt);
    EXPECT_EQ(settings_->loginToken(), std::nullopt);
    bool arrived = false;
    EXPECT_TRUE(settings_->awaitLateToken([&] { arrived = true; }));
    start(); // ends while it is waited for
    EXPECT_EQ(settings_->loginToken(), std::nullopt);
    EXPECT_TRUE(settings_->awaitLateToken([&] { arrived = true; }));
    keyring_.be(Keyring::Mood::Serves);
    EXPECT_TRUE(waitFor([&] { return arrived; }));
    EXPECT_EQ(settings_->loginToken(), "secret-1");
    EXPECT_FALSE(settings_->awaitLateToken([] {}));
}

} // namespace
} // namespace parlowen::testing
