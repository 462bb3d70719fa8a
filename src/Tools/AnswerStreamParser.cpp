#include "AnswerStreamParser.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <algorithm>
#include <nlohmann/json.hpp>
#include <optional>
#include <string_view>
#include <utility>

namespace parlowen {

namespace {

constexpr std::string_view prefix = "data: ";
constexpr std::string_view groundsPrefix = ": grounds ";
constexpr std::string_view failedComment = ": failed";
constexpr std::string_view endMark = "@@";

/// Reads JSON and keeps nothing but the text at data.content; of members named alike the last one counts.
class ContentReader final : public nlohmann::json_sax<nlohmann::json> {
public:
    std::optional<std::string> content;

    bool null() override { return true; }
    bool boolean(bool /*value*/) override { return true; }
    bool number_integer(number_integer_t /*value*/) override { return true; }
    bool number_unsigned(number_unsigned_t /*value*/) override { return true; }
    bool number_float(number_float_t /*value*/, const string_t& /*text*/) override { return true; }
    bool binary(binary_t& /*value*/) override { return true; }

    bool string(string_t& text) override {
        if (depth_ == 2 && atContent_)
            content = std::move(text);
        return true;
    }

    bool key(string_t& name) override {
        if (depth_ == 1)
            noteMember(atData_, name == "data");
        else if (depth_ == 2)
            noteMember(atContent_, inData_ && name == "content");
        return true;
    }

    bool start_object(std::size_t /*size*/) override { return enter(true); }
    bool end_object() override { return leave(); }
    bool start_array(std::size_t /*size*/) override { return enter(false); }
    bool end_array() override { return leave(); }
    bool parse_error(std::size_t /*at*/, const std::string& /*token*/, const nlohmann::json::exception&) override {
        return false;
    }

private:
    void noteMember(bool& wanted, bool isWanted) {
        wanted = isWanted;
        if (isWanted)
            content.reset();
    }

    bool enter(bool object) {
        if (depth_ == 1) {
            inData_ = object && atData_;
            atContent_ = false;
        }
        ++depth_;
        return true;
    }

    bool leave() {
        --depth_;
        return true;
    }

    int depth_ = 0;
    bool atData_ = false;    // the outermost object's member being read is "data"
    bool inData_ = false;    // it is an object
    bool atContent_ = false; // and its member being read is "content"
};

std::optional<std::string> contentOf(std::string_view json) {
    ContentReader reader;
    if (!nlohmann::json::sax_parse(json.begin(), json.end(), &reader))
        return std::nullopt;
    return std::move(reader.content);
}

std::string withoutPrefixes(std::string_view line) {
    std::string rest;
    while (true) {
        const std::size_t at = line.find(prefix);
        rest += line.substr(0, at);
        if (at == std::string_view::npos)
            return rest;
        line.remove_prefix(at + prefix.size());
    }
}

/// The content of an event's line behind its prefix.
std::optional<std::string> contentOfLine(std::string_view line) {
    if (line.find(prefix) == std::string_view::npos)
        return contentOf(line);
    return contentOf(withoutPrefixes(line)); // rare: it is removed inside the line too
}

// Qt's reader: a second use of the other one keeps its innermost steps from being inlined into the first.
QStringList groundsOf(std::string_view json) {
    const QByteArray text(json.data(), static_cast<qsizetype>(json.size()));
    QStringList grounds;
    for (const auto& line : QJsonDocument::fromJson(text).array())
        if (line.isString())
            grounds << line.toString();
    return grounds;
}

} // namespace

std::vector<QString> AnswerStreamParser::feed(QByteArrayView bytes) {
    std::vector<QString> pieces;
    buffer_.append(bytes.data(), static_cast<std::size_t>(bytes.size()));
    const std::string_view buffer = buffer_;
    std::size_t start = 0;
    while (true) {
        const std::size_t end = buffer.find('\n', std::max(start, searched_));
        if (end == std::string_view::npos) {
            searched_ = buffer.size();
            break;
        }
        const std::string_view line = buffer.substr(start, end - start);
        start = end + 1;
        if (!line.starts_with(prefix)) {
            readComment(line);
            continue;
        }
        const std::optional<std::string> content = contentOfLine(line.substr(prefix.size()));
        if (content == endMark) {
            hasEnded_ = true;
            searched_ = start;
            break;
        }
        if (content)
            pieces.push_back(QString::fromStdString(*content));
    }
    buffer_.erase(0, start);
    searched_ -= start;
    return pieces;
}

void AnswerStreamParser::readComment(std::string_view line) {
    if (line.starts_with(groundsPrefix))
        grounds_ += groundsOf(line.substr(groundsPrefix.size()));
    hasFailed_ = hasFailed_ || line == failedComment;
}

} // namespace parlowen
