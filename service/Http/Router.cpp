#include "Router.h"

#include <stdexcept>

namespace parlowen::service {

void Router::add(verb method, const std::string& path, Route route) {
    if (!routes_[path].emplace(method, std::move(route)).second)
        throw std::logic_error("two routes for " + path);
}

void Router::route(verb method, const std::string& path, Handler handler, RouteRules rules) {
    add(method, path, {std::move(handler), std::move(rules)});
}

void Router::stream(verb method, const std::string& path, StreamHandler handler, RouteRules rules) {
    add(method, path, {std::move(handler), std::move(rules)});
}

void Router::webSocket(const std::string& path, WebSocketHandler handler) {
    add(verb::get, path, {std::move(handler), {}});
}

Router::Match Router::find(verb method, std::string_view path) const {
    Match match;
    auto entry = routes_.find(path);
    const auto slash = path.rfind('/');
    if (entry == routes_.end() && slash != std::string_view::npos && slash + 1 < path.size()) {
        match.rest = path.substr(slash + 1);
        entry = routes_.find(std::string(path.substr(0, slash)).append("/*"));
    }
    if (entry == routes_.end())
        return {};
    const auto& methods = entry->second;
    if (const auto found = methods.find(method); found != methods.end()) {
        match.route = &found->second;
        return match;
    }
    for (const auto& [allowed, route] : methods)
        match.allow.append(match.allow.empty() ? "" : ", ").append(boost::beast::http::to_string(allowed));
    return match;
}

} // namespace parlowen::service
