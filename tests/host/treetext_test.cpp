// The tree as indented text.
#include <gtest/gtest.h>

#include <QJsonDocument>

#include "host/cli/treetext.h"

using vrqt::cli::renderTreeText;

namespace {

QJsonObject parse(const char *json)
{
    return QJsonDocument::fromJson(json).object();
}

} // namespace

TEST(TreeText, OneLineAWidgetIndentedByDepth)
{
    const QJsonObject tree = parse(R"({
        "mainWindow": 5,
        "windows": [
          { "className": "QMainWindow", "objectName": "main", "qtIndex": 1, "qtText": "Title",
            "x": 0, "y": 0, "width": 400, "height": 300, "screenX": 10, "screenY": 20,
            "visible": true, "enabled": true, "native": true, "window": 5, "widget": true, "address": "0x10",
            "children": [
              { "className": "QPushButton", "objectName": "", "qtIndex": 2, "qtText": "say \"hi\"\nnow",
                "x": 1, "y": 2, "width": 3, "height": 4, "screenX": null, "screenY": null,
                "visible": false, "enabled": false, "native": false, "widget": true, "address": "0x20", "children": [] }
            ] },
          { "className": "QWindow", "objectName": "bare", "widget": false, "visible": true, "native": true,
            "window": 9, "address": "0x30", "children": [] }
        ] })");
    const std::string expected =
        "QMainWindow index=1 text=\"Title\" name=\"main\" pos=0,0 size=400x300 screen=10,20 visible enabled native window=5 main address=0x10\n"
        "  QPushButton index=2 text=\"say \\\"hi\\\"\\nnow\" name=\"\" pos=1,2 size=3x4 screen=?,? hidden disabled alien address=0x20\n"
        "QWindow name=\"bare\" visible native window=9 no-widget address=0x30\n";
    EXPECT_EQ(renderTreeText(tree), expected);
    EXPECT_EQ(renderTreeText(parse(R"({"mainWindow": null, "windows": []})")), "");
}
