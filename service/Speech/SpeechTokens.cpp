#include "SpeechTokens.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <map>
#include <mutex>
#include <openssl/crypto.h>
#include <openssl/hmac.h>
#include <openssl/rand.h>
#include <set>
#include <stdexcept>

namespace parlowen::service {

namespace {

using TimePoint = SpeechTokens::TimePoint;

constexpr std::size_t numberDigits = 16;
constexpr std::size_t macBytes = 16;
constexpr std::size_t sessionDigits = 2 * SpeechTokens::sessionBytes;
constexpr std::size_t headDigits = 3 * numberDigits + sessionDigits;

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

template<typename Number>
Number numberAt(std::string_view hexDigits, std::size_t at, std::size_t digits) {
    Number number = 0;
    std::from_chars(hexDigits.data() + at, hexDigits.data() + at + digits, number, 16);
    return number;
}

std::string bytesAt(std::string_view hexDigits, std::size_t at, std::size_t digits) {
    std::string bytes;
    for (std::size_t i = at; i < at + digits; i += 2)
        bytes += static_cast<char>(numberAt<unsigned>(hexDigits, i, 2));
    return bytes;
}

std::string signature(std::string_view key, std::string_view head) {
    std::array<unsigned char, EVP_MAX_MD_SIZE> digest{};
    if (HMAC(EVP_sha256(), key.data(), static_cast<int>(key.size()),
             reinterpret_cast<const unsigned char*>(head.data()), head.size(), digest.data(), nullptr) == nullptr)
        throw std::runtime_error("a speech token cannot be signed");
    return hex({reinterpret_cast<const char*>(digest.data()), macBytes});
}

/// What a token says of itself; none when it was not signed with the key.
struct Said {
    SpeechTokens::Owner owner;
    TimePoint issued;
};

std::optional<Said> read(std::string_view token, std::string_view key) {
    if (token.size() != headDigits + 2 * macBytes)
        return std::nullopt;
    const std::string right = signature(key, token.substr(0, headDigits));
    if (CRYPTO_memcmp(right.data(), token.data() + headDigits, right.size()) != 0)
        return std::nullopt;
    Said said;
    said.issued = TimePoint(std::chrono::seconds(numberAt<std::int64_t>(token, 0, numberDigits)));
    said.owner.user = numberAt<std::int64_t>(token, 2 * numberDigits, numberDigits);
    said.owner.session = bytesAt(token, 3 * numberDigits, sessionDigits);
    return said;
}

using Act = std::function<void()>;

/// A token that has opened something.
struct Use {
    SpeechTokens::Owner owner;
    TimePoint endedAt{};
    std::map<int, Act> connections; ///< what to call when the sign-in session ends, by number
    bool over = false;              ///< the sign-in session has ended
};

} // namespace

struct SpeechTokens::Table {
    explicit Table(Clock clockToUse)
        : clock(std::move(clockToUse)) {}

    bool isInUse(const std::string& token) {
        const auto use = uses.find(token);
        return use != uses.end() && !use->second.over &&
               (!use->second.connections.empty() || clock() < use->second.endedAt + grace);
    }

    void dropOld() {
        std::erase_if(uses, [this](const auto& entry) {
            return entry.second.connections.empty() && clock() >= entry.second.endedAt + grace;
        });
    }

    template<typename Which>
    void end(Which which) {
        std::vector<Act> acts;
        {
            const std::lock_guard lock(mutex);
            for (auto& [token, use] : uses) {
                if (!which(use.owner))
                    continue;
                use.over = true;
                for (auto& [number, act] : use.connections)
                    acts.push_back(std::exchange(act, nullptr));
            }
        }
        for (const Act& act : acts)
            if (act)
                act();
    }

    void tell(const std::string& token, std::string_view session, bool open) const {
        if (hooks.changed)
            hooks.changed(token, session, open);
    }

    const Clock clock;
    Hooks hooks;
    std::mutex mutex;
    int numbers = 0;
    std::map<std::string, Use> uses;
};

SpeechTokens::SpeechTokens(Clock clock)
    : table_(std::make_shared<Table>(std::move(clock)))
    , key_(randomKey()) {}

std::string SpeechTokens::randomKey() { return randomBytes(keyBytes); }

void SpeechTokens::setHooks(Hooks hooks) { table_->hooks = std::move(hooks); }

void SpeechTokens::recall(const std::vector<std::string>& tokens) {
    const std::lock_guard lock(table_->mutex);
    for (const std::string& token : tokens)
        if (auto said = read(token, key_))
            table_->uses[token] = {.owner = std::move(said->owner), .endedAt = table_->clock(), .connections = {}};
}

std::string SpeechTokens::issue(const Owner& owner) const {
    const auto now = std::chrono::duration_cast<std::chrono::seconds>(table_->clock().time_since_epoch()).count();
    std::string session = owner.session;
    session.resize(sessionBytes);
    const std::string head =
        hex(bigEndian(now)) + hex(randomBytes(numberDigits / 2)) + hex(bigEndian(owner.user)) + hex(session);
    return head + signature(key_, head);
}

std::optional<SpeechTokens::Session> SpeechTokens::open(const std::string& token) {
    auto said = read(token, key_);
    if (!said)
        return std::nullopt;
    const auto age = table_->clock() - said->issued;
    std::optional<Session> session;
    bool isFirst = false;
    {
        const std::lock_guard lock(table_->mutex);
        table_->dropOld();
        if (age >= longestUse || (age >= lifetime && !table_->isInUse(token)))
            return std::nullopt;
        Use& use = table_->uses[token];
        use.owner = said->owner;
        isFirst = use.connections.empty();
        use.connections[++table_->numbers] = nullptr;
        session.emplace(table_, token, table_->numbers, use.owner.user);
    }
    // From here on the end of the sign-in session finds the connection; one that came before is seen now.
    if (table_->hooks.lasts && !table_->hooks.lasts(said->owner.session))
        return std::nullopt;
    if (isFirst)
        table_->tell(token, said->owner.session, true);
    return session;
}

void SpeechTokens::endSession(std::string_view session) {
    table_->end([session](const Owner& owner) { return owner.session == session; });
}

void SpeechTokens::endUser(std::int64_t user) {
    table_->end([user](const Owner& owner) { return owner.user == user; });
}

void SpeechTokens::endLapsed() {
    std::set<std::string> running;
    {
        const std::lock_guard lock(table_->mutex);
        for (const auto& [token, use] : table_->uses)
            if (!use.over && !use.connections.empty())
                running.insert(use.owner.session);
    }
    for (const std::string& session : running)
        if (table_->hooks.lasts && !table_->hooks.lasts(session))
            endSession(session);
}

SpeechTokens::Session::Session(std::shared_ptr<Table> table, std::string token, int number, std::int64_t user)
    : table_(std::move(table))
    , token_(std::move(token))
    , number_(number)
    , user_(user) {}

void SpeechTokens::Session::whenEnded(std::function<void()> act) const {
    {
        const std::lock_guard lock(table_->mutex);
        Use& use = table_->uses.at(token_);
        if (!use.over)
            return void(use.connections[number_] = std::move(act));
    }
    act();
}

SpeechTokens::Session::~Session() {
    if (!table_) // moved from
        return;
    std::string session;
    {
        const std::lock_guard lock(table_->mutex);
        Use& use = table_->uses.at(token_);
        use.connections.erase(number_);
        if (!use.connections.empty())
            return;
        use.endedAt = table_->clock();
        session = use.owner.session;
    }
    table_->tell(token_, session, false);
}

} // namespace parlowen::service
