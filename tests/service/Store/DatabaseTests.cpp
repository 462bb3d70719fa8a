#include "Store/Database.h"
#include "support/TemporaryDirectory.h"
#include <fstream>
#include <gtest/gtest.h>

using namespace parlowen::service;
using namespace parlowen::testing;

namespace {

struct DatabaseFile : ::testing::Test {
    static void execute(Database& database, const char* sql) {
        database.use([sql](SQLite::Database& connection) { connection.exec(sql); });
    }
    static void addUser(Database& database) {
        execute(database,
                "INSERT INTO users (country_code, phone, nick_name, password_hash, created_at, last_login_at) "
                "VALUES ('86', '1', '名', 'hash', 1, 2)");
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

TEST_F(DatabaseFile, HoldsToItsConstraints) {
    Database database(file);
    addUser(database);
    EXPECT_THROW(addUser(database), StoreError);
    EXPECT_THROW(execute(database, "INSERT INTO sessions VALUES (x'00', 99, 1, 1)"), StoreError) << "no such user";
    execute(database, "INSERT INTO sessions VALUES (x'00', 1, 1, 1); DELETE FROM users");
    EXPECT_EQ(
        database.use([](auto& connection) { return connection.execAndGet("SELECT count(*) FROM sessions").getInt(); }),
        0)
        << "sessions go with their user";
}

TEST_F(DatabaseFile, OnAFullDiskAReserveGivesWay) {
    Database database(file);
    const std::filesystem::path reserve = file.string() + ".reserve";
    const auto onFullDisk = [&](SQLite::Database&) {
        if (std::filesystem::exists(reserve))
            throw StoreError("full", true);
    };
    EXPECT_THROW(database.use(onFullDisk), StoreError);
    database.useWithReserve(onFullDisk);
    EXPECT_FALSE(std::filesystem::exists(reserve));
    std::ofstream(reserve) << "cut short";
    database.useWithReserve([](SQLite::Database&) {});
    EXPECT_GT(std::filesystem::file_size(reserve), 100'000U) << "made anew, and whole";
}

TEST_F(DatabaseFile, WhatIsNotOursIsRefusedAndLeftAlone) {
    {
        Database newer(file);
        execute(newer, "PRAGMA user_version=99");
    }
    EXPECT_NE(problem().find("newer version"), std::string::npos) << problem();
    {
        Database other(directory.path() / "other.db");
        execute(other, "PRAGMA application_id=1");
    }
    std::filesystem::rename(directory.path() / "other.db", file);
    EXPECT_NE(problem().find("another program"), std::string::npos) << problem();
    std::filesystem::remove(file);
    {
        Database damaged(file);
        execute(damaged, "PRAGMA wal_checkpoint(TRUNCATE)");
    }
    std::fstream(file, std::ios::binary | std::ios::in | std::ios::out).seekp(4'096) << std::string(100, '?');
    EXPECT_NE(problem().find("damaged"), std::string::npos) << problem();
}
