#include "JSON.h"

#include <QLocale>
#include <algorithm>
#include <cmath>
#include <limits>
#include <nlohmann/json.hpp>
#include <utility>

namespace parlowen {

namespace {

constexpr int maxDepth = 512; // writing and destroying a value must not exhaust the stack

const nlohmann::json nullValue;

qint64 wholeNumber(double number) {
    if (std::isnan(number))
        return 0;
    constexpr double limit = 9223372036854775808.0; // 2^63, the first number too large
    if (number >= limit)
        return std::numeric_limits<qint64>::max();
    return number < -limit ? std::numeric_limits<qint64>::min() : static_cast<qint64>(number);
}

qint64 wholeNumber(const QString& text) {
    bool ok = false;
    const qint64 whole = text.trimmed().toLongLong(&ok);
    return ok ? whole : wholeNumber(text.trimmed().toDouble());
}

QString write(const nlohmann::json& value, int indent) {
    try {
        return QString::fromStdString(value.dump(indent));
    } catch (const nlohmann::json::exception&) {
        return QStringLiteral("unknown");
    }
}

bool isSecret(const std::string& name, const std::string& text) {
    return name == "password" || name == "code" || name == "token" || (name == "data" && !text.starts_with("http"));
}

// No deeper than what is parsed.
void hideSecrets(nlohmann::json& json) {
    for (auto member = json.begin(); json.is_structured() && member != json.end(); ++member) {
        if (member->is_structured())
            hideSecrets(*member);
        else if (json.is_object() && member->is_string() && isSecret(member.key(), member->get_ref<std::string&>()))
            *member = "•••";
    }
}

/// Whether anything lies in so many arrays and objects.
bool isDeeper(const nlohmann::json& value, int depth) {
    return depth == 0 || (value.is_structured() && std::any_of(value.begin(), value.end(), [depth](const auto& part) {
                              return isDeeper(part, depth - 1);
                          }));
}

} // namespace

JSON::JSON(nlohmann::json value)
    : node_(std::make_shared<const nlohmann::json>(std::move(value))) {}

JSON::JSON(std::shared_ptr<const nlohmann::json> node)
    : node_(std::move(node)) {}

JSON JSON::parse(const QByteArray& text) {
    nlohmann::json value = nlohmann::json::parse(text.cbegin(), text.cend(), nullptr, false);
    return value.is_discarded() || isDeeper(value, maxDepth) ? JSON() : JSON(std::move(value));
}

JSON JSON::within(const nlohmann::json& part) const {
    return JSON(std::shared_ptr<const nlohmann::json>(node_, &part)); // shares the whole document
}

JSON JSON::operator[](const QString& key) const { return (*this)[key.toUtf8().constData()]; }

JSON JSON::operator[](const char* key) const {
    if (!isObject())
        return {};
    const auto member = node_->find(key);
    return member == node_->end() ? JSON() : within(*member);
}

JSON JSON::operator[](int index) const {
    if (!isArray() || index < 0 || static_cast<std::size_t>(index) >= node_->size())
        return {};
    return within((*node_)[static_cast<std::size_t>(index)]);
}

bool JSON::exists() const { return node_ != nullptr; }

bool JSON::isNull() const { return value().is_null(); }

bool JSON::isObject() const { return value().is_object(); }

bool JSON::isArray() const { return value().is_array(); }

bool JSON::isString() const { return value().is_string(); }

bool JSON::isNumber() const { return value().is_number(); }

QString JSON::stringValue() const {
    const nlohmann::json& json = value();
    if (json.is_string())
        return QString::fromStdString(json.get_ref<const std::string&>());
    if (json.is_boolean())
        return json.get<bool>() ? QStringLiteral("true") : QStringLiteral("false");
    if (json.is_number_unsigned())
        return QString::number(json.get<quint64>());
    if (json.is_number_integer())
        return QString::number(json.get<qint64>());
    return json.is_number() ? QString::number(json.get<double>(), 'g', QLocale::FloatingPointShortest) : QString();
}

qint64 JSON::intValue() const {
    const nlohmann::json& json = value();
    if (json.is_string())
        return wholeNumber(stringValue());
    if (json.is_boolean())
        return json.get<bool>() ? 1 : 0;
    if (json.is_number_unsigned())
        return json.get<quint64>() > std::numeric_limits<qint64>::max() ? std::numeric_limits<qint64>::max()
                                                                        : json.get<qint64>();
    if (json.is_number_integer())
        return json.get<qint64>();
    return json.is_number() ? wholeNumber(json.get<double>()) : 0;
}

std::vector<JSON> JSON::arrayValue() const {
    std::vector<JSON> elements;
    if (isArray()) {
        elements.reserve(node_->size());
        for (const nlohmann::json& element : *node_)
            elements.push_back(within(element));
    }
    return elements;
}

QString JSON::rawString() const { return write(value(), -1); }

QString JSON::prettyString() const { return write(value(), 2); }

JSON JSON::withoutSecrets() const {
    nlohmann::json copy = value();
    hideSecrets(copy);
    return JSON(std::move(copy));
}

const nlohmann::json& JSON::value() const { return node_ ? *node_ : nullValue; }

} // namespace parlowen
