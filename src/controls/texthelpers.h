// The line edit and text edit helpers: the text, its selection, and whether
// the user may change it.
#pragma once

#include "controls/basecontrolhelper.h"
#include "interfaces/controls.h"

class CvrQtLineEditHelper : public CvrQtBaseControlHelper, public IvrQtLineEditHelper
{
public:
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void **object) override;
    VRQT_IUNKNOWN_BY_ROOT

    HRESULT STDMETHODCALLTYPE GetText(QWidget *widget, BSTR *text) override;
    // The widget's thread (ExecuteForWidget).
    HRESULT STDMETHODCALLTYPE SetText(QWidget *widget, BSTR text) override;
    HRESULT STDMETHODCALLTYPE GetMaxLength(QWidget *widget, int *length) override;
    // "*" while the edit hides its text as a password, else null.
    HRESULT STDMETHODCALLTYPE GetPasswordChar(QWidget *widget, BSTR *character) override;
    HRESULT STDMETHODCALLTYPE GetSelectedText(QWidget *widget, BSTR *text) override;
    // -1 without a selection.
    HRESULT STDMETHODCALLTYPE GetSelectionStart(QWidget *widget, int *start) override;
    HRESULT STDMETHODCALLTYPE GetSelectionEnd(QWidget *widget, int *end) override;
    HRESULT STDMETHODCALLTYPE IsReadOnly(QWidget *widget, VARIANT_BOOL *readOnly) override;
};

class CvrQtTextEditHelper : public CvrQtBaseControlHelper, public IvrQtTextEditHelper
{
public:
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void **object) override;
    VRQT_IUNKNOWN_BY_ROOT

    // The plain text.
    HRESULT STDMETHODCALLTYPE GetText(QWidget *widget, BSTR *text) override;
    // As plain text. The widget's thread (ExecuteForWidget).
    HRESULT STDMETHODCALLTYPE SetText(QWidget *widget, BSTR text) override;
    // Paragraphs separated by "\n".
    HRESULT STDMETHODCALLTYPE GetSelectedText(QWidget *widget, BSTR *text) override;
    // -1 while the selected text is empty.
    HRESULT STDMETHODCALLTYPE GetSelectionStart(QWidget *widget, int *start) override;
    HRESULT STDMETHODCALLTYPE GetSelectionEnd(QWidget *widget, int *end) override;
    HRESULT STDMETHODCALLTYPE IsReadOnly(QWidget *widget, VARIANT_BOOL *readOnly) override;
};
