// Requests and responses: what is accepted, what is refused with which code.
#include <gtest/gtest.h>

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <cmath>
#include <limits>

#include "host/protocol/jsontext.h"
#include "host/protocol/message.h"
#include "host/protocol/protocol.h"

using namespace vrqt::protocol;

TEST(Message, ParsesRequestsAndRefusesMalformedOnes)
{
    struct Row {
        const char *name;
        const char *line;
        const char *errorCode; // null when the request is valid
        QJsonValue id;         // what the request (or its refusal) names
        const char *request;
    } rows[] = {
        { "integer id", R"({"id":7,"request":"tree"})", nullptr, 7, "tree" },
        { "string id", R"({"id":"a","request":"hello"})", nullptr, QStringLiteral("a"), "hello" },
        { "params object", R"({"id":1,"request":"x","params":{"depth":2}})", nullptr, 1, "x" },
        { "unknown members are ignored", R"({"id":1,"request":"x","future":true})", nullptr, 1, "x" },
        { "not JSON", "tree please", error::kParse, QJsonValue(), "" },
        { "an array", "[1,2]", error::kInvalidRequest, QJsonValue(), "" },
        { "no id", R"({"request":"tree"})", error::kInvalidRequest, QJsonValue(), "" },
        { "fractional id", R"({"id":1.5,"request":"tree"})", error::kInvalidRequest, QJsonValue(), "" },
        { "id beyond exact integers", R"({"id":1e300,"request":"tree"})", error::kInvalidRequest, QJsonValue(), "" },
        { "no request, id kept", R"({"id":4})", error::kInvalidRequest, 4, "" },
        { "request not a string", R"({"id":4,"request":5})", error::kInvalidRequest, 4, "" },
        { "params an array", R"({"id":4,"request":"x","params":[]})", error::kInvalidRequest, 4, "" },
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.name);
        Request request;
        Error error;
        const bool parsed = parseRequest(row.line, &request, &error);
        EXPECT_EQ(parsed, row.errorCode == nullptr);
        if (row.errorCode) {
            EXPECT_EQ(error.code.toStdString(), row.errorCode);
            EXPECT_FALSE(error.message.isEmpty());
        } else {
            EXPECT_EQ(request.name.toStdString(), row.request);
        }
        EXPECT_EQ(request.id, row.id);
    }
}

TEST(Message, RequestsAndResponsesSurviveTheirOwnEncoding)
{
    Request request;
    Error error;
    const std::string requestLine = encodeRequest(12, QStringLiteral("tree"), { { QStringLiteral("depth"), 3 } });
    ASSERT_EQ(requestLine.back(), '\n');
    ASSERT_TRUE(parseRequest(requestLine.substr(0, requestLine.size() - 1), &request, &error));
    EXPECT_EQ(request.id, QJsonValue(12));
    EXPECT_EQ(request.params.value(QStringLiteral("depth")).toInt(), 3);

    Response response;
    QString reason;
    const QJsonObject result{ { QStringLiteral("text"), QStringLiteral("line\nbreak") } };
    const std::string resultLine = encodeResult(QStringLiteral("r1"), result);
    EXPECT_EQ(resultLine.find('\n'), resultLine.size() - 1) << "a response is exactly one line";
    ASSERT_TRUE(parseResponse(resultLine, &response, &reason)) << reason.toStdString();
    EXPECT_TRUE(response.ok);
    EXPECT_EQ(response.id, QJsonValue(QStringLiteral("r1")));
    EXPECT_EQ(response.result.toObject(), result);

    const QJsonObject details{ { QStringLiteral("hresult"), QStringLiteral("0x800705B4") } };
    const std::string errorLine = encodeError(QJsonValue(), { QLatin1String(error::kBusy), QStringLiteral("later"), details });
    ASSERT_TRUE(parseResponse(errorLine, &response, &reason));
    EXPECT_FALSE(response.ok);
    EXPECT_TRUE(response.id.isNull());
    EXPECT_EQ(response.error.code, QLatin1String(error::kBusy));
    EXPECT_EQ(response.error.message, QStringLiteral("later"));
    EXPECT_EQ(response.error.details, details) << "further members travel beside code and message";
}

TEST(Message, RefusesLinesThatAreNoResponse)
{
    Response response;
    QString reason;
    for (const char *line : { "", "[]", R"({"id":1})", R"({"id":1,"ok":"yes"})" }) {
        SCOPED_TRACE(line);
        EXPECT_FALSE(parseResponse(line, &response, &reason));
        EXPECT_FALSE(reason.isEmpty());
    }
    ASSERT_TRUE(parseResponse(R"({"id":1,"ok":false})", &response, &reason));
    EXPECT_EQ(response.error.code, QLatin1String(error::kInternal)) << "an error without code counts as internal";
}

// The agent writes its answers itself; the text must be what Qt's own
// compact writer gives, so that every reader sees the same JSON.
TEST(Message, WritesJsonAsQtDoes)
{
    const QString text = QString::fromUtf8("quote \" backslash \\ tab \t bell \a del \x7f \xc3\xa9 \xe6\x97\xa5 \xf0\x9f\x98\x80 /");
    const QJsonArray values{
        QJsonValue(), true, false, 0, -1, 42, 0.1, -2.5, 1e20, 1e-7, 123456789012.0, 9007199254740992.0, 9007199254740994.0,
        1.5e300, -0.0, std::numeric_limits<double>::quiet_NaN(), std::numeric_limits<double>::infinity(), QString(), text,
        QString(QChar(0xd800)) + QStringLiteral("lone") + QChar(0xdc00), QJsonArray{}, QJsonObject{},
        QJsonObject{ { QStringLiteral("b"), 1 }, { QStringLiteral("a"), QJsonArray{ 1, QStringLiteral("x"), QJsonObject{ { text, text } } } } },
    };
    for (const QJsonValue &value : values) {
        std::string written;
        vrqt::protocol::AppendCompactJson(QJsonArray{ value }, &written);
        const QByteArray qt = QJsonDocument(QJsonArray{ value }).toJson(QJsonDocument::Compact);
        EXPECT_EQ(written, qt.toStdString());
    }
}
