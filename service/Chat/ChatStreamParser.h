#pragma once

#include "ChatClient.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace parlowen::service {

/// Takes the event stream of a chat completion (server-sent events, each a JSON object, "[DONE]" the last) apart while
/// it comes, in pieces of any size.
class ChatStreamParser {
public:
    static constexpr std::size_t eventBytes = std::size_t{64} * 1024; ///< of one line; a longer one is broken

    /// The pieces that these bytes complete, and the end where they say so. After an end nothing follows.
    std::vector<ChatEvent> feed(std::string_view bytes);
    /// The end of a stream that ends here; none where it said so itself.
    std::optional<ChatEvent> finish();

private:
    void takeLine(std::string_view line, std::vector<ChatEvent>& events);
    void takeData(std::string_view data, std::vector<ChatEvent>& events);
    void end(ChatTrouble trouble, std::vector<ChatEvent>& events);

    std::string buffer_;
    bool anyEvent_ = false;
    bool ended_ = false;
};

} // namespace parlowen::service
