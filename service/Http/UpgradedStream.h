#pragma once

#include "EventStream.h"

#include <boost/beast/core/buffered_read_stream.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/core/role.hpp>
#include <utility>

namespace parlowen::service {

/// A connection after an upgrade request. What the client sent along with that comes first.
class UpgradedStream : public boost::beast::buffered_read_stream<TlsStream, boost::beast::flat_buffer> {
public:
    explicit UpgradedStream(TlsStream stream)
        : buffered_read_stream(std::move(stream)) {}

    /// How a WebSocket ends it.
    template<typename Handler>
    friend void async_teardown(boost::beast::role_type /*role*/, UpgradedStream& stream, Handler&& handler) {
        stream.next_layer().async_shutdown(std::forward<Handler>(handler));
    }
};

} // namespace parlowen::service
