#pragma once

#include "PulseEventLoop.h"
#include "PulseHandles.h"

#include <cstddef>
#include <functional>
#include <optional>
#include <string>

namespace parlowen {

/// Looks at the audio server over connections of their own, 0.5, 1.5, 4 and 10 seconds after a lasting one was made,
/// for what that one may have missed: a change of the default that comes in the first moments of a connection can pass
/// it by on PipeWire 0.3, which then answers every later question on it with the old default.
///
/// All of it under the main loop's lock or on its thread.
class SecondLook {
public:
    /// Called when a connection for a look is ready, to send the question on it. The answer's callback may take() the
    /// connection; none comes any more once the next look begins or the looks stop.
    using Ask = std::function<pa_operation*(pa_context*)>;

    /// The address is the server's; empty for the one that the library finds. The main loop must outlive this object.
    SecondLook(pa_mainloop_api* api, std::string address, Ask ask);
    SecondLook(const SecondLook&) = delete;
    SecondLook& operator=(const SecondLook&) = delete;

    /// A lasting connection was made: the looks are counted from here.
    void start();
    void stop();
    /// Whether the look before gave this answer too, to be asked when it is not what the lasting connection says. Else
    /// the next look comes soon: a look's own connection is so young that it may be the one that missed something.
    bool isSure(const std::string& answer);
    /// The connection of the last look, to be the lasting one from now on.
    PulseContext take();

private:
    void look();
    void endLook();
    void stateChanged();

    pa_mainloop_api* const api_;
    const std::string address_;
    const Ask ask_;
    PulseContext context_;
    PulseOperation question_;
    std::size_t looks_ = 0; ///< begun since the start, but for those that were to make sure
    std::optional<std::string> doubt_,
        doubtBefore_; ///< the answers that isSure() was asked about at the last two looks
    PulseTimer timer_;
};

} // namespace parlowen
