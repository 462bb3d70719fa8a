#pragma once

#include <QByteArray>
#include <QString>
#include <memory>
#include <nlohmann/json_fwd.hpp>
#include <vector>

namespace parlowen {

/// A JSON value of any kind with lenient accessors: a missing member reads as null, the text of null is empty, the
/// integer of null is 0. Copies share the parsed document and are cheap. A value is never changed, so any thread may
/// read it.
class JSON {
public:
    /// The missing value.
    JSON() = default;
    explicit JSON(nlohmann::json value);

    /// Reads one whole JSON text (UTF-8). Anything else, or nesting deeper than 512, gives the missing value.
    static JSON parse(const QByteArray& text);

    /// The member of an object or the element of an array; missing when there is none or this is of another kind.
    JSON operator[](const QString& key) const;
    JSON operator[](const char* key) const;
    JSON operator[](int index) const;

    /// False for a missing value; true for one that is there, null included.
    bool exists() const;
    bool isNull() const; ///< true for a missing value too
    bool isObject() const;
    bool isArray() const;
    bool isString() const;
    bool isNumber() const;

    /// A string's text, a number's decimal text, "true" or "false" of a bool; empty for everything else.
    QString stringValue() const;
    /// A number (cut to a whole one and to 64 bits), the number that a text holds, 1 or 0 of a bool; 0 for everything
    /// else.
    qint64 intValue() const;
    /// The elements of an array; empty for everything else.
    std::vector<JSON> arrayValue() const;

    /// The value as JSON text: "null" when missing, "unknown" when it cannot be written (text that is no UTF-8).
    QString rawString() const;
    /// The same with line breaks and indents.
    QString prettyString() const;
    /// The value without what lets somebody in: passwords, codes, tokens, and a reply's `data` that is a bare text and
    /// no URL. Three dots stand for each of them. For logs.
    JSON withoutSecrets() const;

    /// The library's value; null when missing.
    const nlohmann::json& value() const;

private:
    explicit JSON(std::shared_ptr<const nlohmann::json> node);
    JSON within(const nlohmann::json& part) const;

    std::shared_ptr<const nlohmann::json> node_;
};

} // namespace parlowen
