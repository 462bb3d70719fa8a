#include "AnswerCommands.h"

#include "Chat/ChatPrompt.h"
#include "Resumes/ResumeExcerpt.h"

#include <atomic>
#include <filesystem>
#include <fstream>
#include <future>
#include <sstream>
#include <stdexcept>

namespace parlowen::service {

namespace {

using Clock = std::chrono::steady_clock;

constexpr const char* trialQuestion = "What do you like about your work?";

std::int64_t millisecondsSince(Clock::time_point start) {
    return std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - start).count();
}

/// One question on its way, its pieces written on the client's thread.
struct Trial {
    std::ostream& output;
    Clock::time_point started = Clock::now();
    std::int64_t firstPiece = -1; ///< milliseconds; -1: none came
    std::promise<ChatEvent> end{};
    std::atomic<Clock::rep> last = started.time_since_epoch().count(); ///< when something came

    /// Of the next piece.
    Clock::time_point deadline(const ChatEndpoint& endpoint) const {
        const Clock::time_point before{Clock::duration(last)};
        return before == started ? started + endpoint.firstPiece : before + endpoint.stall;
    }

    void take(const ChatEvent& event) {
        last = Clock::now().time_since_epoch().count();
        if (event.isEnd)
            return end.set_value(event);
        if (firstPiece < 0)
            firstPiece = millisecondsSince(started);
        output << event.piece << std::flush;
    }
};

} // namespace

void printPrompt(const ServiceOptions& options, std::ostream& output) {
    Question question{.text = options.printPrompt.value_or("")};
    if (!options.resume.empty()) {
        std::ifstream file(options.resume);
        std::stringstream resume;
        if (std::filesystem::is_directory(options.resume) || !(resume << file.rdbuf()))
            throw std::runtime_error(options.resume.string() + " cannot be read, or is empty");
        question.excerpt = bearingOn(resume.str(), question.text).excerpt;
    }
    output << promptText(chatMessages(question));
}

bool checkAnswers(const ServiceOptions& options, std::ostream& output) {
    if (options.chat.url.empty()) {
        output << "there is no language model: answers-url is not set in " << options.config.string() << "\n";
        return false;
    }
    ChatClient client(options.chat);
    Trial trial{output};
    auto end = trial.end.get_future();
    client.send(chatRequest(options.chat, {.text = trialQuestion}),
                [&trial](const ChatEvent& event) { trial.take(event); });
    bool inTime = false;
    for (auto deadline = trial.deadline(options.chat); !inTime && Clock::now() < deadline;
         deadline = trial.deadline(options.chat))
        inTime = end.wait_until(deadline) == std::future_status::ready;
    client.stop();
    ChatEvent event = inTime ? end.get() : ChatEvent{.isEnd = true, .trouble = ChatTrouble::Stalled};
    if (event.trouble == ChatTrouble::None && trial.firstPiece < 0)
        event.trouble = ChatTrouble::Broken;
    if (event.trouble != ChatTrouble::None)
        output << "\n" << troubleLine(event.trouble, event.pause, false);
    if (const auto hint = hintFor(options.chat, event.trouble); !hint.empty())
        output << "\n" << hint;
    output << "\n";
    if (trial.firstPiece >= 0)
        output << "first piece after " << trial.firstPiece << " ms, ";
    output << "the end after " << millisecondsSince(trial.started) << " ms\n";
    return event.trouble == ChatTrouble::None;
}

} // namespace parlowen::service
