#pragma once

#include <boost/asio/any_io_executor.hpp>
#include <boost/asio/awaitable.hpp>
#include <boost/asio/co_spawn.hpp>
#include <boost/asio/use_awaitable.hpp>
#include <type_traits>
#include <utility>

namespace parlowen::service {

namespace detail {
template<typename Function>
boost::asio::awaitable<std::invoke_result_t<Function>> calling(Function function) {
    co_return function();
}
} // namespace detail

/// Runs a function that blocks on a worker thread and gives its result, or its exception, back on the caller's
/// executor.
template<typename Function>
boost::asio::awaitable<std::invoke_result_t<Function>> onWorker(boost::asio::any_io_executor workers,
                                                                Function function) {
    auto call = detail::calling(std::move(function));
    co_return co_await boost::asio::co_spawn(workers, std::move(call), boost::asio::use_awaitable);
}

} // namespace parlowen::service
