// Scripting through the type descriptions the manager gives: properties and
// methods of real objects read, written and called the way a host does.
#include <QCheckBox>
#include <QComboBox>
#include <QDockWidget>
#include <QLabel>
#include <QPushButton>
#include <QSlider>

#include <atomic>
#include <thread>

#include "scriptables.h"
#include "scriptsupport.h"

using namespace moduletest;

namespace {

std::string utf8(BSTR text)
{
    return QString::fromUtf16(text, int(SysStringLen(text))).toStdString();
}

std::string nameOf(ITypeInfo *info, MEMBERID memid = MEMBERID_NIL)
{
    Bstr name;
    if (FAILED(info->GetDocumentation(memid, name.out(), nullptr, nullptr, nullptr)))
        return "<failed>";
    return name.utf8();
}

// The description of the base class, or empty at the root.
Ref<ITypeInfo> baseOf(ITypeInfo *info)
{
    Ref<ITypeInfo> base;
    HREFTYPE href = 0;
    if (SUCCEEDED(info->GetRefTypeOfImplType(0, &href)))
        info->GetRefTypeInfo(href, into(base));
    return base;
}

std::string textOfWrapped(const Value &value, CountingFactory &factory)
{
    if (value.v.vt != VT_DISPATCH || factory.calls.empty())
        return "<not wrapped>";
    return static_cast<QString *>(factory.calls.back().storage)->toStdString();
}

} // namespace

TEST_F(ScriptingTest, ChainFollowsTheClassesUpToQObject)
{
    QWidget window;
    QPushButton button(QStringLiteral("Press"), &window);
    Scripted scripted(manager.get(), &button);
    ASSERT_EQ(S_OK, scripted.hr);

    std::vector<std::string> chain;
    for (Ref<ITypeInfo> info = scripted.info; info; info = baseOf(info.get()))
        chain.push_back(nameOf(info.get()));
    EXPECT_EQ((std::vector<std::string>{ "QPushButton", "QAbstractButton", "QWidget", "QObject" }), chain);

    // The added members: QtClassName from QObject, QtIndex and QtText from QWidget.
    Value value;
    EXPECT_EQ(S_OK, scripted.get(u"QtClassName", value));
    EXPECT_EQ("QPushButton", utf8(value.v.bstrVal));
    EXPECT_EQ(S_OK, scripted.get(u"qttext", value));
    EXPECT_EQ("Press", utf8(value.v.bstrVal));
    EXPECT_EQ(S_OK, scripted.get(u"QtIndex", value));
    EXPECT_EQ(VT_I4, value.v.vt);
    // An inherited property, named in another case.
    EXPECT_EQ(S_OK, scripted.get(u"TEXT", value));
    EXPECT_EQ("Press", textOfWrapped(value, factory));

    Ref<ITypeInfo> again;
    EXPECT_EQ(S_OK, manager->GetObjectTypeInfo(&button, into(again)));
    EXPECT_EQ(scripted.info.get(), again.get());
    EXPECT_EQ("QtIndex", nameOf(scripted.info.get(), scripted.id(u"qtindex")));
}

TEST_F(ScriptingTest, ObjectsThatAreNotWidgetsHaveOnlyTheClassName)
{
    Scriptable object;
    Scripted scripted(manager.get(), &object);
    ASSERT_EQ(S_OK, scripted.hr);
    HRESULT hr = S_OK;
    scripted.id(u"QtClassName", &hr);
    EXPECT_EQ(S_OK, hr);
    scripted.id(u"QtIndex", &hr);
    EXPECT_EQ(DISP_E_UNKNOWNNAME, hr);

    // A class that declares nothing: no members of its own, one base.
    Plain plain;
    Scripted empty(manager.get(), &plain);
    TYPEATTR *attr = nullptr;
    ASSERT_EQ(S_OK, empty.info->GetTypeAttr(&attr));
    EXPECT_EQ(0, attr->cFuncs);
    EXPECT_EQ(1, attr->cImplTypes);
    empty.info->ReleaseTypeAttr(attr);
    EXPECT_EQ("Scriptable", nameOf(baseOf(empty.info.get()).get()));
}

TEST_F(ScriptingTest, ScalarPropertiesReadAndWriteAsTheirAutomationTypes)
{
    Scriptable object;
    Scripted scripted(manager.get(), &object);
    ASSERT_EQ(S_OK, scripted.hr);
    Value value;

    EXPECT_EQ(S_OK, scripted.put(u"count", Value(u"41")));
    EXPECT_EQ(41, object.count);
    EXPECT_EQ(S_OK, scripted.get(u"count", value));
    EXPECT_EQ(VT_INT, value.v.vt);
    EXPECT_EQ(41, value.v.intVal);

    for (bool flag : { true, false }) {
        SCOPED_TRACE(flag);
        EXPECT_EQ(S_OK, scripted.put(u"enabledFlag", Value::boolean(flag)));
        EXPECT_EQ(flag, object.enabledFlag);
        EXPECT_EQ(S_OK, scripted.get(u"enabledFlag", value));
        EXPECT_EQ(flag ? VARIANT_TRUE : VARIANT_FALSE, value.v.boolVal);
    }

    // Enumerations and flags travel as 32-bit integers; the top bit survives.
    EXPECT_EQ(S_OK, scripted.put(u"mode", Value(LONG(Scriptable::Busy))));
    EXPECT_EQ(Scriptable::Busy, object.mode);
    EXPECT_EQ(S_OK, scripted.put(u"options", Value(LONG(0x80000001u))));
    EXPECT_EQ(0x80000001u, unsigned(object.options));
    EXPECT_EQ(S_OK, scripted.get(u"options", value));
    EXPECT_EQ(VT_I4, value.v.vt);
    EXPECT_EQ(LONG(0x80000001u), value.v.lVal);

    EXPECT_EQ(S_OK, scripted.get(u"ratio", value));
    EXPECT_EQ(VT_R8, value.v.vt);
    EXPECT_EQ(0.25, value.v.dblVal);
}

TEST_F(ScriptingTest, PropertyFunctionsFollowWhatTheyAllow)
{
    Scriptable object;
    Scripted scripted(manager.get(), &object);
    ASSERT_EQ(S_OK, scripted.hr);
    Value value;

    // Read-only: one function, a get. (Qt's meta-object compiler makes no
    // property without a read function.)
    EXPECT_EQ(DISP_E_MEMBERNOTFOUND, scripted.put(u"ratio", Value(LONG(1))));
    EXPECT_EQ(S_OK, scripted.get(u"ratio", value));
    HRESULT hr = S_OK;
    scripted.id(u"hidden", &hr); // a type without a row
    EXPECT_EQ(DISP_E_UNKNOWNNAME, hr);

    DISPID named = DISPID_PROPERTYPUT;
    VARIANT two[2];
    VariantInit(&two[0]);
    VariantInit(&two[1]);
    DISPPARAMS params = { two, &named, 2, 1 };
    EXPECT_EQ(DISP_E_BADPARAMCOUNT, scripted.info->Invoke(scripted.context.instance(), scripted.id(u"count"),
                                                          DISPATCH_PROPERTYPUT, &params, nullptr, nullptr, nullptr));
    EXPECT_EQ(DISP_E_TYPEMISMATCH, scripted.put(u"count", Value(u"not a number")));
    EXPECT_EQ(0, object.count);
}

TEST_F(ScriptingTest, QtValuesComeAsObjectsAndGoBackAsArguments)
{
    Scriptable object;
    object.title = QStringLiteral("caption");
    object.area = QRect(1, 2, 3, 4);
    object.partner = &object;
    Scripted scripted(manager.get(), &object);
    ASSERT_EQ(S_OK, scripted.hr);
    scripted.context.hostContext = 17;

    Value title;
    EXPECT_EQ(S_OK, scripted.get(u"title", title));
    EXPECT_EQ("caption", textOfWrapped(title, factory));
    EXPECT_EQ("QString", factory.calls.back().typeName.toStdString());
    EXPECT_EQ(17, factory.calls.back().hostContext);

    Value partner;
    EXPECT_EQ(S_OK, scripted.get(u"partner", partner));
    EXPECT_EQ("QObject*", factory.calls.back().typeName.toStdString());
    EXPECT_EQ(&object, *static_cast<QObject **>(factory.calls.back().storage));

    // A wrapped value given back: the rectangle reaches the slot as it is.
    Value area, result;
    ASSERT_EQ(S_OK, scripted.get(u"area", area));
    EXPECT_EQ(S_OK, scripted.call(u"scale", values(std::move(area), LONG(2)), result));
    EXPECT_EQ(QRect(1, 2, 6, 8), object.area);

    // Host numbers and texts cannot stand for a Qt class.
    EXPECT_EQ(DISP_E_TYPEMISMATCH, scripted.call(u"join", values(LONG(3)), result));

    title = Value();
    partner = Value();
    result = Value();
    EXPECT_EQ(0, factory.liveStorage);
}

TEST_F(ScriptingTest, AWidgetPointerWrittenIntoAPropertyArrives)
{
    // Qt 6 registers pointer types by name only once something asks for
    // them: the first write in a process must find the type all the same.
    Scriptable object;
    QWidget widget;
    object.candidate = &widget;
    Scripted scripted(manager.get(), &object);
    ASSERT_EQ(S_OK, scripted.hr);
    Value candidate;
    ASSERT_EQ(S_OK, scripted.call(u"candidateBuddy", {}, candidate));
    EXPECT_EQ(S_OK, scripted.put(u"buddy", std::move(candidate)));
    EXPECT_EQ(&widget, object.buddy);
}

TEST_F(ScriptingTest, MethodsTakeTheirParametersInOrderAndGiveTheirResults)
{
    Scriptable object;
    Scripted scripted(manager.get(), &object);
    ASSERT_EQ(S_OK, scripted.hr);
    Value result;

    EXPECT_EQ(S_OK, scripted.call(u"ping", {}, result));
    EXPECT_EQ(VT_EMPTY, result.v.vt);
    EXPECT_EQ(1, object.pings);

    // A signal is called like any method.
    int emitted = 0;
    QObject::connect(&object, &Scriptable::changed, [&emitted](int value) { emitted = value; });
    EXPECT_EQ(S_OK, scripted.call(u"changed", values(LONG(9)), result));
    EXPECT_EQ(9, emitted);

    EXPECT_EQ(S_OK, scripted.call(u"add", values(LONG(40), u"2"), result));
    EXPECT_EQ(42, result.v.intVal);

    std::vector<Value> ten;
    for (LONG index = 1; index <= 10; ++index)
        ten.emplace_back(index);
    EXPECT_EQ(S_OK, scripted.call(u"sum10", std::move(ten), result));
    EXPECT_EQ(55, result.v.intVal);

    Value self;
    EXPECT_EQ(S_OK, scripted.call(u"self", {}, self));
    EXPECT_EQ(VT_DISPATCH, self.v.vt);
    EXPECT_EQ(&object, *static_cast<QObject **>(factory.calls.back().storage));

    // Eleven parameters, or one of a type without a row: not offered.
    for (const char16_t *name : { u"sum11", u"takeUnknown" }) {
        HRESULT hr = S_OK;
        scripted.id(name, &hr);
        EXPECT_EQ(DISP_E_UNKNOWNNAME, hr);
    }

    EXPECT_EQ(DISP_E_BADPARAMCOUNT, scripted.call(u"add", values(LONG(1)), result));

    // A result is required, even from a void method.
    DISPPARAMS none = {};
    EXPECT_EQ(S_OK, scripted.info->Invoke(scripted.context.instance(), scripted.id(u"ping"), DISPATCH_METHOD, &none,
                                          nullptr, nullptr, nullptr));
}

TEST_F(ScriptingTest, OverloadsAndClashingNamesGetSuffixes)
{
    Scriptable object;
    Scripted scripted(manager.get(), &object);
    ASSERT_EQ(S_OK, scripted.hr);
    Value result;

    // The text argument must be a Qt string the module made: read one first.
    object.title = QStringLiteral("ab");
    Value text;
    ASSERT_EQ(S_OK, scripted.get(u"title", text));
    EXPECT_EQ(S_OK, scripted.call(u"join", values(std::move(text)), result));
    EXPECT_EQ("ab", object.lastJoin.toStdString());

    ASSERT_EQ(S_OK, scripted.get(u"title", text));
    EXPECT_EQ(S_OK, scripted.call(u"join_2", values(std::move(text), LONG(3)), result));
    EXPECT_EQ("ababab", object.lastJoin.toStdString());

    TextClash clash;
    Scripted clashing(manager.get(), &clash);
    Value value;
    EXPECT_EQ(S_OK, clashing.get(u"QtText_2", value));
    EXPECT_EQ("own", textOfWrapped(value, factory));
    EXPECT_EQ(S_OK, clashing.get(u"QtText", value));
    EXPECT_EQ(VT_BSTR, value.v.vt);
}

TEST_F(ScriptingTest, CustomDataMarksTheDescriptionAndTheTextMember)
{
    QWidget widget;
    Scripted scripted(manager.get(), &widget);
    ASSERT_EQ(S_OK, scripted.hr);
    Ref<ITypeInfo2> info2 = scripted.info.query<ITypeInfo2>(IID_ITypeInfo2);
    ASSERT_TRUE(info2);
    const GUID qtMark = { 0x94E37ED7, 0x36B9, 0x4AE8, { 0xB4, 0x49, 0xAC, 0xD0, 0x01, 0x3A, 0xB5, 0x6A } };
    const GUID textMark = { 0x61FD004E, 0xB9D7, 0x496A, { 0x91, 0x50, 0x71, 0x2C, 0x0B, 0x51, 0xB2, 0x25 } };

    Value value;
    EXPECT_EQ(S_OK, info2->GetCustData(qtMark, &value.v));
    EXPECT_EQ("Qt", utf8(value.v.bstrVal));
    value = Value();

    // QtText is the second function of QWidget's description (QtIndex first).
    EXPECT_EQ(S_OK, info2->GetFuncCustData(1, textMark, &value.v));
    EXPECT_EQ(200, value.v.lVal);
    EXPECT_EQ(E_NOTIMPL, info2->GetFuncCustData(0, textMark, &value.v));

    EXPECT_EQ(E_INVALIDARG, info2->GetAllCustData(nullptr));
}

TEST_F(ScriptingTest, BadObjectsAndRepeatedInitialisationAreRefused)
{
    Ref<ITypeInfo> info;
    int notAnObject = 0;
    EXPECT_EQ(E_INVALIDARG, manager->GetObjectTypeInfo(reinterpret_cast<QObject *>(&notAnObject), into(info)));
    EXPECT_EQ(E_INVALIDARG, manager->GetObjectTypeInfo(nullptr, into(info)));
    EXPECT_FALSE(info);

    // A second Initialize changes nothing: values still go to the first factory.
    FactoryHost otherHost;
    EXPECT_EQ(S_OK, manager->Initialize(&otherHost));

    // The object of one class given to the description of another.
    Scriptable object;
    QWidget widget;
    Scripted scripted(manager.get(), &object);
    scripted.context.object = &widget;
    Value value;
    EXPECT_EQ(E_INVALIDARG, scripted.get(u"title", value));
    scripted.context.object = &object;
    EXPECT_EQ(S_OK, scripted.get(u"title", value));
    EXPECT_TRUE(otherHost.factory.calls.empty());
    EXPECT_EQ(1u, factory.calls.size());

    // An object that has died since the host last named it, then any address.
    auto *doomed = new Scriptable;
    scripted.context.object = doomed;
    EXPECT_EQ(S_OK, scripted.put(u"count", Value(LONG(1))));
    delete doomed;
    EXPECT_EQ(E_INVALIDARG, scripted.put(u"count", Value(LONG(2))));
    scripted.context.object = reinterpret_cast<QObject *>(&notAnObject);
    Value result;
    EXPECT_EQ(E_INVALIDARG, scripted.call(u"ping", {}, result));
}

TEST_F(ScriptingTest, TwoThreadsRacingTheFirstBuildSeeOneDescription)
{
    // Each class's description is built by the first call that needs it.
    QLabel label;
    QCheckBox checkBox;
    QSlider slider;
    QComboBox comboBox;
    for (QWidget *widget : std::initializer_list<QWidget *>{ &label, &checkBox, &slider, &comboBox }) {
        SCOPED_TRACE(widget->metaObject()->className());
        Scripted scripted(manager.get(), widget);
        ASSERT_EQ(S_OK, scripted.hr);
        std::atomic<int> ready{ 0 };
        MEMBERID ids[2] = { MEMBERID_NIL, MEMBERID_NIL };
        auto lookup = [&](int which) {
            ++ready;
            const QDeadlineTimer limit(5000);
            while (ready < 2 && !limit.hasExpired())
                std::this_thread::yield();
            LPOLESTR names[] = { const_cast<LPOLESTR>(u"QtText") };
            scripted.info->GetIDsOfNames(names, 1, &ids[which]);
        };
        std::thread first(lookup, 0), second(lookup, 1);
        first.join();
        second.join();
        EXPECT_NE(MEMBERID_NIL, ids[0]);
        EXPECT_EQ(ids[0], ids[1]);
    }
}

TEST_F(ScriptingTest, DockWidgetsLeaveTheirOwnWindowTitleToQWidget)
{
    QDockWidget dock(QStringLiteral("Tools"));
    QWidget widget;
    Scripted docked(manager.get(), &dock), plain(manager.get(), &widget);
    ASSERT_EQ(S_OK, docked.hr);
    ASSERT_EQ(S_OK, plain.hr);
    HRESULT hr = E_FAIL;
    const MEMBERID inherited = docked.id(u"windowTitle", &hr);
    EXPECT_EQ(S_OK, hr);
    EXPECT_EQ(plain.id(u"windowTitle"), inherited);
    Value title;
    EXPECT_EQ(S_OK, docked.get(u"windowTitle", title));
    EXPECT_EQ("Tools", textOfWrapped(title, factory));
}
