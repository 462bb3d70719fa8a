#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

namespace parlowen {

/// What this program's sessions are to hear: a note in the process, which changes nothing in the audio server. Any
/// thread.
class SessionRoute {
public:
    enum class What : std::uint8_t {
        Microphone,  ///< `name` is the input's UID; empty: the server's default input, or the fittest microphone
        Output,      ///< what is played; `name` is the output's UID, empty: the server's default one
        Application, ///< what one program plays, known by its name
    };
    struct Choice {
        What what = What::Microphone;
        std::string name = {}; ///< UTF-8
        /// With a microphone: the UID of what was the server's default input at the time. Once that is another real
        /// input, the user has chosen anew, and `name` no longer counts.
        std::string serversInput = {};
        bool operator==(const Choice&) const = default;
    };

    /// None until something was chosen.
    std::optional<Choice> choice() const;
    void choose(const Choice& choice);

    /// Called after each change, on the thread that makes it.
    using Observer = std::function<void()>;
    /// Ends with what it returns; after that no call comes or runs, but one on the very thread.
    [[nodiscard]] std::shared_ptr<void> watch(Observer observer);

private:
    struct Observers {
        std::recursive_mutex mutex; ///< held during the calls
        std::map<int, Observer> list;
        int next = 0;
    };

    mutable std::mutex mutex_;
    std::optional<Choice> choice_; ///< mutex_
    const std::shared_ptr<Observers> observers_ = std::make_shared<Observers>();
};

} // namespace parlowen
