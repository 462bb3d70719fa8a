#include "Models.h"

#include "Mapping.h"

namespace parlowen {

namespace mapping {

template<>
struct FieldsOf<CountryListModel> {
    using M = CountryListModel;
    static constexpr auto value =
        std::tuple{Field{"code", &M::code}, Field{"name_en", &M::name_en}, Field{"country_code", &M::country_code},
                   Field{"first_letters", &M::first_letters}, Field{"name_zn", &M::name_zn}};
};

template<>
struct FieldsOf<BaseNetModel> {
    using M = BaseNetModel;
    static constexpr auto value =
        std::tuple{Field{"data", &M::data}, Field{"code", &M::code}, Field{"message", &M::message}};
};

template<>
struct FieldsOf<UserModel> {
    using M = UserModel;
    static constexpr auto value = std::tuple{Field{"user_code", &M::user_code}, Field{"nick_name", &M::nick_name},
                                             Field{"country_code", &M::country_code}, Field{"phone", &M::phone},
                                             Field{"last_login_at", &M::last_login_at}};
};

template<>
struct FieldsOf<LoginUserModel> {
    using M = LoginUserModel;
    static constexpr auto value =
        std::tuple{Field{"rights", &M::rights}, Field{"token", &M::token}, Field{"user", &M::user}};
};

template<>
struct FieldsOf<UserResumeInfo> {
    using M = UserResumeInfo;
    static constexpr auto value = std::tuple{Field{"resume_id", &M::resume_id}, Field{"resume_name", &M::resume_name},
                                             Field{"created_at", &M::created_at}};
};

template<>
struct FieldsOf<UserBaseModel> {
    using M = UserBaseModel;
    static constexpr auto value = std::tuple{Field{"user_code", &M::user_code},
                                             Field{"nick_name", &M::nick_name},
                                             Field{"country_code", &M::country_code},
                                             Field{"phone", &M::phone},
                                             Field{"last_login_at", &M::last_login_at},
                                             Field{"resume", &M::resume},
                                             Field{"type", &M::type}};
};

template<>
struct FieldsOf<AIInterviewModel> {
    using M = AIInterviewModel;
    static constexpr auto value =
        std::tuple{Field{"positioname", &M::positioname},       Field{"modelType", &M::modelType},
                   Field{"antoAnswerType", &M::antoAnswerType}, Field{"generateAnswerType", &M::generateAnswerType},
                   Field{"deviceType", &M::deviceType},         Field{"answerFontSize", &M::answerFontSize}};
};

template<>
struct FieldsOf<LanguageListModel> {
    using M = LanguageListModel;
    static constexpr auto value =
        std::tuple{Field{"ID", &M::ID}, Field{"name", &M::name}, Field{"original_key", &M::original_key},
                   Field{"translation_key", &M::translation_key}, Field{"first_letters", &M::first_letters}};
};

template<>
struct FieldsOf<CheckVersionModel> {
    using M = CheckVersionModel;
    static constexpr auto value =
        std::tuple{Field{"build", &M::build},         Field{"version", &M::version},
                   Field{"content", &M::content},     Field{"package_value", &M::package_value},
                   Field{"min_build", &M::min_build}, Field{"min_version", &M::min_version},
                   Field{"is_force", &M::is_force}};
};

} // namespace mapping

template<class Record>
std::optional<Record> mapLenient(const QString& jsonText) {
    const JSON json = JSON::parse(jsonText.toUtf8());
    return json.isObject() ? std::optional(mapping::lenientRecord<Record>(json)) : std::nullopt;
}

template<class Record>
std::vector<std::optional<Record>> mapLenientList(const QString& jsonText) {
    std::vector<std::optional<Record>> records;
    for (const JSON& element : JSON::parse(jsonText.toUtf8()).arrayValue()) {
        records.push_back(element.isObject() ? std::optional(mapping::lenientRecord<Record>(element)) : std::nullopt);
    }
    return records;
}

template<class Record>
Record mapAccessors(const JSON& value) {
    return mapping::accessorRecord<Record>(value);
}

template<class Record>
QByteArray encodeStrict(const Record& record) {
    return QByteArray::fromStdString(mapping::strictJson(record).dump());
}

template<class Record>
std::optional<Record> decodeStrict(const QByteArray& data) {
    return mapping::strictRecord<Record>(JSON::parse(data));
}

// Each record has only the mappings that are meant for it; another one does not link.

// NOLINTBEGIN(bugprone-macro-parentheses): a type takes none
#define PARLOWEN_LENIENT(Record)                                                                                       \
    template std::optional<Record> mapLenient<Record>(const QString&);                                                 \
    template std::vector<std::optional<Record>> mapLenientList<Record>(const QString&)
PARLOWEN_LENIENT(BaseNetModel);
PARLOWEN_LENIENT(CountryListModel);
PARLOWEN_LENIENT(LoginUserModel);
PARLOWEN_LENIENT(UserModel);
PARLOWEN_LENIENT(CheckVersionModel);

#define PARLOWEN_ACCESSORS(Record) template Record mapAccessors<Record>(const JSON&)
PARLOWEN_ACCESSORS(UserBaseModel);
PARLOWEN_ACCESSORS(UserResumeInfo);
PARLOWEN_ACCESSORS(LanguageListModel);

#define PARLOWEN_STRICT(Record)                                                                                        \
    template QByteArray encodeStrict<Record>(const Record&);                                                           \
    template std::optional<Record> decodeStrict<Record>(const QByteArray&)
PARLOWEN_STRICT(UserBaseModel);
PARLOWEN_STRICT(UserResumeInfo);
PARLOWEN_STRICT(AIInterviewModel);
PARLOWEN_STRICT(LanguageListModel);
// NOLINTEND(bugprone-macro-parentheses)

} // namespace parlowen
