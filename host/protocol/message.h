// Requests and responses as they travel: one JSON object a line.
//
//   request   {"id": 7, "request": "tree", "params": {...}}
//   response  {"id": 7, "ok": true, "result": {...}}
//             {"id": 7, "ok": false, "error": {"code": "...", "message": "..."}}
//
// Unknown members are ignored on both sides, so that later versions can add
// them.
#pragma once

#include <QJsonObject>
#include <QJsonValue>
#include <QString>

#include <string>

namespace vrqt::protocol {

struct Error
{
    QString code;
    QString message;
    // Further members of the error object ("hresult" of a failed call).
    QJsonObject details;
};

struct Request
{
    QJsonValue id; // an integer or a string
    QString name;
    QJsonObject params;
};

struct Response
{
    QJsonValue id;
    bool ok = false;
    QJsonValue result;
    Error error;
};

// Reads one request line. On failure fills error with parse-error or
// invalid-request and leaves in id whatever valid id the line carried (null
// otherwise), so that the refusal can still name the request.
bool parseRequest(const std::string &line, Request *request, Error *error);
// Reads one response line; false with a reason when it is not a response.
bool parseResponse(const std::string &line, Response *response, QString *reason);

// Each returns one line, "\n" included.
std::string encodeRequest(const QJsonValue &id, const QString &name, const QJsonObject &params = {});
std::string encodeResult(const QJsonValue &id, const QJsonValue &result);
std::string encodeError(const QJsonValue &id, const Error &error);

// How much of a text the client sent a message quotes.
constexpr int kQuotedLength = 200;
// text for a message: as it is up to kQuotedLength characters, else cut
// there, with the length of the whole.
QString excerpt(const QString &text);

// True for the ids a request may carry: integers exact in a double, or strings.
// parseRequest also wants an integer written without fraction or exponent.
bool isValidId(const QJsonValue &id);

} // namespace vrqt::protocol
