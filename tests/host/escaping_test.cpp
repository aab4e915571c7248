// Texts of the program reach the terminal escaped: no control character,
// direction override or line separator goes out raw, in any text form.
#include <gtest/gtest.h>

#include <QJsonArray>
#include <QJsonDocument>

#include "host/cli/itemtext.h"
#include "host/cli/quoting.h"
#include "host/cli/resulttext.h"
#include "host/cli/treetext.h"

using namespace vrqt::cli;

namespace {

// Seven characters a terminal or a reader could be fooled by.
const QString kHostile = QString::fromUtf16(u"\x1b[31m\u009b2J\u202e\u2028\x7f\x01");
const std::string kHostileEscaped = "\\x1B[31m\\x9B2J\\u202E\\u2028\\x7F\\x01";

bool hasRawControl(const std::string &text)
{
    const QString decoded = QString::fromStdString(text);
    for (const QChar character : decoded) {
        if (character != QLatin1Char('\n') && (character.category() == QChar::Other_Control || character.category() == QChar::Other_Format
                                               || character.category() == QChar::Separator_Line))
            return true;
    }
    return false;
}

} // namespace

TEST(Escaping, ControlFormatAndSeparatorCharactersAreEscaped)
{
    struct Row {
        const char *name;
        QString text;
        std::string escaped;
    } rows[] = {
        { "plain text", QStringLiteral("Save as..."), "Save as..." },
        { "line breaks and tabs", QStringLiteral("a\nb\r\tc"), "a\\nb\\r\\tc" },
        { "a backslash", QStringLiteral("C:\\dir"), "C:\\\\dir" },
        { "terminal controls, C1 and direction override", kHostile, kHostileEscaped },
        { "letters beyond ASCII stay", QString::fromUtf16(u"Gr\u00fc\u00dfe \U0001F600"), "Gr\xC3\xBC\xC3\x9F" "e \xF0\x9F\x98\x80" },
        { "a character beyond the first plane that is a format mark", QString::fromUcs4(U"\U000E0001", 1), "\\U000E0001" },
        { "half a surrogate pair", QString(QChar(0xD800)), "\\uD800" },
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.name);
        EXPECT_EQ(escaped(row.text), row.escaped);
        EXPECT_EQ(quoted(QJsonValue(row.text)), "\"" + row.escaped + "\"");
    }
    EXPECT_EQ(quoted(QJsonValue(QStringLiteral("say \"hi\""))), "\"say \\\"hi\\\"\"");
    EXPECT_EQ(escaped(QStringLiteral("say \"hi\"")), "say \"hi\"");
}

TEST(Escaping, EveryTextFormEscapesTheProgramsTexts)
{
    const QJsonValue hostile(kHostile);
    const QJsonObject identity{ { QStringLiteral("className"), hostile }, { QStringLiteral("objectName"), hostile },
                                { QStringLiteral("path"), hostile }, { QStringLiteral("address"), hostile } };
    const QJsonObject member{ { QStringLiteral("name"), hostile },        { QStringLiteral("kinds"), QJsonArray{ hostile } },
                              { QStringLiteral("type"), hostile },        { QStringLiteral("parameters"), QJsonArray{ hostile } },
                              { QStringLiteral("qtType"), hostile },      { QStringLiteral("usageName"), hostile },
                              { QStringLiteral("typeName"), hostile },    { QStringLiteral("keys"), QJsonArray{ hostile } },
                              { QStringLiteral("description"), hostile } };
    const QJsonObject item{ { QStringLiteral("key"), hostile }, { QStringLiteral("text"), hostile } };
    const struct {
        const char *name;
        std::string text;
    } forms[] = {
        { "a text value", renderValueText({ { QStringLiteral("vt"), QStringLiteral("VT_BSTR") }, { QStringLiteral("value"), hostile } }) },
        { "an enumeration's name", renderValueText({ { QStringLiteral("vt"), QStringLiteral("VT_I4") }, { QStringLiteral("name"), hostile } }) },
        { "an object", renderValueText({ { QStringLiteral("vt"), QStringLiteral("VT_DISPATCH") }, { QStringLiteral("object"), identity } }) },
        { "a chain", renderDescriptionText({ { QStringLiteral("object"), identity },
                                             { QStringLiteral("chain"), QJsonArray{ QJsonObject{ { QStringLiteral("typeName"), hostile },
                                                                                                 { QStringLiteral("members"), QJsonArray{ member } } } } } }) },
        { "one member", renderDescriptionText({ { QStringLiteral("object"), identity }, { QStringLiteral("member"), member } }) },
        { "a tree", renderTreeText({ { QStringLiteral("windows"), QJsonArray{ QJsonObject{ { QStringLiteral("className"), hostile },
                                                                                           { QStringLiteral("qtText"), hostile },
                                                                                           { QStringLiteral("objectName"), hostile },
                                                                                           { QStringLiteral("address"), hostile } } } } }) },
        { "items", renderItemsText({ { QStringLiteral("className"), hostile }, { QStringLiteral("object"), hostile },
                                     { QStringLiteral("kind"), hostile }, { QStringLiteral("items"), QJsonArray{ item } },
                                     { QStringLiteral("columns"), QJsonArray{ item } },
                                     { QStringLiteral("values"), QJsonArray{ QJsonObject{ { QStringLiteral("key"), hostile },
                                                                                          { QStringLiteral("value"), hostile } } } } }) },
        { "an item's action", renderItemActionText({ { QStringLiteral("key"), hostile }, { QStringLiteral("action"), hostile },
                                                     { QStringLiteral("text"), hostile } }) },
    };
    for (const auto &form : forms) {
        SCOPED_TRACE(form.name);
        EXPECT_FALSE(hasRawControl(form.text)) << form.text;
        EXPECT_NE(form.text.find(kHostileEscaped), std::string::npos) << form.text;
    }
}
