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
    : table_(std::make_shared<Table>(std::move(clock)))
    , key_(randomKey())
    , started_(table_->clock()) {}

std::string SpeechTokens::randomKey() { return randomBytes(keyBytes); }

std::string SpeechTokens::issue() {
    const std::string head = hex(bigEndian(secondsOf(table_->clock()))) + hex(randomBytes(numberDigits / 2));
    std::string token = head + signature(key_, head);
    const std::lock_guard lock(table_->mutex);
    table_->dropExpired();
    table_->records[token] = {table_->clock() + lifetime};
    return token;
}

bool SpeechTokens::isOfEarlierRun(std::string_view token) const {
    if (table_->clock() >= started_ + grace || token.size() != headDigits + numberDigits * 2)
        return false;
    const std::string right = signature(key_, token.substr(0, headDigits));
    if (CRYPTO_memcmp(right.data(), token.data() + headDigits, right.size()) != 0)
        return false;
    std::int64_t issued = 0;
    std::from_chars(token.data(), token.data() + numberDigits, issued, 16);
    return issued <= secondsOf(started_) && issued > secondsOf(started_ - longestSession);
}

std::optional<SpeechTokens::Session> SpeechTokens::open(std::string_view token) {
    const std::lock_guard lock(table_->mutex);
    auto found = table_->records.find(token);
    if (found == table_->records.end() && isOfEarlierRun(token))
        found = table_->records.emplace(token, Record{table_->clock() + grace}).first;
    if (found == table_->records.end() || !table_->isGood(found->second))
        return std::nullopt;
    ++found->second.sessions;
    return std::optional<Session>(std::in_place, table_, found->first);
}

SpeechTokens::Session::Session(std::shared_ptr<Table> table, std::string token)
    : table_(std::move(table))
    , token_(std::move(token)) {}

SpeechTokens::Session::~Session() {
    if (!table_) // moved from
        return;
    const std::lock_guard lock(table_->mutex);
    auto& record = table_->records.at(token_);
    --record.sessions;
    record.goodUntil = std::max(record.goodUntil, table_->clock() + grace);
}

} // namespace parlowen::service
