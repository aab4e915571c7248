// The type vocabulary: which type names, as the meta-object gives them in
// text, have an automation type, and which one. Scalars travel as the raw
// bytes of the VARIANT union; the named Qt classes travel as objects behind
// IDispatch; every other name has no automation type.
#pragma once

#include <QByteArray>
#include <QString>

#include "platform/automation.h"
#include "values/storagerows.h"

// The classification of one type name. The exposers own these records, one
// for a property or a method's result (slot 0) and one for each parameter.
struct QtTypeDescription {
    VARTYPE vt = VT_ILLEGAL;   // VT_ILLEGAL (0xFFFF): the name has no automation type
    QString typeName;          // normalised; asterisks stay
    bool isObject = false;     // travels as an object behind IDispatch
    int pointerDepth = 0;      // asterisks in the raw name
    bool isReference = false;  // a scalar or interface name declared with '&'
    QByteArray latin1Name;     // typeName as Qt matches argument names; set with it
    StorageRows storage;       // for typeName, set with it
};

// Sets typeName and what is derived from it.
void SetDescribedName(QtTypeDescription &out, const QString &typeName);

// Which tables DescribeType searches.
enum QtTypeMask : unsigned {
    SimpleTypesMask = 1,
    InterfaceTypesMask = 2,
    QtValueTypesMask = 4,
    QtExtraTypesMask = 8,
    MethodTypeMask = 15,   // parameters and results admit all four
    PropertyTypeMask = 5,  // properties admit scalars and Qt value classes only
};

// The four process-wide tables of type names. They are constant data, so
// every operation runs on any thread without a lock.
class CQtTypeTable
{
public:
    // "const" cut out wherever it stands (a plain substring removal, so it
    // also cuts it from the middle of a longer name), the first '&'
    // removed, then Qt's signature normalisation. Empty gives "void".
    static QString NormalizeTypeName(const char *rawName);

    static QString RemovePointerMarks(const QString &name);

    // Fills out from rawName, searching the tables that mask admits. All
    // fields are overwritten; never fails (an unknown name gives VT_ILLEGAL).
    static void DescribeType(const char *rawName, QtTypeDescription &out, unsigned mask);

private:
    static void Describe(const char *rawName, QtTypeDescription &out, unsigned mask);
};

// How every table of this folder compares a name with a row's name.
inline bool TypeNameEquals(const QString &name, const char *rowName, Qt::CaseSensitivity sensitivity)
{
    return name.compare(QLatin1String(rowName), sensitivity) == 0;
}
