#include "events/eventvalues.h"

#include <QString>

#include <vector>

#include "controls/itemkeys.h"
#include "runtime/errors.h"
#include "values/stringbridges.h"

namespace {

void ThrowOnFailure(HRESULT hr)
{
    if (FAILED(hr))
        ThrowHResult(hr);
}

// The keys of one path, cleared however the walk over them ends.
struct PathKeys {
    std::vector<VARIANT> keys;
    ~PathKeys()
    {
        for (VARIANT &key : keys)
            VariantClear(&key);
    }
};

// One element's text: the key's own text, an index in brackets.
QString ElementText(const VARIANT &key)
{
    OwnedVariant text;
    ThrowOnFailure(VariantCopy(text.get(), &key));
    ThrowOnFailure(VariantChangeType(text.get(), text.get(), 0, VT_BSTR));
    QString part = BstrToQString(V_BSTR(text.get()));
    if (V_VT(&key) == VT_I4)
        part = QLatin1Char('[') + (part.isEmpty() ? QStringLiteral("0") : part) + QLatin1Char(']');
    return part;
}

} // namespace

void MakeTreePathText(const QTreeWidget *tree, const QTreeWidgetItem *item, VARIANT *text)
{
    PathKeys path;
    MakeTreeItemPath(tree, item, path.keys);
    if (path.keys.size() == 1) {
        ThrowOnFailure(VariantCopy(text, &path.keys.front()));
        return;
    }
    QString joined;
    for (size_t index = 0; index < path.keys.size(); ++index) {
        joined += ElementText(path.keys[index]);
        // After every element but the last, also after one that added nothing.
        if (index + 1 < path.keys.size())
            joined += QLatin1Char('|');
    }
    V_VT(text) = VT_BSTR;
    V_BSTR(text) = QStringToBstr(joined);
}

void MakeDateText(double variantTime, VARIANT *text)
{
    V_VT(text) = VT_DATE;
    V_DATE(text) = variantTime;
    ThrowOnFailure(VariantChangeType(text, text, 0, VT_BSTR));
}

int CheckStateCode(Qt::CheckState state)
{
    switch (state) {
    case Qt::Unchecked:
        return 0;
    case Qt::PartiallyChecked:
        return 2;
    case Qt::Checked:
        return 1;
    }
    return -1;
}
