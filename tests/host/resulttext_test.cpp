// The scripting results as text for a terminal.
#include <gtest/gtest.h>

#include <QJsonDocument>

#include "host/cli/resulttext.h"

using namespace vrqt::cli;

namespace {

QJsonObject parse(const char *json)
{
    return QJsonDocument::fromJson(json).object();
}

} // namespace

TEST(ResultText, AValueIsItsTextAnObjectWhoItIs)
{
    struct Row {
        const char *name;
        const char *value;
        const char *text;
    } rows[] = {
        { "nothing", R"({"vt":"VT_EMPTY","value":null})", "" },
        { "a number", R"({"vt":"VT_I4","value":42})", "42\n" },
        { "a fraction", R"({"vt":"VT_R8","value":0.25})", "0.25\n" },
        { "a flag", R"({"vt":"VT_BOOL","value":false})", "false\n" },
        { "a text on one line", R"({"vt":"VT_DISPATCH","typeName":"QString","value":"two\nlines"})", "two\\nlines\n" },
        { "a value with parts", R"({"vt":"VT_DISPATCH","typeName":"QRect","value":"1,2 3x4","parts":{"x":1}})", "1,2 3x4\n" },
        { "a null pointer", R"({"vt":"VT_DISPATCH","typeName":"QObject*","value":null})", "null\n" },
        { "an object", R"({"vt":"VT_DISPATCH","typeName":"QObject*","value":"0x10",
            "object":{"address":"0x10","className":"QPushButton","objectName":"ok","path":"main/ok"}})",
          "QPushButton name=\"ok\" path=main/ok address=0x10\n" },
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.name);
        EXPECT_EQ(renderValueText(parse(row.value)), row.text);
    }
}

TEST(ResultText, ADescriptionListsMembersClassByClassInColumns)
{
    const QJsonObject description = parse(R"({
        "object": {"address":"0x10","className":"GalleryButton","objectName":"counter"},
        "chain": [
          {"typeName":"GalleryButton","depth":0,"members":[
            {"name":"clickCount","kinds":["get","put"],"type":"VT_INT","parameters":[],"usage":2,"usageName":"property"},
            {"name":"describe","kinds":["method"],"type":"VT_DISPATCH","parameters":["VT_DISPATCH","VT_INT"],"usage":3,"usageName":"method"}]},
          {"typeName":"QObject","depth":1,"members":[
            {"name":"QtClassName","kinds":["get"],"type":"VT_BSTR","parameters":[],"usage":2,"usageName":"property"}]}]})");
    EXPECT_EQ(renderDescriptionText(description),
              "GalleryButton name=\"counter\" address=0x10\n"
              "GalleryButton\n"
              "  clickCount  get put  VT_INT                            property\n"
              "  describe    method   VT_DISPATCH(VT_DISPATCH, VT_INT)  method\n"
              "QObject\n"
              "  QtClassName  get  VT_BSTR  property\n");
}
