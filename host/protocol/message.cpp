#include "host/protocol/message.h"

#include <QJsonDocument>
#include <QJsonParseError>

#include <cmath>

#include "host/protocol/jsontext.h"
#include "host/protocol/protocol.h"

namespace vrqt::protocol {

namespace {

// 2^53: beyond it a JSON number no longer names one integer.
constexpr double kLargestExactInteger = 9007199254740992.0;
constexpr std::string_view kLargestExactDigits = "9007199254740992";

// The error code for a line that is no JSON object, or nothing. members
// receives the object's members as written.
const char *parseObject(const std::string &line, QJsonObject *object, QString *reason, MemberTexts *members)
{
    if (!CheckJsonText(line, reason, members))
        return error::kParse;
    QJsonParseError parseError{};
    const QJsonDocument document = QJsonDocument::fromJson(QByteArray::fromRawData(line.data(), int(line.size())), &parseError);
    if (parseError.error != QJsonParseError::NoError) {
        *reason = parseError.errorString() + QStringLiteral(" at offset %1").arg(parseError.offset);
        return error::kParse;
    }
    if (!document.isObject()) {
        *reason = QStringLiteral("a message must be a JSON object");
        return error::kInvalidRequest;
    }
    *object = document.object();
    return nullptr;
}

// An integer as written, without fraction or exponent, that a double holds
// exactly: Qt's reader rounds 9007199254740993 to ...992 without a word.
bool isExactIntegerText(std::string_view text)
{
    if (!text.empty() && text.front() == '-')
        text.remove_prefix(1);
    if (text.empty() || (text.front() == '0' && text.size() > 1))
        return false;
    for (char character : text) {
        if (character < '0' || character > '9')
            return false;
    }
    return text.size() < kLargestExactDigits.size() || (text.size() == kLargestExactDigits.size() && text <= kLargestExactDigits);
}

std::string encodeLine(const QJsonObject &object)
{
    // Compact JSON has no raw line break, so it fits the framing as it is.
    std::string line;
    AppendCompactJson(object, &line);
    line += '\n';
    return line;
}

} // namespace

QString excerpt(const QString &text)
{
    if (text.size() <= kQuotedLength)
        return text;
    return text.left(kQuotedLength) + QStringLiteral("... (%1 characters)").arg(text.size());
}

bool isValidId(const QJsonValue &id)
{
    if (id.isString())
        return true;
    if (!id.isDouble())
        return false;
    const double number = id.toDouble();
    return std::isfinite(number) && std::floor(number) == number && std::fabs(number) <= kLargestExactInteger;
}

bool parseRequest(const std::string &line, Request *request, Error *error)
{
    *request = Request{};
    QJsonObject object;
    QString reason;
    MemberTexts members;
    if (const char *code = parseObject(line, &object, &reason, &members)) {
        *error = { QLatin1String(code), reason, {} };
        return false;
    }
    const QJsonValue id = object.value(QLatin1String("id"));
    const auto idText = members.find(QStringLiteral("id"));
    if (isValidId(id) && (id.isString() || (idText != members.end() && isExactIntegerText(idText->second))))
        request->id = id;
    else {
        *error = { QLatin1String(error::kInvalidRequest),
                   QStringLiteral("\"id\" must be a string, or an integer written without fraction or exponent and at most 2^53 in size"),
                   {} };
        return false;
    }
    const QJsonValue name = object.value(QLatin1String("request"));
    if (!name.isString() || name.toString().isEmpty()) {
        *error = { QLatin1String(error::kInvalidRequest), QStringLiteral("\"request\" must be a non-empty string"), {} };
        return false;
    }
    const QJsonValue params = object.value(QLatin1String("params"));
    if (!params.isUndefined() && !params.isNull() && !params.isObject()) {
        *error = { QLatin1String(error::kInvalidRequest), QStringLiteral("\"params\" must be an object"), {} };
        return false;
    }
    request->name = name.toString();
    request->params = params.toObject();
    return true;
}

bool parseResponse(const std::string &line, Response *response, QString *reason)
{
    *response = Response{};
    QJsonObject object;
    if (parseObject(line, &object, reason, nullptr))
        return false;
    const QJsonValue ok = object.value(QLatin1String("ok"));
    if (!ok.isBool()) {
        *reason = QStringLiteral("\"ok\" is missing");
        return false;
    }
    response->id = object.value(QLatin1String("id"));
    response->ok = ok.toBool();
    if (response->ok) {
        response->result = object.value(QLatin1String("result"));
        return true;
    }
    const QJsonObject error = object.value(QLatin1String("error")).toObject();
    response->error.code = error.value(QLatin1String("code")).toString(QLatin1String(error::kInternal));
    response->error.message = error.value(QLatin1String("message")).toString();
    response->error.details = error;
    response->error.details.remove(QLatin1String("code"));
    response->error.details.remove(QLatin1String("message"));
    return true;
}

std::string encodeRequest(const QJsonValue &id, const QString &name, const QJsonObject &params)
{
    QJsonObject object{ { QLatin1String("id"), id }, { QLatin1String("request"), name } };
    if (!params.isEmpty())
        object.insert(QLatin1String("params"), params);
    return encodeLine(object);
}

std::string encodeResult(const QJsonValue &id, const QJsonValue &result)
{
    return encodeLine({ { QLatin1String("id"), id }, { QLatin1String("ok"), true }, { QLatin1String("result"), result } });
}

std::string encodeError(const QJsonValue &id, const Error &error)
{
    QJsonObject details = error.details;
    details.insert(QLatin1String("code"), error.code);
    details.insert(QLatin1String("message"), error.message);
    return encodeLine({ { QLatin1String("id"), id }, { QLatin1String("ok"), false }, { QLatin1String("error"), details } });
}

} // namespace vrqt::protocol
