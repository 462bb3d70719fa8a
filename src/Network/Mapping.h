#pragma once

#include "JSON.h"

#include <QString>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <tuple>
#include <type_traits>
#include <vector>

/// How each type of field is read and written by the three mappings. A record is the list of its fields (fieldsOf).
namespace parlowen::mapping {

template<class Record, class Value>
struct Field {
    const char* name;
    Value Record::*member;
};
template<class Record, class Value>
Field(const char*, Value Record::*) -> Field<Record, Value>;

/// The tuple of a record's fields.
template<class Record>
struct FieldsOf;

template<class Record>
void forEachField(const auto& visit) {
    std::apply([&visit](const auto&... field) { (visit(field), ...); }, FieldsOf<Record>::value);
}

template<class Value>
struct IsOptional : std::false_type {};
template<class Value>
struct IsOptional<std::optional<Value>> : std::true_type {};

// Lenient: what cannot be converted leaves the field alone.

template<class Record>
Record lenientRecord(const JSON& json);

inline std::optional<QString> lenientText(const JSON& json) {
    return json.isString() || json.isNumber() ? std::optional(json.stringValue()) : std::nullopt;
}

inline void readLenient(const JSON& json, qint64& field) { field = json.intValue(); }

inline void readLenient(const JSON& json, std::optional<QString>& field) { field = lenientText(json); }

inline void readLenient(const JSON& json, std::optional<std::vector<QString>>& field) {
    if (!json.isArray())
        return;
    field.emplace();
    for (const JSON& element : json.arrayValue()) {
        if (const std::optional<QString> text = lenientText(element))
            field->push_back(*text);
    }
}

template<class Record>
void readLenient(const JSON& json, std::optional<Record>& field) {
    if (json.isObject())
        field = lenientRecord<Record>(json);
}

template<class Record>
Record lenientRecord(const JSON& json) {
    Record record;
    forEachField<Record>([&](const auto& field) { readLenient(json[field.name], record.*field.member); });
    return record;
}

// Accessors: the JSON value's own leniency, and every nested record is there.

template<class Record>
Record accessorRecord(const JSON& json);

inline void readAccessor(const JSON& json, qint64& field) { field = json.intValue(); }

inline void readAccessor(const JSON& json, QString& field) { field = json.stringValue(); }

template<class Record>
void readAccessor(const JSON& json, std::optional<Record>& field) {
    field = accessorRecord<Record>(json);
}

template<class Record>
Record accessorRecord(const JSON& json) {
    Record record;
    forEachField<Record>([&](const auto& field) { readAccessor(json[field.name], record.*field.member); });
    return record;
}

// Strict: false as soon as one member is missing or of another kind.

template<class Record>
std::optional<Record> strictRecord(const JSON& json);

inline bool readStrict(const JSON& json, qint64& field) {
    const nlohmann::json& value = json.value();
    const bool fits = value.is_number_integer() && !(value.is_number_unsigned() && value.get<qint64>() < 0);
    if (fits)
        field = value.get<qint64>();
    return fits;
}

inline bool readStrict(const JSON& json, QString& field) {
    field = json.stringValue();
    return json.isString();
}

template<class Record>
bool readStrict(const JSON& json, std::optional<Record>& field) {
    field = strictRecord<Record>(json);
    return field.has_value() || json.isNull();
}

template<class Record>
std::optional<Record> strictRecord(const JSON& json) {
    Record record;
    bool complete = json.isObject();
    forEachField<Record>(
        [&](const auto& field) { complete = complete && readStrict(json[field.name], record.*field.member); });
    return complete ? std::optional(record) : std::nullopt;
}

template<class Record>
nlohmann::json strictJson(const Record& record);

inline nlohmann::json written(qint64 value) { return value; }

inline nlohmann::json written(const QString& value) { return value.toStdString(); }

template<class Record>
nlohmann::json written(const std::optional<Record>& value) {
    return strictJson(*value);
}

template<class Record>
nlohmann::json strictJson(const Record& record) {
    nlohmann::json json = nlohmann::json::object();
    forEachField<Record>([&](const auto& field) {
        const auto& value = record.*field.member;
        if constexpr (IsOptional<std::remove_cvref_t<decltype(value)>>::value) {
            if (!value)
                return;
        }
        json[field.name] = written(value);
    });
    return json;
}

} // namespace parlowen::mapping
