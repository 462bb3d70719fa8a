#include "SpeechTokens.h"

#include <array>
#include <openssl/rand.h>
#include <stdexcept>

namespace parlowen::service {

struct SpeechTokens::Record {
    TimePoint goodUntil;
    int sessions = 0;
};

struct SpeechTokens::Table {
    explicit Table(Clock clockToUse)
        : clock(std::move(clockToUse)) {}

    bool isGood(const Record& record) const { return record.sessions > 0 || clock() < record.goodUntil; }

    void dropExpired() {
        std::erase_if(records, [this](const auto& entry) { return !isGood(entry.second); });
    }

    Clock clock;
    std::mutex mutex;
    std::map<std::string, Record, std::less<>> records;
};

namespace {

std::string randomToken() {
    std::array<unsigned char, 32> bytes{};
    if (RAND_bytes(bytes.data(), bytes.size()) != 1)
        throw std::runtime_error("no random numbers for a speech token");
    static constexpr std::string_view digits = "0123456789abcdef";
    std::string token;
    for (const auto byte : bytes) {
        token += digits[byte >> 4];
        token += digits[byte & 15];
    }
    return token;
}

} // namespace

SpeechTokens::SpeechTokens(Clock clock)
    : table(std::make_shared<Table>(std::move(clock))) {}

std::string SpeechTokens::issue() {
    auto token = randomToken();
    const std::lock_guard lock(table->mutex);
    table->dropExpired();
    table->records[token] = {table->clock() + lifetime};
    return token;
}

bool SpeechTokens::opens(std::string_view token) {
    const std::lock_guard lock(table->mutex);
    const auto found = table->records.find(token);
    return found != table->records.end() && table->isGood(found->second);
}

std::optional<SpeechTokens::Session> SpeechTokens::open(std::string_view token) {
    const std::lock_guard lock(table->mutex);
    const auto found = table->records.find(token);
    if (found == table->records.end() || !table->isGood(found->second))
        return std::nullopt;
    ++found->second.sessions;
    return std::optional<Session>(std::in_place, table, found->first);
}

SpeechTokens::Session::Session(std::shared_ptr<Table> tableOfToken, std::string tokenInUse)
    : table(std::move(tableOfToken))
    , token(std::move(tokenInUse)) {}

SpeechTokens::Session::~Session() {
    if (!table) // moved from
        return;
    const std::lock_guard lock(table->mutex);
    auto& record = table->records.at(token);
    --record.sessions;
    record.goodUntil = std::max(record.goodUntil, table->clock() + grace);
}

} // namespace parlowen::service
