#include "textpage.h"

#include <QCheckBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QRegularExpression>
#include <QTextEdit>
#include <QVBoxLayout>

namespace {

const char notesHtml[] =
    "<h2>Meeting notes</h2>"
    "<p>The <b>gallery</b> shows one of every widget family, so that automation "
    "has something <i>ordinary</i> to look at.</p>"
    "<ul><li>Lists with blank and repeated rows</li>"
    "<li>Menus that overflow the bar</li>"
    "<li>A button with properties of its own</li></ul>"
    "<p>Next meeting: 2024-06-21, 10:00.</p>";

} // namespace

TextPage::TextPage(QWidget *parent)
    : QWidget(parent)
{
    setObjectName(QStringLiteral("textPage"));
    auto *layout = new QVBoxLayout(this);

    auto *editor = new QTextEdit;
    editor->setObjectName(QStringLiteral("notesEdit"));
    editor->setHtml(QString::fromUtf8(notesHtml));
    layout->addWidget(editor);

    auto *footer = new QHBoxLayout;
    auto *readOnly = new QCheckBox(tr("Read only"));
    readOnly->setObjectName(QStringLiteral("readOnlyCheck"));
    footer->addWidget(readOnly);
    footer->addStretch();
    auto *wordCount = new QLabel;
    wordCount->setObjectName(QStringLiteral("wordCountLabel"));
    footer->addWidget(wordCount);
    layout->addLayout(footer);

    const auto countWords = [editor, wordCount] {
        static const QRegularExpression separators(QStringLiteral("\\s+"));
        const int words = editor->toPlainText().split(separators, Qt::SkipEmptyParts).size();
        wordCount->setText(tr("Words: %1").arg(words));
    };
    countWords();
    connect(editor, &QTextEdit::textChanged, this, countWords);
    connect(readOnly, &QCheckBox::toggled, editor, &QTextEdit::setReadOnly);
}
