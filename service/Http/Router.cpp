#include "Router.h"

#include <stdexcept>

namespace parlowen::service {

namespace {

constexpr std::string_view anySegment = "/*";

/// The entry under which a path with one free last segment is kept.
std::string withFreeSegment(std::string_view path) {
    const auto slash = path.rfind('/');
    if (slash == std::string_view::npos || slash + 1 == path.size())
        return {};
    return std::string(path.substr(0, slash)).append(anySegment);
}

} // namespace

void Router::add(verb method, const std::string& path, Route route) {
    if (!routes_[path].emplace(method, std::move(route)).second)
        throw std::logic_error("two routes for " + path);
}

void Router::route(verb method, const std::string& path, Handler handler, Guard guard) {
    add(method, path, {std::move(handler), std::move(guard)});
}

void Router::stream(verb method, const std::string& path, StreamHandler handler, Guard guard) {
    add(method, path, {std::move(handler), std::move(guard)});
}

void Router::webSocket(const std::string& path, WebSocketHandler handler) {
    add(verb::get, path, {std::move(handler), {}});
}

Router::Match Router::find(verb method, std::string_view path) const {
    auto entry = routes_.find(path);
    if (entry == routes_.end())
        entry = routes_.find(withFreeSegment(path));
    if (entry == routes_.end())
        return {};
    const auto& methods = entry->second;
    if (const auto found = methods.find(method); found != methods.end())
        return {&found->second, {}};
    Match match;
    for (const auto& [allowed, route] : methods)
        match.allow.append(match.allow.empty() ? "" : ", ").append(boost::beast::http::to_string(allowed));
    return match;
}

} // namespace parlowen::service
