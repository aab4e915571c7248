// The host may hand any address. IsQObject and IsWidget answer false for
// everything that is not a live object, and every other operation answers
// a bad address with a result code; none of them brings the process down.
#include <sys/mman.h>
#include <unistd.h>

#include <QApplication>
#include <QLabel>

#include <cxxabi.h>

#include <cstdint>
#include <algorithm>
#include <cstring>
#include <functional>
#include <memory>
#include <random>
#include <vector>

#include "modulesupport.h"

using namespace moduletest;

namespace {

using Address = std::uintptr_t;

// The d_ptr of an object: a QObjectData whose q_ptr points back, so that
// an object and its data look alike at first sight.
struct ObjectData : QObject {
    static Address of(const QObject *object) { return Address((object->*(&ObjectData::d_ptr)).data()); }
};

class HostileAddress : public ModuleTest
{
protected:
    void SetUp() override
    {
        ModuleTest::SetUp();
        protectedPages = mmap(nullptr, 16 * page, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        void *region = mmap(nullptr, 16 * page, PROT_READ, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        munmap(region, 16 * page);
        unmapped = Address(region);
        auto object = std::make_unique<QObject>();
        auto label = std::make_unique<QLabel>("freed");
        freed = { Address(object.get()), Address(label.get()) };
    }

    void TearDown() override
    {
        munmap(protectedPages, 16 * page);
        ModuleTest::TearDown();
    }

    const Address page = Address(sysconf(_SC_PAGESIZE));
    void *protectedPages = nullptr;
    Address unmapped = 0;
    std::vector<Address> freed;
    QWidget liveWindow;
    QLabel liveLabel{ "live", &liveWindow };
    QObject liveObject;
};

} // namespace

TEST_F(HostileAddress, IsQObjectAndIsWidgetAnswerFalseForEveryHostileAddress)
{
    std::mt19937_64 random{ 20240521 };
    const Address live[] = { Address(&liveWindow), Address(&liveLabel), Address(&liveObject) };
    // Words that look like parts of objects: real vtable and data pointers,
    // addresses inside the block itself, and random values.
    std::vector<Address> lookalikes(1 << 16);
    for (Address &word : lookalikes) {
        const Address object = live[random() % 3];
        const Address choices[] = { *reinterpret_cast<Address *>(object), ObjectData::of(objectAt(object)),
                                    Address(&lookalikes[random() % lookalikes.size()]), Address(random()) };
        word = choices[random() % 4];
    }
    struct Category {
        const char *name;
        std::function<Address()> make;
    } categories[] = {
        { "random 64-bit values", [&] { return Address(random()); } },
        { "kernel addresses", [&] { return Address(0xFFFF800000000000ull | (random() & 0x00007FFFFFFFFFF8ull)); } },
        { "small integers", [&] { return Address(random() % 65536); } },
        { "misaligned near live objects", [&] { return live[random() % 3] + 1 + random() % 7; } },
        { "inside live objects", [&] { return live[random() % 3] + 8 * (1 + random() % 6); } },
        { "data of live objects", [&] { return ObjectData::of(objectAt(live[random() % 3])); } },
        { "inside a block of lookalike words", [&] { return Address(&lookalikes[random() % lookalikes.size()]); } },
        { "freed objects", [&] { return freed[random() % freed.size()]; } },
        { "unmapped pages", [&] { return unmapped + (random() % (16 * page)) / 8 * 8; } },
        { "protected pages", [&] { return Address(protectedPages) + (random() % (16 * page)) / 8 * 8; } },
    };
    for (const Category &category : categories) {
        SCOPED_TRACE(category.name);
        size_t objectsClaimed = 0, widgetsClaimed = 0;
        for (int i = 0; i < 10000; ++i) {
            const Address address = category.make();
            // A hostile address may by chance be a live object of the test.
            if (std::find(std::begin(live), std::end(live), address) != std::end(live))
                continue;
            objectsClaimed += objects->IsQObject(reinterpret_cast<void *>(address)) != VARIANT_FALSE;
            widgetsClaimed += objects->IsWidget(objectAt(address)) != VARIANT_FALSE;
        }
        EXPECT_EQ(0u, objectsClaimed);
        EXPECT_EQ(0u, widgetsClaimed);
    }
    // The live ones still answer.
    EXPECT_EQ(VARIANT_TRUE, objects->IsQObject(&liveObject));
    EXPECT_EQ(VARIANT_FALSE, objects->IsWidget(&liveObject));
    EXPECT_EQ(VARIANT_TRUE, objects->IsWidget(&liveLabel));
}

TEST_F(HostileAddress, EveryOperationAnswersABadAddressWithAResultCode)
{
    const Address bad[] = { 0, 1, Address(protectedPages), freed[0], 0xFFFF800000001000ull, 0xDEADBEEFDEADBEEFull };
    for (const Address address : bad) {
        SCOPED_TRACE(address);
        auto *object = objectAt(address);
        auto *widget = reinterpret_cast<QWidget *>(address);
        OLECHAR stale[] = u"stale"; // not owned: an out parameter is overwritten, never freed
        BSTR text = stale;
        EXPECT_EQ(E_INVALIDARG, objects->GetObjectName(object, &text));
        EXPECT_EQ(nullptr, text);
        EXPECT_EQ(E_INVALIDARG, objects->GetClassName(object, &text));
        const QMetaObject *meta = &QObject::staticMetaObject;
        EXPECT_EQ(E_INVALIDARG, objects->GetMetaObject(object, &meta));
        EXPECT_EQ(nullptr, meta);
        IvrQtObjectController *controller = nullptr;
        EXPECT_EQ(E_INVALIDARG, objects->CreateObjectController(object, &controller));
        EXPECT_EQ(E_FAIL, widgets->GetWidgetText(widget, &text));
        int value = 0;
        EXPECT_EQ(E_FAIL, widgets->GetWidgetIndex(widget, &value));
        EXPECT_EQ(E_FAIL, widgets->GetScreenX(widget, &value));
        EXPECT_EQ(E_FAIL, widgets->SetWidgetFocus(widget, VARIANT_TRUE));
        VARIANT children;
        V_VT(&children) = VT_EMPTY;
        EXPECT_EQ(VARIANT_FALSE, widgets->GetChildWidgets(widget, &children));
        QWidget *found = nullptr;
        EXPECT_EQ(VARIANT_FALSE, widgets->GetChildAt(widget, 1, 1, &found));
        EXPECT_EQ(VARIANT_FALSE, widgets->GetFocusWidget(widget, &found));
        EXPECT_EQ(VARIANT_FALSE, widgets->HasSiblingOfSameName(widget));
    }
    // Meta-objects and strings that cannot be read.
    for (const Address address : { Address(0), Address(protectedPages), Address(0xFFFF800000001000ull) }) {
        BSTR text = nullptr;
        const QMetaObject *super = nullptr;
        EXPECT_EQ(E_INVALIDARG, objects->GetMetaClassName(reinterpret_cast<const QMetaObject *>(address), &text));
        EXPECT_EQ(E_INVALIDARG, objects->GetSuperMetaObject(reinterpret_cast<const QMetaObject *>(address), &super));
        EXPECT_EQ(E_INVALIDARG, objects->GetStringText(reinterpret_cast<const QString *>(address), &text));
    }
}

TEST_F(HostileAddress, ObjectWhoseDestructionHasBegunIsNoLongerAnObject)
{
    auto *dying = new QObject;
    VARIANT_BOOL objectWhileDying = VARIANT_TRUE;
    QObject::connect(dying, &QObject::destroyed, [&](QObject *object) { objectWhileDying = objects->IsQObject(object); });
    EXPECT_EQ(VARIANT_TRUE, objects->IsQObject(dying));
    delete dying;
    EXPECT_EQ(VARIANT_FALSE, objectWhileDying);
}

TEST_F(HostileAddress, ForgedObjectWhoseDynamicMetaObjectIsAbstractIsRefused)
{
    // A perfect copy of a live object's two words and of its data, except
    // that the data names a dynamic meta-object whose table holds only the
    // stub of abstract classes: calling metaObject() would end the process.
    QObject real;
    const void *const *realWords = reinterpret_cast<const void *const *>(&real);
    alignas(16) unsigned char data[sizeof(QObjectData) + 64] = {};
    std::memcpy(data, reinterpret_cast<const void *>(ObjectData::of(&real)), sizeof(QObjectData));
    void (*abstractTable[8])();
    std::fill(std::begin(abstractTable), std::end(abstractTable), abi::__cxa_pure_virtual);
    const void *abstractObject[2] = { abstractTable, nullptr };
    const void *forged[2] = { realWords[0], data };
    auto *fields = reinterpret_cast<QObjectData *>(data);
    fields->q_ptr = reinterpret_cast<QObject *>(forged);
    fields->metaObject = reinterpret_cast<QDynamicMetaObjectData *>(abstractObject);

    EXPECT_EQ(VARIANT_FALSE, objects->IsQObject(forged));
    fields->metaObject = nullptr;
    EXPECT_EQ(VARIANT_TRUE, objects->IsQObject(forged)) << "the same forgery without it passes for an object";
}
