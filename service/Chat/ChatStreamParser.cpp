#include "ChatStreamParser.h"

#include "Http/HttpMessage.h"

namespace parlowen::service {

namespace {

/// The first of an array's elements, or null, where the value has none.
const nlohmann::json& firstOf(const nlohmann::json& object, const char* member) {
    static const nlohmann::json none;
    const auto found = object.find(member);
    return found != object.end() && found->is_array() && !found->empty() && found->front().is_object() ? found->front()
                                                                                                       : none;
}

ChatTrouble troubleOf(const std::string& finishReason) {
    if (finishReason == "length")
        return ChatTrouble::TooLong;
    return finishReason == "content_filter" ? ChatTrouble::Filtered : ChatTrouble::None;
}

/// Some say in the stream what others say by the status of HTTP.
ChatTrouble troubleOfError(const nlohmann::json& error) {
    if (!error.is_object())
        return ChatTrouble::Refused;
    if (const auto status = error.find("code"); status != error.end() && status->is_number_integer())
        return troubleOfStatus(status->get<std::int64_t>());
    const std::string code = textMember(error, "code");
    if (code == "invalid_api_key")
        return ChatTrouble::BadKey;
    if (code == "model_not_found")
        return ChatTrouble::NoModel;
    return code == "rate_limit_exceeded" ? ChatTrouble::Busy : ChatTrouble::Refused;
}

} // namespace

std::vector<ChatEvent> ChatStreamParser::feed(std::string_view bytes) {
    std::vector<ChatEvent> events;
    if (ended_)
        return events;
    buffer_.append(bytes);
    std::size_t start = 0;
    for (auto end = buffer_.find('\n'); end != std::string::npos && !ended_; end = buffer_.find('\n', start)) {
        takeLine(std::string_view(buffer_).substr(start, end - start), events);
        start = end + 1;
    }
    buffer_.erase(0, start);
    if (buffer_.size() > eventBytes && !ended_)
        end(ChatTrouble::Broken, events);
    return events;
}

std::optional<ChatEvent> ChatStreamParser::finish() {
    if (ended_)
        return std::nullopt;
    ended_ = true;
    return ChatEvent{.isEnd = true, .trouble = anyEvent_ ? ChatTrouble::Cut : ChatTrouble::Broken};
}

void ChatStreamParser::takeLine(std::string_view line, std::vector<ChatEvent>& events) {
    constexpr std::string_view field = "data:";
    if (line.ends_with('\r'))
        line.remove_suffix(1);
    if (!line.starts_with(field)) // comments, names of events, and the empty line after each
        return;
    line.remove_prefix(field.size());
    line.remove_prefix(std::min(line.find_first_not_of(' '), line.size()));
    anyEvent_ = true;
    if (line == "[DONE]")
        end(ChatTrouble::None, events);
    else
        takeData(line, events);
}

void ChatStreamParser::takeData(std::string_view data, std::vector<ChatEvent>& events) {
    const auto object = jsonObject(data);
    if (!object)
        return end(ChatTrouble::Broken, events);
    if (const auto error = object->find("error"); error != object->end() && !error->is_null())
        return end(troubleOfError(*error), events);
    const nlohmann::json& choice = firstOf(*object, "choices");
    if (!choice.is_object()) // such as the count of tokens
        return;
    const auto delta = choice.find("delta");
    if (delta != choice.end() && delta->is_object())
        if (std::string piece = textMember(*delta, "content"); !piece.empty())
            events.push_back({.piece = std::move(piece)});
    if (const std::string reason = textMember(choice, "finish_reason"); !reason.empty())
        end(troubleOf(reason), events);
}

void ChatStreamParser::end(ChatTrouble trouble, std::vector<ChatEvent>& events) {
    ended_ = true;
    events.push_back({.isEnd = true, .trouble = trouble});
}

} // namespace parlowen::service
