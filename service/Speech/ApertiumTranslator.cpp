#include "ApertiumTranslator.h"

#include "Process/ChildProcess.h"

#include <array>
#include <mutex>

namespace parlowen::service {

namespace {

struct Mode {
    const char* from;
    const char* to;
    const char* file;
};
constexpr std::array<Mode, 2> knownModes{{{"en", "es", "eng-spa.mode"}, {"es", "en", "spa-eng.mode"}}};

constexpr std::string_view reserved = R"(\[]{}^$/@<>)";
constexpr std::string_view hiddenEnd = ".[]";

/// The programs of a mode as one shell pipeline that answers each NUL; -n leaves unknown words unmarked.
std::vector<std::string> pipeline(const std::filesystem::path& mode) {
    return {"bash", "-c", R"sh(eval "$(apertium-wblank-mode -z "$0")")sh", mode.string(), "-n"};
}

} // namespace

struct ApertiumTranslator::Direction {
    LanguagePair pair;
    std::filesystem::path mode;
    std::mutex mutex;        ///< one text at a time
    std::mutex processMutex; ///< of what follows
    std::shared_ptr<ChildPipe> process;
    bool stopped = false;

    std::shared_ptr<ChildPipe> running() {
        const std::lock_guard lock(processMutex);
        if (!process && !stopped)
            process = ChildPipe::start(pipeline(mode));
        return process;
    }
    void drop() {
        const std::lock_guard lock(processMutex);
        process.reset();
    }
    void stop() {
        const std::lock_guard lock(processMutex);
        stopped = true;
        if (process)
            process->giveUp();
    }
    std::optional<std::string> ask(const std::string& input, std::chrono::milliseconds limit) {
        const auto pipe = running();
        auto answer = pipe ? pipe->ask(input, limit) : std::nullopt;
        if (!answer)
            drop();
        return answer;
    }
};

ApertiumTranslator::ApertiumTranslator()
    : ApertiumTranslator(Options{}) {}

ApertiumTranslator::ApertiumTranslator(Options options)
    : options_(std::move(options)) {
    for (const auto& known : knownModes) {
        std::error_code error;
        const auto mode = options_.modes / known.file;
        if (!std::filesystem::is_regular_file(mode, error))
            continue;
        auto direction = std::make_unique<Direction>();
        direction->pair = {known.from, known.to};
        direction->mode = mode;
        directions_.push_back(std::move(direction));
    }
}

ApertiumTranslator::~ApertiumTranslator() = default;

std::vector<LanguagePair> ApertiumTranslator::pairs() const {
    std::vector<LanguagePair> result;
    for (const auto& direction : directions_)
        result.push_back(direction->pair);
    return result;
}

std::function<void()> ApertiumTranslator::translate(const LanguagePair& pair, std::string_view text, Done done) {
    done(translation(pair, text));
    return {};
}

std::optional<std::string> ApertiumTranslator::translation(const LanguagePair& pair, std::string_view text) {
    for (const auto& direction : directions_) {
        if (direction->pair != pair)
            continue;
        const auto input = apertiumInput(text);
        const auto deadline = std::chrono::steady_clock::now() + options_.limit;
        const std::lock_guard lock(direction->mutex);
        auto answer = direction->ask(input, options_.limit);
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
        if (!answer && left.count() > 0) // it had ended meanwhile
            answer = direction->ask(input, left);
        return answer ? std::optional(textOfApertium(*answer)) : std::nullopt;
    }
    return std::nullopt;
}

void ApertiumTranslator::stop() {
    for (const auto& direction : directions_)
        direction->stop();
}

std::string apertiumInput(std::string_view text) {
    std::string result;
    for (const char c : text) {
        if (static_cast<unsigned char>(c) < ' ') {
            result += ' ';
            continue;
        }
        if (reserved.find(c) != std::string_view::npos)
            result += '\\';
        result += c;
    }
    return result.append(hiddenEnd);
}

std::string textOfApertium(std::string_view output) {
    if (output.ends_with(hiddenEnd))
        output.remove_suffix(hiddenEnd.size());
    std::string result;
    for (std::size_t i = 0; i < output.size(); ++i) {
        const bool escaped = output[i] == '\\' && i + 1 < output.size();
        const char c = output[escaped ? ++i : i];
        if (c == ' ' && (result.empty() || result.back() == ' '))
            continue;
        result += c;
    }
    while (result.ends_with(' '))
        result.pop_back();
    return result;
}

} // namespace parlowen::service
