#pragma once

#include <boost/asio/any_io_executor.hpp>
#include <boost/asio/async_result.hpp>
#include <boost/asio/awaitable.hpp>
#include <boost/asio/co_spawn.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/this_coro.hpp>
#include <boost/asio/use_awaitable.hpp>
#include <exception>
#include <functional>
#include <memory>
#include <optional>
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

/// What a queue calls once: with true on a thread of its own, or at any time with false when it is not to be done.
using QueuedJob = std::function<void(bool run)>;

/// Runs a function as a job that `add(job)` puts into a queue and gives its result, or its exception, back on the
/// caller's executor; none when it is not done.
template<typename Add, typename Function>
boost::asio::awaitable<std::optional<std::invoke_result_t<Function>>> onQueue(Add add, Function function) {
    using Result = std::optional<std::invoke_result_t<Function>>;
    const auto executor = co_await boost::asio::this_coro::executor;
    auto initiate = [&add, &function, executor](auto handler) {
        auto kept = std::make_shared<decltype(handler)>(std::move(handler));
        add([kept, executor, function](bool run) {
            Result result;
            std::exception_ptr problem;
            try {
                if (run)
                    result.emplace(function());
            } catch (...) {
                problem = std::current_exception();
            }
            boost::asio::post(executor, [kept, problem, result = std::move(result)]() mutable {
                std::move (*kept)(problem, std::move(result));
            });
        });
    };
    using Token = const boost::asio::use_awaitable_t<>;
    auto pending =
        boost::asio::async_initiate<Token, void(std::exception_ptr, Result)>(initiate, boost::asio::use_awaitable);
    co_return co_await std::move(pending);
}

} // namespace parlowen::service
