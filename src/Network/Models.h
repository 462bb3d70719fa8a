#pragma once

#include "JSON.h"

#include <QByteArray>
#include <QString>
#include <optional>
#include <vector>

/// The records that the backend sends or the settings keep. Member names are the backend's. Integers are 64 bits wide.
namespace parlowen {

struct CountryListModel {
    std::optional<QString> code;         ///< region, such as "CN"
    std::optional<QString> name_en;      ///< English name
    std::optional<QString> country_code; ///< dialling code without "+", such as "86"
    std::optional<QString> first_letters;
    std::optional<QString> name_zn; ///< Chinese name
    bool operator==(const CountryListModel&) const = default;
};

/// The envelope of every reply, for pages that need its message alone.
struct BaseNetModel {
    std::optional<CountryListModel> data;
    qint64 code = 0; ///< 0 is success
    std::optional<QString> message;
    bool operator==(const BaseNetModel&) const = default;
};

struct UserModel {
    std::optional<QString> user_code;
    std::optional<QString> nick_name;
    std::optional<QString> country_code;
    std::optional<QString> phone;
    std::optional<QString> last_login_at;
    bool operator==(const UserModel&) const = default;
};

/// What a successful sign-in brings.
struct LoginUserModel {
    std::optional<std::vector<QString>> rights;
    std::optional<QString> token;
    std::optional<UserModel> user;
    bool operator==(const LoginUserModel&) const = default;
};

struct UserResumeInfo {
    QString resume_id;
    QString resume_name;
    QString created_at;
    bool operator==(const UserResumeInfo&) const = default;
};

/// The signed-in user's profile.
struct UserBaseModel {
    QString user_code;
    QString nick_name;
    QString country_code;
    QString phone;
    QString last_login_at; ///< as the backend writes it
    std::optional<UserResumeInfo> resume;
    qint64 type = 0;
    bool operator==(const UserBaseModel&) const = default;
};

/// The interview settings.
struct AIInterviewModel {
    QString positioname; ///< the position that the user interviews for
    qint64 modelType = 0;
    qint64 antoAnswerType = 0;     ///< 0 automatic, 1 manual
    qint64 generateAnswerType = 0; ///< 0 concise, 1 detailed
    qint64 deviceType = 0;         ///< 0 microphone, 1 system audio
    qint64 answerFontSize = 14;    ///< points, 14 to 24 in steps of 2
    bool operator==(const AIInterviewModel&) const = default;
};

struct LanguageListModel {
    qint64 ID = 0;
    QString name;            ///< display name
    QString original_key;    ///< language of the recognised text, such as "en-US"
    QString translation_key; ///< language of the translated text, such as "en"
    QString first_letters;
    bool operator==(const LanguageListModel&) const = default;
};

struct CheckVersionModel {
    qint64 build = 0;
    std::optional<QString> version;
    std::optional<QString> content;
    std::optional<QString> package_value;
    qint64 min_build = 0;
    std::optional<QString> min_version;
    qint64 is_force = 0;
    bool operator==(const CheckVersionModel&) const = default;
};

/// Lenient mapping, for BaseNetModel, CountryListModel, LoginUserModel, UserModel and CheckVersionModel: a member that
/// is missing, null or of a kind that cannot be converted leaves its field as it starts; a number is taken for a text
/// and a numeric text for a number. None when the text is not a JSON object.
template<class Record>
std::optional<Record> mapLenient(const QString& jsonText);

/// The same for each element of a JSON array; an element that is no object gives none, a text that is no array no list.
template<class Record>
std::vector<std::optional<Record>> mapLenientList(const QString& jsonText);

/// Accessor mapping, for UserBaseModel, UserResumeInfo and LanguageListModel: a missing text is empty, a missing number
/// 0.
template<class Record>
Record mapAccessors(const JSON& value);

/// Strict mapping, for UserBaseModel, UserResumeInfo, AIInterviewModel and LanguageListModel: a JSON object with every
/// field. Absent optional fields are left out.
template<class Record>
QByteArray encodeStrict(const Record& record);

/// None when the data is no JSON object or one required member is missing or of another kind.
template<class Record>
std::optional<Record> decodeStrict(const QByteArray& data);

} // namespace parlowen
