#include "controls/texthelpers.h"

#include <QLineEdit>
#include <QTextCursor>
#include <QTextEdit>

#include <type_traits>

#include "controls/helperfactories.h"
#include "values/stringbridges.h"

namespace {

// One reading of the widget into result, on the caller's thread; E_POINTER
// for a null result. A BSTR result is null before anything else, so that a
// failure hands the host nothing to free.
template <typename Widget, typename Result, typename Read>
HRESULT ReadWidget(QWidget *widget, Result *result, Read read)
{
    if (!result)
        return E_POINTER;
    if constexpr (std::is_same_v<Result, BSTR>)
        *result = nullptr;
    return WithWidget<Widget>(widget, [&](Widget *target) {
        *result = read(target);
        return S_OK;
    });
}

// The text edit's selected text, paragraphs separated by "\n": Qt separates
// them by U+2029, which a host would not take for a line break.
QString SelectedPlainText(const QTextEdit *edit)
{
    return edit->textCursor().selectedText().replace(QChar(0x2029), QLatin1Char('\n'));
}

} // namespace

HRESULT CvrQtLineEditHelper::QueryInterface(REFIID riid, void **object)
{
    return QueryInterfaceTable(this, { Implements<CvrQtLineEditHelper, IvrQtLineEditHelper>(IID_IvrQtLineEditHelper) },
                               riid, object);
}

HRESULT CvrQtLineEditHelper::GetText(QWidget *widget, BSTR *text)
{
    return ReadWidget<QLineEdit>(widget, text, [](QLineEdit *edit) { return QStringToBstr(edit->text()); });
}

HRESULT CvrQtLineEditHelper::SetText(QWidget *widget, BSTR text)
{
    return WithWidget<QLineEdit>(widget, [&](QLineEdit *edit) {
        const QString value = BstrToQString(text);
        RunForWidget(edit, [&] { edit->setText(value); });
        return S_OK;
    });
}

HRESULT CvrQtLineEditHelper::GetMaxLength(QWidget *widget, int *length)
{
    return ReadWidget<QLineEdit>(widget, length, [](QLineEdit *edit) { return edit->maxLength(); });
}

HRESULT CvrQtLineEditHelper::GetPasswordChar(QWidget *widget, BSTR *character)
{
    return ReadWidget<QLineEdit>(widget, character, [](QLineEdit *edit) -> BSTR {
        const QLineEdit::EchoMode mode = edit->echoMode();
        // Deliberately null for NoEcho too: no character stands for the text.
        if (mode == QLineEdit::Password || mode == QLineEdit::PasswordEchoOnEdit)
            return QStringToBstr(QStringLiteral("*"));
        return nullptr;
    });
}

HRESULT CvrQtLineEditHelper::GetSelectedText(QWidget *widget, BSTR *text)
{
    return ReadWidget<QLineEdit>(widget, text, [](QLineEdit *edit) { return QStringToBstr(edit->selectedText()); });
}

HRESULT CvrQtLineEditHelper::GetSelectionStart(QWidget *widget, int *start)
{
    return ReadWidget<QLineEdit>(widget, start, [](QLineEdit *edit) { return edit->selectionStart(); });
}

HRESULT CvrQtLineEditHelper::GetSelectionEnd(QWidget *widget, int *end)
{
    return ReadWidget<QLineEdit>(widget, end, [](QLineEdit *edit) {
        const int start = edit->selectionStart();
        return start == -1 ? -1 : start + int(edit->selectedText().length());
    });
}

HRESULT CvrQtLineEditHelper::IsReadOnly(QWidget *widget, VARIANT_BOOL *readOnly)
{
    return ReadWidget<QLineEdit>(widget, readOnly, [](QLineEdit *edit) { return ToVariantBool(edit->isReadOnly()); });
}

HRESULT CvrQtTextEditHelper::QueryInterface(REFIID riid, void **object)
{
    return QueryInterfaceTable(this, { Implements<CvrQtTextEditHelper, IvrQtTextEditHelper>(IID_IvrQtTextEditHelper) },
                               riid, object);
}

HRESULT CvrQtTextEditHelper::GetText(QWidget *widget, BSTR *text)
{
    return ReadWidget<QTextEdit>(widget, text, [](QTextEdit *edit) { return QStringToBstr(edit->toPlainText()); });
}

HRESULT CvrQtTextEditHelper::SetText(QWidget *widget, BSTR text)
{
    return WithWidget<QTextEdit>(widget, [&](QTextEdit *edit) {
        const QString value = BstrToQString(text);
        RunForWidget(edit, [&] { edit->setPlainText(value); });
        return S_OK;
    });
}

HRESULT CvrQtTextEditHelper::GetSelectedText(QWidget *widget, BSTR *text)
{
    return ReadWidget<QTextEdit>(widget, text, [](QTextEdit *edit) { return QStringToBstr(SelectedPlainText(edit)); });
}

HRESULT CvrQtTextEditHelper::GetSelectionStart(QWidget *widget, int *start)
{
    return ReadWidget<QTextEdit>(widget, start, [](QTextEdit *edit) {
        return SelectedPlainText(edit).isEmpty() ? -1 : edit->textCursor().selectionStart();
    });
}

HRESULT CvrQtTextEditHelper::GetSelectionEnd(QWidget *widget, int *end)
{
    return ReadWidget<QTextEdit>(widget, end, [](QTextEdit *edit) {
        return SelectedPlainText(edit).isEmpty() ? -1 : edit->textCursor().selectionEnd();
    });
}

HRESULT CvrQtTextEditHelper::IsReadOnly(QWidget *widget, VARIANT_BOOL *readOnly)
{
    return ReadWidget<QTextEdit>(widget, readOnly, [](QTextEdit *edit) { return ToVariantBool(edit->isReadOnly()); });
}

HRESULT CreateLineEditHelper(IUnknown **helper)
{
    return CreateHelper<CvrQtLineEditHelper, IvrQtLineEditHelper>(helper);
}

HRESULT CreateTextEditHelper(IUnknown **helper)
{
    return CreateHelper<CvrQtTextEditHelper, IvrQtTextEditHelper>(helper);
}
