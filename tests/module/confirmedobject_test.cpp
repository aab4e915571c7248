// The module trusts an object it has confirmed alive until Qt says the
// object is destroyed, and never after: an address whose object is gone is
// probed again, whatever now lies there, on whichever thread asked before.
#include <QLabel>
#include <QPushButton>

#include <cstring>
#include <memory>
#include <new>
#include <thread>
#include <vector>

#include "modulesupport.h"

using namespace moduletest;

namespace {

class ConfirmedObject : public ModuleTest
{
protected:
    bool isWidget(void *address) { return objects->IsWidget(static_cast<QObject *>(address)) != VARIANT_FALSE; }
    bool isObject(void *address) { return objects->IsQObject(address) != VARIANT_FALSE; }

    std::string className(void *address)
    {
        Bstr name;
        return SUCCEEDED(objects->GetClassName(static_cast<QObject *>(address), name.out())) ? name.utf8() : "(failed)";
    }

    // Storage that one object after another is built in, so that the
    // address stays the same.
    alignas(QLabel) unsigned char storage[sizeof(QLabel)];
};

} // namespace

TEST_F(ConfirmedObject, AnAddressIsAskedAfreshOnceItsObjectIsDestroyed)
{
    struct Row {
        const char *name;
        // What the storage holds after the confirmed label is destroyed.
        std::function<void(void *)> replace;
        std::function<void(void *)> destroy;
        bool object, widget;
        const char *className;
    };
    const Row rows[] = {
        { "another widget's class", [](void *at) { new (at) QPushButton; },
          [](void *at) { static_cast<QPushButton *>(at)->~QPushButton(); }, true, true, "QPushButton" },
        { "a plain object", [](void *at) { new (at) QObject; }, [](void *at) { static_cast<QObject *>(at)->~QObject(); },
          true, false, "QObject" },
        { "bytes that are no object", [this](void *at) { std::memset(at, 0x5a, sizeof storage); }, [](void *) {},
          false, false, "(failed)" },
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.name);
        auto *label = new (storage) QLabel("confirmed");
        ASSERT_TRUE(isWidget(label));
        ASSERT_EQ(className(label), "QLabel");
        label->~QLabel();
        row.replace(storage);
        EXPECT_EQ(isObject(storage), row.object);
        EXPECT_EQ(isWidget(storage), row.widget);
        EXPECT_EQ(className(storage), row.className);
        row.destroy(storage);
    }
}

TEST_F(ConfirmedObject, AnotherThreadsConfirmationEndsWithTheDestruction)
{
    auto *button = new QPushButton("focus me");
    VARIANT_BOOL answers[2] = {};
    HRESULT focusResult = S_OK;
    // The host thread confirms the button, the GUI thread destroys it, then
    // the host thread asks again.
    std::thread host([&] {
        answers[0] = objects->IsWidget(button);
        QMetaObject::invokeMethod(qApp, [button] { delete button; }, Qt::BlockingQueuedConnection);
        answers[1] = objects->IsWidget(button);
        focusResult = widgets->SetWidgetFocus(reinterpret_cast<QWidget *>(button), VARIANT_TRUE);
    });
    EXPECT_TRUE(waitUntil([&] { return answers[1] != VARIANT_FALSE || focusResult != S_OK; }, 5000));
    host.join();
    EXPECT_NE(answers[0], VARIANT_FALSE);
    EXPECT_EQ(answers[1], VARIANT_FALSE);
    EXPECT_EQ(focusResult, E_FAIL);
}

TEST_F(ConfirmedObject, MoreObjectsThanTheTableHoldsAreAllAnsweredRight)
{
    constexpr int count = 5000;
    std::vector<std::unique_ptr<QObject>> kept, dropped;
    for (int index = 0; index < count; ++index) {
        kept.push_back(std::make_unique<QObject>());
        dropped.push_back(std::make_unique<QObject>());
        ASSERT_TRUE(isObject(kept.back().get()));
        ASSERT_TRUE(isObject(dropped.back().get()));
    }
    std::vector<void *> droppedAddresses;
    for (auto &object : dropped)
        droppedAddresses.push_back(object.get());
    dropped.clear();
    int wrong = 0;
    for (void *address : droppedAddresses)
        wrong += isObject(address) ? 1 : 0;
    for (auto &object : kept)
        wrong += isObject(object.get()) ? 0 : 1;
    EXPECT_EQ(wrong, 0);
}
