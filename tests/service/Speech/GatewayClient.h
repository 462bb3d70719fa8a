#pragma once

#include <Wire/SpeechMessage.h>
#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <utility>
#include <vector>

namespace parlowen::testing {

/// A client of the speech gateway on 127.0.0.1 that blocks. What takes longer than a minute counts as its end.
class GatewayClient {
public:
    /// The `target` holds path and query; the token goes into the header unless it is empty.
    GatewayClient(std::uint16_t port, const std::string& authority, const std::string& target,
                  const std::string& token);
    ~GatewayClient();

    /// Of the upgrade: 101 when the connection is open.
    unsigned status() const;

    void send(const std::string& frame, bool text = true);
    /// Configuration, context and all the audio of a turn in messages of 100 ms, and its end.
    void sendTurn(const std::string& requestId, const std::string& context, std::span<const std::int16_t> samples);

    /// The next message; none once the connection has ended.
    std::optional<wire::SpeechMessage> receive();
    /// All up to and including the next "turn.end", or the end of the connection.
    std::vector<wire::SpeechMessage> receiveTurn();
    /// Why the server closed, once receive() gave none: code and reason. Code 1006: without a word.
    std::pair<unsigned, std::string> closed() const;

private:
    struct Impl;
    std::unique_ptr<Impl> impl;
};

} // namespace parlowen::testing
