#include "SpeechTokens.h"

#include <array>
#include <charconv>
#include <cstdint>
#include <openssl/crypto.h>
#include <openssl/hmac.h>
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

constexpr std::size_t keyBytes = 32;
constexpr std::size_t numberDigits = 16;
constexpr std::size_t headDigits = 2 * numberDigits;

std::string randomBytes(std::size_t count) {
    std::string bytes(count, '\0');
    if (RAND_bytes(reinterpret_cast<unsigned char*>(bytes.data()), static_cast<int>(count)) != 1)
        throw std::runtime_error("no random numbers for a speech token");
    return bytes;
}

std::string hex(std::string_view bytes) {
    static constexpr std::string_view digits = "0123456789abcdef";
    std::string text;
    for (const char c : bytes) {
        const auto byte = static_cast<unsigned char>(c);
        text += digits[byte >> 4];
        text += digits[byte & 15];
    }
    return text;
}

std::string bigEndian(std::int64_t number) {
    std::string bytes;
    for (int shift = 56; shift >= 0; shift -= 8)
        bytes += static_cast<char>(number >> shift);
    return bytes;
}

std::string signature(std::string_view key, std::string_view head) {
    std::array<unsigned char, EVP_MAX_MD_SIZE> digest{};
    if (HMAC(EVP_sha256(), key.data(), static_cast<int>(key.size()),
             reinterpret_cast<const unsigned char*>(head.data()), head.size(), digest.data(), nullptr) == nullptr)
        throw std::runtime_error("a speech token cannot be signed");
    return hex({reinterpret_cast<const char*>(digest.data()), 16});
}

std::int64_t secondsOf(SpeechTokens::TimePoint time) {
    return std::chrono::duration_cast<std::chrono::seconds>(time.time_since_epoch()).count();
}

} // namespace

SpeechTokens::SpeechTokens(Clock clock)
    : table(std::make_shared<Table>(std::move(clock)))
    , key(randomKey())
    , started(table->clock()) {}

std::string SpeechTokens::randomKey() { return randomBytes(keyBytes); }

void SpeechTokens::useKey(std::string keyToUse) { key = std::move(keyToUse); }

std::string SpeechTokens::issue() {
    const std::string head = hex(bigEndian(secondsOf(table->clock()))) + hex(randomBytes(numberDigits / 2));
    std::string token = head + signature(key, head);
    const std::lock_guard lock(table->mutex);
    table->dropExpired();
    table->records[token] = {table->clock() + lifetime};
    return token;
}

bool SpeechTokens::isOfEarlierRun(std::string_view token) const {
    if (table->clock() >= started + grace || token.size() != headDigits + numberDigits * 2)
        return false;
    const std::string right = signature(key, token.substr(0, headDigits));
    if (CRYPTO_memcmp(right.data(), token.data() + headDigits, right.size()) != 0)
        return false;
    std::int64_t issued = 0;
    std::from_chars(token.data(), token.data() + numberDigits, issued, 16);
    return issued <= secondsOf(started) && issued > secondsOf(started - longestSession);
}

bool SpeechTokens::opens(std::string_view token) {
    const std::lock_guard lock(table->mutex);
    const auto found = table->records.find(token);
    return found == table->records.end() ? isOfEarlierRun(token) : table->isGood(found->second);
}

std::optional<SpeechTokens::Session> SpeechTokens::open(std::string_view token) {
    const std::lock_guard lock(table->mutex);
    auto found = table->records.find(token);
    if (found == table->records.end() && isOfEarlierRun(token))
        found = table->records.emplace(token, Record{table->clock() + grace}).first;
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
