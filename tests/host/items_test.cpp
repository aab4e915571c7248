// `vrqt items` and `vrqt item` as a user runs them on the gallery.
#include <gtest/gtest.h>

#include "vrqtrun.h"

using namespace std::chrono_literals;
using namespace vrqt::testing;

namespace {

QString str(const char *text)
{
    return QString::fromUtf8(text);
}

} // namespace

TEST(Items, VrqtListsAndActsOnTheGallerysItems)
{
    struct Row {
        const char *name;
        QStringList arguments;
        int exitCode;
        std::vector<const char *> says; // in standard output on success, else in standard error
    } rows[] = {
        { "a list's keys: unique texts, indexes for duplicates and empty texts",
          { str("items"), str("itemList") }, 0, { " list count=11\n", "\n  Apple  text=\"Apple\"", "\n  [1]  text=\"Banana\"", "\n  [2]  text=\"\"" } },
        { "a tree's paths", { str("items"), str("itemTree") }, 0, { "\n  Inbox  text=\"Inbox\" expanded", "\n    [0]  text=\"Weekly report\"" } },
        { "a table's cells under their rows", { str("items"), str("itemTable") }, 0, { "\n  |Product  text=\"Product\"", "|Product  text=" } },
        { "a tree item expanded by its path", { str("item"), str("itemTree"), str("Archive|2023"), str("expand") }, 0,
          { "Archive|2023: expand done expanded=true\n" } },
        { "a spin box set", { str("item"), str("quantitySpin"), str("value"), str("set"), str("12") }, 0, { "\n  value = 12 (settable)\n" } },
        { "an object no helper serves", { str("items"), str("statusLabel") }, 7, { "no-helper", "is a QLabel (QLabel < QFrame" } },
        { "a key that names nothing", { str("item"), str("itemList"), str("Banana"), str("select") }, 4, { "no-such-item", "[1] or [4]" } },
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.name);
        const VrqtRun run = runVrqt(QStringList{ row.arguments.first(), str("--timeout"), str("60") } + row.arguments.mid(1)
                                        << str("--") << str(VRQT_TEST_GALLERY),
                                    120s);
        ASSERT_TRUE(run.finished);
        EXPECT_EQ(run.exitCode, row.exitCode) << run.err;
        const std::string &text = row.exitCode == 0 ? run.out : run.err;
        for (const char *expected : row.says)
            EXPECT_NE(text.find(expected), std::string::npos) << expected << "\nin:\n" << text;
    }
}
