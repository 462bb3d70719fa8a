#pragma once

#include <boost/beast/core/tcp_stream.hpp>
#include <boost/beast/ssl/ssl_stream.hpp>

namespace parlowen::service {

/// One connection: TLS over TCP, with the time limits of `tcp_stream`.
using TlsStream = boost::beast::ssl_stream<boost::beast::tcp_stream>;

} // namespace parlowen::service
