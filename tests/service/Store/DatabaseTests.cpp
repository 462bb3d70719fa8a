#include "Store/Database.h"
#include "support/FileSizeLimit.h"
#include "support/TemporaryDirectory.h"

#include <gtest/gtest.h>

using namespace parlowen::service;
using namespace parlowen::testing;

namespace {

class DatabaseFile : public ::testing::Test {
protected:
    static void addUser(Database& database, std::string_view phone, const std::string& hash = "hash") {
        database
            .prepare("INSERT INTO users (country_code, phone, nick_name, password_hash, created_at, last_login_at) "
                     "VALUES ('86', ?, '名', ?, 1, 2)")
            .bind(phone)
            .bind(hash)
            .step();
    }
    static std::int64_t users(Database& database) {
        Statement row = database.prepare("SELECT count(*) FROM users");
        return row.step() ? row.integer(0) : -1;
    }
    std::string problem() const {
        try {
            const Database database(file);
            return {};
        } catch (const StoreError& error) {
            return error.what();
        }
    }

    TemporaryDirectory directory;
    const std::filesystem::path file = directory.path() / "test.db";
};

} // namespace

TEST_F(DatabaseFile, IsPrivateAndKeepsWhatItHolds) {
    {
        Database database(file);
        addUser(database, "1");
        EXPECT_EQ(modeOf(file), 0600U);
        EXPECT_EQ(modeOf(file.string() + "-wal"), 0600U);
    }
    Database again(file);
    Statement row = again.prepare("SELECT phone, nick_name, last_login_at FROM users");
    ASSERT_TRUE(row.step());
    EXPECT_EQ(row.text(0), "1");
    EXPECT_EQ(row.text(1), "名");
    EXPECT_EQ(row.integer(2), 2);
    EXPECT_FALSE(row.step());
}

TEST_F(DatabaseFile, HoldsToItsConstraints) {
    Database database(file);
    addUser(database, "1");
    EXPECT_THROW(addUser(database, "1"), StoreError);
    EXPECT_THROW(database.execute("INSERT INTO sessions VALUES (x'00', 99, 1)"), StoreError) << "no such user";
    database.execute("INSERT INTO sessions VALUES (x'00', 1, 1); DELETE FROM users");
    EXPECT_FALSE(database.prepare("SELECT 1 FROM sessions").step()) << "sessions go with their user";
}

TEST_F(DatabaseFile, WhatIsNotOursIsRefusedAndLeftAlone) {
    { Database(file).execute("PRAGMA user_version=99"); }
    EXPECT_NE(problem().find("newer version"), std::string::npos) << problem();

    { Database(directory.path() / "other.db").execute("PRAGMA application_id=1"); }
    std::filesystem::rename(directory.path() / "other.db", file);
    EXPECT_NE(problem().find("another program"), std::string::npos) << problem();

    std::filesystem::remove(file);
    std::filesystem::create_directory(file);
    EXPECT_NE(problem().find(file.string()), std::string::npos) << problem();
}

TEST_F(DatabaseFile, AFullDiskLosesNothing) {
    Database database(file);
    addUser(database, "1");
    {
        const FileSizeLimit full(64 * 1024);
        try {
            Transaction transaction(database);
            for (int i = 0; i < 100; ++i)
                addUser(database, "new" + std::to_string(i), std::string(4'000, 'h'));
            transaction.commit();
            ADD_FAILURE() << "400 kB went into 64";
        } catch (const StoreError& problem) {
            EXPECT_TRUE(problem.cannotWrite) << problem.what();
        }
        EXPECT_EQ(users(database), 1) << "reading goes on";
    }
    addUser(database, "2");
    EXPECT_EQ(users(database), 2);
}
